#include "render/scene.h"

#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>
#include <tuple>

#include <glm/gtc/constants.hpp>
#include <glm/gtc/type_ptr.hpp>
#include <tiny_obj_loader.h>

namespace kestrel::render {

namespace {

// Any unit vector perpendicular to n.
glm::vec3 perpendicular(const glm::vec3& n) {
    glm::vec3 a = std::fabs(n.x) < 0.9f ? glm::vec3(1, 0, 0) : glm::vec3(0, 1, 0);
    return glm::normalize(glm::cross(a, n));
}

void addQuad(Mesh& mesh, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    mesh.indices.insert(mesh.indices.end(), {a, b, c, a, c, d});
}

// Appends a surface of revolution around z: profile points (radius, height) from bottom to
// top, swept over `segments`; uv.x runs around, uv.y along the profile from vBegin to vEnd.
void addRevolution(Mesh& mesh, const std::vector<glm::vec2>& profile, const std::vector<glm::vec2>& profileNormals,
                   int segments, float vBegin, float vEnd) {
    const auto base = static_cast<uint32_t>(mesh.positions.size());
    const int rows = static_cast<int>(profile.size());
    for (int r = 0; r < rows; ++r) {
        for (int s = 0; s <= segments; ++s) {
            float u = static_cast<float>(s) / static_cast<float>(segments);
            float phi = u * glm::two_pi<float>();
            glm::vec3 around(std::cos(phi), std::sin(phi), 0.0f);
            mesh.positions.push_back(around * profile[r].x + glm::vec3(0, 0, profile[r].y));
            mesh.normals.push_back(glm::normalize(around * profileNormals[r].x + glm::vec3(0, 0, profileNormals[r].y)));
            float v = vBegin + (vEnd - vBegin) * static_cast<float>(r) / static_cast<float>(rows - 1);
            mesh.uvs.emplace_back(u, v);
            glm::vec3 tangent(-std::sin(phi), std::cos(phi), 0.0f);
            mesh.tangents.push_back(tangent);
            mesh.bitangents.push_back(glm::normalize(glm::cross(mesh.normals.back(), tangent)));
        }
    }
    const auto stride = static_cast<uint32_t>(segments + 1);
    for (int r = 0; r + 1 < rows; ++r) {
        for (int s = 0; s < segments; ++s) {
            uint32_t a = base + static_cast<uint32_t>(r) * stride + static_cast<uint32_t>(s);
            addQuad(mesh, a, a + 1, a + 1 + stride, a + stride);
        }
    }
}

std::vector<glm::vec2> sphereProfile(int rings, float radius, float centre, std::vector<glm::vec2>& normals) {
    std::vector<glm::vec2> profile;
    for (int r = 0; r <= rings; ++r) {
        float theta = -glm::half_pi<float>() + glm::pi<float>() * static_cast<float>(r) / static_cast<float>(rings);
        glm::vec2 n(std::cos(theta), std::sin(theta));
        // Keep the poles a hair off the axis so their tangents stay defined.
        n.x = std::max(n.x, 1e-4f);
        normals.push_back(n);
        profile.emplace_back(radius * n.x, centre + radius * n.y);
    }
    return profile;
}

}  // namespace

void Mesh::completeAttributes() {
    const std::size_t n = positions.size();
    if (normals.size() != n) {
        normals.assign(n, glm::vec3(0.0f));
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
            glm::vec3 a = positions[indices[i]], b = positions[indices[i + 1]], c = positions[indices[i + 2]];
            glm::vec3 face = glm::cross(b - a, c - a);  // area weighted
            for (int k = 0; k < 3; ++k) normals[indices[i + k]] += face;
        }
        for (glm::vec3& normal : normals) {
            float length = glm::length(normal);
            normal = length > 0.0f ? normal / length : glm::vec3(0, 0, 1);
        }
    }
    if (uvs.size() != n) uvs.assign(n, glm::vec2(0.0f));
    if (tangents.size() != n || bitangents.size() != n) {
        tangents.assign(n, glm::vec3(0.0f));
        for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
            uint32_t i0 = indices[i], i1 = indices[i + 1], i2 = indices[i + 2];
            glm::vec3 e1 = positions[i1] - positions[i0], e2 = positions[i2] - positions[i0];
            glm::vec2 d1 = uvs[i1] - uvs[i0], d2 = uvs[i2] - uvs[i0];
            float det = d1.x * d2.y - d2.x * d1.y;
            if (std::fabs(det) < 1e-12f) continue;
            glm::vec3 t = (e1 * d2.y - e2 * d1.y) / det;
            for (uint32_t k : {i0, i1, i2}) tangents[k] += t;
        }
        bitangents.resize(n);
        for (std::size_t k = 0; k < n; ++k) {
            glm::vec3 t = tangents[k] - normals[k] * glm::dot(normals[k], tangents[k]);
            float length = glm::length(t);
            tangents[k] = length > 1e-12f ? t / length : perpendicular(normals[k]);
            bitangents[k] = glm::cross(normals[k], tangents[k]);
        }
    }
}

