// Draws every text the viewer can meet as the screen does, for a look: a PNG file each. Not run by itself;
// the configuration that LUMO_PLATFORM names says on which display.

#include <png.h>

#include <cstdio>
#include <memory>

#include "platform/STBBitmap.h"
#include "src/system/Translator.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/Image.h"
#include "utils/updater/GuiUpdater.h"
#include "utils/updater/LinuxSystemActions.h"

namespace {

const char* const MAIN_TEXTS[] = {
    "Downloading update package",
    "Checking update package.",
    "Installing update.\\nDo not turn off!",
    "No avaliable firmware files found on update server.",
    "Unable to connect to update server.",
    "Error while checking for updates.",
    "Update is not required.",
    "Another process is\\ninstalling update now.",
    "Update was successfully installed.",
    "Wrong update package format.",
    "Firmware update error.\\nDevice may not operate any more.",
    "Update package size is larger then flash size.",
    "MTD error on update.",
};

const char* const OPERATIONS[] = {"Calculating checksum", "Comparing block", "Erasing block",
                                  "Flashing block"};

std::string text(const char* phrase) {
    return Translator::getInstance()->translate(phrase, __FILE__, __LINE__);
}

// Writes what is on the screen.
bool keep(OpenGlRenderManager& renderer, const std::string& prefix, int number) {
    const std::shared_ptr<Image> picture = renderer.makeScreenshot();
    if (!picture) {
        return false;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture->getWidth());
    image.height = static_cast<png_uint_32>(picture->getHeight());
    image.format = PNG_FORMAT_RGBA;
    const std::string path = prefix + (number < 10 ? "0" : "") + std::to_string(number) + ".png";
    const unsigned char* const pixels = picture->getBitmap()->getMemoryPtr();
    return png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr) != 0;
}

bool drawAll(updater::GuiUpdater& gui, OpenGlRenderManager& renderer, const std::string& prefix) {
    int count = 0;
    bool good = true;
    const auto draw = [&](const std::string& main, const std::string& second) {
        gui.setMainLabelText(main);
        gui.setSecondLabelText(second);
        good = keep(renderer, prefix, ++count) && good;
    };
    gui.setProgress(0, false);
    for (const char* phrase : MAIN_TEXTS) {
        draw(text(phrase), "");
    }
    gui.setProgress(573, true);
    for (const char* operation : OPERATIONS) {
        draw(text(MAIN_TEXTS[2]), text(operation) + " kernel ( mtd3 )");
    }
    draw(text(MAIN_TEXTS[2]), text(OPERATIONS[3]) + " bootloader-environment ( mmcblk0boot1-environment )");
    draw(text(MAIN_TEXTS[0]), tr("${1} from ${2} bytes", TRLIST(TRITEM(2461231104LL), TRITEM(4294967296LL))));
    gui.setProgress(0, false);
    draw(text(MAIN_TEXTS[8]) + "\n\n" + tr("Device will reboot after") + " 10 " + tr("sec.") + " ", "");
    return good;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: screen_texts FOLDER LANGUAGE...\n", stderr);
        return 1;
    }
    OpenGlRenderManager* renderer = nullptr;
    updater::LinuxSystemActions actions;
    updater::GuiUpdater gui(actions, [&renderer](int width, int height) {
        auto made = std::make_unique<OpenGlRenderManager>(width, height, nullptr);
        renderer = made.get();
        return made;
    });
    for (int i = 2; i < argc; ++i) {
        const std::string language = argv[i];
        if (renderer == nullptr || !Translator::getInstance()->loadLanguageFile(language) ||
            !drawAll(gui, *renderer, std::string(argv[1]) + "/" + language + "-")) {
            std::fprintf(stderr, "%s: not drawn\n", argv[i]);
            return 1;
        }
    }
    return 0;
}
