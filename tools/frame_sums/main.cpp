// verdanium-sums: a fingerprint of the running sums after seeded frames traced on one thread, so that two
// builds can be shown to trace the same pictures bit for bit (one thread draws the random numbers in a fixed
// order). Prints "sums <case> <FNV-1a 64 of the sums' bytes, hex> <mean of the red sums>" per case:
// the path-traced frame with each intersector and the hybrid frame, at 640 x 480, flight at 10 s, paused.
#include "headless_session.h"

#include "app/program_flags.h"
#include "foundation/resource_cache.h"
#include "geometry/intersector_mode.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>

using namespace verdanium;

namespace {

constexpr int kFrames = 2;

std::uint64_t fingerprint(const std::vector<Vec4>& sums) {
    std::uint64_t hash = 14695981039346656037ull;
    const auto* bytes = reinterpret_cast<const unsigned char*>(sums.data());
    for (std::size_t i = 0; i < sums.size() * sizeof(Vec4); ++i) {
        hash ^= bytes[i];
        hash *= 1099511628211ull;
    }
    return hash;
}

void printSums(const char* name, const RecursivePathTracer& renderer) {
    double red = 0.0;
    for (const Vec4& sum : renderer.accumulation)
        red += sum.x;
    std::printf("sums %s %016llx %.9g\n", name,
                static_cast<unsigned long long>(fingerprint(renderer.accumulation)),
                red / static_cast<double>(renderer.accumulation.size()));
}

void run() {
    HeadlessSession session(640, 480);
    session.advanceFlightTo(10.0);
    RecursivePathTracer& renderer = session.renderer;
    renderer.setCpuThreads(1);
    for (std::int32_t intersector : {1, 0}) {
        gIntersectorMode = intersector;
        renderer.setRenderMode(RenderModePathTrace);
        for (int i = 0; i < kFrames; ++i)
            renderer.render(session.scene);
        printSums(intersector == 1 ? "pathtrace_embree" : "pathtrace_ours", renderer);
    }
    gIntersectorMode = 1;
    renderer.setRenderMode(RenderModeHybrid);
    for (int i = 0; i < kFrames; ++i)
        renderer.render(session.scene);
    printSums("hybrid", renderer);
}

} // namespace

int main() {
    int status = 0;
    try {
        run();
    } catch (const std::exception& error) {
        std::cerr << "exception: " << error.what() << std::endl;
        status = 1;
    }
    gGeometryCache.clear();
    return status;
}
