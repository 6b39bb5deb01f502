#include <algorithm>

#include "src/common/Utils.h"

bool Utils::isURL(const std::string& text) {
    return text.find("://") != std::string::npos;
}

bool Utils::hasURLProtocol(const std::string& text) {
    const std::size_t end = text.find("://");
    return end != std::string::npos && end > 0 && text.find('.') > end;
}

std::string Utils::convertUdpxyUrl(const std::string& url, const std::string& proxy) {
    constexpr std::size_t protocolLength = 6;
    constexpr const char* protocols[] = {"udp://", "UDP://", "rtp://", "RTP://"};
    const bool multicast =
        std::ranges::any_of(protocols, [&](const char* protocol) { return url.starts_with(protocol); });
    if (proxy.empty() || !multicast || url.size() == protocolLength) {
        return url;
    }
    const std::string base = (proxy.starts_with("http") ? "" : "http://") + proxy;
    const std::string kind = url[0] == 'r' || url[0] == 'R' ? "/rtp/" : "/udp/";
    // "udp://@" alone keeps its "@": there is no address behind it.
    const bool marked = url.size() > protocolLength + 1 && url[protocolLength] == '@';
    return base + kind + url.substr(protocolLength + (marked ? 1 : 0));
}
