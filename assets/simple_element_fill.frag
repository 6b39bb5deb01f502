#version 100
// A plain colour. Ten bits of fraction are enough for it.
precision mediump float;

varying vec4 v_color;

void main() {
    gl_FragColor = v_color;
}