Mesh makeSphere(int segments, int rings) {
    Mesh mesh;
    std::vector<glm::vec2> normals;
    std::vector<glm::vec2> profile = sphereProfile(rings, 1.0f, 0.0f, normals);
    addRevolution(mesh, profile, normals, segments, 0.0f, 1.0f);
    return mesh;
}

Mesh makePlane() {
    Mesh mesh;
    mesh.positions = {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
    mesh.normals.assign(4, glm::vec3(0, 0, 1));
    mesh.uvs = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    mesh.tangents.assign(4, glm::vec3(1, 0, 0));
    mesh.bitangents.assign(4, glm::vec3(0, 1, 0));
    addQuad(mesh, 0, 1, 2, 3);
    return mesh;
}

Mesh makeBox() {
    Mesh mesh;
    // Each face: normal, tangent (uv.x direction), bitangent (uv.y direction).
    const glm::vec3 faces[6][3] = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},   {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}},
                                   {{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}},  {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}},
                                   {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},   {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}}};
    for (const auto& face : faces) {
        const glm::vec3 &n = face[0], &t = face[1], &b = face[2];
        auto base = static_cast<uint32_t>(mesh.positions.size());
        const glm::vec2 corners[4] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        for (const glm::vec2& c : corners) {
            mesh.positions.push_back(n + t * (2.0f * c.x - 1.0f) + b * (2.0f * c.y - 1.0f));
            mesh.normals.push_back(n);
            mesh.uvs.push_back(c);
            mesh.tangents.push_back(t);
            mesh.bitangents.push_back(b);
        }
        addQuad(mesh, base, base + 1, base + 2, base + 3);
    }
    return mesh;
}

Mesh makeMaterialBall() {
    // A sphere of radius 0.8 resting on a low round pedestal; together they fill the unit box
    // above z = 0 and show the material on convex, flat and grazing surfaces.
    Mesh mesh;
    std::vector<glm::vec2> normals;
    std::vector<glm::vec2> ball = sphereProfile(96, 0.8f, 1.15f, normals);
    addRevolution(mesh, ball, normals, 192, 0.25f, 1.0f);
    // Pedestal: a side wall and a top rim, with its own smooth shading bands.
    std::vector<glm::vec2> wall = {{0.7f, 0.0f}, {0.7f, 0.3f}};
    std::vector<glm::vec2> wallNormals = {{1, 0}, {1, 0}};
    addRevolution(mesh, wall, wallNormals, 80, 0.0f, 0.15f);
    std::vector<glm::vec2> top = {{0.7f, 0.3f}, {0.0001f, 0.3f}};
    std::vector<glm::vec2> topNormals = {{0, 1}, {0, 1}};
    addRevolution(mesh, top, topNormals, 80, 0.15f, 0.25f);
    return mesh;
}

