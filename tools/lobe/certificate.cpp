#include "certificate.h"

#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>

#include <glm/gtc/constants.hpp>
#include <tbb/parallel_for.h>

#include "measure.h"
#include "parameter_sets.h"
#include "render/textures.h"
#include "shader_instance.h"
#include "verdicts.h"

namespace kestrel::lobe {

namespace {

using nlohmann::ordered_json;

constexpr double kDegree = glm::pi<double>() / 180.0;

ordered_json vec(glm::dvec3 v) { return {number(v.x), number(v.y), number(v.z)}; }

ordered_json invalidJson(const InvalidCounts& c) {
    return {{"nan", c.nan}, {"infinite", c.infinite}, {"negative", c.negative}};
}

// A seed per measurement from its name (FNV-1a), the same on every run and thread.
uint64_t seedOf(const std::string& name) {
    uint64_t hash = 0xcbf29ce484222325ULL;
    for (unsigned char c : name) hash = (hash ^ c) * 0x100000001b3ULL;
    return hash;
}

ordered_json lobeJson(const LobeFigures& lobe) {
    ordered_json j = {{"code", lobe.code}, {"kind", lobe.delta ? "delta" : "continuous"},
                      {"share", number(lobe.share)}, {"albedo", vec(lobe.albedo)}};
    if (lobe.delta) {
        ordered_json directions = ordered_json::array();
        for (const DeltaDirection& d : lobe.directions) {
            directions.push_back({{"direction", vec(d.direction)}, {"share", number(d.share)}, {"throughput", vec(d.throughput)}});
        }
        j["directions"] = directions;
        return j;
    }
    j["density"] = lobe.impliedDensity ? "implied" : "reported";
    j["chiSquare"] = {{"statistic", number(lobe.density.statistic)},
                      {"dof", lobe.density.degreesOfFreedom},
                      {"p", number(lobe.density.pValue)}};
    j["reportedMass"] = number(lobe.density.reportedMass);
    j["coveredShare"] = number(lobe.density.interiorShare);
    j["boundaryShare"] = number(lobe.density.boundaryShare);
    if (!lobe.impliedDensity) j["largestGap"] = number(lobe.largestGap), j["gapShare"] = number(lobe.gapShare);
    j["unusable"] = lobe.unusable;
    j["repeatedShare"] = number(lobe.repeatedShare);
    if (lobe.repeatedShare > 0.0) j["repeatedDirection"] = vec(lobe.repeatedDirection);
    return j;
}

ordered_json angleJson(const AngleFigures& a) {
    ordered_json lobes = ordered_json::array();
    for (const LobeFigures& lobe : a.lobes) lobes.push_back(lobeJson(lobe));
    ordered_json j = {{"theta", number(a.theta / kDegree)}, {"phi", number(a.phi / kDegree)},
                      {"attempts", a.attempts}, {"noSample", a.noSample}, {"dropped", a.dropped},
                      {"albedo", vec(a.albedo)}, {"albedoError", vec(a.albedoError)}, {"lobes", lobes},
                      {"sampled", vec(a.sampled)}, {"sampledError", vec(a.sampledError)},
                      {"quadrature", a.evaluates ? vec(a.quadrature) : ordered_json(nullptr)},
                      {"sampleInvalid", invalidJson(a.sampleInvalid)},
                      {"evaluateInvalid", invalidJson(a.evaluateInvalid)}};
    j["consistency"] = consistency(j);
    return j;
}

ordered_json albedoJson(const std::vector<AlbedoPoint>& curve) {
    ordered_json theta = ordered_json::array(), mean = ordered_json::array(), error = ordered_json::array();
    glm::dvec3 largest(-1.0), at(0.0), largestError(0.0);
    for (const AlbedoPoint& p : curve) {
        theta.push_back(number(p.theta / kDegree));
        mean.push_back(vec(p.mean));
        error.push_back(vec(p.error));
        for (int c = 0; c < 3; ++c) {
            if (p.mean[c] > largest[c]) largest[c] = p.mean[c], at[c] = p.theta / kDegree, largestError[c] = p.error[c];
        }
    }
    return {{"theta", theta}, {"mean", mean}, {"error", error},
            {"max", vec(largest)}, {"maxError", vec(largestError)}, {"maxTheta", vec(at)}};
}

ordered_json reciprocityJson(const ShaderInstance& shader, const ReciprocityFigures& r) {
    if (!shader.can(ksi::kCapEvaluateBsdf)) return nullptr;
    return {{"pairs", r.pairs}, {"nonReciprocal", r.nonReciprocal}, {"relativeError", number(r.relativeError())},
            {"worstIncoming", vec(r.worstIncoming)}, {"worstOutgoing", vec(r.worstOutgoing)},
            {"invalid", invalidJson(r.invalid)}};
}

// One class in one parameter set: its shader, and the slots of its figures.
struct SetRun {
    std::string className;
    ParameterSet set;
    std::unique_ptr<ShaderInstance> shader;
    std::vector<AngleFigures> angles;
    std::vector<AlbedoPoint> albedo;
    ReciprocityFigures reciprocity;
};

ordered_json setJson(const SetRun& run) {
    ordered_json angles = ordered_json::array();
    for (const AngleFigures& a : run.angles) angles.push_back(angleJson(a));
    ordered_json j = {{"set", run.set.name}, {"source", run.set.source}, {"parameters", run.set.parameters},
                      {"albedo", albedoJson(run.albedo)}, {"reciprocity", reciprocityJson(*run.shader, run.reciprocity)},
                      {"angles", angles}};
    j["findings"] = findings(j);
    return j;
}

std::vector<double> radians(const std::vector<double>& degrees) {
    std::vector<double> result;
    for (double d : degrees) result.push_back(d * kDegree);
    return result;
}

// Every measurement of every run, as independent jobs for the worker threads.
std::vector<std::function<void()>> jobs(std::vector<SetRun>& runs, const CertificateOptions& options) {
    std::vector<std::function<void()>> list;
    const std::vector<double> angles = radians(options.anglesDegrees), albedoAngles = radians(albedoAnglesDegrees());
    for (SetRun& run : runs) {
        run.angles.resize(angles.size());
        const std::string name = std::to_string(options.seed) + "/" + run.className + "/" + run.set.name;
        for (std::size_t k = 0; k < angles.size(); ++k) {
            list.push_back([&run, &options, name, k, theta = angles[k]] {
                run.angles[k] = measureAngle(*run.shader, theta, 0.0, kEveryLobe, options.samples,
                                             seedOf(name + "/" + std::to_string(k)));
            });
        }
        list.push_back([&run, &options, name, albedoAngles] {
            run.albedo = albedoCurve(*run.shader, kEveryLobe, albedoAngles, options.albedoSamples, seedOf(name + "/albedo"), false);
        });
        list.push_back([&run, angles] { run.reciprocity = measureReciprocity(*run.shader, angles); });
    }
    return list;
}

}  // namespace

ordered_json number(double value) {
    if (!std::isfinite(value)) return nullptr;
    if (value == 0.0) return 0.0;
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return std::strtod(text, nullptr);
}

std::vector<double> albedoAnglesDegrees() {
    std::vector<double> angles;
    for (int d = 0; d <= 88; d += 4) angles.push_back(d);
    return angles;
}

std::vector<std::string> lobeClasses(const PluginLibrary& library) {
    std::vector<std::string> names;
    for (const std::string& name : library.classNames()) {
        const ShaderInstance shader(library.findClass(name));
        if (shader.kind() == ksi::kKindMaterial && (shader.can(ksi::kCapEvaluateBsdf) || shader.can(ksi::kCapSampleBsdf))) {
            names.push_back(name);
        }
    }
    return names;
}

ordered_json runCertificate(const PluginLibrary& library, const CertificateOptions& options) {
    render::TextureSet textures;
    std::vector<SetRun> runs;
    const std::vector<std::string> classes = options.classes.empty() ? lobeClasses(library) : options.classes;
    for (const std::string& className : classes) {
        for (ParameterSet& set : parameterSets(className, options.galleryDirectory)) {
            auto shader = makeShader(library, className, set, {}, options.galleryDirectory, textures);
            runs.push_back({className, std::move(set), std::move(shader), {}, {}, {}});
        }
    }
    std::vector<std::function<void()>> work = jobs(runs, options);
    tbb::parallel_for(std::size_t(0), work.size(), [&](std::size_t i) { work[i](); });

    ordered_json classesJson = ordered_json::array();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (i == 0 || runs[i].className != runs[i - 1].className) {
            classesJson.push_back({{"class", runs[i].className},
                                   {"evaluateBsdf", runs[i].shader->can(ksi::kCapEvaluateBsdf)},
                                   {"sampleBsdf", runs[i].shader->can(ksi::kCapSampleBsdf)},
                                   {"sets", ordered_json::array()}});
        }
        classesJson.back()["sets"].push_back(setJson(runs[i]));
    }
    return {{"samplesPerBatch", options.samples}, {"albedoSamples", options.albedoSamples},
            {"incidentAngles", options.anglesDegrees}, {"request", "every lobe code"},
            {"thresholds", {{"densityPValue", kDensityPValue}, {"consistency", kConsistencyTolerance},
                            {"consistencySigmas", kConsistencySigmas}, {"weightGap", kGapTolerance},
                            {"reciprocity", kReciprocityTolerance}, {"energy", kEnergyTolerance},
                            {"densityMass", kMassTolerance}}},
            {"classes", classesJson}};
}

}  // namespace kestrel::lobe
