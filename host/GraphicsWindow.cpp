#include "host/GraphicsWindow.h"

#include <algorithm>

void MakeHitRegion(HitRegion& region, int type, int crossing, int epsilon, const IPoint2* points) {
    region.type = type;
    region.crossing = crossing;
    region.epsilon = epsilon;
    region.pt = points[0];
    if (type == POINT_RGN) {
        region.rect = {points[0].x, points[0].y, points[0].x, points[0].y};
        return;
    }
    region.rect = {std::min(points[0].x, points[1].x), std::min(points[0].y, points[1].y),
                   std::max(points[0].x, points[1].x), std::max(points[0].y, points[1].y)};
}

void HitLog::LogHit(INode* node, ModContext* context, std::uint32_t distance,
                    std::uint32_t info) {
    hits.push_back(HitRecord{node, context, distance, info, nullptr});
    if (hits.size() > 1)
        hits[hits.size() - 2].next = &hits.back();
}
