#include "render/scene_file.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include <glm/gtc/type_ptr.hpp>

#include "name_match.h"

namespace kestrel::render {

namespace {

using nlohmann::json;

class Reader {
public:
    Reader(const SceneSource& source) : source_(source) {}

    [[noreturn]] void fail(const std::string& place, const std::string& message) const {
        throw SceneError(source_.fileName + ": " + (place.empty() ? "" : place + ": ") + message);
    }

    static std::string child(const std::string& place, const std::string& key) {
        return place.empty() ? key : place + "." + key;
    }
    static std::string item(const std::string& place, std::size_t index) {
        return place + "[" + std::to_string(index) + "]";
    }

    const json& object(const json& value, const std::string& place, const std::vector<std::string>& keys) const {
        if (!value.is_object()) fail(place, "expected an object, found " + describe(value));
        for (const auto& [key, member] : value.items()) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                std::string names;
                for (const std::string& k : keys) names += (names.empty() ? "" : ", ") + k;
                fail(child(place, key), "unknown key '" + key + "'" + didYouMean(key, keys) + " (expected one of: " +
                                            names + ")");
            }
        }
        return value;
    }

    float number(const json& value, const std::string& place) const {
        if (!value.is_number()) fail(place, "expected a number, found " + describe(value));
        double d = value.get<double>();
        if (!(std::fabs(d) <= std::numeric_limits<float>::max())) fail(place, "number out of the float range");
        return static_cast<float>(d);
    }

    int integer(const json& value, const std::string& place, int lo, int hi) const {
        if (!value.is_number_integer()) fail(place, "expected a whole number, found " + describe(value));
        auto i = value.get<int64_t>();
        if (i < lo || i > hi) fail(place, "expected a whole number from " + std::to_string(lo) + " to " + std::to_string(hi));
        return static_cast<int>(i);
    }

    std::vector<float> numbers(const json& value, const std::string& place, std::size_t count) const {
        if (!value.is_array() || value.size() != count) {
            fail(place, "expected an array of " + std::to_string(count) + " numbers, found " + describe(value));
        }
        std::vector<float> result;
        for (std::size_t i = 0; i < count; ++i) result.push_back(number(value[i], item(place, i)));
        return result;
    }

    glm::vec3 vec3(const json& value, const std::string& place) const {
        std::vector<float> v = numbers(value, place, 3);
        return {v[0], v[1], v[2]};
    }

    // n x n numbers, flat in row order or as n rows.
    std::vector<float> matrix(const json& value, const std::string& place, std::size_t n) const {
        if (value.is_array() && value.size() == n && value[0].is_array()) {
            std::vector<float> result;
            for (std::size_t row = 0; row < n; ++row) {
                std::vector<float> r = numbers(value[row], item(place, row), n);
                result.insert(result.end(), r.begin(), r.end());
            }
            return result;
        }
        if (value.is_array() && value.size() == n * n) return numbers(value, place, n * n);
        fail(place, "expected a " + std::to_string(n) + "x" + std::to_string(n) + " matrix: " + std::to_string(n * n) +
                        " numbers in row order or " + std::to_string(n) + " rows of " + std::to_string(n) +
                        ", found " + describe(value));
    }

    std::string string(const json& value, const std::string& place) const {
        if (!value.is_string()) fail(place, "expected a string, found " + describe(value));
        return value.get<std::string>();
    }

    // A file path relative to the scene's base directory.
    std::string path(const json& value, const std::string& place) const {
        std::filesystem::path p = string(value, place);
        if (p.is_relative() && !source_.baseDirectory.empty()) p = std::filesystem::path(source_.baseDirectory) / p;
        return p.lexically_normal().string();
    }

    static std::string describe(const json& value) {
        switch (value.type()) {
            case json::value_t::null: return "null";
            case json::value_t::boolean: return "a boolean";
            case json::value_t::string: return "a string";
            case json::value_t::array: return "an array of " + std::to_string(value.size());
            case json::value_t::object: return "an object";
            case json::value_t::number_integer:
            case json::value_t::number_unsigned:
            case json::value_t::number_float: return "a number";
            default: return "a value";
        }
    }

    const SceneSource& source() const { return source_; }

private:
    const SceneSource& source_;
};

