/* ownscan: a quadrangle clipped to a rectangle, and the pixels in it, row by row. */
#include "ownscan.h"

#include <math.h>

/* A polygon of at most eight corners: each of the four edges of a rectangle adds one. */
struct OwnPolygon {
    OwnSpot at[12];
    int n;
};

/* ---- Clipping ------------------------------------------------------------------------------------------------ */

struct OwnExtent {
    double left, top, right, bottom;
};

static OwnExtent ownExtentOf(const OwnPolygon& polygon)
{
    OwnExtent e = {INFINITY, INFINITY, -INFINITY, -INFINITY};
    for (int i = 0; i < polygon.n; ++i) {
        e.left = std::min(e.left, polygon.at[i].x);
        e.right = std::max(e.right, polygon.at[i].x);
        e.top = std::min(e.top, polygon.at[i].y);
        e.bottom = std::max(e.bottom, polygon.at[i].y);
    }
    return e;
}

enum OwnEdge { OWN_TOP_EDGE, OWN_BOTTOM_EDGE, OWN_LEFT_EDGE, OWN_RIGHT_EDGE };

static bool ownIsWithin(const OwnSpot& p, OwnEdge edge, double clip)
{
    switch (edge) {
    case OWN_TOP_EDGE: return p.y >= clip;
    case OWN_BOTTOM_EDGE: return p.y <= clip;
    case OWN_LEFT_EDGE: return p.x >= clip;
    default: return p.x <= clip;
    }
}

static OwnSpot ownCrossing(const OwnSpot& a, const OwnSpot& b, OwnEdge edge, double clip)
{
    if (edge == OWN_TOP_EDGE || edge == OWN_BOTTOM_EDGE) return {a.x + (clip - a.y) * (b.x - a.x) / (b.y - a.y), clip};
    return {clip, a.y + (clip - a.x) * (b.y - a.y) / (b.x - a.x)};
}

/* What lies within one edge: corners that do, and a crossing wherever the outline passes (Sutherland and Hodgman). */
static void ownClipEdge(OwnPolygon* polygon, OwnEdge edge, double clip)
{
    OwnPolygon out;
    out.n = 0;
    for (int i = 0; i < polygon->n; ++i) {
        const OwnSpot &a = polygon->at[i], &b = polygon->at[(i + 1) % polygon->n];
        const bool aWithin = ownIsWithin(a, edge, clip), bWithin = ownIsWithin(b, edge, clip);
        if (aWithin) out.at[out.n++] = a;
        if (aWithin != bWithin) out.at[out.n++] = ownCrossing(a, b, edge, clip);
        if (out.n > 10) break; /* more corners than a convex outline can have */
    }
    *polygon = out;
}

/* Corners that fall together count once, the last with the first too. */
static void ownMergeCorners(OwnPolygon* polygon)
{
    OwnPolygon out;
    out.n = 0;
    for (int i = 0; i < polygon->n; ++i) {
        const OwnSpot& p = polygon->at[i];
        if (out.n == 0 || p.x != out.at[out.n - 1].x || p.y != out.at[out.n - 1].y) out.at[out.n++] = p;
    }
    while (out.n > 1 && out.at[0].x == out.at[out.n - 1].x && out.at[0].y == out.at[out.n - 1].y) --out.n;
    *polygon = out;
}

static void ownClipQuad(OwnPolygon* polygon, const OwnRect& rect)
{
    const OwnExtent e = ownExtentOf(*polygon);
    if (!(e.left <= rect.right && e.right >= rect.left && e.top <= rect.bottom && e.bottom >= rect.top)) {
        polygon->n = 0;
        return;
    }
    const struct {
        OwnEdge edge;
        double clip;
    } edges[] = {{OWN_TOP_EDGE, (double)rect.top},
                 {OWN_BOTTOM_EDGE, (double)rect.bottom},
                 {OWN_LEFT_EDGE, (double)rect.left},
                 {OWN_RIGHT_EDGE, (double)rect.right}};
    for (const auto& [edge, clip] : edges) {
        bool isCrossed = false;
        for (int i = 0; i < polygon->n; ++i) isCrossed |= !ownIsWithin(polygon->at[i], edge, clip);
        if (isCrossed) ownClipEdge(polygon, edge, clip);
    }
    ownMergeCorners(polygon);
}

/* ---- Scanning ------------------------------------------------------------------------------------------------ */

/* Goes down one side of a polygon, edge by edge: x = m y + b on the present one. */
struct OwnWalkSide {
    int corner, next; /* the edge's ends */
    int step;         /* 1 or n - 1: rising or falling indices */
    double m, b;
};

