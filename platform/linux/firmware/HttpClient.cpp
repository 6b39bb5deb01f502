#include "platform/linux/firmware/HttpClient.h"

#include <algorithm>
#include <system_error>

#include "platform/STBUtils.h"
#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/HttpRequest.h"
#include "platform/linux/firmware/Url.h"

namespace lumo {

namespace {

// The language the viewer chose, as the application stores it; empty when none is stored.
std::string storedLanguage() {
    std::optional<std::string> code;
    try {
        code = readSmallFile(LUMO_SYSROOT "/var/lumo/lang", 64);
    } catch (const std::system_error&) {
        return "";
    }
    const auto isLetter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
    };
    return code && std::all_of(code->begin(), code->end(), isLetter) ? *code : "";
}

using Outcome = HttpDocument::Outcome;

HttpDocument judge(const HttpRequest& request, CURLcode code, std::string body) {
    const long status = request.status();
    const std::string url = request.effectiveUrl();
    if (status != 0 && status != 200) {
        const bool missing = status == 404 || status == 410;
        return {missing ? Outcome::NotFound : Outcome::Failed, "", url,
                request.place() + ": HTTP status " + std::to_string(status)};
    }
    if (code == CURLE_OK) {
        return {Outcome::Received, std::move(body), url, ""};
    }
    return {isUnreachable(code) ? Outcome::Unreachable : Outcome::Failed, "", url, request.errorText(code)};
}

HttpDocument fetchFromServer(const std::string& url, const HttpOptions& options, std::size_t maxBytes) {
    HttpRequest request(url, options);
    std::string body;
    const auto append = [&](std::span<const std::byte> bytes) {
        if (bytes.size() > maxBytes - body.size()) {
            throw FirmwareError(OpenResult::Failed, request.place() + ": the answer has more than " +
                                                        std::to_string(maxBytes) + " bytes");
        }
        body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    const CURLcode code = request.perform(append, [&] { return request.status() == 200; });
    return judge(request, code, std::move(body));
}

HttpDocument readFromFile(const std::string& url, const std::string& path, std::size_t maxBytes) {
    std::optional<std::string> body = readSmallFile(path, maxBytes);
    return body ? HttpDocument{Outcome::Received, std::move(*body), url, ""}
                : HttpDocument{Outcome::NotFound, "", url, path + ": no such file"};
}

} // namespace

bool isUnreachable(int curlCode) {
    return curlCode == CURLE_COULDNT_RESOLVE_HOST || curlCode == CURLE_COULDNT_RESOLVE_PROXY ||
           curlCode == CURLE_COULDNT_CONNECT || curlCode == CURLE_OPERATION_TIMEDOUT;
}

std::vector<std::string> deviceHeaders(const std::string& deviceId) {
    std::vector<std::string> headers{"User-Agent: Lumo/" LUMO_VERSION " " + deviceId,
                                     "Lumo-Model: " + deviceId,
                                     "Mac-Address: " + STBUtils::getMainMacAddress().toString()};
    if (const std::string language = storedLanguage(); !language.empty()) {
        headers.push_back("Accept-Language: " + language);
    }
    return headers;
}

HttpDocument fetchDocument(const std::string& url, const HttpOptions& options, std::size_t maxBytes) {
    try {
        const Location location = locate(url);
        return location.local ? readFromFile(url, location.place, maxBytes)
                              : fetchFromServer(url, options, maxBytes);
    } catch (const std::exception& error) {
        return {Outcome::Failed, "", url, error.what()};
    }
}

} // namespace lumo
