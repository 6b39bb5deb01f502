#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "src/system/PhraseTable.h"

// Reads the text format of language files: a source phrase on a line, its translation on the next one, then
// an empty line; a line that starts with "##" is a comment. LF or CR LF ends a line. Nothing is escaped.
class LegacyParser {
public:
    enum class Warning {
        MissingTranslation,   // phrase: the one without, line: its line, 0 for an empty line that opens the
                              // file
        DuplicatePhrase,      // phrase and line: of the second one
        DuplicateTranslation, // phrase: the one that has a translation, line and text: of the second one
    };
    using Report = std::function<void(Warning, int line, const std::string& phrase, const std::string& text)>;

    explicit LegacyParser(Report report) : _report(std::move(report)) {}

    LegacyParser(const LegacyParser&) = delete;
    LegacyParser& operator=(const LegacyParser&) = delete;

    // Reads a whole file; to be called once. Never fails: entries that are not as above are reported and read
    // as well as they can be.
    PhraseTable parse(std::string_view bytes);

private:
    void readLine(std::string_view line);
    void endEntry();
    void readPhrase(std::string_view line);
    void readTranslation(std::string_view line);
    void insert(std::string_view translation);

    Report _report;
    PhraseTable _phrases;
    int _lineNumber = 0;

    // The source phrase read last, empty before the first; it stays when its entry ends.
    std::string_view _pending;
    int _pendingLine = 0;
    bool _pendingIsKey = false;
    bool _expectingPhrase = true;
};
