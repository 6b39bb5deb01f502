#pragma once

// The platform's log. context: the caller's own pointer, may be null, not dereferenced. tag: short name of
// the caller's subsystem, may be null. level: 1 error, 2 warning, 3 notice, 4 information, 5 debug. line,
// file: where the message comes from, the file without extension ("src/system/Translator"). format:
// printf-style; never composed text, which may hold "%". One call is one line; control characters in it are
// made visible, not passed on. Any thread; lines do not mix.
extern "C" void STBLogger_log(const void* context, const char* tag, int level, int line, const char* file,
                              const char* format, ...) __attribute__((format(printf, 6, 7)));
