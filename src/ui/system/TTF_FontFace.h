#pragma once

#include <memory>
#include <string>
#include <vector>

#include "inc/private/pthread_helper.h"
#include "src/ui/system/TTF_FontProperties.h"

struct FT_BitmapGlyphRec_;
struct FT_FaceRec_;
struct FT_GlyphSlotRec_;
struct FT_StrokerRec_;
class TTF_Library;
struct SimpleGlyphSlot;
struct TTF_FaceLink;

// A loaded font file, from which fonts of any size draw their glyphs. Owned by the library. Any thread; what
// says so asks for the mutex to be held.
class TTF_FontFace {
public:
    struct GlyphDeleter {
        void operator()(FT_BitmapGlyphRec_* glyph) const;
    };

    using BitmapGlyph = std::unique_ptr<FT_BitmapGlyphRec_, GlyphDeleter>;

    TTF_FontFace(TTF_Library* library, const std::string& name);
    // Empties the glyph caches of its fonts. Fonts that are still held go on as fonts without a face.
    ~TTF_FontFace();
    TTF_FontFace(const TTF_FontFace&) = delete;
    TTF_FontFace& operator=(const TTF_FontFace&) = delete;

    // Once, before the face is used: reads the file's first face. False, with a line in the log, when it
    // cannot be used. The second form copies the bytes.
    bool load(const char* path);
    bool load(const char* data, unsigned int size);

    const std::string& getName() const { return _name; }

    // Serialises all that FreeType does with this face.
    pthread_helper::mutex& getMutex();

    // With the mutex held: the size of what is loaded next, in pixels; width 0 follows from the height.
    // False, with a line in the log, for sizes that the face does not have.
    bool setSizePx(int width, int height);

    // With the mutex held: the outline of the slot's glyph as a bitmap, the slot left as it is; null when it
    // has none. FreeType's errors go to the log.
    BitmapGlyph applyStroker(FT_GlyphSlotRec_* slot);

    // With the mutex held: the glyph of that code point in that size; null, with a line in the log, when it
    // cannot be drawn.
    std::unique_ptr<SimpleGlyphSlot> renderGlyph(unsigned long codePoint,
                                                 const TTF_FontProperties& properties);

private:
    friend class TTF_Font;

    void logLoaded() const;
    // How far the stroker goes to either side of the contour.
    void setStrokeRadiusPx(int radius);

    TTF_Library* _library;
    std::string _name;
    std::vector<unsigned char> _data; // of a face from memory, which FreeType reads from as it goes
    FT_FaceRec_* _face = nullptr;
    FT_StrokerRec_* _stroker = nullptr; // shared by all outlined fonts of the face
    std::shared_ptr<TTF_FaceLink> _link;
};
