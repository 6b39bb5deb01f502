#pragma once

#include <optional>
#include <string>

namespace lumo {

// The type that was asked for when this process learned the location from the server; none for a location
// that came from elsewhere, where any type is welcome. Any thread.
std::optional<std::string> requestedType(const std::string& url);

} // namespace lumo
