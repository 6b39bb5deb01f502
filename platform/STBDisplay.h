#pragma once

#include <set>

class STBSurfaceInterface;

// Video formats, lowest first. A device supports some of each.
enum STBHDVideoFormat : int {
    STB_HD_720P50 = 0,
    STB_HD_720P60 = 1,
    STB_HD_1080I50 = 2,
    STB_HD_1080I60 = 3,
    STB_HD_1080P50 = 4,
    STB_HD_1080P60 = 5,
};

enum STBSDVideoFormat : int {
    STB_SD_PAL = 0,
    STB_SD_NTSC = 1,
};

// How the outputs are driven. The two flags of each output switch its signal and its picture on.
struct STBOutputSettings {
    STBHDVideoFormat hdFormat;
    bool hdEnabled;
    bool hdVisible;
    STBSDVideoFormat sdFormat;
    bool sdEnabled;
    bool sdVisible;
};

// The video output. Owned by STBResourseHolder. Main thread.
class STBDisplay {
public:
    // Formats the device can put out; empty when it has no such output.
    virtual std::set<STBHDVideoFormat> getSupportedHDFormats() const = 0;
    virtual std::set<STBSDVideoFormat> getSupportedSDFormats() const = 0;
    virtual STBOutputSettings getOutputSettings() const = 0;
    // False, with the old settings in force, when the device refuses them.
    virtual bool setOutputSettings(const STBOutputSettings& settings) = 0;
    // Shows that part of the surface, in pixels, stretched over the screen. The surface may change
    // afterwards.
    virtual void showSurface(STBSurfaceInterface* surface, int x, int y, int width, int height) = 0;

protected:
    ~STBDisplay() = default;
};
