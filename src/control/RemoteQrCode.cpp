#include "control/RemoteQrCode.h"

#include <qrencode.h>

#include <algorithm>
#include <memory>

namespace ostinel {
namespace {
constexpr int quietZone = 4;
} // namespace

std::string remoteSignInURL(const std::string& host, int port, const std::string& pin) {
    const bool bare6 = host.find(':') != std::string::npos && host.front() != '[';
    const std::string bracketed = bare6 ? "[" + host + "]" : host;
    return "http://" + bracketed + ":" + std::to_string(port) + "/#pin=" + pin;
}

QImage remoteQrCode(const std::string& text, int size) {
    // encodeData keeps every byte in 8-bit mode, as a URL with lower case needs.
    std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(static_cast<int>(text.size()), reinterpret_cast<const unsigned char*>(text.data()),
                          0, QR_ECLEVEL_M),
        &QRcode_free);
    if (!code) return {};
    const int modules = code->width;
    const int total = modules + 2 * quietZone;
    const int scale = std::max(1, size / total);

    QImage image(total * scale, total * scale, QImage::Format_RGB32);
    image.fill(Qt::white);
    const QRgb black = qRgb(0, 0, 0);
    for (int y = 0; y < modules; ++y) {
        for (int x = 0; x < modules; ++x) {
            if (!(code->data[y * modules + x] & 1)) continue;
            const int left = (x + quietZone) * scale, top = (y + quietZone) * scale;
            for (int row = top; row < top + scale; ++row) {
                auto* line = reinterpret_cast<QRgb*>(image.scanLine(row));
                std::fill(line + left, line + left + scale, black);
            }
        }
    }
    return image;
}

} // namespace ostinel
