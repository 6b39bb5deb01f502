#include "tests/gallery/Scene.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/STBPixelFormat.h"
#include "src/ui/system/Image.h"
#include "src/ui/system/RenderManagerInterface.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"

namespace gallery {

namespace {

constexpr unsigned int black = 0xFF000000U;
constexpr unsigned int white = 0xFFFFFFFFU;
constexpr unsigned int night = 0xFF14233CU;
constexpr unsigned int frame = 0xFF3A5A8CU;
constexpr unsigned int amber = 0xFFFFC040U;

constexpr int pictureWidth = 64;
constexpr int pictureHeight = 48;

// Red grows to the right, green downwards, with a pattern of squares; round: fades out around an ellipse.
std::shared_ptr<Image> makePicture(bool round, unsigned int format, unsigned int tint) {
    std::vector<unsigned char> pixels;
    for (int y = 0; y < pictureHeight; ++y) {
        for (int x = 0; x < pictureWidth; ++x) {
            const double away = std::hypot((x + 0.5) / pictureWidth - 0.5, (y + 0.5) / pictureHeight - 0.5);
            const double alpha = round ? std::clamp((0.5 - away) * 8, 0.0, 1.0) : 1.0;
            const int square = (x / 8 + y / 8) % 2 == 0 ? 200 : 60;
            for (const int value : {x * 4, y * 5, square, static_cast<int>(std::lround(alpha * 255))}) {
                pixels.push_back(static_cast<unsigned char>(value));
            }
        }
    }
    auto image = std::make_shared<Image>(format, tint);
    image->loadRGBA8888(pictureWidth, pictureHeight, pictureWidth * 4, pixels.data());
    return image;
}

void begin(RenderManagerInterface& renderer, unsigned int background) {
    renderer.clearSurface();
    renderer.beginBlock(nullptr, false, false, UIRect(0, 0, width, height));
    renderer.fillRect(UIRect(0, 0, width, height), background);
}

void line(RenderManagerInterface& renderer, const UIRect& rect, unsigned int colour,
          const std::shared_ptr<TTF_Font>& font, const std::string& text,
          UITextHorizontalAlign horizontal = UITextHorizontalAlignLeft,
          UITextVerticalAlign vertical = UITextVerticalAlignTop, unsigned int outline = black) {
    renderer.drawTextLine(rect, colour, outline, font, text, horizontal, vertical, "");
}

void drawAlignments(RenderManagerInterface& renderer, const Props& props) {
    begin(renderer, night);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const UIRect rect(10 + 210 * column, 10 + 90 * row, 200, 80);
            renderer.fillRect(rect, frame);
            line(renderer, rect, white, props.large, "Æg" + std::to_string(3 * row + column),
                 static_cast<UITextHorizontalAlign>(column), static_cast<UITextVerticalAlign>(row));
        }
    }
    // Ends before the first letter that would pass the right edge, and runs over below.
    const UIRect narrow(10, 285, 300, 20);
    renderer.fillRect(narrow, frame);
    line(renderer, narrow, amber, props.large, "This line is too long", UITextHorizontalAlignCenter,
         UITextVerticalAlignCenter);
    line(renderer, UIRect(330, 285, 300, 20), amber, props.small, "a blank, a tab\t, € and 日本");
    renderer.endBlock();
}

void drawAlphabets(RenderManagerInterface& renderer, const Props& props) {
    const char* const alphabets[] = {
        "en ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz",
        "de ÄÖÜ äöüß  \"Gerät\"  et ÄÖÕÜŠŽ äöõüšž",
        "es ÁÉÍÑÓÚÜ áéíñóúü ¡! ¿?  pt ÁÂÃÀÇÉÊÍÓÔÕÚ áâãàçéêíóôõú",
        "fr ÀÂÆÇÉÈÊËÎÏÔŒÙÛÜŸ àâæçéèêëîïôœùûüÿ ’«»",
        "it ÀÈÉÌÒÙ àèéìòù ’  tr ÇĞİIÖŞÜ çğıiöşü",
        "pl ĄĆĘŁŃÓŚŹŻ ąćęłńóśźż",
        "ru АБВГДЕЁЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯ",
        "   абвгдеёжзийклмнопрстуфхцчшщъыьэюя",
        "uk АБВГҐДЕЄЖЗИІЇЙКЛМНОПРСТУФХЦЧШЩЬЮЯ",
        "   абвгґдеєжзиіїйклмнопрстуфхцчшщьюя ’",
        "0123456789 .,:;!?%()[]{}<>+-*/=#&@$|~^_\\\"'",
    };
    begin(renderer, white);
    int y = 8;
    for (const char* const alphabet : alphabets) {
        line(renderer, UIRect(10, y, 625, 31), black, props.small, alphabet);
        y += 31;
    }
    renderer.endBlock();
}

