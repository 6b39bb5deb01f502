#include "platform/linux/graphics/Outputs.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/linux/device/Files.h"
#include "platform/linux/graphics/OutputHeadless.h"
#include "platform/linux/graphics/SdlModule.h"

namespace lumo {

namespace {

using Maker = std::unique_ptr<Output> (*)(const std::string& name, Output::Size size);

struct Kind {
    const char* name; // as in the configuration
    Maker make;
};

// The folder that this very code was loaded from.
std::string ownFolder() {
    Dl_info info{};
    // NOLINTNEXTLINE(bugprone-casting-through-void): a function's address is what dladdr looks up
    if (::dladdr(reinterpret_cast<void*>(&ownFolder), &info) == 0 || info.dli_fname == nullptr) {
        return ".";
    }
    return parentDirectory(info.dli_fname);
}

std::unique_ptr<Output> makeHeadless(const std::string&, Output::Size size) {
    return std::make_unique<OutputHeadless>(size);
}

// SDL and what it pulls in would cost every start of the program, so that they are loaded only for displays
// that need them. The module stays loaded.
std::unique_ptr<Output> makeWithSdl(const std::string& name, Output::Size size) {
    const std::string file = ownFolder() + "/" + sdlModuleFile;
    void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        const char* const cause = ::dlerror();
        throw std::runtime_error("the display \"" + name + "\" needs the SDL module: " +
                                 (cause == nullptr ? "cannot load " + file : std::string(cause)));
    }
    const auto make = reinterpret_cast<MakeSdlOutput>(::dlsym(module, sdlModuleSymbol));
    if (make == nullptr) {
        throw std::runtime_error(file + " is not the SDL module of this library");
    }
    return std::unique_ptr<Output>(make(name.c_str(), size.width, size.height));
}

constexpr Kind kinds[] = {
    {"headless", makeHeadless},
    {"window", makeWithSdl},
    {"kms", makeWithSdl},
};

} // namespace

std::unique_ptr<Output> makeOutput(const DisplayConfig& config) {
    for (const Kind& kind : kinds) {
        if (config.backend == kind.name) {
            return kind.make(config.backend, {config.width, config.height});
        }
    }
    throw std::runtime_error("the configuration's display.backend is \"" + config.backend + "\"");
}

} // namespace lumo
