#include "probe_services.h"

namespace kestrel {

namespace {

ksi::Float3* black(ksi::Float3* out) {
    *out = ksi::Float3(0.0f);
    return out;
}

}  // namespace

const ksi::LightSample* ProbeServices::getLightSamples(int32_t, const ksi::Float3*, const ksi::Float3*) {
    return nullptr;
}
ksi::Float3* ProbeServices::ambientIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) {
    return black(out);
}
ksi::Float3* ProbeServices::traceShadow(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) {
    *out = ksi::Float3(1.0f);
    return out;
}
ksi::Float3* ProbeServices::traceRay(ksi::Float3* out, int32_t, const ksi::Float3*, const ksi::Float3*, float) {
    return black(out);
}
ksi::Float3* ProbeServices::traceReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    return black(out);
}
ksi::Float4* ProbeServices::traceTransmission(ksi::Float4* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    return out;
}
ksi::Float3* ProbeServices::traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*,
                                                       const ksi::Float3*, const ksi::Float3*, float, float, float) {
    return black(out);
}
ksi::Float3* ProbeServices::traceGlossyReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                                  float) {
    return black(out);
}
ksi::Float3* ProbeServices::traceGlossyTransmission(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                                    float) {
    return black(out);
}
// Nothing occludes an empty scene.
ksi::Float3* ProbeServices::ambientOcclusion(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = ksi::Float3(1.0f);
    return out;
}
ksi::Float3* ProbeServices::indirectIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    return black(out);
}
float ProbeServices::random() { return static_cast<float>(random_() >> 8) * (1.0f / 16777216.0f); }
ksi::Float2* ProbeServices::random2D(ksi::Float2* out) {
    out->x = random();
    out->y = random();
    return out;
}
float ProbeServices::noise(const ksi::Float4*) { return 0.0f; }
float ProbeServices::noise3D(const ksi::Float3*) { return 0.0f; }
float ProbeServices::noise2D(const ksi::Float2*) { return 0.0f; }
float ProbeServices::noise1D(float) { return 0.0f; }
float ProbeServices::latticeValue(const ksi::Float3*) { return 0.0f; }
ksi::Float3* ProbeServices::cellFeaturePoint(ksi::Float3* out, const ksi::Float3*) { return black(out); }

}  // namespace kestrel
