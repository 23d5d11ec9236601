#pragma once

#include "foundation/math/math_errors.h"
#include "foundation/math/vec3.h"

#include <cmath>

namespace verdanium {

// Four 32-bit floats; a plain value, zero when default-made. A matrix column,
// a homogeneous point, or a running radiance sum with its sample count in w.
struct Vec4 {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    float w = 0.0f;

    Vec4() = default;
    Vec4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    Vec4(const Vec3& v, float w_) : x(v.x), y(v.y), z(v.z), w(w_) {}

    float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
    float& operator[](int i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }

    Vec3 xyz() const { return {x, y, z}; }

    Vec4& operator+=(const Vec4& o) {
        x += o.x;
        y += o.y;
        z += o.z;
        w += o.w;
        return *this;
    }
    Vec4& operator-=(const Vec4& o) {
        x -= o.x;
        y -= o.y;
        z -= o.z;
        w -= o.w;
        return *this;
    }
    Vec4& operator*=(float s) {
        x *= s;
        y *= s;
        z *= s;
        w *= s;
        return *this;
    }

    friend bool operator==(const Vec4&, const Vec4&) = default;
};

inline Vec4 operator+(Vec4 a, const Vec4& b) {
    return a += b;
}
inline Vec4 operator-(Vec4 a, const Vec4& b) {
    return a -= b;
}
inline Vec4 operator-(const Vec4& a) {
    return {-a.x, -a.y, -a.z, -a.w};
}
inline Vec4 operator*(Vec4 a, float s) {
    return a *= s;
}
inline Vec4 operator*(float s, Vec4 a) {
    return a *= s;
}

inline float dot(const Vec4& a, const Vec4& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

// Accumulated from zero in the order x, y, z, w, like the Vec3 length.
inline float length(const Vec4& v) {
    float sum = 0.0f;
    sum += v.x * v.x;
    sum += v.y * v.y;
    sum += v.z * v.z;
    sum += v.w * v.w;
    return std::sqrt(sum);
}

// A unit copy of v over all four components; throws "element not invertible"
// for a zero (or NaN) length.
inline Vec4 normalized(Vec4 v) {
    return v *= reciprocal(length(v));
}

} // namespace verdanium
