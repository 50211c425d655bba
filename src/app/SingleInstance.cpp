#include "app/SingleInstance.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QUrl>

#include <unistd.h>

namespace ostinel {
namespace SingleInstance {

QString serverName() { return QStringLiteral("ostinel-%1").arg(::getuid()); }

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
