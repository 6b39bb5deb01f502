#pragma once

#include <curl/curl.h>

#include <chrono>
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

// One GET over libcurl from an http or https URL, following up to ten redirects within http and https,
// through the proxy that the environment names (http_proxy, https_proxy, all_proxy, no_proxy), if it does.
// The server has options.timeoutSeconds to be connected to, and after that as long, and up to a second more,
// for each sign of life. One thread; one perform() each.
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
    // Runs the transfer. A stall is CURLE_OPERATION_TIMEDOUT. Throws what the callbacks threw.
    CURLcode perform(Consumer consumer, Accept accept);

    // HTTP status; 0 when there was no answer, or none but a redirect that led to none.
    long status() const;
    std::string effectiveUrl() const;
    // What messages call it: the URL, and where it was redirected to.
    std::string place() const;
    std::string errorText(CURLcode code) const; // with the place
    // A header of the last answer, by its lower-case name; empty when it has none.
    std::string header(std::string_view name) const;

private:
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static int onTick(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t);
    void takeBody(std::span<const std::byte> bytes);
    void takeHeader(std::string_view line);
    bool isHopeless(std::uint64_t received);

    std::string _url;
    std::unique_ptr<CURL, void (*)(CURL*)> _curl;
    const std::chrono::seconds _patience;
    std::chrono::steady_clock::time_point _lastSign; // of life from the server
    CURLcode _ended = CURLE_OK;                      // why we broke it off, if we did
    std::string _ownError;                           // the same in words
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
