#pragma once

#include <string>

// The OpenGL ES 2.0 service: owns the context, the output and the render thread. Owned by
// STBGraphicsInterface.
class STBGraphicsGlEs20Interface {
public:
    // Draws frames. All three operations are called on the render thread with the context current:
    // onStartRendering once per context, then onFrameRender again and again, onStopRendering once. Never
    // deleted through this type.
    class FrameRenderer {
    public:
        virtual void onStartRendering() = 0;
        virtual void onStopRendering() = 0;
        // 0: a frame was drawn, present it. Another value: nothing to present.
        virtual int onFrameRender() = 0;

    protected:
        ~FrameRenderer() = default;
    };

    // Starts rendering on the render thread, with a context that nobody has used. False when a renderer is
    // registered already or no context can be made.
    virtual bool registerFrameRenderer(FrameRenderer* renderer) = 0;
    // Ends rendering; returns after onStopRendering has run on the render thread. A renderer whose display is
    // gone has been stopped already. Not on the render thread.
    virtual void unregisterFrameRenderer(FrameRenderer* renderer) = 0;
    // Size of the output in pixels. Any thread.
    virtual void getOutputSize(int& width, int& height) = 0;

    // Size of the live context's frame buffer in pixels. The default leaves both alone and answers false: the
    // output size holds. Render thread.
    virtual bool getFrameBufferDimensions(int& /*width*/, int& /*height*/) { return false; }

    // Reads GLSL ES source from a "file:///" URL, whose path is taken as it is (a prefix such as LUMO_SYSROOT
    // is the caller's to put in), and compiles it as a shader of that GL type (0x8B31 vertex, 0x8B30
    // fragment). The shader's name, or 0 with the compiler's text in the log. Render thread.
    virtual unsigned int loadShader(const std::string& url, unsigned int glShaderType) = 0;
    // A value that changes whenever the output needs a full redraw; -2 when there is no output. Render
    // thread.
    virtual int getDisplayState() = 0;
    // Called before each frame is drawn, unless the state is -2. Render thread.
    virtual void prepareOutput() = 0;

protected:
    ~STBGraphicsGlEs20Interface() = default;
};
