#include "materials/ward/graph_variants/ward_5ba0bfff.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_5ba0bfff)
