#pragma once

// The front panel's LEDs. Obtained from STBResourseHolder::getSTBLeds(), which owns the object.
class STBLeds {
public:
    // States an LED takes. Values beyond these are refused with a warning in the log.
    enum State : int {
        STATE_OFF = 0,
        STATE_ON = 1,       // the device's normal state
        STATE_BLINKING = 2, // work is going on that must not be interrupted
    };

    // Sets an LED. Numbers that the device has no LED for do nothing. Main thread.
    virtual void setState(int led, int state) = 0;

protected:
    ~STBLeds() = default;
};
