// Translating beside glibc's dgettext on the same catalogues, and beside a bare map under a recursive lock;
// loading beside a straight parse of the same file.

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <libintl.h>
#include <pthread.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>

#include "platform/STBLogger.h"
#include "src/system/Translator.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

void STBLogger_log(const void*, const char*, int, int, const char*, const char*, ...) {}

namespace {

using Map = std::map<std::string, std::string, std::less<>>;

// Phrases, catalogues and text files of some sizes, in a folder laid out as gettext wants it.
class Catalogues {
public:
    Catalogues() {
        std::filesystem::create_directories(_folder.path() / "xx/LC_MESSAGES");
        setenv("LANGUAGE", "xx", 1);
        if (setlocale(LC_ALL, "C.UTF-8") == nullptr) {
            throw std::runtime_error("no locale but C, for which gettext translates nothing");
        }
        for (const int size : {50, 1000, 20000}) {
            make(size);
        }
    }

    static const Catalogues& instance() {
        static const Catalogues catalogues;
        return catalogues;
    }

    // The file of this size with this ending, ".mo" or ".txt".
    std::string file(int size, const std::string& ending) const {
        return _folder.file("xx/LC_MESSAGES/" + domain(size) + ending);
    }

    static std::string domain(int size) { return "phrases" + std::to_string(size); }

    // All phrases of this size, or as many that it does not hold, in an order of chance.
    static std::vector<std::string> phrases(int size, bool held) {
        std::vector<std::string> list;
        for (int i = 0; i < size; ++i) {
            list.push_back(phrase(i) + (held ? "" : "!"));
        }
        std::shuffle(list.begin(), list.end(), std::mt19937(1));
        return list;
    }

private:
    // Phrases begin alike, as those of a program do.
    static std::string phrase(int number) {
        static const char* const beginnings[] = {"Update ", "Unable to ", "Error while ", "Device ",
                                                 "Block "};
        return beginnings[number % 5] + std::string("number ") + std::to_string(number * 7919 % 1000003) +
               " of ${1}";
    }

    void make(int size) {
        std::ofstream po(_folder.file("x.po"));
        std::ofstream text(file(size, ".txt"));
        po << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
        for (int i = 0; i < size; ++i) {
            const std::string translation = "Übersetzung ${1} aus ${2} " + std::to_string(i);
            po << "msgid \"" << phrase(i) << "\"\nmsgstr \"" << translation << "\"\n";
            text << phrase(i) << '\n' << translation << "\n\n";
        }
        po.close();
        support::Program msgfmt;
        msgfmt.command = {"msgfmt", "-o", file(size, ".mo"), _folder.file("x.po")};
        if (support::run(msgfmt).exitCode != 0) {
            throw std::runtime_error("msgfmt fails");
        }
        bindtextdomain(domain(size).c_str(), _folder.path().c_str());
    }

    support::TempDir _folder;
};

class RecursiveLock {
public:
    RecursiveLock() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&_mutex, &attributes);
    }

    void lock() { pthread_mutex_lock(&_mutex); }

    void unlock() { pthread_mutex_unlock(&_mutex); }

