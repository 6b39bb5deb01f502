#pragma once

#include <cstdint>
#include <map>
#include <string>

// A firmware package: fetched, checked and held by the platform library.
//
// Life of an object: construct (no input or output), open() once, then read getBlocks() or hand it to
// STBFirmwareUpdater::update(), destroy. Everything runs on the caller's thread; the listener is called on
// that thread too, from inside open(), and must outlive the object. Not copyable: the blocks' bytes belong to
// it.
class STBFirmwareFile {
public:
    // What open() is doing when it reports progress.
    enum CurrentOperation : int {
        OPERATION_TRANSFER = 0, // fetching the package; the byte counts are the package's
        OPERATION_CHECK = 1,    // checking its contents
    };

    // Receives the progress of open(). One operation in the first slot, never deleted through this type.
    class EventsListener {
    public:
        // totalBytes and processedBytes count the operation's bytes (totalBytes is 0 while unknown); percent
        // runs from 0 to 100, never falls within an operation, and is 100 once, when the operation is
        // complete.
        virtual void onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                                        long long processedBytes, double percent) = 0;

    protected:
        ~EventsListener() = default;
    };

    // One part of the package. The last four values belong to the platform library; users copy them along.
    struct Block {
        std::string name;          // also the base of the file name when extracted
        const unsigned char* data; // size bytes, valid while the STBFirmwareFile lives
        std::uint32_t size;        // bytes
        std::uint32_t index;       // position in the package's list of blocks
        std::uint32_t storedSize;  // bytes the block takes in the package
        std::uint32_t compression; // 0 none, 1 zstd
        std::uint32_t reserved;    // 0
    };

    // url: http://, https:// or file:// location of a package. Nothing is opened yet.
    // listener: may be null.
    STBFirmwareFile(std::string url, EventsListener* listener);
    ~STBFirmwareFile();
    STBFirmwareFile(const STBFirmwareFile&) = delete;
    STBFirmwareFile& operator=(const STBFirmwareFile&) = delete;

    // Fetches and checks the package. timeoutSeconds bounds every wait for the server (connecting, and each
    // stall of a running transfer), not the whole transfer; 0 and less mean the library's default of 10
    // seconds. Call it once; later calls answer 7. Answers: 0 opened, the blocks are available, and the
    // package's description stands in the log at level 3
    //          1 nothing at that address
    //          2 the server could not be reached in time, or stalled
    //          3 not a firmware package
    //          4 a package, but not for this device or the requested type
    //          5 damaged: its length, a hash or a compressed stream is wrong
    //          6 its signature is missing or wrong
    //          7 any other failure (memory, disk space, configuration)
    // A failure leaves no blocks, and one line in the log that names its cause; only for an empty url there
    // is none, for whoever was asked for the location has said why there is none.
    int open(int timeoutSeconds);

    // The package's blocks by key, in bytewise order of the keys; empty before a successful open().
    const std::map<std::string, Block>& getBlocks() const;

private:
    friend class STBFirmwareUpdater;
    struct Impl;
    Impl* _impl;
};
