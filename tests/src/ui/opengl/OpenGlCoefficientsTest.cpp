#include <cmath>

#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/DelayAnimation.h"
#include "src/ui/system/RelativeMoveAnimation.h"
#include "src/ui/system/ScaleAnimation.h"
#include "src/ui/system/SequenceAnimation.h"
#include "src/ui/system/ZoomAnimation.h"
#include "tests/src/ui/opengl/GlScreenFixture.h"

namespace {

struct OpenGlCoefficientsTest : GlScreenFixture {
    const UIRect square{100, 60, 20, 20};

    void animate(const std::shared_ptr<Animation>& animation) {
        show([&] {
            manager->applyBlockAnimation(animation);
            manager->applyBlockAnimation(animation); // is there already
            manager->fillRect(square, white);
        });
    }
};

struct Counter final : Animation::OnAnimationActionHandler {
    void onAnimationAction(Animation*) override { ++count; }

    int count = 0;
};

// What becomes of a square at the start of each animation, in its middle and at its end.
TEST_F(OpenGlCoefficientsTest, AppliesEveryKindOfAnimation) {
    const auto check = [&](std::shared_ptr<Animation> animation, UIRect start, UIRect middle, UIRect end,
                           int alpha = 255) {
        SCOPED_TRACE(middle.dump());
        Counter handler;
        animation->setOnActionHandler(&handler);
        animate(animation);
        EXPECT_EQ(drawn(), start);
        EXPECT_EQ(frame(50), 0);
        EXPECT_EQ(drawn(), middle);
        EXPECT_NEAR(static_cast<int>(gl->pixel(middle.x, middle.y) >> 24), alpha, 1);
        EXPECT_EQ(handler.count, 0);
        EXPECT_EQ(frame(50), 0);
        EXPECT_EQ(drawn(), end);
        if (animation->getType() != AnimationTypeSequence) {
            EXPECT_EQ(frame(50), OpenGlRenderManager::FrameSkipped) << "nothing moves any more";
            show([] {});
            EXPECT_EQ(handler.count, 1) << "the end is told once";
        }
    };
    constexpr int ms = 100;
    check(std::make_shared<DelayAnimation>(ms), square, square, square);
    check(std::make_shared<AlphaAnimation>(0.F, 1.F, ms), UIRect(), square, square, 128);
    check(std::make_shared<RelativeMoveAnimation>(0.F, 0.F, 40.F, 20.F, ms), square, UIRect(120, 70, 20, 20),
          UIRect(140, 80, 20, 20));
    check(std::make_shared<RelativeMoveAnimation_ConstantSpeed>(-8.F, 0.F, 0.F, -20.F, ms),
          UIRect(92, 60, 20, 20), UIRect(96, 50, 20, 20), UIRect(100, 40, 20, 20));
    check(std::make_shared<ZoomAnimation>(1.F, 3.F, 1.F, 0.F, 100.F, 60.F, ms), square,
          UIRect(100, 60, 40, 10), UIRect());
    check(std::make_shared<ZoomAnimation_ConstantSpeed>(1.F, 3.F, 1.F, 2.F, 120.F, 80.F, ms), square,
          UIRect(80, 50, 40, 30), UIRect(60, 40, 60, 40));
    check(std::make_shared<ScaleAnimation>(UIScale(1.F), UIScale(3.F), square, ms), square,
          UIRect(90, 50, 40, 40), UIRect(80, 40, 60, 60));
    const auto sequence = std::make_shared<SequenceAnimation>(false);
    sequence->add(std::make_shared<ZoomAnimation_ConstantSpeed>(1.F, 3.F, 1.F, 3.F, 100.F, 60.F, ms));
    const auto nested = std::make_shared<SequenceAnimation>(true);
    nested->add(sequence);
    check(nested, square, UIRect(100, 60, 40, 40), square); // over, it changes nothing
}

TEST_F(OpenGlCoefficientsTest, LeavesAloneWhatIsPausedDroppedOrOff) {
    const auto move = std::make_shared<RelativeMoveAnimation>(10.F, 0.F, 50.F, 0.F, 100);
    move->pause();
    animate(move);
    frame(50);
    frame(0);
    EXPECT_EQ(drawn(), UIRect(110, 60, 20, 20)) << "paused";
    move->drop();
    ++service.displayState;
    frame(0);
    EXPECT_EQ(drawn(), square) << "dropped";
    manager->setAnimationEnabled(false);
    animate(std::make_shared<RelativeMoveAnimation>(10.F, 0.F, 50.F, 0.F, 100));
    EXPECT_EQ(drawn(), square) << "off";
}

TEST_F(OpenGlCoefficientsTest, AdvancesOnceAFrameHoweverOftenItIsAttached) {
    const auto fade = std::make_shared<RelativeMoveAnimation_ConstantSpeed>(0.F, 0.F, 0.F, 100.F, 100);
    block([&] {
        manager->applyBlockAnimation(fade);
        manager->fillRect(UIRect(0, 0, 10, 10), white);
    });
    block([&] {
        manager->applyBlockAnimation(fade);
        manager->fillRect(UIRect(50, 0, 10, 10), white);
    });
    manager->displayOnScreen();
    frame();
    clock += 500;
    frame();
    frame(29);
    clock += 600; // with the 500 microseconds from before it is a whole millisecond
    frame();
    EXPECT_EQ(drawn(), UIRect(0, 30, 60, 10));
}

TEST_F(OpenGlCoefficientsTest, ComposesNestedBlocksWithTheirClips) {
    const auto still = [](auto animation) {
        animation->pause();
        return animation;
    };
    show([&] {
        manager->applyBlockAnimation(
            still(std::make_shared<ZoomAnimation>(2.F, 2.F, 2.F, 2.F, 0.F, 0.F, 100)));
        manager->applyBlockAnimation(still(std::make_shared<AlphaAnimation>(0.5F, 0.5F, 100)));
        block(
            [&] {
                manager->applyBlockAnimation(
                    still(std::make_shared<RelativeMoveAnimation>(10.F, 5.F, 0.F, 0.F, 100)));
                manager->applyBlockAnimation(still(std::make_shared<AlphaAnimation>(0.5F, 0.5F, 100)));
                manager->fillRect(UIRect(20, 10, 40, 40), white);
            },
            UIRect(20, 20, 20, 10));
        manager->fillRect(UIRect(0, 0, 1, 1), 0); // no hole in a block that is half transparent
    });
    EXPECT_EQ(drawn(), UIRect(60, 50, 40, 20)) << "the move is doubled, and the clip goes with the block";
    EXPECT_NEAR(static_cast<int>(gl->pixel(70, 60) >> 24), 64, 1);
    manager->setScale(UIScale(0.5F, 0.5F, 1.F, 0.F));
    manager->displayOnScreen();
    frame();
    EXPECT_EQ(drawn(), UIRect(160 + 30, 25, 20, 10)) << "outside of it all is the global scale";
}

TEST_F(OpenGlCoefficientsTest, ScalesBlocksWithTheirClips) {
    const UIRect clip(105, 60, 100, 10);
    for (const auto& [scale, expected] : {std::pair(UIScale(2.F, 2.F, 0.F, 0.F), UIRect(110, 60, 30, 20)),
                                          {UIScale(-1.F, 2.F, 0.F, 0.F), UIRect(80, 60, 15, 20)},
                                          {UIScale(0.F), UIRect()},
                                          {UIScale(NAN, 1e30F), UIRect()},
                                          {UIScale(), UIRect(105, 60, 15, 10)}}) {
        show(
            [&] {
                manager->applyBlockScale(square, scale);
                manager->fillRect(square, white);
            },
            clip);
        EXPECT_EQ(drawn(), expected);
    }
}

TEST_F(OpenGlCoefficientsTest, ScrollsWithinItsClip) {
    const auto record = [&](float dx, float dy, float velocity) {
        EXPECT_EQ(manager->beginScrollBlock(nullptr, true, false, UIRect(0, 0, 50, 50)), idled > 0);
        if (idled == 0) {
            manager->fillRect(UIRect(20, 20, 20, 20), white);
        }
        manager->moveScrollBlock(dx, dy, velocity);
        manager->applyBlockScale(square, UIScale(5.F)); // not for blocks that scroll
        manager->endBlock();
        manager->displayOnScreen();
        frame();
    };
    record(0, 0, 0);
    while (idled == 0) {
        frame();
    }
    record(30, 40, 0.1F);
    EXPECT_EQ(drawn(), UIRect(20, 20, 20, 20));
    EXPECT_EQ(frame(100), 0);
    EXPECT_EQ(drawn(), UIRect(26, 28, 20, 20)) << "10 pixels of the way";
    record(-24, -32, 0.2F);
    EXPECT_EQ(frame(1000), 0);
    EXPECT_EQ(drawn(), UIRect(26, 28, 20, 20)) << "both ways added up";
    record(20, 0, 0);
    EXPECT_EQ(drawn(), UIRect(46, 28, 4, 20)) << "at once, and clipped";
    EXPECT_EQ(frame(), 0);
    EXPECT_EQ(frame(), OpenGlRenderManager::FrameSkipped);
}

} // namespace
