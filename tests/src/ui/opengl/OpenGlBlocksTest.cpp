#include "src/ui/system/DelayAnimation.h"
#include "tests/src/ui/opengl/GlScreenFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string source = "1 src/ui/opengl/OpenGlRenderManager ";

void* id(std::uintptr_t number) {
    return reinterpret_cast<void*>(number);
}

// Screens of blocks that each draw a square of their own: block n at column n.
struct OpenGlBlocksTest : GlScreenFixture {
    void square(std::uintptr_t number) {
        manager->fillRect(UIRect(10 * static_cast<int>(number), 0, 10, 10), red);
    }

    void draw(std::uintptr_t number) {
        manager->beginBlock(id(number), false, false, UIRect());
        square(number);
        manager->endBlock();
    }

    // Whether it was there.
    bool again(std::uintptr_t number) {
        const bool cached = manager->beginBlock(id(number), true, false, UIRect());
        manager->endBlock();
        return cached;
    }

    // The numbers of the squares on the screen.
    std::string shown() {
        std::string numbers;
        for (int i = 0; i < 10; ++i) {
            numbers += gl->pixel(10 * i + 5, 5) == red ? std::to_string(i) : "";
        }
        return numbers;
    }
};

TEST_F(OpenGlBlocksTest, ShowsCachedBlocksAgainAndRefusesToDrawIntoThem) {
    show([&] {
        EXPECT_FALSE(manager->beginBlock(id(1), true, false, UIRect())) << "a new block is never cached";
        square(1);
        manager->endBlock();
        draw(2);
    });
    show([&] {
        EXPECT_TRUE(manager->beginBlock(id(1), true, false, UIRect()));
        square(5);
        manager->endBlock();
        EXPECT_TRUE(again(2));
    });
    EXPECT_EQ(problems(), std::vector<std::string>(1, source + "Trying to draw to cached block."));
    EXPECT_EQ(shown(), "12");
    show([&] {
        EXPECT_FALSE(manager->beginBlock(id(1), false, false, UIRect()));
        square(3);
        manager->endBlock();
        EXPECT_FALSE(manager->beginBlock(id(2), true, true, UIRect())) << "made anew on demand";
        manager->endBlock();
    });
    EXPECT_EQ(shown(), "3");
}

// Each row: what a screen of blocks 1 to 4 is drawn over with, and what is left of it.
TEST_F(OpenGlBlocksTest, FindsBlocksInOrderAndDropsThoseLeftOut) {
    std::string found; // "+" for each block that was there
    const auto cached = [&](std::vector<std::uintptr_t> numbers) {
        return [&, numbers] {
            for (const auto number : numbers) {
                found += again(number) ? "+" : "-";
            }
        };
    };
    const auto findThem = [&] {
        for (const auto number : {3U, 1U, 4U, 5U}) {
            found += manager->findBlock(id(number), true, UIRect()) ? "+" : "-";
            manager->endBlock();
        }
    };
    const auto filterAll = [&] {
        cached({1})();
        manager->filterIndexRange(id(0), id(0)); // the one the cursor stands on goes too
        cached({2})();
    };
    const auto keepAll = [&] { manager->markChildredRendered(); };
    const std::vector<std::tuple<std::function<void()>, std::string, std::string>> cases{
        {cached({1, 2, 3, 4}), "++++", "1234"},
        {cached({1, 2}), "++", "12"},
        {cached({2, 1, 3}), "-+-", "1"}, // a new 2 before 1; the old 2 stands where 3 is looked for
        {findThem, "+++-", "134"},
        {[&] { manager->filterIndexRange(id(2), id(3)); }, "", "23"},
        {filterAll, "+-", ""},
        {keepAll, "", "1234"},
    };
    for (const auto& [draws, expected, left] : cases) {
        show([&] {
            for (const auto number : {1U, 2U, 3U, 4U}) {
                draw(number);
            }
        });
        found.clear();
        show(draws);
        EXPECT_EQ(found, expected);
        EXPECT_EQ(shown(), left);
    }
}

TEST_F(OpenGlBlocksTest, KeepsABlockLeftOutUntilItsHiddenAnimationIsComplete) {
    const auto hidden = std::make_shared<DelayAnimation>(100);
    const auto dropped = std::make_shared<DelayAnimation>(100);
    dropped->drop();
    show([&] {
        draw(1);
        draw(2);
        draw(3);
    });
    show([&] {
        manager->applyHiddenBlockAnimation(id(1), hidden);
        manager->applyHiddenBlockAnimation(id(2), dropped);
        manager->applyHiddenBlockAnimation(id(3), nullptr);
    });
    EXPECT_EQ(shown(), "1");
    frame(60);
    show([] {});
    EXPECT_EQ(shown(), "1") << "later frames need not say it again";
    frame(60);
    EXPECT_TRUE(hidden->isCompleted());
    show([] {});
    EXPECT_EQ(shown(), "");
}

TEST_F(OpenGlBlocksTest, SurvivesBeginsWithoutEndsAndEndsWithoutBegins) {
    manager->endBlock();
    square(1); // outside of any block
    EXPECT_THAT(problems(), ElementsAre(source + "Trying to end root Block!"));
    for (int i = 0; i < 50000; ++i) {
        manager->beginBlock(id(1), false, false, UIRect());
    }
    manager->moveScrollBlock(1, 1, 1);
    manager->displayOnScreen();
    EXPECT_EQ(frame(), 0);
    EXPECT_EQ(shown(), "");
    show([&] {
        draw(4);
        manager->fillRect(UIRect(40, 0, 9, 10), green);
    });
    EXPECT_EQ(shown(), "4") << "a block's own elements are drawn before the blocks in it";
}

} // namespace
