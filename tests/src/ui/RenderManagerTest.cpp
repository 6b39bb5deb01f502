// The software renderer on the platform library's own surfaces and display.

#include "src/ui/system/RenderManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <vector>

#include "platform/STBBitmap.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "platform/STBSurfaceInterface.h"
#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"
#include "tests/src/ui/TestFonts.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PngPicture.h"
#include "tests/support/TempDir.h"

namespace {

constexpr unsigned int black = 0xFF000000U;
constexpr unsigned int white = 0xFFFFFFFFU;
constexpr unsigned int red = 0xFFFF0000U;
constexpr unsigned int blue = 0xFF0000FFU;

class RenderManagerTest : public testing::Test {
protected:
    void SetUp() override {
        lumo::Config config = lumo::simulatedConfig(_folder.file("state"));
        config.display.width = 64;
        config.display.height = 48;
        config.display.frames = _folder.file("frames");
        _log.use(config);
        STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
        settings.graphics = true;
        settings.videoOutput = true;
        ASSERT_TRUE(STBResourseHolder::initialize(settings));
        _surface = makeSurface(64, 48);
        _renderer = std::make_unique<RenderManager>(64, 48);
        _renderer->beginSurfaceBlock(_surface.get());
    }

    void TearDown() override {
        _renderer.reset();
        _surface.reset();
        TTF_Library::destroy();
        STBResourseHolder::uninitialize();
    }

    static std::unique_ptr<STBSurfaceInterface> makeSurface(unsigned short width, unsigned short height) {
        STBGraphicsInterface* graphics = STBResourseHolder::getSTBGraphics();
        std::unique_ptr<STBSurfaceInterface> surface(
            graphics->createSurface(width, height, graphics->getOutputPixelFormat()));
        surface->simpleFill(black);
        return surface;
    }

    static std::shared_ptr<TTF_Font> font(const std::string& bytes, int height, int outline = 0) {
        TTF_Library::instance()->createFace("face", bytes.data(), static_cast<unsigned int>(bytes.size()));
        return TTF_Library::instance()->getFont(TTF_FontProperties("face", 0, height, outline));
    }

    // Two pixels: red, and half transparent blue.
    static std::shared_ptr<Image> picture(unsigned int format = 0, unsigned int tint = 0) {
        auto image = std::make_shared<Image>(format, tint);
        const unsigned char pixels[] = {255, 0, 0, 255, 0, 0, 255, 128};
        EXPECT_TRUE(image->loadRGBA8888(2, 1, 8, pixels));
        return image;
    }

    static std::uint32_t& word(STBSurfaceInterface& surface, int x, int y) {
        return reinterpret_cast<std::uint32_t*>(surface.getMemoryPtr() +
                                                std::ptrdiff_t{y} * surface.getPitch())[x];
    }

    unsigned int at(int x, int y) { return word(*_surface, x, y); }

    support::TempDir _folder;
    support::LogCapture _log;
    std::unique_ptr<STBSurfaceInterface> _surface;
    std::unique_ptr<RenderManager> _renderer; // draws to _surface
};

TEST_F(RenderManagerTest, GlyphsAreBlendedLikeSinglePixelsToTheBit) {
    const auto plain = font(TestFonts::tenWide(), 10);
    const auto surface = makeSurface(259, 256);
    SimpleGlyphSlot glyph;
    glyph.top = plain->getFontVerticalBaseLinePx();
    glyph.left = 2; // groups of four start anywhere
    glyph.width = 257;
    glyph.height = 256;
    glyph.body = std::make_unique<OpenGlFontSurface>(static_cast<unsigned short>(257),
                                                     static_cast<unsigned short>(256));
    std::mt19937 random(1);
    for (const unsigned int alpha : {255U, 254U, 0U, 128U, 256U}) { // 256: a random one
        const unsigned int colour = random();
        std::vector<std::uint32_t> old;
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 257; ++x) {
                // Every coverage meets every channel, in groups that are equal and in such that are not.
                const auto coverage = static_cast<unsigned char>(y % 2 == 0 ? x : x * 67);
                glyph.body->getMemoryPtr()[y * 257 + x] = coverage;
                const unsigned int channel = static_cast<unsigned int>(y);
                const unsigned int alphaD = alpha == 256 ? random() % 256 : alpha;
                old.push_back(alphaD << 24 | channel << 16 | (255 - channel) << 8 | (channel ^ 0x55));
                word(*surface, x + 2, y) = old.back();
            }
        }
        drawGlyphSlot(&glyph, 0, 0, colour, 0, surface.get(), plain);
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 257; ++x) {
                const unsigned int coverage = glyph.body->getMemoryPtr()[y * 257 + x];
                ASSERT_EQ(word(*surface, x + 2, y), calculateColor(old[static_cast<std::size_t>(y * 257 + x)],
                                                                   (colour & 0xFFFFFF) | coverage << 24))
                    << x << ", " << y << ", alpha " << alpha;
            }
        }
    }
    EXPECT_EQ(calculateColor(white, 0x80000000U), 0xFF7E7E7EU); // 127 in double precision
    EXPECT_EQ(calculateColor(0x80FFFFFFU, 0x40000000U), 0x9F5F5F5FU);
}