std::unique_ptr<ShaderInstance> createShader(const Reader& reader, const PluginLibrary& library, const json& spec,
                                             const std::string& place, int32_t kind, TextureSet& textures) {
    reader.object(spec, place, {"class", "parameters"});
    if (!spec.contains("class")) reader.fail(place, "missing 'class'");
    std::string className = reader.string(spec["class"], Reader::child(place, "class"));
    std::unique_ptr<ShaderInstance> shader;
    try {
        shader = std::make_unique<ShaderInstance>(library.findClass(className));
    } catch (const LoadError& error) {
        reader.fail(Reader::child(place, "class"), error.what());
    }
    if (shader->kind() != kind) {
        auto article = [](int32_t k) { return k == ksi::kKindEnvironment ? "an " : "a "; };
        reader.fail(Reader::child(place, "class"), className + " is " + article(shader->kind()) +
                                                       kindName(shader->kind()) + ", not " + article(kind) +
                                                       kindName(kind));
    }
    completeParameters(*shader);
    if (spec.contains("parameters")) {
        const std::string parametersPlace = Reader::child(place, "parameters");
        const json& parameters = spec["parameters"];
        if (!parameters.is_object()) reader.fail(parametersPlace, "expected an object, found " + Reader::describe(parameters));
        for (const auto& [name, value] : parameters.items()) {
            setParameter(*shader, name, value, reader.source(), Reader::child(parametersPlace, name), textures);
        }
    }
    return shader;
}

Material makeMaterial(std::unique_ptr<ShaderInstance> shader, const std::string& place) {
    Material material;
    material.where = place;
    material.capabilities = shader->declaration().capabilities;
    for (const VaryingDeclaration& varying : shader->declaration().varyings) {
        // The host delivers each varying it knows in one type (uv as Float2, tangents as Float3,
        // the vertex colour as Float4). A varying declared with another type, or one that would
        // reach outside the record's area, is not delivered, so no write can overrun the area.
        struct Known {
            const char* name;
            int32_t type;
            int* offset;
        };
        const Known known[] = {{"uv", ksi::kVaryingFloat2, &material.uvOffset},
                               {"uv1", ksi::kVaryingFloat2, &material.uv1Offset},
                               {"tangent", ksi::kVaryingFloat3, &material.tangentOffset},
                               {"bitangent", ksi::kVaryingFloat3, &material.bitangentOffset},
                               {"vtxcolor", ksi::kVaryingFloat4, &material.colorOffset}};
        for (const Known& k : known) {
            if (varying.name != k.name || varying.type != k.type) continue;
            int size = k.type == ksi::kVaryingFloat2 ? 8 : k.type == ksi::kVaryingFloat3 ? 12 : 16;
            if (varying.offset >= 0 && varying.offset <= ksi::kVaryingsSize - size) *k.offset = varying.offset;
        }
    }
    material.shader = std::move(shader);
    return material;
}

}  // namespace

void completeParameters(ShaderInstance& shader) {
    for (const ParameterDeclaration& p : shader.declaration().parameters) {
        int n = p.type == ParamType::Matrix3 ? 9 : p.type == ParamType::Matrix4 ? 16 : 0;
        if (n == 0) continue;
        const auto* m = static_cast<const float*>(p.address);
        bool usable = false;
        for (int i = 0; i < n; ++i) {
            if (!std::isfinite(m[i])) {
                usable = false;
                break;
            }
            usable = usable || m[i] != 0.0f;
        }
        if (usable) continue;
        if (n == 9) shader.set(p.name, ksi::Float3x3::identity());
        else shader.set(p.name, ksi::Float4x4::identity());
    }
}

namespace {

// The texels of a data texture written in the scene file: one row of 1 to 4 numbers each.
std::vector<ksi::Float4> readTexels(const Reader& reader, const json& value, const std::string& place) {
    std::vector<ksi::Float4> row;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const std::string texelPlace = Reader::item(place, i);
        if (!value[i].is_array() || value[i].empty() || value[i].size() > 4) {
            reader.fail(texelPlace, "expected a texel of 1 to 4 numbers, found " + Reader::describe(value[i]));
        }
        std::vector<float> v = reader.numbers(value[i], texelPlace, value[i].size());
        ksi::Float4 texel(0.0f, 0.0f, 0.0f, 1.0f);
        std::copy(v.begin(), v.end(), &texel.x);
        row.push_back(texel);
    }
    if (row.empty()) reader.fail(place, "a data texture needs at least one texel");
    return row;
}

