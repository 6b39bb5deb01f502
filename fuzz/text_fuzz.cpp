// Texts on the screen: any bytes measure and wrap, lines put together give the text again, and what is not
// UTF-8 has neither width nor lines.
#include <numeric>

#include "fuzz/Input.h"
#include "platform/STBLogger.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"
#include "src/ui/system/Utf8.h"
#include "tests/src/ui/TestFonts.h"

void STBLogger_log(const void*, const char*, int, int, const char*, const char*, ...) {}

namespace {

std::shared_ptr<TTF_Font> font() {
    static int uses = 0;
    if (uses++ % 1000 == 0) { // its glyphs must not fill the memory
        TTF_Library::destroy();
        const std::string bytes = TestFonts::tenWide();
        TTF_Library::instance()->createFace("face", bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    return TTF_Library::instance()->getFont(TTF_FontProperties("face", 10, 10, 0));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    int width = static_cast<std::int16_t>(input.word());
    const bool measureOnly = input.byte() % 2 == 1;
    const unsigned int maxChars = input.byte();
    const std::string text = input.rest();

    const auto wrapper = font();
    const unsigned int part = wrapper->getTextWidth(text, maxChars);
    const unsigned int whole = wrapper->getTextWidth(text, 0);
    require(part <= whole);
    const int limit = width;
    const auto lines = wrapper->splitTextToLines(text, width, measureOnly);
    require(measureOnly ? width >= limit : width == limit);
    if (!Utf8::isValid(text)) {
        require(whole == 0 && lines.empty());
    } else if (limit != 0) {
        require(std::accumulate(lines.begin(), lines.end(), std::string()) == text);
    }

    const std::string broken = TTF_Font::splitToLineBreaks(text, static_cast<int>(maxChars) - 8);
    require(broken.size() <= text.size());
    return 0;
}
