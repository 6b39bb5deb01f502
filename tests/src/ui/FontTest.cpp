#include <algorithm>
#include <atomic>
#include <climits>
#include <ctime>
#include <random>
#include <thread>

#include "tests/src/ui/FontFixture.h"
#include "tests/support/TempDir.h"

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

std::atomic<std::time_t> now{1000000000};

} // namespace

// The linker's --wrap sends calls of time() here; machines with a 32-bit long call it by the other name.
extern "C" std::time_t __wrap_time(std::time_t* result);
extern "C" std::time_t __wrap___time64(std::time_t* result);

std::time_t __wrap_time(std::time_t*) {
    return now;
}

std::time_t __wrap___time64(std::time_t*) {
    return now;
}

namespace {

struct FontTest : FontFixture {
    // Fonts of these sizes pass the limit of 2 MiB with their 8th glyph.
    static constexpr int quarterMiB = 512;

    static void loadGlyphs(TTF_Font& font, unsigned long first, unsigned long count) {
        for (unsigned long codePoint = first; codePoint < first + count; ++codePoint) {
            ASSERT_NE(font.loadGlyphSlot(codePoint), nullptr);
        }
    }
};

TEST_F(FontTest, RefusesFacesAndSaysWhy) {
    TTF_Library* library = TTF_Library::instance();
    support::TempDir folder;
    const std::string path = folder.file("broken.ttf");
    support::writeFile(path, "no font");
    TTF_FontFace* face = library->createFace("face", LUMO_TEST_FONT);
    ASSERT_NE(face, nullptr);
    EXPECT_EQ(createFace("face", TestFonts::tenWide()), nullptr);
    EXPECT_EQ(library->getFace("face"), face);
    EXPECT_EQ(library->createFace("other", path), nullptr);
    EXPECT_EQ(createFace("other", TestFonts::openSans().substr(0, 100)), nullptr);
    EXPECT_EQ(library->createFace("other", nullptr, 7), nullptr);
    library->destroyFace("other");
    EXPECT_EQ(TTF_Library::getFont(TTF_FontProperties("", 10, 10, 0)), nullptr);
    EXPECT_EQ(TTF_Library::getFont(TTF_FontProperties("other", 10, 10, 0)), nullptr);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("already exists"), HasSubstr("Can't load " + path),
                                        HasSubstr("Can't load from memory"),
                                        HasSubstr("Can't load from memory"), HasSubstr("does not exists"),
                                        HasSubstr("Empty font name"), HasSubstr("Font face not found")));
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{{-1, 20}, {20, 0}, {20, INT_MIN}}) {
        EXPECT_EQ(getFont(width, height)->loadGlyphSlot('a'), nullptr);
        EXPECT_THAT(problems(), Contains(HasSubstr("Can't set font size, error code: 23")));
    }
}

TEST_F(FontTest, MakesFontsAndGlyphsOnce) {
    {
        std::string bytes = TestFonts::openSans();
        EXPECT_NE(createFace("face", bytes), nullptr);
        bytes.assign(bytes.size(), '\0'); // they were the caller's
    }
    const auto font = getFont(20, 30);
    EXPECT_EQ(getFont(20, 30), font);
    EXPECT_NE(getFont(20, 30, 1), font);
    EXPECT_NE(getFont(21, 30), font);
    EXPECT_NE(getFont(20, 31), font);
    const SimpleGlyphSlot* slot = font->loadGlyphSlot('g');
    EXPECT_EQ(font->loadGlyphSlot('g'), slot);
    EXPECT_GT(slot->height, slot->top) << "it descends below the baseline";
    const int width = slot->width;
    getFont(50, 60)->loadGlyphSlot('g');
    EXPECT_EQ(font->getFontVerticalBaseLinePx(), (30 + font->loadGlyphSlot('0')->top) / 2);
    font->invalidate();
    EXPECT_EQ(font->loadGlyphSlot('g')->width, width) << "other sizes do not disturb";
    const SimpleGlyphSlot* blank = getFont(50, 50, 2)->loadGlyphSlot(' ');
    EXPECT_TRUE(blank->empty() && blank->stroke == nullptr && blank->advancePx() > 5);
}

TEST_F(FontTest, TakesBitmapFonts) {
    const SimpleGlyphSlot* slot = fontOf(TestFonts::tenWide(), 10, 1)->loadGlyphSlot('a');
    const std::vector<int> pixels(slot->body->getMemoryPtr(), slot->body->getMemoryPtr() + 4);
    EXPECT_THAT(pixels, ElementsAre(255, 0, 255, 255));
    EXPECT_EQ(slot->stroke, nullptr) << "there is no contour to go along";
    EXPECT_THAT(problems(), Each(HasSubstr("Can not stroke glyph. Error: ")));
}

