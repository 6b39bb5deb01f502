#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace support {

// A PNG file's pixels.
struct PngPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> words; // 0xAARRGGBB, the top row first

    std::uint32_t at(int x, int y) const; // 0 outside
};

// Fails the running test, and returns an empty picture, when the file cannot be read.
PngPicture readPng(const std::filesystem::path& path);

} // namespace support
