#include <GLES2/gl2.h>

#include <bit>
#include <cmath>

#include "src/ui/opengl/OpenGlRenderManager.h"
#include "src/ui/opengl/SimpleElement.h"
#include "src/ui/system/Image.h"

namespace {

constexpr float OPAQUE_ENOUGH_FOR_HOLES = 0.9F;

void pointAt(int location, int size, const float* values) {
    if (location >= 0) {
        glVertexAttribPointer(static_cast<GLuint>(location), size, GL_FLOAT, GL_FALSE, 0, values);
    }
}

unsigned int arrayBit(int location) {
    return location >= 0 && location < 32 ? 1U << static_cast<unsigned int>(location) : 0;
}

} // namespace

// What all elements of a block have in common.
void OpenGlRenderManager::setBlockState(const CalculatedAnimationCoeff& coeff, const ScissorBox& box) {
    if (box != _scissor) {
        _scissor = box;
        glScissor(box.x, _frameBufferHeight - box.y - box.height, box.width, box.height);
    }
    _alpha.fill(coeff.alpha);
    std::array<float, 16> matrix = coeff.matrix;
    matrix[12] /= static_cast<float>(_width) * 0.5F;
    matrix[13] /= static_cast<float>(_height) * 0.5F;
    if (matrix != _matrix) {
        _matrix = matrix;
        _matrixLocation = -1;
    }
}

void OpenGlRenderManager::drawElement(SimpleElement& element, int milliseconds) {
    const ShaderProgram* program = programOf(element);
    if (program == nullptr) {
        return;
    }
    std::array<float, 8> textureCoords = element.textureCoords;
    const bool textured = program != &_fillProgram;
    if (textured) {
        const GLuint texture = textureOf(element);
        if (texture == 0) {
            return;
        }
        _liveTextures.insert(texture);
        if (element.image) {
            _imageTextures.try_emplace(texture, element.image);
        }
        glBindTexture(GL_TEXTURE_2D, texture);
        advanceSprite(element, textureCoords, milliseconds);
    }
    useProgram(*program);
    pointAt(program->position, 3, element.vertices.data());
    pointAt(program->fillColor, 4, element.colours.data());
    pointAt(program->textureCoord, 2, textureCoords.data());
    // A transparent fill is no fill but a hole, through which what lies beneath the UI is seen.
    const std::array<float, 16>& c = element.colours;
    const bool hole = !textured && _alpha[0] >= OPAQUE_ENOUGH_FOR_HOLES && c[0] == 0.0F && c[1] == 0.0F &&
                      c[2] == 0.0F && c[3] == 0.0F;
    if (hole) {
        glDisable(GL_BLEND);
    }
    glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
    if (hole) {
        glEnable(GL_BLEND);
    }
}

const ShaderProgram* OpenGlRenderManager::programOf(const SimpleElement& element) const {
    switch (element.shaderType) {
    case ShaderTypePlain:
    case ShaderTypeFill:
        return &_fillProgram;
    case ShaderTypeTintedImage:
        return &_imageProgram;
    case ShaderTypeImage:
        return _alpha[0] == 1.0F ? &_fastImageProgram : &_imageProgram;
    case ShaderTypeAlphaImage:
    case ShaderTypeText:
        return &_glyphProgram;
    }
    return nullptr;
}

unsigned int OpenGlRenderManager::textureOf(const SimpleElement& element) {
    if (element.shaderType == ShaderTypeText) {
        return element.textSurface->getTexture(_currentContext);
    }
    return element.image->getTexture(_currentContext, element.source);
}

void OpenGlRenderManager::useProgram(const ShaderProgram& program) {
    const bool fades = &program != &_fastImageProgram;
    if (_program != &program) {
        _program = &program;
        glUseProgram(program.id);
        if (program.texture >= 0) {
            glUniform1i(program.texture, 0);
        }
        // Only what the program reads: an array left on for another program's attribute would hide a
        // constant.
        const unsigned int arrays = arrayBit(program.position) | arrayBit(program.fillColor) |
                                    arrayBit(program.textureCoord) |
                                    (fades ? arrayBit(program.alphaCoeff) : 0);
        for (unsigned int change = arrays ^ _enabledArrays; change != 0; change &= change - 1) {
            const auto location = static_cast<GLuint>(std::countr_zero(change));
            if ((arrays & 1U << location) != 0) {
                glEnableVertexAttribArray(location);
            } else {
                glDisableVertexAttribArray(location);
            }
        }
        _enabledArrays = arrays;
        if (!fades && program.alphaCoeff >= 0) {
            glVertexAttrib1f(static_cast<GLuint>(program.alphaCoeff), 1.0F);
        }
    }
    if (fades && _alphaLocation != program.alphaCoeff) {
        pointAt(program.alphaCoeff, 1, _alpha.data());
        _alphaLocation = program.alphaCoeff;
    }
    if (_matrixLocation != program.matrix && program.matrix >= 0) {
        for (std::size_t column = 0; column < 4; ++column) {
            const float* m = &_matrix[4 * column];
            glVertexAttrib4f(static_cast<GLuint>(program.matrix) + static_cast<GLuint>(column), m[0], m[1],
                             m[2], m[3]);
        }
        _matrixLocation = program.matrix;
    }
}

// Shows the frame of a sprite that is due, and moves on for the next time.
void OpenGlRenderManager::advanceSprite(SimpleElement& element, std::array<float, 8>& textureCoords,
                                        int milliseconds) {
    const auto frames = static_cast<float>(element.spriteFrames & 0xFFFFU);
    const auto speed = static_cast<float>(element.spriteFrames >> 16U);
    const bool image = element.shaderType == ShaderTypeTintedImage || element.shaderType == ShaderTypeImage;
    if (!image || frames == 0.0F) {
        return;
    }
    const float left = std::trunc(element.spritePosition) / frames;
    const float right = left + 1.0F / frames;
    textureCoords[0] = textureCoords[6] = left;
    textureCoords[2] = textureCoords[4] = right;
    if (speed > 0.0F) {
        // Whole rounds do not show.
        const double step = std::fmod(static_cast<double>(milliseconds) / speed, frames);
        element.spritePosition = std::fmod(element.spritePosition + static_cast<float>(step), frames);
        _redraw = true;
    }
}
