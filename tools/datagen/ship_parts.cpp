#include "ship_parts.h"

#include "mesh_shapes.h"
#include "portable_math.h"

namespace verdanium::datagen {
namespace {

// A key cross-section of the fuselage: its z, the height of its middle, its half
// width and half height, and how square it is.
struct HullKey {
    double z, y, halfWidth, halfHeight, boxiness;
};

Surface fuselage() {
    // Round engine section at the back, a broad cargo body, a narrow neck and a
    // flattened head with the cockpit, like a tug built for hauling.
    const HullKey keys[] = {{-21.0, 3.6, 2.2, 2.2, 0.3},  {-18.5, 4.0, 5.0, 4.6, 0.35},
                            {-12.0, 4.6, 7.0, 5.4, 0.45}, {-4.0, 4.8, 7.4, 5.4, 0.5},
                            {3.0, 4.3, 5.8, 4.3, 0.45},   {8.0, 3.7, 3.8, 3.0, 0.4},
                            {12.0, 3.8, 4.4, 3.2, 0.4},   {16.0, 3.6, 4.1, 2.8, 0.35},
                            {19.0, 3.2, 2.7, 2.0, 0.3},   {20.6, 2.9, 0.9, 0.7, 0.2}};
    std::vector<LoftSection> sections;
    for (const HullKey& k : keys) {
        sections.push_back({{0, k.y, k.z}, {k.halfWidth, 0, 0}, {0, k.halfHeight, 0}, k.boxiness});
    }
    return makeLoft(smoothSections(sections, 46), 40, {});
}

Surface canopy() {
    std::vector<Vector2> profile;
    // Half an ellipse turned about its long axis: a low bubble over the head.
    for (int i = 0; i <= 10; ++i) {
        double angle = kPi * i / 10.0;
        profile.push_back({i == 0 || i == 10 ? 0.0 : portableSin(angle), -portableCos(angle)});
    }
    for (Vector2& p : profile) {
        p = {p.x * 1.0, p.y * 3.8};
    }
    Surface s = makeLathe(profile, 24, {});
    for (Vertex& v : s.vertices) {
        v.position = {v.position.x * 2.3, v.position.y * 1.7, v.position.z};
    }
    translate(s, {0, 6.3, 13.8});
    return s;
}

Surface wing(double side) {
    // A stubby swept pylon from the upper flank of the hull out to the pivot.
    std::vector<LoftSection> sections = {
        {{4.6, 7.2, -3.6}, {0, 0, 4.0}, {0, 0.85, 0}, 0.35},
        {{9.0, 8.3, -2.6}, {0, 0, 3.0}, {0, 0.6, 0}, 0.35},
        {{12.4, 8.991, -1.88}, {0, 0, 2.0}, {0, 0.5, 0}, 0.35},
    };
    Surface s = makeLoft(smoothSections(sections, 6), 16, {0.0, 0.0, 0.5, 0.5});
    if (side < 0) {
        mirrorX(s);
    }
    return s;
}

Surface pivotHub(double side) {
    // The socket the engine swivels in, a drum along x under the wing tip.
    Surface s = makeLathe({{0, 0}, {1.15, 0}, {1.35, 0.2}, {1.35, 1.5}, {1.15, 1.7}, {0, 1.7}}, 20, {});
    rotateY(s, kPi / 2);
    translate(s, {kEngineMount.x - 1.7, kEngineMount.y, kEngineMount.z});
    if (side < 0) {
        mirrorX(s);
    }
    return s;
}

Surface tailFin() {
    std::vector<LoftSection> sections = {
        {{0, 8.6, -13.5}, {0, 0, 4.8}, {0.5, 0, 0}, 0.2},
        {{0, 12.8, -16.8}, {0, 0, 3.0}, {0.34, 0, 0}, 0.2},
        {{0, 16.0, -19.4}, {0, 0, 1.6}, {0.2, 0, 0}, 0.2},
    };
    return makeLoft(smoothSections(sections, 6), 16, {});
}

Surface tailplane(double side) {
    // Small swept stabilisers on either side of the engine bell, which give the
    // ship a clear outline when seen from behind.
    std::vector<LoftSection> sections = {
        {{2.8, 3.8, -19.6}, {0, 0, 2.6}, {0, 0.32, 0}, 0.25},
        {{6.0, 3.3, -21.0}, {0, 0, 1.8}, {0, 0.24, 0}, 0.25},
        {{8.6, 2.9, -22.4}, {0, 0, 1.0}, {0, 0.16, 0}, 0.25},
    };
    Surface s = makeLoft(smoothSections(sections, 6), 12, {0.0, 0.0, 0.5, 0.5});
    if (side < 0) {
        mirrorX(s);
    }
    return s;
}

Surface rearEngine() {
    // A bell with a hollow nozzle; the glowing disk sits inside the hollow.
    Surface s = makeLathe({{0, -24.3},
                           {1.45, -24.3},
                           {1.6, -25.7},
                           {2.3, -25.7},
                           {3.2, -24.0},
                           {3.9, -22.0},
                           {3.8, -19.8},
                           {2.8, -18.0},
                           {0, -17.4}},
                          32, {});
    translate(s, {0, 3.6, 0});
    return s;
}

Surface glowDisk(double radius, double z0, double z1) {
    return makeLathe({{0, z0}, {radius, z0}, {radius, z1}, {0, z1}}, 24, {});
}

std::vector<MeshGroup> leftEngineGroups() {
    Surface hub = makeLathe({{0, 0}, {1.1, 0}, {1.3, 0.25}, {1.3, 1.35}, {1.1, 1.6}, {0, 1.6}}, 20, {});
    rotateY(hub, kPi / 2);

    // The arm from the hub to the nacelle, hull-plated like the wings.
    std::vector<LoftSection> armSections = {
        {{1.0, 0, 0}, {0, 0, 1.5}, {0, 0.6, 0}, 0.4},
        {{kRotorMount.x - 1.6, kRotorMount.y, 0.6}, {0, 0, 1.8}, {0, 0.5, 0}, 0.4},
    };
    Surface arm = makeLoft(armSections, 16, {0.0, 0.5, 0.5, 1.0});

    // The nacelle: a nozzle at the back, a ducted intake at the front that
    // holds the rotor.
    Surface nacelle = makeLathe({{0, -6.3},
                                 {1.25, -6.3},
                                 {1.5, -7.5},
                                 {2.05, -7.5},
                                 {2.45, -6.0},
                                 {2.65, -3.0},
                                 {2.75, 2.0},
                                 {2.85, 6.5},
                                 {3.0, 8.9},
                                 {2.5, 9.15},
                                 {2.38, 7.6},
                                 {0, 7.6}},
                                36, {});
    translate(nacelle, {kRotorMount.x, kRotorMount.y, 0});

    // A small dorsal fin on the nacelle.
    std::vector<LoftSection> finSections = {
        {{kRotorMount.x, kRotorMount.y + 2.4, -3.0}, {0, 0, 2.6}, {0.18, 0, 0}, 0.2},
        {{kRotorMount.x, kRotorMount.y + 4.0, -4.8}, {0, 0, 1.2}, {0.12, 0, 0}, 0.2},
    };
    Surface fin = makeLoft(finSections, 12, {});

    // A red band round the nacelle behind the intake.
    Surface band = makeLathe({{0, 5.2}, {2.93, 5.2}, {2.97, 6.4}, {0, 6.4}}, 36, {});
    translate(band, {kRotorMount.x, kRotorMount.y, 0});

    Surface metal = nacelle;
    metal.append(hub);
    Surface glow = glowDisk(1.2, -6.9, -6.6);
    translate(glow, {kRotorMount.x, kRotorMount.y, 0});
    Surface trim = band;
    trim.append(fin);
    return {{.name = "nacelle", .material = kEngineMaterial, .surface = metal, .creaseDegrees = 40.0},
            {.name = "arm", .material = kPlatingMaterial, .surface = arm, .creaseDegrees = 40.0},
            {.name = "trim", .material = kTrimMaterial, .surface = trim, .creaseDegrees = 40.0},
            {.name = "exhaust", .material = kGlowMaterial, .surface = glow, .creaseDegrees = 40.0}};
}

} // namespace

std::vector<MeshGroup> buildHull() {
    Surface body = fuselage();
    body.append(wing(1));
    body.append(wing(-1));
    body.append(tailplane(1));
    body.append(tailplane(-1));
    Surface metal = rearEngine();
    metal.append(pivotHub(1));
    metal.append(pivotHub(-1));
    Surface glow = glowDisk(1.4, -24.9, -24.5);
    translate(glow, {0, 3.6, 0});
    return {{.name = "hull", .material = kPlatingMaterial, .surface = body, .creaseDegrees = 40.0},
            {.name = "cockpit", .material = kGlassMaterial, .surface = canopy(), .creaseDegrees = 60.0},
            {.name = "fin", .material = kTrimMaterial, .surface = tailFin(), .creaseDegrees = 40.0},
            {.name = "engine", .material = kEngineMaterial, .surface = metal, .creaseDegrees = 40.0},
            {.name = "exhaust", .material = kGlowMaterial, .surface = glow, .creaseDegrees = 40.0}};
}

std::vector<MeshGroup> buildLeftEngine() {
    return leftEngineGroups();
}

std::vector<MeshGroup> buildRightEngine() {
    std::vector<MeshGroup> groups = leftEngineGroups();
    for (MeshGroup& g : groups) {
        mirrorX(g.surface);
    }
    return groups;
}

std::vector<MeshGroup> buildRotor() {
    Surface spinner =
        makeLathe({{0, -0.5}, {0.62, -0.5}, {0.68, 0.15}, {0.45, 0.75}, {0, 1.05}}, 20, {0.0, 0.0, 1.0, 0.2});
    Surface blades;
    const int bladeCount = 7;
    for (int k = 0; k < bladeCount; ++k) {
        double angle = 2.0 * kPi * k / bladeCount;
        Vector3 radial{portableCos(angle), portableSin(angle), 0};
        Vector3 tangent{-radial.y, radial.x, 0};
        std::vector<LoftSection> sections;
        for (int i = 0; i < 4; ++i) {
            double t = i / 3.0;
            double radius = mix(0.5, 2.2, t);
            // Twisted blade: steep pitch at the root, flat at the tip.
            double pitch = mix(0.9, 0.4, t);
            Vector3 chord = tangent * portableCos(pitch) + Vector3{0, 0, 1} * portableSin(pitch);
            Vector3 thickness = tangent * -portableSin(pitch) + Vector3{0, 0, 1} * portableCos(pitch);
            sections.push_back({radial * radius, chord * mix(0.42, 0.3, t), thickness * 0.07, 0.3});
        }
        blades.append(makeLoft(sections, 10, {0.0, 0.2, 1.0, 1.0}));
    }
    spinner.append(blades);
    return {{.name = "rotor", .material = kRotorMaterial, .surface = spinner, .creaseDegrees = 40.0}};
}

} // namespace verdanium::datagen
