#include "platform/md5.h"

#include <gtest/gtest.h>

#include <string_view>

TEST(Md5Test, PiecesOfAnyLengthAndCopiesOfTheStateGiveTheDigestOfTheWhole) {
    constexpr std::string_view text =
        "12345678901234567890123456789012345678901234567890123456789012345678901234567890"; // RFC 1321, A.5
    constexpr md5_byte_t expected[] = {0x57, 0xed, 0xf4, 0xa2, 0x2b, 0xe3, 0xc9, 0x55,
                                       0xac, 0x49, 0xda, 0x2e, 0x21, 0x07, 0xb6, 0x7a};
    for (const std::size_t piece : {1U, 7U, 63U, 64U, 80U}) {
        md5_state_t state;
        md5_init(&state);
        md5_append(&state, nullptr, -5);
        for (std::size_t i = 0; i < text.size(); i += piece) {
            md5_state_t copy = state;
            const std::string_view part = text.substr(i, piece);
            md5_append(&state, reinterpret_cast<const md5_byte_t*>("another text"), 12);
            md5_append(&copy, reinterpret_cast<const md5_byte_t*>(part.data()),
                       static_cast<int>(part.size()));
            state = copy;
        }
        md5_byte_t digest[16];
        md5_finish(&state, digest);
        EXPECT_EQ(std::basic_string_view(digest, 16), std::basic_string_view(expected, 16)) << piece;
    }
}
