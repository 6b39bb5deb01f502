#include "platform/linux/firmware/Url.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "platform/linux/firmware/FirmwareError.h"

namespace lumo {

namespace {

using UrlHandle = std::unique_ptr<CURLU, void (*)(CURLU*)>;

// Null when it is not a URL.
UrlHandle parse(const std::string& url) {
    UrlHandle handle(curl_url(), &curl_url_cleanup);
    if (handle && curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
        handle.reset();
    }
    return handle;
}

// A part of the URL; empty when it has none.
std::string partOf(CURLU* handle, CURLUPart part, unsigned int flags = 0) {
    char* text = nullptr;
    if (curl_url_get(handle, part, &text, flags) != CURLUE_OK) {
        return "";
    }
    std::string copy = text;
    curl_free(text);
    return copy;
}

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

// Whether it begins as RFC 3986 wants a URL with an authority to begin; a path may hold "://" further on.
bool hasScheme(const std::string& url) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isInner = [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    const auto end = url.find("://");
    return end != std::string::npos && end > 0 && isLetter(url[0]) &&
           std::all_of(url.begin(), url.begin() + static_cast<std::ptrdiff_t>(end), isInner);
}

std::string pathOf(CURLU* handle, const std::string& url) {
    const std::string host = partOf(handle, CURLUPART_HOST);
    std::string path = partOf(handle, CURLUPART_PATH, CURLU_URLDECODE);
    if (!(host.empty() || host == "localhost") || path.empty()) {
        throw FirmwareError(OpenResult::NotFound, "not a file of this machine: " + shownUrl(url));
    }
    if (url.find_first_of("?#") != std::string::npos) {
        throw FirmwareError(OpenResult::NotFound,
                            "a file URL has neither query nor fragment (in a name, write ? as %3F and # as "
                            "%23): " +
                                shownUrl(url));
    }
    return path;
}

} // namespace

std::string shownUrl(const std::string& url) {
    constexpr std::size_t longest = 500;
    std::string shown = url;
    if (hasScheme(url)) {
        const auto begin = url.find("://") + 3;
        // A password with a slash in it makes a text that is not a URL.
        const auto end = parse(url) ? url.find_first_of("/?#", begin) : std::string::npos;
        const auto at = url.substr(0, end).rfind('@');
        const auto colon = url.find(':', begin);
        if (at != std::string::npos && colon < at) {
            shown.replace(colon + 1, at - colon - 1, "***");
        }
    }
    return shown.size() > longest ? shown.substr(0, longest) + "..." : shown;
}

Location locate(const std::string& url) {
    if (url.empty()) {
        throw FirmwareError(OpenResult::NotFound, "no package location is known");
    }
    if (!hasScheme(url)) {
        return {true, url};
    }
    const UrlHandle handle = parse(url);
    if (!handle) {
        throw FirmwareError(OpenResult::NotFound, "not a URL: " + shownUrl(url));
    }
    const std::string scheme = partOf(handle.get(), CURLUPART_SCHEME);
    if (scheme == "http" || scheme == "https") {
        return {false, url};
    }
    if (scheme != "file") {
        throw FirmwareError(OpenResult::NotFound,
                            "packages come from http, https and file URLs, not from " + shownUrl(url));
    }
    return {true, pathOf(handle.get(), url)};
}

std::string resolveUrl(const std::string& base, const std::string& reference) {
    const UrlHandle handle = parse(base);
    if (!handle || reference.empty() || !isPrintable(reference)) {
        return "";
    }
    const bool fromFile = partOf(handle.get(), CURLUPART_SCHEME) == "file";
    if (curl_url_set(handle.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK) {
        return "";
    }
    const std::string scheme = partOf(handle.get(), CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https" && !(scheme == "file" && fromFile)) {
        return "";
    }
    const std::string url = partOf(handle.get(), CURLUPART_URL);
    return isPrintable(url) ? url : ""; // the base, too, may come from a server: it is where that sent us
}

} // namespace lumo
