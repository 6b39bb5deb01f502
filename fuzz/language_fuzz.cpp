// Language files of both formats: any bytes load or are refused, and what was loaded can be looked up.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "src/system/Translator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool silent = freopen("/dev/null", "w", stdout) != nullptr;
    const int file = memfd_create("language", MFD_CLOEXEC);
    if (!silent || file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) {
        std::abort();
    }
    Translator* translator = Translator::getInstance();
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    translator->loadFileGettext(path, "xx");
    translator->translate("${1} from ${2} bytes", TRLIST(1LL, "${1}"), __FILE__, __LINE__);
    if (!translator->loadFileLegacy(path, "xx")) {
        std::abort();
    }
    translator->translate("${1} min", TRLIST(""), __FILE__, __LINE__);
    close(file);
    return 0;
}
