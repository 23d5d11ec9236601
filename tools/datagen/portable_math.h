#pragma once

// Trigonometric and exponential functions built only from IEEE additions,
// multiplications and exact scalings. The C library's versions may differ in the
// last bit between platforms, and one such bit in a texel would change the bytes
// of a generated file; these give the same result everywhere. They are accurate
// to a few units in the last place for the moderate arguments the generator uses.

namespace verdanium::datagen {

inline constexpr double kPi = 3.14159265358979323846;

double portableSin(double x);
double portableCos(double x);
double portableTan(double x);
double portableExp(double x);

} // namespace verdanium::datagen
