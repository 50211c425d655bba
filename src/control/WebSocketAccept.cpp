#include "control/WebSocketAccept.h"

#include <QByteArray>
#include <QCryptographicHash>

namespace ostinel {

std::string webSocketAccept(const std::string& key) {
    const QByteArray input = QByteArray::fromStdString(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11");
    return QCryptographicHash::hash(input, QCryptographicHash::Sha1).toBase64().toStdString();
}

} // namespace ostinel
