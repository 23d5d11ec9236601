#pragma once

#include <embree3/rtcore.h>

namespace verdanium {

// The process's one Embree device, made on first use. Embree reports its errors through the device's
// callback, which writes them to standard error. Every scene holds a reference to the device, so the device
// outlives the last scene however the program's static objects are torn down.
RTCDevice embreeDevice();

} // namespace verdanium
