#pragma once

#include <string>

// The version of the utility, as its usage text names it.
class LumoStbVersion {
public:
    static std::string getVersion();     // "4.3.15": that of the CMake project
    static std::string getVersionDate(); // day.month.year
};
