// The progress figures as doubles are what listeners get.
#define CURL_DISABLE_DEPRECATION
#include "inc/private/CurlWrapper.h"

#include <strings.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/STBFirmwareUpdater.h"
#include "platform/STBLogger.h"
#include "platform/STBUtils.h"
#include "src/system/LumoStbVersion.h"
#include "src/system/Translator.h"

#define LOG(level, ...) STBLogger_log(this, "Curl", level, __LINE__, "inc/private/CurlWrapper", __VA_ARGS__)

namespace {

constexpr std::size_t maxPending = 64 << 20; // bytes: no server is to fill the memory of a small device
constexpr long lowSpeedLimit = 1024;         // bytes per second

CURL* newHandle() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    return curl_easy_init();
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

} // namespace

CurlWrapper::HttpHeaders::HttpHeaders(const HttpHeaders& other) : _names(other._names) {
    for (const curl_slist* line = other.list(); line != nullptr; line = line->next) {
        append(line->data);
    }
}

CurlWrapper::HttpHeaders& CurlWrapper::HttpHeaders::operator=(const HttpHeaders& other) {
    return *this = HttpHeaders(other);
}

bool CurlWrapper::HttpHeaders::WithoutCase::operator()(const std::string& left,
                                                       const std::string& right) const {
    return strcasecmp(left.c_str(), right.c_str()) < 0;
}

bool CurlWrapper::HttpHeaders::add(const std::string& name, const std::string& value) {
    const std::string line = name + ": " + value;
    if (has(name) || std::ranges::any_of(line, isControl)) {
        return false;
    }
    append(line.c_str());
    _names.insert(name);
    return true;
}

bool CurlWrapper::HttpHeaders::has(const std::string& name) const {
    return _names.contains(name);
}

void CurlWrapper::HttpHeaders::append(const char* line) {
    curl_slist* grown = curl_slist_append(_list.get(), line);
    if (grown == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(_list.release()); // the same list, or none before
    _list.reset(grown);
}

CurlWrapper::CurlWrapper(ProgressEventListener* progress, WriterEventListener* writer)
    : _handle(newHandle()), _progressListener(progress), _writerListener(writer) {
    CURL* handle = _handle.get();
    if (handle == nullptr) {
        LOG(1, "Can't init CURL Library");
        return;
    }
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, _errorBuffer.data());
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &CurlWrapper::writerFunctionCallback);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_PROGRESSFUNCTION, &CurlWrapper::progressFunctionCallBack);
    curl_easy_setopt(handle, CURLOPT_PROGRESSDATA, this);
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
}

CurlWrapper::OpenResult CurlWrapper::open(std::string url, const OpenOptions* options) {
    if (url.find("://") == std::string::npos) {
        url = "file://" + url;
    }
    const OpenOptions chosen = options == nullptr ? OpenOptions() : *options;
    _errorBuffer[0] = '\0';
    _data.clear();
    _text.clear();
    _failed = false;
    _thrown = nullptr;
    CURLcode code = CURLE_FAILED_INIT;
    if (_handle != nullptr && setOptions(url, chosen)) {
        LOG(4, "Opening %s", shownUrl(url).c_str());
        code = curl_easy_perform(_handle.get());
    }
    if (_thrown) {
        std::rethrow_exception(std::exchange(_thrown, nullptr));
    }
    return classify(code, url);
}

// Everything is set each time, to "off" too: the handle remembers what an earlier transfer wanted.
bool CurlWrapper::setOptions(const std::string& url, const OpenOptions& options) {
    CURL* handle = _handle.get();
    const auto seconds = [](int value) { return static_cast<long>(std::max(value, 0)); };
    bool good = true;
    const auto set = [&](CURLcode code) { good = good && code == CURLE_OK; };
    set(curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L));
    set(curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L));
    set(curl_easy_setopt(handle, CURLOPT_URL, url.c_str()));
    set(curl_easy_setopt(handle, CURLOPT_HEADER, 0L));
    set(curl_easy_setopt(handle, CURLOPT_TIMEOUT, seconds(options.timeout)));
    set(curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, seconds(options.connectTimeout)));
    set(curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, seconds(options.lowSpeedTime)));
    set(curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, options.lowSpeedTime > 0 ? lowSpeedLimit : 0L));
    set(curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, options.keepAlive > 0 ? 1L : 0L));
    if (options.keepAlive > 0) {
        set(curl_easy_setopt(handle, CURLOPT_TCP_KEEPIDLE, seconds(options.keepAlive)));
        set(curl_easy_setopt(handle, CURLOPT_TCP_KEEPINTVL, seconds(options.keepAlive)));
    }
    return good && setHttpOptions(options.http);
}

bool CurlWrapper::setHttpOptions(const OpenOptions::Http& http) {
    CURL* handle = _handle.get();
    bool good = true;
    const auto set = [&](CURLcode code) { good = good && code == CURLE_OK; };
    set(curl_easy_setopt(handle, CURLOPT_HTTPHEADER, http.headers ? http.headers->list() : nullptr));
    set(curl_easy_setopt(handle, CURLOPT_COOKIE, http.cookie ? http.cookie->c_str() : nullptr));
    if (http.postData) {
        // By length, since it may hold zero bytes; not copied.
        set(curl_easy_setopt(handle, CURLOPT_POST, 1L));
        set(curl_easy_setopt(handle, CURLOPT_POSTFIELDS, http.postData->data()));
        set(curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(http.postData->size())));
    } else {
        set(curl_easy_setopt(handle, CURLOPT_POSTFIELDS, nullptr));
        set(curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L));
    }
    set(curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING,
                         http.acceptEncoding.empty() ? nullptr : http.acceptEncoding.c_str()));
    return good;
}

