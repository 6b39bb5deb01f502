// Text measured and wrapped, each beside SDL_ttf doing the same with the same font file at the same size. The
// caches of both are warm.

#include <benchmark/benchmark.h>

#include <string>

#include "bench/SdlText.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"

namespace {

constexpr int heightPx = 50;
constexpr int screenWidthPx = 1280;

// 60 characters each.
const std::string latin = "Installing the update. Please do not turn off the device: 12";
const std::string cyrillic = "Установка обновления. Не выключайте питание приставки: 12345";

std::string paragraph() {
    std::string text;
    while (text.size() < 400) {
        text += "Checking the update package and writing its blocks to the flash memory. ";
    }
    return text.substr(0, 400);
}

TTF_Font& ourFont() {
    static const auto font = [] {
        TTF_Library::instance()->createFace("openSans", LUMO_BENCH_FONT);
        return TTF_Library::instance()->getFont(TTF_FontProperties("openSans", heightPx, heightPx, 0));
    }();
    return *font;
}

const SdlText& theirFont() {
    static const SdlText font(LUMO_BENCH_FONT, heightPx);
    return font;
}

void width(benchmark::State& state, const std::string& text) {
    for (auto step : state) {
        benchmark::DoNotOptimize(ourFont().getTextWidth(text, 0));
    }
}

void widthSdl(benchmark::State& state, const std::string& text) {
    for (auto step : state) {
        benchmark::DoNotOptimize(theirFont().width(text));
    }
}

void wrap(benchmark::State& state) {
    const std::string text = paragraph();
    for (auto step : state) {
        benchmark::DoNotOptimize(ourFont().splitTextToLines(text, screenWidthPx));
    }
}

void wrapSdl(benchmark::State& state) {
    const std::string text = paragraph();
    for (auto step : state) {
        benchmark::DoNotOptimize(theirFont().countLines(text, screenWidthPx));
    }
}

// At most 0.4 of the peer's time for widths, 0.1 for wrapping.
BENCHMARK_CAPTURE(width, latin, latin);
BENCHMARK_CAPTURE(widthSdl, latin, latin);
BENCHMARK_CAPTURE(width, cyrillic, cyrillic);
BENCHMARK_CAPTURE(widthSdl, cyrillic, cyrillic);
BENCHMARK(wrap);
BENCHMARK(wrapSdl);

} // namespace

BENCHMARK_MAIN();
