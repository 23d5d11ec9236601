#pragma once

#include "foundation/math/math_errors.h"

#include <cmath>

namespace verdanium {

// Three 32-bit floats; a plain value, zero when default-made. Used for points,
// directions, normals and RGB radiance alike.
struct Vec3 {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;

    // Component by index 0, 1, 2. Written as a select rather than pointer
    // arithmetic over the members, which would be undefined; compilers turn it
    // into conditional moves, so it stays cheap in the slab tests.
    float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }
    float& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }

    Vec3& operator+=(const Vec3& o) {
        x += o.x;
        y += o.y;
        z += o.z;
        return *this;
    }
    Vec3& operator-=(const Vec3& o) {
        x -= o.x;
        y -= o.y;
        z -= o.z;
        return *this;
    }
    Vec3& operator*=(const Vec3& o) {
        x *= o.x;
        y *= o.y;
        z *= o.z;
        return *this;
    }
    Vec3& operator*=(float s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }

    friend bool operator==(const Vec3&, const Vec3&) = default;
};

inline Vec3 operator+(Vec3 a, const Vec3& b) {
    return a += b;
}
inline Vec3 operator-(Vec3 a, const Vec3& b) {
    return a -= b;
}
inline Vec3 operator-(const Vec3& a) {
    return {-a.x, -a.y, -a.z};
}
// Component-wise product (colour times colour).
inline Vec3 operator*(Vec3 a, const Vec3& b) {
    return a *= b;
}
inline Vec3 operator*(Vec3 a, float s) {
    return a *= s;
}
inline Vec3 operator*(float s, Vec3 a) {
    return a *= s;
}

inline float dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline Vec3 componentMin(const Vec3& a, const Vec3& b) {
    return {std::fmin(a.x, b.x), std::fmin(a.y, b.y), std::fmin(a.z, b.z)};
}

inline Vec3 componentMax(const Vec3& a, const Vec3& b) {
    return {std::fmax(a.x, b.x), std::fmax(a.y, b.y), std::fmax(a.z, b.z)};
}

// Sum of squares accumulated from zero in the order x, y, z, so that every
// caller gets bit-identical lengths.
inline float lengthSquared(const Vec3& v) {
    float sum = 0.0f;
    sum += v.x * v.x;
    sum += v.y * v.y;
    sum += v.z * v.z;
    return sum;
}

inline float length(const Vec3& v) {
    return std::sqrt(lengthSquared(v));
}

// Makes v unit length in place: one reciprocal, three products.
// Throws "element not invertible" for a zero (or NaN) length.
inline Vec3& normalise(Vec3& v) {
    return v *= reciprocal(length(v));
}

// A unit copy of v; throws "element not invertible" for a zero (or NaN) length.
inline Vec3 normalized(Vec3 v) {
    return normalise(v);
}

} // namespace verdanium
