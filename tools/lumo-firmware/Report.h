#pragma once

#include <ostream>
#include <string>

#include "tools/lumo-firmware/PackageCheck.h"

namespace lumo {

// Prints what a package holds for people to read.
void printReport(std::ostream& out, const std::string& file, const CheckedPackage& package);

// The same for programs: one JSON object.
void printJsonReport(std::ostream& out, const std::string& file, const CheckedPackage& package);

// For programs, on a package that is refused: result as STBFirmwareFile::open() answers it, and why.
void printJsonRefusal(std::ostream& out, const std::string& file, int result, const std::string& error);

} // namespace lumo