// A texture parameter: null unbinds, a path opens the file, a data texture may be texels.
void bindTexture(ShaderInstance& shader, const ParameterDeclaration& p, const json& value, const Reader& reader,
                 const std::string& place, TextureSet& textures, const std::string& expected) {
    if (value.is_null()) {
        shader.bindTexture(p.name, nullptr, -1);
        return;
    }
    if (p.type == ParamType::DataTexture && value.is_array()) {
        shader.bindTexture(p.name, textures.fromData({readTexels(reader, value, place)}), 0);
        return;
    }
    if (!value.is_string()) {
        reader.fail(place, std::string("expected an image file path") +
                               (p.type == ParamType::DataTexture ? " or an array of texels" : "") + ", found " +
                               Reader::describe(value) + " " + expected);
    }
    try {
        shader.bindTexture(p.name, textures.open(reader.path(value, place), p.type), 0);
    } catch (const TextureError& error) {
        reader.fail(place, error.what());
    }
}

void setVector(ShaderInstance& shader, const std::string& name, const std::vector<float>& v) {
    if (v.size() == 2) shader.set(name, ksi::Float2(v[0], v[1]));
    if (v.size() == 3) shader.set(name, ksi::Float3(v[0], v[1], v[2]));
    if (v.size() == 4) shader.set(name, ksi::Float4(v[0], v[1], v[2], v[3]));
}

template <class Matrix>
void setMatrix(ShaderInstance& shader, const std::string& name, const std::vector<float>& v) {
    Matrix m;
    std::copy(v.begin(), v.end(), m.m);
    shader.set(name, m);
}

[[noreturn]] void failUnknownParameter(const ShaderInstance& shader, const std::string& name, const Reader& reader,
                                       const std::string& place) {
    reader.fail(place, shader.className() + " has no parameter '" + name + "'" +
                           didYouMean(name, shader.parameterNames()) + " (kestrel-info " + shader.className() +
                           " lists them)");
}

}  // namespace

void setParameter(ShaderInstance& shader, const std::string& name, const json& value, const SceneSource& source,
                  const std::string& place, TextureSet& textures) {
    Reader reader(source);
    if (!shader.hasParameter(name)) failUnknownParameter(shader, name, reader, place);
    const ParameterDeclaration& p = shader.parameter(name);
    const std::string expected = std::string("(") + shader.className() + " declares '" + name + "' as " +
                                 typeName(p.type) + ")";
    auto wrong = [&](const std::string& what) { reader.fail(place, what + " " + expected); };
    switch (p.type) {
        case ParamType::Bool:
            if (!value.is_boolean()) wrong("expected true or false, found " + Reader::describe(value));
            shader.set(name, value.get<bool>());
            return;
        case ParamType::Int:
            if (!value.is_number_integer()) wrong("expected a whole number, found " + Reader::describe(value));
            if (value.get<int64_t>() < std::numeric_limits<int32_t>::min() ||
                value.get<int64_t>() > std::numeric_limits<int32_t>::max()) {
                wrong("whole number out of the 32-bit range");
            }
            shader.set(name, static_cast<int32_t>(value.get<int64_t>()));
            return;
        case ParamType::Float:
            if (!value.is_number()) wrong("expected a number, found " + Reader::describe(value));
            shader.set(name, reader.number(value, place));
            return;
        case ParamType::Float2:
        case ParamType::Float3:
        case ParamType::Float4: {
            const auto n = static_cast<std::size_t>(componentCount(p.type));
            if (!value.is_array() || value.size() != n) {
                wrong("expected an array of " + std::to_string(n) + " numbers, found " + Reader::describe(value));
            }
            setVector(shader, name, reader.numbers(value, place, n));
            return;
        }
        case ParamType::Matrix3: setMatrix<ksi::Float3x3>(shader, name, reader.matrix(value, place, 3)); return;
        case ParamType::Matrix4: setMatrix<ksi::Float4x4>(shader, name, reader.matrix(value, place, 4)); return;
        case ParamType::DataTexture:
        case ParamType::Texture:
        case ParamType::CubeTexture: bindTexture(shader, p, value, reader, place, textures, expected); return;
    }
}