TEST_F(RenderManagerTest, StrokesLieUnderTheirGlyphsAndStayOnTheSurface) {
    const auto outlined = font(TestFonts::openSans(), 30, 2);
    SimpleGlyphSlot glyph;
    const auto block = [](unsigned short size) {
        auto surface = std::make_unique<OpenGlFontSurface>(size, size);
        std::fill_n(surface->getMemoryPtr(), size * size, static_cast<unsigned char>(255));
        return surface;
    };
    glyph.top = outlined->getFontVerticalBaseLinePx(); // the body's first row is the line's
    glyph.width = glyph.height = 2;
    glyph.body = block(2);
    glyph.strokeLeft = -2;
    glyph.strokeWidth = 6;
    glyph.strokeHeight = 6;
    glyph.stroke = block(6);

    const struct {
        int x, y;
        UIRect stroke, body; // what is seen of them
    } cases[] = {
        {10, 10, {8, 8, 6, 6}, {10, 10, 2, 2}},
        {0, 0, {0, 0, 4, 4}, {0, 0, 2, 2}},      // cut on the left and above
        {10, 46, {8, 44, 6, 4}, {10, 46, 2, 2}}, // cut below
        {62, 10, {}, {62, 10, 2, 2}},            // too far to the right: left out
        {63, 10, {}, {}},
        {-1, 10, {}, {}},
        {10, 47, {}, {}},
    };

    for (const auto& expected : cases) {
        _surface->simpleFill(black);
        drawGlyphSlot(&glyph, expected.x, expected.y, red, blue, _surface.get(), outlined);
        const auto holds = [](const UIRect& rect, int x, int y) {
            return x >= rect.x && y >= rect.y && x < rect.x + rect.w && y < rect.y + rect.h;
        };
        for (int i = 0; i < 64 * 48; ++i) {
            const int x = i % 64;
            const int y = i / 64;
            const unsigned int wanted = holds(expected.body, x, y)     ? red
                                        : holds(expected.stroke, x, y) ? blue
                                                                       : black;
            ASSERT_EQ(at(x, y), wanted) << x << ", " << y << " of a glyph at " << expected.x;
        }
    }
}