void drawOutlines(RenderManagerInterface& renderer, const Props& props) {
    begin(renderer, night);
    renderer.fillRect(UIRect(0, 90, width, 90), 0xFFB8C4D8U);
    int y = 15;
    for (const auto& font : {props.outlined, props.broad}) {
        line(renderer, UIRect(20, y, 600, 60), white, font, "Outline Ĝ Ёж 80%", UITextHorizontalAlignLeft,
             UITextVerticalAlignTop, 0xFFC02020U);
        line(renderer, UIRect(20, y + 90, 600, 60), amber, font, "Ö @ µg &", UITextHorizontalAlignRight,
             UITextVerticalAlignTop, 0xFF101010U);
        y += 180;
    }
    renderer.endBlock();
}

void drawPictures(RenderManagerInterface& renderer, const Props& props) {
    begin(renderer, 0xFF405848U);
    for (int x = 0; x < width; x += 20) {
        renderer.fillRect(UIRect(x, 0, 10, height), 0xFF506858U);
    }
    renderer.drawImage(UIRect(10, 10, 64, 48), UIRect(), props.picture);
    renderer.drawImage(UIRect(90, 10, 192, 144), UIRect(), props.picture);
    renderer.drawImage(UIRect(10, 80, 40, 30), UIRect(), props.picture);
    renderer.drawImage(UIRect(300, 10, 160, 120), UIRect(16, 12, 32, 24), props.photo);
    renderer.drawImage(UIRect(480, 10, 150, 40), UIRect(), props.photo);
    renderer.drawImage(UIRect(480, 70, 64, 48), UIRect(), props.mask);
    renderer.drawImage(UIRect(560, 70, 64, 48), UIRect(), props.tintedMask);
    renderer.drawImage(UIRect(-30, 200, 128, 96), UIRect(), props.tintedMask); // partly outside
    renderer.drawImage(UIRect(580, 320, 128, 96), UIRect(), props.photo);
    int x = 130;
    for (const unsigned int alpha : {0x20U, 0x60U, 0xA0U, 0xE0U, 0xFFU}) {
        renderer.fillRect(UIRect(x, 170, 60, 100), alpha << 24 | 0xC02020U);
        renderer.fillRect(UIRect(x + 20, 220, 60, 100), alpha << 24 | 0x2020C0U);
        x += 90;
    }
    renderer.endBlock();
}

} // namespace

Props makeProps(const char* fontPath) {
    TTF_Library* const library = TTF_Library::instance();
    library->createFace("gallery", fontPath);
    const auto font = [&](int heightPx, int outline) {
        return library->getFont(TTF_FontProperties("gallery", 0, heightPx, outline));
    };
    return {.small = font(18, 0),
            .large = font(40, 0),
            .outlined = font(40, 2),
            .broad = font(40, 4),
            .picture = makePicture(true, 0, 0),
            .photo = makePicture(false, 0, 0),
            .mask = makePicture(true, STB_PIXEL_ALPHA8, 0),
            .tintedMask = makePicture(true, STB_PIXEL_ALPHA8, 0xFF40C0FFU)};
}

const std::vector<Scene>& scenes() {
    static const std::vector<Scene> all = {
        // Fonts of width 0 get no room beside a line, so its first letter is left out when it starts left of
        // the pen.
        {"alignments", drawAlignments, 15},
        {"alphabets", drawAlphabets, 1},
        {"outlines", drawOutlines, 80}, // they are not drawn
        {"pictures", drawPictures, 1}};
    return all;
}

} // namespace gallery
