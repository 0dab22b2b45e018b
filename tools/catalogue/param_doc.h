// The words a parameter list's doc arguments are written in, and the macro that reads a list's
// docs. Only the catalogue generator compiles these: the library drops every doc argument.
//
//   P(float, range, 10000.0f, distance("Points farther than this are not lit.").soft(0, 100))
//   P(int32_t, type, 0, mode("Noise shape.", "0 regular; 1 fractal; 2 turbulence"))
//   T(Texture, u_diffuseMap, "Diffuse colour at uv.")
#pragma once

#include <limits>
#include <string>
#include <vector>

namespace kestrel::catalogue {

struct ParamDoc {
    std::string name;
    std::string group;
    std::string meaning;
    std::string kind;
    std::string unit;
    std::string labels;  // "value label; value label; ..." for a mode
    std::string drivenBy;
    std::string type;  // as the host names it: "float3", "texture", ...
    float hardEnds[2];
    float softEnds[2];
    bool hasHard = false;
    bool hasSoft = false;

    // Where the formulas stop making sense; inf for an open end: `.hard(0, inf)`.
    ParamDoc hard(float low, float high) const {
        ParamDoc d = *this;
        d.hardEnds[0] = low, d.hardEnds[1] = high, d.hasHard = true;
        return d;
    }
    // A slider's range.
    ParamDoc soft(float low, float high) const {
        ParamDoc d = *this;
        d.softEnds[0] = low, d.softEnds[1] = high, d.hasSoft = true;
        return d;
    }
    ParamDoc by(const char* texture) const {
        ParamDoc d = *this;
        d.drivenBy = texture;
        return d;
    }
    ParamDoc in(const char* unitName) const {
        ParamDoc d = *this;
        d.unit = unitName;
        return d;
    }
};

// The host's name of a member type or texture operation, as spelled in a list.
inline std::string hostType(const std::string& spelled) {
    static const char* const names[][2] = {
        {"ParamBool", "bool"},     {"int32_t", "int"},         {"float", "float"},
        {"Float2", "float2"},      {"Float3", "float3"},       {"Float4", "float4"},
        {"Float3x3", "matrix3"},   {"Float4x4", "matrix4"},    {"DataTexture", "data texture"},
        {"Texture", "texture"},    {"CubeTexture", "cube texture"},
    };
    for (const auto& [cpp, host] : names) {
        if (spelled == cpp) return host;
    }
    return spelled;
}

// A value parameter or texture with its name, type and group filled in.
inline ParamDoc named(const char* name, const char* type, const std::string& group, ParamDoc doc) {
    doc.name = name;
    doc.type = hostType(type);
    doc.group = group;
    return doc;
}

namespace words {

inline constexpr float inf = std::numeric_limits<float>::infinity();

inline ParamDoc kindOf(const char* kind, const char* meaning) {
    ParamDoc d;
    d.kind = kind;
    d.meaning = meaning;
    return d;
}

// A colour; light and emission colours may exceed 1.
inline ParamDoc colour(const char* meaning) { return kindOf("colour", meaning).soft(0, 1); }
// A fraction from 0 to 1 that blends or scales.
inline ParamDoc weight(const char* meaning) { return kindOf("weight", meaning).soft(0, 1); }
// A multiplier with no natural upper end.
inline ParamDoc amount(const char* meaning) { return kindOf("amount", meaning).soft(0, 1); }
inline ParamDoc scalar(const char* meaning) { return kindOf("scalar", meaning); }
inline ParamDoc angle(const char* meaning, const char* unitName) { return kindOf("angle", meaning).in(unitName); }
inline ParamDoc cosine(const char* meaning) { return kindOf("cosine", meaning).hard(-1, 1).soft(0, 1); }
inline ParamDoc distance(const char* meaning) { return kindOf("distance", meaning).in("scene units").hard(0, inf); }
inline ParamDoc ior(const char* meaning) { return kindOf("ior", meaning).hard(0, inf).soft(1, 2.5f); }
inline ParamDoc exponent(const char* meaning) { return kindOf("exponent", meaning); }
inline ParamDoc count(const char* meaning) { return kindOf("count", meaning).hard(0, inf); }
inline ParamDoc toggle(const char* meaning) { return kindOf("switch", meaning); }
inline ParamDoc mode(const char* meaning, const char* labels) {
    ParamDoc d = kindOf("mode", meaning);
    d.labels = labels;
    return d;
}
inline ParamDoc vec(const char* meaning) { return kindOf("vector", meaning); }
inline ParamDoc direction(const char* meaning) { return kindOf("direction", meaning); }
inline ParamDoc coords(const char* meaning) { return kindOf("coordinates", meaning); }
inline ParamDoc matrix(const char* meaning) { return kindOf("matrix", meaning); }
inline ParamDoc texture(const char* meaning) { return kindOf("texture", meaning); }

}  // namespace words

}  // namespace kestrel::catalogue

#define KS_DOC_OF_G(name) group = name;
#define KS_DOC_OF_P(Type, member, initialiser, ...) \
    docs.push_back(::kestrel::catalogue::named(#member, #Type, group, __VA_ARGS__));
#define KS_DOC_OF_T(Operation, member, ...) \
    docs.push_back(::kestrel::catalogue::named(#member, #Operation, group, ::kestrel::catalogue::words::texture(__VA_ARGS__)));

// The docs of a list's parameters, in list order.
#define KS_BLOCK_DOCS(LIST)                                        \
    ([] {                                                          \
        using namespace ::kestrel::catalogue::words;               \
        std::vector<::kestrel::catalogue::ParamDoc> docs;          \
        std::string group;                                         \
        LIST(KS_DOC_OF_G, KS_DOC_OF_P, KS_DOC_OF_T)                \
        return docs;                                               \
    }())
