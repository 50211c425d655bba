#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace ostinel {

// An immutable value behind a shared pointer: copying shares it, writing
// through edit() unshares it first. Equality first asks whether both sides
// share storage, so comparing two snapshots skips everything untouched.
template <class T>
class Cow {
public:
    Cow() : p_(empty()) {}
    Cow(T value) : p_(std::make_shared<T>(std::move(value))) {}

    const T& operator*() const { return *p_; }
    const T* operator->() const { return p_.get(); }
    const T& get() const { return *p_; }

    T& edit() {
        if (p_.use_count() != 1) p_ = std::make_shared<T>(*p_);
        // Sole owner of an object made non-const by make_shared<T>.
        return const_cast<T&>(*p_);
    }

    bool sharesStorageWith(const Cow& other) const { return p_ == other.p_; }

    friend bool operator==(const Cow& a, const Cow& b) { return a.p_ == b.p_ || *a.p_ == *b.p_; }

private:
    static const std::shared_ptr<const T>& empty() {
        static const std::shared_ptr<const T> e = std::make_shared<const T>();
        return e;
    }
    std::shared_ptr<const T> p_;
};

// A list of values in shared immutable storage. The list and each element are
// shared separately, so changing one element of a copy copies pointers, never
// the other elements.
template <class T>
class CowList {
    using Box = std::shared_ptr<const T>;
    using Vec = std::vector<Box>;

public:
    class const_iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        const_iterator() = default;
        explicit const_iterator(typename Vec::const_iterator it) : it_(it) {}
        reference operator*() const { return **it_; }
        pointer operator->() const { return it_->get(); }
        reference operator[](difference_type n) const { return *it_[n]; }
        const_iterator& operator++() { ++it_; return *this; }
        const_iterator operator++(int) { auto c = *this; ++it_; return c; }
        const_iterator& operator--() { --it_; return *this; }
        const_iterator operator--(int) { auto c = *this; --it_; return c; }
        const_iterator& operator+=(difference_type n) { it_ += n; return *this; }
        const_iterator& operator-=(difference_type n) { it_ -= n; return *this; }
        friend const_iterator operator+(const_iterator a, difference_type n) { return a += n; }
        friend const_iterator operator+(difference_type n, const_iterator a) { return a += n; }
        friend const_iterator operator-(const_iterator a, difference_type n) { return a -= n; }
        friend difference_type operator-(const const_iterator& a, const const_iterator& b) { return a.it_ - b.it_; }
        friend bool operator==(const const_iterator&, const const_iterator&) = default;
        friend auto operator<=>(const const_iterator&, const const_iterator&) = default;

    private:
        typename Vec::const_iterator it_{};
    };

    CowList() = default;
    CowList(std::initializer_list<T> items) : CowList(std::vector<T>(items)) {}
    explicit CowList(std::vector<T> items) {
        if (items.empty()) return;
        auto v = std::make_shared<Vec>();
        v->reserve(items.size());
        for (auto& item : items) v->push_back(std::make_shared<T>(std::move(item)));
        v_ = std::move(v);
    }

    std::size_t size() const { return v_ ? v_->size() : 0; }
    bool empty() const { return size() == 0; }
    const T& operator[](std::size_t i) const { return *(*v_)[i]; }
    const T& front() const { return *v_->front(); }
    const T& back() const { return *v_->back(); }
    const_iterator begin() const { return v_ ? const_iterator(v_->cbegin()) : const_iterator(); }
    const_iterator end() const { return v_ ? const_iterator(v_->cend()) : const_iterator(); }

    std::vector<T> toVector() const { return std::vector<T>(begin(), end()); }

    template <class Pred>
    const T* findIf(Pred pred) const {
        for (const auto& box : vec())
            if (pred(*box)) return box.get();
        return nullptr;
    }
    template <class Pred>
    std::ptrdiff_t indexWhere(Pred pred) const {
        const auto& v = vec();
        for (std::size_t i = 0; i < v.size(); ++i)
            if (pred(*v[i])) return static_cast<std::ptrdiff_t>(i);
        return -1;
    }

    // The element at i, unshared, for writing in place.
    T& edit(std::size_t i) {
        auto& box = mutableVec()[i];
        if (box.use_count() != 1) box = std::make_shared<T>(*box);
        return const_cast<T&>(*box);
    }
    void set(std::size_t i, T value) { mutableVec()[i] = std::make_shared<T>(std::move(value)); }
    void push_back(T value) { mutableVec().push_back(std::make_shared<T>(std::move(value))); }
    void insert(std::size_t i, T value) {
        auto& v = mutableVec();
        v.insert(v.begin() + static_cast<std::ptrdiff_t>(i), std::make_shared<T>(std::move(value)));
    }
    void insert(std::size_t i, const std::vector<T>& values) {
        Vec boxes;
        boxes.reserve(values.size());
        for (const auto& value : values) boxes.push_back(std::make_shared<T>(value));
        auto& v = mutableVec();
        v.insert(v.begin() + static_cast<std::ptrdiff_t>(i), boxes.begin(), boxes.end());
    }
    void erase(std::size_t i) {
        auto& v = mutableVec();
        v.erase(v.begin() + static_cast<std::ptrdiff_t>(i));
    }
    template <class Pred>
    std::size_t eraseIf(Pred pred) {
        if (!findIf(pred)) return 0;
        return std::erase_if(mutableVec(), [&](const Box& b) { return pred(*b); });
    }
    void clear() { v_.reset(); }

    // Stable sort by a key; leaves the storage shared when already in order.
    template <class Key>
    void stableSortBy(Key key) {
        const auto& v = vec();
        auto less = [&](const Box& a, const Box& b) { return key(*a) < key(*b); };
        if (std::is_sorted(v.begin(), v.end(), less)) return;
        std::stable_sort(mutableVec().begin(), mutableVec().end(), less);
    }

    bool sharesStorageWith(const CowList& other) const { return v_ == other.v_; }

    friend bool operator==(const CowList& a, const CowList& b) {
        if (a.v_ == b.v_) return true;
        if (a.size() != b.size()) return false;
        const auto& va = a.vec();
        const auto& vb = b.vec();
        for (std::size_t i = 0; i < va.size(); ++i)
            if (va[i] != vb[i] && !(*va[i] == *vb[i])) return false;
        return true;
    }

private:
    const Vec& vec() const {
        static const Vec none;
        return v_ ? *v_ : none;
    }
    Vec& mutableVec() {
        if (!v_) v_ = std::make_shared<Vec>();
        else if (v_.use_count() != 1) v_ = std::make_shared<Vec>(*v_);
        return const_cast<Vec&>(*v_);
    }
    std::shared_ptr<const Vec> v_;
};

} // namespace ostinel
