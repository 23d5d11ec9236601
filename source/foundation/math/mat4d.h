#pragma once

namespace verdanium {

// The 64-bit twin of Mat4, same column-major layout, all zero when default-made.
// Projection matrices are formed in it and narrowed to Mat4 afterwards.
struct Mat4d {
    double m[16] = {};

    double operator()(int row, int column) const { return m[column * 4 + row]; }
    double& operator()(int row, int column) { return m[column * 4 + row]; }

    // The shared identity, built on first use.
    static const Mat4d& identity();

    friend bool operator==(const Mat4d&, const Mat4d&) = default;
};

inline const Mat4d& Mat4d::identity() {
    static const Mat4d value = [] {
        Mat4d i;
        i(0, 0) = i(1, 1) = i(2, 2) = i(3, 3) = 1.0;
        return i;
    }();
    return value;
}

inline Mat4d operator*(const Mat4d& a, const Mat4d& b) {
    Mat4d r;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += a(row, k) * b(k, column);
            r(row, column) = sum;
        }
    return r;
}

} // namespace verdanium
