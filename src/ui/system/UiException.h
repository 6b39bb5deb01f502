#pragma once

#include <cstddef>
#include <exception>

// A failure of the user interface that its caller cannot go on from. Thrown as a pointer, made with new;
// whoever catches it deletes it.
class UiException : public std::exception {
public:
    // The message, as printf would write it; cut to 1023 bytes.
    explicit UiException(const char* format, ...) __attribute__((format(printf, 2, 3)));

    const char* what() const noexcept override { return _message; }

private:
    static constexpr std::size_t MESSAGE_SIZE = 1024;

    char _message[MESSAGE_SIZE];
};
