#include "tests/platform/net/DeadPort.h"
#include "tests/platform/net/NetTest.h"

namespace lumo::tests {

namespace {

using support::answer;
using support::fileReply;
using support::rangeStart;
using support::rawReply;
using support::redirectTo;
using support::wholeFileReply;
using testing::ElementsAre;
using Handler = support::HostileServer::Handler;

constexpr std::size_t cutAt = 100'000;

// A reply to a resuming client that says what it pleases about the bytes.
Reply partReply(const std::string& bytes, const std::string& range, const std::string& validators = "") {
    return answer(206, bytes, validators + "Content-Range: bytes " + range + "\r\n");
}

class DownloadTest : public NetTest {
protected:
    const std::string package = packageOf(300'000).build();
    const std::string url = "/pool/p.bin";
    const std::string whole = std::to_string(package.size());

    Opened download(Handler handler) {
        serve(std::move(handler));
        return open(server->url(url));
    }

    static Handler always(const Reply& reply) {
        return [reply](const Request&, std::size_t) { return reply; };
    }

    // First cuts the transfer, then does as the handler likes, always.
    Handler resumed(Handler handler) const {
        return [this, handler](const Request& request, std::size_t number) {
            return rangeStart(request) == 0 ? wholeFileReply(package).cut(cutAt) : handler(request, number);
        };
    }
};

} // namespace

TEST_F(DownloadTest, AsksAsThisDeviceAndGoesOnWhereItWasCut) {
    const char* const date = "Wed, 20 Nov 2024 09:08:01 GMT";
    for (const std::string ifRange : {"\"one\"", date}) {
        const std::string etag = ifRange == date ? "" : "ETag: " + ifRange + "\r\n";
        const std::string validators = etag + "Last-Modified: " + date + "\r\n";
        const Opened opened = download([&](const Request& request, std::size_t) {
            return request.path == url ? redirectTo("other/p.bin")
                                       : fileReply(request, package, validators).cut(cutAt);
        });
        ASSERT_EQ(opened.result, 0) << opened.error;
        EXPECT_EQ(opened.bytes(), package);
        EXPECT_THAT(opened.pauses, ElementsAre()); // each attempt brought something
        const auto requests = server->requests();
        ASSERT_EQ(requests.size(), 8u);
        EXPECT_EQ(requests[7].header("range"), "bytes=300000-");
        EXPECT_EQ(requests[7].header("if-range"), ifRange);
        EXPECT_EQ(requests[7].header("lumo-model"), "BOX");
        EXPECT_EQ(requests[7].header("mac-address").size(), 17u);
        EXPECT_LT(server->bytesSent(), package.size() + 100) << "fetched something twice";
    }
}

TEST_F(DownloadTest, RecoversFromServersThatGoOnInTheirOwnWay) {
    const std::string other = packageOf(200'000, "3.0").build();
    const std::string date = "Last-Modified: Wed, 20 Nov 2024 09:08:01 GMT\r\n";

    const struct {
        const char* name;
        Handler handler;
        std::size_t requests;
        const std::string& bytes;
    } cases[] = {
        {"reset in the middle",
         [&](const Request& request, std::size_t number) {
             return number == 0 ? wholeFileReply(package).cut(cutAt, Reply::End::Reset)
                                : fileReply(request, package);
         },
         2, package},
        {"only a weak ETag",
         [&](const Request&, std::size_t number) {
             return wholeFileReply(package, "ETag: W/\"1\"\r\n").cut(number == 0 ? cutAt : package.size());
         },
         2, package},
        {"another file meanwhile",
         resumed([&](const Request& request, std::size_t) { return fileReply(request, other, date); }), 2,
         other},
        {"another file meanwhile, and If-Range ignored",
         [&](const Request& request, std::size_t number) {
             const std::size_t start = rangeStart(request);
             return number == 0  ? wholeFileReply(package, date).cut(cutAt)
                    : start == 0 ? wholeFileReply(other)
                                 : partReply(other.substr(start), std::to_string(start) + "-/*",
                                             "Last-Modified: Thu, 21 Nov 2024 09:08:01 GMT\r\n");
         },
         3, other},
        {"shorter ranges than asked for", resumed([&](const Request& request, std::size_t) {
             const std::size_t start = rangeStart(request);
             const std::string part = package.substr(start, 70'000);
             const std::string last = std::to_string(start + part.size() - 1);
             return partReply(part, std::to_string(start) + "-" + last + "/" + whole);
         }),
         4, package},
        {"no length", always({"HTTP/1.0 200 OK\r\n\r\n", package}), 1, package},
    };

    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        const Opened opened = download(entry.handler);
        ASSERT_EQ(opened.result, 0) << opened.error;
        EXPECT_EQ(server->requests().size(), entry.requests);
        EXPECT_EQ(opened.bytes(), entry.bytes);
    }
}

TEST_F(DownloadTest, SaysOfEachBadAnswerWhatIsWrong) {
    const DeadPort dead;
    const std::string rest = package.substr(cutAt);
    const std::string stranger = packageOf(300'000).key(PrivateKey::generate()).build();
    const std::string foreign = support::PackageBuilder().device("TV").key(key).block("a", "a").build();
    const std::string twice = "Content-Length: " + std::to_string(2 * package.size()) + "\r\n";
    const Reply endless{"HTTP/1.1 302 So\r\nLocation: /\r\nContent-Length: 1099511627776\r\n\r\n",
                        std::string(100'000, 'x'), Reply::End::Close, true};
    const Reply noEnd{"HTTP/1.1 200 OK\r\n", "X: " + std::string(5000, 'y') + "\r\n", Reply::End::Close,
                      true};
    std::size_t more = 0;
    const Handler slow = [&](auto&, auto) { return wholeFileReply(package).cut(cutAt + ++more); };

    const struct {
        Handler handler;
        int result;
        std::string says;
        std::size_t requests;
    } cases[] = {
        {always(answer(404, std::string(100'000, 'x'))), 1, "HTTP status 404", 1},
        {always(partReply("abc", "0-2/3")), 7, "HTTP status 206", 1},
        {always(redirectTo("/pool/p.bin")), 7, "redirects", 11},
        {always(redirectTo("file:///etc/passwd")), 7, "file:///etc/passwd", 1},
        {always(redirectTo(dead.url())), 2, "redirected to " + dead.url(), 1},
        {always(rawReply("SSH-2.0-OpenSSH_9.2p1\r\n")), 7, "HTTP/0.9", 1},
        {always(answer(200, "", "X: " + std::string(200'000, 'x') + "\r\n")), 7, "header", 1},
        {always(noEnd), 7, "header", 5},
        {always(endless), 7, "1048576 bytes behind it", 1},
        {always(answer(200, "x", "Content-Length: 1099511627777\r\n")), 3, "1099511627777 bytes announced",
         1},
        {always(answer(200, package, twice)), 5, "bytes, and " + std::to_string(2 * package.size()), 1},
        {always({"HTTP/1.0 200 OK\r\n\r\n", package.substr(0, cutAt)}), 5, "breaks off at byte 100000", 1},
        {always({"HTTP/1.0 200 OK\r\n\r\n", package + "x"}), 5, "behind its end at " + whole, 1},
        {always(wholeFileReply(stranger)), 6, "not by any of the 1 accepted keys", 1},
        {always(wholeFileReply(foreign)), 4, "for TV, and this device is BOX", 1},
        {always(rawReply("")), 7, "given up", 5},
        {always(wholeFileReply(package).cut(cutAt)), 5, "at byte 100000 of " + whole + "; given up", 6},
        {resumed(always(partReply(rest, "99999-300000/" + whole))), 5, "given up", 10},
        {resumed(always(answer(206, rest))), 5, "given up", 10},
        {slow, 5, "given up", 6},
        {resumed(always(answer(503))), 7, "HTTP status 503, at byte 100000", 6},
        {resumed(always(answer(404))), 1, "HTTP status 404", 2},
    };

    for (const auto& entry : cases) {
        SCOPED_TRACE(std::to_string(&entry - cases) + " " + entry.says);
        const Opened opened = download(entry.handler);
        EXPECT_EQ(opened.result, entry.result) << opened.error;
        EXPECT_THAT(opened.error, testing::AllOf(HasSubstr(server->url(url)), HasSubstr(entry.says)));
        EXPECT_EQ(server->requests().size(), entry.requests);
    }
}

TEST_F(DownloadTest, AStallOrALostServerIsAnUnreachableOne) {
    timeoutSeconds = 1;
    const Opened stalled = download(always(wholeFileReply(package).cut(cutAt, Reply::End::Stall)));
    EXPECT_EQ(stalled.result, 2);
    EXPECT_THAT(stalled.error, HasSubstr("nothing came for 1 s, at byte 100000 of " + whole));

    timeoutSeconds = 60;
    onProgress = [this](const Step& step) {
        if (step.done > 0) {
            server.reset();
        }
    };
    serve(always(wholeFileReply(package).cut(cutAt, Reply::End::Stall)));
    const Opened lost = open(server->url(url));
    EXPECT_EQ(lost.result, 2);
    EXPECT_THAT(lost.error, HasSubstr("given up"));
    EXPECT_THAT(lost.pauses, ElementsAre(1, 2, 4, 8));
}

TEST_F(DownloadTest, EndsAStrangersTransferAtOnce) {
    constexpr std::uint64_t size = 64 << 20;
    const std::string head = packageOf(100).key(PrivateKey::generate()).build();
    Reply reply =
        answer(200, head + std::string(1 << 20, '\0'), "Content-Length: " + std::to_string(size) + "\r\n");
    reply.endless = true;
    EXPECT_EQ(download(always(reply)).result, 6);
    EXPECT_LT(server->bytesSent(), size / 2);
}

} // namespace lumo::tests
