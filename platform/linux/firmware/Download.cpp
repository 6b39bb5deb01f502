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

constexpr int maxSetbacks = 5;
// What an attempt must bring to count: a server that sends a byte at a time does not keep us for ever.
constexpr std::uint64_t leastProgress = 64 << 10;

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

// What a transfer may survive.
bool isBroken(CURLcode code) {
    return code == CURLE_PARTIAL_FILE || code == CURLE_RECV_ERROR || code == CURLE_SEND_ERROR ||
           code == CURLE_GOT_NOTHING || code == CURLE_HTTP2 || code == CURLE_HTTP2_STREAM;
}

// What only one that has begun may survive: the server was there a moment ago.
bool isLost(CURLcode code) {
    return code == CURLE_COULDNT_CONNECT || code == CURLE_COULDNT_RESOLVE_HOST ||
           code == CURLE_COULDNT_RESOLVE_PROXY;
}

// A download in progress: what is known of the file, and what became of each attempt.
class Transfer {
public:
    Transfer(const std::string& url, const HttpOptions& options, DownloadSink& sink)
        : _url(url), _options(options), _sink(sink) {}

    void run();

private:
    bool attempt(); // true: complete; false: broken, and _breakage and _verdict say how
    CURLcode perform(HttpRequest& request);
    bool acceptAnswer(const HttpRequest& request);
    void acceptWhole(const HttpRequest& request);
    void acceptTotal(std::optional<std::uint64_t> total);
    bool acceptPart(const HttpRequest& request);
    void startOver();
    bool judge(const HttpRequest& request, CURLcode code);
    bool judgeStatus(const HttpRequest& request);
    bool broken(OpenResult verdict, const std::string& text);
    std::string withPosition(const std::string& text) const;
    void pauseBefore(int setback) const;

    const std::string _url;
    const HttpOptions& _options;
    DownloadSink& _sink;
    const char* _validatorName = ""; // which header guards the file that is being fetched, and what it says
    std::string _validator;
    std::optional<std::uint64_t> _total;
    std::uint64_t _received = 0;
    std::uint64_t _base = 0; // of _received, what the running attempt did not bring
    bool _begun = false;     // some attempt brought something
    int _startsOver = 0;
    bool _mismatch = false; // the last answer cannot be joined to what is there
    std::string _breakage;
    OpenResult _verdict = OpenResult::Failed; // if nothing better comes
};

void Transfer::run() {
    int fruitless = 0;
    while (true) {
        const int startsBefore = _startsOver;
        _base = _received;
        if (attempt()) {
            return;
        }
        fruitless = !_mismatch && _received >= _base + leastProgress ? 0 : fruitless + 1;
        if (_received > 0 && (_validator.empty() || _mismatch)) {
            startOver();
        }
        // A server that cannot resume must not make us fetch the same bytes for ever.
        const int setback = _startsOver > startsBefore ? std::max(fruitless, _startsOver) : fruitless;
        if (setback >= maxSetbacks) {
            throw FirmwareError(_verdict, _breakage + "; given up");
        }
        LUMO_LOG(LogNotice, "%s; %s", _breakage.c_str(), _received > 0 ? "going on there" : "starting again");
        pauseBefore(setback);
    }
}

void Transfer::pauseBefore(int setback) const {
    if (setback == 0) {
        return;
    }
    const int seconds = 1 << (setback - 1);
    if (_options.pause) {
        _options.pause(seconds);
    } else {
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
    }
}

void Transfer::startOver() {
    _sink.restart();
    ++_startsOver;
    _received = _base = 0;
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
    return judge(request, perform(request));
}

CURLcode Transfer::perform(HttpRequest& request) {
    try {
        return request.perform(
            [this](std::span<const std::byte> bytes) {
                _sink.append(bytes);
                _received += bytes.size();
                _begun = true;
            },
            [&] { return acceptAnswer(request); });
    } catch (const FirmwareError& error) {
        throw FirmwareError(error.result(), request.place() + ": " + error.what());
    }
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
    _mismatch = !acceptPart(request);
    return !_mismatch;
}

void Transfer::acceptWhole(const HttpRequest& request) {
    const std::string etag = request.header("etag");
    _validatorName = !etag.empty() && etag.substr(0, 2) != "W/" ? "etag" : "last-modified";
    _validator = request.header(_validatorName);
    acceptTotal(parseNumber(request.header("content-length")));
}

void Transfer::acceptTotal(std::optional<std::uint64_t> total) {
    if (total && !_total) {
        _total = total;
        _sink.announce(*_total);
    }
}

bool Transfer::acceptPart(const HttpRequest& request) {
    const std::optional<ContentRange> range = parseContentRange(request.header("content-range"));
    const std::string validator = request.header(_validatorName);
    if (!range || range->begin != _received || (range->total && _total && range->total != _total) ||
        (!validator.empty() && validator != _validator)) {
        return false;
    }
    acceptTotal(range->total);
    return true;
}

bool Transfer::judge(const HttpRequest& request, CURLcode code) {
    const long status = request.status();
    if (_mismatch || (status == 416 && _received > 0)) {
        _mismatch = true;
        return broken(OpenResult::Damaged, request.place() + ": the server does not go on");
    }
    if (status != 0 && status != 200 && !(status == 206 && _received > 0)) {
        return judgeStatus(request);
    }
    if (code == CURLE_OK) {
        return !_total || _received >= *_total ||
               broken(OpenResult::Damaged, request.place() + ": the server sent only a part");
    }
    if (_begun && isLost(code)) {
        return broken(OpenResult::Unreachable, request.errorText(code));
    }
    if (isBroken(code)) {
        return broken(status != 0 && _received > 0 ? OpenResult::Damaged : OpenResult::Failed,
                      request.errorText(code));
    }
    throw FirmwareError(isUnreachable(code) ? OpenResult::Unreachable : OpenResult::Failed,
                        withPosition(request.errorText(code)));
}

bool Transfer::judgeStatus(const HttpRequest& request) {
    const long status = request.status();
    const std::string text = request.place() + ": HTTP status " + std::to_string(status);
    if (_begun && status >= 500) {
        return broken(OpenResult::Failed, text);
    }
    throw FirmwareError(status == 404 || status == 410 ? OpenResult::NotFound : OpenResult::Failed,
                        withPosition(text));
}

bool Transfer::broken(OpenResult verdict, const std::string& text) {
    _verdict = verdict;
    _breakage = withPosition(text);
    return false;
}

std::string Transfer::withPosition(const std::string& text) const {
    if (_received == 0 && !_total) {
        return text;
    }
    return text + ", at byte " + std::to_string(_received) +
           (_total ? " of " + std::to_string(*_total) : std::string());
}

} // namespace

void download(const std::string& url, const HttpOptions& options, DownloadSink& sink) {
    Transfer(url, options, sink).run();
}

} // namespace lumo
