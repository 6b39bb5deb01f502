#version 100
// A picture, tinted.
precision mediump float;

varying vec4 v_color;

// Ten bits of fraction would miss texels of pictures as wide as the screen. Devices without more hand a coordinate that
// is used as it comes to the sampler in full.
#ifdef GL_FRAGMENT_PRECISION_HIGH
varying highp vec2 v_texCoord;
#else
varying vec2 v_texCoord;
#endif

uniform sampler2D Texture;

void main() {
    gl_FragColor = texture2D(Texture, v_texCoord) * v_color;
}
