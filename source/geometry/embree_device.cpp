#include "geometry/embree_device.h"

#include <iostream>
#include <stdexcept>

namespace verdanium {

namespace {

const char* errorName(RTCError code) {
    switch (code) {
    case RTC_ERROR_NONE:
        return "none";
    case RTC_ERROR_UNKNOWN:
        return "unknown error";
    case RTC_ERROR_INVALID_ARGUMENT:
        return "invalid argument";
    case RTC_ERROR_INVALID_OPERATION:
        return "invalid operation";
    case RTC_ERROR_OUT_OF_MEMORY:
        return "out of memory";
    case RTC_ERROR_UNSUPPORTED_CPU:
        return "unsupported CPU";
    case RTC_ERROR_CANCELLED:
        return "cancelled";
    }
    return "unknown error";
}

void reportError(void*, RTCError code, const char* text) {
    std::cerr << "error: embree: " << errorName(code) << ": " << (text ? text : "") << '\n';
}

// Owns the device's first reference; released at exit, after which scenes still alive keep it going.
struct DeviceHolder {
    RTCDevice device;

    DeviceHolder() : device(rtcNewDevice(nullptr)) {
        if (!device)
            throw std::runtime_error("cannot create the Embree device");
        rtcSetDeviceErrorFunction(device, reportError, nullptr);
    }
    ~DeviceHolder() { rtcReleaseDevice(device); }
    DeviceHolder(const DeviceHolder&) = delete;
    DeviceHolder& operator=(const DeviceHolder&) = delete;
};

} // namespace

RTCDevice embreeDevice() {
    static DeviceHolder holder;
    return holder.device;
}

} // namespace verdanium
