#include "materials/ward/graph_variants/ward_ccb3a2e6.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_ccb3a2e6)
