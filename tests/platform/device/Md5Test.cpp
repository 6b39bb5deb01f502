#include "platform/md5.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

void append(md5_state_t& state, std::string_view text) {
    const std::basic_string<md5_byte_t> bytes(text.begin(), text.end());
    md5_append(&state, bytes.data(), static_cast<int>(bytes.size()));
}

std::string finished(md5_state_t state) {
    md5_byte_t digest[16];
    md5_finish(&state, digest);
    std::string text;
    for (const md5_byte_t byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

TEST(Md5Test, DigestsPiecesOfAnyLengthLikeTheWhole) {
    const std::string text =
        "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
    for (std::size_t piece : {1u, 7u, 63u, 64u, 80u}) {
        md5_state_t state;
        md5_init(&state);
        for (std::size_t i = 0; i < text.size(); i += piece) {
            append(state, std::string_view(text).substr(i, piece));
        }
        EXPECT_EQ(finished(state), "57edf4a22be3c955ac49da2e2107b67a") << piece; // RFC 1321, A.5
    }
}

TEST(Md5Test, CopiesOfTheStateGoOnByThemselves) {
    md5_state_t state;
    md5_init(&state);
    append(state, "a");
    md5_state_t copy = state;
    append(copy, "bc");
    EXPECT_EQ(finished(copy), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(finished(state), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(Md5Test, TakesEmptyAndNegativeCountsForNothing) {
    md5_state_t state;
    md5_init(&state);
    md5_append(&state, nullptr, 0);
    md5_append(&state, nullptr, -5);
    EXPECT_EQ(finished(state), "d41d8cd98f00b204e9800998ecf8427e");
}

} // namespace
