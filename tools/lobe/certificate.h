// The certificate of every sampled lobe of a library: each class that announces evaluateBsdf or
// sampleBsdf, in its default and gallery parameter sets, at several incident angles, measured
// in parallel and written as JSON (the record) and Markdown (the table people read).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "plugin_library.h"

namespace kestrel::lobe {

struct CertificateOptions {
    long samples = 100000;        // draws per batch at each incident angle (two batches)
    long albedoSamples = 10000;   // draws at each angle of the albedo curve
    std::vector<double> anglesDegrees = {0.0, 30.0, 60.0, 80.0};
    std::vector<std::string> classes;  // empty: every class that evaluates or samples
    std::string galleryDirectory;
    uint64_t seed = 0;            // mixed into every measurement's own seed
};

// The incident angles of the albedo curve, in degrees: 0 to 88 in steps of 4.
std::vector<double> albedoAnglesDegrees();

// A number rounded to six significant digits, so that the record stays small and a rerun that
// changes nothing changes no line of it; null when it is not finite.
nlohmann::ordered_json number(double value);

// The classes of the library that announce evaluateBsdf or sampleBsdf, by name.
std::vector<std::string> lobeClasses(const PluginLibrary& library);

nlohmann::ordered_json runCertificate(const PluginLibrary& library, const CertificateOptions& options);

std::string certificateMarkdown(const nlohmann::ordered_json& certificate);

}  // namespace kestrel::lobe
