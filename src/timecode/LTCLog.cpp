#include "timecode/LTCLog.h"

#include <QLoggingCategory>

namespace ostinel {

namespace {
Q_LOGGING_CATEGORY(ltcCategory, "com.ostinel.ltc")
}

LTCOutputEngine::LogFn ltcLog() {
    return [](LTCOutputEngine::LogLevel level, const std::string& text) {
        if (level == LTCOutputEngine::LogLevel::error)
            qCWarning(ltcCategory, "%s", text.c_str());
        else
            qCInfo(ltcCategory, "%s", text.c_str());
    };
}

} // namespace ostinel
