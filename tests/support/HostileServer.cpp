#include "tests/support/HostileServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <sstream>
#include <stdexcept>

namespace support {

namespace {

Request parseRequest(const std::string& head) {
    std::istringstream lines(head);
    std::string line;
    std::string method;
    Request request;
    std::getline(lines, line);
    std::istringstream(line) >> method >> request.path;
    while (std::getline(lines, line) && line.size() > 1) {
        const auto colon = line.find(':');
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        const auto value = line.find_first_not_of(' ', colon + 1);
        request.headers[name] = line.substr(value, line.find_last_not_of('\r') + 1 - value);
    }
    return request;
}

} // namespace

std::string Request::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

Reply Reply::cut(std::size_t bytes, End how) && {
    body.resize(std::min(bytes, body.size()));
    end = how;
    return std::move(*this);
}

Reply answer(int status, const std::string& body, const std::string& headers) {
    Reply reply;
    reply.head = "HTTP/1.1 " + std::to_string(status) + " So\r\nConnection: close\r\n" + headers;
    if (headers.find("Content-Length") == std::string::npos &&
        headers.find("Transfer-Encoding") == std::string::npos) {
        reply.head += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    reply.head += "\r\n";
    reply.body = body;
    return reply;
}

Reply redirectTo(const std::string& url) {
    return answer(302, "elsewhere", "Location: " + url + "\r\n");
}

Reply rawReply(const std::string& bytes) {
    Reply reply;
    reply.body = bytes;
    return reply;
}

std::size_t rangeStart(const Request& request) {
    const std::string range = request.header("range"); // "bytes=100-"
    std::size_t start = 0;
    if (range.size() > 6) {
        std::from_chars(range.data() + 6, range.data() + range.size(), start);
    }
    return start;
}

Reply wholeFileReply(const std::string& bytes, const std::string& validators) {
    return answer(200, bytes, validators);
}

Reply fileReply(const Request& request, const std::string& bytes, const std::string& validators) {
    const std::size_t start = rangeStart(request);
    const bool guarded = validators.find(": " + request.header("if-range") + "\r\n") != std::string::npos;
    if (start == 0 || !guarded) {
        return wholeFileReply(bytes, validators);
    }
    const std::string total = std::to_string(bytes.size());
    if (start >= bytes.size()) {
        return answer(416, "", "Content-Range: bytes */" + total + "\r\n");
    }
    return answer(206, bytes.substr(start),
                  validators + "Content-Range: bytes " + std::to_string(start) + "-" +
                      std::to_string(bytes.size() - 1) + "/" + total + "\r\n");
}

HostileServer::HostileServer(Handler handler) : _handler(std::move(handler)) {
    _listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // Connections inherit it: what the client does not take shall not vanish in a large buffer.
    const int bufferSize = 32 * 1024;
    setsockopt(_listener, SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    const int yes = 1;
    setsockopt(_listener, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (pipe2(_stop, O_CLOEXEC) != 0 || bind(_listener, generic, length) != 0 || listen(_listener, 16) != 0 ||
        getsockname(_listener, generic, &length) != 0) {
        throw std::runtime_error("no loopback server");
    }
    _port = ntohs(address.sin_port);
    _thread = std::thread(&HostileServer::serve, this);
}

HostileServer::~HostileServer() {
    close(_stop[1]);
    _thread.join();
    close(_listener);
    close(_stop[0]);
}

std::string HostileServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(_port) + path;
}

std::vector<Request> HostileServer::requests() const {
    const std::lock_guard lock(_mutex);
    return _requests;
}

std::uint64_t HostileServer::bytesSent() const {
    const std::lock_guard lock(_mutex);
    return _bytesSent;
}

// False when the server is to end.
bool HostileServer::waitFor(int client, short events) const {
    pollfd waited[2] = {{client, events, 0}, {_stop[0], POLLIN, 0}};
    while (poll(waited, 2, -1) < 0 && errno == EINTR) {
    }
    return waited[1].revents == 0;
}

void HostileServer::serve() {
    while (waitFor(_listener, POLLIN)) {
        const int client = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (client >= 0) {
            attend(client);
            close(client);
        }
    }
}

std::optional<Request> HostileServer::readRequest(int client) {
    std::string head;
    while (head.find("\r\n\r\n") == std::string::npos) {
        char buffer[4096];
        const ssize_t count = waitFor(client, POLLIN) ? read(client, buffer, sizeof buffer) : 0;
        if (count <= 0) {
            return std::nullopt;
        }
        head.append(buffer, static_cast<std::size_t>(count));
    }
    return parseRequest(head);
}

// False when the client is gone or the server is to end.
bool HostileServer::sendAll(int client, const std::string& bytes, bool counted) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        if (!waitFor(client, POLLOUT)) {
            return false;
        }
        // Under the lock, so that who got the bytes finds them counted.
        const std::lock_guard lock(_mutex);
        const ssize_t count = send(client, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN) {
            return false;
        }
        const auto taken = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        sent += taken;
        _bytesSent += counted ? taken : 0;
    }
    return true;
}

void HostileServer::attend(int client) {
    const std::optional<Request> request = readRequest(client);
    if (!request) {
        return;
    }
    std::size_t number = 0;
    {
        const std::lock_guard lock(_mutex);
        number = _requests.size();
        _requests.push_back(*request);
    }
    const Reply reply = _handler(*request, number);
    bool listening = sendAll(client, reply.head, false) && sendAll(client, reply.body, true);
    while (listening && reply.endless) {
        listening = sendAll(client, reply.body, true);
    }
    if (reply.end == Reply::End::Stall) {
        waitFor(client, POLLIN); // the client closes its side
    } else if (reply.end == Reply::End::Reset) {
        const linger now{1, 0};
        setsockopt(client, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
}

} // namespace support
