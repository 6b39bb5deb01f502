#include "tests/src/system/MoFile.h"

MoFile::MoFile(const Entries& entries) : _count(entries.size()) {
    _bytes.resize(28 + _count * 16);
    set(0, 0x950412de);
    set(countAt, static_cast<std::uint32_t>(_count));
    set(phrasesAt, 28);
    set(translationsAt, static_cast<std::uint32_t>(28 + _count * 8));
    const auto append = [this](std::size_t at, const std::string& text) {
        set(at, static_cast<std::uint32_t>(text.size()));
        set(at + 4, static_cast<std::uint32_t>(_bytes.size()));
        _bytes += text + '\0';
    };
    for (std::size_t i = 0; i < _count; ++i) {
        append(phraseLengthAt(i), entries[i].first);
        append(translationLengthAt(i), entries[i].second);
    }
}

void MoFile::set(std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        _bytes[at + i] = static_cast<char>(value >> 8 * i & 0xff);
    }
}
