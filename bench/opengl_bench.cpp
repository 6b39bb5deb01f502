// Frames of a progress screen, three lines of text and a bar, on Mesa's software rasteriser without threads:
// recorded, published and drawn by the render manager, beside SDL2's opengles2 renderer with cached textures
// of the same texts, and beside the bare GL calls for the same quads. And what recording costs alone, and how
// it all grows.

#include <GLES2/gl2.h>
#include <benchmark/benchmark.h>
#include <utf8.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/SdlScreen.h"
#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/system/SimpleGlyphSlot.h"
#include "src/ui/system/TTF_Font.h"
#include "src/ui/system/TTF_Library.h"
#include "tests/fakes/FakeGlService.h"
#include "tests/support/HeadlessGl.h"

namespace {

constexpr int screenWidth = 1280;
constexpr int screenHeight = 720;
constexpr int fontHeight = 50;
constexpr int lineHeight = 60;
constexpr unsigned int colour = 0xFFFFD65F;
constexpr UIRect bar(192, 450, 513, 50);
const std::array<std::string, 3> lines{"Installing update.", "Do not turn off!",
                                       "Flashing block kernel ( mtd3 )"};

std::shared_ptr<TTF_Font> font() {
    static const auto result = [] {
        TTF_Library::instance()->createFace("openSans", LUMO_BENCH_FONT);
        return TTF_Library::instance()->getFont(TTF_FontProperties("openSans", fontHeight, fontHeight, 0));
    }();
    return result;
}

// A line of text as the render manager makes it: where, how large, and its coverage.
struct Text {
    UIRect place;
    std::vector<std::uint8_t> coverage;
};

std::vector<Text> texts() {
    OpenGlRenderManager writer(screenWidth, screenHeight, OpenGlRenderManager::Surroundings{});
    std::vector<Text> result;
    for (const std::string& line : lines) {
        const int margin = fontHeight / 4;
        const int width = static_cast<int>(font()->getTextWidth(line, 0));
        const auto count = static_cast<int>(result.size());
        const UIRect place((screenWidth - width) / 2 - margin, 270 + count * lineHeight - margin,
                           width + 2 * margin, fontHeight + 2 * margin);
        TextLineSurface surface(&writer, place.w, place.h);
        int pen = margin;
        for (const char32_t letter : utf8::utf8to32(line)) {
            const SimpleGlyphSlot* glyph = font()->loadGlyphSlot(letter);
            if (!glyph->empty()) {
                writer.drawGlyphSlot(glyph, pen, margin, 0, 0, surface, *font());
            }
            pen += glyph->advancePx();
        }
        result.push_back({place, {surface.pixels(), surface.pixels() + place.w * place.h}});
    }
    return result;
}

// The render manager with this thread as both of its threads.
class Screen {
public:
    Screen() {
        OpenGlRenderManager::Surroundings surroundings;
        surroundings.gl = &_service;
        surroundings.sleep = [](unsigned int) {};
        surroundings.now = [] { return NSTime::nowRelative(); };
        manager = std::make_unique<OpenGlRenderManager>(screenWidth, screenHeight, surroundings);
        _service.start();
    }

    void recordProgress() const {
        manager->clearSurface();
        manager->beginBlock(nullptr, false, false, UIRect());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const UIRect box(0, 270 + static_cast<int>(i) * lineHeight, screenWidth, lineHeight);
            manager->drawTextLine(box, colour, 0, font(), lines[i], UITextHorizontalAlignCenter,
                                  UITextVerticalAlignCenter, "");
        }
        manager->fillRect(bar, colour);
        manager->endBlock();
        manager->displayOnScreen();
    }

    // Ten small rectangles a block.
    void recordBlocks(int elements) const {
        for (int i = 0; i < elements; i += 10) {
            manager->beginBlock(nullptr, false, false, UIRect());
            for (int k = i; k < i + 10; ++k) {
                manager->fillRect(UIRect(k * 8 % screenWidth, k * 8 / screenWidth * 8, 4, 4), colour);
            }
            manager->endBlock();
        }
        manager->displayOnScreen();
    }

    void draw() {
        if (_service.frame() != 0) {
            std::abort();
        }
        glFinish();
    }

    std::unique_ptr<OpenGlRenderManager> manager;

private:
    support::HeadlessGl _gl{screenWidth, screenHeight};
    FakeGlService _service{{screenWidth, screenHeight}};
};

