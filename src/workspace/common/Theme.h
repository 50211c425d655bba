#pragma once

#include <QColor>
#include <QFont>

#include <string>
#include <string_view>
#include <vector>

class QApplication;

namespace ostinel::theme {

// A dark stage-side palette: low glare, high contrast for what matters.
inline const QColor window{0x1b, 0x1d, 0x21};
inline const QColor panel{0x24, 0x27, 0x2c};
inline const QColor panelRaised{0x2e, 0x32, 0x38};
inline const QColor divider{0x3a, 0x3f, 0x46};
inline const QColor text{0xe8, 0xea, 0xed};
inline const QColor textDim{0x9a, 0xa0, 0xa8};
inline const QColor selection{0x2f, 0x5d, 0x9e};

inline const QColor go{0x2e, 0xb8, 0x4f};        // GO!, and the running cue
inline const QColor playing{0x35, 0xd0, 0x5e};   // the playing row's mark
inline const QColor preselected{0xf2, 0xb1, 0x34}; // the blinking next cue
inline const QColor stop{0xd9, 0x3b, 0x3b};
inline const QColor warning{0xf5, 0xa6, 0x23};

inline const QColor waveform{0x6f, 0xb7, 0xe8};
inline const QColor waveformOutside{0x4a, 0x55, 0x60}; // audio outside the in and out points
inline const QColor playhead{0xff, 0xff, 0xff};
inline const QColor inOutFlag{0x3d, 0x8b, 0xff};   // blue, lower edge
inline const QColor fadeFlag{0xff, 0x94, 0x2e};    // orange, upper edge
inline const QColor beatAnchor{0xff, 0x5c, 0xb8};  // pink
inline const QColor beatGrid{0x55, 0x5c, 0x66};
inline const QColor loop{0x9b, 0x6b, 0xff};
inline const QColor mark{0xff, 0xff, 0xff, 0x30};  // a marked region's wash
inline const QColor note{0xf2, 0xd1, 0x4a};
inline const QColor midiTrigger{0x4a, 0xd6, 0xc8};
inline const QColor oscTrigger{0xe0, 0x7a, 0xff};
inline const QColor automation{0xff, 0xd8, 0x4d};

// The cue colours offered by the show list and the edit panel, as stored.
const std::vector<std::string>& cueColorSwatches();
// A stored cue colour, with or without its "#"; invalid when unreadable.
QColor cueColor(std::string_view hex);

// A font for numbers read from across the room.
QFont clockFont(int pointSize);

// The whole application in the dark palette above.
void applyDarkTheme(QApplication& app);

} // namespace ostinel::theme
