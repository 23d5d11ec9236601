#pragma once

#include <cmath>

namespace verdanium {

struct DiskPoint {
    float x = 0.0f;
    float y = 0.0f;
};

// Maps the unit square onto the unit disc, preserving area: square rings go to circles, so uniform (a, b)
// gives uniform points of the disc with little distortion. The angle is found by octant, from one division,
// so the map has no branch on a square root and no atan2.
//
// Contract: a and b in [0, 1]; the result lies in the unit disc. (0.5, 0.5) gives the centre.
inline DiskPoint concentricDisk(float a, float b) {
    float p = 2.0f * a - 1.0f;
    float q = 2.0f * b - 1.0f;
    if (p == 0.0f && q == 0.0f) {
        return {0.0f, 0.0f};
    }
    bool high = p > q;
    bool right = p >= -q;
    // Octant value s counts eighths of a turn; the divisor is never zero, since each branch bounds it away
    // from zero by the other coordinate's magnitude.
    float s, r;
    if (right) {
        if (high) {
            s = q / p;
            if (!(q > 0.0f)) {
                s += 8.0f;
            }
            r = p;
        } else {
            s = 2.0f - p / q;
            r = q;
        }
    } else {
        if (high) {
            s = p / -q + 6.0f;
            r = -q;
        } else {
            s = 4.0f - q / -p;
            r = -p;
        }
    }
    float angle = static_cast<float>(static_cast<double>(s) * 0.7853981633974483);
    return {r * std::cos(angle), r * std::sin(angle)};
}

} // namespace verdanium
