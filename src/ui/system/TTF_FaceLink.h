#pragma once

#include <atomic>
#include <set>

#include "inc/private/pthread_helper.h"

class TTF_Font;

// What a face and its fonts hold together, since a font may outlive its face. Lock order: the library's
// mutex, goingAway, a font's mutex, mutex.
struct TTF_FaceLink {
    // Held while the face or one of its fonts goes away, so that neither meets a half of the other.
    pthread_helper::mutex goingAway;

    // Serialises what FreeType does with the face, whose fonts of all sizes share one FreeType object.
    pthread_helper::mutex mutex;

    // Written under mutex. Once false, the face must not be touched.
    std::atomic<bool> alive{true};

    // Guarded by mutex: the fonts that hold glyphs of the face.
    std::set<TTF_Font*> fonts;
};
