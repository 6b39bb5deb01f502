#include "platform/linux/graphics/PngFile.h"

#include <png.h>

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/graphics/PngFile"

namespace lumo {

namespace {

constexpr int quickCompression = 1;
constexpr int bestCompression = 9;

struct Failure {
    char text[128] = "";
};

void failed(png_structp png, png_const_charp text) {
    std::snprintf(static_cast<Failure*>(png_get_error_ptr(png))->text, sizeof Failure::text, "%s", text);
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

// Tells libpng how the pixels lie in memory. The alpha byte of colours is dropped on the way where it is not
// kept.
void describe(png_structp png, png_infop info, const PngPixels& pixels) {
    const bool grey = pixels.format == STB_PIXEL_ALPHA8;
    const int colours = grey               ? PNG_COLOR_TYPE_GRAY
                        : pixels.keepAlpha ? PNG_COLOR_TYPE_RGBA
                                           : PNG_COLOR_TYPE_RGB;
    png_set_compression_level(png, pixels.small ? bestCompression : quickCompression);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, pixels.small ? PNG_ALL_FILTERS : PNG_FILTER_SUB);
    png_set_IHDR(png, info, static_cast<png_uint_32>(pixels.width), static_cast<png_uint_32>(pixels.height),
                 8, colours, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (grey) {
        return;
    }
    const bool words = pixels.format == STB_PIXEL_ARGB8888;
    const bool alphaFirst = words && std::endian::native == std::endian::big;
    if (words && !alphaFirst) {
        png_set_bgr(png);
    }
    if (!pixels.keepAlpha) {
        png_set_filler(png, 0, alphaFirst ? PNG_FILLER_BEFORE : PNG_FILLER_AFTER);
    } else if (alphaFirst) {
        png_set_swap_alpha(png);
    }
}

// NOLINTBEGIN(cert-err52-cpp): the library knows no other way out.

// Nothing in here needs a destructor: libpng leaves it by a jump.
bool write(png_structp png, png_infop info, std::FILE* file, const PngPixels& pixels) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_init_io(png, file);
    describe(png, info, pixels);
    for (int row = 0; row < pixels.height; ++row) {
        png_write_row(png, pixels.firstRow + row * pixels.pitch);
    }
    png_write_end(png, nullptr);
    return true;
}

// NOLINTEND(cert-err52-cpp)

bool encode(std::FILE* file, const PngPixels& pixels, Failure& failure) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, failed, ignoreWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    const bool written = info != nullptr && write(png, info, file, pixels);
    if (info == nullptr) {
        std::snprintf(failure.text, sizeof failure.text, "no memory");
    }
    png_destroy_write_struct(&png, &info);
    return written;
}

} // namespace

bool writePngFile(const std::string& path, const PngPixels& pixels) {
    const std::string beside = path + ".part";
    Failure failure;
    // What an earlier run left there, or somebody's link to another file.
    std::remove(beside.c_str());
    std::FILE* const file = std::fopen(beside.c_str(), "wbxe");
    if (file == nullptr) {
        LUMO_LOG(LogError, "Cannot write %s: %s", beside.c_str(), std::strerror(errno));
        return false;
    }
    bool written = encode(file, pixels, failure);
    if (std::fclose(file) != 0 || (written && std::rename(beside.c_str(), path.c_str()) != 0)) {
        if (written) {
            std::snprintf(failure.text, sizeof failure.text, "%s", std::strerror(errno));
        }
        written = false;
    }
    if (!written) {
        std::remove(beside.c_str());
        LUMO_LOG(LogError, "Cannot write %s: %s", path.c_str(), failure.text);
    }
    return written;
}

} // namespace lumo
