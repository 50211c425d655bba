#include "platform/FileNameText.h"

#include <QFile>

namespace ostinel {

std::string fileNameText(const std::string& bytes) {
    return QFile::decodeName(QByteArray::fromStdString(bytes)).toStdString();
}

} // namespace ostinel
