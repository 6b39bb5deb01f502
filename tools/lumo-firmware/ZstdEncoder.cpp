#include "tools/lumo-firmware/ZstdEncoder.h"

#include <zstd.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/firmware/Manifest.h"

namespace lumo {

namespace {

// 1 MiB: what the decoder on the device has to hold beside the block. Larger windows, which packages may
// have, gain little on firmware.
constexpr int windowLog = 20;
static_assert(windowLog <= format::maxZstdWindowLog);

void check(std::size_t answer) {
    if (ZSTD_isError(answer) != 0) {
        throw std::runtime_error(std::string("zstd failed to compress: ") + ZSTD_getErrorName(answer));
    }
}

} // namespace

struct ZstdEncoder::Context {
    ZSTD_CCtx* handle = ZSTD_createCCtx();
    std::vector<std::byte> output = std::vector<std::byte>(ZSTD_CStreamOutSize());

    Context() {
        if (handle == nullptr) {
            throw std::bad_alloc();
        }
    }

    ~Context() { ZSTD_freeCCtx(handle); }

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    // True once everything that was put in has come out as far as the mode asks for.
    bool step(ZSTD_inBuffer& in, ZSTD_EndDirective mode, const Sink& sink) {
        ZSTD_outBuffer out{output.data(), output.size(), 0};
        const std::size_t left = ZSTD_compressStream2(handle, &out, &in, mode);
        check(left);
        sink(std::span(output).first(out.pos));
        return mode == ZSTD_e_continue ? in.pos == in.size : left == 0;
    }
};

ZstdEncoder::ZstdEncoder(int level, std::uint64_t size) : _context(std::make_unique<Context>()) {
    check(ZSTD_CCtx_setParameter(_context->handle, ZSTD_c_compressionLevel, level));
    check(ZSTD_CCtx_setParameter(_context->handle, ZSTD_c_windowLog, windowLog));
    check(ZSTD_CCtx_setPledgedSrcSize(_context->handle, size));
}

ZstdEncoder::~ZstdEncoder() = default;

void ZstdEncoder::encode(std::span<const std::byte> bytes, const Sink& sink) {
    ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
    while (!_context->step(in, ZSTD_e_continue, sink)) {
    }
}

void ZstdEncoder::finish(const Sink& sink) {
    ZSTD_inBuffer in{nullptr, 0, 0};
    while (!_context->step(in, ZSTD_e_end, sink)) {
    }
}

} // namespace lumo
