#include <algorithm>
#include <climits>
#include <cmath>
#include <random>

#include "tests/src/ui/FontFixture.h"

namespace {

struct FontGlyphTest : FontFixture {};

// Coverage with the baseline at row 0 and the pen at column 0; rows grow downwards.
class Coverage {
public:
    Coverage(OpenGlFontSurface* surface, int left, int top) : _surface(surface), _left(left), _top(top) {}

    int at(int x, int y) const {
        const int column = x - _left;
        const int row = y + _top;
        if (column < 0 || row < 0 || column >= _surface->getWidth() || row >= _surface->getHeight()) {
            return 0;
        }
        return _surface->getMemoryPtr()[row * _surface->getPitch() + column];
    }

    // The distance to the next pixel that is inside (or outside), at most limit + 1.
    double distance(int x, int y, bool inside, int limit) const {
        double nearest = limit + 1;
        for (int dy = -limit; dy <= limit; ++dy) {
            for (int dx = -limit; dx <= limit; ++dx) {
                if ((at(x + dx, y + dy) >= 128) == inside) {
                    nearest = std::min(nearest, std::hypot(dx, dy));
                }
            }
        }
        return nearest;
    }

private:
    OpenGlFontSurface* _surface;
    int _left;
    int _top;
};

TEST_F(FontGlyphTest, CachesGlyphsUntilInvalidated) {
    const auto font = fontOf(TestFonts::openSans(), 50);
    const SimpleGlyphSlot* slot = font->loadGlyphSlot('g');
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(font->loadGlyphSlot('g'), slot);
    EXPECT_GT(slot->height, slot->top) << "it descends below the baseline";
    EXPECT_EQ(slot->body->getPitch() * slot->body->getHeight(), slot->width * slot->height);
    EXPECT_EQ(slot->body->getPixelFormat(), -1);
    const int width = slot->width;
    LogCapture::take();
    font->invalidate();
    EXPECT_THAT(LogCapture::take(),
                testing::ElementsAre("4 src/ui/system/TTF_Font Inavalidating TTF_Font \"face\" 50x50"));
    EXPECT_EQ(font->loadGlyphSlot('g')->width, width);
}

TEST_F(FontGlyphTest, SizesDoNotDisturbEachOther) {
    const auto large = fontOf(TestFonts::openSans(), 60);
    const auto small = TTF_Library::instance()->getFont(TTF_FontProperties("face", 0, 20, 0));
    const int height = large->loadGlyphSlot('H')->height;
    EXPECT_LT(small->loadGlyphSlot('H')->height, height / 2);
    EXPECT_EQ(large->loadGlyphSlot('I')->height, height);
}

TEST_F(FontGlyphTest, CentresDigitsOnTheLine) {
    for (const int height : {1, 17, 50}) {
        const auto font = fontOf(TestFonts::openSans(), height);
        EXPECT_EQ(font->getFontVerticalBaseLinePx(), (height + font->loadGlyphSlot('0')->top) / 2);
        TTF_Library::destroy();
    }
    const auto withoutZero = fontOf(TestFonts::openSansWithBroken('0'), 50);
    EXPECT_EQ(withoutZero->getFontVerticalBaseLinePx(), (50 + withoutZero->loadGlyphSlot('O')->top) / 2);
    EXPECT_THAT(problems(), testing::Each(testing::HasSubstr("Can not load glyph.")));
}

TEST_F(FontGlyphTest, BlanksOnlyMoveThePen) {
    for (const int outline : {0, 2}) {
        const auto font = fontOf(TestFonts::openSans(), 50, outline);
        const SimpleGlyphSlot* blank = font->loadGlyphSlot(' ');
        EXPECT_TRUE(blank->empty());
        EXPECT_EQ(blank->stroke, nullptr);
        EXPECT_GT(blank->advancePx(), 5);
        TTF_Library::destroy();
    }
}

// The stroke, put where renderers put it, must be a band along the body's edge.
TEST_F(FontGlyphTest, OutlinesRunAlongTheEdge) {
    for (const int outline : {1, 2, 4}) {
        const auto plain = fontOf(TestFonts::openSans(), 80, 0);
        const auto outlined = TTF_Library::instance()->getFont(TTF_FontProperties("face", 80, 80, outline));
        ASSERT_TRUE(outlined->hasOutline());
        for (const unsigned long letter : {0x52, 0x6f, 0x6a, 0x416}) {
            const SimpleGlyphSlot& glyph = *outlined->loadGlyphSlot(letter);
            EXPECT_EQ(glyph.top, plain->loadGlyphSlot(letter)->top);
            EXPECT_EQ(glyph.height, plain->loadGlyphSlot(letter)->height);
            const Coverage body(glyph.body.get(), glyph.left, glyph.top);
            const int firstRow = glyph.top + SimpleGlyphSlot::STROKE_RISE;
            const Coverage stroke(glyph.stroke.get(), glyph.strokeLeft, firstRow);
            for (int y = -firstRow; y < glyph.height - glyph.top + 8; ++y) {
                for (int x = glyph.left - 8; x < glyph.left + glyph.width + 8; ++x) {
                    const double away = body.distance(x, y, body.at(x, y) < 128, outline + 3);
                    if (away <= outline - 0.5) {
                        EXPECT_GE(stroke.at(x, y), 100) << outline << ' ' << x << ' ' << y;
                    } else if (away > outline + 2) {
                        EXPECT_EQ(stroke.at(x, y), 0) << outline << ' ' << x << ' ' << y;
                    }
                }
            }
        }
        TTF_Library::destroy();
    }
}

TEST_F(FontGlyphTest, TakesBitmapFonts) {
    const auto font = fontOf(TestFonts::tenWide(), 10, 1);
    const SimpleGlyphSlot* slot = font->loadGlyphSlot('a');
    ASSERT_EQ(slot->width, 2);
    ASSERT_EQ(slot->height, 2);
    const unsigned char* pixels = slot->body->getMemoryPtr();
    EXPECT_EQ((std::vector<int>{pixels[0], pixels[1], pixels[2], pixels[3]}),
              (std::vector<int>{255, 0, 255, 255}));
    EXPECT_EQ(slot->stroke, nullptr) << "there is no contour to go along";
    slot->body->clear();
    EXPECT_EQ(pixels[0], 0);
    EXPECT_THAT(problems(), testing::Each(testing::HasSubstr("Can not stroke glyph. Error: ")));
}

TEST_F(FontGlyphTest, RefusesSizesThatAreNone) {
    createFace("face", TestFonts::openSans());
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{{-1, 20}, {20, 0}, {20, INT_MIN}}) {
        const auto font = TTF_Library::instance()->getFont(TTF_FontProperties("face", width, height, 0));
        ASSERT_NE(font, nullptr);
        EXPECT_EQ(font->loadGlyphSlot('a'), nullptr);
        EXPECT_THAT(problems(),
                    testing::Contains("1 src/ui/system/TTF_Font Can't set font size, error code: 23\n"));
    }
}

TEST_F(FontGlyphTest, RefusesGlyphsFarLargerThanTheFont) {
    const auto font = fontOf(TestFonts::openSansEnlarged(), 50, 2);
    EXPECT_EQ(font->loadGlyphSlot('W'), nullptr);
    EXPECT_THAT(problems(), testing::Contains("1 src/ui/system/TTF_Font Can not load glyph. Error: 98"));
    EXPECT_NE(font->loadGlyphSlot('.'), nullptr);
}

TEST_F(FontGlyphTest, SurvivesDamagedFonts) {
    std::mt19937 random(11);
    int usable = 0;
    for (int round = 0; round < 60; ++round) {
        std::string bytes = TestFonts::openSans();
        if (round % 4 == 0) {
            bytes.resize(random() % bytes.size());
        }
        for (std::size_t damages = random() % 3000; damages > 0; --damages) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        if (const auto font = fontOf(bytes, 30, round % 2)) {
            ++usable;
            font->getTextWidth("Update \u041e\u0431\u043d\u043e\u0432", 0);
            font->splitTextToLines("Installing update\nDo not turn off!", 100);
        }
        TTF_Library::destroy();
    }
    problems();
    EXPECT_GT(usable, 10);
}

} // namespace
