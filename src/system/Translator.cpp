#include "src/system/Translator.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <mutex>
#include <optional>
#include <string_view>

#include "platform/STBLogger.h"
#include "src/system/LanguageFile.h"
#include "src/system/LegacyParser.h"
#include "src/system/MoCatalogue.h"

std::unique_ptr<Translator> Translator::_instance;

namespace {

constexpr const char* storedCodePath = LUMO_SYSROOT "/var/lumo/lang";
constexpr const char* languageFolder = LUMO_SYSROOT "/home/lumo/lang/";
constexpr std::size_t maxCodeLength = 49;

#define LOG(level, ...)                                                                                      \
    STBLogger_log(this, "Translator", level, __LINE__, "src/system/Translator", __VA_ARGS__)

// The table that this thread translated with last. Plain words, for they are read by every translation; who
// keeps the table alive stands beside them. While it lives no other table can have its address.
thread_local constinit const PhraseTable* seenTable = nullptr;
thread_local constinit bool threadEnds = false;

struct SeenTable {
    std::shared_ptr<const PhraseTable> owner;

    ~SeenTable() {
        seenTable = nullptr;
        threadEnds = true;
    }
};

thread_local SeenTable seen;

[[gnu::always_inline]] inline std::string findIn(const PhraseTable& phrases, std::string_view phrase) {
    const std::string_view translation = phrases.find(phrase);
    return std::string(translation.data() != nullptr ? translation : phrase);
}

// The number at the start of a placeholder's text, as an input stream reads an int: blanks before it and a
// plus sign are skipped, what follows it does not matter, one that does not fit is none.
std::optional<int> readNumber(std::string_view token) {
    token.remove_prefix(std::min(token.find_first_not_of(" \t\n\v\f\r"), token.size()));
    if (token.size() > 1 && token[0] == '+' && token[1] != '-') {
        token.remove_prefix(1);
    }
    int number = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), number).ec != std::errc{}) {
        return std::nullopt;
    }
    return number;
}

// The item that the placeholder's text names, null when it names none.
const TRITEM* findItem(const TRLIST& items, std::string_view token) {
    const auto number = readNumber(token);
    return number && *number > 0 ? items.getItem(static_cast<std::uint32_t>(*number)) : nullptr;
}

// Positions are 32-bit and wrap, on purpose: an empty item at the start of the text puts the position before
// it, which is the largest one, and ends the search with all later placeholders left as they are.
void substitute(std::string& text, const TRLIST& items) {
    std::uint32_t position = 0;
    while (position <= text.size()) {
        const std::size_t open = text.find("${", position);
        if (open == std::string::npos) {
            return;
        }
        const std::size_t close = text.find('}', open);
        if (close == std::string::npos) {
            return;
        }
        position = static_cast<std::uint32_t>(close);
        const std::string_view token(text.data() + open + 2, close - open - 2);
        if (const TRITEM* item = findItem(items, token)) {
            const std::size_t length = close - open + 1;
            text.replace(open, length, item->str());
            position += static_cast<std::uint32_t>(item->str().size() - length);
        }
    }
}

// A catalogue's source phrase as the program writes it: without CR, with LF as a backslash and "n".
std::string programText(std::string_view phrase) {
    std::string text;
    text.reserve(phrase.size());
    for (const char byte : phrase) {
        if (byte == '\n') {
            text += "\\n";
        } else if (byte != '\r') {
            text += byte;
        }
    }
    return text;
}

} // namespace

