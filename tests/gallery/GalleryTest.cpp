#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/linux/graphics/PngFile.h"
#include "tests/gallery/SoftwarePicture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace {

// Of a channel: what fonts and pictures may differ by between versions of the libraries that draw them.
constexpr int tolerance = 8;

int distance(std::uint32_t a, std::uint32_t b) {
    int most = 0;
    for (const int shift : {0, 8, 16}) {
        most = std::max(most,
                        std::abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF)));
    }
    return most;
}

void save(const std::string& name, const std::vector<std::uint32_t>& words) {
    lumo::writePngFile(std::string(LUMO_GALLERY_OUT) + "/" + name + ".png",
                       {reinterpret_cast<const unsigned char*>(words.data()), gallery::width, gallery::height,
                        gallery::width * 4, STB_PIXEL_ARGB8888, false});
}

// Pictures that differ are left in the build folder, together with one of the differences: the whiter, the
// larger.
TEST(GalleryTest, LooksAsItDidBefore) {
    support::TempDir folder;
    support::LogCapture log;
    log.use(lumo::simulatedConfig(folder.file("state")));
    const gallery::Platform platform;
    const gallery::Props props = gallery::makeProps(LUMO_TEST_FONT);
    for (const gallery::Scene& scene : gallery::scenes()) {
        const std::string name = scene.name;
        const support::PngPicture golden = support::readPng(LUMO_GOLDENS "/" + name + ".png");
        ASSERT_EQ(golden.width, gallery::width);
        ASSERT_EQ(golden.height, gallery::height);
        const auto surface = gallery::drawInSoftware(scene, props);
        std::vector<std::uint32_t> drawn;
        std::vector<std::uint32_t> differences;
        int most = 0;
        for (int y = 0; y < gallery::height; ++y) {
            const auto* const row = reinterpret_cast<const std::uint32_t*>(
                surface->getMemoryPtr() + std::ptrdiff_t{y} * surface->getPitch());
            for (int x = 0; x < gallery::width; ++x) {
                drawn.push_back(row[x]);
                const int difference = distance(row[x], golden.at(x, y));
                most = std::max(most, difference);
                differences.push_back(static_cast<std::uint32_t>(std::min(255, difference * 8)) * 0x010101U);
            }
        }
        EXPECT_LE(most, tolerance) << "see " LUMO_GALLERY_OUT "/" << name << "-difference.png";
        if (most > tolerance) {
            save(name, drawn);
            save(name + "-difference", differences);
        }
    }
}

} // namespace
