#include <climits>
#include <random>

#include "src/ui/system/Utf8.h"
#include "tests/src/ui/FontFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Lines = std::vector<std::string>;

struct FontTextTest : FontFixture {};

TEST_F(FontTextTest, MeasuresCodePoints) {
    const auto font = fontOf(TestFonts::openSans(), 50);
    const unsigned int width = font->getTextWidth("\u0416", UINT_MAX);
    EXPECT_GT(width, 20U);
    EXPECT_EQ(font->getTextWidth("\u0416\u0416\u0416", 2), 2 * width);
    EXPECT_EQ(font->getTextWidth("\u0416\u0416\u0416", 0), 3 * width);
    EXPECT_EQ(font->getTextWidth(std::string("\u0416\0\u0416", 5), UINT_MAX),
              2 * width + font->getTextWidth(std::string(1, '\0'), 0))
        << "a zero byte ends nothing";
    for (const auto& [advance, pixels] : {std::pair{-65L, -1}, {-63L, 0}, {63L, 0}, {127L, 1}}) {
        SimpleGlyphSlot glyph;
        glyph.advance = advance;
        EXPECT_EQ(glyph.advancePx(), pixels);
    }
}

TEST_F(FontTextTest, RefusesWhatIsNotUtf8) {
    const auto font = fontOf(TestFonts::tenWide(), 10);
    for (const std::string text : {"a\xFF", "\xC3", "\xE2\x82", "\xC0\x80", "\xED\xA0\x80",
                                   "\xF4\x90\x80\x80", "\x80", "ok\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        EXPECT_EQ(font->getTextWidth(text, 1), 0U);
        EXPECT_TRUE(font->splitTextToLines(text, 100).empty());
        EXPECT_THAT(problems(), ElementsAre(HasSubstr("drawText error: text is invalid utf8"),
                                            HasSubstr("splitText: text is invalid utf8")));
    }
    EXPECT_TRUE(Utf8::isValid("\uFDD0\uFFFD\U0001FFFE\U0010FFFF"));
}

TEST_F(FontTextTest, WrapsAtSpacesAndBreaks) {
    const auto font = fontOf(TestFonts::tenWide(), 10);

    const struct {
        const char* text;
        int width;
        Lines lines;
    } cases[] = {
        {"aa bb cc", 70, {"aa bb ", "cc"}},
        {"aa bb", 59, {"aa ", "bb"}}, // the room for one more space is missing
        {"wwww aa", 45, {"", "wwww ", "aa"}},
        {"aa", -1, {"", "aa"}},
        {"ab\ncd", 500, {"ab\n", "cd"}},
        {"ab\n", 500, {"ab\n", ""}},
        {"\n\n", 500, {"\n", "\n", ""}},
        {"ab\\ncd", 500, {"ab\\", "ncd"}},
        {"a\\b\\", 500, {"a\\b\\"}},
        {"aa bb\ncc", 60, {"aa ", "bb\ncc"}}, // a break that moves on with its word is not taken again
        {"aa bb\ncc dd", 60, {"aa ", "bb\n", "cc dd"}},
        {"  a", 500, {"  a"}},
        {"", 0, {""}},
        {"a", 0, {}},
    };

    for (const auto& [text, width, lines] : cases) {
        EXPECT_EQ(font->splitTextToLines(text, width), lines) << '"' << text << "\" in " << width;
    }
    // How wide the widest line is, when that is asked.
    for (const auto& [text, start, width] : {std::tuple{"a\nbbb", 1, 30},
                                             {"aaa\nb", 1, 33}, // the newline's own width counts
                                             {"aa bb\\nc d ", -9, 60},
                                             {"a", 50, 50}}) {
        int measured = start;
        font->splitTextToLines(text, measured, true);
        EXPECT_EQ(measured, width) << text;
    }
    std::mt19937 random(4);
    const auto upTo = [&](int most) { return std::uniform_int_distribution(0, most)(random); };
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (int left = upTo(40); left > 0; --left) {
            text += "aw \n\\n"[upTo(5)];
        }
        int width = upTo(1) == 0 ? 1 + upTo(200) : -upTo(200) - 1;
        std::string joined;
        for (const std::string& line : font->splitTextToLines(text, width, upTo(3) == 0)) {
            joined += line;
        }
        EXPECT_EQ(joined, text);
    }
}

TEST_F(FontTextTest, AGlyphThatCannotBeLoadedEndsTheSplitTextOnly) {
    const auto font = fontOf(TestFonts::openSansWithBroken('x'), 20);
    EXPECT_EQ(font->splitTextToLines("one\ntwo\nth x ree", 1000), (Lines{"one\n", "two\n"}));
    EXPECT_EQ(font->getTextWidth("axb", 0), font->getTextWidth("ab", 0));
    EXPECT_THAT(problems(), testing::Each(HasSubstr("Can not load glyph. Error: ")));
    createFace("bitmaps", TestFonts::tenWide());
    TTF_Font noSuchSize(TTF_FontProperties("bitmaps", 11, 11, 0));
    EXPECT_EQ(noSuchSize.splitTextToLines("a", 100), Lines{});
    EXPECT_EQ(noSuchSize.getTextWidth("a", 0), 0U);
    EXPECT_THAT(problems(), testing::Contains(HasSubstr("Can't find ref size of font.")));
    TTF_Library::instance()->destroyFace("face");
    EXPECT_EQ(font->splitTextToLines("a b\xFF", 0), Lines{""});
}

TEST_F(FontTextTest, CountsBytesForTheOldWrap) {
    for (const auto& [text, most, wrapped] : {std::tuple{"aaa bbb ccc", 3, "aaa\nbbb\nccc"},
                                              {"a b c d", 3, "a b\nc d"},
                                              {"  x", 5, "x"},
                                              {"\u0416\u0416 b\n  c", 4, "\u0416\u0416\nb\nc"},
                                              {" a  b ", 0, " a  b "}}) {
        EXPECT_EQ(TTF_Font::splitToLineBreaks(text, most), wrapped);
    }
}

} // namespace
