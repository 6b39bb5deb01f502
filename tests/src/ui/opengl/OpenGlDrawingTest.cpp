#include <cmath>

#include "tests/src/ui/opengl/GlScreenFixture.h"

namespace {

using testing::ElementsAre;

const std::string source = "1 src/ui/opengl/OpenGlRenderManager ";

struct OpenGlDrawingTest : GlScreenFixture {
    static bool near(unsigned int a, unsigned int b, int tolerance = 2) {
        for (unsigned int shift = 0; shift < 32; shift += 8) {
            if (std::abs(static_cast<int>(a >> shift & 255U) - static_cast<int>(b >> shift & 255U)) >
                tolerance) {
                return false;
            }
        }
        return true;
    }
};

// Not a pixel more or less, wherever it stands.
TEST_F(OpenGlDrawingTest, FillsExactlyThePixelsOfARectangle) {
    show([&] {
        for (int x = 0; x < width; x += 2) {
            manager->fillRect(UIRect(x, x % height, 1, 1), white);
        }
        manager->fillRect(UIRect(0, 0, 0, 10), red);
        manager->fillRect(UIRect(10, 10, -5, 5), red);
    });
    const std::vector<std::uint8_t> pixels = gl->pixels();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool filled = x % 2 == 0 && y == x % height;
            ASSERT_EQ(pixels[static_cast<std::size_t>(4 * (y * width + x) + 3)], filled ? 255 : 0)
                << x << ' ' << y;
        }
    }
}

TEST_F(OpenGlDrawingTest, BlendsTintsAndPunchesHoles) {
    const auto quarters = image(2, 2, {red, green, blue, 0x80FFFFFF});
    const auto tinted = image(2, 2, {red, green, blue, white}, 0xFF808080);
    show([&] {
        manager->fillRect(UIRect(0, 0, width, height), 0xFF202020);
        manager->fillRect(UIRect(0, 0, 20, 20), 0x80FF0000);
        manager->fillRect(UIRect(20, 0, 20, 20), 0x00FFFFFF); // transparent, but not black: nothing
        manager->fillRect(UIRect(40, 0, 20, 20), 0x00000000); // a hole
        manager->fillTriangle(UITriangle(60, 0, 100, 0, 60, 40), TriangleVertexColor(red, green, blue));
        manager->drawImage(UIRect(100, 0, 40, 40), UIRect(), quarters);
        manager->drawImage(UIRect(140, 0, 40, 40), UIRect(1, 0, 1, 1), quarters);
        manager->drawImage(UIRect(180, 0, 40, 40), UIRect(), tinted);
        manager->drawImage(UIRect(260, 0, 40, 40), UIRect(), nullptr);
        manager->drawImage(UIRect(260, 0, 0, 40), UIRect(), quarters);
    });
    EXPECT_THAT(problems(), ElementsAre(source + "Draw null image!"));
    const std::vector<std::pair<UIPoint, unsigned int>> spots{
        {{10, 10}, 0xFF901010},  {{30, 10}, 0xFF202020}, {{50, 10}, 0},          {{62, 2}, 0xFFDF1010},
        {{95, 35}, 0xFF202020},  {{102, 2}, red},        {{138, 2}, green},      {{102, 38}, blue},
        {{138, 38}, 0xFF909090}, {{142, 2}, green},      {{182, 2}, 0xFF800000}, {{280, 20}, 0xFF202020}};
    for (const auto& [at, colour] : spots) {
        EXPECT_TRUE(near(gl->pixel(at.x, at.y), colour)) << at.x << ' ' << at.y;
    }
}

TEST_F(OpenGlDrawingTest, PlaysSprites) {
    const auto strip = image(4, 1, {red, green, blue, white});
    strip->setAnimation(4, 100);
    const auto still = image(2, 1, {red, green});
    still->setAnimation(2, 0);
    show([&] {
        manager->drawImage(UIRect(0, 0, 40, 10), UIRect(), strip);
        manager->drawImage(UIRect(0, 20, 40, 10), UIRect(), still);
    });
    // The time of a frame counts from the next one on.
    for (const auto& [passed, colour] : std::vector<std::pair<int, unsigned int>>{
             {250, red}, {0, blue}, {199, blue}, {0, red}, {1000000110, red}, {0, green}}) {
        EXPECT_EQ(frame(passed), 0) << "a sprite keeps the screen going";
        EXPECT_TRUE(near(gl->pixel(20, 5), colour, 5)) << passed;
        EXPECT_TRUE(near(gl->pixel(20, 25), red, 5));
    }
}

