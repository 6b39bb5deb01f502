#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <vector>

#include "src/ui/system/AlphaAnimation.h"
#include "src/ui/system/DelayAnimation.h"
#include "src/ui/system/RelativeMoveAnimation.h"
#include "src/ui/system/ScaleAnimation.h"
#include "src/ui/system/SequenceAnimation.h"
#include "src/ui/system/ZoomAnimation.h"

namespace {

// Counts how often it was told, and does to the animation what the case asks for.
struct Listener final : Animation::OnAnimationActionHandler {
    void onAnimationAction(Animation* animation) override {
        ++told;
        if (then) {
            then(animation);
        }
    }

    int told = 0;
    std::function<void(Animation*)> then;
};

std::shared_ptr<SequenceAnimation> sequenceOf(bool loop,
                                              const std::vector<std::shared_ptr<Animation>>& members) {
    const auto sequence = std::make_shared<SequenceAnimation>(loop);
    for (const auto& member : members) {
        sequence->add(member);
    }
    return sequence;
}

std::shared_ptr<Animation> delay(int ms, Listener* listener = nullptr) {
    const auto animation = std::make_shared<DelayAnimation>(ms);
    animation->setOnActionHandler(listener);
    return animation;
}

std::shared_ptr<AlphaAnimation> fade(int ms) {
    return std::make_shared<AlphaAnimation>(0.0F, 1.0F, ms);
}

TEST(AnimationTest, EasesInAndOut) {
    for (const auto& [ms, alpha] : std::vector<std::pair<int, float>>{
             {-7, 0.0F}, {25, 0.0625F}, {50, 0.5F}, {75, 0.9375F}, {100, 1.0F}, {300, 1.0F}}) {
        const auto animation = fade(100);
        animation->inc(ms);
        EXPECT_EQ(animation->getAlpha(), alpha) << ms << " ms";
    }
}

TEST(AnimationTest, ComputesEveryCoordinateFromItsOwnEnds) {
    RelativeMoveAnimation move(10, 20, 30, 60, 100);
    RelativeMoveAnimation_ConstantSpeed glide(10, 20, 30, 60, 100);
    ZoomAnimation zoom(1, 2, 10, 20, 0.25F, 0.75F, 100);
    ZoomAnimation_ConstantSpeed dolly(1, 2, 10, 20, 0, 0, 100);
    ScaleAnimation scale(UIScale(1, 2, 0, 1), UIScale(3, 6, 1, 0), UIRect(), 100);
    for (Animation* animation : std::vector<Animation*>{&move, &glide, &zoom, &dolly, &scale}) {
        animation->inc(25);
    }
    EXPECT_EQ(move.getX(), 11.25F);
    EXPECT_EQ(move.getY(), 22.5F);
    EXPECT_EQ(glide.getX(), 15.0F);
    EXPECT_EQ(glide.getY(), 30.0F);
    EXPECT_EQ(zoom.getX(), 1.0625F);
    EXPECT_EQ(zoom.getY(), 10.625F);
    EXPECT_EQ(zoom.getCenterX(), 0.25F);
    EXPECT_EQ(dolly.getX(), 1.25F);
    EXPECT_EQ(dolly.getY(), 12.5F);
    EXPECT_EQ(scale.getScale().scaleX, 1.5F);
    EXPECT_EQ(scale.getScale().scaleY, 3.0F);
    EXPECT_EQ(scale.getScale().centerX, 0.25F);
    EXPECT_EQ(scale.getScale().centerY, 0.75F);
}

TEST(AnimationTest, TellsOnEveryStepAfterItsEnd) {
    Listener listener;
    DelayAnimation pause(10);
    pause.setOnActionHandler(&listener);
    pause.pause();
    EXPECT_EQ(pause.inc(30), 20);
    EXPECT_TRUE(pause.isActive()) << "a step wakes what was paused with time left, and leaves it awake";
    EXPECT_EQ(listener.told, 1);
    EXPECT_EQ(pause.inc(4), 4);
    EXPECT_FALSE(pause.isActive());
    EXPECT_EQ(pause.inc(4), 4);
    EXPECT_EQ(listener.told, 3);
    pause.tryStart();
    EXPECT_FALSE(pause.isActive());
}

TEST(AnimationTest, StoppingKeepsTheValuesAndTellsNobody) {
    Listener listener;
    const auto animation = fade(100);
    animation->setOnActionHandler(&listener);
    animation->inc(50);
    animation->stop();
    animation->drop();
    EXPECT_EQ(listener.told, 0);
    animation->inc(0);
    EXPECT_EQ(listener.told, 1);
    animation->restore();
    EXPECT_TRUE(animation->isCompleted()) << "what was dropped stays as it is";
    EXPECT_EQ(animation->getAlpha(), 0.5F);
}

TEST(AnimationTest, RewindsToItsStart) {
    Listener listener;
    for (const int length : {100, 0, -5}) {
        AlphaAnimation animation(0.25F, 1, length);
        animation.inc(100);
        animation.setOnActionHandler(&listener);
        animation.restore();
        EXPECT_EQ(animation.getAlpha(), 0.25F);
        EXPECT_EQ(animation.isCompleted(), length <= 0);
    }
    EXPECT_EQ(listener.told, 2) << "those without length are complete at once";
    DelayAnimation longest(INT_MAX);
    longest.restore();
    EXPECT_EQ(longest.inc(INT_MAX), 0);
}

TEST(AnimationTest, HandlersMayLetGoOfTheLastReference) {
    Listener listener;
    auto sequence = sequenceOf(true, {delay(10, &listener)});
    listener.then = [&](Animation*) { sequence.reset(); };
    sequence->inc(25);
    EXPECT_EQ(sequence, nullptr);
}

TEST(SequenceAnimationTest, HandsTheTimeLeftToTheNextMember) {
    const auto second = fade(100);
    const auto sequence = sequenceOf(false, {delay(100), nullptr, second});
    EXPECT_EQ(sequence->get(), sequence.get());
    EXPECT_EQ(sequence->inc(150), 0);
    EXPECT_EQ(second->getAlpha(), 0.5F);
    EXPECT_EQ(sequence->get(), second.get());
    EXPECT_EQ(sequence->inc(50), 0);
    EXPECT_FALSE(sequence->isCompleted()) << "it looks for the next member when there is time to spend";
    EXPECT_EQ(sequence->inc(7), 7);
    EXPECT_TRUE(sequence->isCompleted());
}

TEST(SequenceAnimationTest, LoopsForEver) {
    Listener listener;
    const auto first = fade(100);
    const auto sequence = sequenceOf(true, {first, delay(100, &listener)});
    sequence->inc(250);
    EXPECT_EQ(sequence->get(), first.get());
    EXPECT_EQ(first->getAlpha(), 0.5F) << "in its second turn";
    sequence->inc(100000);
    EXPECT_FALSE(sequence->isCompleted());
    EXPECT_EQ(listener.told, 501);
}

TEST(SequenceAnimationTest, LeavesDroppedMembersOut) {
    Listener listener;
    listener.then = [](Animation* animation) { animation->drop(); };
    const auto dropped = delay(1000);
    dropped->drop();
    for (const int length : {10, 0}) {
        const auto sequence = sequenceOf(true, {dropped, delay(length, &listener), delay(length, &listener)});
        EXPECT_EQ(sequence->inc(50), 50 - 2 * length);
        EXPECT_TRUE(sequence->isCompleted());
    }
    EXPECT_EQ(listener.told, 4);
}

TEST(SequenceAnimationTest, EndsTheCallWhenALoopTakesNoTime) {
    Listener listener;
    const auto idle = sequenceOf(true, {delay(0, &listener), sequenceOf(false, {}), delay(0)});
    idle->inc(16);
    EXPECT_FALSE(idle->isCompleted());
    EXPECT_EQ(listener.told, 2) << "once for its turn, once as it is rewound";
    sequenceOf(true, {sequenceOf(true, {idle}), delay(0)})->inc(16);
    // Nor do handlers keep it going.
    Listener feeder;
    const auto fed = std::make_shared<SequenceAnimation>(false);
    feeder.then = [&](Animation* animation) {
        animation->restore();
        fed->add(delay(0, &feeder));
        fed->add(delay(0, &feeder));
    };
    fed->add(delay(0, &feeder));
    fed->inc(16);
    EXPECT_FALSE(fed->isCompleted());
    feeder.then = nullptr;
    // Members that take no time do not keep others from taking it.
    const auto last = fade(100);
    sequenceOf(true, {delay(0), delay(0), last})->inc(150);
    EXPECT_EQ(last->getAlpha(), 0.5F);
}

TEST(SequenceAnimationTest, SurvivesBeingItsOwnMember) {
    const auto outer = std::make_shared<SequenceAnimation>(true);
    const auto inner = sequenceOf(true, {outer});
    outer->add(inner);
    outer->inc(16);
    EXPECT_FALSE(outer->isCompleted());
    inner->drop(); // breaks the circle
    outer->inc(16);
    EXPECT_TRUE(outer->isCompleted());
}

TEST(SequenceAnimationTest, HandlersMayRewindAndAdd) {
    Listener listener;
    const auto sequence = std::make_shared<SequenceAnimation>(false);
    const auto last = fade(100);
    listener.then = [&](Animation* animation) {
        listener.told < 3 ? animation->restore() : sequence->add(last);
    };
    sequence->add(delay(10, &listener));
    sequence->inc(80);
    EXPECT_EQ(last->getAlpha(), 0.5F);
}

} // namespace
