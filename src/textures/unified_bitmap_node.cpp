#include "textures/unified_bitmap_node.h"

#include "frame/texture_lookup.h"

namespace ksi {

Float4 evaluateBitmap(const UnifiedBitmapParams& node, Float2 uv) {
    const Float4 t = lookupTexture(node.texture, placeUv(node.xform, uv));
    const float a = node.amount;
    return {t.x * a, t.y * a, t.z * a, t.w};
}

}  // namespace ksi
