#include "src/ui/system/TTF_FontFace.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_STROKER_H

#include <algorithm>
#include <mutex>
#include <set>

#include "src/ui/system/TTF_FaceLink.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"
#include "src/ui/system/TTF_Log.h"

TTF_FontFace::TTF_FontFace(TTF_Library* library, const std::string& name)
    : _library(library), _name(name), _link(std::make_shared<TTF_FaceLink>()) {
    const FT_Error error = FT_Stroker_New(library->getHandle(), &_stroker);
    if (error != 0) {
        TTF_LOG(1, "Can't create font stroker, error code: %d", error);
    }
}

TTF_FontFace::~TTF_FontFace() {
    {
        const std::lock_guard noFontGoesAway(_link->goingAway);
        std::set<TTF_Font*> fonts;
        {
            const std::lock_guard lock(_link->mutex);
            _link->alive = false;
            fonts.swap(_link->fonts);
        }
        for (TTF_Font* font : fonts) {
            font->invalidate();
        }
    }
    FT_Stroker_Done(_stroker); // takes a null pointer too
    FT_Done_Face(_face);       // likewise
}

bool TTF_FontFace::load(const char* path) {
    const FT_Error error = FT_New_Face(_library->getHandle(), path, 0, &_face);
    if (error != 0) {
        TTF_LOG(1, "Can't load %s, error code: %d", path, error);
        return false;
    }
    logLoaded();
    return true;
}

bool TTF_FontFace::load(const char* data, unsigned int size) {
    _data.assign(data, data + (data == nullptr ? 0 : size));
    const FT_Error error = FT_New_Memory_Face(_library->getHandle(), _data.data(),
                                              static_cast<FT_Long>(_data.size()), 0, &_face);
    if (error != 0) {
        TTF_LOG(1, "Can't load from memory, error code: %d", error);
        return false;
    }
    logLoaded();
    return true;
}

pthread_helper::mutex& TTF_FontFace::getMutex() {
    return _link->mutex;
}

bool TTF_FontFace::setSizePx(int width, int height) {
    const FT_Error error = width < 0 || height < 1 ? FT_Err_Invalid_Pixel_Size
                                                   : FT_Set_Pixel_Sizes(_face, static_cast<FT_UInt>(width),
                                                                        static_cast<FT_UInt>(height));
    if (error != 0) {
        TTF_LOG(1, "Can't set font size, error code: %d\n", error);
    }
    return error == 0;
}

void TTF_FontFace::logLoaded() const {
    const auto text = [](const char* name) { return name == nullptr ? "" : name; };
    TTF_LOG(4, "Font loaded, family: %s, style: %s, glyphs: %i", text(_face->family_name),
            text(_face->style_name), static_cast<int>(_face->num_glyphs));
}
