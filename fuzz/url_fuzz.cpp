// URLs: any text is sorted, shown, resolved and rewritten, and the results keep their promises.
#include "fuzz/Input.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/Url.h"
#include "src/common/Utils.h"

namespace {

void locate(const std::string& url) {
    try {
        const lumo::Location location = lumo::locate(url);
        require(!location.place.empty());
        require(location.local || location.place == url);
    } catch (const lumo::FirmwareError& error) {
        require(error.result() == lumo::OpenResult::NotFound);
    }
}

void resolve(const std::string& base, const std::string& reference) {
    const std::string url = lumo::resolveUrl(base, reference);
    if (url.starts_with("http://") || url.starts_with("https://")) {
        require(lumo::resolveUrl(url, url) == url);
    } else {
        require(url.empty() || (url.starts_with("file:") && Utils::strToLower(base).starts_with("file:")));
    }
    require(std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < 0x7F; }));
}

// Behind "user:" there is a password, which nobody sees.
void show(const std::string& url) {
    require(lumo::shownUrl(url).size() <= 503);
    const std::string secret = "pass" + url.substr(0, url.find_first_of("@/?#")) + "word";
    require(lumo::shownUrl("http://user:" + secret + "@host/").find(secret) == std::string::npos);
}

void rewrite(const std::string& url, const std::string& proxy) {
    const std::string rewritten = Utils::convertUdpxyUrl(url, proxy);
    if (rewritten != url) {
        require(!proxy.empty() && rewritten.starts_with("http") && rewritten.find(proxy) <= 7);
        require(rewritten.ends_with(url.substr(url[6] == '@' && url.size() > 7 ? 7 : 6)));
    }
    require(!Utils::hasURLProtocol(url) || Utils::isURL(url));
    require(Utils::getFileExtension(url).size() < std::max<std::size_t>(url.size(), 1));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string first = input.textUntil('\n');
    const std::string second = input.rest();
    locate(first);
    resolve(second, first);
    show(first);
    rewrite(first, second);
    return 0;
}
