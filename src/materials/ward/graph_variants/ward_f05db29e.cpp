#include "materials/ward/graph_variants/ward_f05db29e.h"

#include "frame/exports.h"

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_f05db29e)
