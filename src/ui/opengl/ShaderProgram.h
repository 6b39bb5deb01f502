#pragma once

// A linked program and where its inputs are; -1 for one that it has not.
struct ShaderProgram {
    unsigned int id = 0; // 0 when it could not be made
    int position = -1;
    int fillColor = -1;
    int textureCoord = -1;
    int texture = -1;
    int alphaCoeff = -1;
    int matrix = -1; // the first of its four columns
};