namespace {

// "line L, column C" of a byte offset in the text.
std::string lineAndColumn(const std::string& text, std::size_t offset) {
    std::size_t line = 1, column = 1;
    for (std::size_t i = 0; i + 1 < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

// The parser's own sentence without its code and position, in plain words: "syntax error
// while parsing object key - unexpected ','; expected string literal" reads "in an object key:
// unexpected ','; expected string literal".
std::string parserReason(const std::string& what) {
    std::size_t at = what.find("] ");
    std::string reason = at == std::string::npos ? what : what.substr(at + 2);
    if (std::size_t column = reason.find("column "); column != std::string::npos && reason.rfind("parse error", 0) == 0) {
        std::size_t colon = reason.find(": ", column);
        if (colon != std::string::npos) reason = reason.substr(colon + 2);
    }
    const std::string syntax = "syntax error while parsing ";
    std::size_t dash = reason.find(" - ");
    if (reason.rfind(syntax, 0) == 0 && dash != std::string::npos) {
        std::string what = reason.substr(syntax.size(), dash - syntax.size());
        return " in " + std::string(what.find_first_of("aeiou") == 0 ? "an " : "a ") + what + ": " + reason.substr(dash + 3);
    }
    return ": " + reason;
}

// Keys seen in each object being parsed, to refuse a key given twice (the parser would keep
// the last one silently), and the path of keys that leads to it, for the message.
class DuplicateKeyCheck {
public:
    bool operator()(int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) frames_.emplace_back();
        if (event == json::parse_event_t::object_end && !frames_.empty()) frames_.pop_back();
        if (event == json::parse_event_t::key && !frames_.empty()) {
            const std::string key = parsed.get<std::string>();
            if (!frames_.back().keys.insert(key).second) duplicate_ = path() + (path().empty() ? "" : ".") + key;
            frames_.back().current = key;
        }
        return true;
    }
    const std::string& duplicate() const { return duplicate_; }

private:
    std::string path() const {
        std::string result;
        for (std::size_t i = 0; i + 1 < frames_.size(); ++i) result += (result.empty() ? "" : ".") + frames_[i].current;
        return result;
    }
    struct Frame {
        std::set<std::string> keys;
        std::string current;
    };
    std::vector<Frame> frames_;
    std::string duplicate_;
};

}  // namespace

json parseSceneText(const std::string& text, const std::string& fileName) {
    DuplicateKeyCheck check;
    json document;
    try {
        document = json::parse(text, std::ref(check));
    } catch (const json::parse_error& error) {
        throw SceneError(fileName + ": " + lineAndColumn(text, error.byte) + ": not valid JSON" +
                         parserReason(error.what()));
    } catch (const json::exception& error) {
        // A number beyond the double range ("1e999") is the one fault the parser reports this way.
        throw SceneError(fileName + ": not valid JSON" + parserReason(error.what()));
    }
    if (!check.duplicate().empty()) {
        const std::string& place = check.duplicate();
        throw SceneError(fileName + ": " + place + ": key '" + place.substr(place.rfind('.') + 1) +
                         "' is given twice in the same object");
    }
    return document;
}

json readSceneFile(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) throw SceneError(path + ": scene file does not exist");
    if (std::filesystem::is_directory(path, error)) throw SceneError(path + ": is a directory, not a scene file");
    if (!std::filesystem::is_regular_file(path, error)) throw SceneError(path + ": is not a regular file");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw SceneError(path + ": cannot open the scene file");
    std::stringstream text;
    text << file.rdbuf();
    return parseSceneText(text.str(), path);
}

