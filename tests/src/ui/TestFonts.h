#pragma once

#include <string>

// Font files for tests.
namespace TestFonts {

// A real one with Latin and Cyrillic letters.
std::string openSans();

// openSans() with the outline of that character made nonsense, so that it cannot be loaded.
std::string openSansWithBroken(char character);

// openSans() in which all glyphs are 128 times as large as they should be.
std::string openSansEnlarged();

// A bitmap font of 10 pixels with the printable characters of ASCII and the newline. A glyph is a block of 2
// by 2 pixels, its upper right one left out. All are 10 wide, but "w", which is 20 wide, and the newline, 3
// wide.
std::string tenWide();

} // namespace TestFonts
