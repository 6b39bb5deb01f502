#pragma once

#include <atomic>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inc/private/pthread_helper.h"
#include "src/ui/system/SimpleGlyphSlot.h"
#include "src/ui/system/TTF_FontProperties.h"

class TTF_Library;
struct TTF_FaceLink;

// A face at one size, with or without an outline, and the glyphs that were rendered of it. Got from the
// library, held by std::shared_ptr. Loses its face when that is destroyed: then no glyph loads and every text
// is 0 wide. Texts are UTF-8; widths are whole pixels, the sum of the glyphs' advances without kerning. Any
// thread; a glyph must not be in use while its font is invalidated or loses its face.
class TTF_Font {
public:
    // Finds its face in the library; a font whose face is unknown stays without one, with a line in the log.
    explicit TTF_Font(const TTF_FontProperties& properties);
    ~TTF_Font();
    TTF_Font(const TTF_Font&) = delete;
    TTF_Font& operator=(const TTF_Font&) = delete;

    int getFontWidthPx() const { return _properties.widthPx; }

    // The height of a line.
    int getFontHeightPx() const { return _properties.heightPx; }

    bool hasOutline() const { return _properties.outline != 0; }

    // Null without a face.
    TTF_FontFace* getFace() const;

    // From the top of a line to its baseline, so that a digit stands in the line's middle.
    int getFontVerticalBaseLinePx() const { return _baseLine; }

    // The glyph of that code point, rendered when it is first asked for. A code point that the face lacks
    // gets the face's substitute. Null, with a line in the log, when it cannot be rendered.
    SimpleGlyphSlot* loadGlyphSlot(unsigned long codePoint);

    // The pixels that the pen moves by at that code point; empty when its glyph cannot be loaded.
    std::optional<int> glyphWidth(unsigned long codePoint);

    // Empties the cache. Glyphs are rendered again when they are next asked for.
    void invalidate();

    // The width of the first maxChars code points; 0 and 0xFFFFFFFF mean all. A code point whose glyph cannot
    // be loaded has no width. 0, with a line in the log, when the text is not valid UTF-8.
    unsigned int getTextWidth(const std::string& text, unsigned int maxChars);

    // Wraps a text at its spaces into lines no wider than width, with room for one space more, and at its
    // line breaks: a newline, or the two characters backslash and n. Words are never cut, so that one which
    // is too wide stands in a line of its own, before which an empty one may stand. Lines put together give
    // the text again: a line keeps its spaces and its newline; of the two characters the backslash ends a
    // line, and the n starts the next. measureOnly: splits at line breaks alone and raises width to the
    // widest line. One empty line for an empty text or a font without a face. None, with a line in the log,
    // when the text is not valid UTF-8 or width is 0; a glyph that cannot be loaded ends the text there.
    std::vector<std::string> splitTextToLines(const std::string& text, int& width, bool measureOnly);
    std::vector<std::string> splitTextToLines(const std::string& text, int width);

    // The text with a newline for the first space after every maxChars bytes of a line, and without the
    // spaces that lines would start with. Unchanged when maxChars is less than 1.
    static std::string splitToLineBreaks(const std::string& text, int maxChars);

private:
    friend class TTF_Library;

    struct GlyphCacheItem {
        std::unique_ptr<SimpleGlyphSlot> slot;
    };

    bool joinFace(TTF_Library& library);
    int findBaseLine();
    // loadGlyphSlot(), with the advance read while the glyph cannot go away.
    SimpleGlyphSlot* loadGlyph(unsigned long codePoint, int& advancePx);
    // With the font's mutex held.
    std::unique_ptr<SimpleGlyphSlot> renderGlyph(unsigned long codePoint);

    // Constant after construction.
    TTF_FontProperties _properties;
    std::shared_ptr<TTF_FaceLink> _link; // null when there was no face
    int _baseLine = 0;

    pthread_helper::mutex _mutex;

    // Guarded by _mutex; by code point.
    std::map<unsigned long, GlyphCacheItem> _glyphs;

    std::atomic<std::time_t> _lastUse;

    // Guarded by the library's mutex.
    int _chargedBytes = 0;
};
