#include "support/WorkspaceRig.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

#include "support/PlayerFixtures.h"

namespace ostinel::test {
namespace {

std::string writeCueTone(const std::string& path, double seconds, double amplitude) {
    const auto frames = std::size_t(seconds * WorkspaceRig::rate);
    std::vector<float> data(frames * 2);
    for (std::size_t i = 0; i < frames; ++i)
        data[i * 2] = data[i * 2 + 1] =
            float(amplitude * std::sin(2.0 * std::numbers::pi * 440.0 * double(i) / WorkspaceRig::rate));
    return writeFloatWav(path, data, int(WorkspaceRig::rate), 2);
}

} // namespace

WorkspaceRig::WorkspaceRig()
    : store(loop, dir.file("cache"), [](std::function<void()> job) { job(); }) {
    ShowModeKeys::connectTransport(state, engine);
    workspace.midiInput = &midiInput;
    workspace.numbers = &numbers;
    view.followMode(state);
}

WorkspaceRig::~WorkspaceRig() { engine.stop(); }

std::vector<Uuid> WorkspaceRig::addCues(const std::vector<double>& seconds) {
    Show show = state.show();
    std::vector<Uuid> ids;
    for (double length : seconds) {
        ++made_;
        Track t;
        t.name = "Cue " + std::to_string(made_);
        const auto path = dir.file("cue" + std::to_string(made_) + ".wav");
        t.url = FileUrl::fromPath(writeCueTone(path, length, 0.05 * made_));
        t.duration = length;
        ids.push_back(t.id);
        show.tracks.push_back(t);
    }
    state.setShow(show);
    return ids;
}

const Track& WorkspaceRig::track(const Uuid& id) const {
    for (const auto& t : state.show().tracks)
        if (t.id == id) return t;
    throw std::out_of_range("no such cue");
}

void WorkspaceRig::run(double seconds) {
    const auto frames = std::int64_t(std::llround(seconds * rate));
    for (std::int64_t done = 0; done < frames; done += period) {
        const auto out = audio.render(period);
        if (!out.empty())
            for (float v : out[0]) peak_ = std::max(peak_, std::fabs(v));
        loop.advance(period / rate);
    }
}

float WorkspaceRig::takePeak() {
    const float p = peak_;
    peak_ = 0.0f;
    return p;
}

} // namespace ostinel::test
