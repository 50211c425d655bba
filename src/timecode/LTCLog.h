#pragma once

#include "timecode/LTCOutputEngine.h"

namespace ostinel {

// The LTC output's lines, in the logging category "com.ostinel.ltc".
LTCOutputEngine::LogFn ltcLog();

} // namespace ostinel
