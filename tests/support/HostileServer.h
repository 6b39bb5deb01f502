#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace support {

// A request as it came over the wire.
struct Request {
    std::string path;
    std::map<std::string, std::string> headers; // by lower-case name

    std::string header(const std::string& name) const; // empty when it has none
};

// What goes back: any bytes at all, and any way to end.
struct Reply {
    enum class End { Close, Reset, Stall };

    std::string head; // everything in front of the body
    std::string body;
    End end = End::Close;
    bool endless = false; // the body again and again, until the client has enough

    // Sends only so many bytes of the body, and ends like that.
    Reply cut(std::size_t bytes, End how = End::Close) &&;
};

// A well-formed answer; headers are whole lines with CR LF, added to Content-Length (which is left out where
// headers have one, or a Transfer-Encoding) and Connection: close.
Reply answer(int status, const std::string& body = "", const std::string& headers = "");
Reply redirectTo(const std::string& url);
// No HTTP at all.
Reply rawReply(const std::string& bytes);

// A file as a good server of static files offers it, with ranges guarded by If-Range. validators are whole
// header lines.
Reply fileReply(const Request& request, const std::string& bytes,
                const std::string& validators = "ETag: \"one\"\r\n");
// The same without regard to any Range: all of it.
Reply wholeFileReply(const std::string& bytes, const std::string& validators = "ETag: \"one\"\r\n");
// The first byte that a Range header asks for; 0 without one.
std::size_t rangeStart(const Request& request);

// An HTTP server on a loopback port of the kernel's choice, in a thread of its own, that does to each request
// whatever its handler says: one connection at a time, one request each. Its methods may be called from any
// thread.
class HostileServer {
public:
    // number counts the requests from 0. Called on the server's thread.
    using Handler = std::function<Reply(const Request& request, std::size_t number)>;

    explicit HostileServer(Handler handler);
    // Cuts a connection that is open, and returns when the thread has ended.
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    std::string url(const std::string& path) const;

    std::vector<Request> requests() const;
    // Bytes of bodies that the kernel took for sending. Its buffers hold some hundred KiB of them.
    std::uint64_t bytesSent() const;

private:
    void serve();
    void attend(int client);
    std::optional<Request> readRequest(int client);
    bool waitFor(int client, short events) const;
    bool sendAll(int client, const std::string& bytes, bool counted);

    const Handler _handler;
    int _listener = -1;
    int _stop[2] = {-1, -1}; // a pipe whose writing end is closed to end the thread
    std::uint16_t _port = 0;
    mutable std::mutex _mutex;
    std::vector<Request> _requests; // guarded by _mutex
    std::uint64_t _bytesSent = 0;   // guarded by _mutex
    std::thread _thread;
};

} // namespace support
