#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "platform/STBBitmap.h"
#include "platform/linux/graphics/GraphicsService.h"
#include "platform/linux/graphics/PngFile.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;

class BitmapTest : public testing::Test {
protected:
    void SetUp() override { _log.use(lumo::simulatedConfig(_folder.file("state"))); }

    std::string png(const Bytes& pixels, int width, int height, STBPixelFormat format,
                    bool keepAlpha = true) {
        const int pitch = static_cast<int>(pixels.size()) / height;
        EXPECT_TRUE(lumo::writePngFile(_folder.file("x.png"),
                                       {pixels.data(), width, height, pitch, format, keepAlpha}));
        return support::readFile(_folder.file("x.png"));
    }

    // A picture with a red left half and a white right one.
    static std::string jpeg(unsigned int width, unsigned int height) {
        jpeg_compress_struct jpeg{};
        jpeg_error_mgr errors;
        jpeg.err = jpeg_std_error(&errors);
        jpeg_create_compress(&jpeg);
        unsigned char* memory = nullptr;
        unsigned long size = 0;
        jpeg_mem_dest(&jpeg, &memory, &size);
        jpeg.image_width = width;
        jpeg.image_height = height;
        jpeg.input_components = 3;
        jpeg.in_color_space = JCS_RGB;
        jpeg_set_defaults(&jpeg);
        jpeg_start_compress(&jpeg, TRUE);
        Bytes row(width * 3, 255);
        for (unsigned int x = 0; x < width / 2; ++x) {
            row[3 * x + 1] = row[3 * x + 2] = 0;
        }
        unsigned char* start = row.data();
        for (unsigned int y = 0; y < height; ++y) {
            jpeg_write_scanlines(&jpeg, &start, 1);
        }
        jpeg_finish_compress(&jpeg);
        jpeg_destroy_compress(&jpeg);
        const std::string bytes(reinterpret_cast<char*>(memory), size);
        std::free(memory);
        return bytes;
    }

    std::unique_ptr<STBBitmap> decode(const std::string& bytes, STBPoint maxSize = {1920, 1080}) {
        return std::unique_ptr<STBBitmap>(STBBitmap::decodeImageBuffer(
            reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
            lumo::GraphicsService(nullptr).getDecodePixelFormatter(), maxSize));
    }

    static Bytes pixelsOf(const STBBitmap& bitmap) {
        return {bitmap.getMemoryPtr(), bitmap.getMemoryPtr() + bitmap.getMemorySize()};
    }

    static std::vector<int> pixel(const STBBitmap& bitmap, int x, int y) {
        const unsigned char* const first =
            bitmap.getMemoryPtr() + (std::ptrdiff_t{y} * bitmap.getWidth() + x) * 4;
        return {first, first + 4};
    }

    support::TempDir _folder;
    support::LogCapture _log;
};

TEST_F(BitmapTest, PngBecomesTheLayoutThatItsContentAsksFor) {
    const Bytes colours = {1, 2, 3, 4, 5, 6, 7, 255, 9, 8, 7, 0, 250, 251, 252, 253};
    const Bytes grey = {0, 100, 200, 255};
    const Bytes opaque = {1, 2, 3, 255, 5, 6, 7, 255, 9, 8, 7, 255, 250, 251, 252, 255};
    const Bytes words = {3, 2, 1, 4, 7, 6, 5, 255, 7, 8, 9, 0, 252, 251, 250, 253}; // B, G, R, A in memory

    const struct {
        std::string file;
        STBPixelFormat format;
        Bytes pixels;
    } cases[] = {
        {png(colours, 2, 2, STB_PIXEL_RGBA8888), STB_PIXEL_RGBA8888, colours},
        {png(colours, 2, 2, STB_PIXEL_RGBA8888, false), STB_PIXEL_RGBA8888_OPAQUE, opaque},
        {png(words, 2, 2, STB_PIXEL_ARGB8888), STB_PIXEL_RGBA8888, colours},
        {png(grey, 2, 2, STB_PIXEL_ALPHA8), STB_PIXEL_ALPHA8, grey},
    };

    for (const auto& expected : cases) {
        const auto bitmap = decode(expected.file);
        ASSERT_TRUE(bitmap);
        EXPECT_EQ(bitmap->getPixelFormat(), expected.format);
        EXPECT_EQ(bitmap->getWidth(), 2);
        EXPECT_EQ(pixelsOf(*bitmap), expected.pixels);
    }
}

