// vqlog check, recover and convert: damaged byte ranges found exactly, intact frames kept byte
// for byte, recordings converted without losing a byte.
#include <sys/stat.h>

#include <functional>

#include "toolfixture.h"
#include "vqlog/filestats.h"
#include "vqlog/scanner.h"
#include "vqtest/hex.h"

namespace vqtest {
namespace {

using vq::eod::ByteBuffer;

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
                  (dir / "fixed.vql") + " reads back whole\n");
    EXPECT_EQ(readFile(dir / "fixed.vql"),
              join({frameBytes(0), frameBytes(1), frameBytes(2), frameBytes(4)}));
    EXPECT_EQ(vqlog({"check", dir / "fixed.vql"}).exit_code, 0);
}

TEST(VqlogConvert, PerKindToOneFileAndBackGivesTheSameFiles) {
    TempDir dir;
    writeRecording(dir / "kinds", timedFrames(6), true);
    ProcessResult one = vqlog({"convert", dir / "kinds", dir / "one.vql"});
    EXPECT_EQ(one.exit_code, 0);
    EXPECT_EQ(one.out, "vqlog convert: 6 frames from " + (dir / "kinds") + " (per kind) to " +
                           (dir / "one.vql") + " (single file, 1 file, 270 bytes)\n");
    // The single file holds the frames as the reader merged them: whole frames, as written.
    EXPECT_EQ(readFile(dir / "one.vql"), bytesOf(timedFrames(6)));

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

// Kinds without a log file name of their own (a gaze record held by the frame itself) and kinds
// that share a class (the two pupil positions) each get a file, and nothing of them is lost;
// second faces are not dropped silently.
TEST(VqlogConvert, EveryKindGetsAFileOfItsOwnAndSecondFacesAreNotDroppedSilently) {
    using namespace vq::eod;
    TempDir dir;
    Frames frames;
    Frames points;  // the pupil positions alone
    for (unsigned int n = 0; n < 2; ++n) {
        frames.push_back(timedFrame(n, false));
        points.push_back(boost::shared_ptr<EngineOutputData>(new EngineOutputData));
        points.back()->setFrameNum(n);
        boost::shared_ptr<GazeOutputData> gaze(new GazeOutputData);
        gaze->setSaccade(n == 1);
        frames.back()->addSubObject(gaze);
        for (char id : {object_id::FEATURE_POINT_R_PUPILPOS, object_id::FEATURE_POINT_L_PUPILPOS}) {
            frames.back()->addSubObject(boost::shared_ptr<FeaturePoint>(new FeaturePoint(id)));
            points.back()->addSubObject(boost::shared_ptr<FeaturePoint>(new FeaturePoint(id)));
        }
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
    EXPECT_EQ(
        vqlog::logFiles(dir / "kinds"),
        (std::vector<std::string>{
            dir / "kinds/FeaturePoint0x17.vql", dir / "kinds/FeaturePoint0x18.vql",
            dir / "kinds/GazeOutputData.vql", dir / "kinds/HeadV2.vql", dir / "kinds/Timing.vql"}));
    // The gaze records and both pupil positions come back with their frames.
    ProcessResult csv = vqlog({"export", dir / "kinds", "--kinds", "GazeOutputData"});
    EXPECT_EQ(csv.exit_code, 0);
    EXPECT_EQ(csv.out.substr(csv.out.find('\n') + 1),
              "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n"
              "1,0,0,0,0,0,0,0,0,0,0,0,0,0,1\n");
    EXPECT_EQ(
        vqlog({"convert", dir / "kinds", dir / "points.vql", "--kinds", "0x17,0x18"}).exit_code, 0);
    EXPECT_EQ(readFile(dir / "points.vql"), bytesOf(points));
}

ByteBuffer framesBytes(unsigned int first, unsigned int count) {
    ByteBuffer bytes;
    for (unsigned int n = first; n < first + count; ++n) {
        timedFrame(n, false)->serialize(bytes);
    }
    return bytes;
}

// Recordings that every file scan called intact while the readers failed on them, or that a
// command could not leave: check agrees with print, and recover leaves a readable recording.
TEST(VqlogCheck, AgreesWithTheReadersAndRecoverLeavesWhatTheyRead) {
    struct Case {
        const char* what;
        std::function<std::string(const TempDir&)> make;  // returns the recording's path
        std::string check_says;                           // in check's output, exit 1
        std::string recover_says;                         // in recover's output, exit 0
    };
    const Case cases[] = {
        {"a copy of one kind's file beside it",
         [](const TempDir& dir) {
             writeRecording(dir / "rec", timedFrames(6), true);
             std::filesystem::copy_file(dir / "rec/Timing.vql", dir / "rec/Timing2.vql");
             return dir / "rec";
         },
         "/Timing2.vql both hold Timing (0x0A) records (a per-kind recording keeps each kind in "
         "one file)",
         "Timing2.vql: skipped, Timing (0x0A) of frames 0..5 is in Timing.vql too\n"},
        {"a frame holding an empty compressed record",
         [](const TempDir& dir) {
             ByteBuffer data = framesBytes(0, 3);
             const ByteBuffer odd = vqtest::bytes("09000d0100000003015f000400000000");
             data.insert(data.end(), odd.begin(), odd.end());
             const ByteBuffer last = framesBytes(4, 1);
             data.insert(data.end(), last.begin(), last.end());
             writeFile(dir / "rec.vql", data);
             return dir / "rec.vql";
         },
         "  damaged bytes 108..123 (16 bytes): a frame holding a CompressedSerializable (0x5F) "
         "record, which is not an engine record\n",
         "rec.vql: kept 4 frames (144 bytes), dropped 16 bytes in 1 damaged range\n"},
        {"a device linked as a log file",
         [](const TempDir& dir) {
             std::filesystem::create_symlink("/dev/zero", dir / "zero.vql");
             return dir / "zero.vql";
         },
         "vqlog check: cannot open " + std::string("ZERO") + ": it is not a regular file\n", ""},
    };
    for (const Case& c : cases) {
        TempDir dir;
        const std::string path = c.make(dir);
        ProcessResult check = vqlog({"check", path});
        EXPECT_EQ(check.exit_code, 1) << c.what;
        std::string says = c.check_says;
        if (says.find("ZERO") != std::string::npos) {
            says.replace(says.find("ZERO"), 4, path);
        }
        EXPECT_TRUE(contains(check, says)) << c.what << '\n' << check.out << check.err;
        EXPECT_EQ(vqlog({"print", path}).exit_code, 1) << c.what;
        if (!c.recover_says.empty()) {
            ProcessResult recover = vqlog({"recover", path, dir / "fixed"});
            EXPECT_EQ(recover.exit_code, 0) << c.what << '\n' << recover.out << recover.err;
            EXPECT_TRUE(contains(recover, c.recover_says)) << c.what << '\n' << recover.out;
            EXPECT_EQ(vqlog({"check", dir / "fixed"}).exit_code, 0) << c.what;
            EXPECT_EQ(vqlog({"print", dir / "fixed"}).exit_code, 0) << c.what;
        }
    }

    // A FIFO among the log files is skipped, and said so, instead of blocking every reader.
    TempDir dir;
    writeRecording(dir / "rec", timedFrames(3), true);
    ASSERT_EQ(mkfifo((dir / "rec/Pipe.vql").c_str(), 0600), 0);
    for (const char* command : {"check", "print", "info"}) {
        ProcessResult run = vqlog({command, dir / "rec"});
        EXPECT_EQ(run.exit_code, 0) << command << '\n' << run.err;
        EXPECT_EQ(run.err,
                  "vqlog: skipped " + (dir / "rec/Pipe.vql") + ": it is not a regular file\n")
            << command;
    }
}

// A frame number out of line is one frame dropped, never the end of what recover keeps.
TEST(VqlogRecover, AFrameNumberOutOfLineIsOneFrameDropped) {
    for (const unsigned char flip : {0x10, 0x00}) {  // frame 10 becomes 1048586, or frame 3
        TempDir dir;
        ByteBuffer data = framesBytes(0, 20);
        data[10 * 36 + 5] ^= flip;
        if (flip == 0) {
            data[10 * 36 + 7] = 3;
        }
        writeFile(dir / "rec.vql", data);
        ProcessResult recover = vqlog({"recover", dir / "rec.vql", dir / "fixed.vql"});
        EXPECT_EQ(recover.exit_code, 0) << recover.err;
        EXPECT_EQ(recover.out.substr(0, recover.out.find('\n')),
                  "rec.vql: kept 19 frames (684 bytes), dropped 36 bytes in 1 frame repeated or "
                  "out of order");
        ByteBuffer expected = framesBytes(0, 10);
        const ByteBuffer rest = framesBytes(11, 9);
        expected.insert(expected.end(), rest.begin(), rest.end());
        EXPECT_EQ(readFile(dir / "fixed.vql"), expected);
    }
}

// Repeats are counted, not listed.
TEST(VqlogCheck, NotesStayBounded) {
    TempDir dir;
    ByteBuffer repeats;
    for (int i = 0; i < 1000; ++i) {
        timedFrame(7, false)->serialize(repeats);
    }
    writeFile(dir / "r.vql", repeats);
    const vqlog::FileStats stats = vqlog::scanFile(dir / "r.vql");
    EXPECT_EQ(stats.frames.frames, 1000u);
    EXPECT_EQ(stats.frames.disorder, 999u);
    EXPECT_EQ(stats.frames.runs.size(), 1u);
    ProcessResult check = vqlog({"check", dir / "r.vql"});
    EXPECT_NE(check.out.find("  duplicate frame 7 at byte 180\n"
                             "  994 more frames repeated or out of order\n"),
              std::string::npos)
        << check.out;
}

}  // namespace
}  // namespace vqtest
