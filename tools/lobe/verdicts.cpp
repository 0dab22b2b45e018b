#include "verdicts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

namespace kestrel::lobe {

namespace {

using nlohmann::ordered_json;

// Below this a reflectance counts as black.
constexpr double kBlack = 1e-6;
// The quadrature of a lobe that the sampler draws only as delta directions counts from here.
constexpr double kEvaluateOnly = 1e-3;
constexpr double kEvaluateGain = 0.01;
// Lobes taking less than this share of the draws are not watched for regressions.
constexpr double kWatchedShare = 0.01;
// A spike of repeated directions worth a line from this share of a lobe's draws on.
constexpr double kRepeatedShare = 1e-3;
const char* const kChannels[3] = {"red", "green", "blue"};

double at(const ordered_json& v, int c) { return v.is_array() && v[c].is_number() ? v[c].get<double>() : 0.0; }

std::string format(const char* pattern, double a, double b = 0.0, double c = 0.0) {
    char text[160];
    std::snprintf(text, sizeof text, pattern, a, b, c);
    return text;
}

std::string degrees(const ordered_json& angle) { return format("%g°", angle["theta"].get<double>()); }

// Facts gathered per kind, each with the angles it was seen at.
class Notes {
public:
    void add(const std::string& kind, const std::string& detail) {
        if (notes_.find(kind) == notes_.end()) order_.push_back(kind);
        notes_[kind].push_back(detail);
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const std::string& kind : order_) {
            std::string line = kind + ": ";
            const std::vector<std::string>& details = notes_.at(kind);
            for (std::size_t i = 0; i < details.size(); ++i) line += (i ? "; " : "") + details[i];
            result.push_back(line);
        }
        return result;
    }

private:
    std::vector<std::string> order_;
    std::map<std::string, std::vector<std::string>> notes_;
};

void invalidNote(Notes& notes, const std::string& slot, const ordered_json& counts, const std::string& where) {
    for (const char* kind : {"nan", "infinite", "negative"}) {
        const long n = counts[kind].get<long>();
        if (n == 0) continue;
        const char* name = std::string(kind) == "nan" ? "NaN" : kind;
        notes.add(std::string(name) + " values from " + slot, where + ": " + std::to_string(n));
    }
}

void lobeNotes(Notes& notes, const ordered_json& lobe, const std::string& where) {
    if (lobe["kind"] != "continuous") return;
    const std::string code = "lobe " + std::to_string(lobe["code"].get<int>());
    const ordered_json& p = lobe["chiSquare"]["p"];
    const bool implied = lobe["density"] == "implied";
    if (p.is_number() && p.get<double>() < kDensityPValue) {
        notes.add(code + (implied ? " draws directions unlike value × cos / weight" : " draws directions unlike the density it reports"),
                  where + format(": χ² p %.2g", p.get<double>()));
    }
    if (!implied && lobe["largestGap"].get<double>() > kGapTolerance) {
        notes.add(code + " weight differs from evaluateBsdf value × cos / density",
                  where + format(": in %.3g%% of draws, by up to %.3g", 100.0 * lobe["gapShare"].get<double>(),
                                 lobe["largestGap"].get<double>()));
    }
    if (lobe["unusable"].get<long>() > 0) {
        notes.add(code + (implied ? " draws where evaluateBsdf gives nothing (or with a weight that is not positive)"
                                  : " draws with a samplePdf that is not positive and finite"),
                  where + ": " + std::to_string(lobe["unusable"].get<long>()) + " draws");
    }
    if (lobe["repeatedShare"].get<double>() > kRepeatedShare) {
        notes.add(code + " puts a share of its draws on one exact direction (single-precision rounding)",
                  where + format(": %.3g%%", 100.0 * lobe["repeatedShare"].get<double>()));
    }
    const double mass = lobe["reportedMass"].get<double>(), share = lobe["coveredShare"].get<double>();
    if (!implied && share > 0.0 && std::abs(mass / share - 1.0) > kMassTolerance) {
        notes.add(code + " density leaves out the chance of choosing the lobe",
                  where + format(": over the cells it covers it integrates to %.3g, but %.3g of the draws land there", mass, share));
    }
}

void angleNotes(Notes& notes, const ordered_json& angle) {
    const std::string where = degrees(angle);
    invalidNote(notes, "sampleBsdf", angle["sampleInvalid"], where);
    invalidNote(notes, "evaluateBsdf", angle["evaluateInvalid"], where);
    bool continuous = false;
    for (const ordered_json& lobe : angle["lobes"]) {
        lobeNotes(notes, lobe, where);
        continuous = continuous || lobe["kind"] == "continuous";
    }
    const ordered_json& q = angle["quadrature"];
    if (q.is_null()) return;
    const double quadrature = std::max({at(q, 0), at(q, 1), at(q, 2)});
    if (quadrature > 1.0 + kEvaluateGain) notes.add("evaluateBsdf reflects more than it receives", where + format(": ∫ f cos = %.3g", quadrature));
    if (!continuous && quadrature > kEvaluateOnly) {
        notes.add("evaluateBsdf answers around directions that sampleBsdf draws only as delta lobes "
                  "(∫ f cos, resolved only roughly for so sharp a lobe)",
                  where + format(": %.3g", quadrature));
    }
    const ordered_json& c = angle["consistency"];
    if (continuous && c.is_object() && !c["consistent"].get<bool>()) {
        notes.add("sampled throughput differs from the integral of evaluateBsdf",
                  where + format(": relative error %+.3g", c["relativeError"].is_number() ? c["relativeError"].get<double>() : INFINITY));
    }
}

void setNotes(Notes& notes, const ordered_json& set) {
    const ordered_json& albedo = set["albedo"];
    for (int c = 0; c < 3; ++c) {
        const double value = at(albedo["max"], c), error = at(albedo["maxError"], c);
        if (value - kConsistencySigmas * error > 1.0 + kEnergyTolerance) {
            notes.add("energy gain (sampled albedo above 1)",
                      std::string(kChannels[c]) + format(" %.4g ± %.2g at %g°", value, error, at(albedo["maxTheta"], c)));
        }
    }
    const ordered_json& r = set["reciprocity"];
    if (r.is_object() && r["relativeError"].get<double>() > kReciprocityTolerance) {
        notes.add("non-reciprocal evaluateBsdf",
                  format("max |f(wi, wo) − f(wo, wi)| / max f = %.3g; %g of %g pairs differ",
                         r["relativeError"].get<double>(), r["nonReciprocal"].get<double>(), r["pairs"].get<double>()));
    }
    if (r.is_object()) invalidNote(notes, "evaluateBsdf (reciprocity pairs)", r["invalid"], "pairs");
}

// Whether each figure a regression check watches holds: keyed by where it is measured.
std::map<std::string, bool> watched(const ordered_json& certificate) {
    std::map<std::string, bool> figures;
    for (const ordered_json& cls : certificate["classes"]) {
        for (const ordered_json& set : cls["sets"]) {
            for (const ordered_json& angle : set["angles"]) {
                const std::string where = cls["class"].get<std::string>() + " (" + set["set"].get<std::string>() + ", " + degrees(angle) + ")";
                figures[where + " sampleBsdf values finite and not negative"] = angle["sampleInvalid"]["nan"] == 0 &&
                    angle["sampleInvalid"]["infinite"] == 0 && angle["sampleInvalid"]["negative"] == 0;
                const ordered_json& c = angle["consistency"];
                if (c.is_object()) figures[where + " sampled throughput consistent with evaluateBsdf"] = c["consistent"].get<bool>();
                for (const ordered_json& lobe : angle["lobes"]) {
                    // A rare lobe may not turn up at all in a shorter run.
                    if (lobe["kind"] != "continuous" || lobe["share"].get<double>() < kWatchedShare) continue;
                    const std::string code = " lobe " + std::to_string(lobe["code"].get<int>());
                    figures[where + code + " chi-square p-value at least " + format("%g", kDensityPValue)] =
                        lobe["chiSquare"]["p"].is_number() && lobe["chiSquare"]["p"].get<double>() >= kDensityPValue;
                    if (lobe.contains("largestGap")) {
                        figures[where + code + " weight equals value × cos / density"] = lobe["largestGap"].get<double>() <= kGapTolerance;
                    }
                }
            }
        }
    }
    return figures;
}

}  // namespace

