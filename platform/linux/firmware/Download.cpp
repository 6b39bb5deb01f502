#include <algorithm>
#include <charconv>
#include <chrono>
#include <string_view>
#include <thread>

#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/HttpRequest.h"

#define LUMO_LOG_FILE "platform/linux/firmware/Download"

namespace lumo {

namespace {

constexpr int maxFruitlessAttempts = 5;

std::optional<std::uint64_t> parseNumber(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

// "bytes 100-199/1000": where the answer begins, and the length of the whole (none for "*").
struct ContentRange {
    std::uint64_t begin = 0;
    std::optional<std::uint64_t> total;
};

std::optional<ContentRange> parseContentRange(std::string_view text) {
    constexpr std::string_view unit = "bytes ";
    const auto dash = text.find('-');
    const auto slash = text.find('/');
    if (text.substr(0, unit.size()) != unit || dash == std::string_view::npos || dash < unit.size() ||
        slash == std::string_view::npos || slash < dash) {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> begin = parseNumber(text.substr(unit.size(), dash - unit.size()));
    if (!begin) {
        return std::nullopt;
    }
    return ContentRange{*begin, parseNumber(text.substr(slash + 1))};
}

// What a transfer that has begun may survive.
bool isBroken(CURLcode code) {
    return code == CURLE_PARTIAL_FILE || code == CURLE_RECV_ERROR || code == CURLE_SEND_ERROR ||
           code == CURLE_GOT_NOTHING || code == CURLE_HTTP2 || code == CURLE_HTTP2_STREAM;
}

// A download in progress: what is known of the file, and what became of each attempt.
class Transfer {
public:
    Transfer(const std::string& url, const HttpOptions& options, DownloadSink& sink)
        : _url(url), _options(options), _sink(sink) {}

    void run();

private:
    bool attempt(); // true: complete; false: broken, and _breakage says how
    bool acceptAnswer(const HttpRequest& request);
    void acceptWhole(const HttpRequest& request);
    bool joins(const HttpRequest& request) const;
    void startOver();
    bool judge(const HttpRequest& request, CURLcode code);
    bool judgeStatus(long status);
    void pauseBefore(int attemptsWithoutProgress) const;

    std::string _url;
    const HttpOptions& _options;
    DownloadSink& _sink;
    std::string _validator; // strong ETag or Last-Modified of the file that is being fetched
    std::optional<std::uint64_t> _total;
    std::uint64_t _received = 0;
    std::string _breakage;
    int _startsOver = 0;
    bool _lostServer = false; // the last attempt did not even connect
    bool _mismatch = false;   // the last answer cannot be joined to what is there
};

void Transfer::run() {
    int fruitless = 0;
    while (true) {
        const std::uint64_t before = _received;
        if (attempt()) {
            return;
        }
        fruitless = _received > before && !_mismatch ? 0 : fruitless + 1;
        if (_received > 0 && (_validator.empty() || _mismatch)) {
            startOver();
            // A server that cannot resume must not make us fetch the same bytes for ever.
            fruitless = std::max(fruitless, 1 + _startsOver++);
        }
        if (fruitless >= maxFruitlessAttempts) {
            throw FirmwareError(_lostServer ? OpenResult::Unreachable : OpenResult::Damaged,
                                _breakage + "; given up");
        }
        LUMO_LOG(LogNotice, "%s; going on at byte %llu", _breakage.c_str(),
                 static_cast<unsigned long long>(_received));
        pauseBefore(fruitless);
    }
}

void Transfer::pauseBefore(int attemptsWithoutProgress) const {
    if (attemptsWithoutProgress == 0) {
        return;
    }
    const int seconds = 1 << (attemptsWithoutProgress - 1);
    if (_options.pause) {
        _options.pause(seconds);
    } else {
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
    }
}

void Transfer::startOver() {
    _sink.restart();
    _received = 0;
    _total.reset();
    _validator.clear();
}

bool Transfer::attempt() {
    HttpRequest request(_url, _options);
    if (_received > 0) {
        request.setRange(_received);
        request.addHeader("If-Range: " + _validator);
    }
    _mismatch = false;
    const CURLcode code = request.perform(
        [this](std::span<const std::byte> bytes) {
            _sink.append(bytes);
            _received += bytes.size();
        },
        [&] { return acceptAnswer(request); });
    return judge(request, code);
}

bool Transfer::acceptAnswer(const HttpRequest& request) {
    if (request.status() == 200) {
        if (_received > 0) {
            startOver(); // the file changed, or the server knows no ranges
        }
        acceptWhole(request);
        return true;
    }
    if (request.status() != 206 || _received == 0) {
        return false;
    }
    _mismatch = !joins(request);
    return !_mismatch;
}

void Transfer::acceptWhole(const HttpRequest& request) {
    const std::string etag = request.header("etag");
    _validator = !etag.empty() && etag.substr(0, 2) != "W/" ? etag : request.header("last-modified");
    _total = parseNumber(request.header("content-length"));
    if (_total) {
        _sink.announce(*_total);
    }
}

bool Transfer::joins(const HttpRequest& request) const {
    const std::optional<ContentRange> range = parseContentRange(request.header("content-range"));
    const std::string etag = request.header("etag");
    const bool sameFile = etag.empty() || _validator == etag || _validator == request.header("last-modified");
    return sameFile && range && range->begin == _received &&
           (!range->total || !_total || range->total == _total);
}

bool Transfer::judge(const HttpRequest& request, CURLcode code) {
    const long status = request.status();
    if (_mismatch || (status == 416 && _received > 0)) {
        _mismatch = true;
        _breakage = _url + ": the server does not go on at byte " + std::to_string(_received);
        return false;
    }
    if (status != 0 && status != 200 && !(status == 206 && _received > 0)) {
        return judgeStatus(status);
    }
    if (code == CURLE_OK) {
        _breakage = _url + ": the server sent " + std::to_string(_received) + " bytes of " +
                    std::to_string(_total.value_or(0));
        return !_total || _received >= *_total;
    }
    _lostServer = code == CURLE_COULDNT_CONNECT && _received > 0;
    if (!_lostServer && !isBroken(code)) {
        throw FirmwareError(isUnreachable(code) ? OpenResult::Unreachable : OpenResult::Failed,
                            request.errorText(code));
    }
    _breakage = request.errorText(code);
    return false;
}

bool Transfer::judgeStatus(long status) {
    const std::string text = _url + ": HTTP status " + std::to_string(status);
    if (_received > 0 && status >= 500) {
        _breakage = text;
        return false;
    }
    throw FirmwareError(status == 404 || status == 410 ? OpenResult::NotFound : OpenResult::Failed, text);
}

} // namespace

void download(const std::string& url, const HttpOptions& options, DownloadSink& sink) {
    Transfer(url, options, sink).run();
}

} // namespace lumo
