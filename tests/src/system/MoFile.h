#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Makes message catalogues that no tool would make.
class MoFile {
public:
    using Entries = std::vector<std::pair<std::string, std::string>>;

    // The catalogue of these phrases and translations, in this order, without a header entry of its own.
    explicit MoFile(const Entries& entries);

    const std::string& bytes() const { return _bytes; }

    // Where the words of a header field or of an entry's length and offset stand in the bytes.
    static constexpr std::size_t countAt = 8;
    static constexpr std::size_t phrasesAt = 12;
    static constexpr std::size_t translationsAt = 16;

    static std::size_t phraseLengthAt(std::size_t entry) { return 28 + entry * 8; }

    std::size_t translationLengthAt(std::size_t entry) const { return 28 + (_count + entry) * 8; }

    // Overwrites one word.
    void set(std::size_t at, std::uint32_t value);

private:
    std::string _bytes;
    std::size_t _count;
};
