#pragma once

#include <stdexcept>
#include <string>

namespace lumo {

// Why a package could not be opened; the values are those STBFirmwareFile::open() answers.
enum class OpenResult : int {
    Opened = 0,
    NotFound = 1,
    Unreachable = 2,
    NotAPackage = 3,
    WrongDevice = 4,
    Damaged = 5,
    BadSignature = 6,
    Failed = 7,
};

// A failure while a package is fetched or checked. The text is the one line that goes into the log: what,
// where, and the numbers.
class FirmwareError : public std::runtime_error {
public:
    FirmwareError(OpenResult result, const std::string& text) : std::runtime_error(text), _result(result) {}

    OpenResult result() const { return _result; }

private:
    OpenResult _result;
};

} // namespace lumo
