#pragma once

#include <string>
#include <string_view>

namespace lumo {

// Text from outside made safe to show on a terminal: every byte of a control character (C0, DEL, C1) and
// every byte that is not part of valid UTF-8 becomes "\xNN".
std::string visibleText(std::string_view text);

} // namespace lumo
