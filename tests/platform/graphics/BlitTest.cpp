#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "platform/STBBlitRequest.h"
#include "platform/linux/graphics/GraphicsService.h"
#include "platform/linux/graphics/Surface.h"

namespace {

using Rect = STBBlitRequest::Rect;

std::unique_ptr<STBSurfaceInterface> makeSurface(int width, int height, int format = STB_PIXEL_ARGB8888) {
    return std::unique_ptr<STBSurfaceInterface>(lumo::GraphicsService(nullptr).createSurface(
        static_cast<unsigned short>(width), static_cast<unsigned short>(height), format));
}

unsigned char* rowOf(STBSurfaceInterface& surface, int y) {
    return surface.getMemoryPtr() + std::ptrdiff_t{y} * surface.getPitch();
}

std::uint32_t& word(STBSurfaceInterface& surface, int x, int y) {
    return reinterpret_cast<std::uint32_t*>(rowOf(surface, y))[x];
}

void forEachPixel(STBSurfaceInterface& surface, const std::function<void(int, int)>& call) {
    for (int y = 0; y < surface.getHeight(); ++y) {
        for (int x = 0; x < surface.getWidth(); ++x) {
            call(x, y);
        }
    }
}

STBBlitRequest request(STBSurfaceInterface* source, const Rect& from, STBSurfaceInterface* onto,
                       const Rect& to, unsigned int colour = 0) {
    return {source, from, onto, to, 2, 3, colour, 3, 3};
}

int blit(const STBBlitRequest& request) {
    return lumo::GraphicsService(nullptr).blit(request);
}

int channel(std::uint32_t colour, int shift) {
    return static_cast<int>(colour >> shift & 0xFF);
}

// Source-over as text is blended, but without rounding in between.
double blended(std::uint32_t old, std::uint32_t source, int shift) {
    const double alphaS = channel(source, 24) / 255.0;
    const double rest = (1 - alphaS) * channel(old, 24) / 255.0;
    if (alphaS == 0) {
        return channel(old, shift);
    }
    return shift == 24 ? 255 * (alphaS + rest) : channel(source, shift) * alphaS + rest * channel(old, shift);
}

// Whether its rows are opaque makes a difference to how a destination is drawn to.
std::uint32_t destinationWord(std::mt19937& random, int y) {
    return y < 40 ? random() | 0xFF000000U : random() % 4 == 0 ? 0 : random();
}

TEST(BlitTest, BlendsWordsCoverageAndFillsAlike) {
    std::mt19937 random(1);
    const auto pixels = makeSurface(50, 100);
    const auto coverage = makeSurface(50, 100, STB_PIXEL_ALPHA8);
    const auto dot = makeSurface(1, 1);
    forEachPixel(*pixels, [&](int x, int y) {
        const std::uint32_t alpha = random() % 3 == 0 ? (random() & 1) * 0xFF000000U : random() & 0xFF000000U;
        word(*pixels, x, y) = (random() & 0xFFFFFF) | alpha;
        rowOf(*coverage, y)[x] = static_cast<unsigned char>(alpha >> 24);
    });
    for (const std::uint32_t fill : {0x80FF8000U, 0xFF123456U, 0x00FFFFFFU, 0x01FFFFFFU}) {
        const auto old = makeSurface(50, 100);
        forEachPixel(*old, [&](int x, int y) { word(*old, x, y) = destinationWord(random, y); });
        const auto draw = [&](const STBBlitRequest& wanted, const char* what, const auto& sourceAt) {
            const auto onto = makeSurface(50, 100);
            std::memcpy(onto->getMemoryPtr(), old->getMemoryPtr(),
                        static_cast<std::size_t>(old->getPitch()) * 100);
            STBBlitRequest complete = wanted;
            complete.destination = onto.get();
            ASSERT_EQ(blit(complete), 0);
            forEachPixel(*onto, [&](int x, int y) {
                for (const int shift : {0, 8, 16, 24}) {
                    ASSERT_NEAR(channel(word(*onto, x, y), shift),
                                blended(word(*old, x, y), sourceAt(x, y), shift), 2)
                        << what << std::hex << ": " << sourceAt(x, y) << " over " << word(*old, x, y);
                }
            });
        };
        const Rect all{0, 0, 50, 100};
        dot->simpleFill(fill);
        draw(request(dot.get(), {0, 0, 1, 1}, nullptr, all), "fill", [&](int, int) { return fill; });
        draw(request(pixels.get(), all, nullptr, all, 0x123456), "words",
             [&](int x, int y) { return word(*pixels, x, y); });
        draw(request(coverage.get(), all, nullptr, all, fill & 0xFFFFFF), "coverage",
             [&](int x, int y) { return (fill & 0xFFFFFF) | std::uint32_t{rowOf(*coverage, y)[x]} << 24; });
    }
}

TEST(BlitTest, SeesWhatWasWrittenSinceTheLastBlit) {
    const auto source = makeSurface(4, 4);
    const auto onto = makeSurface(4, 4);
    const auto drawn = [&] {
        onto->simpleFill(0xFF000000U);
        EXPECT_EQ(blit(request(source.get(), {0, 0, 4, 4}, onto.get(), {0, 0, 4, 4})), 0);
        return word(*onto, 1, 1);
    };
    EXPECT_EQ(drawn(), 0xFF000000U);
    word(*source, 1, 1) = 0xFF0000FFU;
    EXPECT_EQ(drawn(), 0xFF0000FFU);
    source->flush();
    word(*source, 1, 1) = 0xFF00FF00U;
    EXPECT_EQ(drawn(), 0xFF00FF00U);
    source->flush();
    source->fillRect(1, 1, 9, 1, 0x80FF0000U);
    EXPECT_EQ(drawn(), 0xFF800000U);
}

TEST(BlitTest, ClippedBlitsShowWhatWholeOnesShow) {
    const auto source = makeSurface(8, 8);
    forEachPixel(*source, [&](int x, int y) {
        word(*source, x, y) =
            (static_cast<std::uint32_t>(x * y * 4) << 24) | static_cast<std::uint32_t>(x * 30);
    });

    const struct {
        Rect from, to;
    } cases[] = {
        {{0, 0, 8, 8}, {-3, -2, 8, 8}},           {{1, 2, 6, 5}, {-200, 20, 300, 90}},
        {{0, 0, 8, 8}, {58, -1, 5, 3}},           {{0, 0, 8, 8}, {64, 0, 8, 8}},
        {{0, 0, 8, 8}, {-100000, 0, 100060, 50}},
    };

    for (const auto& one : cases) {
        // The whole picture on a larger surface, with the same pixel of the blit in the same place.
        const int margin = 300;
        const auto clipped = makeSurface(64, 64);
        const auto whole = makeSurface(64 + 2 * margin, 64 + 2 * margin);
        clipped->simpleFill(0xFF204060U);
        whole->simpleFill(0xFF204060U);
        ASSERT_EQ(blit(request(source.get(), one.from, clipped.get(), one.to)), 0);
        const Rect moved{one.to.x + margin, one.to.y + margin, one.to.w, one.to.h};
        ASSERT_EQ(blit(request(source.get(), one.from, whole.get(), moved)), 0);
        forEachPixel(*clipped, [&](int x, int y) {
            for (const int shift : {0, 8, 16, 24}) {
                ASSERT_NEAR(channel(word(*clipped, x, y), shift),
                            channel(word(*whole, x + margin, y + margin), shift), 1)
                    << one.to.w << " at " << x << ", " << y;
            }
        });
    }
}

TEST(BlitTest, SurfaceOntoItselfReadsTheOldPixels) {
    const auto surface = makeSurface(6, 6);
    forEachPixel(*surface, [&](int x, int y) { word(*surface, x, y) = 0xFF000000U | unsigned(y * 6 + x); });
    ASSERT_EQ(blit(request(surface.get(), {0, 0, 5, 5}, surface.get(), {1, 1, 5, 5})), 0);
    forEachPixel(*surface, [&](int x, int y) {
        const int from = x > 0 && y > 0 ? (y - 1) * 6 + x - 1 : y * 6 + x;
        EXPECT_EQ(word(*surface, x, y), 0xFF000000U | unsigned(from));
    });
}

TEST(BlitTest, BadRequestsDrawNothing) {
    const auto source = makeSurface(8, 8);
    const auto onto = makeSurface(8, 8);
    const auto coverage = makeSurface(8, 8, STB_PIXEL_ALPHA8);
    source->simpleFill(0xFFFFFFFFU);
    const STBBlitRequest faults[] = {
        request(nullptr, {0, 0, 8, 8}, onto.get(), {0, 0, 8, 8}),
        request(source.get(), {0, 0, 8, 8}, nullptr, {0, 0, 8, 8}),
        request(source.get(), {0, 0, 8, 8}, coverage.get(), {0, 0, 8, 8}),
        request(source.get(), {0, 0, 0, 8}, onto.get(), {0, 0, 8, 8}),
        request(source.get(), {-1, 0, 8, 8}, onto.get(), {0, 0, 8, 8}),
        request(source.get(), {0, 0, 8, 9}, onto.get(), {0, 0, 8, 8}),
        request(source.get(), {INT_MAX, INT_MAX, INT_MAX, INT_MAX}, onto.get(), {0, 0, 8, 8}),
        request(source.get(), {0, 0, 8, 8}, onto.get(), {0, 0, 8, -8}),
        request(source.get(), {0, 0, 8, 8}, onto.get(), {1, 1, INT_MAX, INT_MAX}),
        {source.get(), {0, 0, 8, 8}, onto.get(), {0, 0, 8, 8}, 1, 3, 0, 3, 3}, // no such blending
    };
    for (const STBBlitRequest& bad : faults) {
        EXPECT_NE(blit(bad), 0) << &bad - faults;
        forEachPixel(*onto, [&](int x, int y) { EXPECT_EQ(word(*onto, x, y), 0U) << &bad - faults; });
    }
    EXPECT_EQ(makeSurface(0, 5), nullptr);
    EXPECT_EQ(makeSurface(40000, 5), nullptr);
    EXPECT_EQ(makeSurface(5, 5, STB_PIXEL_RGBA8888), nullptr);
}

} // namespace
