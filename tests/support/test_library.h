// The built shader library, loaded once per test program through the host loader, and helpers
// to create shaders and prepare records as a renderer would.
#pragma once

#include <string>

#include <kestrel/kestrel.h>

#include "plugin_library.h"
#include "shader_instance.h"

namespace kestrel::testing {

const PluginLibrary& library();
std::string libraryPath();
// Directory of the built programs (kestrel-info, ...).
std::string binaryDirectory();

ShaderInstance createShader(const std::string& className);

// A record as a host prepares it: every byte zero, identity matrices, a camera ray straight down
// the -z axis onto a surface facing +z at the origin, front-facing, and the outputs preset to
// sentinel values (outColor (0.1, 0.2, 0.3, 0.4), outTransmittance (0.5, 0.6, 0.7), sample
// weight (0.8, 0.9, 1.1), outLightColor (-1, -2, -3), outLightShadow (-4, -5, -6)) so a test can
// tell written from untouched.
ksi::ShadingRecord presetRecord();

}  // namespace kestrel::testing
