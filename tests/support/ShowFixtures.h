#pragma once

#include "document/Show.h"

namespace ostinel::test {

// A show with every field away from its default and every list filled, with
// unicode and "/" in its texts: two tracks, the first with its optional
// strings set, the second without. Ids are fresh on each call.
Show richShow();

} // namespace ostinel::test
