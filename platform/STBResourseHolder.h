#pragma once

#include "platform/STBPlatformSettings.h"

class STBDisplay;
class STBGraphicsInterface;
class STBLeds;

// The device's shared resources. All operations are static and called from the main thread; the objects
// handed out belong to the library, exist from a successful initialize() to uninitialize(), and need no
// release.
class STBResourseHolder {
public:
    // Settings with which nothing is switched on that the device does not switch on by itself.
    static STBPlatformSettings getDefaultPlatformSettings();

    // Brings up the parts that are switched on. False, with one line in the log, when a part that the device
    // is configured to have cannot be brought up; what was brought up before that is released again.
    static bool initialize(const STBPlatformSettings& settings);

    // Releases everything. Does nothing when nothing is initialised.
    static void uninitialize();

    // Never null: LEDs work before initialize() and after uninitialize() too, so that a program that failed
    // to come up can still put them into their normal state.
    static STBLeds* getSTBLeds();

    // The video output and the graphics service; null when the device has none or before initialize().
    static STBDisplay* getSTBDisplay();
    static STBGraphicsInterface* getSTBGraphics();

    STBResourseHolder() = delete;
};
