#include "class_sources.h"

#include "environments/background_geometry.h"
#include "environments/backplate_environment.h"
#include "environments/default_environment.h"
#include "lights/point_light.h"
#include "lights/spot_light.h"
#include "materials/physical/dielectric_material.h"
#include "materials/physical/glazing_material.h"
#include "materials/physical/metal_material.h"
#include "materials/physical/metallic_paint_material.h"
#include "materials/physical/mirror_material.h"
#include "materials/utility/ambient_only_material.h"
#include "materials/utility/normals_only_material.h"
#include "materials/utility/shadow_plane_material.h"
#include "materials/utility/solid_material.h"
#include "materials/utility/unlit_material.h"
#include "materials/ward/ward_material.h"
#include "shading/common_inputs.h"

namespace kestrel::catalogue {

namespace {

// A class's entry: its ClassDoc's words and the docs of its lists.
ClassSource entry(const char* name, const ksi::ClassDoc& doc, std::vector<ParamDoc> params,
                  nlohmann::ordered_json graph = nlohmann::ordered_json::array()) {
    return {name, doc.summary, doc.description, doc.toSee, std::move(params), std::move(graph)};
}

template <class... Lists>
std::vector<ParamDoc> joined(Lists... lists) {
    std::vector<ParamDoc> all;
    (all.insert(all.end(), lists.begin(), lists.end()), ...);
    return all;
}

// The inputs most materials share; a class that declares only some of them finds its own.
std::vector<ParamDoc> commonDocs() {
    return joined(KS_BLOCK_DOCS(KS_AMBIENT_OCCLUSION_INPUTS), KS_BLOCK_DOCS(KS_MASKING_INPUTS),
                  KS_BLOCK_DOCS(KS_LATTICE_AO_INPUT), KS_BLOCK_DOCS(KS_GLOBAL_CLIP_INPUTS),
                  KS_BLOCK_DOCS(KS_COMMON_TINT_INPUTS));
}

}  // namespace

const std::vector<ClassSource>& classSources() {
    static const std::vector<ClassSource> sources = {
        entry("znPointLight", ksi::kPointLightDoc, KS_BLOCK_DOCS(KS_POINT_LIGHT_PARAMETERS)),
        entry("znSpotLight", ksi::kSpotLightDoc, KS_BLOCK_DOCS(KS_SPOT_LIGHT_PARAMETERS)),
        entry("kestrel_Mtl_Solid", ksi::kSolidDoc, KS_BLOCK_DOCS(KS_SOLID_PARAMETERS)),
        entry("kestrel_Mtl_NormalsOnly", ksi::kNormalsOnlyDoc, KS_BLOCK_DOCS(KS_NORMALS_ONLY_PARAMETERS)),
        entry("kestrel_Mtl_Unlit", ksi::kUnlitDoc, KS_BLOCK_DOCS(KS_UNLIT_PARAMETERS)),
        entry("kestrel_Mtl_ShadowPlane", ksi::kShadowPlaneDoc, KS_BLOCK_DOCS(KS_SHADOW_PLANE_PARAMETERS)),
        entry("kestrel_Mtl_AmbientOnly", ksi::kAmbientOnlyDoc, commonDocs()),
        entry("kestrel_Env_Default", ksi::kDefaultEnvironmentDoc, KS_BLOCK_DOCS(KS_DEFAULT_ENVIRONMENT_PARAMETERS)),
        entry("kestrel_Env_Backplate", ksi::kBackplateEnvironmentDoc, KS_BLOCK_DOCS(KS_BACKPLATE_ENVIRONMENT_PARAMETERS)),
        entry("BackgroundGeometry", ksi::kBackgroundGeometryDoc, KS_BLOCK_DOCS(KS_BACKGROUND_GEOMETRY_PARAMETERS)),
        entry("kestrel_Mtl_Mirror", ksi::kMirrorDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_MIRROR_PARAMETERS))),
        entry("kestrel_Mtl_Dielectric", ksi::kDielectricDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_DIELECTRIC_PARAMETERS))),
        entry("kestrel_Mtl_Glazing", ksi::kGlazingDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_GLAZING_PARAMETERS))),
        entry("kestrel_Mtl_MetallicPaint", ksi::kMetallicPaintDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_METALLIC_PAINT_PARAMETERS), KS_BLOCK_DOCS(KS_PAINT_ORIENTATION_PARAMETERS))),
        entry("kestrel_Mtl_Metal", ksi::kMetalDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_METAL_PARAMETERS))),
        entry("kestrel_Mtl_Ward", ksi::kWardDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_WARD_PARAMETERS), KS_BLOCK_DOCS(KS_WARD_DECAL_PARAMETERS))),
    };
    return sources;
}

const std::vector<NodeTypeSource>& nodeTypeSources() {
    static const std::vector<NodeTypeSource> sources = {};
    return sources;
}

}  // namespace kestrel::catalogue
