#include "src/ui/system/UiException.h"

#include <cstdarg>
#include <cstdio>

UiException::UiException(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(_message, sizeof _message, format, arguments) < 0) {
        _message[0] = '\0';
    }
    va_end(arguments);
}
