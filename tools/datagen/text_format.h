#pragma once

// Fixed-point text for numbers in the OBJ and MTL files. The value is scaled and
// rounded to an integer first, and only integers are printed, so the text depends
// neither on the C library's float formatting nor on the locale.

#include <string>

namespace verdanium::datagen {

// `value` with exactly `decimals` digits after the point (0 to 9), rounded half
// away from zero; a value that rounds to zero is written without a minus sign.
std::string formatFixed(double value, int decimals);

} // namespace verdanium::datagen
