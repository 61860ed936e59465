// EngineOutputData: the frame, one camera frame's output of the tracking engine.
//
// Its engine-specific data is the frame number, 4 bytes big-endian; the frame's records are its
// sub-objects, written in ascending object ID. A new frame numbered 7 with no records serialises
// as 09 00 06 | 01 | 00 00 00 07 | 00.
//
// Frames may repeat inside a composite. Log files of frames end in LOGFILE_EXTENSION().
#pragma once

#include <string>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API EngineOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::ENGINE_OUTPUT_DATA;

    EngineOutputData();
    EngineOutputData(const EngineOutputData& other);
    EngineOutputData& operator=(const EngineOutputData& other);
    ~EngineOutputData() override;

    // Frame number, 0 after construction.
    unsigned int frameNum() const { return _frame_num; }
    void setFrameNum(unsigned int frame_num) { _frame_num = frame_num; }

    // ".vql", the extension of frame log files, and ".ivql", that of their index files.
    static const std::wstring& LOGFILE_EXTENSION();
    static const std::wstring& LOGFILE_INDEX_EXTENSION();

    char objectID() const override;
    EngineOutputData* clone() const override;
    bool forbidDuplicateSiblings() const override;  // false
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(EngineOutputData)

protected:
    // Removes every record and enables the frame; the frame number is kept.
    void reset();

    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    unsigned int _frame_num;  // frame number of the camera frame
};

}  // namespace vq::eod
