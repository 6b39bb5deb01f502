#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "inc/private/pthread_helper.h"
#include "platform/NSTime.h"
#include "platform/STBGraphicsGlEs20Interface.h"
#include "src/ui/opengl/CalculatedAnimationCoeff.h"
#include "src/ui/opengl/ScaleViewData.h"
#include "src/ui/opengl/ScrollViewData.h"
#include "src/ui/opengl/ShaderProgram.h"
#include "src/ui/opengl/SimpleElementTree.h"
#include "src/ui/opengl/TextLineSurface.h"
#include "src/ui/opengl/TriangleVertexColor.h"
#include "src/ui/opengl/WindowCompositorFactory.h"
#include "src/ui/opengl/WindowCompositorInterface.h"
#include "src/ui/system/RenderManagerInterface.h"
#include "src/ui/system/UIPoint.h"
#include "src/ui/system/UITriangle.h"

class STBBitmap;
struct SimpleElement;
struct SimpleGlyphSlot;

// Draws a screen with OpenGL ES 2.0. The UI thread records: every call appends to a tree of blocks, and
// displayOnScreen() publishes a copy of it. The platform's render thread draws the newest published tree, and
// alone makes GL calls. docs/architecture.md tells the way of a frame.
//
// Blocks are kept from frame to frame: one that is entered again under the same identity at the same place
// keeps its elements until it has been recorded anew, its animations and how far it is scrolled. Blocks that
// a frame leaves out are removed when the block around them ends, unless a running animation keeps them. What
// is drawn outside of any block is not shown.
//
// Mutexes are taken in this order: render, recording, swap, a block's, texture queue. Each ends the process
// when its holder takes it again, so handlers of animations, which are called on the render thread with a
// block's mutex held, must not call the render manager. The UI thread's operations are those without another
// thread named.
class OpenGlRenderManager final : public RenderManagerInterface,
                                  public STBGraphicsGlEs20Interface::FrameRenderer {
public:
    using TextLineSurface = ::TextLineSurface;

    // What the manager needs of the world.
    struct Surroundings {
        STBGraphicsGlEs20Interface* gl = nullptr; // null: everything is recorded and nothing drawn
        std::function<void(unsigned int microseconds)> sleep;
        std::function<NSTime()> now;
    };

    // What onFrameRender() answers.
    enum FrameResult : int {
        FrameDrawn = 0,
        FrameSkipped = -5, // nothing new, or overtaken by a newer frame while it was drawn
    };

    // Registers with the platform's graphics service, which starts calling back. width, height: of the screen
    // in UI pixels. reserved: not used.
    OpenGlRenderManager(int width, int height, void* reserved);
    OpenGlRenderManager(int width, int height, Surroundings surroundings);
    // Returns after the render thread has stopped calling.
    ~OpenGlRenderManager() override;

    bool beginBlock(void* id, bool cached, bool recreate, UIRect rect) override;
    void endBlock() override;

    // Changes nothing.
    void needBlockBitmapCache() override {}

    void applyBlockAnimation(std::shared_ptr<Animation> animation) override;
    void applyHiddenBlockAnimation(void* id, std::shared_ptr<Animation> animation) override;
    // While off, animations that are applied are completed and dropped at once; those that run go on.
    void setAnimationEnabled(bool enabled) override;
    bool isAnimationEnabled() const override;
    void setScale(const UIScale& scale) override;
    UIScale getScale() const override;
    void applyBlockScale(const UIRect& rect, const UIScale& scale) override;
    void displayOnScreen() override;

    // Changes nothing: every frame is recorded over the last one.
    void clearSurface() override {}

    void fillRect(const UIRect& rect, unsigned int colour) override;
    // A surface of the line's size is made for it, and taken over from the block's last recording when the
    // line is the same. outlineColour: outlines are not drawn.
    void drawTextLine(const UIRect& rect, unsigned int colour, unsigned int outlineColour,
                      std::shared_ptr<TTF_Font> font, const std::string& text,
                      UITextHorizontalAlign horizontalAlign, UITextVerticalAlign verticalAlign,
                      const std::string& suffix) override;
    void drawImage(const UIRect& dst, const UIRect& src, std::shared_ptr<Image> image) override;
    // Waits for the render thread to read the next frame it draws, at most two seconds. Empty when it does
    // not.
    std::shared_ptr<Image> makeScreenshot() override;

    // beginBlock() of a block whose content can be scrolled.
    virtual bool beginScrollBlock(void* id, bool cached, bool recreate, UIRect rect);
    // Moves the current block's content by that many pixels to the right and down, at velocity pixels a
    // millisecond, or at once when that is not above 0. Adds to a way not finished yet. Nothing for blocks
    // that do not scroll.
    virtual void moveScrollBlock(float dx, float dy, float velocity);
    // Removes the blocks within the current one whose identities, as numbers, lie outside from .. to; the
    // others count as visited.
    virtual void filterIndexRange(void* from, void* to);
    // All blocks within the current one count as visited, and are kept.
    virtual void markChildredRendered();
    // beginBlock() that looks for the block at all places not visited yet.
    virtual bool findBlock(void* id, bool cached, UIRect rect);

    // Render thread.
    void onStartRendering() override;
    void onStopRendering() override;
    int onFrameRender() override;

    // colours: of the corners, blended between them.
    void fillTriangle(const UITriangle& triangle, const TriangleVertexColor& colours);

    // Puts a glyph's coverage into the surface, in place of what is there, for a pen at x and a line whose
    // top is at y. One that crosses an edge is left out whole. The colours are not used: the line is coloured
    // when it is drawn.
    void drawGlyphSlot(const SimpleGlyphSlot* glyph, int x, int y, unsigned int colour,
                       unsigned int outlineColour, TextLineSurface& surface, const TTF_Font& font) const;

    // The texture is deleted by the render thread before it draws the next frame, if this manager made it.
    // Any thread.
    void deleteTexture(unsigned int id);
    // The same for a texture of that GL context; nothing when another one has taken its place. Any thread.
    void deleteTexture(unsigned int id, int context);

    // True, with a line in the log, when the current block is cached and must not be drawn into. With the
    // recording mutex held.
    bool checkSimpleElementLock() const;

    // From UI pixels to device coordinates and back. Whole pixels come back as they were. Any thread.
    void convertPoint(const UIPoint& point, float& x, float& y) const;
    void convertTriangle(const UITriangle& triangle, float& x1, float& y1, float& x2, float& y2, float& x3,
                         float& y3) const;
    // x, y: the top left corner; the bottom edge is at y - h.
    void convertRect(const UIRect& rect, float& x, float& y, float& w, float& h) const;
    void convertToRect(const float& x, const float& y, const float& w, const float& h, UIRect& rect) const;
    // The scale about the pivot of that rectangle. Any thread.
    ScaleViewData makeScaleViewData(const UIRect& rect, const UIScale& scale) const;

    // From the next frame on there is a compositor of that size, made anew, or none.
    void enableWindowCompositor(bool enable, int width, int height);
    void setWindowCompositorVisible(bool visible);
    // The factory is owned from now on, and deleted when another one takes its place or the program ends.
    // Null for none: compositors are then left as they are. Any thread.
    static void setWindowCompositorFactory(WindowCompositorFactory* factory);

private:
    // Any other velocity means that a scroll pass is due.
    static constexpr float SCROLL_IDLE = std::bit_cast<float>(0x472CA175U);

    // A rectangle of the frame buffer in its own pixels, y from the top. Never of negative size.
    struct ScissorBox {
        int x;
        int y;
        int width;
        int height;

        bool operator==(const ScissorBox& other) const = default;
    };

    // What a node of the tree is drawn with: its parent's transform and clip at first, then its own.
    struct Visit {
        const SimpleElementTree* node;
        CalculatedAnimationCoeff coeff;
        ScissorBox box;
    };

    struct Compositing {
        bool enabled = false;
        bool recreate = false;
        int width = 0;
        int height = 0;
    };

    // Blocks, with the recording mutex held.
    bool enterBlock(SimpleElementTree::Children::iterator child, bool cached, const UIRect& rect);
    void cleanTree(SimpleElementTree& node);
    bool isKept(SimpleElementBlock& block);

    // Recording.
    bool refuseAnimation(const std::shared_ptr<Animation>& animation) const;
    void record(SimpleElement&& element);
    void append(SimpleElement&& element); // with the recording mutex held
    void placeQuad(SimpleElement& element, double x, double y, double width, double height) const;

    // Text lines.
    std::shared_ptr<TextLineSurface> findTextLine(const TextLineSource& source, TTF_Font& font);
    std::shared_ptr<TextLineSurface> makeTextLine(const TextLineSource& source, TTF_Font& font);
    void writeText(TextLineSurface& surface, int suffixWidth, TTF_Font& font) const;

    // Lifecycle, render thread.
    void makePrograms();
    static void linkProgram(ShaderProgram& program, unsigned int vertexShader, unsigned int fragmentShader);

    // Frame loop, render thread.
    void updateFrameBufferSize(int width, int height);
    int elapsedMilliseconds(NSTime now);
    void reportFrameRate(NSTime now);
    void deleteQueuedTextures();
    bool takeTree();
    void scroll(int milliseconds);
    bool svPass(const SimpleElementTree& tree, int milliseconds);
    void prepareFrame();
    void resetGlState();

    // Coefficients, render thread.
    void drawTree(int milliseconds);
    std::shared_ptr<std::vector<SimpleElement>> foldBlock(Visit& visit, int milliseconds);
    void advanceAnimation(Animation& animation, int milliseconds);
    void applyAnimationCoeff(Animation& animation, CalculatedAnimationCoeff& coeff) const;
    void applyScaleCoeff(const ScaleViewData& data, CalculatedAnimationCoeff& coeff) const;
    void applyMovementCoeff(const ScrollViewData& data, CalculatedAnimationCoeff& coeff) const;
    void applyScissorCoeff(const UIRect& clip, const CalculatedAnimationCoeff& coeff, ScissorBox& box) const;

    // Elements, render thread.
    void setBlockState(const CalculatedAnimationCoeff& coeff, const ScissorBox& box);
    void drawElement(SimpleElement& element, int milliseconds);
    const ShaderProgram* programOf(const SimpleElement& element) const;
    unsigned int textureOf(const SimpleElement& element);
    void useProgram(const ShaderProgram& program);
    void advanceSprite(SimpleElement& element, std::array<float, 8>& textureCoords, int milliseconds);

    // Screenshot and compositor, render thread.
    void captureScreenshot();
    void updateCompositor();
    void dropCompositor();

    // Constant after construction.
    const Surroundings _surroundings;
    const int _width;  // of the screen, UI pixels
    const int _height; // of the screen, UI pixels
    bool _debug = false;
    bool _registered = false;

    // UI thread only.
    bool _animationEnabled = true;

    pthread_helper::mutex _renderMutex; // held by the render thread throughout each callback
    mutable pthread_helper::mutex _recordingMutex;
    mutable pthread_helper::mutex _swapMutex;
    pthread_helper::mutex _textureQueueMutex;

    // Guarded by the recording mutex; UI thread.
    std::map<void*, std::shared_ptr<Animation>> _hiddenAnimations; // by block; of the frame being recorded
    std::unique_ptr<SimpleElementTree> _recordingTree;
    SimpleElementTree* _currentNode;      // of the recording tree: what drawing calls append to
    std::optional<float> _recordedScroll; // the velocity of the last moveScrollBlock() of the frame

    // Guarded by the swap mutex.
    std::unique_ptr<SimpleElementTree> _pendingTree; // published, not taken yet
    std::optional<std::pair<int, int>> _outputSize;  // width and height, announced and not taken yet
    UIScale _scale;
    float _scrollVelocity = SCROLL_IDLE;
    unsigned int _scrollRequests = 0;
    Compositing _compositing;
    unsigned int _screenshotRequests = 0;
    std::unique_ptr<STBBitmap> _capturedBitmap;

    // Set under the swap mutex, read anywhere.
    std::atomic<bool> _framePosted{false};
    std::atomic<bool> _screenshotRequested{false};
    std::atomic<bool> _screenshotCaptured{false};
    std::atomic<bool> _compositorVisible{false};

    // Guarded by the texture queue's mutex.
    std::vector<unsigned int> _textureQueue; // to be deleted

    // Guarded by the render mutex; render thread.
    int _frameBufferWidth;  // output pixels
    int _frameBufferHeight; // output pixels
    float _scaleX = 1.0F;   // output pixels for a UI pixel
    float _scaleY = 1.0F;
    bool _contextSize = false; // the sizes are the live context's own
    bool _redraw = false;      // the next frame is drawn though no tree was published
    std::unique_ptr<SimpleElementTree> _currentTree;
    UIScale _currentScale;
    int _displayState = 0;
    ShaderProgram _fillProgram;
    ShaderProgram _imageProgram;
    ShaderProgram _fastImageProgram;
    ShaderProgram _glyphProgram;
    std::unique_ptr<WindowCompositorInterface> _compositor;
    bool _compositorShown = false;

    // Render thread only.
    std::set<unsigned int> _liveTextures;                        // made by this manager, in the live context
    std::map<unsigned int, std::weak_ptr<Image>> _imageTextures; // those of them that belong to images
    bool _treeTaken = false;                                     // since these were last looked through
    bool _timed = false;                                         // there was a frame before this one
    NSTime _lastFrame;
    std::int64_t _restMicroseconds = 0;
    std::optional<NSTime> _lastReport;
    int _frameCounter = 0; // frames drawn
    int _reportedFrames = 0;
    std::unordered_set<const Animation*> _advanced; // in this frame
    const ShaderProgram* _program = nullptr;        // in use; null when that is not known
    unsigned int _enabledArrays = 0;                // a bit for each attribute
    int _matrixLocation = -1;        // the attribute that holds the block's matrix; -1 for none
    int _alphaLocation = -1;         // the attribute array that points at the block's alpha; -1 for none
    std::array<float, 16> _matrix{}; // of the block, its translation in device coordinates
    std::array<float, 4> _alpha{};   // of the block, once for each corner
    ScissorBox _scissor{};
    std::vector<Visit> _visits; // nodes of the tree still to be drawn, the next one last

    // Counts the GL contexts of the process; what was made in one is known by its number.
    static std::atomic<int> _currentContext;
};
