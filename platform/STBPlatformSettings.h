#pragma once

// Which parts of the platform STBResourseHolder::initialize brings up. A library that lacks a part ignores
// its switch.
struct STBPlatformSettings {
    bool graphics;
    bool videoOutput;
    bool audioOutput;
    bool frontPanel;
    bool remoteControl;
};
