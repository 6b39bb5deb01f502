#include "src/system/PhraseTable.h"

#include <random>

PhraseTable::PhraseTable() : _slots(16), _mask(_slots.size() - 1), _records(1, '\0') {
    std::random_device random;
    for (std::uint64_t& seed : _seeds) {
        seed = std::uint64_t{random()} << 32 | random();
    }
}

bool PhraseTable::insert(std::string_view phrase, std::string_view translation) {
    const std::uint32_t hash = hashOf(phrase);
    if (_slots[indexOf(phrase, hash)].record != 0) {
        return false;
    }
    if ((_size + 1) * 2 > _slots.size()) {
        grow();
    }
    _slots[indexOf(phrase, hash)] = {hash, static_cast<std::uint32_t>(_records.size())};
    for (const std::string_view text : {phrase, translation}) {
        const auto length = static_cast<std::uint32_t>(text.size());
        _records.append(reinterpret_cast<const char*>(&length), sizeof length);
    }
    _records.append(phrase).append(translation);
    ++_size;
    return true;
}

std::uint32_t PhraseTable::hashOfShort(std::string_view phrase) const {
    char bytes[16] = {};
    phrase.copy(bytes, sizeof bytes);
    return fold(foldedProduct(word64(bytes) ^ _seeds[0], word64(bytes + 8) ^ _seeds[1]) + phrase.size());
}

void PhraseTable::grow() {
    std::vector<Slot> slots(_slots.size() * 2);
    _mask = slots.size() - 1;
    for (const Slot& slot : _slots) {
        if (slot.record != 0) {
            std::size_t index = slot.hash & _mask;
            while (slots[index].record != 0) {
                index = (index + 1) & _mask;
            }
            slots[index] = slot;
        }
    }
    _slots.swap(slots);
}
