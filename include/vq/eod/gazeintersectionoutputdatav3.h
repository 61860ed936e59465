// GazeIntersectionOutputDataV3: where the gaze meets items of the world model, any number of
// them, each under a label. Its block is that of IntersectionOutputBaseV2.
#pragma once

#include "vq/eod/intersectionoutputbasev2.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class GazeIntersectionOutputDataV1;
class GazeIntersectionOutputDataV2;

class VQ_EOD_API GazeIntersectionOutputDataV3 : public IntersectionOutputBaseV2 {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GAZE_INTERSECTION_OUTPUT_DATA_V3;

    GazeIntersectionOutputDataV3();
    GazeIntersectionOutputDataV3(const GazeIntersectionOutputDataV3& other);
    GazeIntersectionOutputDataV3& operator=(const GazeIntersectionOutputDataV3& other);
    // One intersection under the object's name (world, plane = screen coordinates, pixel) when
    // the one-object record intersects, none otherwise. Its object index is not kept, and the
    // gaze object point of version 2 is dropped.
    explicit GazeIntersectionOutputDataV3(const GazeIntersectionOutputDataV1& other);
    explicit GazeIntersectionOutputDataV3(const GazeIntersectionOutputDataV2& other);
    ~GazeIntersectionOutputDataV3() override;

    char objectID() const override;
    GazeIntersectionOutputDataV3* clone() const override;

    VQ_EOD_POOL_ALLOCATED(GazeIntersectionOutputDataV3)
};

}  // namespace vq::eod
