// WorldOutputDataV2: the current world container. A record without fields of its own that
// groups the intersection records of a frame, the way EyeOutputData groups the eye records.
// Its block is empty and it prints nothing of its own.
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API WorldOutputDataV2 : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::WORLD_OUTPUT_DATA_V2;

    WorldOutputDataV2();
    WorldOutputDataV2(const WorldOutputDataV2& other);
    WorldOutputDataV2& operator=(const WorldOutputDataV2& other);
    ~WorldOutputDataV2() override;

    char objectID() const override;
    WorldOutputDataV2* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(WorldOutputDataV2)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 0
};

}  // namespace vq::eod
