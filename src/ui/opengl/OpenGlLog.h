#pragma once

#include "platform/STBLogger.h"

// Logs from the OpenGL render manager: OPENGL_LOG(level, "format", ...).
#define OPENGL_LOG(level, ...)                                                                               \
    STBLogger_log(this, "UI", level, __LINE__, "src/ui/opengl/OpenGlRenderManager", __VA_ARGS__)
