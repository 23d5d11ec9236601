// Rays per second of our mesh hierarchy and of Embree, side by side, on the program's asteroid and hull
// models and on generated meshes of about 10k triangles, one thread, incoherent rays: origins on a shell
// around the mesh, half of them aimed at random points of the mesh's box and half in random directions.
// Prints one "figure <name> <value> <unit>" line per number. Usage: bvh_bench [rays] [repeats]
#include "bvh_test_meshes.h"
#include "command_line.h"

#include "geometry/bvh.h"
#include "geometry/embree_scene.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <time.h>

using namespace verdanium;

namespace {

// CPU time of this thread: on a machine shared with other work, time spent descheduled does not count.
double seconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
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

struct Ratios {
    double nearest = 0.0; // our time per ray over Embree's, nearest hit
    double any = 0.0;     // the same for the any-hit query
};

Ratios measure(const std::string& name, const std::vector<Vec3>& positions, float shell, float aim,
               int rayCount, int repeats) {
    MeshBvh bvh;
    EmbreeScene embree;
    const double ourBuild = bestTime(repeats, [&] { bvh.build(positions); });
    // Embree builds on its own worker threads, which this thread's CPU time would not see: wall time.
    const auto wallSeconds = [] {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
    };
    double embreeBuild = 1e30;
    for (int i = 0; i < repeats; ++i) {
        const double start = wallSeconds();
        embree.build(positions);
        embreeBuild = std::min(embreeBuild, wallSeconds() - start);
    }

    std::vector<Ray> rays(rayCount);
    bvh_test::RandomRays random(12345, shell, aim);
    for (Ray& ray : rays)
        random.next(ray.origin, ray.direction);

    // Checksums keep the compiler from dropping the queries and show that both found the same hits.
    int ourHits = 0, embreeHits = 0, ourBlocked = 0, embreeBlocked = 0;
    const auto ourNearestRun = [&] {
        ourHits = 0;
        for (const Ray& ray : rays) {
            Hit hit;
            ourHits += bvh.intersect(ray, hit);
        }
    };
    const auto embreeNearestRun = [&] {
        embreeHits = 0;
        for (const Ray& ray : rays) {
            Hit hit;
            embreeHits += embree.intersect(ray, hit, nullptr);
        }
    };
    const auto ourAnyRun = [&] {
        ourBlocked = 0;
        for (const Ray& ray : rays)
            ourBlocked += bvh.occluded(ray);
    };
    const auto embreeAnyRun = [&] {
        embreeBlocked = 0;
        for (const Ray& ray : rays)
            embreeBlocked += embree.occluded(ray);
    };
    // Alternate the four runs and keep the best of each, so that a busy spell on a shared machine hits
    // both sides alike.
    double ourNearest = 1e30, embreeNearest = 1e30, ourAny = 1e30, embreeAny = 1e30;
    for (int i = 0; i < repeats; ++i) {
        ourNearest = std::min(ourNearest, bestTime(1, ourNearestRun));
        embreeNearest = std::min(embreeNearest, bestTime(1, embreeNearestRun));
        ourAny = std::min(ourAny, bestTime(1, ourAnyRun));
        embreeAny = std::min(embreeAny, bestTime(1, embreeAnyRun));
    }

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
    return {ourNearest / embreeNearest, ourAny / embreeAny};
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Rays per second of our mesh hierarchy and of Embree, side by side, one thread.",
                 "bvh_bench");
    prepareToolApp(app);
    int rayCount = 200000;
    int repeats = 9;
    app.add_option("rays", rayCount, "rays per run")->check(wholeNumber(1, 100000000));
    app.add_option("repeats", repeats, "runs of each query, the best one counts")
        ->check(wholeNumber(1, 1000));
    if (const std::optional<int> status = parseCommandLine(app, argc, argv)) {
        return *status;
    }
    // The program's models, when the data tree is there: rays from a shell at three times the model's
    // radius, half of them aimed into its box.
    Ratios asteroidsLow{1e30, 1e30};
    Ratios asteroidsHigh;
    for (const char* name : {"asteroid1", "asteroid2", "asteroid3", "asteroid4", "asteroid5"}) {
        const std::string path = std::string("../../../data/models/asteroid/random/") + name + ".obj";
        float radius;
        const std::vector<Vec3> positions = bvh_test::readModel(path.c_str(), radius);
        if (positions.empty())
            continue;
        const Ratios ratios = measure(name, positions, 3.0f * radius, radius, rayCount, repeats);
        asteroidsLow.nearest = std::min(asteroidsLow.nearest, ratios.nearest);
        asteroidsLow.any = std::min(asteroidsLow.any, ratios.any);
        asteroidsHigh.nearest = std::max(asteroidsHigh.nearest, ratios.nearest);
        asteroidsHigh.any = std::max(asteroidsHigh.any, ratios.any);
    }
    // The range over the five asteroids, the meshes the path tracer meets most.
    if (asteroidsHigh.nearest > 0.0) {
        figure("asteroids_nearest_ratio_lowest", asteroidsLow.nearest, "x");
        figure("asteroids_nearest_ratio_highest", asteroidsHigh.nearest, "x");
        figure("asteroids_any_ratio_lowest", asteroidsLow.any, "x");
        figure("asteroids_any_ratio_highest", asteroidsHigh.any, "x");
    }
    float hullRadius;
    const std::vector<Vec3> hull =
        bvh_test::readModel("../../../data/models/ship/serenity/Hull.obj", hullRadius);
    if (!hull.empty())
        measure("hull", hull, 3.0f * hullRadius, 0.5f * hullRadius, rayCount, repeats);
    // Generated meshes of 10k triangles: 6 * 29 * 29 quads make a lumpy ball of radius about 1.
    measure("ball10k", bvh_test::makeLumpyBall(29), 3.0f, 1.0f, rayCount, repeats);
    measure("soup10k", bvh_test::makeRandomSoup(10000, 4.0f, 7), 8.0f, 4.0f, rayCount, repeats);
    return 0;
}
