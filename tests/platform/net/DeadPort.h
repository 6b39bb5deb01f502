#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "platform/linux/device/UniqueFd.h"

namespace lumo::tests {

// A loopback port where nobody listens.
class DeadPort {
public:
    DeadPort() : _socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        bind(_socket.get(), generic, length);
        getsockname(_socket.get(), generic, &length);
        _port = ntohs(address.sin_port);
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(_port) + "/p"; }

private:
    UniqueFd _socket; // keeps the port from being given to someone else
    int _port = 0;
};

} // namespace lumo::tests
