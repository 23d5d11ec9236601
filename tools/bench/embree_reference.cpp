#include "embree_reference.h"

#include "geometry/embree_device.h"
#include "geometry/geometry.h"
#include "geometry/hit.h"
#include "geometry/ray.h"
#include "world/entity.h"
#include "world/scene.h"

#include <limits>

namespace verdanium {

namespace {

RTCScene buildMeshScene(const Geometry& geometry) {
    RTCScene scene = rtcNewScene(embreeDevice());
    const std::size_t triangles = geometry.positions.size() / 3;
    if (triangles > 0) {
        RTCGeometry mesh = rtcNewGeometry(embreeDevice(), RTC_GEOMETRY_TYPE_TRIANGLE);
        auto* indices = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), triangles));
        auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 4 * sizeof(float), 3 * triangles));
        for (std::size_t i = 0; i < 3 * triangles; ++i) {
            indices[i] = static_cast<unsigned>(i);
            vertices[4 * i] = geometry.positions[i].x;
            vertices[4 * i + 1] = geometry.positions[i].y;
            vertices[4 * i + 2] = geometry.positions[i].z;
            vertices[4 * i + 3] = 0.0f;
        }
        rtcCommitGeometry(mesh);
        rtcAttachGeometry(scene, mesh);
        rtcReleaseGeometry(mesh);
    }
    rtcCommitScene(scene);
    return scene;
}

RTCRay toEmbreeRay(const Ray& ray, float far) {
    RTCRay embreeRay{};
    embreeRay.org_x = ray.origin.x;
    embreeRay.org_y = ray.origin.y;
    embreeRay.org_z = ray.origin.z;
    // The scene's own queries search each mesh from 0 whatever the world ray's tMin: do the same.
    embreeRay.tnear = 0.0f;
    embreeRay.dir_x = ray.direction.x;
    embreeRay.dir_y = ray.direction.y;
    embreeRay.dir_z = ray.direction.z;
    embreeRay.tfar = far;
    embreeRay.mask = ~0u;
    return embreeRay;
}

} // namespace

EmbreeReferenceWorld::EmbreeReferenceWorld(const Scene& scene_) : scene(scene_) {
    topScene = rtcNewScene(embreeDevice());
    for (const auto& [key, entity] : scene.entities) {
        const Geometry* geometry = entity->geometry.get();
        auto found = meshScenes.find(geometry);
        if (found == meshScenes.end()) {
            found = meshScenes.emplace(geometry, buildMeshScene(*geometry)).first;
        }
        RTCGeometry instance = rtcNewGeometry(embreeDevice(), RTC_GEOMETRY_TYPE_INSTANCE);
        rtcSetGeometryInstancedScene(instance, found->second);
        // Object to world, column-major 4 x 4 as our matrices are stored.
        rtcSetGeometryTransform(instance, 0, RTC_FORMAT_FLOAT4X4_COLUMN_MAJOR,
                                entity->transform.forward.data());
        rtcCommitGeometry(instance);
        unsigned id = rtcAttachGeometry(topScene, instance);
        rtcReleaseGeometry(instance);
        if (instances.size() <= id) {
            instances.resize(id + 1, nullptr);
        }
        instances[id] = entity.get();
    }
    rtcCommitScene(topScene);
}

EmbreeReferenceWorld::~EmbreeReferenceWorld() {
    rtcReleaseScene(topScene);
    for (auto& [geometry, meshScene] : meshScenes) {
        rtcReleaseScene(meshScene);
    }
}

bool EmbreeReferenceWorld::intersect(const Ray& ray, Hit& hit) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query;
    query.ray = toEmbreeRay(ray, hit.t < ray.tMax ? hit.t : ray.tMax);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(topScene, &context, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) {
        return false;
    }
    Entity* entity = instances[query.hit.instID[0]];
    hit.entity = entity;
    hit.geometry = entity->geometry.get();
    hit.firstIndex = 3 * static_cast<std::uint64_t>(query.hit.primID);
    hit.u = query.hit.u;
    hit.v = query.hit.v;
    hit.t = query.ray.tfar;
    hit.complete = false;
    return true;
}

bool EmbreeReferenceWorld::occluded(const Ray& ray) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRay query = toEmbreeRay(ray, std::numeric_limits<float>::infinity());
    rtcOccluded1(topScene, &context, &query);
    return query.tfar == -std::numeric_limits<float>::infinity();
}

} // namespace verdanium