TEST_F(FontTest, SurvivesDamagedFonts) {
    const auto enlarged = fontOf(TestFonts::openSansEnlarged(), 50, 2);
    EXPECT_EQ(enlarged->loadGlyphSlot('W'), nullptr) << "it would take gigabytes";
    EXPECT_NE(enlarged->loadGlyphSlot('.'), nullptr);
    EXPECT_THAT(problems(), Contains(HasSubstr("Can not load glyph. Error: 98")));
    TTF_Library::destroy();
    const auto withoutZero = fontOf(TestFonts::openSansWithBroken('0'), 50);
    EXPECT_EQ(withoutZero->getFontVerticalBaseLinePx(), (50 + withoutZero->loadGlyphSlot('O')->top) / 2);
    EXPECT_THAT(problems(), Each(HasSubstr("Can not load glyph.")));
    std::mt19937 random(11);
    int usable = 0;
    for (int round = 0; round < 60; ++round) {
        TTF_Library::destroy();
        std::string bytes = TestFonts::openSans();
        if (round % 4 == 0) {
            bytes.resize(random() % bytes.size());
        }
        for (std::size_t damages = random() % 3000; damages > 0; --damages) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        if (const auto font = fontOf(bytes, 30, round % 2)) {
            ++usable;
            font->splitTextToLines("Update \u041e\u0431\u043d\u043e\u0432\nDo not turn off!", 100);
        }
    }
    EXPECT_GT(usable, 10);
    problems();
}

TEST_F(FontTest, LetsGoOfTheFontUnusedLongest) {
    createFace("face", TestFonts::openSans());
    const auto held = getFont(0, 20);
    const std::weak_ptr<TTF_Font> unused = getFont(0, 21);
    ++now;
    held->loadGlyphSlot('0');
    const std::weak_ptr<TTF_Font> recent = getFont(0, 22);
    ++now;
    const auto large = getFont(quarterMiB, quarterMiB);
    loadGlyphs(*large, 'a', 6);
    large->loadGlyphSlot('a'); // from the cache, so free
    EXPECT_FALSE(unused.expired());
    loadGlyphs(*large, 'A', 1);
    EXPECT_TRUE(unused.expired());
    EXPECT_FALSE(recent.expired());
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("Removing font to save memory: face/21")));

    // One font a glyph; of two that are equally old the first by name and height.
    loadGlyphs(*large, 'B', 1);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("face/20")));
    EXPECT_NE(held->loadGlyphSlot('x'), nullptr) << "who holds an evicted font goes on with it";
    EXPECT_NE(getFont(0, 20), held);
    EXPECT_FALSE(recent.expired());
}

TEST_F(FontTest, EvictionGivesBackWhatAFontWasChargedAndSparesTheCurrentSecond) {
    createFace("face", TestFonts::openSans());
    loadGlyphs(*getFont(quarterMiB, quarterMiB), 'a', 7);
    const auto small = getFont(50, 50);
    loadGlyphs(*small, 'a', 3);
    EXPECT_THAT(problems(), testing::IsEmpty());
    ++now;
    loadGlyphs(*small, 'A', 1);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("face/512")));
    const std::weak_ptr<TTF_Font> free = getFont(0, 20);
    ++now;
    loadGlyphs(*small, 0x400, 833); // five are charged by now, and the limit is met with the 839th
    EXPECT_FALSE(free.expired());
    loadGlyphs(*small, 0x1000, 1);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("face/20")));
}

TEST_F(FontTest, FontsOutliveTheirFaceAndTheLibrary) {
    createFace("face", TestFonts::openSans());
    const auto font = getFont(0, 30, 2);
    const auto refilled = getFont(0, 32);
    refilled->invalidate();
    refilled->loadGlyphSlot('0');
    TTF_Library::instance()->destroyFace("face");
    for (const auto& orphan : {font, refilled}) {
        EXPECT_EQ(orphan->getFace(), nullptr);
        EXPECT_EQ(orphan->loadGlyphSlot('0'), nullptr);
        EXPECT_EQ(orphan->getTextWidth("text", 0), 0U);
    }
    createFace("face", TestFonts::openSans());
    const auto anew = getFont(0, 30, 2);
    EXPECT_GT(anew->getTextWidth("text", 0), 0U);
    EXPECT_EQ(font->getTextWidth("text", 0), 0U);
    TTF_Library::destroy();
    EXPECT_EQ(anew->getTextWidth("text", 0), 0U);
    createFace("face", TestFonts::openSans());
    EXPECT_EQ(anew->getTextWidth("text", 0), 0U) << "a font never finds its way into another library";
}

TEST_F(FontTest, FontsGoWhileTheirFacesGo) {
    std::atomic<bool> done{false};
    const auto draw = [&done](int height) {
        while (!done) {
            if (const auto font = getFont(0, height, height % 2)) {
                font->getTextWidth("Installing", 0);
                font->splitTextToLines("Installing\nupdate", 50);
                font->invalidate();
                font->getTextWidth("update", 0);
            }
            TTF_Font(TTF_FontProperties("face", 0, height, 0)).getTextWidth("own", 0);
        }
    };
    std::thread first(draw, 12);
    std::thread second(draw, 13);
    for (int round = 0; round < 40; ++round) {
        createFace("face", TestFonts::openSans());
        getFont(0, 12);
        TTF_Library::instance()->destroyFace("face");
    }
    done = true;
    first.join();
    second.join();
    EXPECT_THAT(problems(), Each(HasSubstr("Font face not found: face")));
}

} // namespace
