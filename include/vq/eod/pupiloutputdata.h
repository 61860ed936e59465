// PupilOutputData: pupil centre and diameter of both eyes in one frame, a sub-object of
// EyeOutputData.
//
// Engine-specific block, 32 bytes, per eye the right eye first:
//
//     offset  0  12   pupilPosition[RIGHT_EYE] x, y, z (float, metres, world coordinates)
//     offset 12   4   pupilDiameter[RIGHT_EYE] (float, metres)
//     offset 16  12   pupilPosition[LEFT_EYE] x, y, z (float, metres, world coordinates)
//     offset 28   4   pupilDiameter[LEFT_EYE] (float, metres)
//
// Setters refuse bad arguments with std::invalid_argument and leave the record unchanged; a
// record read from bytes holds the values as read, unchecked (a negative diameter included).
#pragma once

#include <array>
#include <vector>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API PupilOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::PUPIL_OUTPUT_DATA;

    PupilOutputData();
    PupilOutputData(const PupilOutputData& other);
    PupilOutputData& operator=(const PupilOutputData& other);
    ~PupilOutputData() override;

    // Every operation raises "eye_id neither LEFT_EYE nor RIGHT_EYE" unless eye_id is 0 or 1;
    // the setters check the eye first, then the value.
    const std::vector<float>& pupilPosition(int eye_id) const;
    // "pupil_position 3D point expected" unless 3 elements.
    void setPupilPosition(int eye_id, const std::vector<float>& position);
    float pupilDiameter(int eye_id) const;
    // "pupil_diameter less than zero" for a negative diameter or NaN.
    void setPupilDiameter(int eye_id, float diameter);

    char objectID() const override;
    PupilOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(PupilOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    // The fields that appendEngineSpecificData writes, in their order.
    void putEngineSpecificData(FieldWriter& out) const;

    // Pupil centre x, y, z per eye, metres in world coordinates, element 0 the right eye;
    // default 0.
    std::array<std::vector<float>, 2> _pupil_position;
    // Pupil diameter per eye, metres, >= 0; default 0.
    std::array<float, 2> _pupil_diameter;
};

}  // namespace vq::eod
