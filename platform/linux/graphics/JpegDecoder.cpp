#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <vector>

// They need the headers above.
#include <jerror.h>
#include <jpeglib.h>

#include "platform/linux/graphics/PictureBuilder.h"

namespace lumo {

namespace {

// Each goes over the whole picture, however little of it is in the file.
constexpr int mostScans = 64;

class JpegReader {
public:
    JpegReader() {
        _jpeg.err = jpeg_std_error(&_errors.base);
        _errors.base.error_exit = failed;
        _errors.base.emit_message = considerWarning;
        _jpeg.progress = &_progress;
        _progress.progress_monitor = countScans;
    }

    ~JpegReader() { jpeg_destroy_decompress(&_jpeg); }

    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    void decode(const unsigned char* data, std::size_t size, PictureBuilder& builder) {
        check(readHeader(data, size));
        const RowScaler::Size wanted = builder.fit(_jpeg.image_width, _jpeg.image_height);
        check(start(wanted));
        builder.start({_jpeg.output_width, _jpeg.output_height}, true, false);

        std::vector<unsigned char> row(std::size_t{_jpeg.output_width} * 4);
        while (_jpeg.output_scanline < _jpeg.output_height) {
            check(readRow(row.data()));
            if (_jpeg.out_color_space == JCS_CMYK) {
                convertInks(row);
            }
            builder.addRow(row.data());
        }
        check(finish());
    }

private:
    struct Errors {
        jpeg_error_mgr base; // first: libjpeg hands out its address
        std::jmp_buf jump;
        char text[JMSG_LENGTH_MAX];
    };

    // NOLINTBEGIN(cert-err52-cpp): the library knows no other way out.

    static void failed(j_common_ptr jpeg) {
        auto* const errors = reinterpret_cast<Errors*>(jpeg->err);
        jpeg->err->format_message(jpeg, errors->text);
        std::longjmp(errors->jump, 1);
    }

    // libjpeg paints over what is missing of a damaged picture.
    static void considerWarning(j_common_ptr jpeg, int level) {
        const int code = jpeg->err->msg_code;
        if (level < 0 && (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER || code == JWRN_HUFF_BAD_CODE)) {
            failed(jpeg);
        }
    }

    static void countScans(j_common_ptr jpeg) {
        if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > mostScans) {
            auto* const errors = reinterpret_cast<Errors*>(jpeg->err);
            std::snprintf(errors->text, sizeof errors->text, "it has too many scans");
            std::longjmp(errors->jump, 1);
        }
    }

    void check(bool succeeded) const {
        if (!succeeded) {
            throw PictureError(_errors.text);
        }
    }

    // The operations that libjpeg may leave by a jump; nothing in them needs a destructor.

    bool readHeader(const unsigned char* data, std::size_t size) {
        if (setjmp(_errors.jump) != 0) {
            return false;
        }
        jpeg_create_decompress(&_jpeg);
        _jpeg.progress = &_progress;
        _jpeg.mem->max_memory_to_use = decoderMemory;
        jpeg_mem_src(&_jpeg, data, static_cast<unsigned long>(size));
        jpeg_read_header(&_jpeg, TRUE);
        return true;
    }

    // Lets the transformation itself scale down as far as it goes, by eighths.
    bool start(RowScaler::Size wanted) {
        if (setjmp(_errors.jump) != 0) {
            return false;
        }
        const bool inks = _jpeg.jpeg_color_space == JCS_CMYK || _jpeg.jpeg_color_space == JCS_YCCK;
        _jpeg.out_color_space = inks ? JCS_CMYK : JCS_EXT_RGBA;
        _jpeg.scale_denom = 8;
        for (_jpeg.scale_num = 1; _jpeg.scale_num < 8; ++_jpeg.scale_num) {
            jpeg_calc_output_dimensions(&_jpeg);
            if (_jpeg.output_width >= wanted.width && _jpeg.output_height >= wanted.height) {
                break;
            }
        }
        jpeg_start_decompress(&_jpeg);
        return true;
    }

    bool readRow(unsigned char* row) {
        if (setjmp(_errors.jump) != 0) {
            return false;
        }
        jpeg_read_scanlines(&_jpeg, &row, 1);
        return true;
    }

    bool finish() {
        if (setjmp(_errors.jump) != 0) {
            return false;
        }
        jpeg_finish_decompress(&_jpeg);
        return true;
    }

    // NOLINTEND(cert-err52-cpp)

    // Four inks to colours. Files by the usual program hold them inverted, and say that they are by it.
    void convertInks(std::vector<unsigned char>& row) const {
        const int inversion = _jpeg.saw_Adobe_marker ? 0 : 255;
        for (std::size_t i = 0; i < row.size(); i += 4) {
            const int black = row[i + 3] ^ inversion;
            std::transform(&row[i], &row[i] + 3, &row[i], [&](unsigned char ink) {
                return static_cast<unsigned char>((ink ^ inversion) * black / 255);
            });
            row[i + 3] = 255;
        }
    }

    jpeg_decompress_struct _jpeg{};
    Errors _errors{};
    jpeg_progress_mgr _progress{};
};

} // namespace

void decodeJpeg(const unsigned char* data, std::size_t size, PictureBuilder& builder) {
    JpegReader().decode(data, size, builder);
}

} // namespace lumo
