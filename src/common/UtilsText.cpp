#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>

#include "src/common/Utils.h"

namespace {

bool isBlank(char byte) {
    return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

} // namespace

// Unlike sscanf's, the conversions of strtol and strtoul are defined for every text.
int Utils::strToInt(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

float Utils::strToFloat(const std::string& text) {
    float value = 0;
    // Not strtof: that takes the beginning of a word such as "infinit" for a number.
    std::sscanf(text.c_str(), "%f", &value); // NOLINT(cert-err34-c)
    return value;
}

std::uint32_t Utils::strHexToUint32(const std::string& text) {
    return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
}

std::string Utils::intToStr(int value) {
    return std::to_string(value);
}

std::string Utils::uint64ToStr(unsigned long long value) {
    return std::to_string(value);
}

std::string Utils::floatToStr(float value) {
    std::ostringstream out;
    out << static_cast<double>(value);
    return out.str();
}

std::string Utils::floatToStr(float value, int precision) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(precision) << static_cast<double>(value);
    return out.str();
}

void Utils::toUpper(std::string& text) {
    for (char& byte : text) {
        byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
    }
}

void Utils::toLower(std::string& text) {
    for (char& byte : text) {
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    }
}

std::string Utils::strToUpper(const std::string& text) {
    std::string upper = text;
    toUpper(upper);
    return upper;
}

std::string Utils::strToLower(const std::string& text) {
    std::string lower = text;
    toLower(lower);
    return lower;
}

void Utils::trim(std::string& text) {
    text.erase(std::find_if_not(text.rbegin(), text.rend(), isBlank).base(), text.end());
    text.erase(text.begin(), std::find_if_not(text.begin(), text.end(), isBlank));
}

void Utils::split(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters) {
    std::size_t start = text.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(delimiters, end);
    }
}

std::string Utils::dumpHex(const char* data, unsigned int length) {
    constexpr const char* digits = "0123456789abcdef";
    std::string dump;
    dump.reserve(std::size_t{length} * 2);
    for (unsigned int i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(data[i]);
        dump += digits[byte >> 4];
        dump += digits[byte & 0xF];
    }
    return dump;
}
