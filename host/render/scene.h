// The scene a renderer holds: meshes placed by object matrices and traced with Embree, the
// shader objects that colour them, the lights and the environment, and the camera.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <embree3/rtcore.h>
#include <glm/glm.hpp>

#include <kestrel/kestrel.h>

#include "shader_instance.h"

namespace kestrel::render {

// Triangles with per-vertex normals, uv, tangents and bitangents, in the object's own space.
struct Mesh {
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<glm::vec2> uvs;
    std::vector<glm::vec3> tangents;
    std::vector<glm::vec3> bitangents;
    std::vector<uint32_t> indices;  // three per triangle

    std::size_t triangleCount() const { return indices.size() / 3; }
    // Fills missing normals (smooth, from the faces), uv (zero) and tangents (from the uv
    // gradient, or any direction perpendicular to the normal where uv gives none).
    void completeAttributes();
};

// Built-in shapes, all in the unit box around the origin (the material ball stands on z = 0).
Mesh makeSphere(int segments = 64, int rings = 32);
Mesh makePlane();
Mesh makeBox();
Mesh makeMaterialBall();
// Reads an OBJ file (triangulated); throws std::runtime_error with tinyobjloader's reason or
// the fault found (a face naming a missing vertex, a non-finite coordinate). A file without
// normals is smoothed across an edge only where its faces meet at less than `creaseDegrees`.
constexpr float kDefaultCreaseDegrees = 30.0f;
Mesh loadObj(const std::string& path, float creaseDegrees = kDefaultCreaseDegrees);

// A material: one shader object and what the host needs to fill records for it.
struct Material {
    std::unique_ptr<ShaderInstance> shader;
    std::string where;  // place in the scene file, for messages
    int32_t capabilities = 0;
    // Declared varyings by name (offset, or -1 when not declared).
    int uvOffset = -1, uv1Offset = -1, tangentOffset = -1, bitangentOffset = -1, colorOffset = -1;
};

struct Object {
    std::shared_ptr<const Mesh> mesh;
    int material = 0;
    glm::mat4 toWorld{1.0f};   // column-vector form of the row-major object matrix
    glm::mat3 normalToWorld{1.0f};
    ksi::Float4x4 objectMatrix = ksi::Float4x4::identity();  // as the record carries it
};

struct Light {
    std::unique_ptr<ShaderInstance> shader;
    glm::vec3 position{0.0f};
    glm::vec3 axis{0.0f, 0.0f, -1.0f};
    float specularScale = 1.0f;
    bool specular = true;
};

struct Camera {
    glm::vec3 position{0.0f, -5.0f, 1.0f};
    glm::vec3 lookAt{0.0f};
    glm::vec3 up{0.0f, 0.0f, 1.0f};
    float fovDegrees = 40.0f;  // vertical
};

// The hit point of a ray with everything a record needs, in world and object space.
struct SurfaceHit {
    float distance = 0.0f;
    int object = -1;
    glm::vec3 position{0.0f}, normal{0.0f}, geomNormal{0.0f};
    glm::vec3 objectPosition{0.0f}, objectNormal{0.0f};
    glm::vec2 uv{0.0f};
    glm::vec3 tangent{0.0f}, bitangent{0.0f};  // object space, as the varyings carry them
};

class Scene {
public:
    Scene();
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    Camera camera;
    std::unique_ptr<ShaderInstance> environment;  // may be null: rays that leave see black
    std::vector<Material> materials;
    std::vector<Light> lights;
    std::vector<Object> objects;
    glm::vec3 ambient{0.0f};  // answer of ambientIrradiance

    // Builds the acceleration structures; call once after filling the objects.
    void commit();
    // Closest hit along the ray beyond tNear and before tFar.
    bool intersect(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar,
                   SurfaceHit& hit) const;
    // Whether anything lies along the ray between tNear and tFar.
    bool occluded(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar) const;
    // Size of the scene's bounds, for ray offsets and distances.
    float extent() const { return extent_; }

private:
    RTCDevice device_ = nullptr;
    RTCScene scene_ = nullptr;
    std::vector<RTCScene> meshScenes_;
    float extent_ = 1.0f;
};

}  // namespace kestrel::render
