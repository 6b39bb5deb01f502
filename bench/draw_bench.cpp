// Screens drawn in software, each operation beside SDL doing the same on a surface of the same size and
// layout: 1280 by 720 words 0xAARRGGBB, opaque black to start with.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/SdlDraw.h"
#include "platform/STBResourseHolder.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/RenderManager.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"

namespace {

constexpr int width = 1280;
constexpr int height = 720;
constexpr int fontHeightPx = 50;
constexpr unsigned int opaque = 0xFF3060C0U;
constexpr unsigned int half = 0x803060C0U;

const std::string line = "Installing update. Do not turn off! 100%"; // 40 characters

RenderManager& ours() {
    static RenderManager* const renderer = [] {
        STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
        settings.graphics = true;
        if (!STBResourseHolder::initialize(settings)) {
            std::exit(1);
        }
        auto* const made = new RenderManager(width, height);
        made->fillRect({0, 0, width, height}, 0xFF000000U);
        return made;
    }();
    return *renderer;
}

SdlDraw& theirs() {
    static auto* const draw = new SdlDraw(width, height, LUMO_BENCH_FONT, fontHeightPx);
    return *draw;
}

// veil: translucent everywhere, so that nobody can skip or copy a pixel. Otherwise like a picture with soft
// edges: runs of transparent, of opaque and of translucent pixels.
std::vector<std::uint32_t> words(int count, bool veil) {
    std::mt19937 random(1);
    std::vector<std::uint32_t> result;
    while (static_cast<int>(result.size()) < count) {
        const std::uint32_t run = random() % 64 + 1;
        const std::uint32_t kind = veil ? 2 : random() % 3;
        for (std::uint32_t i = 0; i < run && static_cast<int>(result.size()) < count; ++i) {
            const std::uint32_t alpha = kind == 0 ? 0 : kind == 1 ? 255 : random() % 254 + 1;
            result.push_back(alpha << 24 | (random() & 0xFFFFFF));
        }
    }
    return result;
}

std::shared_ptr<Image> imageOf(const std::vector<std::uint32_t>& from, int imageWidth, int imageHeight) {
    std::vector<unsigned char> bytes;
    for (const std::uint32_t word : from) {
        for (const int shift : {16, 8, 0, 24}) {
            bytes.push_back(static_cast<unsigned char>(word >> shift));
        }
    }
    auto image = std::make_shared<Image>(0, 0);
    image->loadRGBA8888(imageWidth, imageHeight, imageWidth * 4, bytes.data());
    return image;
}

void text(benchmark::State& state) {
    static const auto font = [] {
        TTF_Library::instance()->createFace("openSans", LUMO_BENCH_FONT);
        return TTF_Library::instance()->getFont({"openSans", fontHeightPx, fontHeightPx, 0});
    }();
    for (auto step : state) {
        ours().drawTextLine({0, 300, width, 60}, 0xFFFFFFFFU, 0, font, line, UITextHorizontalAlignLeft,
                            UITextVerticalAlignTop, "");
    }
}

void textSdl(benchmark::State& state) {
    for (auto step : state) {
        theirs().drawLine(0, 300, 0xFFFFFFFFU, line);
    }
}

void fill(benchmark::State& state, int fillWidth, int fillHeight, unsigned int colour) {
    for (auto step : state) {
        ours().fillRect({0, 0, fillWidth, fillHeight}, colour);
    }
}

void fillSdl(benchmark::State& state, int fillWidth, int fillHeight, unsigned int colour) {
    for (auto step : state) {
        if (colour == opaque) {
            theirs().fillOpaque(fillWidth, fillHeight, colour);
        } else {
            theirs().fillBlended(fillWidth, fillHeight, colour);
        }
    }
}

void picture(benchmark::State& state, int pictureWidth, int pictureHeight, bool veil) {
    const auto image = imageOf(words(pictureWidth * pictureHeight, veil), pictureWidth, pictureHeight);
    ours().fillRect({0, 0, width, height}, 0xFF000000U);
    for (auto step : state) {
        ours().drawImage({0, 0, width, height}, {}, image);
    }
}

void pictureSdl(benchmark::State& state, int pictureWidth, int pictureHeight, bool veil) {
    SdlDraw draw(width, height, LUMO_BENCH_FONT, fontHeightPx);
    draw.setPicture(pictureWidth, pictureHeight, words(pictureWidth * pictureHeight, veil));
    for (auto step : state) {
        if (pictureWidth == width) {
            draw.blit();
        } else {
            draw.stretch();
        }
    }
}

// At most 0.6 of the peer's time.
BENCHMARK(text);
BENCHMARK(textSdl);
// At most 1.0 of it.
BENCHMARK_CAPTURE(fill, bar, 896, 50, opaque);
BENCHMARK_CAPTURE(fillSdl, bar, 896, 50, opaque);
BENCHMARK_CAPTURE(fill, screen, width, height, opaque);
BENCHMARK_CAPTURE(fillSdl, screen, width, height, opaque);
// At most 0.4 of it.
BENCHMARK_CAPTURE(fill, bar_half, 896, 50, half);
BENCHMARK_CAPTURE(fillSdl, bar_half, 896, 50, half);
BENCHMARK_CAPTURE(fill, screen_half, width, height, half);
BENCHMARK_CAPTURE(fillSdl, screen_half, width, height, half);
// At most 0.8 and 0.6 of it.
BENCHMARK_CAPTURE(picture, veil, width, height, true);
BENCHMARK_CAPTURE(pictureSdl, veil, width, height, true);
BENCHMARK_CAPTURE(picture, mixed, width, height, false);
BENCHMARK_CAPTURE(pictureSdl, mixed, width, height, false);
BENCHMARK_CAPTURE(picture, veil_stretched, width / 2, height / 2, true);
BENCHMARK_CAPTURE(pictureSdl, veil_stretched, width / 2, height / 2, true);
BENCHMARK_CAPTURE(picture, mixed_stretched, width / 2, height / 2, false);
BENCHMARK_CAPTURE(pictureSdl, mixed_stretched, width / 2, height / 2, false);

} // namespace

BENCHMARK_MAIN();
