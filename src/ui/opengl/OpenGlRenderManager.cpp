#include "src/ui/opengl/OpenGlRenderManager.h"

#include <GLES2/gl2.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/STBBitmap.h"
#include "platform/STBGraphicsInterface.h"
#include "platform/STBResourseHolder.h"
#include "src/ui/opengl/OpenGlLog.h"
#include "src/ui/opengl/SimpleElementBlock.h"
#include "src/ui/system/Animation.h"

namespace {

constexpr const char* ASSETS = "file://" LUMO_SYSROOT "/home/lumo/assets/";
constexpr int RENDER_THREAD_NICENESS = -7;

// All programs have their inputs at the same places, so that little changes from one to the next.
enum Attribute : unsigned int {
    AttributePosition = 0,
    AttributeFillColor = 1,
    AttributeTextureCoord = 2,
    AttributeAlphaCoeff = 3,
    AttributeMatrix = 4, // and the next three
};

bool wantsDebug() {
    const char* value = std::getenv("DEBUG_OPENGL");
    if (value == nullptr) {
        return false;
    }
    const std::string_view word(value);
    return word == "y" || word == "1" || word == "Y" || word == "yes";
}

OpenGlRenderManager::Surroundings platform() {
    OpenGlRenderManager::Surroundings result;
    if (STBGraphicsInterface* graphics = STBResourseHolder::getSTBGraphics()) {
        result.gl = graphics->getGlEs20();
    }
    result.sleep = [](unsigned int microseconds) { usleep(microseconds); };
    result.now = [] { return NSTime::nowRelative(); };
    return result;
}

} // namespace

std::atomic<int> OpenGlRenderManager::_currentContext{0};

OpenGlRenderManager::OpenGlRenderManager(int width, int height, void* /*reserved*/)
    : OpenGlRenderManager(width, height, platform()) {}

OpenGlRenderManager::OpenGlRenderManager(int width, int height, Surroundings surroundings)
    : _surroundings(std::move(surroundings)),
      _width(width),
      _height(height),
      _debug(wantsDebug()),
      _recordingTree(std::make_unique<SimpleElementTree>()),
      _currentNode(_recordingTree.get()),
      _frameBufferWidth(width),
      _frameBufferHeight(height),
      _currentTree(std::make_unique<SimpleElementTree>()) {
    OPENGL_LOG(4, "OpenGL Render Manager creating");
    // From here on the render thread may call.
    _registered = _surroundings.gl != nullptr && _surroundings.gl->registerFrameRenderer(this);
    if (_registered) {
        int outputWidth = width;
        int outputHeight = height;
        _surroundings.gl->getOutputSize(outputWidth, outputHeight);
        // Not the render mutex: the render thread holds it while it makes its programs, and the first screen
        // is to be recorded meanwhile.
        const std::lock_guard lock(_swapMutex);
        _outputSize = {outputWidth, outputHeight};
    } else {
        OPENGL_LOG(1, "There is no OpenGL ES output, nothing will be drawn");
    }
    OPENGL_LOG(4, "OpenGL Render Manager created");
}

OpenGlRenderManager::~OpenGlRenderManager() {
    if (_registered) {
        _surroundings.gl->unregisterFrameRenderer(this);
    }
    // While there still is a queue for their textures.
    _currentTree.reset();
    _pendingTree.reset();
    _recordingTree.reset();
    OPENGL_LOG(4, "OpenGL Render Manager destroyed");
}

void OpenGlRenderManager::setAnimationEnabled(bool enabled) {
    _animationEnabled = enabled;
}

bool OpenGlRenderManager::isAnimationEnabled() const {
    return _animationEnabled;
}

void OpenGlRenderManager::setScale(const UIScale& scale) {
    const std::lock_guard lock(_swapMutex);
    _scale = scale;
}

UIScale OpenGlRenderManager::getScale() const {
    const std::lock_guard lock(_swapMutex);
    return _scale;
}

void OpenGlRenderManager::deleteTexture(unsigned int id) {
    const std::lock_guard lock(_textureQueueMutex);
    _textureQueue.push_back(id);
}

void OpenGlRenderManager::deleteTexture(unsigned int id, int context) {
    const std::lock_guard lock(_textureQueueMutex);
    if (context == _currentContext) {
        _textureQueue.push_back(id);
    }
}

