#include <gtest/gtest.h>

#include <tuple>

#include "src/common/Utils.h"

namespace {

TEST(UtilsUrl, TellsUrlsFromOtherText) {
    for (const auto& [text, url, protocol] : {std::tuple{"http://x", true, true},
                                              {"://x", true, false},
                                              {"a.b://x", true, false},
                                              {"x://a.b", true, true},
                                              {"/a/b:/c", false, false},
                                              {"", false, false}}) {
        EXPECT_EQ(Utils::isURL(text), url) << text;
        EXPECT_EQ(Utils::hasURLProtocol(text), protocol) << text;
    }
}

TEST(UtilsUrl, SendsMulticastAddressesToTheRelay) {
    for (const auto& [url, proxy, expected] : {
             std::tuple{"udp://@239.1.1.1:1234", "relay:4022", "http://relay:4022/udp/239.1.1.1:1234"},
             {"rtp://239.1.1.1:5000", "http://relay:81", "http://relay:81/rtp/239.1.1.1:5000"},
             {"RTP://@@1", "https://relay/", "https://relay//rtp/@1"},
             {"UDP://1", "HTTP://relay", "http://HTTP://relay/udp/1"},
             {"udp://1", "httpserver", "httpserver/udp/1"},
             {"udp://@", "relay", "http://relay/udp/@"},
             {"udp://", "relay", "udp://"},
             {"Udp://1", "relay", "Udp://1"},
             {"http://239.1.1.1", "relay", "http://239.1.1.1"},
             {"udp://1", "", "udp://1"},
         }) {
        EXPECT_EQ(Utils::convertUdpxyUrl(url, proxy), expected) << url;
    }
}

} // namespace
