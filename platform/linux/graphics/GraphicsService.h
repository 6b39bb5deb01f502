#pragma once

#include "platform/STBDecodePixelFormatter.h"
#include "platform/STBGraphicsInterface.h"

namespace lumo {

// Surfaces of plain memory, drawn to by the processor.
class GraphicsService final : public STBGraphicsInterface, private STBDecodePixelFormatter {
public:
    // glEs20: not owned, null for none.
    explicit GraphicsService(STBGraphicsGlEs20Interface* glEs20) : _glEs20(glEs20) {}

    void sync() override {} // blits are finished when they return

    int getOutputPixelFormat() const override;
    STBSurfaceInterface* createSurface(unsigned short width, unsigned short height, int pixelFormat) override;
    int blit(const STBBlitRequest& request) override;

    STBGraphicsGlEs20Interface* getGlEs20() override { return _glEs20; }

    STBDecodePixelFormatter* getDecodePixelFormatter() override { return this; }

private:
    STBPixelFormat getDecodedFormat(bool hasColours, bool hasAlpha) const override;

    STBGraphicsGlEs20Interface* _glEs20;
};

} // namespace lumo
