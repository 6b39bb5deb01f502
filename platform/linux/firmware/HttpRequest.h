#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/firmware/HttpClient.h"

namespace lumo {

// One GET over libcurl, following up to ten redirects within http and https. One thread; one perform() each.
class HttpRequest {
public:
    // Takes the body of an accepted answer as it arrives. What it throws ends the transfer.
    using Consumer = std::function<void(std::span<const std::byte>)>;
    // Asked once the final answer's status and headers are known, whether its body is wanted.
    using Accept = std::function<bool()>;

    // Throws FirmwareError (Failed) when libcurl cannot be started.
    HttpRequest(const std::string& url, const HttpOptions& options);
    ~HttpRequest();
    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    void addHeader(const std::string& header);
    // Asks for the file from this byte on.
    void setRange(std::uint64_t begin);
    // Runs the transfer. Throws what the callbacks threw.
    CURLcode perform(Consumer consumer, Accept accept);

    long status() const; // HTTP status; 0 for file:// and when there was no answer
    std::string effectiveUrl() const;
    std::string errorText(CURLcode code) const; // with the URL
    // A header of the last answer, by its lower-case name; empty when it has none.
    std::string header(std::string_view name) const;

private:
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    void takeBody(std::span<const std::byte> bytes);
    void takeHeader(std::string_view line);

    std::string _url;
    std::unique_ptr<CURL, void (*)(CURL*)> _curl;
    curl_slist* _headers = nullptr;
    std::vector<std::pair<std::string, std::string>> _answerHeaders;
    char _error[CURL_ERROR_SIZE] = "";
    Consumer _consumer;
    Accept _accept;
    bool _answered = false;
    bool _accepted = false;
    std::exception_ptr _thrown;
};

} // namespace lumo
