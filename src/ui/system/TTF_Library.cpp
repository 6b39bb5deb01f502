#include "src/ui/system/TTF_Library.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <climits>
#include <cstdint>
#include <mutex>

#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_FontFace.h"
#include "src/ui/system/TTF_Log.h"
#include "src/ui/system/UiException.h"

namespace {

constexpr int glyphBytesLimit = 0x200000;

// Guards the instance's pointer. Never held while the instance's mutex is taken. Stands before the instance,
// which is deleted first.
pthread_helper::mutex instanceMutex;

// The counters are 32-bit and only a font's eviction takes from them, so they may reach their end.
void addClamped(int& counter, int bytes) {
    const std::int64_t sum = std::int64_t{counter} + bytes;
    counter = static_cast<int>(std::clamp<std::int64_t>(sum, INT_MIN, INT_MAX));
}

} // namespace

std::unique_ptr<TTF_Library> TTF_Library::_instance;

TTF_Library* TTF_Library::instance() {
    const std::lock_guard lock(instanceMutex);
    if (!_instance) {
        _instance.reset(new TTF_Library);
    }
    return _instance.get();
}

void TTF_Library::destroy() {
    std::unique_ptr<TTF_Library> last;
    {
        const std::lock_guard lock(instanceMutex);
        last.swap(_instance);
    }
}

TTF_Library::TTF_Library() {
    TTF_LOG(4, "Creating TTF_Library");
    const FT_Error error = FT_Init_FreeType(&_handle);
    if (error != 0) {
        throw new UiException("Can't init freetype library, error code: %d", error);
    }
}

TTF_Library::~TTF_Library() {
    TTF_LOG(4, "Destorying TTF_Library");
    _fonts.clear();
    _faces.clear();
    FT_Done_FreeType(_handle);
}

TTF_FontFace* TTF_Library::createFace(const std::string& name, const std::string& path) {
    const std::lock_guard lock(_mutex);
    if (!isNameFree(name)) {
        return nullptr;
    }
    auto face = std::make_unique<TTF_FontFace>(this, name);
    return face->load(path.c_str()) ? registerFace(name, std::move(face)) : nullptr;
}

TTF_FontFace* TTF_Library::createFace(const std::string& name, const char* data, unsigned int size) {
    const std::lock_guard lock(_mutex);
    if (!isNameFree(name)) {
        return nullptr;
    }
    auto face = std::make_unique<TTF_FontFace>(this, name);
    return face->load(data, size) ? registerFace(name, std::move(face)) : nullptr;
}

TTF_FontFace* TTF_Library::getFace(const std::string& name) {
    const std::lock_guard lock(_mutex);
    const auto face = _faces.find(name);
    return face == _faces.end() ? nullptr : face->second.get();
}

void TTF_Library::destroyFace(const std::string& name) {
    const std::lock_guard lock(_mutex);
    if (_faces.erase(name) == 0) {
        TTF_LOG(1, "Can't destory Font face \"%s\" - does not exists", name.c_str());
    }
}

std::shared_ptr<TTF_Font> TTF_Library::getFont(const TTF_FontProperties& properties) {
    return instance()->findOrMakeFont(properties);
}

std::shared_ptr<TTF_Font> TTF_Library::findOrMakeFont(const TTF_FontProperties& properties) {
    const std::lock_guard lock(_mutex);
    if (properties.name.empty()) {
        TTF_LOG(1, "Empty font name");
        return nullptr;
    }
    const FontKey key(properties.name, static_cast<unsigned int>(properties.heightPx));
    const auto [first, last] = _fonts.equal_range(key);
    for (auto entry = first; entry != last;) {
        if (entry->second->getFace() == nullptr) {
            entry = _fonts.erase(entry);
        } else if (entry->second->_properties == properties) {
            return entry->second;
        } else {
            ++entry;
        }
    }
    // Its first glyph may push another font out, so the entries above are not good any more.
    auto font = std::make_shared<TTF_Font>(properties);
    if (font->getFace() == nullptr) {
        return nullptr;
    }
    _fonts.emplace(key, font);
    return font;
}

void TTF_Library::incMemoryGlyph(TTF_Font* font, int bytes) {
    const std::lock_guard lock(_mutex);
    addClamped(_glyphBytes, bytes);
    addClamped(font->_chargedBytes, bytes);
    if (bytes == 0 || _glyphBytes < glyphBytesLimit) {
        return;
    }
    const std::time_t now = std::time(nullptr);
    auto oldest = _fonts.end();
    for (auto entry = _fonts.begin(); entry != _fonts.end(); ++entry) {
        const std::time_t lastUse = entry->second->_lastUse;
        if (entry->second.get() != font && lastUse < now &&
            (oldest == _fonts.end() || lastUse < oldest->second->_lastUse)) {
            oldest = entry;
        }
    }
    if (oldest != _fonts.end()) {
        const auto& [name, height] = oldest->first;
        TTF_LOG(1, "Removing font to save memory: %s/%d", name.c_str(), static_cast<int>(height));
        addClamped(_glyphBytes, -oldest->second->_chargedBytes);
        _fonts.erase(oldest);
    }
}

TTF_FontFace* TTF_Library::registerFace(const std::string& name, std::unique_ptr<TTF_FontFace> face) {
    return _faces.emplace(name, std::move(face)).first->second.get();
}

bool TTF_Library::isNameFree(const std::string& name) const {
    if (_faces.count(name) != 0) {
        TTF_LOG(1, "Can't create Font face \"%s\" - already exists", name.c_str());
        return false;
    }
    return true;
}
