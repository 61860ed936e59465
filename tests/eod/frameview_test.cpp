// FrameView: the verdicts and the index for frames of every shape that matters.
#include "vq/eod/frameview.h"

#include <gtest/gtest.h>

#include "vq/corelog.h"

namespace vqtest {
namespace {

using namespace vq::eod;

ByteBuffer bytesOf(const Serializable& record) {
    ByteBuffer bytes;
    record.serialize(bytes);
    return bytes;
}

// A frame 5 holding timing and a world container with a labelled gaze intersection (16 bytes
// more than its header says, and its container's and frame's headers too).
ByteBuffer labelledFrame() {
    EngineOutputData frame;
    frame.setFrameNum(5);
    frame.addSubObject(boost::shared_ptr<TimingOutputData>(new TimingOutputData));
    boost::shared_ptr<GazeIntersectionOutputDataV4> hit(new GazeIntersectionOutputDataV4);
    hit->setEyeId(LEFT_EYE);
    hit->addIntersection("screen", {1.0f, 2.0f, 3.0f}, {0.5f, 0.25f}, {640, 480});
    hit->addIntersection("mirror", {4.0f, 5.0f, 6.0f});
    boost::shared_ptr<WorldOutputDataV2> world(new WorldOutputDataV2);
    world->addSubObject(hit);
    frame.addSubObject(world);
    return bytesOf(frame);
}

TEST(FrameView, VerdictsOnFramesOfEveryShape) {
    const ByteBuffer good = labelledFrame();
    struct Case {
        const char* what;
        ByteBuffer bytes;
        ViewStatus status;
        bool exact;
    };
    ByteBuffer disabled = good;
    disabled[12] = 0;  // the timing record's flag byte (frame 9 bytes, timing header 3)
    ByteBuffer unknown = good;
    unknown[9] = 0x7E;  // the timing record of a kind no one registered
    ByteBuffer short_frame = good;
    short_frame[2] -= 1;  // the frame announces a byte less
    // The world container's header is at 36 (frame 9 bytes, timing 27).
    ByteBuffer short_world = good;
    short_world[38] -= 1;
    ByteBuffer long_world = good;
    long_world[37] = 0xFE;  // more than the bytes hold
    Case cases[] = {
        {"labelled, 16 bytes unannounced", good, ViewStatus::OK, true},
        {"a disabled record", disabled, ViewStatus::OK, false},
        {"an unknown kind, skipped by its size", unknown, ViewStatus::OK, false},
        {"cut short", ByteBuffer(good.begin(), good.end() - 1), ViewStatus::TRUNCATED, false},
        {"a byte less announced", short_frame, ViewStatus::SIZE_MISMATCH, false},
        {"a container announcing a byte less", short_world, ViewStatus::SIZE_MISMATCH, false},
        {"a container announcing more than there is", long_world, ViewStatus::TRUNCATED, false},
        {"not a frame", bytesOf(TimingOutputData()), ViewStatus::NOT_A_FRAME, false},
        {"empty", ByteBuffer(), ViewStatus::TRUNCATED, false},
    };
    for (const Case& c : cases) {
        const FrameView view(c.bytes.data(), c.bytes.size());
        EXPECT_EQ(view.status(), c.status) << c.what << ": " << viewStatusName(view.status());
        EXPECT_EQ(view.exact(), c.exact) << c.what;
    }
}

TEST(FrameView, IndexAndTypedViewsOfALabelledFrame) {
    ByteBuffer bytes = labelledFrame();
    bytes.push_back(0x09);  // the start of a next frame: not part of this one
    const FrameView view(bytes.data(), bytes.size());
    ASSERT_TRUE(view.exact());
    EXPECT_EQ(view.bytes(), bytes.size() - 1);
    EXPECT_EQ(view.frameNum(), 5u);
    ASSERT_EQ(view.numRecords(), 3u);
    EXPECT_EQ(TimingView(*view.find(object_id::TIMING_OUTPUT_DATA)).annotationLabelID(), -1);
    const RecordRef* world = view.find(object_id::WORLD_OUTPUT_DATA_V2);
    ASSERT_NE(world, nullptr);
    const RecordRef* hit =
        view.find(object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4, view.indexOf(*world));
    ASSERT_NE(hit, nullptr);
    EXPECT_EQ(hit->depth, 2);
    LabelledIntersectionView labels(*hit);
    EXPECT_EQ(labels.eyeId(), LEFT_EYE);
    LabelledIntersection first;
    LabelledIntersection second;
    ASSERT_TRUE(labels.next(first));
    ASSERT_TRUE(labels.next(second));
    EXPECT_FALSE(labels.next(second));
    // Labels in byte order: mirror (index 1, no plane, no pixel), then screen (index 0).
    EXPECT_EQ(first.label, "mirror");
    EXPECT_EQ(first.index, 1);
    EXPECT_EQ(first.world, (std::array<float, 3>{4.0f, 5.0f, 6.0f}));
    EXPECT_FALSE(first.has_plane || first.has_pixel);
    EXPECT_EQ(second.label, "screen");
    EXPECT_EQ(second.plane, (std::array<float, 2>{0.5f, 0.25f}));
    EXPECT_EQ(second.pixel, (std::array<std::int32_t, 2>{640, 480}));
}

// A view that read a frame reads the next one as a new view does, whatever byte of it differs:
// one whose headers repeat the last frame's takes a shorter path, which must not change a verdict.
TEST(FrameView, ReusedViewGivesTheVerdictsOfANewOne) {
    EngineOutputData frame;
    frame.setFrameNum(7);
    frame.addSubObject(boost::shared_ptr<TimingOutputData>(new TimingOutputData));
    boost::shared_ptr<EyeOutputData> eye(new EyeOutputData);
    eye->addSubObject(boost::shared_ptr<PupilOutputData>(new PupilOutputData));
    eye->addSubObject(boost::shared_ptr<GazeOutputData>(new GazeOutputData));
    frame.addSubObject(eye);
    const ByteBuffer good = bytesOf(frame);
    const auto same = [](const FrameView& a, const FrameView& b) {
        bool equal = a.status() == b.status() && a.exact() == b.exact() &&
                     a.numRecords() == b.numRecords() &&
                     (!a.ok() || (a.bytes() == b.bytes() && a.frameNum() == b.frameNum()));
        for (std::size_t r = 0; equal && a.ok() && r < a.numRecords(); ++r) {
            const RecordRef& x = a.record(r);
            const RecordRef& y = b.record(r);
            equal = x.data == y.data && x.size == y.size && x.offset == y.offset &&
                    x.parent == y.parent && x.object_id == y.object_id && x.depth == y.depth;
        }
        return equal;
    };
    FrameView reused;
    for (std::size_t at = 0; at <= good.size(); ++at) {
        for (const int change : {1, 0x80}) {
            ByteBuffer bytes = good;
            if (at < bytes.size()) {
                bytes[at] = static_cast<unsigned char>(bytes[at] ^ change);
            } else {
                bytes.pop_back();  // and at the end: a byte short
            }
            ASSERT_EQ(reused.reset(good.data(), good.size()), ViewStatus::OK);
            reused.reset(bytes.data(), bytes.size());
            EXPECT_TRUE(same(reused, FrameView(bytes.data(), bytes.size()))) << at << " " << change;
        }
    }
}

}  // namespace
}  // namespace vqtest
