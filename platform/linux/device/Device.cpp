#include "platform/linux/device/Device.h"

#include <atomic>
#include <forward_list>
#include <mutex>

#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/device/Device"

namespace lumo {

namespace {

struct Loaded {
    Config config;
    std::string error; // empty: config can be used
};

thread_local bool loading = false;
std::atomic<const Config*> replacement{nullptr};

class LoadingMark {
public:
    LoadingMark() { loading = true; }

    LoadingMark(const LoadingMark&) = delete;
    LoadingMark& operator=(const LoadingMark&) = delete;

    ~LoadingMark() { loading = false; }
};

Loaded load() {
    const LoadingMark mark;
    try {
        return {loadConfig(), ""};
    } catch (const std::exception& error) {
        return {Config(), error.what()};
    }
}

// Never destroyed: exit handlers may still log.
const Loaded& loaded() {
    static const auto* const once = new Loaded(load());
    return *once;
}

} // namespace

const Config& deviceConfig() {
    if (const Config* const other = replacement.load()) {
        return *other;
    }
    if (!loaded().error.empty()) {
        throw ConfigError(loaded().error);
    }
    return loaded().config;
}

const Config* usableDeviceConfig() {
    try {
        return &deviceConfig();
    } catch (const ConfigError& error) {
        static std::once_flag once;
        std::call_once(once, [&] { LUMO_LOG(LogError, "Configuration: %s", error.what()); });
        return nullptr;
    }
}

const Config* deviceConfigForLog() {
    if (loading) {
        return nullptr;
    }
    if (const Config* const other = replacement.load()) {
        return other;
    }
    return loaded().error.empty() ? &loaded().config : nullptr;
}

void setDeviceConfigForTests(const Config& config) {
    static std::mutex mutex;
    static auto* const kept = new std::forward_list<Config>;
    const std::lock_guard lock(mutex);
    replacement.store(&kept->emplace_front(config));
}

} // namespace lumo
