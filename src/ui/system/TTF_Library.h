#pragma once

#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "inc/private/pthread_helper.h"
#include "src/ui/system/TTF_FontProperties.h"

struct FT_LibraryRec_;
class TTF_Font;
class TTF_FontFace;

// All fonts of the program: the faces, by the names they were registered under, and the fonts made from them,
// each made once. Counts what the fonts' glyphs take and lets go of the font that was unused longest when
// that is too much. Any thread, but destroy() has to come after everybody else's calls.
class TTF_Library {
public:
    // The only instance, made when first asked for; deleted by destroy() or at the end of the process. Throws
    // a pointer to UiException when FreeType cannot be used.
    static TTF_Library* instance();
    // Fonts that callers still hold go on as fonts without a face. Nothing when there is no instance.
    static void destroy();

    ~TTF_Library();
    TTF_Library(const TTF_Library&) = delete;
    TTF_Library& operator=(const TTF_Library&) = delete;

    // Registers a face, from a file, or from bytes that are copied. Null, with a line in the log, when the
    // name is taken or the face cannot be loaded. The face is good until destroyFace().
    TTF_FontFace* createFace(const std::string& name, const std::string& path);
    TTF_FontFace* createFace(const std::string& name, const char* data, unsigned int size);
    // Null when there is none of that name.
    TTF_FontFace* getFace(const std::string& name);
    // Fonts of the face go on without one, and are made anew when asked for again. Logs an unknown name.
    void destroyFace(const std::string& name);

    // The instance's font with these properties. Empty, with a line in the log, when it has no face. Keep the
    // pointer for as long as glyphs of the font are in use: the library may let go of its own at any glyph of
    // another font.
    static std::shared_ptr<TTF_Font> getFont(const TTF_FontProperties& properties);

    // Charges a font for a glyph. Above the limit, lets go of the one other font that was unused longest,
    // unless that is less than a second.
    void incMemoryGlyph(TTF_Font* font, int bytes);

    // FreeType's own.
    FT_LibraryRec_* getHandle() const { return _handle; }

private:
    friend class TTF_Font;

    using FontKey = std::pair<std::string, unsigned int>; // name of the face, height

    TTF_Library();

    std::shared_ptr<TTF_Font> findOrMakeFont(const TTF_FontProperties& properties);
    TTF_FontFace* registerFace(const std::string& name, std::unique_ptr<TTF_FontFace> face);
    bool isNameFree(const std::string& name) const;

    static std::unique_ptr<TTF_Library> _instance;

    // Constant after construction.
    FT_LibraryRec_* _handle = nullptr;

    pthread_helper::mutex _mutex{PTHREAD_MUTEX_RECURSIVE}; // glyphs are charged while a font is being made

    // Guarded by _mutex.
    std::map<std::string, std::unique_ptr<TTF_FontFace>> _faces;
    std::multimap<FontKey, std::shared_ptr<TTF_Font>> _fonts;
    int _glyphBytes = 0;
};
