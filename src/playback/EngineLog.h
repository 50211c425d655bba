#pragma once

#include <QLoggingCategory>

// "com.ostinel.engine": the transport and the audio output.
Q_DECLARE_LOGGING_CATEGORY(engineLog)