namespace {

void readCamera(const Reader& reader, const json& value, Camera& camera) {
    const json& spec = reader.object(value, "camera", {"position", "lookAt", "up", "fov"});
    if (spec.contains("position")) camera.position = reader.vec3(spec["position"], "camera.position");
    if (spec.contains("lookAt")) camera.lookAt = reader.vec3(spec["lookAt"], "camera.lookAt");
    if (spec.contains("up")) camera.up = reader.vec3(spec["up"], "camera.up");
    if (spec.contains("fov")) {
        float fov = reader.number(spec["fov"], "camera.fov");
        if (!(fov > 0.0f && fov < 180.0f)) reader.fail("camera.fov", "expected a vertical angle between 0 and 180 degrees");
        camera.fovDegrees = fov;
    }
    glm::vec3 forward = camera.lookAt - camera.position;
    if (!(glm::length(forward) > 0.0f)) reader.fail("camera.lookAt", "the camera looks at its own position");
    if (!(glm::length(glm::cross(forward, camera.up)) > 0.0f)) {
        reader.fail("camera.up", "the up direction is parallel to the viewing direction");
    }
}

Integrator readMode(const Reader& reader, const json& value) {
    std::string mode = reader.string(value, "render.mode");
    if (mode == "shade") return Integrator::Shade;
    if (mode == "path") return Integrator::Path;
    reader.fail("render.mode", "unknown mode '" + mode + "'" + didYouMean(mode, {"shade", "path"}) +
                                   " (expected shade or path)");
}

void readRenderSettings(const Reader& reader, const json& value, RenderSettings& settings) {
    const json& render = reader.object(value, "render",
                                       {"resolution", "spp", "mode", "seed", "maxDepth", "occlusionSamples",
                                        "occlusionDistance"});
    if (render.contains("resolution")) {
        const json& r = render["resolution"];
        if (!r.is_array() || r.size() != 2) reader.fail("render.resolution", "expected [width, height]");
        settings.width = reader.integer(r[0], "render.resolution[0]", 1, 16384);
        settings.height = reader.integer(r[1], "render.resolution[1]", 1, 16384);
    }
    if (render.contains("spp")) settings.samplesPerPixel = reader.integer(render["spp"], "render.spp", 1, 1 << 20);
    if (render.contains("mode")) settings.integrator = readMode(reader, render["mode"]);
    if (render.contains("seed")) {
        settings.seed = static_cast<uint64_t>(reader.integer(render["seed"], "render.seed", 0, std::numeric_limits<int>::max()));
    }
    if (render.contains("maxDepth")) settings.maxDepth = reader.integer(render["maxDepth"], "render.maxDepth", 1, 64);
    if (render.contains("occlusionSamples")) {
        settings.occlusionSamples = reader.integer(render["occlusionSamples"], "render.occlusionSamples", 1, 256);
    }
    if (render.contains("occlusionDistance")) {
        settings.occlusionDistance = reader.number(render["occlusionDistance"], "render.occlusionDistance");
        if (!(settings.occlusionDistance > 0.0f)) reader.fail("render.occlusionDistance", "expected a positive distance");
    }
}

Light readLight(const Reader& reader, const PluginLibrary& library, const json& value, const std::string& place,
                TextureSet& textures) {
    const json& spec = reader.object(value, place, {"class", "parameters", "position", "axis", "specularScale", "specular"});
    Light light;
    json shaderSpec = json::object();
    if (spec.contains("class")) shaderSpec["class"] = spec["class"];
    if (spec.contains("parameters")) shaderSpec["parameters"] = spec["parameters"];
    if (!spec.contains("class")) reader.fail(place, "missing 'class'");
    light.shader = createShader(reader, library, shaderSpec, place, ksi::kKindLight, textures);
    if (!spec.contains("position")) reader.fail(place, "missing 'position'");
    light.position = reader.vec3(spec["position"], Reader::child(place, "position"));
    if (spec.contains("axis")) {
        light.axis = reader.vec3(spec["axis"], Reader::child(place, "axis"));
        if (!(glm::length(light.axis) > 0.0f)) reader.fail(Reader::child(place, "axis"), "the axis has no length");
        light.axis = glm::normalize(light.axis);
    }
    if (spec.contains("specularScale")) {
        light.specularScale = reader.number(spec["specularScale"], Reader::child(place, "specularScale"));
    }
    if (spec.contains("specular")) {
        if (!spec["specular"].is_boolean()) reader.fail(Reader::child(place, "specular"), "expected true or false");
        light.specular = spec["specular"].get<bool>();
    }
    return light;
}

std::shared_ptr<Mesh> readShape(const Reader& reader, const json& value, const std::string& place) {
    std::string shape = reader.string(value, place);
    static const std::vector<std::string> kShapes = {"sphere", "plane", "box", "materialBall"};
    if (shape == "sphere") return std::make_shared<Mesh>(makeSphere());
    if (shape == "plane") return std::make_shared<Mesh>(makePlane());
    if (shape == "box") return std::make_shared<Mesh>(makeBox());
    if (shape == "materialBall") return std::make_shared<Mesh>(makeMaterialBall());
    reader.fail(place, "unknown shape '" + shape + "'" + didYouMean(shape, kShapes) +
                           " (expected sphere, plane, box or materialBall)");
}

std::shared_ptr<Mesh> readMesh(const Reader& reader, const json& value, const std::string& place,
                               float creaseDegrees) {
    std::string file = reader.path(value, place);
    std::error_code error;
    if (!std::filesystem::exists(file, error)) reader.fail(place, "mesh file '" + file + "' does not exist");
    if (!std::filesystem::is_regular_file(file, error)) reader.fail(place, "mesh '" + file + "' is not a regular file");
    try {
        return std::make_shared<Mesh>(loadObj(file, creaseDegrees));
    } catch (const std::runtime_error& e) {
        reader.fail(place, "cannot read mesh '" + file + "': " + e.what());
    }
}

void readObjectMatrix(const Reader& reader, const json& value, const std::string& place, Object& object) {
    std::vector<float> m = reader.matrix(value, place, 4);
    std::copy(m.begin(), m.end(), object.objectMatrix.m);
    // The row-major, row-vector matrix read in column-major order is its own column-vector form.
    object.toWorld = glm::make_mat4(m.data());
    if (!(std::fabs(glm::determinant(glm::mat3(object.toWorld))) > 0.0f)) {
        reader.fail(place, "the matrix is singular (it flattens the object)");
    }
}

// An object and its material, which is appended to the scene's materials.
Object readObject(const Reader& reader, const PluginLibrary& library, const json& value, const std::string& place,
                  TextureSet& textures, Scene& scene) {
    const json& spec = reader.object(value, place, {"shape", "mesh", "creaseAngle", "matrix", "material"});
    Object object;
    if (spec.contains("shape") == spec.contains("mesh")) {
        reader.fail(place, "expected exactly one of 'shape' (sphere, plane, box, materialBall) or 'mesh' (an OBJ file)");
    }
    float crease = kDefaultCreaseDegrees;
    if (spec.contains("creaseAngle")) {
        const std::string creasePlace = Reader::child(place, "creaseAngle");
        if (!spec.contains("mesh")) reader.fail(creasePlace, "only a mesh has a crease angle");
        crease = reader.number(spec["creaseAngle"], creasePlace);
        if (!(crease >= 0.0f && crease <= 180.0f)) reader.fail(creasePlace, "expected an angle from 0 to 180 degrees");
    }
    object.mesh = spec.contains("shape") ? readShape(reader, spec["shape"], Reader::child(place, "shape"))
                                         : readMesh(reader, spec["mesh"], Reader::child(place, "mesh"), crease);
    if (spec.contains("matrix")) readObjectMatrix(reader, spec["matrix"], Reader::child(place, "matrix"), object);
    if (!spec.contains("material")) reader.fail(place, "missing 'material'");
    const std::string materialPlace = Reader::child(place, "material");
    object.material = static_cast<int>(scene.materials.size());
    scene.materials.push_back(makeMaterial(
        createShader(reader, library, spec["material"], materialPlace, ksi::kKindMaterial, textures), materialPlace));
    return object;
}

const json& readArray(const Reader& reader, const json& value, const std::string& place, const std::string& what) {
    if (!value.is_array()) reader.fail(place, "expected an array of " + what + ", found " + Reader::describe(value));
    return value;
}

}  // namespace

