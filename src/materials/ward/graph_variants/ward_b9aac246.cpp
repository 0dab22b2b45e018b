#include "materials/ward/graph_variants/ward_b9aac246.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_b9aac246)
