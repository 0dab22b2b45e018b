// Cost of every shading slot of every exported class, with the default and the feature-heavy
// parameters, on a host that answers with constants. Each case runs on one and on two threads
// (real time, items per second), so the two-thread throughput over the one-thread one is the
// scaling ratio.
//
// With --callgrind-calls=N the program instead runs every case N times between callgrind
// client requests and dumps one profile per case, named after it; scripts/bench-table turns
// those into instructions per call. --callgrind-filter=REGEX keeps the cases whose name it
// matches. Run it under
//   valgrind --tool=callgrind --instr-atstart=no
//
// With --baseline=PATH every case also runs on the shader library at PATH (built from another
// commit), named "baseline:" + the case and registered right after it, so that a change is
// measured against what it replaces in one run on the same machine state.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include "shading_cases.h"

namespace {

using namespace kestrel;

struct Case {
    std::string name;  // class/slot/parameter set
    std::shared_ptr<ShaderInstance> shader;
    harness::SlotFunction call;
    ksi::ShadingRecord prepared;
};

std::vector<Case> allCases(harness::TinyTextures& textures, const PluginLibrary* baseline) {
    std::vector<Case> cases;
    for (const std::string& className : harness::exportedClasses()) {
        const bool inBaseline = baseline && std::ranges::count(baseline->classNames(), className) > 0;
        for (harness::ParameterSet set : harness::kParameterSets) {
            std::shared_ptr<ShaderInstance> shader = harness::makeShader(className, set, textures);
            std::shared_ptr<ShaderInstance> old;
            if (inBaseline) old = harness::makeShader(*baseline, className, set, textures);
            for (const harness::SlotInfo& slot : harness::announcedSlots(*shader)) {
                const std::string name = className + "/" + slot.name + "/" + harness::parameterSetName(set);
                const harness::SlotFunction call = harness::slotFunction(shader->kind(), slot.capability);
                cases.push_back({name, shader, call, harness::realisticRecord(*shader)});
                if (old) cases.push_back({"baseline:" + name, old, call, harness::realisticRecord(*old)});
            }
        }
    }
    return cases;
}

// One shading call as a renderer makes it: the record refilled from the prepared inputs, then
// the slot.
inline void shadeOnce(const Case& c, ksi::RenderServices* services, ksi::ShadingRecord* record) {
    std::memcpy(record, &c.prepared, sizeof *record);
    c.call(c.shader->object(), services, record);
    benchmark::DoNotOptimize(record);
    benchmark::ClobberMemory();
}

void runCase(benchmark::State& state, const Case* c) {
    harness::ConstantServices services;
    ksi::ShadingRecord record;
    for (auto _ : state) shadeOnce(*c, &services, &record);
    state.SetItemsProcessed(state.iterations());
}

// Kept out of line so that the profile of a case holds exactly the calls and their refills.
__attribute__((noinline)) void callRepeatedly(const Case& c, long calls) {
    harness::ConstantServices services;
    ksi::ShadingRecord record;
    for (long i = 0; i < calls; ++i) shadeOnce(c, &services, &record);
}

int profileUnderCallgrind(const std::vector<Case>& cases, long calls, const std::regex& filter) {
    for (const Case& c : cases) {
        if (!std::regex_search(c.name, filter)) continue;
        callRepeatedly(c, 1);  // first-touch costs (lazy binding, cold code) stay out of the count
        CALLGRIND_ZERO_STATS;
        CALLGRIND_START_INSTRUMENTATION;
        callRepeatedly(c, calls);
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT(c.name.c_str());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    long callgrindCalls = 0;
    std::regex callgrindFilter("");
    std::optional<PluginLibrary> baseline;
    // Our options are taken out of argv before Google Benchmark reads the rest.
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::string calls = "--callgrind-calls=", filter = "--callgrind-filter=", base = "--baseline=";
        if (argument.rfind(calls, 0) == 0) {
            callgrindCalls = std::atol(argument.c_str() + calls.size());
        } else if (argument.rfind(filter, 0) == 0) {
            callgrindFilter = std::regex(argument.substr(filter.size()));
        } else if (argument.rfind(base, 0) == 0) {
            try {
                baseline.emplace(argument.substr(base.size()));
            } catch (const std::exception& e) {
                std::fprintf(stderr, "kestrel_shading_bench: %s\n", e.what());
                return 2;
            }
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;

    harness::TinyTextures textures;
    const std::vector<Case> cases = allCases(textures, baseline ? &*baseline : nullptr);
    if (callgrindCalls > 0) return profileUnderCallgrind(cases, callgrindCalls, callgrindFilter);
    for (const Case& c : cases) {
        benchmark::RegisterBenchmark(c.name.c_str(), runCase, &c)->UseRealTime()->Threads(1)->Threads(2);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
