#include "tests/lang/CatalogueCheck.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "src/common/Utils.h"
#include "src/system/MoCatalogue.h"
#include "tests/support/TempDir.h"

namespace {

std::set<std::string> placeholders(const std::string& text) {
    static const std::regex pattern("\\$\\{[^}]*\\}?|\\$|\\{|\\}");
    return {std::sregex_token_iterator(text.begin(), text.end(), pattern), {}};
}

std::size_t namesIn(const std::string& list) {
    std::vector<std::string> names;
    Utils::split(list, names, "|");
    return names.size();
}

bool isPatternKey(const std::string& phrase) {
    return std::regex_match(phrase, std::regex("[A-Z0-9_]{4,}"));
}

std::pair<std::size_t, std::size_t> blanksAtEnds(const std::string& text) {
    return {text.find_first_not_of(" \n"), text.size() - 1 - text.find_last_not_of(" \n")};
}

// What is wrong with one translation, nothing when it is right.
std::string complaint(const std::string& phrase, const std::string& translation) {
    if (translation.empty()) {
        return "not translated";
    }
    if (isPatternKey(phrase)) {
        return translation.find('%') == std::string::npos ? "no pattern" : "";
    }
    if (placeholders(phrase) != placeholders(translation)) {
        return "other placeholders";
    }
    if (namesIn(phrase) != namesIn(translation)) {
        return "other number of names";
    }
    if (translation.find_first_of("\\\r") != std::string::npos) {
        return "a line break that is no newline";
    }
    return blanksAtEnds(phrase) != blanksAtEnds(translation) ? "other blanks at an end" : "";
}

} // namespace

Phrases readCatalogue(const std::string& path) {
    const std::string bytes = support::readFile(path);
    const auto parsed = MoCatalogue::parse(bytes);
    Phrases phrases;
    if (const auto* error = std::get_if<MoCatalogue::Error>(&parsed)) {
        ADD_FAILURE() << path << ": " << error->text;
        return phrases;
    }
    const auto& catalogue = std::get<MoCatalogue>(parsed);
    for (std::uint32_t i = 0; i < catalogue.size(); ++i) {
        phrases.emplace(catalogue.phrase(i), catalogue.translation(i));
    }
    phrases.erase("");
    return phrases;
}

std::vector<std::string> complaints(const Phrases& code, const Phrases& catalogue) {
    std::vector<std::string> lines;
    for (const auto& [phrase, unused] : code) {
        const auto entry = catalogue.find(phrase);
        const std::string text = complaint(phrase, entry != catalogue.end() ? entry->second : "");
        if (!text.empty()) {
            lines.push_back(phrase + ": " + text);
        }
    }
    for (const auto& [phrase, unused] : catalogue) {
        if (!code.contains(phrase)) {
            lines.push_back(phrase + ": not in the code");
        }
    }
    return lines;
}
