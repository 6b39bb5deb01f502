#include "tests/src/ui/TestFonts.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdint>
#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/support/TempDir.h"

namespace {

std::uint32_t bigEndian(const std::string& bytes, std::size_t at, int size) {
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
    }
    return value;
}

// Where a table of a TrueType file starts.
std::size_t table(const std::string& font, const std::string& tag) {
    for (std::size_t entry = 12; entry < 12 + 16 * bigEndian(font, 4, 2); entry += 16) {
        if (font.compare(entry, 4, tag) == 0) {
            return bigEndian(font, entry + 8, 4);
        }
    }
    throw std::runtime_error("no table " + tag);
}

unsigned int glyphIndex(const std::string& font, char character) {
    FT_Library library = nullptr;
    FT_Face face = nullptr;
    FT_Init_FreeType(&library);
    FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(font.data()),
                       static_cast<FT_Long>(font.size()), 0, &face);
    const unsigned int index = FT_Get_Char_Index(face, static_cast<FT_ULong>(character));
    FT_Done_FreeType(library);
    return index;
}

} // namespace

std::string TestFonts::openSans() {
    static const std::string bytes = support::readFile(LUMO_TEST_FONT);
    return bytes;
}

std::string TestFonts::openSansWithBroken(char character) {
    std::string font = openSans();
    const unsigned int index = glyphIndex(font, character);
    const bool longOffsets = bigEndian(font, table(font, "head") + 50, 2) != 0;
    const std::size_t place = table(font, "loca") + index * (longOffsets ? 4 : 2);
    const std::size_t offset = longOffsets ? bigEndian(font, place, 4) : 2 * bigEndian(font, place, 2);
    font.replace(table(font, "glyf") + offset, 2, "\x7f\xff"); // so many contours
    return font;
}

std::string TestFonts::openSansEnlarged() {
    std::string font = openSans();
    font.replace(table(font, "head") + 18, 2, std::string("\0\x10", 2)); // units to the em, of 2048
    return font;
}

std::string TestFonts::tenWide() {
    std::map<int, int> advances{{'\n', 3}};
    for (int character = ' '; character <= '~'; ++character) {
        advances[character] = character == 'w' ? 20 : 10;
    }
    std::ostringstream font;
    font << "STARTFONT 2.1\nFONT -t-t-m-r-normal--10-100-72-72-c-100-iso10646-1\nSIZE 10 72 72\n"
            "FONTBOUNDINGBOX 2 2 0 0\nSTARTPROPERTIES 5\nPIXEL_SIZE 10\nFONT_ASCENT 10\nFONT_DESCENT 0\n"
            "CHARSET_REGISTRY \"ISO10646\"\nCHARSET_ENCODING \"1\"\nENDPROPERTIES\nCHARS "
         << advances.size() << "\n";
    for (const auto& [character, advance] : advances) {
        font << "STARTCHAR g" << character << "\nENCODING " << character << "\nSWIDTH 1000 0\nDWIDTH "
             << advance << " 0\nBBX 2 2 0 0\nBITMAP\n80\nC0\nENDCHAR\n";
    }
    font << "ENDFONT\n";
    return font.str();
}
