#include "WebRemotePage.h"

#include <QFile>

namespace ostinel {

QByteArray webRemotePage() {
    static const QByteArray page = [] {
        QFile file(QStringLiteral(":/remote/index.html"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    return page;
}

} // namespace ostinel
