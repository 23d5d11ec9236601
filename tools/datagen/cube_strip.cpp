#include "cube_strip.h"

namespace verdanium::datagen {

Vector3 cubeStripDirection(int x, int y, int faceSize) {
    int face = y / faceSize;
    // p grows to the right and q downwards within the face, both in (-1, 1).
    // Inverting the lookup face by face gives, with the face's own axis at +-1:
    double p = 2.0 * (x + 0.5) / faceSize - 1.0;
    double q = 2.0 * (y % faceSize + 0.5) / faceSize - 1.0;
    switch (face) {
    case 0: // +X: u = 0.5 - z / 2x, rows run from y = -1 at the top
        return {1.0, q, -p};
    case 1: // -X
        return {-1.0, q, p};
    case 2: // +Y
        return {p, 1.0, -q};
    case 3: // -Y
        return {p, -1.0, q};
    case 4: // +Z
        return {p, q, 1.0};
    default: // -Z
        return {-p, q, -1.0};
    }
}

} // namespace verdanium::datagen