std::string replaceString(std::string text, const std::string& from, const std::string& to) {
    if (from.empty()) {
        return text;
    }
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

Translator* Translator::getInstance() {
    static const bool created = (_instance.reset(new Translator), true);
    static_cast<void>(created);
    return _instance.get();
}

[[gnu::always_inline]] inline std::string Translator::find(std::string_view phrase) const {
    const PhraseTable* table = _current.load(std::memory_order_acquire);
    if (table != seenTable) [[unlikely]] {
        return findInNewLanguage(phrase);
    }
    return findIn(*table, phrase);
}

std::string Translator::findInNewLanguage(std::string_view phrase) const {
    std::shared_ptr<const PhraseTable> table;
    {
        const std::lock_guard guard(_lock);
        table = _phrases;
    }
    std::string translation = findIn(*table, phrase);
    if (!threadEnds) {
        seenTable = table.get();
        seen.owner = std::move(table);
    }
    return translation;
}

std::string Translator::translate(const char* phrase, const char*, int) {
    if (*phrase == '\0') {
        return {};
    }
    return find(phrase);
}

std::string Translator::translate(const std::string& phrase, const char* file, int line) {
    return translate(phrase.c_str(), file, line);
}

std::string Translator::translate(const char* phrase, const TRLIST& items, const char*, int) {
    std::string text = find(phrase);
    substitute(text, items);
    return text;
}

std::string Translator::translate(const std::string& phrase, const TRLIST& items, const char* file,
                                  int line) {
    return translate(phrase.c_str(), items, file, line);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): a copy, so that the current code may be given
void Translator::setNewLanguageCode(std::string code) {
    std::ofstream(storedCodePath, std::ios::binary | std::ios::trunc) << code;
}

void Translator::patchLangCode(std::string& code) {
    if (code == "ee") {
        code = "et";
        setNewLanguageCode(code);
    }
}

bool Translator::loadSetupLanguageFile(const std::string& fallback) {
    std::string code;
    std::ifstream(storedCodePath) >> std::setw(maxCodeLength + 1) >> code;
    if (!code.empty() && code.size() <= maxCodeLength) {
        patchLangCode(code);
        LOG(3, "Loading setup language: %s", code.c_str());
        if (loadFile(languageFolder + code, code)) {
            return true;
        }
    }
    if (fallback.empty()) {
        return false;
    }
    LOG(3, "Loading fallback language: %s", fallback.c_str());
    return loadFile(languageFolder + fallback, fallback);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): a copy, so that the current code may be given
bool Translator::loadLanguageFile(std::string code) {
    return !code.empty() && loadFile(languageFolder + code, code);
}

bool Translator::loadFile(const std::string& path, const std::string& code) {
    if (path.find(".mo") != std::string::npos) {
        return loadFileGettext(path, code);
    }
    if (path.find(".txt") != std::string::npos) {
        return loadFileLegacy(path, code);
    }
    return LanguageFile::canBeOpened(path + ".mo") ? loadFileGettext(path + ".mo", code)
                                                   : loadFileLegacy(path + ".txt", code);
}

bool Translator::loadFileLegacy(const std::string& path, const std::string& code) {
    LOG(4, "Loading translation from Legacy format.");
    std::string bytes;
    if (LanguageFile::read(path, bytes) != LanguageFile::Result::Read) {
        LOG(1, "Can't open file %s for language \"%s\"", path.c_str(), code.c_str());
        return false;
    }
    replaceLanguage(readLegacy(bytes, path), code);
    return true;
}

bool Translator::loadFileGettext(const std::string& path, const std::string& code) {
    LOG(4, "Loading translation from MO.");
    std::string bytes;
    std::string reason;
    switch (LanguageFile::read(path, bytes)) {
    case LanguageFile::Result::NotThere:
        break;
    case LanguageFile::Result::CannotOpen:
        reason = "Can't open file\n";
        break;
    case LanguageFile::Result::CannotRead:
        reason = "Can't read data\n";
        break;
    case LanguageFile::Result::Read:
        const auto parsed = MoCatalogue::parse(bytes);
        if (const auto* catalogue = std::get_if<MoCatalogue>(&parsed)) {
            replaceLanguage(readCatalogue(*catalogue, path), code);
            return true;
        }
        reason = std::get<MoCatalogue::Error>(parsed).text + "\n";
    }
    fputs(reason.c_str(), stdout);
    fflush(stdout);
    LOG(1, "Could not parse MO file: \"%s\"", path.c_str());
    return false;
}

PhraseTable Translator::readLegacy(const std::string& bytes, const std::string& path) const {
    using Warning = LegacyParser::Warning;
    const auto report = [&](Warning warning, int line, const std::string& phrase, const std::string& text) {
        switch (warning) {
        case Warning::MissingTranslation:
            LOG(2, "Missing translation in file %s for phrase started at line %d (\"%s\")", path.c_str(),
                line, phrase.c_str());
            break;
        case Warning::DuplicatePhrase:
            LOG(2, "Duplicate original phrase in file %s, line %d (\"%s\")", path.c_str(), line,
                phrase.c_str());
            break;
        case Warning::DuplicateTranslation:
            LOG(2, "Duplicate translation in file %s, line %d (\"%s\" => \"%s\")", path.c_str(), line,
                phrase.c_str(), text.c_str());
            break;
        }
    };
    return LegacyParser(report).parse(bytes);
}

PhraseTable Translator::readCatalogue(const MoCatalogue& catalogue, const std::string& path) const {
    PhraseTable phrases;
    for (std::uint32_t index = 0; index < catalogue.size(); ++index) {
        const std::string phrase = programText(catalogue.phrase(index));
        const std::string_view translation = catalogue.translation(index);
        if (phrase.empty()) {
            LOG(1, "Original is empty!"); // the catalogue's header, as a rule
        } else if (!phrases.insert(phrase, translation.empty() ? phrase : translation)) {
            LOG(2, "Duplicate original phrase in file %s, \"%s\"", path.c_str(), phrase.c_str());
        } else if (translation.empty()) {
            LOG(2, "Missing translation in file %s for phrase \"%s\"", path.c_str(), phrase.c_str());
        }
    }
    return phrases;
}

void Translator::replaceLanguage(PhraseTable phrases, const std::string& code) {
    std::shared_ptr<const PhraseTable> table = std::make_shared<PhraseTable>(std::move(phrases));
    const std::lock_guard guard(_lock);
    _languageCode = code;
    std::swap(_phrases, table);
    _current.store(_phrases.get(), std::memory_order_release);
}
