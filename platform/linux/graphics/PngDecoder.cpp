#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "platform/linux/graphics/PictureBuilder.h"

namespace lumo {

namespace {

// Of one piece of the file that is no pixels, in bytes.
constexpr png_alloc_size_t largestChunk = 1 << 20;

class PngReader {
public:
    PngReader(const unsigned char* data, std::size_t size) : _data(data), _left(size) {
        _png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, failed, ignoreWarning);
        _info = _png == nullptr ? nullptr : png_create_info_struct(_png);
        if (_info == nullptr) {
            png_destroy_read_struct(&_png, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }

    ~PngReader() { png_destroy_read_struct(&_png, &_info, nullptr); }

    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    void decode(PictureBuilder& builder) {
        check(readHeader());
        const RowScaler::Size size{png_get_image_width(_png, _info), png_get_image_height(_png, _info)};
        builder.fit(size.width, size.height);
        const int colours = png_get_color_type(_png, _info);
        const bool hasAlpha =
            (colours & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(_png, _info, PNG_INFO_tRNS);
        builder.start(size, (colours & PNG_COLOR_MASK_COLOR) != 0, hasAlpha);
        check(expand(builder.bytesPerPixel(), hasAlpha));

        const std::size_t rowBytes = size.width * builder.bytesPerPixel();
        if (png_get_rowbytes(_png, _info) != rowBytes) {
            throw PictureError("its rows have an unexpected length");
        }
        if (png_get_interlace_type(_png, _info) == PNG_INTERLACE_NONE) {
            std::vector<unsigned char> row(rowBytes);
            for (std::uint32_t y = 0; y < size.height; ++y) {
                check(readRow(row.data()));
                builder.addRow(row.data());
            }
        } else {
            decodeInterlaced(builder, size.height, rowBytes);
        }
        check(readEnd());
    }

private:
    static void failed(png_structp png, png_const_charp text) {
        auto* const self = static_cast<PngReader*>(png_get_error_ptr(png));
        std::snprintf(self->_failure, sizeof self->_failure, "%s", text);
        png_longjmp(png, 1);
    }

    static void ignoreWarning(png_structp, png_const_charp) {}

    static void read(png_structp png, png_bytep to, std::size_t count) {
        auto* const self = static_cast<PngReader*>(png_get_io_ptr(png));
        if (count > self->_left) {
            png_error(png, "it ends too early");
        }
        std::memcpy(to, self->_data, count);
        self->_data += count;
        self->_left -= count;
    }

    void check(bool succeeded) const {
        if (!succeeded) {
            throw PictureError(_failure);
        }
    }

    // NOLINTBEGIN(cert-err52-cpp): the library knows no other way out.

    // The operations that libpng may leave by a jump; nothing in them needs a destructor.

    bool readHeader() {
        if (setjmp(png_jmpbuf(_png)) != 0) {
            return false;
        }
        png_set_read_fn(_png, this, read);
        png_set_user_limits(_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX); // the builder's are the ones that count
        png_set_chunk_malloc_max(_png, largestChunk);
        // Texts and profiles are not needed, and may inflate to a great deal.
        png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_read_info(_png, _info);
        return true;
    }

    bool expand(std::size_t bytesPerPixel, bool hasAlpha) {
        if (setjmp(png_jmpbuf(_png)) != 0) {
            return false;
        }
        png_set_expand(_png);
        png_set_scale_16(_png);
        if (bytesPerPixel == 4) {
            png_set_gray_to_rgb(_png);
            if (!hasAlpha) {
                png_set_add_alpha(_png, 0xFF, PNG_FILLER_AFTER);
            }
        }
        _passes = png_set_interlace_handling(_png);
        png_read_update_info(_png, _info);
        return true;
    }

    bool readRow(unsigned char* row) {
        if (setjmp(png_jmpbuf(_png)) != 0) {
            return false;
        }
        png_read_row(_png, row, nullptr);
        return true;
    }

    bool readEnd() {
        if (setjmp(png_jmpbuf(_png)) != 0) {
            return false;
        }
        png_read_end(_png, nullptr);
        return true;
    }

    // NOLINTEND(cert-err52-cpp)

    // Every pass has pixels of rows all over the picture.
    void decodeInterlaced(PictureBuilder& builder, std::uint32_t height, std::size_t rowBytes) {
        if (std::uint64_t{rowBytes} * height > decoderMemory) {
            throw PictureError("it is interlaced and too large to be held");
        }
        std::vector<unsigned char> rows(rowBytes * height);
        for (int pass = 0; pass < _passes; ++pass) {
            for (std::uint32_t y = 0; y < height; ++y) {
                check(readRow(rows.data() + y * rowBytes));
            }
        }
        for (std::uint32_t y = 0; y < height; ++y) {
            builder.addRow(rows.data() + y * rowBytes);
        }
    }

    png_structp _png = nullptr;
    png_infop _info = nullptr;
    const unsigned char* _data;
    std::size_t _left;
    int _passes = 1;
    char _failure[128] = "";
};

} // namespace

void decodePng(const unsigned char* data, std::size_t size, PictureBuilder& builder) {
    PngReader(data, size).decode(builder);
}

} // namespace lumo
