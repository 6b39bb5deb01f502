#pragma once

#include <cstdint>
#include <string>

// Takes language files into memory.
namespace LanguageFile {

// No language comes near it; whatever is larger is not read.
constexpr std::uint64_t maxBytes = std::uint64_t{32} << 20;

enum class Result { Read, NotThere, CannotOpen, CannotRead };

// Reads the whole file into bytes, once. What is not a plain file, is too large or ends early cannot be read.
// bytes is only good for Result::Read.
Result read(const std::string& path, std::string& bytes);

bool canBeOpened(const std::string& path);

} // namespace LanguageFile
