#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/device/StrictJson.h"

namespace lumo {

// A value of a parsed document that knows its path, for reading what nobody vouches for. Refers to the
// document, which must outlive it. All operations throw JsonError when the value is not what they are named
// after; the text names the path ("updates.keys[1] must be a string, not a number").
class JsonValue {
public:
    explicit JsonValue(const nlohmann::json& root);

    // Throws the error "<path> <problem>".
    [[noreturn]] void fail(const std::string& problem) const;

    // The value is an object, and has no other keys than these.
    void expectKeys(std::initializer_list<std::string_view> known) const;
    // A member, which must be there, or may be missing.
    JsonValue at(const std::string& key) const;
    std::optional<JsonValue> find(const std::string& key) const;
    // All members, ordered by key.
    std::vector<std::pair<std::string, JsonValue>> members() const;

    std::vector<JsonValue> elements() const;

    bool boolean() const;
    std::string string() const;
    // A whole number from minimum to maximum.
    std::uint64_t integer(std::uint64_t minimum, std::uint64_t maximum) const;

private:
    JsonValue(const nlohmann::json& value, std::string path);

    void expect(bool condition, const char* what) const;

    const nlohmann::json* _value;
    std::string _path;
};

} // namespace lumo