/* On to the next edge that is not flat. False when the side has come to `stop`, the corner where the other one stands. */
static bool ownTakeEdge(OwnWalkSide* side, const OwnPolygon& polygon, int* nLeft)
{
    while (*nLeft > 0) {
        side->next = (side->corner + side->step) % polygon.n;
        const OwnSpot &near = polygon.at[side->corner], &far = polygon.at[side->next];
        --*nLeft;
        const double height = far.y - near.y;
        if (fabs(height) > 1e-7) {
            if (height < 0) return false; /* past the lowest corner */
            side->m = (far.x - near.x) / height;
            side->b = near.x - side->m * near.y;
            return true;
        }
        side->corner = side->next;
    }
    return false;
}

/* Rows from y to `last` between two edges. */
static int64_t ownFillRows(OwnSpans* spans, int64_t y, double last, const OwnWalkSide& left, const OwnWalkSide& right,
                           const OwnRect& rect)
{
    for (; y <= last && y <= spans->yMax; ++y) {
        const double a = ceil(left.m * (double)y + left.b), b = floor(right.m * (double)y + right.b);
        spans->left[y - spans->yMin] = (int32_t)std::clamp(a, (double)rect.left, rect.right + 1.0);
        spans->right[y - spans->yMin] = (int32_t)std::clamp(b, rect.left - 1.0, (double)rect.right);
    }
    return y;
}

/* Two walkers leave the first of the highest corners, one each way round, and meet at the lowest. */
static void ownWalkSides(const OwnPolygon& polygon, int orientation, const OwnRect& rect, OwnSpans* spans)
{
    int top = 0;
    for (int i = 1; i < polygon.n; ++i)
        if (polygon.at[i].y < polygon.at[top].y) top = i;
    OwnWalkSide falling = {top, top, polygon.n - 1, 0, 0}, rising = {top, top, 1, 0, 0};
    int nLeft = polygon.n; /* edges that neither has taken */
    bool goesOn = ownTakeEdge(&falling, polygon, &nLeft) && ownTakeEdge(&rising, polygon, &nLeft);
    const OwnWalkSide &left = orientation ? falling : rising, &right = orientation ? rising : falling;
    for (int64_t y = spans->yMin; goesOn;) {
        const double yFalling = polygon.at[falling.next].y, yRising = polygon.at[rising.next].y;
        y = ownFillRows(spans, y, floor(std::min(yFalling, yRising)), left, right, rect);
        if (yFalling <= yRising) {
            falling.corner = falling.next;
            goesOn = ownTakeEdge(&falling, polygon, &nLeft);
        }
        if (goesOn && yRising <= yFalling) {
            rising.corner = rising.next;
            goesOn = ownTakeEdge(&rising, polygon, &nLeft);
        }
    }
}

bool ownScanQuad(const double quad[8], int orientation, const OwnRect& rect, OwnSpans* spans)
{
    OwnPolygon polygon;
    polygon.n = 4;
    *spans = {0, -1, nullptr, nullptr};
    for (int i = 0; i < 8; ++i)
        if (!isfinite(quad[i])) return true;
    for (int i = 0; i < 4; ++i) polygon.at[i] = {quad[2 * i], quad[2 * i + 1]};
    ownClipQuad(&polygon, rect);
    if (polygon.n == 0) return true;

    const OwnExtent e = ownExtentOf(polygon);
    spans->yMin = (int32_t)std::clamp(ceil(e.top), (double)rect.top, rect.bottom + 1.0);
    spans->yMax = (int32_t)std::clamp(floor(e.bottom), rect.top - 1.0, (double)rect.bottom);
    if (spans->yMax < spans->yMin) return true;
    const size_t nRows = (size_t)((int64_t)spans->yMax - spans->yMin + 1);
    spans->left = (int32_t*)ownAlloc(2 * nRows * sizeof(int32_t));
    if (!spans->left) return false;
    spans->right = spans->left + nRows;
    for (size_t i = 0; i < nRows; ++i) {
        spans->left[i] = 1;
        spans->right[i] = 0;
    }
    /* a polygon on one row, which no walker can fill: its first two corners, or its only one */
    const OwnSpot &a = polygon.at[0], &b = polygon.at[polygon.n > 1 ? 1 : 0];
    const double first = polygon.n > 1 ? ceil(std::min(a.x, b.x)) : floor(a.x), last = floor(std::max(a.x, b.x));
    spans->left[0] = (int32_t)std::clamp(first, (double)rect.left, rect.right + 1.0);
    spans->right[0] = (int32_t)std::clamp(last, rect.left - 1.0, (double)rect.right);
    if (polygon.n > 1) ownWalkSides(polygon, orientation, rect, spans);
    return true;
}

void ownFreeSpans(OwnSpans* spans) { ownFree(spans->left); }
