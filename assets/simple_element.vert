#version 100
// A corner of an element: moved by the block's matrix, faded by the block's alpha. With the identity the corner stays
// as it was recorded, bit for bit. Eight attribute slots in all, as many as every device has.
attribute vec4 a_v4Position;
attribute vec4 a_v4FillColor;
attribute vec2 TexCoordIn;
attribute float a_animAlphaCoeff;
attribute mat4 a_animMatrix;

varying mediump vec4 v_color;
varying highp vec2 v_texCoord;

void main() {
    gl_Position = a_animMatrix * a_v4Position;
    v_color = vec4(a_v4FillColor.rgb, a_v4FillColor.a * a_animAlphaCoeff);
    v_texCoord = TexCoordIn;
}