TEST_F(RenderManagerTest, ImagesAndSurfaceBlocksAreDrawnOntoTheOneBeneath) {
    const auto colours = picture();
    _renderer->drawImage({0, 0, 2, 1}, {5, 5, 0, 0}, colours);
    EXPECT_EQ(at(0, 0), red);
    EXPECT_EQ(at(1, 0), 0xFF000080U);
    for (const auto& [tint, drawn] : {std::pair{0U, white}, {0x80123456U, 0xFF123456U}, {black, black}}) {
        _renderer->drawImage({0, 10, 2, 1}, {}, picture(STB_PIXEL_ALPHA8, tint));
        EXPECT_EQ(at(0, 10), drawn);
    }
    const unsigned char green[] = {0, 255, 0, 255};
    ASSERT_TRUE(colours->loadRGBA8888(1, 1, 4, green));
    _renderer->drawImage({0, 20, 2, 1}, {}, colours);
    EXPECT_EQ(at(1, 20), 0xFF00FF00U) << "the picture that was held before";
    colours->setAnimation(2, 100);
    _renderer->drawImage({0, 30, 2, 1}, {}, colours);
    EXPECT_EQ(at(0, 30), black) << "frames are not drawn";

    const auto upper = makeSurface(4, 4);
    _renderer->beginSurfaceBlock(upper.get());
    _renderer->clearSurface();
    _renderer->fillRect({0, 0, 2, 4}, red);
    _renderer->drawSurfaceBlock({10, 10, 8, 4});
    _renderer->endSurfaceBlock();
    EXPECT_EQ(at(10, 13), red);
    EXPECT_EQ(at(17, 13), black);
    _renderer->fillRect({10, 13, -3, 4}, white);
    EXPECT_EQ(at(10, 13), red);
}

TEST_F(RenderManagerTest, TheScaleSaysWhichPartIsOnTheScreen) {
    _renderer->endSurfaceBlock();
    _renderer->clearSurface();
    _renderer->fillRect({0, 0, 64, 48}, red);
    _renderer->fillRect({32, 0, 32, 24}, blue);
    _renderer->fillRect({32, 23, 32, 1}, white);
    _renderer->setScale(UIScale(2.0F, 2.0F, 1.0F, 0.0F)); // the upper right quarter
    _renderer->displayOnScreen();
    STBResourseHolder::uninitialize(); // after which all pictures are written
    const auto shown = support::readPng(_folder.file("frames/frame-000001.png"));
    EXPECT_EQ(shown.width, 64);
    EXPECT_EQ(shown.at(1, 1), blue);
    EXPECT_EQ(shown.at(62, 43), blue);
    EXPECT_EQ(shown.at(62, 47), white);
    _renderer.reset();
}

TEST_F(RenderManagerTest, WhatCannotBeDrawnIsLogged) {
    const auto line = [&](const std::shared_ptr<TTF_Font>& ofFont, const std::string& text) {
        _renderer->drawTextLine({0, 0, 60, 40}, white, 0, ofFont, text, UITextHorizontalAlignLeft,
                                UITextVerticalAlignTop, "");
    };
    line(nullptr, "a");
    EXPECT_EQ(_log.takeProblem(), "error RenderManager::drawTextLine -font is NULL");
    const auto ten = font(TestFonts::tenWide(), 10);
    line(ten, "a\xFF");
    EXPECT_THAT(_log.takeProblems(),
                testing::Each(testing::HasSubstr("drawText error: text is invalid utf8")));
    _renderer->drawImage({0, 0, 2, 1}, {1, 0, 2, 1}, picture()); // reaches out of the picture
    EXPECT_EQ(_log.takeProblem(), "error drawImage - blit error");
    drawGlyphSlot(nullptr, 0, 0, white, 0, _surface.get(), ten);
    EXPECT_EQ(_log.takeProblem(), "error NULL text glyph");
    _renderer->beginSurfaceBlock(nullptr);
    _renderer->fillRect({0, 0, 2, 1}, white);
    EXPECT_EQ(_log.takeProblem(), "error fillRect - blit error");
    _renderer->endSurfaceBlock();
    for (int i = 0; i < 64 * 48; ++i) {
        ASSERT_EQ(at(i % 64, i / 64), black);
    }

    const auto fade = std::make_shared<AlphaAnimation>(0.25F, 1.0F, 100);
    _renderer->applyBlockAnimation(fade);
    EXPECT_FALSE(fade->isValid()) << "over at once";
    _renderer->applyHiddenBlockAnimation(this, nullptr);

    _surface.reset();
    _renderer.reset();
    STBResourseHolder::uninitialize();
    RenderManager blind(64, 48);
    EXPECT_EQ(_log.takeProblem(), "error Can't obtain graphics interface");
    blind.clearSurface();
    blind.drawText(0, 0, white, 0, ten, {0, 0, 60, 40}, "a");
    EXPECT_EQ(_log.takeProblem(), "error Can't obtain graphics interface");
    blind.displayOnScreen();
}

} // namespace
