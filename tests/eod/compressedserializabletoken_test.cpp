// The stream token: its stream ID, several per frame, and its crossed print hooks.
#include "vq/eod/compressedserializabletoken.h"

#include <gtest/gtest.h>

#include "vq/eod/engineoutputdata.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::CompressedSerializableToken;

TEST(CompressedSerializableToken, SeveralInAFrameWithCrossedPrintHooks) {
    boost::shared_ptr<CompressedSerializableToken> first(new CompressedSerializableToken);
    EXPECT_EQ(vqtest::hex(vqtest::serialized(*first)), "60 00 06 01 FF FF FF FF 00");
    first->setStreamID(1);
    boost::shared_ptr<CompressedSerializableToken> second(new CompressedSerializableToken);
    second->setStreamID(12);
    vq::eod::EngineOutputData frame;
    frame.addSubObject(first);
    frame.addSubObject(second);
    EXPECT_EQ(vqtest::hex(vqtest::serialized(frame)),
              vqtest::hex(vqtest::bytes("09 00 18 01 00 00 00 00 02 | 60 00 06 01 00 00 00 01 00 "
                                        "| 60 00 06 01 00 00 00 0C 00")));
    // The header line shows the number, the value line the title.
    EXPECT_EQ(vqtest::printedHeader(*second), "             12 ");
    EXPECT_EQ(vqtest::printedLine(*second), "      STREAM_ID ");
    vqtest::expectRandomBlocksRoundTrip(CompressedSerializableToken::THIS_OBJECT_ID, 4);
}

}  // namespace
