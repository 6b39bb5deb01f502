#include "src/system/Translator.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <optional>
#include <string_view>

std::unique_ptr<Translator> Translator::_instance;

namespace {

constexpr const char* storedCodePath = LUMO_SYSROOT "/var/lumo/lang";

// The number at the start of a placeholder's text, as an input stream reads an int: blanks before it and a
// plus sign are skipped, what follows it does not matter, one that does not fit is none.
std::optional<int> readNumber(std::string_view token) {
    token.remove_prefix(std::min(token.find_first_not_of(" \t\n\v\f\r"), token.size()));
    if (token.size() > 1 && token[0] == '+' && token[1] != '-') {
        token.remove_prefix(1);
    }
    int number = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), number).ec != std::errc{}) {
        return std::nullopt;
    }
    return number;
}

// The item that the placeholder's text names, null when it names none.
const TRITEM* findItem(const TRLIST& items, std::string_view token) {
    const auto number = readNumber(token);
    return number && *number > 0 ? items.getItem(static_cast<std::uint32_t>(*number)) : nullptr;
}

// Positions are 32-bit and wrap: an empty item at the start of the text puts the position before it, which is
// the largest one, and ends the search. Catalogues rely on text that follows such an item staying as it is.
void substitute(std::string& text, const TRLIST& items) {
    std::uint32_t position = 0;
    while (position <= text.size()) {
        const std::size_t open = text.find("${", position);
        if (open == std::string::npos) {
            return;
        }
        const std::size_t close = text.find('}', open);
        if (close == std::string::npos) {
            return;
        }
        position = static_cast<std::uint32_t>(close);
        const std::string_view token(text.data() + open + 2, close - open - 2);
        if (const TRITEM* item = findItem(items, token)) {
            const std::size_t length = close - open + 1;
            text.replace(open, length, item->str());
            position += static_cast<std::uint32_t>(item->str().size() - length);
        }
    }
}

} // namespace

std::string replaceString(std::string text, const std::string& from, const std::string& to) {
    if (from.empty()) {
        return text;
    }
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

Translator* Translator::getInstance() {
    static const bool created = (_instance.reset(new Translator), true);
    static_cast<void>(created);
    return _instance.get();
}

std::string Translator::translate(const char* phrase, const char*, int) {
    if (*phrase == '\0') {
        return {};
    }
    const std::lock_guard guard(_lock);
    return find(phrase);
}

std::string Translator::translate(const std::string& phrase, const char* file, int line) {
    return translate(phrase.c_str(), file, line);
}

std::string Translator::translate(const char* phrase, const TRLIST& items, const char*, int) {
    const std::lock_guard guard(_lock);
    std::string text = find(phrase);
    substitute(text, items);
    return text;
}

std::string Translator::translate(const std::string& phrase, const TRLIST& items, const char* file,
                                  int line) {
    return translate(phrase.c_str(), items, file, line);
}

void Translator::setNewLanguageCode(std::string code) {
    std::ofstream(storedCodePath, std::ios::binary | std::ios::trunc) << code;
}

void Translator::patchLangCode(std::string& code) {
    if (code == "ee") {
        code = "et";
        setNewLanguageCode(code);
    }
}

std::string Translator::find(const char* phrase) const {
    const auto entry = _phrases.find(std::string_view(phrase));
    return entry != _phrases.end() ? entry->second : std::string(phrase);
}
