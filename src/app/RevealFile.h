#pragma once

#include <QString>

namespace ostinel {

// Shows the file selected in the desktop's file manager; with no file
// manager on the session bus, opens the folder that holds it.
void revealInFileManager(const QString& path);

} // namespace ostinel