void OpenGlRenderManager::onStartRendering() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), RENDER_THREAD_NICENESS);
    const std::lock_guard lock(_renderMutex);
    OPENGL_LOG(3, "OpenGL Render manager init rendering");
    int width = _frameBufferWidth;
    int height = _frameBufferHeight;
    _contextSize = _surroundings.gl->getFrameBufferDimensions(width, height);
    updateFrameBufferSize(width, height);
    {
        // What is still queued died with the last context, and its names may belong to others soon.
        const std::lock_guard queueLock(_textureQueueMutex);
        ++_currentContext;
        _textureQueue.clear();
    }
    resetGlState();
    makePrograms();
    _timed = false;
    _redraw = _redraw || _frameCounter > 0; // the new frame buffer is empty
    const std::lock_guard recordingLock(_recordingMutex);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, _width, _height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
}

void OpenGlRenderManager::onStopRendering() {
    const std::lock_guard lock(_renderMutex);
    OPENGL_LOG(3, "OpenGL Render manager stop rendering");
    dropCompositor();
    for (const GLuint id : std::exchange(_liveTextures, {})) {
        glDeleteTextures(1, &id);
    }
    _imageTextures.clear();
    // The fast image program is left to die with its context.
    for (ShaderProgram* program : {&_fillProgram, &_imageProgram, &_glyphProgram}) {
        glDeleteProgram(std::exchange(*program, {}).id);
    }
    // Waits for a recording in progress.
    const std::lock_guard recordingLock(_recordingMutex);
}

void OpenGlRenderManager::makePrograms() {
    const auto load = [this](const char* name, GLenum type) {
        return _surroundings.gl->loadShader(std::string(ASSETS) + name, type);
    };
    const GLuint vertexShader = load("simple_element.vert", GL_VERTEX_SHADER);
    const GLuint fillShader = load("simple_element_fill.frag", GL_FRAGMENT_SHADER);
    const GLuint imageShader = load("simple_element_img.frag", GL_FRAGMENT_SHADER);
    const GLuint fastImageShader = load("simple_element_img.frag", GL_FRAGMENT_SHADER);
    const GLuint glyphShader = load("simple_element_glyph.frag", GL_FRAGMENT_SHADER);
    if ((_fillProgram.id = glCreateProgram()) == 0) {
        OPENGL_LOG(1, "Can not create simple element fillshader program.");
    }
    if ((_imageProgram.id = glCreateProgram()) == 0) {
        OPENGL_LOG(1, "Can not create simple element img shader program.");
    }
    _fastImageProgram.id = glCreateProgram();
    if (_imageProgram.id == 0) { // the image program's, whatever became of the fast one
        OPENGL_LOG(1, "Can not create simple element fastimg shader program.");
    }
    if ((_glyphProgram.id = glCreateProgram()) == 0) {
        OPENGL_LOG(1, "Can not create simple element glyph shader program.");
    }
    linkProgram(_fillProgram, vertexShader, fillShader);
    linkProgram(_imageProgram, vertexShader, imageShader);
    linkProgram(_fastImageProgram, vertexShader, fastImageShader);
    linkProgram(_glyphProgram, vertexShader, glyphShader);
    // Programs keep what they were linked from.
    for (const GLuint shader : {vertexShader, fillShader, imageShader, fastImageShader, glyphShader}) {
        glDeleteShader(shader);
    }
}

void OpenGlRenderManager::linkProgram(ShaderProgram& program, unsigned int vertexShader,
                                      unsigned int fragmentShader) {
    glAttachShader(program.id, vertexShader);
    glAttachShader(program.id, fragmentShader);
    glBindAttribLocation(program.id, AttributePosition, "a_v4Position");
    glBindAttribLocation(program.id, AttributeFillColor, "a_v4FillColor");
    glBindAttribLocation(program.id, AttributeTextureCoord, "TexCoordIn");
    glBindAttribLocation(program.id, AttributeAlphaCoeff, "a_animAlphaCoeff");
    glBindAttribLocation(program.id, AttributeMatrix, "a_animMatrix");
    glLinkProgram(program.id);
    program.position = glGetAttribLocation(program.id, "a_v4Position");
    program.fillColor = glGetAttribLocation(program.id, "a_v4FillColor");
    program.textureCoord = glGetAttribLocation(program.id, "TexCoordIn");
    program.matrix = glGetAttribLocation(program.id, "a_animMatrix");
    program.alphaCoeff = glGetAttribLocation(program.id, "a_animAlphaCoeff");
    program.texture = glGetUniformLocation(program.id, "Texture");
}

void OpenGlRenderManager::updateFrameBufferSize(int width, int height) {
    _frameBufferWidth = width;
    _frameBufferHeight = height;
    _scaleX = static_cast<float>(width) / static_cast<float>(_width);
    _scaleY = static_cast<float>(height) / static_cast<float>(_height);
}
