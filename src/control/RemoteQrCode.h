#pragma once

#include <QImage>

#include <string>

namespace ostinel {

// The address a phone opens to sign in: the PIN rides in the fragment,
// which a browser never sends to a server, so it reaches no log.
std::string remoteSignInURL(const std::string& host, int port, const std::string& pin);

// The text as a QR code, black on white with a quiet zone of four modules,
// each module a whole number of pixels so a camera reads clean edges: as
// large as fits in size, never smaller than one pixel a module. A null
// image when the text does not fit in a QR code.
QImage remoteQrCode(const std::string& text, int size);

} // namespace ostinel
