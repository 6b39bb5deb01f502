#include <atomic>
#include <thread>

#include "src/ui/system/UiException.h"
#include "tests/src/ui/FontFixture.h"
#include "tests/src/ui/TestClock.h"
#include "tests/support/TempDir.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string source = " src/ui/system/TTF_Font ";

struct FontLibraryTest : FontFixture {
    // Fonts of these sizes pass the limit of 2 MiB with their 8th glyph.
    static constexpr int quarterMiB = 512;

    static std::shared_ptr<TTF_Font> getFont(int width, int height, int outline = 0,
                                             const char* name = "face") {
        return TTF_Library::instance()->getFont(TTF_FontProperties(name, width, height, outline));
    }

    static void loadGlyphs(TTF_Font& font, unsigned long first, unsigned long count) {
        for (unsigned long codePoint = first; codePoint < first + count; ++codePoint) {
            ASSERT_NE(font.loadGlyphSlot(codePoint), nullptr);
        }
    }
};

TEST_F(FontLibraryTest, LoadsFacesFromFilesAndFromBytesOfTheCaller) {
    TTF_Library* library = TTF_Library::instance();
    TTF_FontFace* face = library->createFace("file", LUMO_TEST_FONT);
    ASSERT_NE(face, nullptr);
    EXPECT_EQ(library->getFace("file"), face);
    EXPECT_EQ(face->getName(), "file");
    EXPECT_THAT(LogCapture::take(), Contains(StartsWith("4" + source + "Font loaded, family: Open Sans")));
    {
        std::string bytes = TestFonts::openSans();
        EXPECT_NE(createFace("memory", bytes), nullptr);
        bytes.assign(bytes.size(), '\0');
    }
    EXPECT_EQ(getFont(0, 30, 0, "memory")->getTextWidth("Lumo", 0),
              getFont(0, 30, 0, "file")->getTextWidth("Lumo", 0));
}

TEST_F(FontLibraryTest, RefusesFacesAndSaysWhy) {
    TTF_Library* library = TTF_Library::instance();
    support::TempDir folder;
    const std::string path = folder.file("broken.ttf");
    support::writeFile(path, "no font");
    TTF_FontFace* face = createFace("face", TestFonts::tenWide());
    EXPECT_EQ(library->createFace("face", LUMO_TEST_FONT), nullptr);
    EXPECT_EQ(library->getFace("face"), face);
    EXPECT_EQ(library->createFace("other", path), nullptr);
    EXPECT_EQ(createFace("other", TestFonts::openSans().substr(0, 100)), nullptr);
    EXPECT_EQ(library->createFace("other", nullptr, 7), nullptr);
    EXPECT_EQ(library->getFace("other"), nullptr);
    library->destroyFace("other");
    EXPECT_EQ(getFont(10, 10, 0, ""), nullptr);
    EXPECT_EQ(getFont(10, 10, 0, "other"), nullptr);
    EXPECT_THAT(problems(),
                ElementsAre("1" + source + "Can't create Font face \"face\" - already exists",
                            "1" + source + "Can't load " + path + ", error code: 2",
                            StartsWith("1" + source + "Can't load from memory, error code: "),
                            StartsWith("1" + source + "Can't load from memory, error code: "),
                            "1" + source + "Can't destory Font face \"other\" - does not exists",
                            "1" + source + "Empty font name", "1" + source + "Font face not found: other"));
}

TEST_F(FontLibraryTest, MakesAFontOnce) {
    createFace("face", TestFonts::openSans());
    const auto font = getFont(20, 30, 0);
    EXPECT_EQ(getFont(20, 30, 0), font);
    EXPECT_NE(getFont(20, 30, 1), font);
    EXPECT_NE(getFont(21, 30, 0), font);
    EXPECT_NE(getFont(20, 31, 0), font);
    EXPECT_EQ(getFont(20, 30, 0), font);
}

