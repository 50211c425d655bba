#pragma once

#include <array>
#include <functional>
#include <optional>
#include <utility>

#include "document/GroupDrag.h"
#include "document/Track.h"
#include "playback/CueWaveform.h"

namespace ostinel {

// The visible part of the file in Show mode, as fractions of its duration.
struct ViewBounds {
    double lower = 0.0;
    double upper = 1.0;
    friend bool operator==(const ViewBounds&, const ViewBounds&) = default;
};

// A strip's frame in the window's coordinates, y growing downwards.
struct StripFrame {
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;
    double top() const { return y; }
    double bottom() const { return y + height; }
    friend bool operator==(const StripFrame&, const StripFrame&) = default;
};

// The view state behind the waveform, its three timeline strips and the
// ruler: zoom, scroll, follow, the marked regions and the drag modifiers.
// Main thread only. Every observable field reports a real change through
// onChange, so views redraw only what moved.
class WaveformController final : public CueWaveform {
public:
    using Strip = TimelineMarks::Strip;
    enum class Field {
        zoom,
        scrollX,
        snapSuppressed,
        beatStepHeld,
        followPlayhead,
        selection,
        noteSelection,
        midiTriggerSelection,
        oscTriggerSelection,
        noteDragSeconds,
    };
    static constexpr double editMaxZoom = 50.0;

    std::function<void(Field)> onChange;

    double zoom() const { return zoom_; }
    double scrollX() const { return scrollX_; }
    double viewWidth() const { return viewWidth_; }
    double maxZoom() const { return editMaxZoom; }
    const std::optional<ViewBounds>& viewBounds() const { return viewBounds_; }
    // The greater of viewWidth and viewWidth times zoom.
    double contentWidth() const;
    double zoomFloor() const;
    double clampZoom(double z) const;
    double clampScroll(double x, double contentWidth) const;
    // (scrollX + viewWidth / 2) / content width, 0 for no content.
    double centerFraction() const;

    // Keeps the point of the file at focalFraction under anchorX.
    void setZoom(double z, double focalFraction, double anchorX);
    void fit();
    void center(double fraction);
    // The scroll that would centre the fraction; changes nothing.
    double followScroll(double fraction, double width) const;
    // Stored clamped; non-finite values are ignored.
    void setScrollX(double x);
    void applyViewBounds(std::optional<ViewBounds> bounds);
    // Show mode confines the view to the trim; a trim of a thousandth of the
    // file or less, or any other mode, leaves it unconfined.
    static std::optional<ViewBounds> boundsFor(const Track& track, bool showMode);
    void setViewWidth(double width);
    // The selected track changed: the old track's marks mean nothing on the
    // new one, and the zoom returns to the whole file unless it is kept.
    void trackChanged(bool preserveZoom);

    bool snapSuppressed() const { return snapSuppressed_; }
    void setSnapSuppressed(bool on) override { write(snapSuppressed_, on, Field::snapSuppressed); }
    bool beatStepHeld() const { return beatStepHeld_; }
    void setBeatStepHeld(bool on) override { write(beatStepHeld_, on, Field::beatStepHeld); }
    bool followPlayhead() const { return followPlayhead_; }
    void setFollowPlayhead(bool on) { write(followPlayhead_, on, Field::followPlayhead); }
    std::optional<double> noteDragSeconds() const { return noteDragSeconds_; }
    void setNoteDragSeconds(std::optional<double> t) { write(noteDragSeconds_, t, Field::noteDragSeconds); }
    // Drawn, not published: follow mode writes it every frame.
    std::optional<double> liveFollowScrollX() const { return liveFollowScrollX_; }
    void setLiveFollowScrollX(std::optional<double> x) { liveFollowScrollX_ = x; }
    bool isHovering() const { return isHovering_; }
    void setHovering(bool on) { isHovering_ = on; }

    // Each end of a strip's marked region, as the drag left it (unordered).
    std::optional<double> selectionStart(Strip strip) const { return marks_[index(strip)].start; }
    std::optional<double> selectionEnd(Strip strip) const { return marks_[index(strip)].end; }
    void setSelectionStart(Strip strip, std::optional<double> t);
    void setSelectionEnd(Strip strip, std::optional<double> t);
    std::optional<GroupDrag::Sel> mark(Strip strip) const override;
    void setMark(Strip strip, std::optional<GroupDrag::Sel> sel) override;
    void clearAllSelections();
    // The waveform's marked region, ordered; absent unless both ends are set.
    std::optional<double> selectionStartSeconds() const override;
    std::optional<std::pair<double, double>> selectionRange() const;
    std::optional<double> selectionDuration() const;

    std::optional<StripFrame> stripFrame(Strip strip) const { return frames_[index(strip)]; }
    void setStripFrame(Strip strip, std::optional<StripFrame> frame) { frames_[index(strip)] = frame; }

    // The beat grid's nearest line, unless Option is held or the grid is off.
    double snap(double t, const Track& track) const;
    // A horizontal window position as a time of the file.
    double timeAt(double windowX, double duration) const;
    // A drag from one window point to another that began on origin and on no
    // handle. Returns false, changing nothing, for a track without duration.
    bool markRegion(double fromX, double fromY, double toX, double toY, Strip origin, const Track& track);
    void applyMarquee(double fromY, double toY, double start, double end, Strip origin);

private:
    struct Marked {
        std::optional<double> start, end;
    };
    static std::size_t index(Strip strip) { return static_cast<std::size_t>(strip); }
    static Field fieldOf(Strip strip);
    template <class T>
    void write(T& field, const T& value, Field which) {
        if (field == value) return;
        field = value;
        if (onChange) onChange(which);
    }
    void setMarked(Strip strip, Marked value);
    void reclamp();

    double zoom_ = 1.0;
    double scrollX_ = 0.0;
    double viewWidth_ = 1.0;
    bool snapSuppressed_ = false;
    bool beatStepHeld_ = false;
    bool followPlayhead_ = false;
    bool isHovering_ = false;
    std::optional<double> noteDragSeconds_;
    std::optional<double> liveFollowScrollX_;
    std::optional<ViewBounds> viewBounds_;
    std::array<Marked, 4> marks_{};
    std::array<std::optional<StripFrame>, 4> frames_{};
};

} // namespace ostinel
