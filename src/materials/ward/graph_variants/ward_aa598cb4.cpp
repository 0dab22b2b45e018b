#include "materials/ward/graph_variants/ward_aa598cb4.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_aa598cb4)
