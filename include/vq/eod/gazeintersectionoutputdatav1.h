// GazeIntersectionOutputDataV1: where the gaze meets one object of the world model (first
// version). Its block is the 41-byte one-object block of IntersectionOutputBase.
#pragma once

#include "vq/eod/gazeintersectionoutputdatabase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class GazeIntersectionOutputDataV2;
class GazeIntersectionOutputDataV3;

class VQ_EOD_API GazeIntersectionOutputDataV1 : public GazeIntersectionOutputDataBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GAZE_INTERSECTION_OUTPUT_DATA_V1;

    // No object.
    GazeIntersectionOutputDataV1();
    GazeIntersectionOutputDataV1(const GazeIntersectionOutputDataV1& other);
    GazeIntersectionOutputDataV1& operator=(const GazeIntersectionOutputDataV1& other);
    // The one-object data of a version 2 record (its gaze object point is dropped).
    explicit GazeIntersectionOutputDataV1(const GazeIntersectionOutputDataV2& other);
    // The intersection with the lowest index of a version 3 record, as
    // IntersectionOutputBaseV2::firstIntersection() gives it.
    explicit GazeIntersectionOutputDataV1(const GazeIntersectionOutputDataV3& other);
    ~GazeIntersectionOutputDataV1() override;

    // Check the length of the coordinates (see IntersectionOutputBase).
    void setScreenIntersectionWorldCoordinates(const std::vector<float>& world) override;
    void setScreenIntersectionScreenCoordinates(const std::vector<float>& screen) override;
    void setScreenIntersectionPixelCoordinates(const std::vector<int>& pixel) override;

    char objectID() const override;
    GazeIntersectionOutputDataV1* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GazeIntersectionOutputDataV1)
};

}  // namespace vq::eod
