#pragma once

#include "platform/STBLogger.h"

// Logs from the platform library: LUMO_LOG(level, "format", ...). The file name comes from LUMO_LOG_FILE,
// which a source defines before it logs ("platform/linux/firmware/Installer").
#define LUMO_LOG(level, ...) STBLogger_log(nullptr, "lumostb", level, __LINE__, LUMO_LOG_FILE, __VA_ARGS__)

namespace lumo {

enum LogLevel : int { LogError = 1, LogWarning = 2, LogNotice = 3, LogInfo = 4, LogDebug = 5 };

} // namespace lumo
