#pragma once

#include <QByteArray>

namespace ostinel {

// The web remote's page, compiled into the program: one document with its
// style and script inline, so that a phone needs nothing but this server.
QByteArray webRemotePage();

} // namespace ostinel
