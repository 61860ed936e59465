// HeadIntersectionOutputDataV1: where the head ray (from the point between the eyes) meets one
// object of the world model (first version). Its block is the 41-byte one-object block of
// IntersectionOutputBase.
#pragma once

#include <string>
#include <vector>

#include "vq/eod/intersectionoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class HeadIntersectionOutputDataV2;

class VQ_EOD_API HeadIntersectionOutputDataV1 : public IntersectionOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::HEAD_INTERSECTION_OUTPUT_DATA_V1;

    // No object.
    HeadIntersectionOutputDataV1();
    HeadIntersectionOutputDataV1(const HeadIntersectionOutputDataV1& other);
    HeadIntersectionOutputDataV1& operator=(const HeadIntersectionOutputDataV1& other);
    // The intersection with the lowest index of the version 2 record, as
    // IntersectionOutputBaseV2::firstIntersection() gives it.
    explicit HeadIntersectionOutputDataV1(const HeadIntersectionOutputDataV2& other);
    ~HeadIntersectionOutputDataV1() override;

    // Check the length of the coordinates (see IntersectionOutputBase).
    void setScreenIntersectionWorldCoordinates(const std::vector<float>& world) override;
    void setScreenIntersectionScreenCoordinates(const std::vector<float>& screen) override;
    void setScreenIntersectionPixelCoordinates(const std::vector<int>& pixel) override;

    char objectID() const override;
    HeadIntersectionOutputDataV1* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(HeadIntersectionOutputDataV1)
};

}  // namespace vq::eod
