#include "platform/md5.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

void append(md5_state_t& state, std::string_view text) {
    md5_append(&state, reinterpret_cast<const md5_byte_t*>(text.data()), static_cast<int>(text.size()));
}

TEST(Md5Test, PiecesOfAnyLengthAndCopiesOfTheStateGiveTheDigestOfTheWhole) {
    constexpr std::string_view text =
        "12345678901234567890123456789012345678901234567890123456789012345678901234567890"; // RFC 1321, A.5
    constexpr md5_byte_t expected[] = {0x57, 0xed, 0xf4, 0xa2, 0x2b, 0xe3, 0xc9, 0x55,
                                       0xac, 0x49, 0xda, 0x2e, 0x21, 0x07, 0xb6, 0x7a};
    for (const std::size_t piece : {1U, 7U, 63U, 64U, 80U}) {
        md5_state_t state;
        md5_init(&state);
        md5_append(&state, nullptr, 0);
        md5_append(&state, nullptr, -5);
        for (std::size_t i = 0; i < text.size(); i += piece) {
            md5_state_t copy = state;
            append(state, "from here on another text");
            append(copy, text.substr(i, piece));
            state = copy;
        }
        md5_byte_t digest[16];
        md5_finish(&state, digest);
        EXPECT_EQ(std::basic_string_view(digest, 16), std::basic_string_view(expected, 16)) << piece;
    }
}

} // namespace
