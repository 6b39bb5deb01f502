#include "tests/support/PngPicture.h"

#include <gtest/gtest.h>
#include <png.h>

#include <bit>

namespace support {

std::uint32_t PngPicture::at(int x, int y) const {
    return x < 0 || y < 0 || x >= width || y >= height ? 0 : words[static_cast<std::size_t>(y * width + x)];
}

PngPicture readPng(const std::filesystem::path& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    PngPicture picture;
    if (png_image_begin_read_from_file(&image, path.c_str()) != 0) {
        image.format = std::endian::native == std::endian::little ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;
        picture.width = static_cast<int>(image.width);
        picture.height = static_cast<int>(image.height);
        picture.words.resize(std::size_t{image.width} * image.height);
        png_image_finish_read(&image, nullptr, picture.words.data(), 0, nullptr);
    }
    EXPECT_EQ(PNG_IMAGE_FAILED(image), 0u) << path << ": " << image.message;
    return PNG_IMAGE_FAILED(image) == 0 ? picture : PngPicture();
}

} // namespace support
