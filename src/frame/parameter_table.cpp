#include "parameter_table.h"

namespace ksi {

void declareTable(ShaderParamRegistry* registry, IShaderBase* shader, int32_t mask, void* block,
                  const Declaration* rows, std::size_t count) {
    registry->declareCapabilities(shader, mask);
    char* base = static_cast<char*>(block);
    for (std::size_t i = 0; i < count; ++i) {
        const Declaration& row = rows[i];
        void* member = base + row.offset;
        switch (row.kind) {
            case ParamKind::Bool: registry->declareBool(shader, row.name, static_cast<bool*>(member)); break;
            case ParamKind::Int: registry->declareInt(shader, row.name, static_cast<int32_t*>(member)); break;
            case ParamKind::Float: registry->declareFloat(shader, row.name, static_cast<float*>(member)); break;
            case ParamKind::Float2: registry->declareFloat2(shader, row.name, static_cast<Float2*>(member)); break;
            case ParamKind::Float3: registry->declareFloat3(shader, row.name, static_cast<Float3*>(member)); break;
            case ParamKind::Float4: registry->declareFloat4(shader, row.name, static_cast<Float4*>(member)); break;
            case ParamKind::Matrix3: registry->declareMatrix3(shader, row.name, static_cast<Float3x3*>(member)); break;
            case ParamKind::Matrix4: registry->declareMatrix4(shader, row.name, static_cast<Float4x4*>(member)); break;
            case ParamKind::DataTexture:
                registry->declareDataTexture(shader, row.name, static_cast<TextureHandle*>(member));
                break;
            case ParamKind::Texture:
                registry->declareTexture(shader, row.name, static_cast<TextureHandle*>(member));
                break;
            case ParamKind::CubeTexture:
                registry->declareCubeTexture(shader, row.name, static_cast<TextureHandle*>(member));
                break;
            case ParamKind::Varying:
                registry->declareVarying(shader, row.varyingType, row.name, static_cast<int32_t>(row.offset));
                break;
        }
    }
}

}  // namespace ksi
