#pragma once

#include <QRect>
#include <QString>

#include <optional>

#include "document/Track.h"

class QPainter;

namespace ostinel {

// Where each part of a row lies, for painting and for hit-testing alike.
struct RowLayout {
    QRect strip;
    QRect number;
    QRect name;
    QRect midiBadge;
    QRect numberBadge;
    QRect loopGlyph;
    QRect preRollGlyph;
    QRect warning;
    QRect length;
    QRect autoplay;
    QRect skip;
    QRect loopFlag;
};

// The keys a cue is mapped to; empty for none.
struct RowBadges {
    QString midi;   // "N60", "CC7"
    QString number; // "7"
};

// How one row is to look, decided by the list.
struct RowLook {
    int number = 0;            // 1-based position in the running order
    bool inSelection = false;  // part of selectedTrackIDs
    bool current = false;      // selectedTrackID
    bool playing = false;      // loaded and running
    bool preselected = false;  // picked to run next
    bool blinkLit = true;      // the pre-selection's blink phase
    bool next = false;         // what auto-advance goes to
    bool missing = false;      // no file at its url
    bool editable = true;      // Edit mode: flags are live
    bool learning = false;     // waiting for the key to map to it
    RowBadges badges;
};

namespace TrackRowPainter {

// Tall enough to hit from a metre away in a dark room.
inline constexpr int rowHeight = 52;

// A badge's width depends on its text, so the layout takes them.
RowLayout layout(const QRect& row, const Track& track, const RowBadges& badges, bool missing);
void paint(QPainter& painter, const QRect& row, const Track& track, const RowLook& look);

} // namespace TrackRowPainter
} // namespace ostinel
