// What the plots of one lobe show, measured by the tool and handed to the plotting script as
// JSON: the reflectance times cosine over each hemisphere (an equal-area map) beside the
// histogram of sampleBsdf's directions and the density it reports, a slice in the plane of
// incidence, and the albedo against the incident angle.
#pragma once

#include <nlohmann/json.hpp>

#include "probe.h"
#include "shader_instance.h"

namespace kestrel::lobe {

struct PlotOptions {
    double theta = 0.0, phi = 0.0;  // incident direction, radians
    long samples = 400000;          // draws for the histogram
    long albedoSamples = 20000;     // draws at each angle of the albedo curve
    int resolution = 128;           // pixels across each hemisphere map
    LobeRequest request = kEveryLobe;
};

nlohmann::ordered_json plotData(const ShaderInstance& shader, const PlotOptions& options);

}  // namespace kestrel::lobe
