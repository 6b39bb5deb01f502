// Draws a line of outlined text in two colours into a PNG file: outline_picture FONT OUTLINE OUT.png. For a
// look at what the glyph cache holds.

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"

namespace {

constexpr int width = 570;
constexpr int height = 140;
constexpr int fontHeight = 90;
constexpr int top = 25;

struct Colour {
    int channels[3];
};

using Picture = std::vector<png_byte>; // R, G, B

void blend(Picture& picture, OpenGlFontSurface& surface, int left, int firstRow, const Colour& colour) {
    for (int y = std::max(0, -firstRow); y < std::min(surface.getHeight(), height - firstRow); ++y) {
        for (int x = std::max(0, -left); x < std::min(surface.getWidth(), width - left); ++x) {
            const int coverage = surface.getMemoryPtr()[y * surface.getPitch() + x];
            for (int i = 0; i < 3; ++i) {
                png_byte& old =
                    picture[static_cast<std::size_t>(((firstRow + y) * width + left + x) * 3 + i)];
                old = static_cast<png_byte>(old + (colour.channels[i] - old) * coverage / 255);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4 || TTF_Library::instance()->createFace("face", argv[1]) == nullptr) {
        std::fputs("usage: outline_picture FONT OUTLINE OUT.png\n", stderr);
        return 1;
    }
    const auto font =
        TTF_Library::instance()->getFont(TTF_FontProperties("face", 0, fontHeight, std::atoi(argv[2])));
    Picture picture(std::size_t{width} * height * 3, 0x40);
    int pen = 20;
    for (const unsigned long letter :
         {0x52UL, 0x6fUL, 0x6aUL, 0x38UL, 0x20UL, 0x416UL, 0x4dUL, 0x2eUL, 0x40UL, 0x451UL}) {
        if (SimpleGlyphSlot* glyph = font->loadGlyphSlot(letter)) {
            const int row = top + font->getFontVerticalBaseLinePx() - glyph->top;
            if (glyph->stroke) {
                blend(picture, *glyph->stroke, pen + glyph->strokeLeft, row - SimpleGlyphSlot::STROKE_RISE,
                      {{0xFF, 0x30, 0x20}});
            }
            if (!glyph->empty()) {
                blend(picture, *glyph->body, pen + glyph->left, row, {{0xFF, 0xE0, 0x60}});
            }
            pen += glyph->advancePx();
        }
    }
    TTF_Library::destroy();

    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, argv[3], 0, picture.data(), 0, nullptr) == 0) {
        std::fprintf(stderr, "%s: %s\n", argv[3], image.message);
        return 1;
    }
    return 0;
}
