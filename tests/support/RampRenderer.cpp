#include "support/RampRenderer.h"

#include <algorithm>

namespace ostinel::test {

void RampRenderer::render(void* context, float* const* sources, int sourceCount, int frames) {
    auto* self = static_cast<RampRenderer*>(context);
    const std::int64_t first = self->frames_.load();
    for (int i = 0; i < frames; ++i) {
        const float v = at(first + i);
        sources[0][i] = v;
        if (sourceCount > 1) sources[1][i] = -v;
    }
    self->frames_.store(first + frames);
    self->calls_.fetch_add(1);
    self->largest_.store(std::max(self->largest_.load(), frames));
}

} // namespace ostinel::test
