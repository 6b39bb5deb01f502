#pragma once

#include <map>
#include <string>
#include <vector>

// Source phrases and their translations, as they stand in a catalogue: line breaks are newlines.
using Phrases = std::map<std::string, std::string>;

// The phrases of a compiled catalogue, without its header. Fails the running test when it cannot be read.
Phrases readCatalogue(const std::string& path);

// What a translator got wrong, a line each: phrases of the code that are missing, phrases that the code does
// not have, placeholders dropped or invented, lists with a wrong number of names, keys of date patterns
// without a pattern, line breaks written out, blanks at an end added or lost.
std::vector<std::string> complaints(const Phrases& code, const Phrases& catalogue);
