#include "src/ui/system/TTF_Font.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <mutex>
#include <utility>

#include "src/ui/system/TTF_FaceLink.h"
#include "src/ui/system/TTF_FontFace.h"
#include "src/ui/system/TTF_Library.h"
#include "src/ui/system/TTF_Log.h"

TTF_Font::TTF_Font(const TTF_FontProperties& properties)
    : _properties(properties), _lastUse(std::time(nullptr)) {
    TTF_Library* library = TTF_Library::instance();
    const std::lock_guard faceStays(library->_mutex);
    if (joinFace(*library)) {
        _baseLine = findBaseLine();
    } else {
        TTF_LOG(1, "Font face not found: %s", _properties.name.c_str());
    }
}

TTF_Font::~TTF_Font() {
    std::unique_lock<pthread_helper::mutex> faceStays;
    if (_link) {
        faceStays = std::unique_lock(_link->goingAway);
    }
    invalidate();
    TTF_LOG(4, "Deleting TTF_Font \"%s\" %ix%i", _properties.name.c_str(), _properties.widthPx,
            _properties.heightPx);
}

TTF_FontFace* TTF_Font::getFace() const {
    return _link && _link->alive ? _properties.face : nullptr;
}

SimpleGlyphSlot* TTF_Font::loadGlyphSlot(unsigned long codePoint) {
    int advancePx = 0;
    return loadGlyph(codePoint, advancePx);
}

SimpleGlyphSlot* TTF_Font::loadGlyph(unsigned long codePoint, int& advancePx) {
    SimpleGlyphSlot* slot = nullptr;
    {
        const std::lock_guard lock(_mutex);
        const auto cached = _glyphs.find(codePoint);
        if (cached != _glyphs.end()) {
            _lastUse = std::time(nullptr);
            advancePx = cached->second.slot->advancePx();
            return cached->second.slot.get();
        }
        auto rendered = renderGlyph(codePoint);
        if (!rendered) {
            return nullptr;
        }
        slot = rendered.get();
        advancePx = slot->advancePx();
        _glyphs[codePoint].slot = std::move(rendered);
        _lastUse = std::time(nullptr);
    }
    // The cell that the font's size names, not what the bitmap takes: a font of width 0 is free.
    const std::int64_t cell = std::int64_t{_properties.widthPx} * _properties.heightPx;
    TTF_Library::instance()->incMemoryGlyph(this, static_cast<int>(std::min<std::int64_t>(cell, INT_MAX)));
    return slot;
}

std::optional<int> TTF_Font::glyphWidth(unsigned long codePoint) {
    int advancePx = 0;
    return loadGlyph(codePoint, advancePx) == nullptr ? std::nullopt : std::optional(advancePx);
}

void TTF_Font::invalidate() {
    TTF_LOG(4, "Inavalidating TTF_Font \"%s\" %ix%i", _properties.name.c_str(), _properties.widthPx,
            _properties.heightPx);
    const std::lock_guard lock(_mutex);
    if (_link) {
        const std::lock_guard faceLock(_link->mutex);
        _link->fonts.erase(this);
    }
    _glyphs.clear();
}

bool TTF_Font::joinFace(TTF_Library& library) {
    _properties.face = library.getFace(_properties.name);
    if (_properties.face == nullptr) {
        return false;
    }
    _link = _properties.face->_link;
    const std::lock_guard faceLock(_link->mutex);
    _link->fonts.insert(this);
    return true;
}

int TTF_Font::findBaseLine() {
    for (const char32_t reference : {U'0', U'O'}) {
        if (const SimpleGlyphSlot* slot = loadGlyphSlot(reference)) {
            return (_properties.heightPx + slot->top) / 2;
        }
    }
    TTF_LOG(2, "Can't find ref size of font.");
    return 0;
}

std::unique_ptr<SimpleGlyphSlot> TTF_Font::renderGlyph(unsigned long codePoint) {
    if (!_link) {
        return nullptr;
    }
    const std::lock_guard faceLock(_link->mutex);
    if (!_link->alive) {
        return nullptr;
    }
    auto slot = _properties.face->renderGlyph(codePoint, _properties);
    if (slot) {
        _link->fonts.insert(this);
    }
    return slot;
}
