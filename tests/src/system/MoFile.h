#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Makes message catalogues that no tool would make: these phrases and translations, in this order, without a
// header entry of its own.
struct MoFile {
    using Entries = std::vector<std::pair<std::string, std::string>>;

    explicit MoFile(const Entries& entries) : bytes(28 + entries.size() * 16, '\0'), count(entries.size()) {
        set(0, 0x950412de);
        set(8, count);
        set(12, 28);
        set(16, 28 + count * 8);
        for (std::size_t i = 0; i < count; ++i) {
            append(28 + i * 8, entries[i].first);
            append(28 + (count + i) * 8, entries[i].second);
        }
    }

    // Overwrites one word: 8 is the number of entries, 12 and 16 are where the tables of phrases and of
    // translations start, from 28 on stand a length and an offset for each phrase, then for each translation.
    void set(std::size_t at, std::size_t value) {
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[at + i] = static_cast<char>(value >> 8 * i & 0xff);
        }
    }

    void append(std::size_t at, const std::string& text) {
        set(at, text.size());
        set(at + 4, bytes.size());
        bytes += text + '\0';
    }

    std::string bytes;
    std::size_t count;
};
