#include "platform/linux/device/Text.h"

#include <utf8.h>

#include <cstdint>

namespace lumo {

namespace {

void appendEscaped(std::string& out, char byte) {
    static const char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    out += "\\x";
    out += digits[value >> 4];
    out += digits[value & 15];
}

bool isControl(std::uint32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

} // namespace

std::string visibleText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const char* position = text.data();
    const char* const end = position + text.size();
    while (position != end) {
        const char* const invalid = utf8::find_invalid(position, end);
        while (position != invalid) {
            const char* const start = position;
            if (!isControl(utf8::unchecked::next(position))) {
                out.append(start, position);
                continue;
            }
            for (const char* byte = start; byte != position; ++byte) {
                appendEscaped(out, *byte);
            }
        }
        if (position != end) {
            appendEscaped(out, *position++);
        }
    }
    return out;
}

} // namespace lumo
