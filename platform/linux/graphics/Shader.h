#pragma once

#include <string>

namespace lumo {

// Compiles GLSL ES source as a shader of that GL type. name stands for the source in the log. The shader's
// GL name, or 0 with the compiler's text in the log. Needs a current context.
unsigned int compileShader(const std::string& name, const std::string& source, unsigned int glShaderType);

// Reads the source from a "file:///" URL first. The path stands in it as it is, without escapes.
unsigned int loadShaderFile(const std::string& url, unsigned int glShaderType);

} // namespace lumo
