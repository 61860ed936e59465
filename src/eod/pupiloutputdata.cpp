#include "vq/eod/pupiloutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(PupilOutputData)

PupilOutputData::PupilOutputData()
    : _pupil_position{std::vector<float>(3, 0.0f), std::vector<float>(3, 0.0f)},
      _pupil_diameter{0.0f, 0.0f} {}

PupilOutputData::PupilOutputData(const PupilOutputData& other) = default;

PupilOutputData& PupilOutputData::operator=(const PupilOutputData& other) = default;

PupilOutputData::~PupilOutputData() = default;

const std::vector<float>& PupilOutputData::pupilPosition(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _pupil_position[eye_id];
}

void PupilOutputData::setPupilPosition(int eye_id, const std::vector<float>& position) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(position.size() == 3, "pupil_position 3D point expected");
    _pupil_position[eye_id] = position;
}

float PupilOutputData::pupilDiameter(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _pupil_diameter[eye_id];
}

void PupilOutputData::setPupilDiameter(int eye_id, float diameter) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(diameter >= 0.0f, "pupil_diameter less than zero");
    _pupil_diameter[eye_id] = diameter;
}

char PupilOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

PupilOutputData* PupilOutputData::clone() const {
    return new PupilOutputData(*this);
}

void PupilOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(stream, {"PUPIL_R_X", "PUPIL_R_Y", "PUPIL_R_Z", "PUPIL_R_DIAM",
                                  "PUPIL_L_X", "PUPIL_L_Y", "PUPIL_L_Z", "PUPIL_L_DIAM"});
}

void PupilOutputData::printOwnData(std::ostream& stream) const {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        detail::printColumns(stream, _pupil_position[eye]);
        detail::printColumn(stream, _pupil_diameter[eye]);
    }
}

void PupilOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, PupilOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void PupilOutputData::putEngineSpecificData(FieldWriter& out) const {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        out.put(_pupil_position[eye]);
        out.put(_pupil_diameter[eye]);
    }
}

void PupilOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        for (float& value : _pupil_position[eye]) {
            readValue(buffer, read_pos, value);
        }
        readValue(buffer, read_pos, _pupil_diameter[eye]);
    }
}

unsigned int PupilOutputData::numEngineSpecificDataBytes() const {
    return 32;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<PupilOutputData>(const Serializable&,
                                                                       detail::RecordWriter::Block&,
                                                                       unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<PupilOutputData>(Serializable&,
                                                                      const ByteBuffer&, int&,
                                                                      const RecordHeader&,
                                                                      unsigned int&);

}  // namespace vq::eod