std::vector<std::string> regressions(const ordered_json& baseline, const ordered_json& current) {
    const std::map<std::string, bool> before = watched(baseline), now = watched(current);
    std::vector<std::string> broken;
    for (const auto& [figure, held] : before) {
        if (!held) continue;
        const auto it = now.find(figure);
        if (it == now.end()) broken.push_back(figure + ": no longer measured");
        else if (!it->second) broken.push_back(figure + ": no longer holds");
    }
    return broken;
}

ordered_json consistency(const ordered_json& angle) {
    const ordered_json &q = angle["quadrature"], &s = angle["sampled"], &e = angle["sampledError"];
    bool continuous = false;
    for (const ordered_json& lobe : angle["lobes"]) continuous = continuous || lobe["kind"] == "continuous";
    if (q.is_null() || !continuous) return nullptr;
    double worstRatio = -1.0, relative = 0.0, tolerance = kConsistencyTolerance;
    bool consistent = true;
    for (int c = 0; c < 3; ++c) {
        if (!q[c].is_number() || !s[c].is_number()) return {{"relativeError", nullptr}, {"tolerance", nullptr}, {"consistent", false}};
        if (at(q, c) < kBlack && at(s, c) < kBlack) continue;
        const double scale = std::max(at(q, c), kBlack);
        const double r = (at(s, c) - at(q, c)) / scale, t = kConsistencySigmas * at(e, c) / scale + kConsistencyTolerance;
        consistent = consistent && std::abs(r) <= t;
        if (std::abs(r) / t > worstRatio) worstRatio = std::abs(r) / t, relative = r, tolerance = t;
    }
    char text[2][32];
    std::snprintf(text[0], sizeof text[0], "%.4g", relative);
    std::snprintf(text[1], sizeof text[1], "%.4g", tolerance);
    return {{"relativeError", std::strtod(text[0], nullptr)}, {"tolerance", std::strtod(text[1], nullptr)}, {"consistent", consistent}};
}

std::vector<std::string> findings(const ordered_json& set) {
    Notes notes;
    setNotes(notes, set);
    for (const ordered_json& angle : set["angles"]) angleNotes(notes, angle);
    return notes.lines();
}

}  // namespace kestrel::lobe
