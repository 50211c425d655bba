#include "workspace/showlist/ShowListDrop.h"

#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

#include "document/RelinkMatcher.h"

namespace ostinel {

std::vector<FileUrl> droppedAudioFiles(const QMimeData& mime) {
    std::vector<FileUrl> files;
    if (!mime.hasUrls()) return files;
    const auto& extensions = RelinkMatcher::audioExtensions();
    for (const QUrl& url : mime.urls()) {
        if (!url.isLocalFile()) continue;
        const QFileInfo info(url.toLocalFile());
        if (info.isDir()) continue;
        if (extensions.count(info.suffix().toLower().toStdString()))
            files.push_back(FileUrl::fromPath(info.filePath().toStdString()));
    }
    return files;
}

} // namespace ostinel
