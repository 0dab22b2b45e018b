#include "materials/ward/graph_variants/ward_82261344.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_82261344)
