#pragma once

#include "platform/linux/graphics/Output.h"

// The module with the displays that need SDL: its file beside liblumostb.so, and its one function.

namespace lumo {

constexpr const char* sdlModuleFile = "liblumostb-sdl.so";
constexpr const char* sdlModuleSymbol = "lumoMakeSdlOutput";

// backend: "window" or "kms". width, height: the size that is wished for, in pixels. The caller owns the
// result. Main thread, before the output's render thread exists.
using MakeSdlOutput = Output* (*)(const char* backend, int width, int height);

} // namespace lumo