// The same quads by hand.
class BareGl {
public:
    BareGl() {
        _program = glCreateProgram();
        attach(GL_VERTEX_SHADER, "attribute vec2 place; attribute vec2 texel; varying highp vec2 at;"
                                 "void main() { gl_Position = vec4(place, 0.0, 1.0); at = texel; }");
        attach(GL_FRAGMENT_SHADER,
               "precision mediump float; varying highp vec2 at; uniform sampler2D text; uniform vec4 colour;"
               "void main() { gl_FragColor = vec4(colour.rgb, colour.a * texture2D(text, at).a); }");
        glBindAttribLocation(_program, 0, "place");
        glBindAttribLocation(_program, 1, "texel");
        glLinkProgram(_program);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        for (const Text& text : texts()) {
            addQuad(text.place, text.coverage.data(), text.place.w, text.place.h);
        }
        const std::uint8_t full = 255;
        addQuad(bar, &full, 1, 1);
        glUseProgram(_program);
        glUniform4f(glGetUniformLocation(_program, "colour"), 1.0F, 214 / 255.F, 95 / 255.F, 1.0F);
        glEnable(GL_BLEND);
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        glEnableVertexAttribArray(0);
        glEnableVertexAttribArray(1);
    }

    void frame() {
        const float texels[] = {0, 0, 1, 0, 1, 1, 0, 1};
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, 0, texels);
        for (const Quad& quad : _quads) {
            glBindTexture(GL_TEXTURE_2D, quad.texture);
            glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, quad.corners.data());
            glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
        }
        glFinish();
    }

private:
    struct Quad {
        GLuint texture;
        std::array<float, 8> corners;
    };

    void attach(GLenum type, const char* source) const {
        const GLuint shader = glCreateShader(type);
        glShaderSource(shader, 1, &source, nullptr);
        glCompileShader(shader);
        glAttachShader(_program, shader);
    }

    void addQuad(const UIRect& place, const std::uint8_t* coverage, int width, int height) {
        const auto x = [](int pixels) { return static_cast<float>(pixels) / (screenWidth * 0.5F) - 1.0F; };
        const auto y = [](int pixels) { return 1.0F - static_cast<float>(pixels) / (screenHeight * 0.5F); };
        const float left = x(place.x);
        const float right = x(place.x + place.w);
        const float top = y(place.y);
        const float bottom = y(place.y + place.h);
        Quad quad{0, {left, top, right, top, right, bottom, left, bottom}};
        glGenTextures(1, &quad.texture);
        glBindTexture(GL_TEXTURE_2D, quad.texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_ALPHA, width, height, 0, GL_ALPHA, GL_UNSIGNED_BYTE, coverage);
        _quads.push_back(quad);
    }

    support::HeadlessGl _gl{screenWidth, screenHeight};
    GLuint _program = 0;
    std::vector<Quad> _quads;
};

void progressFrame(benchmark::State& state) {
    Screen screen;
    for (auto step : state) {
        screen.recordProgress();
        screen.draw();
    }
}

void progressFrameSdl(benchmark::State& state) {
    SdlScreen screen(screenWidth, screenHeight);
    for (const Text& text : texts()) {
        screen.addText(text.place.x, text.place.y, text.place.w, text.place.h, text.coverage);
    }
    for (auto step : state) {
        screen.frame(colour, bar.x, bar.y, bar.w, bar.h);
    }
}

void progressFrameBareGl(benchmark::State& state) {
    BareGl screen;
    for (auto step : state) {
        screen.frame();
    }
}

void progressRecording(benchmark::State& state) {
    const Screen screen;
    for (auto step : state) {
        screen.recordProgress();
    }
}

void blocks(benchmark::State& state) {
    Screen screen;
    for (auto step : state) {
        screen.recordBlocks(static_cast<int>(state.range(0)));
        screen.draw();
    }
}

void blocksRecording(benchmark::State& state) {
    const Screen screen;
    for (auto step : state) {
        screen.recordBlocks(static_cast<int>(state.range(0)));
    }
}

// At most 1.25 times SDL's time, and 1.4 times that of the bare calls.
BENCHMARK(progressFrame)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(progressFrameSdl)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(progressFrameBareGl)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(progressRecording)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
// Linear in the elements.
BENCHMARK(blocks)->Arg(1000)->Arg(2000)->Arg(4000)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(blocksRecording)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    setenv("LP_NUM_THREADS", "0", 1); // read when the rasteriser starts
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
