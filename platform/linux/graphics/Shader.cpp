#include "platform/linux/graphics/Shader.h"

#include <GLES2/gl2.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/graphics/Shader"

namespace lumo {

namespace {

constexpr std::size_t longestSource = 1 << 20;
constexpr std::string_view scheme = "file://";

std::string compilerText(GLuint shader) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::string text(static_cast<std::size_t>(std::max(length, 1)), '\0');
    GLsizei written = 0;
    glGetShaderInfoLog(shader, static_cast<GLsizei>(text.size()), &written, text.data());
    text.resize(static_cast<std::size_t>(std::max(written, 0)));
    return text.empty() ? "the compiler says nothing" : text;
}

// One line of the log for each line of the compiler.
void logLines(int level, const std::string& name, const std::string& text) {
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (end > start) {
            LUMO_LOG(level, "Shader %s: %s", name.c_str(), text.substr(start, end - start).c_str());
        }
        start = end + 1;
    }
}

} // namespace

unsigned int compileShader(const std::string& name, const std::string& source, unsigned int glShaderType) {
    const GLuint shader = glCreateShader(glShaderType);
    if (shader == 0) {
        LUMO_LOG(LogError, "Shader %s: no shader of type 0x%x can be made (GL error 0x%x)", name.c_str(),
                 glShaderType, glGetError());
        return 0;
    }
    const GLchar* const text = source.data();
    const GLint length = static_cast<GLint>(source.size());
    glShaderSource(shader, 1, &text, &length);
    glCompileShader(shader);
    GLint compiled = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == GL_FALSE) {
        logLines(LogError, name, compilerText(shader));
        glDeleteShader(shader);
        return 0;
    }
    return shader;
}

unsigned int loadShaderFile(const std::string& url, unsigned int glShaderType) {
    if (!url.starts_with(scheme) || url.size() == scheme.size() || url[scheme.size()] != '/') {
        LUMO_LOG(LogError, "Shader %s: shaders come from file:/// URLs", url.c_str());
        return 0;
    }
    try {
        const auto source = readSmallFile(url.substr(scheme.size()), longestSource);
        if (source) {
            return compileShader(url, *source, glShaderType);
        }
        LUMO_LOG(LogError, "Shader %s: there is no such file", url.c_str());
    } catch (const std::system_error& error) {
        LUMO_LOG(LogError, "Shader %s: %s", url.c_str(), error.what());
    }
    return 0;
}

} // namespace lumo
