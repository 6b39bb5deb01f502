#pragma once

#include "platform/STBDisplay.h"
#include "platform/linux/graphics/GlEs20Service.h"

namespace lumo {

// The one digital output of a display. A format is supported when its picture has the display's size and the
// display can be driven at its rate; with any other size there is none to choose from.
class Display final : public STBDisplay {
public:
    // service: not owned, must outlive this.
    explicit Display(GlEs20Service& service);

    std::set<STBHDVideoFormat> getSupportedHDFormats() const override;
    std::set<STBSDVideoFormat> getSupportedSDFormats() const override;
    STBOutputSettings getOutputSettings() const override;
    bool setOutputSettings(const STBOutputSettings& settings) override;
    void showSurface(STBSurfaceInterface* surface, int x, int y, int width, int height) override;

private:
    GlEs20Service& _service;
    STBOutputSettings _settings;
};

} // namespace lumo