TEST_F(FontLibraryTest, LetsGoOfTheFontUnusedLongest) {
    createFace("face", TestFonts::openSans());
    const auto held = getFont(0, 20);
    const std::weak_ptr<TTF_Font> unused = getFont(0, 21);
    TestClock::advanceSeconds(1);
    held->loadGlyphSlot('0');
    const std::weak_ptr<TTF_Font> recent = getFont(0, 22);
    TestClock::advanceSeconds(1);
    const auto large = getFont(quarterMiB, quarterMiB);
    loadGlyphs(*large, 'a', 6);
    EXPECT_FALSE(unused.expired());
    large->loadGlyphSlot('a'); // from the cache, so free
    EXPECT_FALSE(unused.expired());
    loadGlyphs(*large, 'A', 1);
    EXPECT_TRUE(unused.expired());
    EXPECT_FALSE(recent.expired());
    EXPECT_THAT(problems(), ElementsAre("1" + source + "Removing font to save memory: face/21"));

    // One font a glyph; of two that are equally old the first by name and height.
    loadGlyphs(*large, 'B', 1);
    EXPECT_EQ(problems().back(), "1" + source + "Removing font to save memory: face/20");
    EXPECT_NE(held->loadGlyphSlot('x'), nullptr) << "who holds an evicted font goes on with it";
    EXPECT_NE(getFont(0, 20), held);
    EXPECT_FALSE(recent.expired());
}

TEST_F(FontLibraryTest, EvictionGivesBackWhatAFontWasChargedAndSparesTheCurrentSecond) {
    createFace("face", TestFonts::openSans());
    loadGlyphs(*getFont(quarterMiB, quarterMiB), 'a', 7);
    const auto small = getFont(50, 50);
    loadGlyphs(*small, 'a', 3);
    EXPECT_THAT(problems(), testing::IsEmpty());
    TestClock::advanceSeconds(1);
    loadGlyphs(*small, 'A', 1);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("face/512")));
    // Five glyphs are charged by now, and the limit is met with the 839th.
    const std::weak_ptr<TTF_Font> free = getFont(0, 20);
    TestClock::advanceSeconds(1);
    loadGlyphs(*small, 0x400, 833);
    EXPECT_FALSE(free.expired());
    loadGlyphs(*small, 0x1000, 1);
    EXPECT_TRUE(free.expired());
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("face/20")));
}

TEST_F(FontLibraryTest, FontsOutliveTheirFaceAndTheLibrary) {
    createFace("face", TestFonts::openSans());
    const auto font = getFont(0, 30, 2);
    const auto empty = getFont(0, 31);
    empty->invalidate();
    const auto refilled = getFont(0, 32);
    refilled->invalidate();
    refilled->loadGlyphSlot('0');
    LogCapture::take();
    TTF_Library::instance()->destroyFace("face");
    EXPECT_THAT(LogCapture::take(),
                testing::UnorderedElementsAre(HasSubstr("Inavalidating TTF_Font \"face\" 0x30"),
                                              HasSubstr("Inavalidating TTF_Font \"face\" 0x32")));
    for (const auto& orphan : {font, empty, refilled}) {
        EXPECT_EQ(orphan->getFace(), nullptr);
        EXPECT_EQ(orphan->loadGlyphSlot('0'), nullptr);
        EXPECT_EQ(orphan->getTextWidth("text", 0), 0U);
    }
    createFace("face", TestFonts::openSans());
    const auto anew = getFont(0, 30, 2);
    EXPECT_NE(anew, font);
    EXPECT_GT(anew->getTextWidth("text", 0), 0U);
    EXPECT_EQ(font->getTextWidth("text", 0), 0U);

    TTF_Library::destroy();
    EXPECT_EQ(anew->getTextWidth("text", 0), 0U);
    TTF_Library::destroy();
    LogCapture::take();
    createFace("face", TestFonts::openSans());
    EXPECT_EQ(LogCapture::take().front(), "4" + source + "Creating TTF_Library");
    EXPECT_EQ(anew->getTextWidth("text", 0), 0U) << "a font never finds its way into another library";
}

TEST_F(FontLibraryTest, FontsGoWhileTheirFacesGo) {
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
    EXPECT_THAT(problems(), testing::Each(HasSubstr("Font face not found: face")));
}

TEST(UiExceptionTest, CutsLongMessages) {
    try {
        throw new UiException("%d %s", 7, std::string(2000, 'x').c_str());
    } catch (UiException* problem) {
        EXPECT_EQ(problem->what(), "7 " + std::string(1021, 'x'));
        delete problem;
    }
}

} // namespace
