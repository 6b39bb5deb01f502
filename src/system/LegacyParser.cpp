#include "src/system/LegacyParser.h"

#include <algorithm>

namespace {

// What a warning repeats of a phrase: enough to find it, and never so much that a hostile file could keep the
// loader busy with its own warnings.
std::string quoted(std::string_view text) {
    constexpr std::size_t longest = 1000;
    return std::string(text.substr(0, longest));
}

} // namespace

PhraseTable LegacyParser::parse(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        std::string_view line = bytes.substr(0, end);
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        ++_lineNumber;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        readLine(line);
    }
    return std::move(_phrases);
}

void LegacyParser::readLine(std::string_view line) {
    if (line.empty()) {
        endEntry();
    } else if (line.starts_with("##")) {
        return;
    } else if (_expectingPhrase) {
        readPhrase(line);
    } else {
        readTranslation(line);
    }
}

void LegacyParser::endEntry() {
    // Asked at every empty line: one that opens the file ends the entry of the empty phrase.
    if (!_pendingIsKey) {
        _report(Warning::MissingTranslation, _pendingLine, quoted(_pending), "");
        insert(_pending);
    }
    _expectingPhrase = true;
}

void LegacyParser::readPhrase(std::string_view line) {
    if (_phrases.find(line).data() != nullptr) {
        // Its translation, on the next line, will be taken for a source phrase.
        _report(Warning::DuplicatePhrase, _lineNumber, quoted(line), "");
        return;
    }
    _pending = line;
    _pendingLine = _lineNumber;
    _pendingIsKey = false;
    _expectingPhrase = false;
}

void LegacyParser::readTranslation(std::string_view line) {
    if (_pendingIsKey) {
        _report(Warning::DuplicateTranslation, _lineNumber, quoted(_pending), quoted(line));
    } else {
        insert(line);
    }
}

void LegacyParser::insert(std::string_view translation) {
    _phrases.insert(_pending, translation);
    _pendingIsKey = true;
}