void loadScene(const json& document, const SceneSource& source, const PluginLibrary& library, TextureSet& textures,
               Scene& scene, RenderSettings& settings) {
    Reader reader(source);
    reader.object(document, "", {"camera", "render", "environment", "lights", "objects", "ambient"});
    if (document.contains("camera")) readCamera(reader, document["camera"], scene.camera);
    if (document.contains("render")) readRenderSettings(reader, document["render"], settings);
    if (document.contains("ambient")) scene.ambient = reader.vec3(document["ambient"], "ambient");
    if (document.contains("environment")) {
        scene.environment = createShader(reader, library, document["environment"], "environment",
                                         ksi::kKindEnvironment, textures);
    }
    if (document.contains("lights")) {
        const json& lights = readArray(reader, document["lights"], "lights", "lights");
        for (std::size_t i = 0; i < lights.size(); ++i) {
            scene.lights.push_back(readLight(reader, library, lights[i], Reader::item("lights", i), textures));
        }
    }
    if (document.contains("objects")) {
        const json& objects = readArray(reader, document["objects"], "objects", "objects");
        for (std::size_t i = 0; i < objects.size(); ++i) {
            scene.objects.push_back(readObject(reader, library, objects[i], Reader::item("objects", i), textures, scene));
        }
    }
    scene.commit();
}

}  // namespace kestrel::render
