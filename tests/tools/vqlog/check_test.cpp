// vqlog check, recover and convert: damaged byte ranges found exactly, intact frames kept byte
// for byte, recordings converted without losing a byte.
#include "toolfixture.h"
#include "vqlog/scanner.h"
#include "vqtest/hex.h"

namespace vqtest {
namespace {

using vq::eod::ByteBuffer;

ByteBuffer frameBytes(unsigned int n) {
    ByteBuffer bytes;
    timedFrame(n, false)->serialize(bytes);  // 36 bytes
    return bytes;
}

ByteBuffer join(std::initializer_list<ByteBuffer> parts) {
    ByteBuffer all;
    for (const ByteBuffer& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

TEST(VqlogCheck, FindsDamageAndRecoverKeepsEveryIntactFrame) {
    TempDir dir;
    const ByteBuffer garbage(10, 0xAB);  // an unknown kind announcing 43947 bytes
    ByteBuffer cut = frameBytes(5);
    cut.resize(20);
    writeFile(dir / "rec.vql", join({frameBytes(0), frameBytes(1), garbage, frameBytes(2),
                                     frameBytes(2), frameBytes(4), cut}));

    ProcessResult check = vqlog({"check", dir / "rec.vql"});
    EXPECT_EQ(check.exit_code, 1);
    EXPECT_EQ(check.out,
              "rec.vql: 5 frames (0..4), 210 bytes\n"
              "  damaged bytes 72..81 (10 bytes): size header overruns the file: the record "
              "announces 43947 bytes of data, the file holds 135 more\n"
              "  damaged bytes 190..209 (20 bytes): truncated: the record announces 33 bytes of "
              "data, the file holds 17 more\n"
              "  duplicate frame 2 at byte 118\n"
              "  1 gap (frames 3 missing)\n"
              "recording: 4 frames (0..4), 1 gap (frames 3 missing)\n"
              "check: 1 file damaged: 30 bytes in 2 ranges, 1 frame repeated or out of order "
              "(vqlog recover keeps the rest)\n");

    ProcessResult recover = vqlog({"recover", dir / "rec.vql", dir / "fixed.vql"});
    EXPECT_EQ(recover.exit_code, 0);
    EXPECT_EQ(recover.out,
              "rec.vql: kept 4 frames (144 bytes), dropped 66 bytes in 2 damaged "
              "ranges and 1 frame repeated or out of order\n"
              "recover: kept 4 frames (144 bytes), dropped 66 bytes; " +
                  (dir / "fixed.vql") + " reads back whole (4 frames)\n");
    EXPECT_EQ(readFile(dir / "fixed.vql"),
              join({frameBytes(0), frameBytes(1), frameBytes(2), frameBytes(4)}));
    EXPECT_EQ(vqlog({"check", dir / "fixed.vql"}).exit_code, 0);
}

TEST(VqlogCheck, HostileSizeHeadersCostNothingAndReadingResumesAtTheNextFrame) {
    TempDir dir;
    // An extended header announcing 4 GiB - 1, then a frame; a lone byte after it.
    const ByteBuffer hostile{0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    writeFile(dir / "h.vql", join({hostile, frameBytes(7), ByteBuffer{0x09}}));
    vqlog::RecordScanner scanner(dir / "h.vql");
    vqlog::RecordScanner::Item item;
    ASSERT_TRUE(scanner.next(item));
    EXPECT_EQ(item.type, vqlog::RecordScanner::Item::DAMAGE);
    EXPECT_EQ(item.begin, 0u);
    EXPECT_EQ(item.end, 7u);
    EXPECT_EQ(item.what, "the record announces 4294967295 bytes of data, more than vqlog reads");
    ASSERT_TRUE(scanner.next(item));
    EXPECT_EQ(item.type, vqlog::RecordScanner::Item::FRAME);
    EXPECT_EQ(item.frame->frameNum(), 7u);
    EXPECT_EQ(item.end, 43u);
    ASSERT_TRUE(scanner.next(item));
    EXPECT_EQ(item.what, "truncated: the file ends inside a record header");
    EXPECT_EQ(item.end, 44u);
    EXPECT_FALSE(scanner.next(item));
}

TEST(VqlogConvert, PerKindToOneFileAndBackGivesTheSameFiles) {
    TempDir dir;
    writeRecording(dir / "kinds", timedFrames(6), true);
    ProcessResult one = vqlog({"convert", dir / "kinds", dir / "one.vql"});
    EXPECT_EQ(one.exit_code, 0);
    EXPECT_EQ(one.out, "vqlog convert: 6 frames from " + (dir / "kinds") + " (per kind) to " +
                           (dir / "one.vql") + " (single file, 1 file, 270 bytes)\n");
    // The single file holds the frames as the reader merged them: whole frames, as written.
    ByteBuffer whole;
    for (const auto& frame : timedFrames(6)) {
        frame->serialize(whole);
    }
    EXPECT_EQ(readFile(dir / "one.vql"), whole);

    ProcessResult back = vqlog({"convert", dir / "one.vql", dir / "back"});
    EXPECT_EQ(back.exit_code, 0);
    for (const char* name : {"Timing.vql", "EngineState.vql"}) {
        EXPECT_EQ(readFile(dir / "back/" + name), readFile(dir / "kinds/" + name)) << name;
    }

    // Kinds and frames selected.
    EXPECT_EQ(vqlog({"convert", dir / "one.vql", dir / "some", "--kinds", "0x28", "--from", "2"})
                  .exit_code,
              0);
    EXPECT_EQ(vqlog::logFiles(dir / "some"),
              std::vector<std::string>{dir / "some/EngineState.vql"});
    Frames states;
    for (unsigned int n : {2u, 4u}) {
        states.push_back(timedFrame(n, true));
        states.back()->removeSubObject(vq::eod::TimingOutputData::THIS_OBJECT_ID);
    }
    EXPECT_EQ(hex(readFile(dir / "some/EngineState.vql")), hexOf(states));
}

}  // namespace
}  // namespace vqtest

namespace vqtest {
namespace {

TEST(VqlogConvert, KindsWithoutALogFileNameGetOneAndSecondFacesAreNotDroppedSilently) {
    using namespace vq::eod;
    TempDir dir;
    // A gaze record held by the frame itself (no log file name of its own) and two faces.
    Frames frames;
    for (unsigned int n = 0; n < 2; ++n) {
        frames.push_back(timedFrame(n, false));
        boost::shared_ptr<GazeOutputData> gaze(new GazeOutputData);
        gaze->setSaccade(n == 1);
        frames.back()->addSubObject(gaze);
        for (int face = 0; face < 2; ++face) {
            boost::shared_ptr<FaceSetOutputData> set(new FaceSetOutputData);
            set->addSubObject(boost::shared_ptr<HeadOutputDataV2>(new HeadOutputDataV2));
            frames.back()->addSubObject(set);
        }
    }
    writeRecording(dir / "one.vql", frames, false);

    ProcessResult split = vqlog({"convert", dir / "one.vql", dir / "kinds"});
    EXPECT_EQ(split.exit_code, 1);
    EXPECT_EQ(split.err,
              "vqlog convert: 2 frames held more than one face; per-kind logs keep the "
              "first face only, so the others are not in " +
                  (dir / "kinds") + " (convert to a single file to keep them)\n");
    EXPECT_EQ(vqlog::logFiles(dir / "kinds"),
              (std::vector<std::string>{dir / "kinds/GazeOutputData.vql", dir / "kinds/HeadV2.vql",
                                        dir / "kinds/Timing.vql"}));
    // The gaze records come back with their frames.
    ProcessResult csv = vqlog({"export", dir / "kinds", "--kinds", "GazeOutputData"});
    EXPECT_EQ(csv.exit_code, 0);
    EXPECT_EQ(csv.out.substr(csv.out.find('\n') + 1),
              "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n"
              "1,0,0,0,0,0,0,0,0,0,0,0,0,0,1\n");
}

}  // namespace
}  // namespace vqtest
