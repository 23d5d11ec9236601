// Rays per second of our mesh hierarchy and of Embree, side by side, on generated meshes of about 10k
// triangles, one thread, incoherent rays: origins on a shell around the mesh, half of them aimed at random
// points of the mesh's box and half in random directions. Prints one "figure <name> <value> <unit>" line per
// number. Usage: bvh_bench [rays] [repeats]
#include "bvh_test_meshes.h"

#include "geometry/bvh.h"
#include "geometry/embree_scene.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace verdanium;

namespace {

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Best of `repeats` runs of `body`, in seconds: the least disturbed run on a shared machine.
template <typename Body>
double bestTime(int repeats, Body&& body) {
    double best = 1e30;
    for (int i = 0; i < repeats; ++i) {
        const double start = seconds();
        body();
        best = std::min(best, seconds() - start);
    }
    return best;
}

void figure(const std::string& name, double value, const char* unit) {
    std::printf("figure %s %.4g %s\n", name.c_str(), value, unit);
}

void measure(const std::string& name, const std::vector<Vec3>& positions, float shell, float aim,
             int rayCount, int repeats) {
    MeshBvh bvh;
    EmbreeScene embree;
    const double ourBuild = bestTime(repeats, [&] { bvh.build(positions); });
    const double embreeBuild = bestTime(repeats, [&] { embree.build(positions); });

    std::vector<Ray> rays(rayCount);
    bvh_test::RandomRays random(12345, shell, aim);
    for (Ray& ray : rays)
        random.next(ray.origin, ray.direction);

    // Checksums keep the compiler from dropping the queries and show that both found the same hits.
    int ourHits = 0, embreeHits = 0, ourBlocked = 0, embreeBlocked = 0;
    const double ourNearest = bestTime(repeats, [&] {
        ourHits = 0;
        for (const Ray& ray : rays) {
            Hit hit;
            ourHits += bvh.intersect(ray, hit);
        }
    });
    const double embreeNearest = bestTime(repeats, [&] {
        embreeHits = 0;
        for (const Ray& ray : rays) {
            Hit hit;
            embreeHits += embree.intersect(ray, hit, nullptr);
        }
    });
    const double ourAny = bestTime(repeats, [&] {
        ourBlocked = 0;
        for (const Ray& ray : rays)
            ourBlocked += bvh.occluded(ray);
    });
    const double embreeAny = bestTime(repeats, [&] {
        embreeBlocked = 0;
        for (const Ray& ray : rays)
            embreeBlocked += embree.occluded(ray);
    });

    std::printf("# %s: %zu triangles, %d rays, hits ours %d Embree %d, blocked ours %d Embree %d\n",
                name.c_str(), positions.size() / 3, rayCount, ourHits, embreeHits, ourBlocked, embreeBlocked);
    figure(name + "_build_ours", ourBuild * 1e3, "ms");
    figure(name + "_build_embree", embreeBuild * 1e3, "ms");
    figure(name + "_nearest_ours", rayCount / ourNearest / 1e6, "Mrays/s");
    figure(name + "_nearest_embree", rayCount / embreeNearest / 1e6, "Mrays/s");
    figure(name + "_nearest_ratio", ourNearest / embreeNearest, "x");
    figure(name + "_any_ours", rayCount / ourAny / 1e6, "Mrays/s");
    figure(name + "_any_embree", rayCount / embreeAny / 1e6, "Mrays/s");
    figure(name + "_any_ratio", ourAny / embreeAny, "x");
}

} // namespace

int main(int argc, char** argv) {
    const int rayCount = argc > 1 ? std::atoi(argv[1]) : 200000;
    const int repeats = argc > 2 ? std::atoi(argv[2]) : 5;
    // 6 * 29 * 29 quads = 10092 triangles, a lumpy ball of radius about 1.
    measure("ball10k", bvh_test::makeLumpyBall(29), 3.0f, 1.0f, rayCount, repeats);
    measure("soup10k", bvh_test::makeRandomSoup(10000, 4.0f, 7), 8.0f, 4.0f, rayCount, repeats);
    return 0;
}
