// vqlog print, info and export: exact output for small recordings.
#include <sstream>

#include <cmath>

#include "toolfixture.h"
#include "vqlog/recording.h"

namespace vqtest {
namespace {

using vq::eod::EngineOutputData;

std::string printed(const EngineOutputData& frame, bool header) {
    std::ostringstream out;
    if (header) {
        frame.printHeader(out);
        out << '\n';
    }
    frame.printLine(out);
    out << '\n';
    return out.str();
}

// Writes a single-file recording of frame 3: the GPS record if any, the gaze target in a world
// container.
void writeTargetFrame(const std::string& path,
                      const boost::shared_ptr<vq::eod::GazeIntersectionOutputDataV4>& target,
                      const boost::shared_ptr<vq::eod::GPSOutputData>& gps = nullptr) {
    using namespace vq::eod;
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(3);
    if (gps) {
        frame->addSubObject(gps);
    }
    boost::shared_ptr<WorldOutputDataV2> world(new WorldOutputDataV2);
    world->addSubObject(target);
    frame->addSubObject(world);
    writeRecording(path, {frame}, false);
}

TEST(VqlogPrint, RawPrintsAsTheLibraryWithAHeaderWheneverTheColumnsChange) {
    TempDir dir;
    const Frames frames = timedFrames(4);  // engine state in frames 0 and 2
    writeRecording(dir.path(), frames, true);

    ProcessResult all = vqlog({"print", dir.path(), "--raw"});
    EXPECT_EQ(all.exit_code, 0);
    EXPECT_EQ(all.out, printed(*frames[0], true) + printed(*frames[1], true) +
                           printed(*frames[2], true) + printed(*frames[3], true));

    // Timing only, frames 1 to 3, at most two: one header.
    ProcessResult some = vqlog({"print", dir.path(), "--raw", "--kinds", "timing", "--from", "1",
                                "--to", "3", "--count", "2"});
    EXPECT_EQ(some.exit_code, 0);
    EXPECT_EQ(some.out, printed(*frames[1], true) + printed(*timedFrame(2, false), false));
}

// A hole lowers the average rate, not the rate; a kind in every other frame has its own rate
// and no gaps in time.
TEST(VqlogInfo, SummarisesFilesKindsFramesAndTiming) {
    TempDir dir;
    Frames frames = timedFrames(5);
    frames.erase(frames.begin() + 3);  // frame 3 is missing
    for (std::size_t i = 0; i < frames.size(); ++i) {
        frames[i]->timingOutputData()->setApproxDelay(0.01f * static_cast<float>(i + 1));
    }
    writeRecording(dir.path(), frames, true);

    ProcessResult info = vqlog({"info", dir.path()});
    EXPECT_EQ(info.exit_code, 0);
    EXPECT_EQ(info.out, dir.path() +
                            ": per-kind recording, 2 log files, 225 bytes\n"
                            "\n"
                            "file             bytes  frames  first  last  unknown\n"
                            "EngineState.vql     81       3      0     4        0\n"
                            "Timing.vql         144       4      0     4        0\n"
                            "\n"
                            "kind                               frames  first  last  rate/s  "
                            "gaps in time\n"
                            "Timing (0x0A)                           4      0     4    50.0   "
                            "1 (0.020 s)\n"
                            "EngineState (0x28)                      3      0     4    25.0   "
                            "          0\n"
                            "HeadTrackerStateOutputData (0x29)       3      0     4    25.0   "
                            "          0\n"
                            "\n"
                            "frames: 4, numbers 0 to 4, 1 gap (1 missing)\n"
                            "duration: 0.080 s by the timing records, from 2023-11-14 "
                            "22:13:20.000 UTC\n"
                            "rate: 50.0 frames/s (the median interval), 37.5 on average\n"
                            "delay: p50 20.0 ms, p99 40.0 ms, max 40.0 ms\n"
                            "records of unknown kinds: none\n");
}

TEST(VqlogExport, CsvJsonLinesRangesAndDamagedFilesAsTheRecordObjectsReadThem) {
    TempDir dir;
    writeRecording(dir / "rec", timedFrames(6), true);
    struct Case {
        std::vector<std::string> args;
        std::string rows;  // the output after the header row
    } cases[] = {
        {{"--start", "0.03", "--end", "0.07"},
         "2,0.04,2023-11-14T22:13:20.040Z,0.04,1700000000,40,0.015,-1,1,2\n"
         "3,0.06,2023-11-14T22:13:20.060Z,0.06,1700000000,60,0.015,-1,,\n"},
        {{"--table", "head_intersections"}, ""},
        {{"--kinds", "EngineState", "--from", "3"}, "4,1,2\n"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args{"export", dir / "rec"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        ProcessResult out = vqlog(args);
        EXPECT_EQ(out.exit_code, 0) << c.args[0];
        EXPECT_EQ(out.out.substr(out.out.find('\n') + 1), c.rows) << c.args[0];
    }
    ProcessResult jsonl = vqlog({"export", dir / "rec", "--format", "jsonl", "--kinds",
                                 "EngineState", "--to", "1", "-o", dir / "out.jsonl"});
    EXPECT_EQ(jsonl.exit_code, 0);
    EXPECT_EQ(jsonl.out, "");
    const vq::eod::ByteBuffer bytes = readFile(dir / "out.jsonl");
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "{\"frame_num\":0,\"engine_state\":1,\"head_tracker_state\":2}\n");

    // A timing file cut short in its fourth frame: the three frames before it (empty cells where
    // a record is missing), then the library's error, where the damage lies and what to do.
    const std::string timing = dir / "rec/Timing.vql";
    std::filesystem::resize_file(timing, std::filesystem::file_size(timing) * 7 / 12);
    std::string expected_error;
    vq::eod::io::EngineOutputDataFileReader reader;
    reader.openFiles(dir / "rec");
    try {
        while (reader.readData()) {
        }
    } catch (const std::exception& error) {
        expected_error = error.what();
    }
    ASSERT_FALSE(expected_error.empty());
    ProcessResult damaged = vqlog({"export", dir / "rec"});
    EXPECT_EQ(damaged.exit_code, 1);
    EXPECT_EQ(damaged.out,
              "frame_num,time_s,timestamp_utc,timing_experiment_time,timing_frame_time_secs,"
              "timing_frame_time_msecs,timing_approx_delay,timing_annotation_label_id,"
              "engine_state,head_tracker_state\n"
              "0,0,2023-11-14T22:13:20.000Z,0,1700000000,0,0.015,-1,1,2\n"
              "1,0.02,2023-11-14T22:13:20.020Z,0.02,1700000000,20,0.015,-1,,\n"
              "2,0.04,2023-11-14T22:13:20.040Z,0.04,1700000000,40,0.015,-1,1,2\n");
    EXPECT_EQ(damaged.err,
              "vqlog export: " + dir / "rec" + ": " + expected_error +
                  "; exported the 3 frames before it; " + timing +
                  " is damaged from byte 108 (truncated: the record announces 33 bytes of data, "
                  "the file holds 15 more)"
                  "; `vqlog recover` copies every intact frame into a new recording\n");
}

TEST(VqlogExport, GpsInSignedDegreesAndTextAndNumbersThatSurviveEveryReader) {
    using namespace vq::eod;
    TempDir dir;
    boost::shared_ptr<GPSOutputData> gps(new GPSOutputData);  // speed -1: none
    gps->setLatitude({33, 52, 4, 'S'});
    gps->setLongitude({151, 12, 36, 'E'});
    boost::shared_ptr<GazeIntersectionOutputDataV4> hit(new GazeIntersectionOutputDataV4);
    hit->addIntersection("left, \"mirror\"", {std::nanf(""), -1.5f, 1e30f}, {0.25f, 0.5f});
    writeTargetFrame(dir / "rec.vql", hit, gps);

    ProcessResult csv = vqlog({"export", dir / "rec.vql"});
    EXPECT_EQ(csv.out.substr(csv.out.find('\n') + 1),
              "3,\"left, \"\"mirror\"\"\",NaN,-1.5,1e+30,0.25,0.5,,,0,0,-33.867777777777775,"
              "151.21,,\n");
    ProcessResult json = vqlog({"export", dir / "rec.vql", "--format", "jsonl"});
    EXPECT_EQ(
        json.out,
        "{\"frame_num\":3,\"gaze_target_label\":\"left, \\\"mirror\\\"\",\"gaze_target_x\":null,"
        "\"gaze_target_y\":-1.5,\"gaze_target_z\":1e+30,\"gaze_target_plane_x\":0.25,"
        "\"gaze_target_plane_y\":0.5,\"gaze_target_pixel_x\":null,\"gaze_target_pixel_y\":null,"
        "\"gps_valid\":false,\"gps_gmt_time\":0,\"gps_latitude_deg\":-33.867777777777775,"
        "\"gps_longitude_deg\":151.21,\"gps_speed_km_h\":null,\"gps_course\":null}\n");
}

// Export formats batches of rows on two threads: over several batches every row comes once, in
// frame order, the whole export being the concatenation of exports of its parts.
TEST(VqlogExport, RowsInOrderOverManyBatches) {
    TempDir dir;
    const unsigned int frames = 1500;  // three batches, each of several chunks
    writeRecording(dir / "many.vql", timedFrames(frames), false);
    const ProcessResult whole = vqlog({"export", dir / "many.vql"});
    ASSERT_EQ(whole.exit_code, 0) << whole.err;
    std::istringstream lines(whole.out.substr(whole.out.find('\n') + 1));
    unsigned int row = 0;
    for (std::string line; std::getline(lines, line); ++row) {
        ASSERT_EQ(line.substr(0, line.find(',')), std::to_string(row));
    }
    EXPECT_EQ(row, frames);
    std::string parts;
    for (unsigned int from = 0; from < frames; from += 300) {
        const ProcessResult part =
            vqlog({"export", dir / "many.vql", "--from", std::to_string(from), "--to",
                   std::to_string(from + 299)});
        parts += from == 0 ? part.out : part.out.substr(part.out.find('\n') + 1);
    }
    EXPECT_EQ(whole.out, parts);
}

// A label of any bytes keeps each format valid: bytes outside UTF-8 as \xNN (é stays), quotes
// and line breaks quoted in CSV, escaped in JSON, shown as \xNN by print.
TEST(VqlogExport, LabelsOutsideUtf8AndWithLineBreaksStayValidText) {
    using namespace vq::eod;
    TempDir dir;
    boost::shared_ptr<GazeIntersectionOutputDataV4> hit(new GazeIntersectionOutputDataV4);
    hit->addIntersection("a\xff\xc3\xa9\xed\xa0\x80\n\"q\"\\", {1, 2, 3}, {0.25f, 0.5f});
    writeTargetFrame(dir / "rec.vql", hit);
    struct Case {
        std::vector<std::string> args;
        std::string out;
    } cases[] = {
        {{"export", "--format", "csv", "--columns", "frame_num,gaze_target_label"},
         "frame_num,gaze_target_label\n3,\"a\\xFF\xc3\xa9\\xED\\xA0\\x80\n\"\"q\"\"\\\"\n"},
        {{"export", "--format", "jsonl", "--columns", "frame_num,gaze_target_label"},
         "{\"frame_num\":3,\"gaze_target_label\":\"a\\\\xFF\xc3\xa9\\\\xED\\\\xA0\\\\x80\\u000a"
         "\\\"q\\\"\\\\\"}\n"},
        {{"print", "--columns", "frame_num,gaze_target_label"},
         "frame_num  gaze_target_label\n"
         "        3  a\\xFF\xc3\xa9\\xED\\xA0\\x80\\x0A\"q\"\\\n"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args{c.args[0], dir / "rec.vql"};
        args.insert(args.end(), c.args.begin() + 1, c.args.end());
        const ProcessResult result = vqlog(args);
        EXPECT_EQ(result.exit_code, 0) << c.args[2];
        EXPECT_EQ(result.out, c.out) << c.args[2];
    }
}

// By default print shows the columns the recording has, as many as fit 80 characters off a
// terminal, under one header; --columns chooses by the schema's names.
TEST(VqlogPrint, TableOfChosenColumnsUnderOneHeader) {
    TempDir dir;
    writeRecording(dir.path(), timedFrames(3), true);
    struct Case {
        std::vector<std::string> args;
        int exit_code;
        std::string out;
        std::string err;
    } cases[] = {
        {{},
         0,
         "frame_num      time_s  engine_state\n"
         "        0      0.0000             1\n"
         "        1      0.0200             -\n"
         "        2      0.0400             1\n",
         ""},
        {{"--columns", "frame_num,engine_state", "--from", "1"},
         0,
         "frame_num  engine_state\n"
         "        1             -\n"
         "        2             1\n",
         ""},
        {{"--columns", "frame_num,bogus"},
         2,
         "",
         "vqlog print: --columns: unknown column 'bogus' (`vqlog schema` lists them)\nRun with "
         "--help for more information.\n"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args{"print", dir.path()};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const ProcessResult result = vqlog(args);
        EXPECT_EQ(result.exit_code, c.exit_code);
        EXPECT_EQ(result.out, c.out);
        EXPECT_EQ(result.err, c.err);
    }
}

}  // namespace
}  // namespace vqtest
