#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "inc/private/pthread_helper.h"
#include "src/system/PhraseTable.h"
#include "src/system/TRLIST.h"

// Translates an English phrase, optionally with values for its placeholders: tr("sec."),
// tr("${1} from ${2} bytes", TRLIST(done, total)). xgettext collects the phrases by this name.
#define tr(...) Translator::getInstance()->translate(__VA_ARGS__, __FILE__, __LINE__)

// Marks a phrase that is translated where it is used, by its variable, so that xgettext collects it.
#define tr_noop(phrase) phrase

// text with every from replaced by to, from left to right; inserted text is not searched again. from must not
// be empty (nothing is replaced then).
std::string replaceString(std::string text, const std::string& from, const std::string& to);

class MoCatalogue;

// The texts of the program in the user's language: one per process. A phrase is the English text itself, byte
// for byte; a line break in it is written as the two characters backslash and "n". What has no translation
// comes back as it was given, so that an incomplete language still shows everything. Any thread may translate
// at any time: it sees the old language or the new one, whole, and the new one from the moment on that its
// load has returned. A thread keeps the language it translated with last until it translates again or ends.
class Translator {
public:
    // The only instance; it lives until the process ends.
    static Translator* getInstance();

    // The translation of phrase, or phrase itself. Nothing is put in for placeholders. file, line: the
    // caller's place, for diagnostics only. A std::string is taken up to its first zero byte.
    std::string translate(const char* phrase, const char* file, int line);
    std::string translate(const std::string& phrase, const char* file, int line);

    // The same with the placeholders ${1} to ${5} of the translation filled in from items. A placeholder that
    // is not a number or names no item stays visible, and processing ends where a "${" is never closed.
    // Inserted text is not searched for placeholders, but for its last character. A value that is empty and
    // stands at the very start of the text ends processing.
    std::string translate(const char* phrase, const TRLIST& items, const char* file, int line);
    std::string translate(const std::string& phrase, const TRLIST& items, const char* file, int line);

    // The code of the language loaded last, empty before. The reference is good until the next load.
    const std::string& getCurrentLanguageCode() const { return _languageCode; }

    // Records code as the user's choice for the next start, in /var/lumo/lang. Loads nothing; a file that
    // cannot be written is ignored.
    void setNewLanguageCode(std::string code);

    // Corrects the obsolete code "ee" (a country) to "et" (its language) and records it as the user's choice.
    // Leaves every other code alone.
    void patchLangCode(std::string& code);

    // Loads the language the user chose (corrected as above) or, when there is none or it cannot be loaded,
    // fallback; an empty fallback loads nothing. For the start of the program. True when a language was
    // loaded.
    bool loadSetupLanguageFile(const std::string& fallback);

    // Loads a language by its code from /home/lumo/lang/: the catalogue of GNU gettext (code.mo) or, where
    // there is none, the text format (code.txt). False for an empty code.
    bool loadLanguageFile(std::string code);

    // Loads one file and makes code the current language code. The format is gettext's where path contains
    // ".mo", the text format where it contains ".txt", anywhere in it; otherwise the one of path + ".mo" and
    // path + ".txt" that is there. A successful load replaces all phrases at once; a failed one leaves
    // phrases and code as they were, and says why on standard output or in the log.
    bool loadFile(const std::string& path, const std::string& code);

    // The text format: a source phrase on a line, its translation on the next one, then an empty line; "##"
    // starts a comment. Entries that are not like that are logged as warnings. Fails only when the file
    // cannot be read.
    bool loadFileLegacy(const std::string& path, const std::string& code);

    // The catalogue of GNU gettext (see MoCatalogue). In source phrases CR is dropped and LF becomes the
    // backslash and "n" that the program's phrases have; translations stay as they are stored.
    bool loadFileGettext(const std::string& path, const std::string& code);

private:
    Translator() = default;

    // The translation of phrase, or phrase itself. Takes the lock only where the thread has not seen the
    // current language yet.
    std::string find(std::string_view phrase) const;
    std::string findInNewLanguage(std::string_view phrase) const;

    PhraseTable readLegacy(const std::string& bytes, const std::string& path) const;
    PhraseTable readCatalogue(const MoCatalogue& catalogue, const std::string& path) const;

    // Makes phrases and code the current language, all at once for translate.
    void replaceLanguage(PhraseTable phrases, const std::string& code);

    static std::unique_ptr<Translator> _instance;

    mutable pthread_helper::mutex _lock{PTHREAD_MUTEX_RECURSIVE};

    // Guarded by _lock. A table never changes once it is here.
    std::shared_ptr<const PhraseTable> _phrases = std::make_shared<PhraseTable>();

    // _phrases, to tell without the lock whether it is another table than before.
    std::atomic<const PhraseTable*> _current{_phrases.get()};

    // Written by a load under _lock, read between loads.
    std::string _languageCode;
};
