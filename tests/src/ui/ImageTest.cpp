#include "src/ui/system/Image.h"

#include <GLES2/gl2.h>
#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <vector>

#include "platform/STBBitmap.h"
#include "tests/src/system/LogCapture.h"
#include "tests/support/HeadlessGl.h"
#include "tests/support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Words = std::vector<std::uint32_t>; // bytes R, G, B, A in memory order

constexpr std::uint32_t r = 0xFF0000FF, g = 0xFF00FF00, b = 0xFFFF0000, w = 0xFFFFFFFF, k = 0xFF000000,
                        y = 0xFF00FFFF;
const Words sixPixels = {r, g, b, w, k, y};

// The same as a PNG, 3 by 2.
constexpr unsigned char png[] = {0x89, 'P',  'N',  'G',  '\r', '\n', 0x1A, '\n', 0,    0,    0,    13,   'I',
                                 'H',  'D',  'R',  0,    0,    0,    3,    0,    0,    0,    2,    8,    2,
                                 0,    0,    0,    0x12, 0x16, 0xF1, 0x4D, 0,    0,    0,    0x14, 'I',  'D',
                                 'A',  'T',  0x78, 0xDA, 0x63, 0xF8, 0xCF, 0xC0, 0xC0, 0,    0xC1, 0xFF, 0xFF,
                                 0x83, 0xE9, 0xFF, 0x0C, 0,    0x49, 0xCA, 0x07, 0xF9, 0x20, 0x1E, 0x64, 0x40,
                                 0,    0,    0,    0,    'I',  'E',  'N',  'D',  0xAE, 0x42, 0x60, 0x82};

bool loadRaw(Image& image, int width, int height, const Words& pixels) {
    return image.loadRGBA8888(width, height, width * 4,
                              reinterpret_cast<const unsigned char*>(pixels.data()));
}

std::unique_ptr<STBBitmap> bitmapOf(int format, int width, int height) {
    return std::make_unique<STBBitmap>(static_cast<STBPixelFormat>(format), width, height);
}

// The warnings and errors since the last call, those of the room itself: "<level> <file> <message>".
std::vector<std::string> problems() {
    std::vector<std::string> lines = LogCapture::take();
    std::erase_if(lines, [](const std::string& line) {
        return line >= "3" || line.find("src/ui/system/Image") == std::string::npos;
    });
    return lines;
}

struct ImageTest : testing::Test {
    void SetUp() override { LogCapture::take(); }

    void TearDown() override { EXPECT_THAT(problems(), testing::IsEmpty()); }

    const support::TempDir folder;
    const std::string file = folder.file("six.png");
    Image image{0, 0xFF102030};
};

// What a texture holds; empty when it is smaller.
Words texels(unsigned int texture, int width, int height) {
    GLuint frame = 0;
    glGenFramebuffers(1, &frame);
    glBindFramebuffer(GL_FRAMEBUFFER, frame);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    // What lies outside the texture is left alone.
    Words words(static_cast<std::size_t>(width * height), 0xDEADBEEF);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, words.data());
    glDeleteFramebuffers(1, &frame);
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    return words;
}

TEST_F(ImageTest, KeepsThePictureItHasWhenAnotherCannotBeLoaded) {
    image.loadLater(file);
    EXPECT_FALSE(image.isValid());
    support::writeFile(file, std::string(std::begin(png), std::end(png)));
    EXPECT_FALSE(image.isValid()) << "not tried again";
    image.loadLater("file://" + file);
    EXPECT_TRUE(image.isValid());
    support::writeFile(file, "no picture");
    EXPECT_FALSE(image.load(file));
    EXPECT_FALSE(image.loadFromBitmap(nullptr, "nothing"));
    EXPECT_FALSE(image.loadRGBA8888(0, 1, 0, png));
    EXPECT_THAT(problems(),
                ElementsAre(HasSubstr("Can't load image from url " + file),
                            HasSubstr("Can't decode image " + file), HasSubstr("Can't decode image nothing"),
                            HasSubstr("Can't decode image RGBA8888")));
    ASSERT_EQ(image.getMemorySize(), 24U);
    EXPECT_EQ(std::memcmp(image.getBitmap()->getMemoryPtr(), sixPixels.data(), 24), 0);
    Image coverage(STB_PIXEL_ALPHA8, 0);
    EXPECT_TRUE(loadRaw(coverage, 3, 2, sixPixels));
    EXPECT_EQ(coverage.GetPixelFormat(), STB_PIXEL_ALPHA8);
    Image unknown(77, 0);
    EXPECT_TRUE(loadRaw(unknown, 3, 2, sixPixels));
    EXPECT_EQ(unknown.GetPixelFormat(), STB_PIXEL_RGBA8888);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("stays uncompressed: no format 77")));
}

