#include "app/RevealFile.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

#ifdef OSTINEL_HAVE_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#endif

namespace ostinel {

void revealInFileManager(const QString& path) {
    const QFileInfo file(path);
#ifdef OSTINEL_HAVE_DBUS
    QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                                       "org.freedesktop.FileManager1", "ShowItems");
    call << QStringList{QUrl::fromLocalFile(file.absoluteFilePath()).toString()} << QString();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 3000);
    if (reply.type() == QDBusMessage::ReplyMessage) return;
#endif
    QDesktopServices::openUrl(QUrl::fromLocalFile(file.absolutePath()));
}

} // namespace ostinel