TEST_F(BitmapTest, LargePicturesAreScaledDownToFit) {
    // Left half transparent green, right half opaque red: the green must not show in the pixel between them.
    Bytes pixels;
    for (int i = 0; i < 90 * 30; ++i) {
        const Bytes next = i % 90 >= 45 ? Bytes{200, 0, 0, 255} : Bytes{0, 200, 0, 0};
        pixels.insert(pixels.end(), next.begin(), next.end());
    }
    const auto bitmap = decode(png(pixels, 90, 30, STB_PIXEL_RGBA8888), {9, 100});
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->getWidth(), 9);
    EXPECT_EQ(bitmap->getHeight(), 3);
    EXPECT_THAT(pixel(*bitmap, 3, 1), testing::ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(pixel(*bitmap, 4, 1), testing::ElementsAre(200, 0, 0, 128));
    EXPECT_THAT(pixel(*bitmap, 5, 1), testing::ElementsAre(200, 0, 0, 255));

    const auto photo = decode(jpeg(3000, 1000), {600, 600});
    ASSERT_TRUE(photo);
    EXPECT_EQ(photo->getWidth(), 600);
    EXPECT_EQ(photo->getHeight(), 200);
    EXPECT_EQ(photo->getPixelFormat(), STB_PIXEL_RGBA8888_OPAQUE);
    for (const int x : {100, 500}) {
        const std::vector<int> found = pixel(*photo, x, 100);
        EXPECT_NEAR(found[0], 255, 3);
        EXPECT_NEAR(found[1], x == 100 ? 0 : 255, 3);
    }
}

TEST_F(BitmapTest, WhatIsNoWholePictureIsRefusedWithALine) {
    std::string absurd = png(Bytes(4), 1, 1, STB_PIXEL_RGBA8888);
    absurd.replace(16, 8, std::string("\x00\x00\x7F\xFF\x00\x00\x7F\xFF", 8)); // its size
    absurd.replace(29, 4, "\x49\xF2\x06\x3D");                                 // and the checksum of that
    const std::string picture = png(Bytes(400, 7), 10, 10, STB_PIXEL_RGBA8888);
    std::string flipped = picture;
    flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 1);
    const std::string photo = jpeg(64, 64);
    const std::pair<std::string, const char*> cases[] = {
        {"", "neither a PNG nor a JPEG"},
        {"GIF89a", "neither a PNG nor a JPEG"},
        {absurd, "no picture is 32767 by 32767 pixels large"},
        {flipped, "CRC"},
        {picture.substr(0, picture.size() - 20), "ends too early"},
        {photo.substr(0, photo.size() - 40), "Premature end"},
        {photo.substr(0, 10), "Cannot decode"},
    };
    for (const auto& [bytes, message] : cases) {
        EXPECT_EQ(decode(bytes), nullptr) << message;
        EXPECT_THAT(_log.takeProblem(), testing::HasSubstr(message));
    }
    EXPECT_EQ(decode(picture, {0, 5}), nullptr);
    EXPECT_THAT(_log.takeProblem(), testing::HasSubstr("asked for as 0 by 5"));
    EXPECT_EQ(STBBitmap::makeRGBA8888FromRawData(-1, 1, Bytes(4).data()), nullptr);
    EXPECT_EQ(STBBitmap::makeRGBA8888FromRawData(65536, 65536, Bytes(4).data()), nullptr);
}

TEST_F(BitmapTest, RawPixelsAreCopiedAndConverted) {
    const Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::unique_ptr<STBBitmap> raw(STBBitmap::makeRGBA8888FromRawData(2, 1, pixels.data()));
    const std::unique_ptr<STBBitmap> coverage(STBBitmap::compressBitmap(raw.get(), STB_PIXEL_ALPHA8));
    const std::unique_ptr<STBBitmap> opaque(STBBitmap::compressBitmap(raw.get(), STB_PIXEL_RGBA8888_OPAQUE));
    ASSERT_TRUE(coverage && opaque);
    EXPECT_EQ(pixelsOf(*coverage), (Bytes{4, 8}));
    EXPECT_EQ(pixelsOf(*opaque), (Bytes{1, 2, 3, 255, 5, 6, 7, 255}));
    EXPECT_EQ(STBBitmap::compressBitmap(coverage.get(), STB_PIXEL_RGBA8888_OPAQUE), nullptr);
}

} // namespace
