// Samples whose weight carries the whole estimate: the mirror and straight-on continuations of
// delta lobes, and lobes sampled in proportion to their value. Their cosine and reciprocal density
// are 1, so the host multiplies by the weight alone.
#pragma once

#include "frame/shading_record.h"
#include "frame/types.h"

namespace ksi {

inline void writeWeightCarryingSample(ShadingRecord& record, Float3 direction, Float3 weight, LobeCode lobe) {
    record.sampleDir = direction;
    record.sampleWeight = weight;
    record.sampleCos = 1.0f;
    record.samplePdf = 1.0f;
    record.sampleLobe = lobe;
}

}  // namespace ksi
