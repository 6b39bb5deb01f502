#include <fcntl.h>
#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <random>

#include "platform/STBLogger.h"
#include "platform/md5.h"
#include "src/common/Utils.h"

#define LOG(level, ...) STBLogger_log(nullptr, "Utils", level, __LINE__, "src/common/Utils", __VA_ARGS__)

namespace {

constexpr int maxIdLength = 4096;

std::string digest(const unsigned char* data, std::size_t length) {
    md5_state_t state;
    md5_init(&state);
    while (length > 0) {
        const std::size_t part = std::min(length, static_cast<std::size_t>(INT_MAX));
        md5_append(&state, data, static_cast<int>(part));
        data += part;
        length -= part;
    }
    md5_byte_t bytes[16];
    md5_finish(&state, bytes);
    return Utils::dumpHex(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

std::string currentSeconds() {
    return Utils::intToStr(static_cast<int>(time(nullptr)));
}

// For names of files that should be nobody else's.
std::string timeAndRandom() {
    return currentSeconds() + "-" + Utils::intToStr(rand());
}

// how: O_TRUNC replaces a file that is there, O_EXCL leaves it. False unless all of it reached the disk.
bool writeFile(const std::string& path, const std::string& text, int how) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | how | O_CLOEXEC, 0666);
    if (file < 0) {
        return false;
    }
    const bool written =
        write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(file) == 0;
    return close(file) == 0 && written;
}

// By way of a second file: a power cut must not leave an empty one, which would count as an identifier. A
// file that is there, if only as a link to nowhere, is written where it stands.
void storeId(const std::string& path, const std::string& id) {
    struct stat status {};

    if (lstat(path.c_str(), &status) != 0) {
        const std::string fresh = path + "." + timeAndRandom() + ".tmp";
        if (writeFile(fresh, id + "\n", O_EXCL) && rename(fresh.c_str(), path.c_str()) == 0) {
            return;
        }
        unlink(fresh.c_str());
    }
    writeFile(path, id + "\n", O_TRUNC);
}

} // namespace

std::string Utils::baseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

std::string Utils::dirName(const std::string& path) {
    std::string copy = path.c_str(); // dirname writes into its argument
    return dirname(copy.data());
}

bool Utils::checkExtension(const std::string& name, const std::string& extension) {
    const std::size_t length = extension.size() + 1;
    return length < name.size() &&
           strToUpper(name.substr(name.size() - length)) == strToUpper("." + extension);
}

std::string Utils::getFileExtension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? std::string() : strToLower(path.substr(dot + 1));
}

std::string Utils::calculateMd5(const void* data, unsigned int length) {
    return digest(static_cast<const unsigned char*>(data), length);
}

std::string Utils::calculateMd5(const std::string& data) {
    return digest(reinterpret_cast<const unsigned char*>(data.data()), data.size());
}

bool Utils::isFileExists(const std::string& path) {
    struct stat status {};

    return stat(path.c_str(), &status) == 0;
}

bool Utils::testDirectoryWritable(const std::string& folder) {
    if (folder.empty()) {
        return false;
    }
    const std::string path = folder + (folder.ends_with('/') ? "" : "/") + timeAndRandom() + ".tmp";
    // A name that somebody else has put there is left alone, a link above all.
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        LOG(4, "Cannot write test file for path: %s", folder.c_str());
        return false;
    }
    // What counts is that it can be made: a full disk makes a folder no less writable.
    [[maybe_unused]] const ssize_t written = write(file, "test", 4);
    close(file);
    if (unlink(path.c_str()) != 0) {
        LOG(4, "Cannot unlink test file for path: %s", folder.c_str());
        return false;
    }
    return true;
}

std::string Utils::getIdFromFile(const std::string& path, bool readOnly) {
    std::string id;
    if (std::ifstream in(path); in.is_open()) {
        in >> std::setw(maxIdLength) >> id;
        return id;
    }
    if (readOnly) {
        return {};
    }
    // Unseeded, every device would draw the same number at its first start.
    static const bool seeded = (srand(std::random_device()()), true);
    static_cast<void>(seeded);
    id = intToStr(rand()) + "-" + currentSeconds();
    storeId(path, id);
    return id;
}