TEST_F(OpenGlDrawingTest, ClipsBlocksToTheirRectangles) {
    changeContext(width / 2, height / 2); // two UI pixels are one

    struct Case {
        UIRect outer, inner, drawn;
    };

    for (const Case& c : {Case{{}, {}, {0, 0, 160, 90}}, Case{{40, 20, 60, 10}, {}, {20, 10, 30, 5}},
                          Case{{40, 20, 60, 10}, {60, 0, 300, 300}, {30, 10, 20, 5}},
                          Case{{}, {41, 21, 61, 11}, {20, 10, 30, 5}}, Case{{40, 20, 60, 0}, {}, {}},
                          Case{{}, {40, 20, -60, 10}, {}}, Case{{0, 0, 10, 10}, {20, 20, 10, 10}, {}},
                          Case{{-2147483647 - 1, -10, 2147483647, 30}, {-10, -10, 30, 30}, {}}}) {
        show([&] { block([&] { manager->fillRect(UIRect(0, 0, width, height), white); }, c.inner); },
             c.outer);
        EXPECT_EQ(drawn(), c.drawn) << c.outer.dump() << c.inner.dump();
        // The clip ends with its block, and with its frame.
        show([&] {
            block([] {}, c.outer);
            manager->fillRect(UIRect(0, 0, width, height), white);
        });
        EXPECT_EQ(drawn(), UIRect(0, 0, 160, 90));
    }
}

// The font's letters are 10 wide, "w" 20, and mark their pen's place with two pixels in the line's sixth row.
TEST_F(OpenGlDrawingTest, AlignsAndCutsText) {
    const auto font = fontOf(TestFonts::tenWide(), 10);
    const auto left = UITextHorizontalAlignLeft;

    struct Case {
        std::string text;
        int width;
        UITextHorizontalAlign align;
        std::string suffix;
        std::vector<int> pens;
    };

    const std::vector<Case> cases{
        {"abc", 100, UITextHorizontalAlignCenter, "", {35, 45, 55}},
        {"abc", 100, UITextHorizontalAlignRight, "w", {70, 80, 90}},
        {"abc", 20, UITextHorizontalAlignRight, "", {0, 10}},
        {"abcdefgh", 45, left, "w", {0, 10, 20}},
        {"abcdefgh", 45, left, "\xFF", {0, 10, 20, 30}},
        {"abcd", 45, left, "w", {0, 10, 20, 30}}, // the suffix's room does for the rest
        {"awb", 20, left, "wwww", {0, 10}},       // no room for a suffix: what does not fit is left out
        {"a", -7, left, "", {}},
        {std::string(100000, 'a'), 30, left, "", {0, 10, 20}},
    };
    for (const Case& c : cases) {
        for (int round = 0; round < 2; ++round) { // the second time, the line is found again
            show([&] {
                manager->drawTextLine(UIRect(50, 20, c.width, 30), white, 0, font, c.text, c.align,
                                      UITextVerticalAlignTop, c.suffix);
            });
            std::vector<int> pens;
            for (int x = 1; x < width; ++x) {
                if (gl->pixel(x, 25) == white && gl->pixel(x - 1, 25) != white) {
                    pens.push_back(x - 50);
                }
            }
            EXPECT_EQ(pens, c.pens) << c.text << ' ' << c.width << ' ' << c.suffix;
        }
    }
    EXPECT_THAT(problems(), testing::Each(testing::HasSubstr("drawText error: text is invalid utf8")));
    show([&] {
        manager->drawTextLine(UIRect(50, 20, 100, 30), 0x80FFFFFF, 0, font, "a", left,
                              UITextVerticalAlignBottom, "");
    });
    EXPECT_EQ(drawn(), UIRect(50, 44, 2, 2));
    EXPECT_EQ(gl->pixel(50, 44), 0x80808080U) << "its alpha counts";
    show([&] {
        for (const std::string text : {"a\xED\xA0\x80", "a"}) {
            manager->drawTextLine(UIRect(0, 0, 300, 40), white, 0, nullptr, text, left,
                                  UITextVerticalAlignTop, "");
        }
    });
    EXPECT_THAT(problems(), ElementsAre(source + "drawText error: text is invalid utf8\n",
                                        source + "OpenGlRenderManager::drawTextLine -font is NULL"));
}

} // namespace
