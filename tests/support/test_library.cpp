#include "test_library.h"

#include <cstring>

namespace kestrel::testing {

std::string libraryPath() { return KESTREL_TEST_LIBRARY_PATH; }
std::string binaryDirectory() { return KESTREL_TEST_BIN_DIR; }

const PluginLibrary& library() {
    static const PluginLibrary loaded(libraryPath());
    return loaded;
}

ShaderInstance createShader(const std::string& className) { return ShaderInstance(library().findClass(className)); }

ksi::ShadingRecord presetRecord() {
    ksi::ShadingRecord record;
    std::memset(&record, 0, sizeof record);
    record.rayOrigin = {0.0f, 0.0f, 1.0f};
    record.rayDir = {0.0f, 0.0f, -1.0f};
    record.normal = {0.0f, 0.0f, 1.0f};
    record.geomNormal = {0.0f, 0.0f, 1.0f};
    record.objectNormal = {0.0f, 0.0f, 1.0f};
    record.screenSize[0] = 640;
    record.screenSize[1] = 480;
    record.outsideIorEntering = 1.0f;
    record.outsideIorLeaving = 1.0f;
    record.frameMatrix = ksi::Float4x4::identity();
    record.objectMatrix = ksi::Float4x4::identity();
    record.rayType = ksi::kRayCamera;
    record.frontFacing = 1;
    record.outColor = {0.1f, 0.2f, 0.3f, 0.4f};
    record.outTransmittance = {0.5f, 0.6f, 0.7f};
    record.sampleWeight = {0.8f, 0.9f, 1.1f};
    record.sampleCos = -7.0f;
    record.samplePdf = -8.0f;
    record.sampleLobe = -9;
    record.outLightColor = {-1.0f, -2.0f, -3.0f};
    record.outLightShadow = {-4.0f, -5.0f, -6.0f};
    return record;
}

}  // namespace kestrel::testing
