#pragma once

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

namespace lumo {

// Text that is not the JSON we accept; says what and at which byte, in one short line of printable ASCII.
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Parses JSON (RFC 8259) from someone we do not trust: besides what the grammar refuses, duplicate keys, more
// than 16 levels of nesting, and control characters in strings (NUL among them) are refused. Throws
// JsonError. Pure.
nlohmann::json parseStrictJson(std::string_view text);

} // namespace lumo
