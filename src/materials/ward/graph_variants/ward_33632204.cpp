#include "materials/ward/graph_variants/ward_33632204.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_33632204)
