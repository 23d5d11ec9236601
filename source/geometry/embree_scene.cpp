#include "geometry/embree_scene.h"

#include "geometry/embree_device.h"
#include "geometry/hit.h"
#include "geometry/ray.h"

#include <cstdint>
#include <limits>

namespace verdanium {

EmbreeScene::~EmbreeScene() {
    if (scene)
        rtcReleaseScene(scene);
}

void EmbreeScene::build(std::span<const Vec3> positions) {
    const std::size_t numTriangles = positions.size() / 3;
    const std::size_t numVertices = positions.size();

    RTCScene built = rtcNewScene(embreeDevice());
    // A mesh of no triangles gets an empty scene: Embree refuses buffers of no items, and an empty scene
    // answers every query with a miss.
    if (numTriangles > 0) {
        RTCGeometry mesh = rtcNewGeometry(embreeDevice(), RTC_GEOMETRY_TYPE_TRIANGLE);
        // Embree owns and pads both buffers (its vertex loads read 16 bytes past a record).
        auto* indices = static_cast<std::uint32_t*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(std::uint32_t), numTriangles));
        // Records of x, y, z and a fourth word of 0, one per corner, exactly as the mesh stores them.
        auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 4 * sizeof(float), numVertices));
        if (indices && vertices) {
            for (std::size_t i = 0; i < 3 * numTriangles; ++i)
                indices[i] = static_cast<std::uint32_t>(i);
            for (std::size_t i = 0; i < numVertices; ++i) {
                vertices[4 * i + 0] = positions[i].x;
                vertices[4 * i + 1] = positions[i].y;
                vertices[4 * i + 2] = positions[i].z;
                vertices[4 * i + 3] = 0.0f;
            }
            rtcCommitGeometry(mesh);
            rtcAttachGeometry(built, mesh);
        }
        rtcReleaseGeometry(mesh);
    }
    rtcCommitScene(built);

    if (scene)
        rtcReleaseScene(scene);
    scene = built;
}

namespace {

RTCRay toEmbreeRay(const Ray& ray, float far) {
    RTCRay embreeRay{};
    embreeRay.org_x = ray.origin.x;
    embreeRay.org_y = ray.origin.y;
    embreeRay.org_z = ray.origin.z;
    embreeRay.tnear = ray.tMin;
    embreeRay.dir_x = ray.direction.x;
    embreeRay.dir_y = ray.direction.y;
    embreeRay.dir_z = ray.direction.z;
    embreeRay.time = 0.0f;
    embreeRay.tfar = far;
    embreeRay.mask = ~0u;
    embreeRay.id = 0;
    embreeRay.flags = 0;
    return embreeRay;
}

} // namespace

bool EmbreeScene::intersect(const Ray& ray, Hit& hit, const Geometry* geometry) const {
    if (!scene)
        return false;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query;
    query.ray = toEmbreeRay(ray, hit.t < ray.tMax ? hit.t : ray.tMax);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.primID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(scene, &context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID)
        return false;
    hit.u = query.hit.u;
    hit.v = query.hit.v;
    hit.t = query.ray.tfar;
    hit.geometry = geometry;
    hit.firstIndex = 3 * std::uint64_t(query.hit.primID);
    hit.complete = false;
    return true;
}

bool EmbreeScene::occluded(const Ray& ray) const {
    if (!scene)
        return false;
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRay query = toEmbreeRay(ray, ray.tMax);
    rtcOccluded1(scene, &context, &query);
    // Embree marks a blocked ray by setting tfar to -infinity; a range that already ended there is empty.
    const float blocked = -std::numeric_limits<float>::infinity();
    return query.tfar == blocked && ray.tMax != blocked;
}

} // namespace verdanium
