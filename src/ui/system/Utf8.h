#pragma once

#include <string_view>

namespace Utf8 {

// Whether the text is UTF-8 through and through. Surrogates, overlong forms, sequences cut short, values
// above U+10FFFF and the two code points U+FFFE and U+FFFF are not. Zero bytes are.
bool isValid(std::string_view text);

} // namespace Utf8