CurlWrapper::OpenResult CurlWrapper::classify(CURLcode code, const std::string& url) {
    using Status = OpenResult::Status;
    OpenResult result;
    result.curlCode = code;
    result.effectiveUrl = url;
    if (_handle != nullptr) {
        const char* effective = nullptr;
        curl_easy_getinfo(_handle.get(), CURLINFO_EFFECTIVE_URL, &effective);
        curl_easy_getinfo(_handle.get(), CURLINFO_RESPONSE_CODE, &result.responseCode);
        result.effectiveUrl = effective == nullptr ? url : effective;
    }
    result.redirected = result.effectiveUrl != url;
    result.data = std::move(_data);
    _data.clear();
    const long answer = result.responseCode;
    if (code == CURLE_OK && (answer == 200 || answer == 206 || answer == 0)) {
        result.status = Status::Ok;
    } else if (code == CURLE_OK) {
        result.status = Status::BadResponseCode;
        result.errorText = "CurlWrapper: Response code is " + std::to_string(answer);
        LOG(2, "%s", result.errorText.c_str());
    } else {
        result.status = code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_CONNECT
                            ? Status::Unreachable
                        : code == CURLE_FILE_COULDNT_READ_FILE ? Status::NoSuchFile
                                                               : Status::TransferFailed;
        // libcurl has overwritten our words with its own.
        const char* said = _errorBuffer[0] != '\0' ? _errorBuffer.data() : curl_easy_strerror(code);
        result.errorText = _failed ? _text : said;
        LOG(2, "curl_easy_perform: %s (code %d)", result.errorText.c_str(), static_cast<int>(code));
    }
    return result;
}

std::size_t CurlWrapper::writerFunctionCallback(char* bytes, std::size_t size, std::size_t count,
                                                CurlWrapper* wrapper) {
    const std::size_t length = size * count;
    try {
        if (wrapper->_data.size() + length > maxPending) {
            wrapper->fail("CurlWrapper: Too much data");
            return static_cast<std::size_t>(-1);
        }
        wrapper->_data.append(bytes, length);
        return wrapper->consume() ? length : static_cast<std::size_t>(-1);
    } catch (...) {
        wrapper->_thrown = std::current_exception();
        wrapper->_failed = true;
        return static_cast<std::size_t>(-1);
    }
}

bool CurlWrapper::consume() {
    while (_writerListener != nullptr && !_data.empty()) {
        const long consumed = _writerListener->onData(_data);
        if (consumed < 0) {
            return fail("CurlWrapper: Error while processing data by user function");
        }
        if (consumed == 0) {
            break;
        }
        if (static_cast<unsigned long>(consumed) > _data.size()) {
            throw std::logic_error("CurlWrapper: the consumer took more than there is");
        }
        _data.erase(0, static_cast<std::size_t>(consumed));
    }
    return true;
}

bool CurlWrapper::fail(const char* text) {
    _failed = true;
    _text = text;
    return false;
}

int CurlWrapper::progressFunctionCallBack(CurlWrapper* wrapper, double downloadTotal, double downloaded,
                                          double uploadTotal, double uploaded) {
    if (wrapper->_failed) {
        return -2;
    }
    if (wrapper->_progressListener == nullptr) {
        return 0;
    }
    try {
        return wrapper->_progressListener->onProgress(downloadTotal, downloaded, uploadTotal, uploaded);
    } catch (...) {
        wrapper->_thrown = std::current_exception();
        wrapper->_failed = true;
        return -2;
    }
}

std::string CurlWrapper::shownUrl(const std::string& url) {
    const std::size_t protocol = url.find("://");
    if (protocol == std::string::npos) {
        return url;
    }
    const std::size_t begin = protocol + 3;
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), &curl_url_cleanup);
    // A password with a slash in it makes a text that is not a URL.
    const bool whole = parsed && curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(),
                                              CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK;
    const std::size_t end = whole ? url.find_first_of("/?#", begin) : std::string::npos;
    const std::size_t at = url.substr(0, end).rfind('@');
    const std::size_t colon = url.find(':', begin);
    std::string shown = url;
    if (at != std::string::npos && colon < at) {
        shown.replace(colon + 1, at - colon - 1, "***");
    }
    return shown;
}

CurlWrapper::OpenResult AppCurlWrapper::open(const std::string& url, const OpenOptions* options) {
    OpenOptions own = options == nullptr ? OpenOptions() : *options;
    HttpHeaders headers = own.http.headers.value_or(HttpHeaders());
    const std::string deviceId = STBFirmwareUpdater::getCurrentDeviceId();
    headers.add("User-Agent", "Lumo/" + LumoStbVersion::getVersion() + " " + deviceId);
    headers.add("Lumo-Model", deviceId);
    headers.add("Mac-Address", STBUtils::getMainMacAddress().toString());
    headers.add("Accept-Language", Translator::getInstance()->getCurrentLanguageCode());
    own.http.headers = std::move(headers);
    return CurlWrapper::open(url, &own);
}
