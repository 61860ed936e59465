// IntersectionOutputBaseV2: the base of the labelled intersection records
// (GazeIntersectionOutputDataV3 and V4, HeadIntersectionOutputDataV2).
//
// A labelled record holds any number of intersections of a ray with items of the world model,
// each under a text label: a world point, and optionally a point in the item's plane and a
// pixel. Each label has an index (the number of labels there were when it was first added);
// the points are kept per index. Block:
//
//     8 bytes   number of labels (uint64), then per label in label order:
//               the label (its characters and a 0 byte), its index (int32)
//     8 bytes   number of world points (uint64), then per point in index order:
//               index (int32), x, y, z (floats, metres in world coordinates)
//     8 bytes   number of plane points (uint64), then per point: index (int32), x, y (floats,
//               0..1 from the item's top-left corner, x to the right, y down)
//     8 bytes   number of pixels (uint64), then per pixel: index (int32), x, y (int32, pixels)
//
// The announced size is 16 bytes short. numEngineSpecificDataBytes() counts the four 8-byte
// counts as 4 bytes each, so the header of a labelled record, and of every record that encloses
// it (world container, frame), announces 16 bytes fewer per labelled record than follow it.
// Recordings are written that way, so the formula stays. Readers meet it through
// numUnannouncedDataBytes(), which is 16 here: a whole-object read of a labelled record
// consumes exactly its announced size plus 16, every record around it its announced size plus
// the 16 of each labelled record inside, and no record ever reads past that (see serializable.h).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/intersectionoutputbase.h"

namespace vq::eod {

class VQ_EOD_API IntersectionOutputBaseV2 : public EngineOutputBase {
public:
    ~IntersectionOutputBaseV2() override;

    // Removes every label and point.
    virtual void clearAllData();
    // Whether the label has a world point / plane point / pixel (false for unknown labels).
    virtual bool hasWorld(const std::string& label) const;
    virtual bool hasPlane(const std::string& label) const;
    virtual bool hasPixel(const std::string& label) const;
    // Copies of the label's points; zeros of their length (3, 2, 2) when there is none.
    virtual std::vector<float> world(const std::string& label) const;
    virtual std::vector<float> plane(const std::string& label) const;
    virtual std::vector<int> pixel(const std::string& label) const;
    // Adds an intersection under `label`, or replaces the given points of a known label (its
    // index stays; points not given stay as they were). Checks, in this order, that world has 3
    // elements ("world expected to be 3D point"), plane 2 ("plane expected to be 2D point") and
    // pixel 2 ("pixel expected to be 3D point"); a refusal changes nothing.
    virtual void addIntersection(const std::string& label, const std::vector<float>& world,
                                 const std::vector<float>& plane, const std::vector<int>& pixel);
    virtual void addIntersection(const std::string& label, const std::vector<float>& world,
                                 const std::vector<float>& plane);
    virtual void addIntersection(const std::string& label, const std::vector<float>& world);
    // The labels in label order.
    virtual std::vector<std::string> labels() const;
    // Sum over the labels of (length + 1): the bytes the labels take on the wire.
    virtual unsigned int combinedLabelSize() const;

    // The label's index, or -1 for an unknown label.
    int labelIndex(const std::string& label) const;
    // The label with the lowest index (the first added) as one intersected object, intersecting
    // and with zeros for missing points; no labels give the empty ObjectIntersection.
    ObjectIntersection firstIntersection() const;

    unsigned int numUnannouncedDataBytes() const override;  // 16
    void printOwnHeader(std::ostream& stream) const override;

protected:
    IntersectionOutputBaseV2();
    IntersectionOutputBaseV2(const IntersectionOutputBaseV2& other);
    IntersectionOutputBaseV2& operator=(const IntersectionOutputBaseV2& other);

    // Replaces everything by the one object when it intersects, by nothing otherwise; its
    // object index is not kept (labels are numbered here).
    void assignObjectIntersection(const ObjectIntersection& data);

    // The first label ("Nothing" without labels), then the first world point, plane point and
    // pixel in index order; an empty map prints no columns.
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    // The label's index, after adding it with the next index when it is new.
    int addLabelIndex(const std::string& label);
    // A count (uint64), then per point in index order: the index (int32) and the coordinates.
    template <typename T>
    static void appendPoints(ByteBuffer& buffer, const std::map<int, std::vector<T>>& points);
    template <typename T>
    static void readPoints(const ByteBuffer& buffer, int& read_pos, std::size_t dimensions,
                           std::map<int, std::vector<T>>& points);

    std::map<std::string, int> _labels;        // label -> index, one per intersected item
    std::map<int, std::vector<float>> _world;  // index -> world point x, y, z, metres
    std::map<int, std::vector<float>> _plane;  // index -> point in the item's plane x, y, 0..1
    std::map<int, std::vector<int>> _pixel;    // index -> pixel x, y, in pixels
};

}  // namespace vq::eod