namespace {

struct ObjCorner {
    int position, normal, uv;
};

glm::vec3 objVector(const std::vector<tinyobj::real_t>& values, std::size_t index) {
    return {values[3 * index], values[3 * index + 1], values[3 * index + 2]};
}

// Every face corner of the file, checked against the file's lists (no corner may name a
// position, normal or uv the file does not have, and every position must be finite).
std::vector<ObjCorner> objCorners(const tinyobj::ObjReader& reader, bool& allNormals, bool& allUvs) {
    const tinyobj::attrib_t& attrib = reader.GetAttrib();
    for (std::size_t i = 0; i < attrib.vertices.size(); ++i) {
        if (!std::isfinite(attrib.vertices[i])) {
            throw std::runtime_error("vertex " + std::to_string(i / 3 + 1) + " has a coordinate that is not a finite number");
        }
    }
    std::vector<ObjCorner> corners;
    allNormals = allUvs = true;
    for (const tinyobj::shape_t& shape : reader.GetShapes()) {
        for (const tinyobj::index_t& index : shape.mesh.indices) {
            if (index.vertex_index < 0 || 3 * static_cast<std::size_t>(index.vertex_index) + 2 >= attrib.vertices.size()) {
                throw std::runtime_error("a face refers to a vertex that does not exist");
            }
            allNormals = allNormals && index.normal_index >= 0;
            allUvs = allUvs && index.texcoord_index >= 0;
            corners.push_back({index.vertex_index, index.normal_index, index.texcoord_index});
        }
    }
    if (corners.empty()) throw std::runtime_error("it holds no faces");
    for (const ObjCorner& c : corners) {
        if (allNormals && 3 * static_cast<std::size_t>(c.normal) + 2 >= attrib.normals.size()) {
            throw std::runtime_error("a face refers to a missing normal");
        }
        if (allUvs && 2 * static_cast<std::size_t>(c.uv) + 1 >= attrib.texcoords.size()) {
            throw std::runtime_error("a face refers to a missing uv");
        }
    }
    return corners;
}

// Normals for a file without them, one per face corner: the area-weighted mean of the faces
// around the corner's position whose normals lie within the crease angle of the corner's own
// face, so flat faces meeting at a sharp edge keep the edge.
std::vector<glm::vec3> creasedNormals(const std::vector<ObjCorner>& corners, const tinyobj::attrib_t& attrib,
                                      float creaseDegrees) {
    const std::size_t faces = corners.size() / 3;
    std::vector<glm::vec3> area(faces), unitFace(faces);
    std::map<int, std::vector<std::size_t>> facesAt;
    for (std::size_t f = 0; f < faces; ++f) {
        glm::vec3 a = objVector(attrib.vertices, static_cast<std::size_t>(corners[3 * f].position));
        glm::vec3 b = objVector(attrib.vertices, static_cast<std::size_t>(corners[3 * f + 1].position));
        glm::vec3 c = objVector(attrib.vertices, static_cast<std::size_t>(corners[3 * f + 2].position));
        area[f] = glm::cross(b - a, c - a);
        float length = glm::length(area[f]);
        unitFace[f] = length > 0.0f ? area[f] / length : glm::vec3(0.0f);
        for (int k = 0; k < 3; ++k) facesAt[corners[3 * f + static_cast<std::size_t>(k)].position].push_back(f);
    }
    const float minCosine = std::cos(glm::radians(creaseDegrees));
    std::vector<glm::vec3> normals(corners.size(), glm::vec3(0.0f));
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const glm::vec3& own = unitFace[i / 3];
        for (std::size_t g : facesAt[corners[i].position]) {
            if (g == i / 3 || glm::dot(unitFace[g], own) >= minCosine) normals[i] += area[g];
        }
        float length = glm::length(normals[i]);
        normals[i] = length > 0.0f ? normals[i] / length : glm::vec3(0, 0, 1);
    }
    return normals;
}

}  // namespace

Mesh loadObj(const std::string& path, float creaseDegrees) {
    tinyobj::ObjReaderConfig config;
    config.triangulate = true;
    config.vertex_color = false;
    tinyobj::ObjReader reader;
    if (!reader.ParseFromFile(path, config)) {
        std::string reason = reader.Error();
        while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' ')) reason.pop_back();
        throw std::runtime_error(reason.empty() ? "not a readable OBJ file" : reason);
    }
    const tinyobj::attrib_t& attrib = reader.GetAttrib();
    bool allNormals = true, allUvs = true;
    const std::vector<ObjCorner> corners = objCorners(reader, allNormals, allUvs);
    std::vector<glm::vec3> normals;
    if (allNormals) {
        for (const ObjCorner& c : corners) normals.push_back(glm::normalize(objVector(attrib.normals, static_cast<std::size_t>(c.normal))));
    } else {
        normals = creasedNormals(corners, attrib, creaseDegrees);
    }
    // Corners with the same position, normal and uv become one vertex.
    Mesh mesh;
    std::map<std::tuple<int, float, float, float, int>, uint32_t> welded;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const ObjCorner& c = corners[i];
        auto key = std::make_tuple(c.position, normals[i].x, normals[i].y, normals[i].z, allUvs ? c.uv : -1);
        auto [slot, added] = welded.try_emplace(key, static_cast<uint32_t>(mesh.positions.size()));
        mesh.indices.push_back(slot->second);
        if (!added) continue;
        mesh.positions.push_back(objVector(attrib.vertices, static_cast<std::size_t>(c.position)));
        mesh.normals.push_back(normals[i]);
        if (allUvs) {
            auto k = static_cast<std::size_t>(c.uv);
            mesh.uvs.emplace_back(attrib.texcoords[2 * k], attrib.texcoords[2 * k + 1]);
        }
    }
    mesh.completeAttributes();
    return mesh;
}

// ---------------------------------------------------------------------------------------------

Scene::Scene() {
    device_ = rtcNewDevice(nullptr);
    if (!device_) throw std::runtime_error("cannot create an Embree device");
}

Scene::~Scene() {
    for (RTCScene s : meshScenes_) rtcReleaseScene(s);
    if (scene_) rtcReleaseScene(scene_);
    rtcReleaseDevice(device_);
}

