#include "utils/updater/BlockExtraction.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>

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

void writeBlock(std::ofstream& file, const STBFirmwareFile::Block& block) {
    PageRelease pages(block.data);
    for (std::size_t done = 0; done < block.size && file;) {
        const std::size_t count = std::min<std::size_t>(WINDOW_SIZE, block.size - done);
        file.write(reinterpret_cast<const char*>(block.data) + done, static_cast<std::streamsize>(count));
        done += count;
        pages.releaseUpTo(block.data + done);
    }
    file.flush(); // a small block fails only here
}

void extractBlock(const STBFirmwareFile::Block& block, Console& console) {
    const std::string fileName = block.name + ".bin";
    console.line("Updater: Extracting '" + block.name + "' to '" + fileName + "' (" +
                 std::to_string(block.size) + " bytes)");
    std::ofstream file(fileName, std::ios::binary | std::ios::trunc);
    if (!file) {
        console.error("Updater: ERROR: Error opening file for writing '" + fileName + "'");
        return;
    }
    writeBlock(file, block);
    if (file) {
        file.close(); // network file systems may tell only now
    }
    if (!file) {
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
