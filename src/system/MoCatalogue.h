#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

// The binary message catalogue of GNU gettext (MO), as the GNU gettext manual describes it ("The Format of
// GNU MO Files"), in either byte order. The header holds 32-bit words: magic, revision, number of strings,
// offset of the table of source phrases, offset of the table of translations; a table holds a length and an
// offset for every string. Plural forms and contexts are part of their strings. A view: the bytes must
// outlive it.
class MoCatalogue {
public:
    // Strings may overlap in the file; what their lengths add up to is bounded, so that a small file cannot
    // fill the memory.
    static constexpr std::uint64_t maxTextBytes = std::uint64_t{32} << 20;

    // Why bytes are not a catalogue that can be used, as a line of text.
    struct Error {
        std::string text;
    };

    // Checks everything that the operations below rely on: tables and strings lie in the bytes, and the
    // catalogue names no character set but UTF-8.
    static std::variant<MoCatalogue, Error> parse(std::string_view bytes);

    std::uint32_t size() const { return _count; }

    // The strings with this index, which is below size(); zero bytes inside are part of them.
    std::string_view phrase(std::uint32_t index) const { return string(_phrases, index); }

    std::string_view translation(std::uint32_t index) const { return string(_translations, index); }

private:
    explicit MoCatalogue(std::string_view bytes) : _bytes(bytes) {}

    std::uint32_t word(std::size_t offset) const;
    std::string_view string(std::uint32_t table, std::uint32_t index) const;

    // What is wrong with the bytes; nothing when they are as they should be.
    std::optional<std::string> readHeader();
    std::optional<std::string> checkTable(std::uint32_t table, std::uint64_t& textBytes) const;

    std::optional<std::string> namedCharset() const;

    std::string_view _bytes;
    bool _swapped = false;
    std::uint32_t _count = 0;
    std::uint32_t _phrases = 0;
    std::uint32_t _translations = 0;
};
