#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/NSTime.h"
#include "src/ui/system/RenderManagerInterface.h"
#include "utils/updater/ProgressScreen.h"
#include "utils/updater/ScreenLayout.h"

class TTF_Font;

namespace updater {

class SystemActions;

struct TextLabel {
    unsigned int colour = 0xFFFFD65F;
    int width = SCREEN_WIDTH;       // pixels; what lines are broken to
    std::vector<std::string> lines; // as the font splits the text, line breaks included
    std::shared_ptr<TTF_Font> font; // none on a disabled screen
};

// The full-screen display: a main text, a detail text and a progress bar, centred, on the renderer it is
// given. It brings up the platform's resources, drives the video output, sets the front panel's LEDs 0 and 3
// to blink while it is there, and loads the viewer's language. Where the platform or the font fails it stays
// disabled: nothing is drawn, texts stay English, and everything else goes on. New main texts and finished
// operations also go to the log, at level 4, and all
// progress that is shown at level 5. Main thread.
class GuiUpdater final : public ProgressScreen {
public:
    // Makes the renderer for a screen of that many pixels, once the platform is up. Null: nothing is drawn.
    using MakeRenderManager = std::function<std::unique_ptr<RenderManagerInterface>(int width, int height)>;

    // actions must outlive the screen.
    GuiUpdater(SystemActions& actions, const MakeRenderManager& makeRenderManager);
    // Ends the renderer, then the fonts, then puts the LEDs into their normal state and releases the
    // platform, on a disabled screen too.
    ~GuiUpdater();

    // Progress is shown at most every 300 ms, and 100 % always; then the detail text and the bar go away.
    void onFileOpenProgress(STBFirmwareFile::CurrentOperation operation, long long totalBytes,
                            long long processedBytes, double percent) override;
    void onUpdateProgress(const STBFirmwareFile::Block& block, const std::string& target,
                          STBFirmwareUpdater::CurrentOperation operation, double percent) override;

    // Both draw. A newline starts a new line too.
    void setMainLabelText(const std::string& text) override;
    void setSecondLabelText(const std::string& text);
    // value: tenths of a percent, brought into 0..1000. Draws.
    void setProgress(int value, bool visible);
    void displayRebootAfter(const std::string& text, int seconds) override;

    // Draws everything anew.
    void draw();

    // True when the last time it was is more than 300 ms ago; that makes now the last time.
    bool isTimeToRefresh();

private:
    bool initializePlatform();
    bool createFont();

    // These three do not draw.
    void changeMainText(const std::string& text);
    void changeSecondText(const std::string& text);
    // operation: in English, for the log.
    void changeProgress(const std::string& operation, const std::string& detail, double percent);

    void drawLabel(const TextLabel& label, const std::vector<UIRect>& places);

    bool _enabled = false;
    std::unique_ptr<RenderManagerInterface> _renderManager;
    TextLabel _mainLabel;
    TextLabel _secondLabel;
    unsigned int _progressColour = 0xFFFFD65F;
    bool _progressVisible = false;
    int _progress = 0; // tenths of a percent
    int _progressWidth = 896;
    int _progressHeight = 50;
    NSTime _lastRefresh;

    SystemActions& _actions;
    std::string _loggedText; // the main text that the log has already
};

} // namespace updater
