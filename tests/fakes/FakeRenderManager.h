#pragma once

#include <gmock/gmock.h>

#include "src/ui/system/RenderManagerInterface.h"
#include "tests/fakes/Journal.h"

namespace fakes {

// A renderer that notes what it is told to draw.
class FakeRenderManager final : public RenderManagerInterface {
public:
    explicit FakeRenderManager(Journal& journal) : _journal(journal) { _journal.push_back("renderer up"); }

    ~FakeRenderManager() override { _journal.push_back("renderer down"); }

    bool beginBlock(void* id, bool cached, bool recreate, UIRect rect) override {
        _journal.push_back(id == nullptr && !cached && !recreate && rect == UIRect() ? "begin"
                                                                                     : "begin other");
        return false;
    }

    void endBlock() override { _journal.push_back("end"); }

    void clearSurface() override { _journal.push_back("clear"); }

    void displayOnScreen() override { _journal.push_back("show"); }

    void fillRect(const UIRect& rect, unsigned int colour) override {
        _journal.push_back("fill" + rect.dump() + (colour == 0xFFFFD65F ? "" : " in another colour"));
    }

    void drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                      std::shared_ptr<TTF_Font> font, const std::string& text,
                      UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                      const std::string& suffix) override {
        const bool usual = colour == 0xFFFFD65F && outlineColour == 0 && font && horizontalAlign == 2 &&
                           verticalAlign == 2 && suffix.empty() && rect.x == 0 && rect.w == 1280 &&
                           rect.h == 60;
        _journal.push_back((usual ? "text at " : "other text at ") + std::to_string(rect.y) + ": " + text);
    }

    // Nobody asks for the rest.
    MOCK_METHOD(void, needBlockBitmapCache, (), (override));
    MOCK_METHOD(void, applyBlockAnimation, (std::shared_ptr<Animation>), (override));
    MOCK_METHOD(void, applyHiddenBlockAnimation, (void*, std::shared_ptr<Animation>), (override));
    MOCK_METHOD(void, setAnimationEnabled, (bool), (override));
    MOCK_METHOD(bool, isAnimationEnabled, (), (const, override));
    MOCK_METHOD(void, setScale, (const UIScale&), (override));
    MOCK_METHOD(UIScale, getScale, (), (const, override));
    MOCK_METHOD(void, applyBlockScale, (const UIRect&, const UIScale&), (override));
    MOCK_METHOD(void, drawImage, (const UIRect&, const UIRect&, std::shared_ptr<Image>), (override));
    MOCK_METHOD(std::shared_ptr<Image>, makeScreenshot, (), (override));

private:
    Journal& _journal;
};

} // namespace fakes
