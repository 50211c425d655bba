#include "document/Show.h"

namespace ostinel {

double Show::totalLength() const {
    double total = 0.0;
    for (const Track& t : tracks)
        if (!t.skip) total += t.effectiveLength();
    return total;
}

} // namespace ostinel
