// The content of the models: rocks of the right sizes and variety, and a ship
// whose parts meet at the mounting points that the program places them by.

#include "generated_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace verdanium::datagen_test {
namespace {

// The corners of all faces, as the program expands them.
std::vector<Point> corners(const ObjFile& obj) {
    std::vector<Point> result;
    for (const ObjFace& face : obj.faces) {
        for (const ObjCorner& c : face.corners) {
            result.push_back(obj.position(c));
        }
    }
    return result;
}

double distance(const Point& a, const Point& b) {
    Point d = sub(a, b);
    return std::sqrt(dotProduct(d, d));
}

TEST(Asteroids, HaveDistinctSizesTriangleCountsAndIrregularShapes) {
    std::vector<double> radii;
    for (const std::string& file : asteroidFiles()) {
        ObjFile obj = parseObj(dataRoot() / file);
        ASSERT_TRUE(obj.problems.empty()) << file;
        EXPECT_GE(obj.faces.size(), 2000u) << file;
        EXPECT_LE(obj.faces.size(), 10000u) << file;

        // The program centres a rock on the mean of its corners and spins it there.
        std::vector<Point> points = corners(obj);
        Point mean{};
        for (const Point& p : points) {
            for (int i = 0; i < 3; ++i) {
                mean[i] += p[i] / points.size();
            }
        }
        double nearest = 1e30, farthest = 0;
        for (const Point& p : points) {
            nearest = std::min(nearest, distance(p, mean));
            farthest = std::max(farthest, distance(p, mean));
        }
        EXPECT_LT(nearest / farthest, 0.75) << file << " is too close to a sphere";
        radii.push_back(farthest);
    }
    std::sort(radii.begin(), radii.end());
    EXPECT_GE(radii.front(), 12.0);
    EXPECT_LE(radii.front(), 20.0);
    EXPECT_GE(radii.back(), 50.0);
    EXPECT_LE(radii.back(), 65.0);
    for (std::size_t i = 1; i < radii.size(); ++i) {
        EXPECT_GT(radii[i] - radii[i - 1], 5.0) << "two rocks of nearly the same size";
    }
}

TEST(Asteroids, EachHasItsOwnTint) {
    std::vector<std::array<double, 3>> means;
    for (const std::string& file : asteroidFiles()) {
        std::vector<std::string> problems;
        std::filesystem::path mtl = (dataRoot() / file).replace_extension(".mtl");
        std::vector<MtlMaterial> materials = parseMtl(mtl, problems);
        ASSERT_EQ(materials.size(), 1u) << file;
        PfImage texture = readPf(resolveTexture(dataRoot(), materials[0].diffuseMap));
        ASSERT_TRUE(texture.problem.empty()) << texture.problem;
        std::array<double, 3> mean{};
        for (std::size_t i = 0; i < texture.rgb.size(); ++i) {
            mean[i % 3] += texture.rgb[i] * 3.0 / texture.rgb.size();
        }
        means.push_back(mean);
    }
    for (std::size_t a = 0; a < means.size(); ++a) {
        for (std::size_t b = a + 1; b < means.size(); ++b) {
            double d = std::fabs(means[a][0] - means[b][0]) + std::fabs(means[a][1] - means[b][1]) +
                       std::fabs(means[a][2] - means[b][2]);
            EXPECT_GT(d, 0.03) << "asteroid" << a + 1 << " and asteroid" << b + 1 << " look alike";
        }
    }
}

ObjFile shipPart(const std::string& name) {
    ObjFile obj = parseObj(dataRoot() / "models/ship/serenity" / (name + ".obj"));
    EXPECT_TRUE(obj.problems.empty()) << name;
    return obj;
}

double nearestVertex(const ObjFile& obj, const Point& target) {
    double best = 1e30;
    for (const Point& p : obj.positions) {
        best = std::min(best, distance(p, target));
    }
    return best;
}

TEST(Ship, HullPointsForwardAndReachesBothEngineMounts) {
    ObjFile hull = shipPart("Hull");
    double front = -1e30, back = 1e30;
    for (const Point& p : hull.positions) {
        front = std::max(front, p[2]);
        back = std::min(back, p[2]);
    }
    EXPECT_GT(front - back, 35.0);
    EXPECT_LT(front - back, 55.0);
    EXPECT_GE(hull.groups.size(), 3u);

    // The cockpit is in the front half.
    double cockpitZ = 0;
    int cockpitCorners = 0;
    for (const ObjFace& face : hull.faces) {
        if (hull.groups[face.group].name == "cockpit") {
            for (const ObjCorner& c : face.corners) {
                cockpitZ += hull.position(c)[2];
                ++cockpitCorners;
            }
        }
    }
    ASSERT_GT(cockpitCorners, 0);
    EXPECT_GT(cockpitZ / cockpitCorners, (front + back) / 2);

    EXPECT_LT(nearestVertex(hull, {13.793, 8.991, -1.88}), 0.5);
    EXPECT_LT(nearestVertex(hull, {-13.793, 8.991, -1.88}), 0.5);
}

TEST(Ship, EnginesPivotAtTheirOriginAndHoldTheRotor) {
    ObjFile left = shipPart("EngineL");
    ObjFile rotor = shipPart("EngineRotor");
    EXPECT_LT(nearestVertex(left, {0, 0, 0}), 0.5) << "no pivot at the engine's origin";

    // The rotor turns about its origin inside the intake, in front of the
    // nacelle's middle and within its walls.
    double rotorRadius = 0;
    for (const Point& p : rotor.positions) {
        rotorRadius = std::max(rotorRadius, std::hypot(p[0], p[1]));
    }
    double ductRadius = 1e30, nacelleFront = -1e30;
    for (const Point& p : left.positions) {
        nacelleFront = std::max(nacelleFront, p[2]);
        double fromAxis = std::hypot(p[0] - 5.749, p[1] + 0.415);
        if (std::fabs(p[2] - 8.332) < 0.8 && fromAxis > 1.5) {
            ductRadius = std::min(ductRadius, fromAxis);
        }
    }
    EXPECT_GT(nacelleFront, 8.332);
    EXPECT_GT(rotorRadius, 1.0);
    EXPECT_LT(rotorRadius, ductRadius) << "the rotor would cut through the intake";
}

TEST(Ship, RightEngineMirrorsTheLeft) {
    ObjFile left = shipPart("EngineL");
    ObjFile right = shipPart("EngineR");
    ASSERT_EQ(left.positions.size(), right.positions.size());
    std::vector<Point> mirrored = right.positions;
    for (Point& p : mirrored) {
        p[0] = -p[0] + 0.0; // + 0.0 folds -0 into 0 for the comparison
    }
    std::vector<Point> original = left.positions;
    for (Point& p : original) {
        p[0] = p[0] + 0.0;
    }
    std::sort(mirrored.begin(), mirrored.end());
    std::sort(original.begin(), original.end());
    EXPECT_EQ(mirrored, original);
}

} // namespace
} // namespace verdanium::datagen_test
