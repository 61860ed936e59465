// WorldOutputData: the first world container. A record without fields of its own that groups
// the intersection records of a frame, the way EyeOutputData groups the eye records. Its block
// is empty and it prints nothing of its own.
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API WorldOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::WORLD_OUTPUT_DATA;

    WorldOutputData();
    WorldOutputData(const WorldOutputData& other);
    WorldOutputData& operator=(const WorldOutputData& other);
    ~WorldOutputData() override;

    char objectID() const override;
    WorldOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(WorldOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 0
};

}  // namespace vq::eod
