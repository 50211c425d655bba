#include "app/SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QUrl>

#include <sys/stat.h>
#include <unistd.h>

namespace ostinel {
namespace SingleInstance {

namespace {

QString variable(const char* name) { return qEnvironmentVariable(name); }

// Without a runtime folder, one of our own in the temporary folder, that
// nobody else may enter or have made for us.
QString privateFolder() {
    const QString folder = QDir::tempPath() + QStringLiteral("/ostinel-runtime-%1").arg(::getuid());
    const QByteArray path = QFile::encodeName(folder);
    ::mkdir(path.constData(), 0700);
    struct stat info {};
    if (::lstat(path.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::getuid()) return {};
    if ((info.st_mode & 0077) != 0 && ::chmod(path.constData(), 0700) != 0) return {};
    return folder;
}

} // namespace

QString serverName() {
    QString folder = variable("XDG_RUNTIME_DIR");
    if (folder.isEmpty() || !QDir::isAbsolutePath(folder) || !QFileInfo(folder).isDir()) folder = privateFolder();
    if (folder.isEmpty()) return {};
    // The same user may be logged in twice, or run a second desktop: only a
    // launch on the same display, session and home hands its files over.
    QString display = variable("WAYLAND_DISPLAY");
    if (display.isEmpty()) display = variable("DISPLAY");
    const QString scope = variable("XDG_SESSION_ID") + '\n' + display + '\n' + QDir::homePath();
    const QByteArray key = QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    return folder + QStringLiteral("/ostinel-") + QString::fromLatin1(key);
}

QStringList absolutePaths(const QStringList& arguments) {
    QStringList paths;
    for (const QString& argument : arguments) {
        if (argument.isEmpty()) continue;
        const QUrl url(argument);
        const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
        paths << QFileInfo(path).absoluteFilePath();
    }
    return paths;
}

bool handOver(const QString& name, const QStringList& paths, int timeoutMs) {
    if (name.isEmpty()) return false;
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(timeoutMs)) return false;
    QByteArray message;
    for (const QString& path : paths) message += path.toUtf8() + '\n';
    if (!message.isEmpty()) {
        socket.write(message);
        if (!socket.waitForBytesWritten(timeoutMs)) return false;
    }
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState) socket.waitForDisconnected(timeoutMs);
    return true;
}

} // namespace SingleInstance

InstanceServer::InstanceServer(std::function<void(const QStringList&)> received, QObject* parent)
    : QObject(parent), received_(std::move(received)), server_(new QLocalServer(this)) {
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    connect(server_, &QLocalServer::newConnection, this, &InstanceServer::accept);
}

InstanceServer::~InstanceServer() = default;

bool InstanceServer::listen(const QString& name) {
    if (name.isEmpty()) return false;
    if (server_->listen(name)) return true;
    // Only reached when no instance answered: the socket file is stale.
    QLocalServer::removeServer(name);
    return server_->listen(name);
}

void InstanceServer::accept() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, this, [this, socket] {
            QStringList paths;
            for (const QByteArray& line : socket->readAll().split('\n'))
                if (!line.isEmpty()) paths << QString::fromUtf8(line);
            socket->deleteLater();
            received_(paths);
        });
    }
}

} // namespace ostinel
