#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Reading JSON that nobody vouches for, with errors that name the place.

namespace lumo {

// Text that is not JSON, or JSON that is not what its reader expects. The text names the place: line and
// column, or the path of the value ("updates.keys[1] must be a string, not a number").
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Parses a whole text. Beyond what JSON forbids, it refuses a key that an object has twice and nesting deeper
// than maxDepth. Throws JsonError and, without memory, std::bad_alloc; nothing else.
nlohmann::json parseJson(std::string_view text, std::size_t maxDepth = 16);

// A value of a parsed document that knows its path. Refers to the document, which must outlive it. All
// operations throw JsonError when the value is not what they are named after.
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
    // A string without control characters.
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
