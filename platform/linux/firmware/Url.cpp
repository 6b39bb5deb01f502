#include "platform/linux/firmware/Url.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "platform/linux/firmware/FirmwareError.h"

namespace lumo {

namespace {

using UrlHandle = std::unique_ptr<CURLU, void (*)(CURLU*)>;

UrlHandle newHandle() {
    return {curl_url(), &curl_url_cleanup};
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

} // namespace

Location locate(const std::string& url) {
    if (url.empty()) {
        throw FirmwareError(OpenResult::NotFound, "no package location is known");
    }
    if (url.find("://") == std::string::npos) {
        return {true, url};
    }
    const UrlHandle handle = newHandle();
    if (!handle || curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
        throw FirmwareError(OpenResult::NotFound, "not a URL: " + url);
    }
    const std::string scheme = partOf(handle.get(), CURLUPART_SCHEME);
    if (scheme == "http" || scheme == "https") {
        return {false, url};
    }
    if (scheme != "file") {
        throw FirmwareError(OpenResult::NotFound,
                            "packages come from http, https and file URLs, not from " + url);
    }
    const std::string host = partOf(handle.get(), CURLUPART_HOST);
    const std::string path = partOf(handle.get(), CURLUPART_PATH, CURLU_URLDECODE);
    if (!(host.empty() || host == "localhost") || path.empty()) {
        throw FirmwareError(OpenResult::NotFound, "not a file of this machine: " + url);
    }
    return {true, path};
}

std::string resolveUrl(const std::string& base, const std::string& reference) {
    const UrlHandle handle = newHandle();
    if (!handle || !isPrintable(reference) || reference.empty() ||
        curl_url_set(handle.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK) {
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
    return partOf(handle.get(), CURLUPART_URL);
}

} // namespace lumo
