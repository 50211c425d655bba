#include <QApplication>

#include <cstdio>

#include "app/OstinelApp.h"
#include "app/SingleInstance.h"

int main(int argc, char** argv) {
    QApplication qapp(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Ostinel"));
    QApplication::setApplicationVersion(QStringLiteral(OSTINEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("ostinel"));

    using namespace ostinel;
    const QStringList files = SingleInstance::absolutePaths(QApplication::arguments().mid(1));
    const QString server = SingleInstance::serverName();
    if (SingleInstance::handOver(server, files)) return 0;

    auto audio = AudioSystem::create();
    if (!audio) {
        std::fprintf(stderr, "ostinel: %s\n", audio.error().message.c_str());
        return 1;
    }
    const auto app = OstinelApp::standard(std::move(*audio));
    app->listen(server);
    app->start(files);
    return QApplication::exec();
}
