#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_FontFace.h"
#include "src/ui/system/TTF_Library.h"
#include "tests/src/system/LogCapture.h"
#include "tests/src/ui/TestFonts.h"

// For cases with fonts: every case has a library of its own, and says which warnings and errors it expects in
// the log.
class FontFixture : public testing::Test {
protected:
    void SetUp() override { LogCapture::take(); }

    void TearDown() override {
        TTF_Library::destroy();
        EXPECT_THAT(problems(), testing::IsEmpty());
    }

    static TTF_FontFace* createFace(const std::string& name, const std::string& bytes) {
        return TTF_Library::instance()->createFace(name, bytes.data(),
                                                   static_cast<unsigned int>(bytes.size()));
    }

    static std::shared_ptr<TTF_Font> getFont(int width, int height, int outline = 0) {
        return TTF_Library::getFont(TTF_FontProperties("face", width, height, outline));
    }

    // A font of a face of its own.
    static std::shared_ptr<TTF_Font> fontOf(const std::string& bytes, int height, int outline = 0) {
        createFace("face", bytes);
        return getFont(height, height, outline);
    }

    // The warnings and errors since the last call: "<level> <file> <message>".
    static std::vector<std::string> problems() {
        std::vector<std::string> lines = LogCapture::take();
        std::erase_if(lines, [](const std::string& line) { return line >= "3"; });
        return lines;
    }
};
