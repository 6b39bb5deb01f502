#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/ui/system/UIRect.h"

namespace updater {

// The arithmetic of the progress screen: where its parts stand, in pixels of a screen of 1280 by 720, and
// what of them is visible. Pure functions.

constexpr int SCREEN_WIDTH = 1280;
constexpr int SCREEN_HEIGHT = 720;

// What the layout has to know of a label.
struct LabelSize {
    std::size_t lines = 0;
    int fontHeight = 0;
};

struct BarSize {
    int width = 0; // when full
    int height = 0;
    int progress = 0; // tenths of a percent
};

struct ScreenLayout {
    std::vector<UIRect> mainLines;
    std::vector<UIRect> secondLines;
    UIRect bar; // its filled part, which is all that is drawn; 0 wide at the very start
};

// The two labels stand below each other, centred together, each line as high as its font and a fifth more.
// The bar hangs below them and takes no part in the centring. Each place is cut to whole pixels by itself, so
// that rounding never adds up.
ScreenLayout layOutScreen(const LabelSize& main, const LabelSize& second, const BarSize& bar);

// Progress in tenths of a percent, cut to 0..1000; 0 for what is no number.
int toPermille(double percent);

// The lines of a label without what a line break is written with: a newline, or the two characters backslash
// and n, of which the one may end a line and the other begin the next. A break within a line, which happens
// where the word before it moved down together with its break, leaves a blank.
std::vector<std::string> visibleLines(const std::vector<std::string>& lines);

} // namespace updater
