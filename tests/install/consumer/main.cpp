// Opens the installed library, creates a point light, checks its version and shades one point.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <kestrel/kestrel.h>

namespace {

int failures = 0;

void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "kestrel_consumer: %s\n", what);
        ++failures;
    }
}

// Remembers where the light keeps the two parameters this host sets.
class Registry final : public ksi::ShaderParamRegistry {
public:
    ksi::Float3* color = nullptr;
    ksi::Float3* attenuation = nullptr;
    int32_t mask = 0;

    void declareCapabilities(ksi::IShaderBase*, int32_t m) override { mask = m; }
    void declareBool(ksi::IShaderBase*, const char*, bool*) override {}
    void declareInt(ksi::IShaderBase*, const char*, int32_t*) override {}
    void declareFloat(ksi::IShaderBase*, const char*, float*) override {}
    void declareFloat2(ksi::IShaderBase*, const char*, ksi::Float2*) override {}
    void declareFloat3(ksi::IShaderBase*, const char* name, ksi::Float3* member) override {
        if (std::strcmp(name, "color") == 0) color = member;
        if (std::strcmp(name, "attenuationFactors") == 0) attenuation = member;
    }
    void declareFloat4(ksi::IShaderBase*, const char*, ksi::Float4*) override {}
    void declareMatrix3(ksi::IShaderBase*, const char*, ksi::Float3x3*) override {}
    void declareMatrix4(ksi::IShaderBase*, const char*, ksi::Float4x4*) override {}
    void declareDataTexture(ksi::IShaderBase*, const char*, ksi::TextureHandle*) override {}
    void declareTexture(ksi::IShaderBase*, const char*, ksi::TextureHandle*) override {}
    void declareCubeTexture(ksi::IShaderBase*, const char*, ksi::TextureHandle*) override {}
    void declareVarying(ksi::IShaderBase*, int32_t, const char*, int32_t) override {}
};

// Every point is half in shadow; nothing else is needed by a light.
class Services final : public ksi::RenderServices {
public:
    int shadowQueries = 0;
    const ksi::LightSample* getLightSamples(int32_t, const ksi::Float3*, const ksi::Float3*) override {
        return nullptr;
    }
    ksi::Float3* ambientIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) override { return out; }
    ksi::Float3* traceShadow(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) override {
        ++shadowQueries;
        *out = ksi::Float3(0.5f);
        return out;
    }
    ksi::Float3* traceRay(ksi::Float3* out, int32_t, const ksi::Float3*, const ksi::Float3*, float) override {
        return out;
    }
    ksi::Float3* traceReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return out;
    }
    ksi::Float4* traceTransmission(ksi::Float4* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return out;
    }
    ksi::Float3* traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*,
                                            const ksi::Float3*, const ksi::Float3*, float, float, float) override {
        return out;
    }
    ksi::Float3* traceGlossyReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                       float) override {
        return out;
    }
    ksi::Float3* traceGlossyTransmission(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                         float) override {
        return out;
    }
    ksi::Float3* ambientOcclusion(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return out;
    }
    ksi::Float3* indirectIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return out;
    }
    float random() override { return 0.5f; }
    ksi::Float2* random2D(ksi::Float2* out) override { return out; }
    float noise(const ksi::Float4*) override { return 0.5f; }
    float noise3D(const ksi::Float3*) override { return 0.5f; }
    float noise2D(const ksi::Float2*) override { return 0.5f; }
    float noise1D(float) override { return 0.5f; }
    float latticeValue(const ksi::Float3*) override { return 0.5f; }
    ksi::Float3* cellFeaturePoint(ksi::Float3* out, const ksi::Float3*) override { return out; }
};

}  // namespace

int main() {
    void* library = dlopen(KESTREL_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        std::fprintf(stderr, "kestrel_consumer: cannot open %s: %s\n", KESTREL_LIBRARY, dlerror());
        return 1;
    }
    auto version = reinterpret_cast<ksi::GetApiVersionFunction>(dlsym(library, "znPointLight_getAPIVersion"));
    auto create = reinterpret_cast<ksi::CreateShaderFunction>(dlsym(library, "znPointLight_create"));
    if (!version || !create) {
        std::fprintf(stderr, "kestrel_consumer: znPointLight's exports are missing\n");
        return 1;
    }
    check(version() == ksi::kApiVersion, "znPointLight_getAPIVersion is not 2724");

    ksi::IShaderBase* light = create();
    check(light != nullptr, "znPointLight_create returned null");
    if (!light) return 1;
    Registry registry;
    light->declareParameters(&registry);
    check(registry.mask == ksi::kCapLight, "the light did not announce the light capability");
    check(light->getRevision() == 1 && light->getShaderKind() == ksi::kKindLight, "revision or kind is wrong");
    if (registry.color && registry.attenuation) {
        *registry.color = ksi::Float3(1.0f, 0.5f, 0.25f);
        *registry.attenuation = ksi::Float3(10.0f, 1.0f, 0.0f);
    }
    check(registry.color && registry.attenuation, "color or attenuationFactors was not declared");

    ksi::ShadingRecord record;
    std::memset(&record, 0, sizeof record);
    record.position = ksi::Float3(0.0f, 0.0f, 0.0f);
    record.lightPosition = ksi::Float3(0.0f, 0.0f, 5.0f);
    record.lightDistance = 5.0f;
    Services services;
    static_cast<ksi::LightShader*>(light)->shade(&services, &record);
    // Distance factor 1 - 5 / 10 = 0.5.
    check(record.outLightColor == ksi::Float3(0.5f, 0.25f, 0.125f), "outLightColor is wrong");
    check(record.outLightShadow == ksi::Float3(0.5f), "outLightShadow is not the host's shadow");
    check(services.shadowQueries == 1, "the light did not ask for its shadow once");
    delete light;

    if (failures == 0) std::printf("kestrel_consumer: znPointLight from %s shades as expected\n", KESTREL_LIBRARY);
    // The library stays loaded: a host unloads it only when it is done with every object.
    return failures == 0 ? 0 : 1;
}
