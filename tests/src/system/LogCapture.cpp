#include "tests/src/system/LogCapture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "platform/STBLogger.h"

namespace {

std::mutex guard;
std::vector<std::string> lines;

} // namespace

void STBLogger_log(const void*, const char*, int level, int, const char* file, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    const std::lock_guard lock(guard);
    lines.push_back(std::to_string(level) + " " + file + " " + (length < 0 ? "unprintable" : text));
    free(text);
}

std::vector<std::string> LogCapture::take() {
    const std::lock_guard lock(guard);
    return std::exchange(lines, {});
}
