#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumo {

// Who asks, and how patiently.
struct HttpOptions {
    int timeoutSeconds = 10;          // for connecting, and for each stall of a running transfer
    std::vector<std::string> headers; // "Name: value", sent with every request
    // Waits between two attempts to resume; replaced in tests.
    std::function<void(int seconds)> pause;
};

// The headers by which this device makes itself known to servers.
std::vector<std::string> deviceHeaders(const std::string& deviceId);

// A short document.
struct HttpDocument {
    enum class Outcome {
        Received,
        NotFound,    // 404 or 410; for file:// no such file
        Unreachable, // no connection in time, or a stall
        Failed,      // anything else
    };
    Outcome outcome = Outcome::Failed;
    std::string body;
    std::string url;   // where it came from in the end
    std::string error; // why not, with URL and numbers; empty when received
};

// Fetches a document of at most maxBytes from an http, https or file URL, following redirects. Never throws.
HttpDocument fetchDocument(const std::string& url, const HttpOptions& options, std::size_t maxBytes);

// Whether a libcurl code means that there was no connection in time, or a stall.
bool isUnreachable(int curlCode);

// Takes the bytes of a download. Whatever its operations throw ends the download and comes out of download().
class DownloadSink {
public:
    virtual ~DownloadSink() = default;
    // The length of the whole, when the server tells it; called before bytes arrive, and again after
    // restart().
    virtual void announce(std::uint64_t totalBytes) = 0;
    virtual void append(std::span<const std::byte> bytes) = 0;
    // What came so far is void: the file changed on the server, or the server cannot resume.
    virtual void restart() = 0;
};

// Fetches a large file from an http or https URL. A transfer that breaks is resumed with a Range request
// guarded by the file's strong ETag or its modification date; a server that cannot do that, or whose file has
// changed meanwhile, makes it start again. Gives up after five attempts in a row that brought less than
// 64 KiB, and when it had to start again for the fifth time. Throws FirmwareError: NotFound, Unreachable (no
// connection, or a stall of timeoutSeconds), Damaged (the server keeps cutting it short), Failed, and what
// the sink throws; its text names the URL and where redirects led.
void download(const std::string& url, const HttpOptions& options, DownloadSink& sink);

} // namespace lumo
