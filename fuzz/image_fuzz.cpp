// Pictures: any bytes are decoded to a bitmap no larger than asked for, or refused. The first byte says how
// they are asked for, and whether the checksums of a PNG are mended first, without which mutations would get
// no further.
#include <cstring>
#include <memory>
#include <numeric>

#include <png.h>
#include <zlib.h>

#include "fuzz/Input.h"
#include "platform/STBBitmap.h"
#include "platform/linux/device/Device.h"
#include "platform/linux/device/Log.h"
#include "platform/linux/graphics/GraphicsService.h"

namespace {

std::uint32_t bigEndian(const std::string& bytes, std::size_t at) {
    return png_get_uint_32(reinterpret_cast<png_const_bytep>(&bytes[at]));
}

void mendChecksums(std::string& png) {
    for (std::size_t at = 8; at + 12 <= png.size();) {
        const std::size_t length = bigEndian(png, at);
        if (length > png.size() - at - 12) {
            return;
        }
        const auto* const chunk = reinterpret_cast<const Bytef*>(&png[at + 4]);
        png_save_uint_32(reinterpret_cast<png_bytep>(&png[at + 8 + length]),
                         static_cast<png_uint_32>(crc32(0, chunk, static_cast<uInt>(length + 4))));
        at += length + 12;
    }
}

void check(const STBBitmap* bitmap, const STBPoint& most) {
    if (bitmap == nullptr) {
        return;
    }
    require(bitmap->getWidth() >= 1 && bitmap->getWidth() <= most.x);
    require(bitmap->getHeight() >= 1 && bitmap->getHeight() <= most.y);
    const int bytes = bitmap->getPixelFormat() == STB_PIXEL_ALPHA8 ? 1 : 4;
    require(bitmap->getMemorySize() ==
            static_cast<unsigned int>(bitmap->getWidth() * bitmap->getHeight() * bytes));
    const unsigned char* const pixels = bitmap->getMemoryPtr();
    // Every byte was written.
    volatile unsigned int sum = std::accumulate(pixels, pixels + bitmap->getMemorySize(), 0U);
    static_cast<void>(sum);
    if (bitmap->getPixelFormat() == STB_PIXEL_RGBA8888_OPAQUE) {
        for (unsigned int i = 3; i < bitmap->getMemorySize(); i += 4) {
            require(pixels[i] == 255);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        lumo::Config config = lumo::simulatedConfig("/nonexistent");
        config.log = {lumo::LogDebug, "/dev/null"}; // formatted all the same
        lumo::setDeviceConfigForTests(config);
        return true;
    }();
    require(quiet);
    static lumo::GraphicsService graphics(nullptr);
    Input input(data, size);
    const std::uint8_t wish = input.byte();
    std::string bytes = input.rest();
    if ((wish & 1) != 0) {
        mendChecksums(bytes);
    }
    const STBPoint sizes[] = {{1920, 1080}, {7, 5}, {64, 3}, {1, 200}};
    const STBPoint most = sizes[wish >> 1 & 3];
    // In memory of just that size, so that reading beyond it is noticed.
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[bytes.size()]);
    std::memcpy(exact.get(), bytes.data(), bytes.size());
    const std::unique_ptr<STBBitmap> bitmap(
        STBBitmap::decodeImageBuffer(exact.get(), static_cast<unsigned int>(bytes.size()),
                                     (wish & 8) != 0 ? nullptr : graphics.getDecodePixelFormatter(), most));
    check(bitmap.get(), most);
    for (const unsigned int format : {STB_PIXEL_ALPHA8, STB_PIXEL_RGBA8888_OPAQUE}) {
        check(std::unique_ptr<STBBitmap>(STBBitmap::compressBitmap(bitmap.get(), format)).get(), most);
    }
    return 0;
}
