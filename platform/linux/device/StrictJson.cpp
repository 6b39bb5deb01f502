#include "platform/linux/device/StrictJson.h"

#include <algorithm>
#include <set>
#include <vector>

#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

// What an error quotes of a text: fit for a log line, and no longer than one should be.
std::string excerpt(std::string_view text) {
    constexpr std::size_t longest = 200;
    return visibleText(text.substr(0, longest)) + (text.size() > longest ? "..." : "");
}

constexpr std::size_t maxDepth = 16;

void refuseControlCharacters(const std::string& text) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
    if (std::any_of(text.begin(), text.end(), isControl)) {
        throw JsonError("a string holds a control character");
    }
}

// Watches the parser's events for what the grammar allows and we do not.
class Watcher {
public:
    bool operator()(int, nlohmann::json::parse_event_t event, const nlohmann::json& value) {
        using Event = nlohmann::json::parse_event_t;
        switch (event) {
        case Event::object_start:
        case Event::array_start:
            if (_keys.size() == maxDepth) {
                throw JsonError("nested more than " + std::to_string(maxDepth) + " levels deep");
            }
            _keys.emplace_back();
            break;
        case Event::object_end:
        case Event::array_end:
            _keys.pop_back();
            break;
        case Event::key:
            noteKey(value.get_ref<const std::string&>());
            break;
        case Event::value:
            if (value.is_string()) {
                refuseControlCharacters(value.get_ref<const std::string&>());
            }
            break;
        }
        return true;
    }

private:
    void noteKey(const std::string& key) {
        refuseControlCharacters(key);
        if (!_keys.back().insert(key).second) {
            throw JsonError("the key \"" + excerpt(key) + "\" stands twice in one object");
        }
    }

    std::vector<std::set<std::string>> _keys; // of each object or array that is open
};

} // namespace

nlohmann::json parseStrictJson(std::string_view text) {
    // The parser takes a NUL between two tokens for the end of the text, and would not look behind it.
    const auto nul = text.find('\0');
    if (nul != std::string_view::npos) {
        throw JsonError("a NUL byte at offset " + std::to_string(nul));
    }
    Watcher watcher;
    try {
        return nlohmann::json::parse(text, std::ref(watcher));
    } catch (const nlohmann::json::exception& error) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..." without the library's own
        // number.
        const std::string what = error.what();
        const auto bracket = what.find("] ");
        throw JsonError(excerpt(bracket == std::string::npos ? what : what.substr(bracket + 2)));
    }
}

} // namespace lumo
