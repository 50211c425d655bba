#pragma once

#include <QLoggingCategory>

// "com.ostinel.document": saving, autosave and recovery.
Q_DECLARE_LOGGING_CATEGORY(documentLog)
