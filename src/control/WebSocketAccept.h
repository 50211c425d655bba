#pragma once

#include <string>

namespace ostinel {

// The Sec-WebSocket-Accept answer to a client's key: base64 of the SHA-1 of
// the key and the protocol's fixed GUID.
std::string webSocketAccept(const std::string& key);

} // namespace ostinel
