#include "platform/AppPaths.h"

#include <QDir>
#include <QStandardPaths>

namespace ostinel {

AppPaths AppPaths::standard() {
    QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (data.isEmpty()) data = QDir::homePath();
    if (cache.isEmpty()) cache = QDir::homePath() + "/.cache";
    return {(data + "/Ostinel/Recovery/autosave.ot").toStdString(), (data + "/Ostinel/Logs/osc.log").toStdString(),
            (cache + "/Ostinel/Analysis-1x").toStdString()};
}

AppPaths AppPaths::under(const std::string& root) {
    return {root + "/Ostinel/Recovery/autosave.ot", root + "/Ostinel/Logs/osc.log", root + "/Ostinel/Analysis-1x"};
}

} // namespace ostinel
