#pragma once

#include "foundation/math/math_errors.h"
#include "foundation/math/vec3.h"
#include "foundation/math/vec4.h"

namespace verdanium {

// Sixteen 32-bit floats stored as four columns of four: element k is column
// k / 4, row k % 4. That is OpenGL's layout, so data() goes to GL as it stands,
// never transposed. All zero when default-made. Column vectors, so a * b
// applied to a point applies b first.
struct Mat4 {
    float m[16] = {};

    float operator()(int row, int column) const { return m[column * 4 + row]; }
    float& operator()(int row, int column) { return m[column * 4 + row]; }

    Vec4 column(int k) const { return {m[k * 4], m[k * 4 + 1], m[k * 4 + 2], m[k * 4 + 3]}; }
    void setColumn(int k, const Vec4& v) {
        m[k * 4] = v.x;
        m[k * 4 + 1] = v.y;
        m[k * 4 + 2] = v.z;
        m[k * 4 + 3] = v.w;
    }

    const float* data() const { return m; }
    float* data() { return m; }

    // The shared identity, built on first use.
    static const Mat4& identity();

    friend bool operator==(const Mat4&, const Mat4&) = default;
};

static_assert(sizeof(Mat4) == 16 * sizeof(float), "Mat4 must be exactly GL's sixteen floats");

inline const Mat4& Mat4::identity() {
    static const Mat4 value = [] {
        Mat4 i;
        i(0, 0) = i(1, 1) = i(2, 2) = i(3, 3) = 1.0f;
        return i;
    }();
    return value;
}

// m * v: the columns of m scaled by the components of v, summed in column order.
inline Vec4 operator*(const Mat4& a, const Vec4& v) {
    return a.column(0) * v.x + a.column(1) * v.y + a.column(2) * v.z + a.column(3) * v.w;
}

// a * b: column c of the result is a applied to column c of b.
inline Mat4 operator*(const Mat4& a, const Mat4& b) {
    Mat4 r;
    for (int c = 0; c < 4; ++c)
        r.setColumn(c, a * b.column(c));
    return r;
}

inline Mat4 transpose(const Mat4& a) {
    Mat4 r;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            r(row, column) = a(column, row);
    return r;
}

// Applies m to the point (p, 1). A w of exactly 1 (every affine m) leaves x, y,
// z as they stand; any other w is divided out through its reciprocal, and a
// zero w throws "element not invertible".
inline Vec3 transformPoint(const Mat4& m, const Vec3& p) {
    Vec4 q = m * Vec4(p, 1.0f);
    if (q.w == 1.0f)
        return q.xyz();
    float inverseW = reciprocal(q.w);
    return {q.x * inverseW, q.y * inverseW, q.z * inverseW};
}

// Applies m to the direction (d, 0) and drops w; no division.
inline Vec3 transformDirection(const Mat4& m, const Vec3& d) {
    return (m * Vec4(d, 0.0f)).xyz();
}

} // namespace verdanium