TEST_F(ImageTest, CutsTexturesFromThePictureOnceInAContext) {
    const support::HeadlessGl gl(8, 8);
    EXPECT_EQ(image.getTexture(1, UIRect(0, 0, 3, 2)), 0U);
    ASSERT_TRUE(loadRaw(image, 3, 2, sixPixels));
    EXPECT_EQ(texels(image.getTexture(1, UIRect(0, 0, 3, 2)), 3, 2), sixPixels);
    EXPECT_EQ(texels(image.getTexture(1, UIRect(1, 0, 2, 2)), 2, 2), (Words{g, b, k, y}));
    EXPECT_EQ(texels(image.getTexture(1, UIRect(0, 0, 2, 3)), 3, 2), sixPixels)
        << "crossed: the whole picture";
    EXPECT_EQ(texels(image.getTexture(1, UIRect(2, 1, 2, 2)), 2, 2), (Words{y, 0, 0, 0})) << "beyond is zero";
    EXPECT_EQ(texels(image.getTexture(1, UIRect(-1, -1, 2, 2)), 2, 2), (Words{0, 0, 0, r}));

    const UIRect whole(0, 0, 3, 2);
    const unsigned int first = image.getTexture(1, whole);
    EXPECT_EQ(image.getTexture(1, whole), first);
    EXPECT_NE(image.getTexture(1, UIRect(0, 0, 1, 2)), first);
    const unsigned int second = image.getTexture(2, whole);
    EXPECT_NE(second, first);
    EXPECT_TRUE(glIsTexture(first)) << "it belongs to the other context";
    ASSERT_TRUE(loadRaw(image, 3, 2, sixPixels));
    EXPECT_NE(image.getTexture(2, whole), second) << "another picture";
    ASSERT_TRUE(image.loadFromBitmap(bitmapOf(STB_PIXEL_ALPHA8, 3, 3), "coverage"));
    EXPECT_NE(image.getTexture(2, UIRect(0, 0, 3, 3)), 0U);
    EXPECT_NE(image.getTexture(2, UIRect(1, 0, 1, 3)), 0U);
}

TEST_F(ImageTest, AnswersNoTextureWhenTheDriverRefuses) {
    const support::HeadlessGl gl(8, 8);
    ASSERT_TRUE(image.loadFromBitmap(bitmapOf(STB_PIXEL_RGBA8888, 2, 2), "plain"));
    for (const UIRect& src :
         {UIRect(0, 0, -1, 2), UIRect(0, 0, 100000, 100000), UIRect(0, 0, 140, INT_MAX)}) {
        EXPECT_EQ(image.getTexture(1, src), 0U);
        EXPECT_THAT(problems(), ElementsAre(HasSubstr("Failed to load bitmap to texture 2x2  - 501")));
    }
    ASSERT_TRUE(image.loadFromBitmap(bitmapOf(9, 2, 2), "of an unknown layout"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(image.getTexture(1, UIRect(0, 0, 2, 2)), 0U);
        EXPECT_THAT(problems(), ElementsAre(testing::StartsWith(
                                    "1 src/ui/system/Image Failed to load bitmap to texture 2x2  - 50")));
    }
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
}

TEST_F(ImageTest, KeepsSourceRectanglesInside) {
    ASSERT_TRUE(image.loadFromBitmap(bitmapOf(STB_PIXEL_RGBA8888, 200, 100), "a b"));
    for (const auto& [before, after] : {std::pair(UIRect(250, 0, 100, 50), UIRect(0, 0, 100, 50)),
                                        {UIRect(200, 100, 10, 10), UIRect(200, 100, 0, 0)},
                                        {UIRect(1, 1, INT_MAX, INT_MAX), UIRect(1, 1, 199, 99)}}) {
        UIRect rect = before;
        image.adjustClipRect(rect, "me");
        EXPECT_EQ(rect, after) << before.dump();
        EXPECT_EQ(problems().size(), 1U);
        image.adjustClipRect(rect, "me");
        EXPECT_EQ(rect, after) << "inside by now";
    }
}

} // namespace
