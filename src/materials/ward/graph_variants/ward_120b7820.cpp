#include "materials/ward/graph_variants/ward_120b7820.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_120b7820)
