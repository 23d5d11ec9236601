#pragma once

// Small double-precision vectors for the data generator. The program's own math
// types are 32-bit; the generator works in doubles so that every shape and texel
// is computed with the same rounding on every machine before it is written out.

#include <cmath>

namespace verdanium::datagen {

struct Vector2 {
    double x = 0, y = 0;
};

struct Vector3 {
    double x = 0, y = 0, z = 0;

    Vector3& operator+=(const Vector3& o) {
        x += o.x;
        y += o.y;
        z += o.z;
        return *this;
    }
    Vector3& operator-=(const Vector3& o) {
        x -= o.x;
        y -= o.y;
        z -= o.z;
        return *this;
    }
    Vector3& operator*=(double s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
};

inline Vector3 operator+(Vector3 a, const Vector3& b) {
    return a += b;
}
inline Vector3 operator-(Vector3 a, const Vector3& b) {
    return a -= b;
}
inline Vector3 operator-(const Vector3& a) {
    return {-a.x, -a.y, -a.z};
}
inline Vector3 operator*(Vector3 a, double s) {
    return a *= s;
}
inline Vector3 operator*(double s, Vector3 a) {
    return a *= s;
}
inline Vector3 operator*(const Vector3& a, const Vector3& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
inline bool operator==(const Vector3& a, const Vector3& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

inline double dot(const Vector3& a, const Vector3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vector3& a) {
    return std::sqrt(dot(a, a));
}

// Returns the zero vector for a zero input rather than NaNs, so that a degenerate
// sum of face normals can be detected by the caller instead of poisoning output.
inline Vector3 normalize(const Vector3& a) {
    double l = length(a);
    return l > 0 ? a * (1.0 / l) : Vector3{};
}

inline Vector3 lerp(const Vector3& a, const Vector3& b, double t) {
    return a + (b - a) * t;
}

inline double clamp01(double v) {
    return v < 0 ? 0 : (v > 1 ? 1 : v);
}

inline double smoothstep(double edge0, double edge1, double v) {
    double t = clamp01((v - edge0) / (edge1 - edge0));
    return t * t * (3 - 2 * t);
}

inline double mix(double a, double b, double t) {
    return a + (b - a) * t;
}

} // namespace verdanium::datagen
