#pragma once

#include <GLES2/gl2.h>

// True for sizes that the current context can have as a texture, in pixels. Render thread.
bool fitsTexture(int width, int height);

// A new texture of the current context, bound to unit 0, linear and clamped to its edges; width * height
// pixels of bytesPerPixel each, rows top down without gaps. 0, with the GL's error code in error, where it
// cannot be had. Render thread.
GLuint makeTexture(GLenum format, int bytesPerPixel, int width, int height, const void* pixels,
                   GLenum& error);
