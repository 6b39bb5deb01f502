#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

// Source phrase to translation, any bytes, up to 2 GiB of them. A hash table over one block of text: a lookup
// makes no key and touches two places in memory, which makes it several times faster than a map of strings.
// Not thread-safe.
class PhraseTable {
public:
    PhraseTable();

    // Adds a phrase; false, and nothing changes, when it is there already. The texts must not be the table's
    // own.
    bool insert(std::string_view phrase, std::string_view translation);

    // The translation of phrase, good until the next change of the table; null data where there is none.
    // Every text of the screen comes through here; as part of its caller it is quicker still.
    [[gnu::always_inline]] std::string_view find(std::string_view phrase) const {
        const std::uint32_t record = _slots[indexOf(phrase, hashOf(phrase))].record;
        if (record == 0) {
            return {};
        }
        const char* lengths = _records.data() + record;
        return {lengths + lengthsSize + phrase.size(), word32(lengths + 4)};
    }

    std::size_t size() const { return _size; }

private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t record; // where it begins in _records, 0 for an empty slot
    };

    static constexpr std::size_t lengthsSize = 8;

    static std::uint64_t word64(const char* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }

    static std::uint32_t word32(const char* bytes) {
        std::uint32_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }

    // Both halves of the product, folded into one, so that every bit depends on every bit of both factors.
    static std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
        __extension__ using Product = unsigned __int128;
        const Product product = Product{a} * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
        return a * __builtin_bswap64(b) ^ __builtin_bswap64(__builtin_bswap64(a) * ~b);
#endif
    }

    static std::uint32_t fold(std::uint64_t hash) {
        return static_cast<std::uint32_t>(hash ^ hash >> 32);
    }

    // The sum of the folded products of 16 bytes each; the last 16 come first and may overlap others. The
    // products do not wait for each other. Without the seeds nobody can make a file whose phrases all have
    // the same hash.
    std::uint32_t hashOf(std::string_view phrase) const {
        if (phrase.size() < 16) {
            return hashOfShort(phrase);
        }
        const char* last = phrase.data() + phrase.size() - 16;
        std::uint64_t seed = _seeds[1];
        std::uint64_t hash = foldedProduct(word64(last) ^ _seeds[0], word64(last + 8) ^ seed) + phrase.size();
        for (const char* bytes = phrase.data(); bytes < last; bytes += 16) {
            seed += 0x9E3779B97F4A7C15; // the golden ratio, to give every place a seed of its own
            hash += foldedProduct(word64(bytes) ^ _seeds[0], word64(bytes + 8) ^ seed);
        }
        return fold(hash);
    }

    std::uint32_t hashOfShort(std::string_view phrase) const;

    // The slot of the phrase, or the empty one where it belongs.
    std::size_t indexOf(std::string_view phrase, std::uint32_t hash) const {
        for (std::size_t index = hash & _mask;; index = (index + 1) & _mask) {
            const Slot slot = _slots[index];
            if (slot.record == 0 || (slot.hash == hash && holds(_records.data() + slot.record, phrase))) {
                return index;
            }
        }
    }

    static bool holds(const char* record, std::string_view phrase) {
        const std::size_t length = phrase.size();
        if (word32(record) != length) {
            return false;
        }
        record += lengthsSize;
        if (length < 8) {
            return std::string_view(record, length) == phrase;
        }
        // Cheaper than a call of memcmp for texts as short as phrases; the last 8 bytes may overlap others.
        const char* last = record + length - 8;
        for (const char* bytes = phrase.data(); record < last; record += 8, bytes += 8) {
            if (word64(record) != word64(bytes)) {
                return false;
            }
        }
        return word64(last) == word64(phrase.data() + length - 8);
    }

    void grow();

    std::uint64_t _seeds[2]{}; // drawn for every table

    // A power of two of them, at least half of them empty.
    std::vector<Slot> _slots;
    std::size_t _mask;

    // For every phrase: its length and that of its translation, 32 bits each, and both texts.
    std::string _records;
    std::size_t _size = 0;
};
