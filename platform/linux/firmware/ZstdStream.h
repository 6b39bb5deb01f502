#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace lumo {

// Decodes one zstd frame (RFC 8878) piece by piece. Frames that want a window of more than 8 MiB are refused,
// so that a package cannot make the decoder take memory at will; what is refused does not depend on how the
// frame is cut into pieces. One thread at a time.
class ZstdStream {
public:
    struct Step {
        std::size_t consumed = 0;
        std::size_t produced = 0;
        bool failed = false;
        std::string error;
    };

    ZstdStream();
    ~ZstdStream();

    // Decodes what it can of input into output. When that filled output, there may be more to come, without
    // any input. Nothing consumed and nothing produced: output is full, or the frame is over.
    Step decode(std::span<const std::byte> input, std::span<std::byte> output);

    // Whether the frame is over and everything it holds was produced.
    bool finished() const { return _finished; }

private:
    struct Context;
    std::unique_ptr<Context> _context;
    std::size_t _magicSeen = 0; // bytes
    bool _finished = false;
};

} // namespace lumo
