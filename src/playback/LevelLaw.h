#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ostinel::LevelLaw {

// The track-level slider: amplitude grows with the fourth power of the
// travel, so the useful range near unity gets most of it (unity sits at
// about 0.65).
double amplitudeForSlider(double position);
double sliderForAmplitude(double amplitude);

// The dB field: "-∞" at and below -80 dB, else one decimal.
std::string formatDb(double amplitude);

// What the operator typed into the dB field, as an amplitude clamped to the
// track range; nothing when it does not read as a level, so the field keeps
// and redisplays the old value. Accepts "-∞", "-inf" in any case, and the
// typographic minus.
std::optional<double> parseDb(std::string_view text);

} // namespace ostinel::LevelLaw
