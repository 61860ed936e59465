#include "vq/eod/timingoutputdata.h"

#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(TimingOutputData)

TimingOutputData::TimingOutputData()
    : _experiment_time(0.0),
      _frame_time_secs(0),
      _frame_time_msecs(0),
      _approx_delay(0.0f),
      _annotation_label_id(-1) {}

TimingOutputData::TimingOutputData(const TimingOutputData& other) = default;

TimingOutputData& TimingOutputData::operator=(const TimingOutputData& other) = default;

TimingOutputData::~TimingOutputData() = default;

char TimingOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

TimingOutputData* TimingOutputData::clone() const {
    return new TimingOutputData(*this);
}

void TimingOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(stream, {"EXPERIMENT_TIME", "GMT_S", "GMT_MS", "DELAY", "ANNOTATION_ID"});
}

void TimingOutputData::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _experiment_time);
    detail::printColumn(stream, _frame_time_secs);
    detail::printColumn(stream, _frame_time_msecs);
    detail::printColumn(stream, _approx_delay);
    detail::printColumn(stream, _annotation_label_id);
}

void TimingOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, TimingOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void TimingOutputData::putEngineSpecificData(FieldWriter& out) const {
    out.put(_experiment_time);
    out.put(_frame_time_secs);
    out.put(_frame_time_msecs);
    out.put(_approx_delay);
    out.put(_annotation_label_id);
}

void TimingOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _experiment_time);
    readValue(buffer, read_pos, _frame_time_secs);
    readValue(buffer, read_pos, _frame_time_msecs);
    readValue(buffer, read_pos, _approx_delay);
    readValue(buffer, read_pos, _annotation_label_id);
}

unsigned int TimingOutputData::numEngineSpecificDataBytes() const {
    return 22;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<TimingOutputData>(
    const Serializable&, detail::RecordWriter::Block&, unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<TimingOutputData>(Serializable&,
                                                                       const ByteBuffer&, int&,
                                                                       const RecordHeader&,
                                                                       unsigned int&);

}  // namespace vq::eod
