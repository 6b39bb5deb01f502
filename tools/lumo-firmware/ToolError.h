#pragma once

#include <stdexcept>

namespace lumo {

// Work that failed. The text is the one line for the user: what, which file and field, and the numbers.
class ToolError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A command line that makes no sense.
class UsageError : public ToolError {
public:
    using ToolError::ToolError;
};

} // namespace lumo
