// Parameters set and read by name through the host's registry: values land in the declared
// members, and a wrong name or type is refused with a message that says what was expected.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "recording_host.h"
#include "test_library.h"

namespace {

using kestrel::ParameterError;
using kestrel::ParamValue;
using kestrel::testing::createShader;

std::string setError(kestrel::ShaderInstance& shader, const std::string& name, const ParamValue& value) {
    try {
        shader.set(name, value);
    } catch (const ParameterError& error) {
        return error.what();
    }
    return "";
}

TEST(ShaderInstance, SetWritesTheDeclaredMember) {
    kestrel::ShaderInstance light = createShader("znSpotLight");
    light.set("color", ksi::Float3(0.5f, 0.25f, 2.0f));
    float member[3];
    std::memcpy(member, light.parameter("color").address, sizeof member);
    EXPECT_EQ(member[0], 0.5f);
    EXPECT_EQ(member[1], 0.25f);
    EXPECT_EQ(member[2], 2.0f);
    EXPECT_EQ(std::get<ksi::Float3>(light.get("color")).z, 2.0f);

    light.set("castShadows", false);
    EXPECT_EQ(*static_cast<const unsigned char*>(light.parameter("castShadows").address), 0);
    light.set("castShadows", true);
    EXPECT_EQ(*static_cast<const unsigned char*>(light.parameter("castShadows").address), 1);
    const unsigned char byte = 0x40;  // what another host might have written for true
    std::memcpy(light.parameter("castShadows").address, &byte, 1);
    EXPECT_TRUE(std::get<bool>(light.get("castShadows")));

    kestrel::testing::RecordingImageTexture image;
    kestrel::ShaderInstance env = createShader("kestrel_Env_Default");
    env.bindTexture("reflectionLatlong", &image, 7);
    auto handle = std::get<ksi::TextureHandle>(env.get("reflectionLatlong"));
    EXPECT_EQ(handle.object, &image);
    EXPECT_EQ(handle.index, 7);
}

TEST(ShaderInstance, RefusesUnknownNamesAndWrongTypes) {
    kestrel::ShaderInstance light = createShader("znPointLight");
    kestrel::ShaderInstance env = createShader("kestrel_Env_Default");
    kestrel::testing::RecordingImageTexture image;
    struct Case {
        kestrel::ShaderInstance& shader;
        const char* name;
        ParamValue value;
        std::string expected;
    } const cases[] = {
        {light, "colour", ksi::Float3(1.0f), "znPointLight has no parameter 'colour'; did you mean 'color'?"},
        {light, "Range", 1.0f, "znPointLight has no parameter 'Range'; did you mean 'range'?"},
        {light, "intensity", 1.0f, "znPointLight has no parameter 'intensity'"},
        {light, "range", int32_t{5}, "znPointLight parameter 'range' is a float, not an int"},
        {light, "color", 1.0f, "znPointLight parameter 'color' is a float3, not a float"},
        {light, "castShadows", 1.0f, "znPointLight parameter 'castShadows' is a bool, not a float"},
        {light, "attenuationFactors", ksi::TextureHandle{}, "znPointLight parameter 'attenuationFactors' is a float3, "
                                                            "not a texture"},
        {env, "reflectionLatlong", ksi::Float3(1.0f), "kestrel_Env_Default parameter 'reflectionLatlong' is a "
                                                      "texture, not a float3"},
        {env, "globalIBLMatrix", ksi::Float4x4::identity(), "kestrel_Env_Default parameter 'globalIBLMatrix' is a "
                                                            "matrix3, not a matrix4"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ParamValue before = c.shader.hasParameter(c.name) ? c.shader.get(c.name) : ParamValue{};
        EXPECT_EQ(setError(c.shader, c.name, c.value), c.expected);
        if (c.shader.hasParameter(c.name)) {
            EXPECT_EQ(kestrel::formatValue(c.shader.get(c.name)), kestrel::formatValue(before)) << "left unchanged";
        }
    }
    EXPECT_THROW(light.bindTexture("color", &image), ParameterError);
    EXPECT_THROW(light.copyParametersFrom(env), ParameterError);
}

}  // namespace
