#include "foundation/math/math_errors.h"

#include <stdexcept>

namespace verdanium {

void throwElementNotInvertible() {
    throw std::domain_error("element not invertible");
}

void throwTransformationNotInvertible() {
    throw std::domain_error("transformation not invertible");
}

} // namespace verdanium
