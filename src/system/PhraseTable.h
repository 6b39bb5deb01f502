#pragma once

#include <functional>
#include <map>
#include <string>

// Source phrase to translation, ordered by bytes; looked up without making a key.
using PhraseTable = std::map<std::string, std::string, std::less<>>;
