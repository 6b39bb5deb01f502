#pragma once

#include <string>

namespace lumo {

// Where a URL leads.
struct Location {
    bool local = false;
    std::string place; // local: the path; otherwise the URL
};

// Sorts a URL: file:// and texts that do not begin with a scheme and "://" are local files, http:// and
// https:// remote. Throws FirmwareError (OpenResult::NotFound) for an empty one, another scheme, a file://
// URL of another host or with a query or fragment, or one that cannot be parsed.
Location locate(const std::string& url);

// A URL as messages show it: without the password it may hold, and not longer than a line can bear.
std::string shownUrl(const std::string& url);

// The absolute URL that a reference found in the document at base stands for (RFC 3986). Empty when the
// result is not a URL, holds other characters than visible ASCII, or leaves http(s) for something else (a
// document read from a file:// URL may point to files).
std::string resolveUrl(const std::string& base, const std::string& reference);

} // namespace lumo
