#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

class QLocalServer;

namespace ostinel {

// One running Ostinel per user session: a second launch hands its files to the first
// over a local socket and ends. The message is the files' absolute paths,
// one per line; an empty message only asks the first to come forward.
namespace SingleInstance {

// The socket's path in the user's runtime folder, one per session: display,
// login session and home. Empty when no private folder can be had.
QString serverName();
// Paths as given on the command line or as file: URLs, made absolute
// against the current folder.
QStringList absolutePaths(const QStringList& arguments);
// True when a running instance took the files.
bool handOver(const QString& name, const QStringList& paths, int timeoutMs = 2000);

} // namespace SingleInstance

class InstanceServer : public QObject {
    Q_OBJECT
public:
    explicit InstanceServer(std::function<void(const QStringList& paths)> received, QObject* parent = nullptr);
    ~InstanceServer() override;

    // Takes the name over from an instance that died without closing it.
    bool listen(const QString& name);

private:
    void accept();

    std::function<void(const QStringList&)> received_;
    QLocalServer* server_ = nullptr;
};

} // namespace ostinel
