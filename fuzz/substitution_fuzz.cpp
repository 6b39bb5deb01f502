// Placeholders: what is put into any text is what a plain reading of the rules gives.
#include <sstream>
#include <vector>

#include "fuzz/Input.h"
#include "platform/STBLogger.h"
#include "src/system/Translator.h"

void STBLogger_log(const void*, const char*, int, int, const char*, const char*, ...) {}

namespace {

std::string plainly(std::string text, const std::vector<std::string>& items) {
    for (std::uint32_t at = 0; at <= text.size();) {
        const std::size_t open = text.find("${", at);
        const std::size_t close = open == std::string::npos ? open : text.find('}', open);
        if (close == std::string::npos) {
            break;
        }
        std::istringstream token(text.substr(open + 2, close - open - 2));
        int number = 0;
        at = static_cast<std::uint32_t>(close);
        if (token >> number && number >= 1 && static_cast<std::size_t>(number) <= items.size()) {
            const std::string& item = items[static_cast<std::size_t>(number) - 1];
            text.replace(open, close + 1 - open, item);
            at = static_cast<std::uint32_t>(open + item.size() - 1);
        }
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    std::vector<std::string> items(1 + input.byte() % 5U);
    for (std::string& item : items) {
        item = input.textUntil('\0');
    }
    const std::string phrase = input.textUntil('\0');
    const auto item = [&](std::size_t index) { return TRITEM(items[index].c_str()); };
    const auto translate = [&](const TRLIST& list) { return tr(phrase, list); };
    const std::string expected = plainly(phrase, items);
    switch (items.size()) {
    case 1:
        require(translate(TRLIST(item(0))) == expected);
        break;
    case 2:
        require(translate(TRLIST(item(0), item(1))) == expected);
        break;
    case 3:
        require(translate(TRLIST(item(0), item(1), item(2))) == expected);
        break;
    case 4:
        require(translate(TRLIST(item(0), item(1), item(2), item(3))) == expected);
        break;
    default:
        require(translate(TRLIST(item(0), item(1), item(2), item(3), item(4))) == expected);
    }
    return 0;
}
