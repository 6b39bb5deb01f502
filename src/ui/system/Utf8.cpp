#include "src/ui/system/Utf8.h"

#include <utf8.h>

bool Utf8::isValid(std::string_view text) {
    if (utf8::find_invalid(text.begin(), text.end()) != text.end()) {
        return false;
    }
    // utf8cpp takes these two.
    return text.find("\xEF\xBF\xBE") == text.npos && text.find("\xEF\xBF\xBF") == text.npos;
}
