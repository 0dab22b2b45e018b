#include "recording_host.h"

#include <gtest/gtest.h>

namespace kestrel::testing {

namespace {
void append(std::vector<float>& args, const ksi::Float2& v) { args.insert(args.end(), {v.x, v.y}); }
void append(std::vector<float>& args, const ksi::Float3& v) { args.insert(args.end(), {v.x, v.y, v.z}); }
void append(std::vector<float>& args, const ksi::Float4& v) { args.insert(args.end(), {v.x, v.y, v.z, v.w}); }
void append(std::vector<float>& args, float v) { args.push_back(v); }

template <class... Args>
std::vector<float> flatten(const Args&... values) {
    std::vector<float> args;
    (append(args, values), ...);
    return args;
}
}  // namespace

int CallLog::count(const std::string& operation) const {
    int n = 0;
    for (const HostCall& call : calls_) n += call.operation == operation;
    return n;
}

const std::vector<float>& CallLog::args(const std::string& operation, int n) const {
    for (const HostCall& call : calls_) {
        if (call.operation == operation && n-- == 0) return call.args;
    }
    ADD_FAILURE() << "no call of " << operation << " at that index";
    static const std::vector<float> none;
    return none;
}

std::vector<std::string> CallLog::operations() const {
    std::vector<std::string> names;
    for (const HostCall& call : calls_) names.push_back(call.operation);
    return names;
}

ksi::LightSample RecordingServices::makeLight(ksi::Float3 direction, ksi::Float3 color, ksi::Float3 shadow,
                                              float specularScale, int32_t kind) {
    ksi::LightSample sample{};
    sample.direction = direction;
    sample.specularScale = specularScale;
    sample.shadowedColor = color * shadow;
    sample.color = color;
    sample.shadow = shadow;
    sample.kind = kind;
    sample.next = nullptr;
    return sample;
}

const ksi::LightSample* RecordingServices::getLightSamples(int32_t selector, const ksi::Float3* position,
                                                           const ksi::Float3* normal) {
    log.add("getLightSamples", flatten(static_cast<float>(selector), *position, *normal));
    if (lights.empty()) return nullptr;
    for (std::size_t i = 0; i + 1 < lights.size(); ++i) lights[i].next = &lights[i + 1];
    lights.back().next = nullptr;
    return &lights.front();
}

ksi::Float3* RecordingServices::ambientIrradiance(ksi::Float3* out, const ksi::Float3* position,
                                                  const ksi::Float3* normal) {
    log.add("ambientIrradiance", flatten(*position, *normal));
    *out = ambientIrradianceAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceShadow(ksi::Float3* out, const ksi::Float3* from, const ksi::Float3* to) {
    log.add("traceShadow", flatten(*from, *to));
    *out = onTraceShadow ? onTraceShadow(*from, *to) : shadowAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceRay(ksi::Float3* out, int32_t rayType, const ksi::Float3* origin,
                                         const ksi::Float3* direction, float weight) {
    log.add("traceRay", flatten(static_cast<float>(rayType), *origin, *direction, weight));
    *out = traceAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceReflection(ksi::Float3* out, const ksi::Float3* origin,
                                                const ksi::Float3* direction, float weight) {
    log.add("traceReflection", flatten(*origin, *direction, weight));
    *out = traceAnswer;
    return out;
}

ksi::Float4* RecordingServices::traceTransmission(ksi::Float4* out, const ksi::Float3* origin,
                                                  const ksi::Float3* direction, float weight) {
    log.add("traceTransmission", flatten(*origin, *direction, weight));
    *out = transmissionAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3* origin,
                                                           const ksi::Float3* direction, const ksi::Float3* tangent,
                                                           const ksi::Float3* bitangent, float roughnessU,
                                                           float roughnessV, float weight) {
    log.add("traceAnisotropicReflection",
            flatten(*origin, *direction, *tangent, *bitangent, roughnessU, roughnessV, weight));
    *out = traceAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceGlossyReflection(ksi::Float3* out, const ksi::Float3* origin,
                                                      const ksi::Float3* direction, float roughness, float weight) {
    log.add("traceGlossyReflection", flatten(*origin, *direction, roughness, weight));
    *out = traceAnswer;
    return out;
}

ksi::Float3* RecordingServices::traceGlossyTransmission(ksi::Float3* out, const ksi::Float3* origin,
                                                        const ksi::Float3* direction, float roughness, float weight) {
    log.add("traceGlossyTransmission", flatten(*origin, *direction, roughness, weight));
    *out = traceAnswer;
    return out;
}

ksi::Float3* RecordingServices::ambientOcclusion(ksi::Float3* out, const ksi::Float3* position,
                                                 const ksi::Float3* normal, float weight) {
    log.add("ambientOcclusion", flatten(*position, *normal, weight));
    *out = occlusionAnswer;
    return out;
}

ksi::Float3* RecordingServices::indirectIrradiance(ksi::Float3* out, const ksi::Float3* position,
                                                   const ksi::Float3* normal, float weight) {
    log.add("indirectIrradiance", flatten(*position, *normal, weight));
    *out = indirectAnswer;
    return out;
}

float RecordingServices::nextRandom() {
    if (randomQueue.empty()) return randomDefault;
    float value = randomQueue.front();
    randomQueue.pop_front();
    return value;
}

float RecordingServices::random() {
    log.add("random", {});
    return nextRandom();
}

ksi::Float2* RecordingServices::random2D(ksi::Float2* out) {
    log.add("random2D", {});
    out->x = nextRandom();
    out->y = nextRandom();
    return out;
}

float RecordingServices::noise(const ksi::Float4* point) {
    log.add("noise", flatten(*point));
    return onNoise ? onNoise(*point) : noiseAnswer;
}

float RecordingServices::noise3D(const ksi::Float3* point) {
    log.add("noise3D", flatten(*point));
    return noiseAnswer;
}

float RecordingServices::noise2D(const ksi::Float2* point) {
    log.add("noise2D", flatten(*point));
    return onNoise2D ? onNoise2D(*point) : noiseAnswer;
}

float RecordingServices::noise1D(float x) {
    log.add("noise1D", flatten(x));
    return onNoise1D ? onNoise1D(x) : noiseAnswer;
}

float RecordingServices::latticeValue(const ksi::Float3* latticePoint) {
    log.add("latticeValue", flatten(*latticePoint));
    return onLatticeValue ? onLatticeValue(*latticePoint) : latticeAnswer;
}

ksi::Float3* RecordingServices::cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cellCentre) {
    log.add("cellFeaturePoint", flatten(*cellCentre));
    *out = onCellFeaturePoint ? onCellFeaturePoint(*cellCentre) : cellFeatureAnswer;
    return out;
}

void RecordingImageTexture::lookup(ksi::Float4* out, const ksi::Float2* uv) {
    lookups.push_back(*uv);
    ksi::Float4 value = function ? function(*uv) : texel;
    if (!writeAlpha) value.w = out->w;
    *out = value;
}

void RecordingCubeTexture::lookup(ksi::Float4* out, const ksi::Float3* direction) {
    lookups.push_back(*direction);
    *out = function ? function(*direction) : texel;
}

void RecordingDataTexture::fetch(ksi::Float4* out, float u, float v) {
    fetches.push_back({u, v});
    *out = function ? function(u, v) : texel;
}

}  // namespace kestrel::testing
