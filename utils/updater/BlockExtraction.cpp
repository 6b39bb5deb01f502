#include "utils/updater/BlockExtraction.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "utils/updater/Console.h"

namespace updater {

namespace {

constexpr std::size_t WINDOW_SIZE = 1024 * 1024;

// Gives pages that have been read back to the kernel as reading goes on. Pages keep their contents and come
// back when touched again, so this is safe for any memory; where the kernel refuses, they merely stay
// resident.
class PageRelease {
public:
    explicit PageRelease(const unsigned char* begin)
        : _pageSize(static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE))),
          _begin((reinterpret_cast<std::uintptr_t>(begin) + _pageSize - 1) & ~(_pageSize - 1)) {}

    // Releases the whole pages before end that have not been released yet.
    void releaseUpTo(const unsigned char* end) {
        const std::uintptr_t pagesEnd = reinterpret_cast<std::uintptr_t>(end) & ~(_pageSize - 1);
        if (pagesEnd > _begin) {
            madvise(reinterpret_cast<void*>(_begin), pagesEnd - _begin, MADV_PAGEOUT);
            _begin = pagesEnd;
        }
    }

private:
    std::uintptr_t _pageSize;
    std::uintptr_t _begin;
};

// Empties the file that is there. In a folder where others may write it is replaced instead: it may be
// somebody's link to a file of ours. -1 when it cannot be opened.
int openForWriting(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);

    struct stat status {};

    if (stat(folder.c_str(), &status) == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        unlink(name.c_str());
        return open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }
    return open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

bool writeAll(int file, const unsigned char* bytes, std::size_t count) {
    for (std::size_t done = 0; done < count;) {
        const ssize_t written = write(file, bytes + done, count - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    return true;
}

bool writeBlock(int file, const STBFirmwareFile::Block& block) {
    PageRelease pages(block.data);
    for (std::size_t done = 0; done < block.size;) {
        const std::size_t count = std::min<std::size_t>(WINDOW_SIZE, block.size - done);
        if (!writeAll(file, block.data + done, count)) {
            return false;
        }
        done += count;
        pages.releaseUpTo(block.data + done);
    }
    return true;
}

void extractBlock(const STBFirmwareFile::Block& block, Console& console) {
    const std::string fileName = block.name + ".bin";
    console.line("Updater: Extracting '" + block.name + "' to '" + fileName + "' (" +
                 std::to_string(block.size) + " bytes)");
    const int file = openForWriting(fileName);
    if (file < 0) {
        console.error("Updater: ERROR: Error opening file for writing '" + fileName + "'");
        return;
    }
    const bool written = writeBlock(file, block);
    // Network file systems may tell only now.
    if (close(file) != 0 || !written) {
        console.error("Updater: ERROR: Error while saving '" + fileName + "'");
        unlink(fileName.c_str());
    }
}

} // namespace

void extractBlocks(const std::map<std::string, STBFirmwareFile::Block>& blocks, Console& console) {
    for (const auto& [key, block] : blocks) {
        extractBlock(block, console);
    }
}

} // namespace updater
