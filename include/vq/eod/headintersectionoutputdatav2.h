// HeadIntersectionOutputDataV2: where the head ray meets items of the world model, any number
// of them, each under a label. Its block is that of IntersectionOutputBaseV2.
#pragma once

#include "vq/eod/intersectionoutputbasev2.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class HeadIntersectionOutputDataV1;

class VQ_EOD_API HeadIntersectionOutputDataV2 : public IntersectionOutputBaseV2 {
public:
    static constexpr char THIS_OBJECT_ID = object_id::HEAD_INTERSECTION_OUTPUT_DATA_V2;

    HeadIntersectionOutputDataV2();
    HeadIntersectionOutputDataV2(const HeadIntersectionOutputDataV2& other);
    HeadIntersectionOutputDataV2& operator=(const HeadIntersectionOutputDataV2& other);
    // One intersection under the object's name (world, plane = screen coordinates, pixel) when
    // the version 1 record intersects, none otherwise; its object index is not kept.
    explicit HeadIntersectionOutputDataV2(const HeadIntersectionOutputDataV1& other);
    ~HeadIntersectionOutputDataV2() override;

    char objectID() const override;
    HeadIntersectionOutputDataV2* clone() const override;

    VQ_EOD_POOL_ALLOCATED(HeadIntersectionOutputDataV2)
};

}  // namespace vq::eod
