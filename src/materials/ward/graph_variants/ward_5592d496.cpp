#include "materials/ward/graph_variants/ward_5592d496.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_5592d496)
