// What each class declares, in order: parameter names, registry operations and constructor
// defaults, compared with the class tables written out here.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "test_library.h"

namespace {

using kestrel::ParamType;
using kestrel::ParamValue;
using ksi::Float2;
using ksi::Float3;

struct Row {
    const char* name;
    ParamType type;
    std::optional<ParamValue> value;  // none: the constructor leaves it to the host
};

const ksi::TextureHandle kUnset{};

struct ClassTable {
    const char* className;
    std::vector<Row> rows;
};

const std::vector<ClassTable>& tables() {
    static const std::vector<ClassTable> all = {
        {"znSpotLight",
         {{"color", ParamType::Float3, Float3(0.1f, 1.0f, 0.5f)},
          {"range", ParamType::Float, 10000.0f},
          {"attenuationFactors", ParamType::Float3, Float3(1.0f, 0.0f, 0.0f)},
          {"castShadows", ParamType::Bool, true},
          {"cosPenumbra", ParamType::Float, 0.9f},
          {"cosUmbra", ParamType::Float, 0.95f}}},
        {"znPointLight",
         {{"color", ParamType::Float3, Float3(1.0f, 0.5f, 0.1f)},
          {"castShadows", ParamType::Bool, true},
          {"range", ParamType::Float, 10000.0f},
          {"attenuationFactors", ParamType::Float3, Float3(1.0f, 0.0f, 0.0f)}}},
        {"kestrel_Mtl_Solid",
         {{"reverseNormal", ParamType::Bool, false},
          {"faceForward", ParamType::Bool, false},
          {"patchState", ParamType::Int, int32_t{0}}}},
        {"kestrel_Mtl_NormalsOnly",
         {{"reverseNormal", ParamType::Bool, false},
          {"faceForward", ParamType::Bool, false},
          {"faceLight", ParamType::Bool, false}}},
        {"kestrel_Mtl_Unlit", {{"diffuseColor", ParamType::Float3, Float3(1.0f, 1.0f, 0.0f)}}},
        {"kestrel_Env_Default",
         {{"IBLLuminanceFactors", ParamType::Float3, Float3(0.2125f, 0.7154f, 0.0721f)},
          {"globalIBLMatrix", ParamType::Matrix3, std::nullopt},
          {"reflectIBLContrast", ParamType::Float2, Float2(0.5f, 1.0f)},
          {"reflectIBLGainMode", ParamType::Int, int32_t{0}},
          {"reflectIBLGain", ParamType::Float3, Float3(1.0f, 1.0f, 1.0f)},
          {"reflectIBLSaturation", ParamType::Float, 1.0f},
          {"backgroundColor", ParamType::Float3, Float3(0.0f, 0.5f, 0.7f)},
          {"reflectionLatlong", ParamType::Texture, kUnset},
          {"u_hasLightRepresentation", ParamType::Bool, false},
          {"useBackgroundGeometry", ParamType::Bool, false}}},
        {"kestrel_Env_Backplate",
         {{"IBLLuminanceFactors", ParamType::Float3, Float3(0.2125f, 0.7154f, 0.0721f)},
          {"globalIBLMatrix", ParamType::Matrix3, std::nullopt},
          {"globalIBLGainValue", ParamType::Float, 1.0f},
          {"backgroundColor", ParamType::Float3, Float3(0.0f, 0.5f, 0.7f)},
          {"environmentSourceImage", ParamType::Texture, kUnset},
          {"backgroundMode", ParamType::Int, std::nullopt},
          {"custom2DBackground", ParamType::Texture, kUnset},
          {"customCubeBackground", ParamType::CubeTexture, kUnset},
          {"backplateCloseUp", ParamType::Float, 1.0f},
          {"backplateHorizon", ParamType::Float, 0.0f},
          {"camerawindowsize", ParamType::Float2, Float2(1.0f, 1.0f)},
          {"backplatetransform", ParamType::Matrix4, std::nullopt},
          {"backplateCubeRotation", ParamType::Matrix3, std::nullopt},
          {"backplateGainValue", ParamType::Float, 1.0f},
          {"uv_scale", ParamType::Float2, Float2(1.0f, 1.0f)},
          {"uv_offset", ParamType::Float2, Float2(0.0f, 0.0f)},
          {"render_size", ParamType::Float2, Float2(-1.0f, -1.0f)},
          {"viewport_size", ParamType::Float2, Float2(-1.0f, -1.0f)},
          {"u_hasLightRepresentation", ParamType::Bool, false}}},
    };
    return all;
}

// Values compare by their bytes: -0 differs from 0, and a texture handle by pointer and index.
bool sameValue(const ParamValue& a, const ParamValue& b) {
    if (a.index() != b.index()) return false;
    return std::visit(
        [&](const auto& x) {
            using T = std::decay_t<decltype(x)>;
            const T& y = std::get<T>(b);
            if constexpr (std::is_same_v<T, ksi::TextureHandle>) return x.object == y.object && x.index == y.index;
            else return std::memcmp(&x, &y, sizeof(T)) == 0;
        },
        a);
}

TEST(Declarations, EachClassDeclaresItsTableInOrder) {
    for (const ClassTable& table : tables()) {
        SCOPED_TRACE(table.className);
        kestrel::ShaderInstance shader = kestrel::testing::createShader(table.className);
        const auto& declared = shader.declaration().parameters;
        ASSERT_EQ(declared.size(), table.rows.size());
        for (std::size_t i = 0; i < declared.size(); ++i) {
            const Row& row = table.rows[i];
            SCOPED_TRACE(row.name);
            EXPECT_EQ(declared[i].name, row.name);
            EXPECT_EQ(declared[i].type, row.type) << "declared as " << kestrel::typeName(declared[i].type);
            if (row.value && declared[i].type == row.type) {
                ParamValue actual = shader.get(row.name);
                EXPECT_TRUE(sameValue(actual, *row.value)) << "default " << kestrel::formatValue(actual)
                                                           << ", expected " << kestrel::formatValue(*row.value);
            }
        }
        EXPECT_TRUE(shader.declaration().varyings.empty());
    }
}

// Members a declaration hands out lie after the table pointer and never overlap.
TEST(Declarations, MembersNeverOverlap) {
    for (const std::string& name : kestrel::testing::library().classNames()) {
        SCOPED_TRACE(name);
        kestrel::ShaderInstance shader = kestrel::testing::createShader(name);
        std::vector<std::pair<const char*, const char*>> spans;
        const char* object = reinterpret_cast<const char*>(shader.object());
        for (const auto& p : shader.declaration().parameters) {
            std::size_t size = kestrel::isTexture(p.type) ? sizeof(ksi::TextureHandle)
                               : p.type == ParamType::Bool ? 1
                                                           : 4 * kestrel::componentCount(p.type);
            const char* begin = static_cast<const char*>(p.address);
            EXPECT_GE(begin, object + sizeof(void*)) << p.name << " overlaps the virtual table pointer";
            for (const auto& [b, e] : spans) EXPECT_TRUE(begin + size <= b || begin >= e) << p.name << " overlaps";
            spans.emplace_back(begin, begin + size);
        }
    }
}

}  // namespace