void Scene::commit() {
    scene_ = rtcNewScene(device_);
    glm::vec3 lo(std::numeric_limits<float>::max()), hi(-std::numeric_limits<float>::max());
    for (std::size_t i = 0; i < objects.size(); ++i) {
        Object& object = objects[i];
        const Mesh& mesh = *object.mesh;
        object.normalToWorld = glm::transpose(glm::inverse(glm::mat3(object.toWorld)));

        RTCScene meshScene = rtcNewScene(device_);
        RTCGeometry triangles = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
            triangles, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), mesh.positions.size()));
        for (std::size_t v = 0; v < mesh.positions.size(); ++v) {
            for (int k = 0; k < 3; ++k) vertices[3 * v + k] = mesh.positions[v][k];
            glm::vec3 p = glm::vec3(object.toWorld * glm::vec4(mesh.positions[v], 1.0f));
            lo = glm::min(lo, p);
            hi = glm::max(hi, p);
        }
        auto* indices = static_cast<uint32_t*>(rtcSetNewGeometryBuffer(
            triangles, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(uint32_t), mesh.triangleCount()));
        std::copy(mesh.indices.begin(), mesh.indices.begin() + static_cast<long>(3 * mesh.triangleCount()), indices);
        rtcCommitGeometry(triangles);
        rtcAttachGeometry(meshScene, triangles);
        rtcReleaseGeometry(triangles);
        rtcCommitScene(meshScene);
        meshScenes_.push_back(meshScene);

        RTCGeometry instance = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_INSTANCE);
        rtcSetGeometryInstancedScene(instance, meshScene);
        rtcSetGeometryTransform(instance, 0, RTC_FORMAT_FLOAT4X4_COLUMN_MAJOR, glm::value_ptr(object.toWorld));
        rtcCommitGeometry(instance);
        rtcAttachGeometryByID(scene_, instance, static_cast<unsigned>(i));
        rtcReleaseGeometry(instance);
    }
    rtcCommitScene(scene_);
    extent_ = objects.empty() ? 1.0f : std::max(1.0f, glm::length(hi - lo));
}

bool Scene::intersect(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar,
                      SurfaceHit& hit) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit rayHit{};
    rayHit.ray.org_x = origin.x;
    rayHit.ray.org_y = origin.y;
    rayHit.ray.org_z = origin.z;
    rayHit.ray.dir_x = direction.x;
    rayHit.ray.dir_y = direction.y;
    rayHit.ray.dir_z = direction.z;
    rayHit.ray.tnear = tNear;
    rayHit.ray.tfar = tFar;
    rayHit.ray.mask = 0xFFFFFFFFu;
    rayHit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rayHit.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(scene_, &context, &rayHit);
    if (rayHit.hit.geomID == RTC_INVALID_GEOMETRY_ID || rayHit.hit.instID[0] == RTC_INVALID_GEOMETRY_ID) return false;

    const Object& object = objects[rayHit.hit.instID[0]];
    const Mesh& mesh = *object.mesh;
    const uint32_t* tri = &mesh.indices[3 * static_cast<std::size_t>(rayHit.hit.primID)];
    const float u = rayHit.hit.u, v = rayHit.hit.v, w = 1.0f - u - v;
    auto blend = [&](const auto& values) { return values[tri[0]] * w + values[tri[1]] * u + values[tri[2]] * v; };

    hit.distance = rayHit.ray.tfar;
    hit.object = static_cast<int>(rayHit.hit.instID[0]);
    hit.objectPosition = blend(mesh.positions);
    glm::vec3 objectGeom = glm::cross(mesh.positions[tri[1]] - mesh.positions[tri[0]],
                                      mesh.positions[tri[2]] - mesh.positions[tri[0]]);
    glm::vec3 objectNormal = blend(mesh.normals);
    float length = glm::length(objectNormal);
    hit.objectNormal = length > 0.0f ? objectNormal / length : glm::normalize(objectGeom);
    hit.uv = blend(mesh.uvs);
    hit.tangent = blend(mesh.tangents);
    hit.bitangent = blend(mesh.bitangents);
    hit.position = origin + direction * rayHit.ray.tfar;
    hit.normal = glm::normalize(object.normalToWorld * hit.objectNormal);
    hit.geomNormal = glm::normalize(object.normalToWorld * objectGeom);
    // Interpolated normals can tilt away from a face: keep the shading normal on the side of
    // the geometric one, as every host must for the materials' side tests to agree.
    if (glm::dot(hit.normal, hit.geomNormal) < 0.0f) hit.normal = hit.geomNormal;
    return true;
}

bool Scene::occluded(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRay ray{};
    ray.org_x = origin.x;
    ray.org_y = origin.y;
    ray.org_z = origin.z;
    ray.dir_x = direction.x;
    ray.dir_y = direction.y;
    ray.dir_z = direction.z;
    ray.tnear = tNear;
    ray.tfar = tFar;
    ray.mask = 0xFFFFFFFFu;
    rtcOccluded1(scene_, &context, &ray);
    return ray.tfar < 0.0f;
}

}  // namespace kestrel::render
