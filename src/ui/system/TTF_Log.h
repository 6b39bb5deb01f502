#pragma once

#include "platform/STBLogger.h"

// Logs from the fonts: TTF_LOG(level, "format", ...).
#define TTF_LOG(level, ...) STBLogger_log(this, "TTF", level, __LINE__, "src/ui/system/TTF_Font", __VA_ARGS__)
