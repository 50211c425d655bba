// smoke_screengrab OUT.png: saves the whole X screen and fails when the
// picture is blank (one colour, or next to no colours at all).

#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QPixmap>
#include <QScreen>

#include <algorithm>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: smoke_screengrab OUT.png\n");
        return 2;
    }
    QGuiApplication app(argc, argv);
    const QImage image = app.primaryScreen()->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32);
    if (image.isNull() || !image.save(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "smoke_screengrab: could not grab or save the screen\n");
        return 1;
    }
    QHash<QRgb, qint64> counts;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) ++counts[row[x]];
    }
    const qint64 pixels = qint64(image.width()) * image.height();
    const qint64 commonest = *std::max_element(counts.cbegin(), counts.cend());
    std::printf("%dx%d, %lld colours, the commonest on %.1f%% of the screen\n", image.width(), image.height(),
                static_cast<long long>(counts.size()), 100.0 * double(commonest) / double(pixels));
    // A drawn window has text, a waveform and meters: hundreds of colours.
    const bool blank = counts.size() < 64 || commonest > pixels * 95 / 100;
    return blank ? 1 : 0;
}
