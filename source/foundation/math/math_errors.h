#pragma once

// The two failures of the math layer. Both are std::domain_error with fixed
// texts; nothing below main catches them, so they end the run with a message.
//
// The throwing functions live out of line so that the inline callers in hot
// loops carry only a call to a cold function, not the exception machinery.

namespace verdanium {

// "element not invertible": the reciprocal of a zero (a zero vector's length,
// a zero scale, a zero w, ...).
[[noreturn]] void throwElementNotInvertible();

// "transformation not invertible": the inverse of a singular transform was asked for.
[[noreturn]] void throwTransformationNotInvertible();

// True unless x compares as neither above nor below zero. NaN counts as zero
// here, so a NaN divisor fails loudly instead of spreading silently.
inline bool isInvertible(float x) {
    return x > 0.0f || x < 0.0f;
}
inline bool isInvertible(double x) {
    return x > 0.0 || x < 0.0;
}

// 1 / x, or "element not invertible" when x is zero (or NaN).
inline float reciprocal(float x) {
    if (!isInvertible(x))
        throwElementNotInvertible();
    return 1.0f / x;
}

inline double reciprocal(double x) {
    if (!isInvertible(x))
        throwElementNotInvertible();
    return 1.0 / x;
}

} // namespace verdanium
