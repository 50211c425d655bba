#pragma once

#include <QObject>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "base/Uuid.h"

namespace ostinel {

// The computer's digit keys as cue buttons: in Show mode a digit fires the
// track it is mapped to. The map lives in the show. Main thread.
class NumberMapController : public QObject {
    Q_OBJECT
public:
    explicit NumberMapController(QObject* parent = nullptr) : QObject(parent) {}

    bool mapMode() const { return mapMode_; }
    // Going off cancels a pending learn.
    void setMapMode(bool on);
    std::optional<Uuid> learningTrack() const { return learningTrack_; }
    const std::map<Uuid, std::int64_t>& mappings() const { return mappings_; }
    std::optional<std::int64_t> digit(const Uuid& id) const;

    // Asking again for the track already pending cancels it.
    void beginLearningTrack(const Uuid& id);
    void clearMapping(const Uuid& id);
    void clearAllMappings();
    // The map of a show just opened; nothing is reported back.
    void replaceMappings(std::map<Uuid, std::int64_t> mappings);

    // The first track, in id order, holding this digit.
    std::optional<Uuid> track(std::int64_t digit) const;
    // A digit key pressed: true when it was used, false to let it fall
    // through to other handling.
    bool received(std::int64_t digit);

    std::function<void(const Uuid&)> trackActionHandler;
    std::function<void(const std::map<Uuid, std::int64_t>&)> onMappingsChanged;

signals:
    void changed();

private:
    void mappingsChanged();

    bool mapMode_ = false;
    std::optional<Uuid> learningTrack_;
    std::map<Uuid, std::int64_t> mappings_;
};

} // namespace ostinel
