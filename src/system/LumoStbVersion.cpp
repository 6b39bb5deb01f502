#include "src/system/LumoStbVersion.h"

std::string LumoStbVersion::getVersion() {
    return "4.3.15";
}

std::string LumoStbVersion::getVersionDate() {
    return "08.04.2020";
}
