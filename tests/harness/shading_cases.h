// The cases that the hardening programs (benchmarks, allocation and thread tests) run for every
// class the library exports: the slots a class announces, two parameter sets, and a record as a
// renderer fills it. Everything is derived from the declarations, so a new class is covered
// without a change here.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <kestrel/kestrel.h>

#include "constant_host.h"
#include "plugin_library.h"
#include "shader_instance.h"

namespace kestrel::harness {

struct SlotInfo {
    int32_t capability;  // ksi::CapabilityMask bit of a shading slot
    const char* name;    // "shade", "shadowTransmittance", "evaluateBsdf", "sampleBsdf"
};

// The shading slots a shader announces, in slot order.
std::vector<SlotInfo> announcedSlots(const ShaderInstance& shader);

enum class ParameterSet { Defaults, FeatureHeavy };
inline constexpr ParameterSet kParameterSets[] = {ParameterSet::Defaults, ParameterSet::FeatureHeavy};
const char* parameterSetName(ParameterSet set);  // "defaults", "features"
inline void PrintTo(ParameterSet set, std::ostream* out) { *out << parameterSetName(set); }

// Every class name of the built library, in the library's order.
const std::vector<std::string>& exportedClasses();

// A shader of the class with the parameter set applied. The feature-heavy set turns every
// switch on, sets every mode to 1, binds every texture to the tiny texture of its kind, then
// applies the class's entries of feature_overrides.json.
std::unique_ptr<ShaderInstance> makeShader(const std::string& className, ParameterSet set, TinyTextures& textures);
// The same from another build of the library (a baseline to compare with).
std::unique_ptr<ShaderInstance> makeShader(const PluginLibrary& library, const std::string& className,
                                           ParameterSet set, TinyTextures& textures);

// A record as a renderer fills it for this shader: a camera ray hitting a surface that faces it
// at an angle, a direction to evaluate, a light sample, every lobe accepted, and every declared
// varying set to a plausible value.
ksi::ShadingRecord realisticRecord(const ShaderInstance& shader);

// One shading slot of a shader of a given kind, resolved once so that a loop calls it without
// asking the object its kind each time. The call goes through the slot's virtual function as a
// renderer's does. Throws std::logic_error for a slot the kind does not have.
using SlotFunction = void (*)(const ksi::IShaderBase* shader, ksi::RenderServices* services,
                              ksi::ShadingRecord* record);
SlotFunction slotFunction(int32_t kind, int32_t capability);

// Calls one shading slot of a shader of any kind.
void callSlot(const ShaderInstance& shader, int32_t capability, ksi::RenderServices* services,
              ksi::ShadingRecord* record);

}  // namespace kestrel::harness
