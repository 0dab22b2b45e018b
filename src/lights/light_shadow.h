// What both lights do for the shadow: ask the host for the segment's transmittance, or report
// the point unshadowed. The query is made before any colour is computed, even a black one.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"

namespace ksi {

inline void writeLightShadow(RenderServices* services, ShadingRecord* record, bool castShadows) {
    if (castShadows) {
        services->traceShadow(&record->outLightShadow, &record->position, &record->lightPosition);
    } else {
        record->outLightShadow = Float3(1.0f);
    }
}

}  // namespace ksi
