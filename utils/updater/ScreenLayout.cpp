#include "utils/updater/ScreenLayout.h"

#include "src/system/Translator.h"

namespace updater {

namespace {

constexpr double LINE_SPACING = 1.2;

int heightOf(std::size_t lines, int fontHeight) {
    return static_cast<int>(static_cast<double>(lines) * fontHeight * LINE_SPACING);
}

std::vector<UIRect> placeLines(const LabelSize& label, int top) {
    std::vector<UIRect> places;
    for (std::size_t i = 0; i < label.lines; ++i) {
        places.emplace_back(0, top + heightOf(i, label.fontHeight), SCREEN_WIDTH,
                            heightOf(1, label.fontHeight));
    }
    return places;
}

} // namespace

ScreenLayout layOutScreen(const LabelSize& main, const LabelSize& second, const BarSize& bar) {
    const int mainHeight = heightOf(main.lines, main.fontHeight);
    const int secondHeight = heightOf(second.lines, second.fontHeight);
    const int top = (SCREEN_HEIGHT - (mainHeight + secondHeight)) / 2;
    const float share = static_cast<float>(bar.progress) / 1000.0F;
    return {placeLines(main, top), placeLines(second, top + mainHeight),
            UIRect((SCREEN_WIDTH - bar.width) / 2, top + mainHeight + secondHeight,
                   static_cast<int>(static_cast<float>(bar.width) * share), bar.height)};
}

int toPermille(double percent) {
    if (!(percent > 0)) {
        return 0;
    }
    return percent < 100 ? static_cast<int>(percent * 10) : 1000;
}

std::vector<std::string> visibleLines(const std::vector<std::string>& lines) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string line = lines[i];
        if (i + 1 < lines.size() && line.ends_with('\\') && lines[i + 1].starts_with('n')) {
            line.pop_back();
        }
        if (i > 0 && lines[i - 1].ends_with('\\') && line.starts_with('n')) {
            line.erase(0, 1);
        }
        if (line.ends_with('\n')) {
            line.pop_back();
        }
        result.push_back(replaceString(replaceString(line, "\n", " "), "\\n", " "));
    }
    return result;
}

} // namespace updater
