#include "src/system/LumoStbVersion.h"

std::string LumoStbVersion::getVersion() {
    return LUMO_VERSION;
}

std::string LumoStbVersion::getVersionDate() {
    return "08.04.2020";
}
