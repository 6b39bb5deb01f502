#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Arithmetic on words 0xAARRGGBB, two channels at a time; every product is rounded to the nearest.

namespace lumo {

inline constexpr std::uint32_t opaqueAlpha = 0xFF000000U;

// All four channels times alpha / 255.
constexpr std::uint32_t scaleWord(std::uint32_t word, std::uint32_t alpha) {
    constexpr std::uint32_t twoChannels = 0x00FF00FFU;
    constexpr std::uint32_t halves = 0x00800080U;
    std::uint32_t low = (word & twoChannels) * alpha + halves;
    low = (low + ((low >> 8) & twoChannels)) >> 8 & twoChannels;
    std::uint32_t high = (word >> 8 & twoChannels) * alpha + halves;
    high = (high + ((high >> 8) & twoChannels)) & ~twoChannels;
    return low | high;
}

// The colour channels times the alpha.
constexpr std::uint32_t premultiplyWord(std::uint32_t word) {
    const std::uint32_t alpha = word >> 24;
    return alpha == 255 ? word : scaleWord(word | opaqueAlpha, alpha);
}

// A premultiplied source over a destination that is not premultiplied. A transparent source changes nothing.
constexpr std::uint32_t blendWord(std::uint32_t destination, std::uint32_t source) {
    const std::uint32_t alpha = source >> 24;
    return alpha == 0 ? destination : source + scaleWord(premultiplyWord(destination), 255 - alpha);
}

// Whether all of them have an alpha of 255.
inline bool areOpaque(const std::uint32_t* words, std::size_t count) {
    using Four = std::uint32_t __attribute__((vector_size(16)));
    constexpr std::size_t block = 16;
    std::size_t i = 0;
    for (; i + block <= count; i += block) {
        Four four[4];
        std::memcpy(four, words + i, sizeof four);
        const Four all = four[0] & four[1] & four[2] & four[3];
        if ((all[0] & all[1] & all[2] & all[3]) < opaqueAlpha) {
            return false;
        }
    }
    std::uint32_t all = opaqueAlpha;
    for (; i < count; ++i) {
        all &= words[i];
    }
    return all == opaqueAlpha;
}

} // namespace lumo
