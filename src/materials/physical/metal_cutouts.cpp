#include "materials/physical/metal_cutouts.h"

#include <cmath>

namespace ksi {

namespace {
float length2(Float2 v) { return std::sqrt(v.x * v.x + v.y * v.y); }
Float2 floor2(Float2 v) { return {std::floor(v.x), std::floor(v.y)}; }
Float2 fract2(Float2 v) { return v - floor2(v); }
float fract(float x) { return x - std::floor(x); }
bool isEven(float whole) { return whole - 2.0f * std::floor(whole * 0.5f) == 0.0f; }

// The two nearest centres of a grid of unit cells whose even columns are shifted up by half a
// cell, searched over the 3x3 cells around q.
struct NearestCentres {
    Float2 first, second;
    float d1, d2;
};

NearestCentres nearestStaggeredCentres(Float2 q) {
    Float2 cell = floor2(q);
    NearestCentres n{{0.0f, 0.0f}, {0.0f, 0.0f}, INFINITY, INFINITY};
    for (int i = -1; i <= 1; ++i) {
        for (int j = -1; j <= 1; ++j) {
            Float2 centre(cell.x + static_cast<float>(i) + 0.5f, cell.y + static_cast<float>(j) + 0.5f);
            if (isEven(cell.x + static_cast<float>(i))) centre.y += 0.5f;
            float d = length2(q - centre);
            if (d < n.d1) {
                n.second = n.first;
                n.d2 = n.d1;
                n.first = centre;
                n.d1 = d;
            } else if (d < n.d2) {
                n.second = centre;
                n.d2 = d;
            }
        }
    }
    return n;
}

float distanceToSegment(Float2 p, Float2 a, Float2 b) {
    Float2 ab = b - a;
    Float2 ap = p - a;
    float t = clamp((ap.x * ab.x + ap.y * ab.y) / (ab.x * ab.x + ab.y * ab.y), 0.0f, 1.0f);
    return length2(p - (a + ab * t));
}

// Union of two coverages.
float unite(float x, float y) { return x + y - x * y; }

// The diamond mesh: six bar segments of half-width h per cell, each with a 0.001 soft edge.
float diamondMesh(Float2 q, float h) {
    static constexpr Float2 kSegments[6][2] = {
        {{0.0f, 0.0f}, {0.0f, 1.0f}}, {{0.0f, 1.0f}, {1.0f, 1.0f}}, {{1.0f, 1.0f}, {1.0f, 2.0f}},
        {{1.0f, 2.0f}, {0.0f, 2.0f}}, {{0.0f, 0.0f}, {1.0f, 1.0f}}, {{0.0f, 1.0f}, {1.0f, 0.0f}},
    };
    Float2 f = fract2(q);
    float a[6];
    for (int k = 0; k < 6; ++k) {
        float d = distanceToSegment(f, kSegments[k][0], kSegments[k][1]);
        float s;
        if (d < h - 0.001f) {
            s = 0.0f;
        } else if (d >= h) {
            s = 1.0f;
        } else {
            float x = (d - (h - 0.001f)) / 0.001f;
            s = (3.0f - 2.0f * x) * (x * x);
        }
        a[k] = 1.0f - s;
    }
    return unite(unite(unite(a[3], a[2]), unite(a[1], a[0])), unite(a[5], a[4]));
}
}  // namespace

float proceduralCutout(int32_t pattern, Float2 uv, float scale, const CutoutShape& shape) {
    const float w = shape.space + shape.size;
    const float offset = shape.center - 0.5f;
    Float2 q(uv.x * (scale / w) - offset, uv.y * (scale / w) - offset);
    switch (pattern) {
        case kCutoutStaggeredCircles: {
            NearestCentres n = nearestStaggeredCentres(q);
            return n.d1 > 0.5f * shape.size / w ? 1.0f : 0.0f;
        }
        case kCutoutCircleGrid: {
            float d = length2(Float2(0.5f, 0.5f) - fract2(q));
            return d <= 0.5f * shape.size / w ? 0.0f : 1.0f;
        }
        case kCutoutShiftedSquares: {
            if (fract(q.y / 2.0f) > 0.5f) q.x -= 0.5f;
            float b = 0.5f * shape.space / w;
            Float2 f = fract2(q);
            bool onBar = f.x <= b || f.x >= 1.0f - b || f.y <= b || f.y >= 1.0f - b;
            return onBar ? 1.0f : 0.0f;
        }
        case kCutoutDiamondMesh: return diamondMesh(q, 0.5f * shape.space / w);
        case kCutoutHexagons: {
            // Staggered columns squeezed vertically make the cells hexagonal.
            q.y = q.y * (1.7320508f * 0.5f);
            NearestCentres n = nearestStaggeredCentres(q);
            // Solid along the bisector between the two nearest centres, widened by the bar width.
            float e = (length2(n.first - n.second) / (length2(n.first - q) + length2(n.second - q))) * shape.space / w;
            return e <= n.d2 - n.d1 ? 0.0f : 1.0f;
        }
        default: return 1.0f;
    }
}

}  // namespace ksi
