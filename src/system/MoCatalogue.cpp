#include "src/system/MoCatalogue.h"

#include <byteswap.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint32_t magic = 0x950412de;
constexpr std::size_t headerSize = 20; // of its 28 bytes, those that are read
constexpr std::size_t tableEntrySize = 8;

std::string number(std::uint64_t value) {
    return std::to_string(value);
}

char lower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

} // namespace

std::variant<MoCatalogue, MoCatalogue::Error> MoCatalogue::parse(std::string_view bytes) {
    MoCatalogue catalogue(bytes);
    if (bytes.size() < sizeof magic) {
        return Error{"File is not a po file"};
    }
    catalogue._swapped = catalogue.word(0) == bswap_32(magic);
    if (catalogue.word(0) != magic) {
        return Error{"File is not a po file"};
    }
    if (const auto damage = catalogue.readHeader()) {
        return Error{"File is damaged: " + *damage};
    }
    if (const auto charset = catalogue.namedCharset(); charset && *charset != "utf-8") {
        return Error{"Only UTF-8 charset is supported. Provided charset: " + *charset};
    }
    return catalogue;
}

std::uint32_t MoCatalogue::word(std::size_t offset) const {
    std::uint32_t value;
    std::memcpy(&value, _bytes.data() + offset, sizeof value);
    return _swapped ? bswap_32(value) : value;
}

std::string_view MoCatalogue::string(std::uint32_t table, std::uint32_t index) const {
    const std::size_t entry = table + std::size_t{index} * tableEntrySize;
    return _bytes.substr(word(entry + 4), word(entry));
}

std::optional<std::string> MoCatalogue::readHeader() {
    if (_bytes.size() < headerSize) {
        return number(_bytes.size()) + " bytes cannot hold a header";
    }
    _count = word(8);
    _phrases = word(12);
    _translations = word(16);
    std::uint64_t textBytes = 0;
    for (const std::uint32_t table : {_phrases, _translations}) {
        if (auto damage = checkTable(table, textBytes)) {
            return damage;
        }
    }
    if (textBytes > maxTextBytes) {
        return "its strings add up to " + number(textBytes) + " bytes";
    }
    return std::nullopt;
}

std::optional<std::string> MoCatalogue::checkTable(std::uint32_t table, std::uint64_t& textBytes) const {
    const std::string place = " in " + number(_bytes.size()) + " bytes";
    if (_count > 0 && std::uint64_t{table} + std::uint64_t{_count} * tableEntrySize > _bytes.size()) {
        return "table of " + number(_count) + " strings at " + number(table) + place;
    }
    for (std::uint32_t index = 0; index < _count; ++index) {
        const std::size_t entry = table + std::size_t{index} * tableEntrySize;
        const std::uint32_t length = word(entry);
        const std::uint32_t offset = word(entry + 4);
        if (std::uint64_t{offset} + length > _bytes.size()) {
            return "string of " + number(length) + " bytes at " + number(offset) + place;
        }
        textBytes += length;
    }
    return std::nullopt;
}

// The character set that the catalogue's header names, in lower case; nothing when it names none.
std::optional<std::string> MoCatalogue::namedCharset() const {
    if (_count == 0) {
        return std::nullopt;
    }
    // The header ends at its zero byte, whatever length the table gives it.
    std::string_view header = _bytes.substr(word(std::size_t{_translations} + 4));
    header = header.substr(0, header.find('\0'));
    constexpr std::string_view marker = "Content-Type: text/plain; charset=";
    const std::size_t at = header.find(marker);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    header.remove_prefix(at + marker.size());
    const std::size_t end = header.find('\n');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    std::string charset(header.substr(0, end));
    std::transform(charset.begin(), charset.end(), charset.begin(), lower);
    return charset;
}
