// A program that shows one line of text as the updater does, through the platform library, the font library
// and the render manager. The platform's log says when its frame is there; it goes on until it is killed.

#include <unistd.h>

#include "platform/STBDisplay.h"
#include "platform/STBResourseHolder.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"

int main() {
    STBPlatformSettings settings = STBResourseHolder::getDefaultPlatformSettings();
    settings.graphics = true;
    if (!STBResourseHolder::initialize(settings)) {
        return 1;
    }
    TTF_Library::instance()->createFace("openSans", LUMO_BENCH_FONT);
    const auto font = TTF_Library::getFont(TTF_FontProperties("openSans", 50, 50, 0));
    OpenGlRenderManager screen(1280, 720, nullptr);
    screen.beginBlock(nullptr, false, false, UIRect());
    screen.drawTextLine(UIRect(0, 320, 1280, 80), 0xFFFFD65F, 0, font, "Checking update package.",
                        UITextHorizontalAlign(2), UITextVerticalAlign(2), "");
    screen.endBlock();
    screen.displayOnScreen();
    ::pause();
    return 0;
}
