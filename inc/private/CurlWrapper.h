#pragma once

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>

// Reads one URL at a time, HTTP or a local file, into memory or through a consumer. Failures never throw:
// they come back in the result and are logged. One thread, on which the listeners are called too.
class CurlWrapper {
public:
    // Watches a transfer. Never deleted through this type.
    class ProgressEventListener {
    public:
        // Bytes; a total is 0 while it is not known. Anything but 0 ends the transfer.
        virtual int onProgress(double downloadTotal, double downloaded, double uploadTotal,
                               double uploaded) = 0;

    protected:
        ~ProgressEventListener() = default;
    };

    // Takes the body while it arrives. Never deleted through this type.
    class WriterEventListener {
    public:
        // data: everything not consumed yet. How many bytes of it are consumed now; 0 keeps them for the next
        // call, with more behind them; a negative value ends the transfer. More than there are is a fault of
        // the program: open() throws std::logic_error.
        virtual long onData(const std::string& data) = 0;

    protected:
        ~WriterEventListener() = default;
    };

    // Request headers.
    class HttpHeaders {
    public:
        HttpHeaders() = default;
        HttpHeaders(const HttpHeaders& other);
        HttpHeaders& operator=(const HttpHeaders& other);
        HttpHeaders(HttpHeaders&&) = default;
        HttpHeaders& operator=(HttpHeaders&&) = default;
        ~HttpHeaders() = default;

        // False, with nothing added, when one of that name is there or a control character would end the
        // line.
        bool add(const std::string& name, const std::string& value);
        // Names have no case.
        bool has(const std::string& name) const;

        // For libcurl; null when there are none.
        curl_slist* list() const { return _list.get(); }

    private:
        struct WithoutCase {
            bool operator()(const std::string& left, const std::string& right) const;
        };

        struct FreeList {
            void operator()(curl_slist* list) const { curl_slist_free_all(list); }
        };

        void append(const char* line);

        std::unique_ptr<curl_slist, FreeList> _list;
        std::set<std::string, WithoutCase> _names;
    };

    // How one transfer is to go; nothing of it is left for the next.
    struct OpenOptions {
        struct Http {
            std::optional<HttpHeaders> headers;
            std::optional<std::string> cookie;   // "name=value; name=value"
            std::optional<std::string> postData; // makes it a POST, also when empty; any bytes
            std::string acceptEncoding;          // "gzip, deflate", for one; the body arrives decoded
        };

        int connectTimeout = 30; // seconds
        int timeout = 0;         // seconds for all of it; 0: no limit
        int lowSpeedTime = 0;    // seconds below 1024 bytes per second after which it fails; 0: off
        int keepAlive = 0;       // seconds, of TCP keep-alive's idle time and interval; 0: off
        Http http;
    };

    struct OpenResult {
        enum class Status {
            Ok = 0,
            Unreachable = 1, // no such host, or it takes no connection
            NoSuchFile = 2,
            TransferFailed = 3,  // any other error, and a listener that ended it
            BadResponseCode = 4, // an answer that is neither 200 nor 206
        };

        bool ok() const { return status == Status::Ok; }

        Status status = Status::TransferFailed;
        CURLcode curlCode = CURLE_OK;
        long responseCode = 0;    // of the last answer; 0 where there was none, for files too
        std::string errorText;    // in words; empty when ok
        std::string effectiveUrl; // where redirects led to
        bool redirected = false;  // whether that is another one than was asked for
        std::string data;         // the body, less what was consumed; after a failure what had come of it
    };

    // Both may be null, and must live as long as the wrapper.
    CurlWrapper(ProgressEventListener* progress, WriterEventListener* writer);
    ~CurlWrapper() = default;
    CurlWrapper(const CurlWrapper&) = delete;
    CurlWrapper& operator=(const CurlWrapper&) = delete;

    // Transfers it. url: a URL, or the absolute path of a file. options: null for all defaults. A body that
    // nobody consumes may have 64 MiB. Certificates are not checked.
    OpenResult open(std::string url, const OpenOptions* options);

    // url without the password it may hold, for messages.
    static std::string shownUrl(const std::string& url);

private:
    struct CleanUp {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };

    static std::size_t writerFunctionCallback(char* bytes, std::size_t size, std::size_t count,
                                              CurlWrapper* wrapper);
    static int progressFunctionCallBack(CurlWrapper* wrapper, double downloadTotal, double downloaded,
                                        double uploadTotal, double uploaded);

    // Whether libcurl took all of them.
    bool setOptions(const std::string& url, const OpenOptions& options);
    bool setHttpOptions(const OpenOptions::Http& http);
    OpenResult classify(CURLcode code, const std::string& url);
    // Whether the transfer goes on.
    bool consume();
    bool fail(const char* text);

    std::unique_ptr<CURL, CleanUp> _handle; // null: libcurl cannot be used
    std::string _data;                      // received and not consumed
    std::string _text;                      // why we ended the transfer ourselves
    ProgressEventListener* _progressListener;
    WriterEventListener* _writerListener;
    std::array<char, CURL_ERROR_SIZE> _errorBuffer{}; // libcurl's words
    bool _failed = false;                             // the transfer is to end
    std::exception_ptr _thrown;                       // by a listener; libcurl must not see it
};

// Tells every server which device asks.
class AppCurlWrapper : public CurlWrapper {
public:
    using CurlWrapper::CurlWrapper;

    // As CurlWrapper::open, with the headers User-Agent, Lumo-Model, Mac-Address and Accept-Language where
    // the options do not have them. options: may be null; left alone.
    OpenResult open(const std::string& url, const OpenOptions* options);
};