private:
    pthread_mutex_t _mutex;
};

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes(static_cast<std::size_t>(std::filesystem::file_size(path)), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// What anyone would write who trusts the file.
Map parseMo(const std::string& path) {
    const std::string bytes = readAll(path);
    Map map;
    for (std::uint32_t i = 0; i < wordAt(bytes, 8); ++i) {
        const std::size_t phrase = wordAt(bytes, 12) + i * 8;
        const std::size_t translation = wordAt(bytes, 16) + i * 8;
        map.emplace(std::string(bytes, wordAt(bytes, phrase + 4), wordAt(bytes, phrase)),
                    std::string(bytes, wordAt(bytes, translation + 4), wordAt(bytes, translation)));
    }
    return map;
}

Map parseText(const std::string& path) {
    std::ifstream in(path);
    Map map;
    std::string phrase;
    std::string translation;
    std::string blank;
    while (std::getline(in, phrase) && std::getline(in, translation)) {
        map.emplace(phrase, translation);
        std::getline(in, blank);
    }
    return map;
}

// Takes the phrases one by one through lookUp, which gives a std::string.
template <typename LookUp>
void lookUpAll(benchmark::State& state, bool hit, LookUp lookUp) {
    const auto phrases = Catalogues::phrases(static_cast<int>(state.range(0)), hit);
    for (const std::string& phrase : phrases) { // dgettext searches its file only the first time
        benchmark::DoNotOptimize(lookUp(phrase.c_str()));
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(lookUp(phrases[next].c_str()));
        next = next + 1 < phrases.size() ? next + 1 : 0;
    }
}

Translator* loaded(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    Translator::getInstance()->loadFile(Catalogues::instance().file(size, ".mo"), "xx");
    return Translator::getInstance();
}

void translatorLookup(benchmark::State& state, bool hit) {
    Translator* translator = loaded(state);
    lookUpAll(state, hit,
              [=](const char* phrase) { return translator->translate(phrase, __FILE__, __LINE__); });
}

void dgettextLookup(benchmark::State& state, bool hit) {
    Catalogues::instance();
    const std::string domain = Catalogues::domain(static_cast<int>(state.range(0)));
    lookUpAll(state, hit, [&](const char* phrase) { return std::string(dgettext(domain.c_str(), phrase)); });
}

void mapLookup(benchmark::State& state, bool hit) {
    const Map map = parseMo(Catalogues::instance().file(static_cast<int>(state.range(0)), ".mo"));
    RecursiveLock mutex;
    lookUpAll(state, hit, [&](const char* phrase) {
        const std::lock_guard guard(mutex);
        const auto found = map.find(std::string_view(phrase));
        return found != map.end() ? found->second : std::string(phrase);
    });
}

void translatorSubstitution(benchmark::State& state) {
    Translator* translator = loaded(state);
    lookUpAll(state, true, [=](const char* phrase) {
        return translator->translate(phrase, TRLIST(123456LL, "kernel"), __FILE__, __LINE__);
    });
}

void fmtSubstitution(benchmark::State& state) {
    Catalogues::instance();
    const std::string domain = Catalogues::domain(static_cast<int>(state.range(0)));
    lookUpAll(state, true, [&](const char* phrase) {
        // Counted from 0, and with a "$" left standing: the same work on the same text.
        return fmt::format(fmt::runtime(dgettext(domain.c_str(), phrase)), "", 123456LL, "kernel");
    });
}

void translatorLoad(benchmark::State& state, const char* ending) {
    const std::string path = Catalogues::instance().file(static_cast<int>(state.range(0)), ending);
    for (auto _ : state) {
        if (!Translator::getInstance()->loadFile(path, "xx")) {
            state.SkipWithError("does not load");
        }
    }
}

void straightLoad(benchmark::State& state, Map (*parse)(const std::string&), const char* ending) {
    const std::string path = Catalogues::instance().file(static_cast<int>(state.range(0)), ending);
    Map map;
    for (auto _ : state) {
        map = parse(path); // the old one goes, as at a change of language
        benchmark::DoNotOptimize(map.size());
    }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(50)->Arg(1000)->Arg(20000);
}

BENCHMARK_CAPTURE(translatorLookup, hit, true)->Apply(sizes);
BENCHMARK_CAPTURE(dgettextLookup, hit, true)->Apply(sizes);
BENCHMARK_CAPTURE(mapLookup, hit, true)->Apply(sizes);
BENCHMARK_CAPTURE(translatorLookup, miss, false)->Apply(sizes);
BENCHMARK_CAPTURE(dgettextLookup, miss, false)->Apply(sizes);
BENCHMARK_CAPTURE(mapLookup, miss, false)->Apply(sizes);
BENCHMARK(translatorSubstitution)->Apply(sizes);
BENCHMARK(fmtSubstitution)->Apply(sizes);
BENCHMARK_CAPTURE(translatorLoad, mo, ".mo")->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(straightLoad, mo, parseMo, ".mo")->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(translatorLoad, text, ".txt")->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(straightLoad, text, parseText, ".txt")->Arg(20000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
