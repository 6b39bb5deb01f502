#pragma once

#include <atomic>
#include <memory>

enum AnimationType : int {
    AnimationTypeDelay = 0,
    AnimationTypeSequence = 1,
    AnimationTypeAlpha = 2,
    AnimationTypeRelativeMove = 3,
    AnimationTypeZoom = 4,
    AnimationTypeScale = 5,
};

// A value that changes with time. Knows nothing of drawing: its owner calls inc() with the milliseconds of
// each frame and reads the current values. Made running and valid; held by std::shared_ptr. Its time and
// values belong to the rendering thread; asking for its state, and stop(), drop(), pause() and start() will
// do on any.
class Animation : public std::enable_shared_from_this<Animation> {
public:
    // Told of an animation that has run out. May do to the animation whatever it likes, letting go of it too;
    // is not told again meanwhile.
    class OnAnimationActionHandler {
    public:
        virtual void onAnimationAction(Animation* animation) = 0;

    protected:
        ~OnAnimationActionHandler() = default;
    };

    Animation(const Animation&) = delete;
    Animation& operator=(const Animation&) = delete;

    // Spends up to ms milliseconds and computes the values. Returns what is left over, 0 while still running.
    // Notifies nobody; below 0 counts as 0. inc() is for owners, this is for what animations are made of.
    virtual int process(int ms);
    // Computes the current values from the time that has passed.
    virtual void update() = 0;
    virtual ~Animation() = default;

    // Called once a frame: process(), then the handler when nothing remains. An animation that was paused
    // with time left goes on. One that is complete tells its handler again on every call, so its owner should
    // stop calling.
    int inc(int ms);

    // handler: not owned, must outlive its use here; null for none.
    void setOnActionHandler(OnAnimationActionHandler* handler) { _handler = handler; }

    AnimationType getType() const { return _type; }

    // False once dropped: the owner is to let go of it.
    bool isValid() const { return _valid; }

    // Running: not paused. The step that completes an animation leaves it active until the next one.
    bool isActive() const { return _active; }

    bool isCompleted() const { return _remaining < 1; }

    void start() { _active = true; }

    // For the owner, who then does not call inc().
    void pause() { _active = false; }

    // Starts unless complete.
    void tryStart() { _active = _active || _remaining > 0; }

    // Completes it without telling anyone; the current values stay.
    void stop();

    void drop() { _valid = false; }

    // Back to the start, running; the handler is told of one without length. Nothing for one that was
    // dropped.
    void restore();

protected:
    // Of no length, neither valid nor running.
    Animation() = default;
    // ms: the length; below 0 counts as 0.
    Animation(AnimationType type, int ms);

    // Milliseconds.
    float elapsed() const { return _elapsed; }

    float duration() const { return _duration; }

    // Nothing remains; not running.
    void finish();

private:
    // Does to its members what inc() does.
    friend class SequenceAnimation;

    // Runs, spends up to ms, and notifies when nothing remains. What is left over.
    int advance(int ms);
    void notifyWhenCompleted();

    OnAnimationActionHandler* _handler = nullptr;
    AnimationType _type = AnimationTypeDelay;
    std::atomic<bool> _valid = false;
    std::atomic<bool> _active = false;
    float _elapsed = 0.0F;           // milliseconds
    float _duration = 0.0F;          // milliseconds
    std::atomic<int> _remaining = 0; // milliseconds
    bool _notifying = false;
};
