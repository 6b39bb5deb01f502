#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Arithmetic on colour words 0xAARRGGBB, two channels at a time; every product is rounded to the nearest.

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

// Several words, for the processor to take at once.
using FourWords = std::uint32_t __attribute__((vector_size(16)));

inline FourWords loadFour(const std::uint32_t* words) {
    FourWords four;
    std::memcpy(&four, words, sizeof four);
    return four;
}

inline bool areOpaque(const FourWords& four) {
    return (four[0] & four[1] & four[2] & four[3]) >= opaqueAlpha;
}

// Whether all of them have an alpha of 255.
inline bool areOpaque(const std::uint32_t* words, std::size_t count) {
    constexpr std::size_t block = 64;
    std::size_t i = 0;
    for (; i + block <= count; i += block) {
        FourWords all = loadFour(words + i);
        for (std::size_t j = i + 4; j < i + block; j += 4) {
            all &= loadFour(words + j);
        }
        if (!areOpaque(all)) {
            return false;
        }
    }
    std::uint32_t all = opaqueAlpha;
    for (; i < count; ++i) {
        all &= words[i];
    }
    return all == opaqueAlpha;
}

// blendWord() of every word.
inline void blendWords(std::uint32_t* destination, const std::uint32_t* source, std::size_t count) {
    using EightHalves = std::uint16_t __attribute__((vector_size(16)));
    const auto scaled = [](FourWords channels, EightHalves factor) { // channels: two in each word
        EightHalves halves = std::bit_cast<EightHalves>(channels) * factor + 0x80;
        halves = (halves + (halves >> 8)) >> 8;
        return std::bit_cast<FourWords>(halves);
    };
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const FourWords over = loadFour(source + i);
        const FourWords under = loadFour(destination + i);
        if (!areOpaque(under)) {
            for (std::size_t j = i; j < i + 4; ++j) {
                destination[j] = blendWord(destination[j], source[j]);
            }
            continue;
        }
        const FourWords rest = 255 - (over >> 24);
        const EightHalves factor = std::bit_cast<EightHalves>(rest | rest << 16);
        const FourWords result =
            over + (scaled(under & 0x00FF00FFU, factor) | scaled(under >> 8 & 0x00FF00FFU, factor) << 8);
        std::memcpy(destination + i, &result, sizeof result);
    }
    for (; i < count; ++i) {
        destination[i] = blendWord(destination[i], source[i]);
    }
}

} // namespace lumo
