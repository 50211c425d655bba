#include <gtest/gtest.h>

#include <QImage>

#include <cmath>

#include "WaveformTestRig.h"
#include "support/AudioFixtures.h"
#include "workspace/common/Theme.h"

namespace ostinel {
namespace {

using test::WaveformPanelRig;

// Points the cue at ten seconds of a sine at `hz` and grabs the canvas.
QImage drawTone(WaveformPanelRig& w, double hz) {
    const int rate = 48000;
    std::vector<float> tone(std::size_t(rate) * 10);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = float(0.5 * std::sin(2.0 * M_PI * hz * double(i) / rate));
    const auto path = test::writeSamples(w.rig.dir.file(std::to_string(int(hz)) + ".wav"), tone, rate, 1);
    w.rig.state.editTrack(w.cue, [&](Track& t) { t.url = FileUrl::fromPath(path); });
    w.rig.loop.runPosted();
    return w.canvas().grab().toImage();
}

QColor centre(WaveformPanelRig& w, const QImage& image) {
    const waveform::CanvasMetrics m{double(w.canvas().height()), double(w.canvas().width())};
    return image.pixelColor(500, int((m.waveTop() + m.waveBottom()) / 2.0));
}

TEST(WaveformSpectral, ColouringTintsBassRedAndTrebleBlueOnlyWhenOn) {
    WaveformPanelRig w;
    const QColor plain = centre(w, drawTone(w, 100.0));
    EXPECT_EQ(plain, theme::waveform) << "off: no bands are asked for or drawn";
    EXPECT_FALSE(w.rig.store.entry(w.track().url).bands());

    w.rig.state.setSpectralColoringEnabled(true);
    w.rig.loop.runPosted();
    const QColor bass = centre(w, w.canvas().grab().toImage());
    EXPECT_GT(bass.red(), 200);
    EXPECT_LT(bass.blue(), 40);
    EXPECT_LT(bass.green(), 40);

    const QImage trebleImage = drawTone(w, 9000.0);
    const QColor treble = centre(w, trebleImage);
    EXPECT_GT(treble.blue(), 200);
    EXPECT_LT(treble.red(), 40);
    EXPECT_LT(treble.green(), 40);
    if (const char* shot = std::getenv("OSTINEL_BANDS_SHOT")) trebleImage.save(shot);

    w.rig.state.setSpectralColoringEnabled(false);
    EXPECT_EQ(centre(w, w.canvas().grab().toImage()), theme::waveform);
}

} // namespace
} // namespace ostinel
