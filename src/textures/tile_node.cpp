#include "textures/tile_node.h"

#include <cmath>

#include "textures/unified_bitmap_node.h"

namespace ksi {

namespace {
float noise1(RenderServices* services, float x) { return services->noise1D(x); }
float noise2(RenderServices* services, float x, float y) {
    const Float2 point(x, y);
    return services->noise2D(&point);
}

// x - floor(x / n) n, kept in float: a cell index that does not fit an integer (or a count of 0,
// which gives NaN) simply never counts as a multiple.
float cellModulo(float index, int32_t n) {
    const float period = static_cast<float>(n);
    return std::trunc(index - std::floor(index / period) * period);
}

// One axis of the brick: a pulse over the cell fraction f that is 1 on [g, 1 - g], with edges
// filtered over the width w (all in cell units).
float filteredPulse(float f, float g, float w) {
    if (w >= 1.0f) return 1.0f - 2.0f * g;
    const float a = std::fmax(0.0f, 1.0f - g / w);
    float p = clamp((f - (g - w)) / w, 0.0f, 1.0f);
    p = std::fmin(std::fmax(p, a), 1.0f);
    float q = clamp((f - (1.0f - g - w)) / w, 0.0f, 1.0f);
    q = std::fmin(q, 2.0f * g / w);
    return p - q;
}

// Placed coordinate folded into [0, 1] when repeating; false when outside without repeat.
bool wrapCoordinate(float& x, bool repeat) {
    if (x < 0.0f || x > 1.0f) {
        if (!repeat) return false;
        x = x - std::floor(x);
    }
    return true;
}
// A brick's size in uv, after the row and column edits; e is the row change that the brick
// identifier folds in.
struct BrickCell {
    float width, height, e;
};

BrickCell editedCell(const TileParams& node, float u, float v) {
    BrickCell cell{1.0f / (node.horizontalCount + node.horizontalGap), 1.0f / (node.verticalCount + node.verticalGap),
                   0.0f};
    // Row and column of the plain grid, counted from one, choose which cells are edited.
    const float r1 = std::floor(v / cell.height) + 1.0f;
    const float c1 = std::floor(u / cell.width) + 1.0f;
    const float rowMod = cellModulo(r1, node.perRow);
    const float colMod = cellModulo(c1, node.perColumn);
    const bool rowOk = node.perRow == 1 || r1 != 1.0f;
    const bool colOk = node.perColumn == 1 || c1 != 1.0f;
    const uint8_t rowEdit = node.useRowEdit.byte, columnEdit = node.useColumnEdit.byte;
    const bool rowPasses = rowEdit == 0 || (rowEdit == 1 && rowMod == 0.0f && rowOk);
    const bool columnPasses = columnEdit == 0 || (columnEdit == 1 && colMod == 0.0f && colOk);
    if (rowPasses && columnPasses) {
        if (rowEdit == 1) cell.width = cell.width * node.changeRow;
        if (columnEdit == 1) {
            cell.height = cell.height * node.changeColumn;
            cell.e = node.changeRow;
        }
    }
    return cell;
}

// The brick's identifier for the host noise; the brick that wraps past the end of the row shares
// the identifier of the first.
float brickId(const TileParams& node, const BrickCell& cell, float col, float row) {
    const float perRowWidth = 1.0f / cell.width;
    float t = std::trunc(col) == std::trunc(perRowWidth) ? 0.0f : col;
    if (cell.e > 0.0f && 1.0f - cell.e != 0.0f) {
        t = (t + perRowWidth) * (1.0f - cell.e);
    } else {
        t = t + perRowWidth;
    }
    return t * (row + 1.0f) + static_cast<float>(node.randomSeed) + 0.5f;
}

// Holes: every brick at 100, otherwise those whose noise draw passes the threshold.
bool brickIsHole(const TileParams& node, RenderServices* services, float id) {
    if (node.holes <= 0) return false;
    if (node.holes == 100) return true;
    float sigma = 2.0f * noise1(services, id) - 1.0f;
    if (sigma < 0.0f) sigma = sigma * sigma;
    const float tau = 1.0f / (static_cast<float>(node.holes) + 1.0f);
    return sigma > tau || sigma / tau == 1.0f;
}
}  // namespace

BrickCoverage brickPattern(const TileParams& node, RenderServices* services, float u, float v) {
    const BrickCell cell = editedCell(node, u, v);
    const float cw = cell.width, rh = cell.height;

    // Jittered edges: the coordinates move by up to k along host noise at 17 cells per brick.
    const float k = node.edgeRoughness * 0.001f;
    const float uE = u + (2.0f * noise2(services, u / (cw / 17.0f), v / (rh / 17.0f)) - 1.0f) * k;
    const float vE = v + (2.0f * noise2(services, v / (cw / 17.0f), u / (rh / 17.0f)) - 1.0f) * k;

    float w = std::fabs(std::trunc(vE)) + std::fabs(std::trunc(uE));
    if (!(w > 1e-7f)) w = 1e-7f;

    const float y = vE / rh;
    const float row = std::floor(y);
    const float fy = y - row;

    // Each row slides by its own random amount; odd rows also by the line shift and half a brick.
    const float s = noise1(services, row + 0.5f + static_cast<float>(node.randomSeed));
    float x = (2.0f * s - 1.0f - 0.5f) * node.randomShift + uE / cw;
    if (y * 0.5f - std::floor(y * 0.5f) > 0.5f) x = x + node.lineShift + 0.5f;
    const float col = std::floor(x);
    const float fx = x - col;

    float m = filteredPulse(fx, node.horizontalGap / cw, w / cw) * filteredPulse(fy, node.verticalGap / rh, w / rh);
    const float id = brickId(node, cell, col, row);
    if (brickIsHole(node, services, id)) m = 0.0f;
    return {m, id};
}

Float4 evaluateTile(const TileParams& node, RenderServices* services, Float2 uv, Float4 brickColor,
                    Float4 mortarColor) {
    Float2 p = placeUv(node.xform, uv);
    if (!wrapCoordinate(p.x, node.repeatX) || !wrapCoordinate(p.y, node.repeatY)) return Float4(0.0f);
    const BrickCoverage brick = brickPattern(node, services, p.x, p.y);
    const float c = std::fmax(0.0f, 1.0f + (2.0f * noise1(services, brick.tileId) - 1.0f) * node.colorVariance);
    Float4 b = brickColor * c;
    const float f = std::fmax(0.0f, 1.0f + (2.0f * noise1(services, brick.tileId) - 1.0f) * node.fadeVariance);
    b = b * f;
    const float m = brick.m;
    return clamp4((1.0f - m) * mortarColor + m * b, Float4(0.0f), Float4(1.0f));
}

}  // namespace ksi
