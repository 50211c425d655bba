#include "support/RealtimeGuard.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace ostinel::test {

namespace {
// Constant-initialised, so reading it needs no TLS wrapper and works in
// allocations made before main or while a thread starts.
thread_local RealtimeGuard* active = nullptr;
} // namespace

struct RealtimeGuardAccess {
    static void allocated() noexcept {
        if (RealtimeGuard* guard = active) guard->allocations_.fetch_add(1, std::memory_order_relaxed);
    }
    static void waited() noexcept {
        if (RealtimeGuard* guard = active) guard->mutexWaits_.fetch_add(1, std::memory_order_relaxed);
    }
};

RealtimeGuard::RealtimeGuard() : outer_(active) {
    active = this;
}

RealtimeGuard::~RealtimeGuard() {
    active = outer_;
}

} // namespace ostinel::test

using ostinel::test::RealtimeGuardAccess;

// ---- Mutex waits -------------------------------------------------------------
// Found through the next object in the lookup order: the C library, or the
// sanitizer's own interceptor where there is one, so its bookkeeping stays
// whole. No function-local statics here: their guards may lock a mutex.

namespace {
using MutexFn = int (*)(pthread_mutex_t*);
std::atomic<MutexFn> realLock{nullptr};
std::atomic<MutexFn> realTryLock{nullptr};

MutexFn next(std::atomic<MutexFn>& slot, const char* name) {
    MutexFn fn = slot.load(std::memory_order_acquire);
    if (!fn) {
        fn = reinterpret_cast<MutexFn>(dlsym(RTLD_NEXT, name));
        slot.store(fn, std::memory_order_release);
    }
    return fn;
}
} // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (ostinel::test::active) {
        const int r = next(realTryLock, "pthread_mutex_trylock")(mutex);
        if (r != EBUSY) return r;
        RealtimeGuardAccess::waited();
    }
    return next(realLock, "pthread_mutex_lock")(mutex);
}

// ---- Allocations ---------------------------------------------------------------
// Every form is replaced, so that whatever allocates also frees through malloc
// and free, which the sanitizers watch.

namespace {
void* allocate(std::size_t size) {
    RealtimeGuardAccess::allocated();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* allocate(std::size_t size, std::align_val_t align) {
    RealtimeGuardAccess::allocated();
    const auto a = static_cast<std::size_t>(align);
    if (void* p = std::aligned_alloc(a, std::max<std::size_t>((size + a - 1) / a * a, a))) return p;
    throw std::bad_alloc();
}
template <class... A>
void* allocateNoThrow(A... args) noexcept {
    try {
        return allocate(args...);
    } catch (...) {
        return nullptr;
    }
}
} // namespace

void* operator new(std::size_t n) { return allocate(n); }
void* operator new[](std::size_t n) { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocate(n, a); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocate(n, a); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocateNoThrow(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocateNoThrow(n); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocateNoThrow(n, a); }
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return allocateNoThrow(n, a); }

void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
