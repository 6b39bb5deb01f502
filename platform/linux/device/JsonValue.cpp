#include "platform/linux/device/JsonValue.h"

#include <algorithm>

#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

using nlohmann::json;

// A key as a part of a path in a message, however long it is.
std::string shown(std::string_view key) {
    constexpr std::size_t longest = 80;
    const std::string text(key.substr(0, longest));
    return visibleText(key.size() > longest ? text + "..." : text);
}

std::string joined(const std::string& path, std::string_view key) {
    return path.empty() ? shown(key) : path + "." + shown(key);
}

const char* kindOf(const json& value) {
    switch (value.type()) {
    case json::value_t::object:
        return "an object";
    case json::value_t::array:
        return "a list";
    case json::value_t::string:
        return "a string";
    case json::value_t::boolean:
        return "true or false";
    case json::value_t::null:
        return "null";
    default:
        return "a number";
    }
}

} // namespace

JsonValue::JsonValue(const json& root) : _value(&root) {}

JsonValue::JsonValue(const json& value, std::string path) : _value(&value), _path(std::move(path)) {}

void JsonValue::fail(const std::string& problem) const {
    throw JsonError((_path.empty() ? "the top level" : _path) + " " + visibleText(problem));
}

void JsonValue::expect(bool condition, const char* what) const {
    if (!condition) {
        fail(std::string("must be ") + what + ", not " + kindOf(*_value));
    }
}

void JsonValue::expectKeys(std::initializer_list<std::string_view> known) const {
    expect(_value->is_object(), "an object");
    for (const auto& item : _value->items()) {
        if (std::find(known.begin(), known.end(), item.key()) != known.end()) {
            continue;
        }
        std::string list;
        for (const std::string_view key : known) {
            list += (list.empty() ? "" : ", ") + std::string(key);
        }
        throw JsonError("unknown key " + joined(_path, item.key()) + " (known here: " + list + ")");
    }
}

std::optional<JsonValue> JsonValue::find(const std::string& key) const {
    expect(_value->is_object(), "an object");
    const auto found = _value->find(key);
    if (found == _value->end()) {
        return std::nullopt;
    }
    return JsonValue(*found, joined(_path, key));
}

JsonValue JsonValue::at(const std::string& key) const {
    const std::optional<JsonValue> found = find(key);
    if (!found) {
        throw JsonError(joined(_path, key) + " is missing");
    }
    return *found;
}

std::vector<std::pair<std::string, JsonValue>> JsonValue::members() const {
    expect(_value->is_object(), "an object");
    std::vector<std::pair<std::string, JsonValue>> all;
    for (const auto& item : _value->items()) {
        all.emplace_back(item.key(), JsonValue(item.value(), joined(_path, item.key())));
    }
    return all;
}

std::vector<JsonValue> JsonValue::elements() const {
    expect(_value->is_array(), "a list");
    std::vector<JsonValue> all;
    for (const json& element : *_value) {
        all.push_back(JsonValue(element, _path + "[" + std::to_string(all.size()) + "]"));
    }
    return all;
}

bool JsonValue::boolean() const {
    expect(_value->is_boolean(), "true or false");
    return _value->get<bool>();
}

std::string JsonValue::string() const {
    expect(_value->is_string(), "a string");
    return _value->get<std::string>();
}

std::uint64_t JsonValue::integer(std::uint64_t minimum, std::uint64_t maximum) const {
    expect(_value->is_number(), "a number");
    const bool whole = _value->is_number_unsigned();
    if (!whole || _value->get<std::uint64_t>() < minimum || _value->get<std::uint64_t>() > maximum) {
        fail("must be a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum) +
             ", not " + _value->dump());
    }
    return _value->get<std::uint64_t>();
}

} // namespace lumo
