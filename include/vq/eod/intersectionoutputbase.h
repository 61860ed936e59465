// IntersectionOutputBase: the base of the one-object intersection records
// (GazeIntersectionOutputDataV1 and V2, HeadIntersectionOutputDataV1).
//
// A one-object record says where a gaze or head ray meets one object of the world model. It
// holds that object and writes it as this 41-byte block:
//
//     4 bytes   object index (int32)
//     8 bytes   object name: its first 7 characters, padded with blanks to 7, and a 0 byte
//     1 byte    intersects screen (0 or 1)
//     12 bytes  intersection point in world coordinates x, y, z (floats, metres)
//     8 bytes   intersection point in the object's plane ("screen") x, y (floats, 0..1 from
//               its top-left corner: x to the right, y down, as utils::rayPlaneIntersect gives)
//     8 bytes   intersection pixel x, y (int32, pixels of the object's display)
//
// A name read back comes without the padding blanks; written again it gives the same bytes. It
// prints as the 7 characters that are written, without padding.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "vq/eod/engineoutputbase.h"

namespace vq::eod {

// One intersected object, as the one-object records carry it.
struct VQ_EOD_API ObjectIntersection {
    int object_index = -1;           // index of the object in the world model, -1 none
    std::string object_name;         // name of the object; 7 characters are written
    bool intersects_screen = false;  // whether the ray meets the object
    // Intersection point x, y, z, metres in world coordinates.
    std::vector<float> world{0.0f, 0.0f, 0.0f};
    // In the object's plane x, y, 0..1 from its top-left corner.
    std::vector<float> screen{0.0f, 0.0f};
    std::vector<int> pixel{0, 0};  // intersection pixel x, y, in pixels
};

VQ_EOD_API bool operator==(const ObjectIntersection& a, const ObjectIntersection& b);

class VQ_EOD_API IntersectionOutputBase : public EngineOutputBase {
public:
    // Characters of the object name that are written.
    static constexpr std::size_t OBJECT_NAME_LENGTH = 7;

    ~IntersectionOutputBase() override;

    // The intersected object; a new record has none (index -1, empty name, not intersecting,
    // zero coordinates).
    const ObjectIntersection& objectIntersection() const { return _intersection; }

    virtual int intersectionObjectIndex() const;
    virtual const std::string& intersectionObjectName() const;
    virtual bool intersectsScreen() const;
    virtual const std::vector<float>& screenIntersectionWorldCoordinates() const;
    virtual const std::vector<float>& screenIntersectionScreenCoordinates() const;
    virtual const std::vector<int>& screenIntersectionPixelCoordinates() const;
    // 3 elements, else a programming error ("screen_intersection not a 3D coordinate").
    virtual void setScreenIntersectionWorldCoordinates(const std::vector<float>& world) = 0;
    // 2 elements each, else a programming error ("screen_intersection not a 2D coordinate").
    virtual void setScreenIntersectionScreenCoordinates(const std::vector<float>& screen) = 0;
    virtual void setScreenIntersectionPixelCoordinates(const std::vector<int>& pixel) = 0;
    virtual void setIntersectionObjectIndex(int index);
    virtual void setIntersectionObjectName(const std::string& name);
    virtual void setIntersectsScreen(bool intersects);

protected:
    IntersectionOutputBase();
    IntersectionOutputBase(const IntersectionOutputBase& other);
    IntersectionOutputBase& operator=(const IntersectionOutputBase& other);

    // For the checked setters of the record classes.
    ObjectIntersection& intersection() { return _intersection; }

    // The ten column titles given, then (printOwnData) the ten values.
    static void printObjectIntersectionHeader(std::ostream& stream,
                                              const char* const (&titles)[10]);
    void printOwnData(std::ostream& stream) const override;
    // The 41-byte block.
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    ObjectIntersection _intersection;  // the intersected object
};

}  // namespace vq::eod
