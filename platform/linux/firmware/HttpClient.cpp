#include "platform/linux/firmware/HttpClient.h"

#include <algorithm>
#include <system_error>

#include "platform/STBUtils.h"
#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/HttpRequest.h"

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

HttpDocument judge(const HttpRequest& request, CURLcode code, std::string body, bool tooLong) {
    using Outcome = HttpDocument::Outcome;
    const long status = request.status();
    const std::string url = request.effectiveUrl();
    if (tooLong) {
        return {Outcome::Failed, "", url, url + ": the answer is longer than it may be"};
    }
    if (status != 0 && status != 200) {
        const bool missing = status == 404 || status == 410;
        return {missing ? Outcome::NotFound : Outcome::Failed, "", url,
                url + ": HTTP status " + std::to_string(status)};
    }
    if (code == CURLE_OK) {
        return {Outcome::Received, std::move(body), url, ""};
    }
    const bool missing = code == CURLE_FILE_COULDNT_READ_FILE;
    return {missing               ? Outcome::NotFound
            : isUnreachable(code) ? Outcome::Unreachable
                                  : Outcome::Failed,
            "", url, request.errorText(code)};
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
    std::string body;
    bool tooLong = false;
    try {
        HttpRequest request(url, options);
        CURLcode code = CURLE_OK;
        try {
            code = request.perform(
                [&](std::span<const std::byte> bytes) {
                    if (bytes.size() > maxBytes - body.size()) {
                        tooLong = true;
                        throw FirmwareError(OpenResult::Failed, "too long");
                    }
                    body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                },
                [&] { return request.status() == 0 || request.status() == 200; });
        } catch (const FirmwareError&) {
            code = CURLE_WRITE_ERROR;
        }
        return judge(request, code, std::move(body), tooLong);
    } catch (const std::exception& error) {
        return {HttpDocument::Outcome::Failed, "", url, url + ": " + error.what()};
    }
}

} // namespace lumo
