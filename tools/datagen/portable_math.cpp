#include "portable_math.h"

#include <cmath>

namespace verdanium::datagen {
namespace {

// pi / 2 split in two so that k * kHalfPiHigh is exact for the small k we meet
// (Cody and Waite's reduction).
constexpr double kHalfPiHigh = 1.57079632673412561417e+00;
constexpr double kHalfPiLow = 6.07710050650619224932e-11;
constexpr double kInverseHalfPi = 6.36619772367581382433e-01;

// Taylor series on [-pi/4, pi/4]; the first omitted term is below 1e-17.
double sinKernel(double r) {
    double r2 = r * r;
    double p = 1.0 / 1307674368000.0;
    p = p * r2 - 1.0 / 6227020800.0;
    p = p * r2 + 1.0 / 39916800.0;
    p = p * r2 - 1.0 / 362880.0;
    p = p * r2 + 1.0 / 5040.0;
    p = p * r2 - 1.0 / 120.0;
    p = p * r2 + 1.0 / 6.0;
    return r - r * r2 * p;
}

double cosKernel(double r) {
    double r2 = r * r;
    double p = 1.0 / 20922789888000.0;
    p = p * r2 - 1.0 / 87178291200.0;
    p = p * r2 + 1.0 / 479001600.0;
    p = p * r2 - 1.0 / 3628800.0;
    p = p * r2 + 1.0 / 40320.0;
    p = p * r2 - 1.0 / 720.0;
    p = p * r2 + 1.0 / 24.0;
    p = p * r2 - 0.5;
    return 1.0 + r2 * p;
}

// Reduces x to r in [-pi/4, pi/4] and the quadrant k mod 4.
double reduce(double x, int& quadrant) {
    double k = std::nearbyint(x * kInverseHalfPi);
    quadrant = static_cast<int>(static_cast<long long>(k) & 3);
    return (x - k * kHalfPiHigh) - k * kHalfPiLow;
}

// sin(r + quadrant * pi / 2) from the kernels alone.
double sinOfQuadrant(double r, int quadrant) {
    switch (quadrant & 3) {
    case 0:
        return sinKernel(r);
    case 1:
        return cosKernel(r);
    case 2:
        return -sinKernel(r);
    default:
        return -cosKernel(r);
    }
}

} // namespace

double portableSin(double x) {
    int quadrant = 0;
    double r = reduce(x, quadrant);
    return sinOfQuadrant(r, quadrant);
}

// cos(x) = sin(x + pi / 2): one quadrant further on, with the same reduced argument.
double portableCos(double x) {
    int quadrant = 0;
    double r = reduce(x, quadrant);
    return sinOfQuadrant(r, quadrant + 1);
}

double portableTan(double x) {
    return portableSin(x) / portableCos(x);
}

double portableExp(double x) {
    if (x < -700.0) {
        return 0.0;
    }
    constexpr double kLn2High = 6.93147180369123816490e-01;
    constexpr double kLn2Low = 1.90821492927058770002e-10;
    constexpr double kInverseLn2 = 1.44269504088896338700e+00;
    double k = std::nearbyint(x * kInverseLn2);
    double r = (x - k * kLn2High) - k * kLn2Low;
    // |r| <= ln(2) / 2, where 14 terms leave an error far below one ulp.
    double sum = 1.0;
    double term = 1.0;
    for (int n = 1; n <= 14; ++n) {
        term = term * r / n;
        sum += term;
    }
    return std::ldexp(sum, static_cast<int>(k));
}

} // namespace verdanium::datagen
