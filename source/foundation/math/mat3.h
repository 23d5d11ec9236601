#pragma once

#include "foundation/math/vec3.h"

namespace verdanium {

// Nine 32-bit floats stored as three columns of three: element k is column
// k / 3, row k % 3. All zero when default-made. Column vectors, so a * b
// applied to v applies b first.
struct Mat3 {
    float m[9] = {};

    float operator()(int row, int column) const { return m[column * 3 + row]; }
    float& operator()(int row, int column) { return m[column * 3 + row]; }

    Vec3 column(int k) const { return {m[k * 3], m[k * 3 + 1], m[k * 3 + 2]}; }
    void setColumn(int k, const Vec3& v) {
        m[k * 3] = v.x;
        m[k * 3 + 1] = v.y;
        m[k * 3 + 2] = v.z;
    }

    // The shared identity, built on first use.
    static const Mat3& identity();

    // this := this * other.
    Mat3& operator*=(const Mat3& other);

    // this raised to a small power by square-and-multiply, starting from the identity.
    Mat3 power(unsigned exponent) const;

    friend bool operator==(const Mat3&, const Mat3&) = default;
};

inline const Mat3& Mat3::identity() {
    static const Mat3 value = [] {
        Mat3 i;
        i(0, 0) = i(1, 1) = i(2, 2) = 1.0f;
        return i;
    }();
    return value;
}

// Each result column is the columns of a weighted by that column of b, summed in column order.
inline Mat3 operator*(const Mat3& a, const Mat3& b) {
    Mat3 r;
    for (int c = 0; c < 3; ++c)
        r.setColumn(c, a.column(0) * b(0, c) + a.column(1) * b(1, c) + a.column(2) * b(2, c));
    return r;
}

inline Vec3 operator*(const Mat3& a, const Vec3& v) {
    return a.column(0) * v.x + a.column(1) * v.y + a.column(2) * v.z;
}

inline Mat3 operator+(const Mat3& a, const Mat3& b) {
    Mat3 r;
    for (int k = 0; k < 9; ++k)
        r.m[k] = a.m[k] + b.m[k];
    return r;
}

inline Mat3 operator*(float s, const Mat3& a) {
    Mat3 r;
    for (int k = 0; k < 9; ++k)
        r.m[k] = s * a.m[k];
    return r;
}

inline Mat3& Mat3::operator*=(const Mat3& other) {
    return *this = *this * other;
}

inline Mat3 Mat3::power(unsigned exponent) const {
    Mat3 result = identity();
    Mat3 base = *this;
    while (exponent != 0) {
        if (exponent & 1u)
            result *= base;
        exponent >>= 1;
        if (exponent != 0)
            base *= base;
    }
    return result;
}

inline Mat3 transpose(const Mat3& a) {
    Mat3 r;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            r(row, column) = a(column, row);
    return r;
}

// The matrix K with K * v == cross(u, v).
inline Mat3 crossProductMatrix(const Vec3& u) {
    Mat3 k;
    k.setColumn(0, {0.0f, u.z, -u.y});
    k.setColumn(1, {-u.z, 0.0f, u.x});
    k.setColumn(2, {u.y, -u.x, 0.0f});
    return k;
}

} // namespace verdanium
