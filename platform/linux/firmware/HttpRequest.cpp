#include "platform/linux/firmware/HttpRequest.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/Url.h"

namespace lumo {

namespace {

constexpr int defaultTimeoutSeconds = 10;
constexpr int longestTimeoutSeconds = 24 * 60 * 60; // libcurl refuses some that are longer, and then has none
constexpr std::size_t maxAnswerHeaders = 200;
constexpr std::uint64_t maxRedirectBody = 1 << 20; // bytes, which libcurl reads and drops

std::chrono::seconds patienceOf(const HttpOptions& options) {
    const int seconds = options.timeoutSeconds <= 0 ? defaultTimeoutSeconds : options.timeoutSeconds;
    return std::chrono::seconds(std::min(seconds, longestTimeoutSeconds));
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    return first == std::string_view::npos ? "" : std::string(text.substr(first, last - first + 1));
}

// libcurl is initialised by the first request only: a run that needs no server does not pay for it.
CURL* newEasyHandle() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    CURL* handle = curl_easy_init();
    if (handle == nullptr) {
        throw FirmwareError(OpenResult::Failed, "libcurl cannot be started");
    }
    return handle;
}

} // namespace

HttpRequest::HttpRequest(const std::string& url, const HttpOptions& options)
    : _url(url), _curl(newEasyHandle(), &curl_easy_cleanup), _patience(patienceOf(options)) {
    CURL* curl = _curl.get();
    curl_easy_setopt(curl, CURLOPT_URL, _url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(_patience.count()));
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, _error);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 256L * 1024);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &HttpRequest::onBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &HttpRequest::onHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
    // libcurl's own limit on stalls looks at the average of five seconds: too late for short ones.
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &HttpRequest::onTick);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
    for (const std::string& header : options.headers) {
        addHeader(header);
    }
}

HttpRequest::~HttpRequest() {
    curl_slist_free_all(_headers);
}

void HttpRequest::addHeader(const std::string& header) {
    curl_slist* grown = curl_slist_append(_headers, header.c_str());
    if (grown == nullptr) {
        throw std::bad_alloc();
    }
    _headers = grown;
}

void HttpRequest::setRange(std::uint64_t begin) {
    curl_easy_setopt(_curl.get(), CURLOPT_RANGE, (std::to_string(begin) + "-").c_str());
}

CURLcode HttpRequest::perform(Consumer consumer, Accept accept) {
    _consumer = std::move(consumer);
    _accept = std::move(accept);
    curl_easy_setopt(_curl.get(), CURLOPT_HTTPHEADER, _headers);
    _lastSign = std::chrono::steady_clock::now();
    CURLcode code = curl_easy_perform(_curl.get());
    code = _ended == CURLE_OK ? code : _ended;
    if (code == CURLE_OK && !_answered) {
        takeBody({}); // an answer without a body
    }
    if (_thrown) {
        std::rethrow_exception(_thrown);
    }
    return code;
}

void HttpRequest::takeBody(std::span<const std::byte> bytes) {
    if (!_answered) {
        _answered = true;
        _accepted = _accept();
    }
    if (_accepted && !bytes.empty()) {
        _consumer(bytes);
    }
}

std::size_t HttpRequest::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto* request = static_cast<HttpRequest*>(self);
    try {
        request->takeBody({reinterpret_cast<const std::byte*>(data), size * count});
        request->_lastSign = std::chrono::steady_clock::now(); // what the consumer took is not the server's
    } catch (...) {
        request->_thrown = std::current_exception();
        return 0;
    }
    // The body of an answer that is not wanted is not worth the line.
    return request->_accepted ? size * count : 0;
}

void HttpRequest::takeHeader(std::string_view line) {
    if (line.substr(0, 5) == "HTTP/") {
        _answerHeaders.clear();
        return;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || _answerHeaders.size() == maxAnswerHeaders) {
        return;
    }
    std::string name(line.substr(0, colon));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    _answerHeaders.emplace_back(name, trimmed(line.substr(colon + 1)));
}

std::size_t HttpRequest::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto* request = static_cast<HttpRequest*>(self);
    try {
        request->takeHeader({data, size * count});
        request->_lastSign = std::chrono::steady_clock::now();
    } catch (...) {
        request->_thrown = std::current_exception();
        return 0;
    }
    return size * count;
}

bool HttpRequest::isHopeless(std::uint64_t received) {
    curl_off_t connected = 0;
    curl_easy_getinfo(_curl.get(), CURLINFO_PRETRANSFER_TIME_T, &connected);
    if (connected == 0) { // connecting has a limit of its own
        _lastSign = std::chrono::steady_clock::now();
    } else if (std::chrono::steady_clock::now() - _lastSign >= _patience) {
        _ended = CURLE_OPERATION_TIMEDOUT;
        _ownError = "nothing came for " + std::to_string(_patience.count()) + " s";
    } else if (!_answered && received > maxRedirectBody) {
        _ended = CURLE_TOO_MANY_REDIRECTS;
        _ownError = "a redirect with more than " + std::to_string(maxRedirectBody) + " bytes behind it";
    }
    return _ended != CURLE_OK;
}

int HttpRequest::onTick(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) {
    try {
        return static_cast<HttpRequest*>(self)->isHopeless(static_cast<std::uint64_t>(received)) ? 1 : 0;
    } catch (...) {
        static_cast<HttpRequest*>(self)->_thrown = std::current_exception();
        return 1;
    }
}

long HttpRequest::status() const {
    long status = 0;
    curl_easy_getinfo(_curl.get(), CURLINFO_RESPONSE_CODE, &status);
    // The body of a redirect that is followed never comes here.
    const bool followed = status / 100 == 3 && !_answered;
    return followed ? 0 : status;
}

std::string HttpRequest::effectiveUrl() const {
    const char* url = nullptr;
    curl_easy_getinfo(_curl.get(), CURLINFO_EFFECTIVE_URL, &url);
    return url == nullptr ? _url : url;
}

std::string HttpRequest::place() const {
    long redirects = 0;
    curl_easy_getinfo(_curl.get(), CURLINFO_REDIRECT_COUNT, &redirects);
    return shownUrl(_url) + (redirects > 0 ? " (redirected to " + shownUrl(effectiveUrl()) + ")" : "");
}

std::string HttpRequest::errorText(CURLcode code) const {
    if (!_ownError.empty()) {
        return place() + ": " + _ownError;
    }
    std::string cause = _error[0] != '\0' ? _error : curl_easy_strerror(code);
    if (code == CURLE_OUT_OF_MEMORY) {
        cause += ", or a header line too long for libcurl";
    }
    return place() + ": " + cause;
}

std::string HttpRequest::header(std::string_view name) const {
    const auto found = std::find_if(_answerHeaders.begin(), _answerHeaders.end(),
                                    [name](const auto& header) { return header.first == name; });
    return found == _answerHeaders.end() ? "" : found->second;
}

} // namespace lumo
