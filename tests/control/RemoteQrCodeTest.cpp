#include <gtest/gtest.h>

#include <qrencode.h>

#include <memory>

#include "control/RemoteQrCode.h"

using namespace ostinel;

namespace {

TEST(RemoteQrCodeTest, SignInAddressCarriesThePinInTheFragment) {
    EXPECT_EQ(remoteSignInURL("192.168.1.20", 8765, "0421"), "http://192.168.1.20:8765/#pin=0421");
    EXPECT_EQ(remoteSignInURL("fe80::1", 80, "9999"), "http://[fe80::1]:80/#pin=9999");
    EXPECT_EQ(remoteSignInURL("[fe80::1]", 80, "9999"), "http://[fe80::1]:80/#pin=9999");
}

struct Modules {
    const QImage& image;
    int scale;
    // Module (x, y) counted from the image's corner, quiet zone included.
    bool dark(int x, int y) const {
        return image.pixel(x * scale + scale / 2, y * scale + scale / 2) == qRgb(0, 0, 0);
    }
    bool uniform(int x, int y) const {
        const QRgb first = image.pixel(x * scale, y * scale);
        for (int dy = 0; dy < scale; ++dy)
            for (int dx = 0; dx < scale; ++dx)
                if (image.pixel(x * scale + dx, y * scale + dy) != first) return false;
        return true;
    }
    // The 7 by 7 finder: dark ring, light ring, dark 3 by 3 core.
    bool finderAt(int left, int top) const {
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 7; ++x) {
                const int ring = std::max(std::abs(x - 3), std::abs(y - 3));
                if (dark(left + x, top + y) != (ring != 2)) return false;
            }
        return true;
    }
};

TEST(RemoteQrCodeTest, CodeIsWholeModulesWithAQuietZoneAndReadsBackAsTheText) {
    const std::string text = remoteSignInURL("192.168.178.34", 8765, "0815");
    const QImage image = remoteQrCode(text, 180);
    ASSERT_FALSE(image.isNull());
    ASSERT_EQ(image.width(), image.height());
    EXPECT_LE(image.width(), 180);

    std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(int(text.size()), reinterpret_cast<const unsigned char*>(text.data()), 0,
                          QR_ECLEVEL_M),
        &QRcode_free);
    ASSERT_TRUE(code);
    const int total = code->width + 8;
    ASSERT_EQ(image.width() % total, 0);
    const Modules m{image, image.width() / total};
    // The largest whole scale that fits.
    EXPECT_GT((m.scale + 1) * total, 180);

    for (int i = 0; i < total; ++i)
        for (int q = 0; q < 4; ++q)
            for (auto [x, y] : {std::pair{i, q}, {q, i}, {i, total - 1 - q}, {total - 1 - q, i}})
                ASSERT_FALSE(m.dark(x, y)) << "quiet zone at " << x << "," << y;
    const int far = total - 4 - 7;
    EXPECT_TRUE(m.finderAt(4, 4));
    EXPECT_TRUE(m.finderAt(far, 4));
    EXPECT_TRUE(m.finderAt(4, far));
    EXPECT_FALSE(m.finderAt(far, far));

    for (int y = 0; y < code->width; ++y)
        for (int x = 0; x < code->width; ++x) {
            ASSERT_TRUE(m.uniform(x + 4, y + 4));
            ASSERT_EQ(m.dark(x + 4, y + 4), bool(code->data[y * code->width + x] & 1)) << x << "," << y;
        }

    // Too small a size still gives one pixel a module, never a blur.
    EXPECT_EQ(remoteQrCode(text, 10).width(), total);
}

} // namespace
