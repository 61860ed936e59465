// vqlog's command line: help, usage errors (exit 2) and data errors (exit 1).
#include "toolfixture.h"

namespace vqtest {
namespace {

TEST(VqlogCli, HelpForEveryCommandAndUsageErrorsExitTwo) {
    ProcessResult help = vqlog({"--help"});
    EXPECT_EQ(help.exit_code, 0);
    for (const char* command : {"demo", "print", "info", "export", "convert", "check", "recover",
                                "merge", "split", "serve", "record"}) {
        EXPECT_NE(help.out.find(std::string("  ") + command), std::string::npos) << command;
        ProcessResult sub = vqlog({command, "--help"});
        EXPECT_EQ(sub.exit_code, 0) << command;
        EXPECT_NE(sub.out.find(std::string("Usage: vqlog ") + command), std::string::npos)
            << sub.out;
    }

    EXPECT_EQ(vqlog({}).exit_code, 2);
    ProcessResult version = vqlog({"--version"});
    EXPECT_EQ(version.exit_code, 0);
    EXPECT_EQ(version.out, "vqlog " VQ_CORELOG_VERSION "\n");
    ProcessResult unknown = vqlog({"frobnicate", "x"});
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_EQ(unknown.err.substr(0, unknown.err.find(';')), "vqlog: unknown command 'frobnicate'");
    EXPECT_EQ(vqlog({"print"}).exit_code, 2);  // the path is required
    EXPECT_EQ(vqlog({"export", "x", "--format", "xml"}).exit_code, 2);

    TempDir dir;
    writeRecording(dir.path(), timedFrames(2), true);
    ProcessResult kinds = vqlog({"print", dir.path(), "--kinds", "Timing,Bogus"});
    EXPECT_EQ(kinds.exit_code, 2);
    EXPECT_EQ(kinds.err,
              "vqlog print: unknown kind 'Bogus' (give log file names such as HeadV2, class "
              "names or numbers)\nRun with --help for more information.\n");
    ProcessResult range = vqlog({"export", dir.path(), "--from", "5", "--to", "4"});
    EXPECT_EQ(range.exit_code, 2);
    EXPECT_EQ(range.err.substr(0, range.err.find('\n')), "vqlog export: --from 5 is beyond --to 4");
    ProcessResult serve = vqlog({"serve", dir.path()});
    EXPECT_EQ(serve.exit_code, 2);
    EXPECT_EQ(serve.err.substr(0, serve.err.find('\n')),
              "vqlog serve: give either --port N (TCP) or --udp ADDR:PORT (datagrams)");
    ProcessResult endpoint = vqlog({"record", "--connect", "localhost", dir / "out"});
    EXPECT_EQ(endpoint.exit_code, 2);
    EXPECT_EQ(endpoint.err.substr(0, endpoint.err.find('\n')),
              "vqlog record: expected HOST:PORT, got 'localhost'");
}

TEST(VqlogCli, DataAndIoErrorsExitOneWithTheLibrarysMessage) {
    TempDir dir;
    ProcessResult missing = vqlog({"print", dir / "missing.vql"});
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_EQ(missing.err,
              "vqlog print: EngineOutputDataFileReader::openFiles - could not open file " +
                  (dir / "missing.vql") + "\n");
    ProcessResult empty = vqlog({"export", dir.path()});
    EXPECT_EQ(empty.exit_code, 1);
    EXPECT_EQ(empty.err,
              "vqlog export: EngineOutputDataFileReader::logFilesInDir - No logfiles "
              "found in " +
                  dir.path() + "\n");

    // A record that is not a frame: the frames before it are printed, then the reader's error.
    writeRecording(dir / "one.vql", timedFrames(1), false);
    vq::eod::ByteBuffer timing;
    vq::eod::TimingOutputData().serialize(timing);
    writeFile(dir / "one.vql", timing, true);
    ProcessResult damaged = vqlog({"print", dir / "one.vql"});
    EXPECT_EQ(damaged.exit_code, 1);
    EXPECT_EQ(std::count(damaged.out.begin(), damaged.out.end(), '\n'), 2);
    EXPECT_EQ(damaged.err,
              "vqlog print: EngineOutputDataFileReader::readData() - corrupt or "
              "invalid logfile\n");

    // Nothing is overwritten.
    ProcessResult exists = vqlog({"convert", dir.path(), dir / "one.vql"});
    EXPECT_EQ(exists.exit_code, 1);
    EXPECT_EQ(exists.err, "vqlog convert: " + (dir / "one.vql") +
                              " already exists; vqlog does not overwrite recordings\n");

    ProcessResult refused = vqlog({"record", "--connect", "127.0.0.1:1", dir / "rec"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_EQ(refused.err.rfind("vqlog record: Could not connect TCP socket to address.: ", 0), 0u)
        << refused.err;
    // The library's words, then the address and what to try; no empty directory is left.
    EXPECT_TRUE(contains(refused,
                         " (127.0.0.1:1: nothing listens there; start the tracker or "
                         "vqlog serve first, or check the port"))
        << refused.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "rec"));
}

TEST(VqlogCli, OutputThatCannotBeWrittenExitsOne) {
    TempDir dir;
    writeRecording(dir / "one.vql", timedFrames(1500), false);  // export: several batches
    for (const char* command : {"print", "info", "check", "export"}) {
        ProcessResult full = runProcess(
            {"/bin/sh", "-c",
             std::string(VQLOG_PATH) + " " + command + " '" + (dir / "one.vql") + "' > /dev/full"});
        EXPECT_EQ(full.exit_code, 1) << command;
        EXPECT_EQ(full.err, "vqlog " + std::string(command) + ": cannot write the output\n");
    }
}

// --start and --end (seconds of time_s) choose in every command that reads frames what the
// frame numbers of those times choose; nothing without a timing record passes.
TEST(VqlogCli, TimeRangesChooseTheFramesOfTheirTimes) {
    TempDir dir;
    Frames frames = timedFrames(6);
    frames.push_back(boost::shared_ptr<vq::eod::EngineOutputData>(new vq::eod::EngineOutputData));
    frames.back()->setFrameNum(6);  // no timing record
    frames.back()->addSubObject(
        boost::shared_ptr<vq::eod::EngineStateOutputData>(new vq::eod::EngineStateOutputData(1)));
    writeRecording(dir / "rec.vql", frames, false);
    const std::vector<std::vector<std::string>> commands{
        {"print"}, {"print", "--raw"}, {"export"}, {"stats", "--format", "json"}};
    for (const auto& command : commands) {
        std::vector<std::string> by_time{command[0], dir / "rec.vql"};
        by_time.insert(by_time.end(), command.begin() + 1, command.end());
        std::vector<std::string> by_number = by_time;
        by_time.insert(by_time.end(), {"--start", "0.03", "--end", "0.07"});
        by_number.insert(by_number.end(), {"--from", "2", "--to", "3"});
        const ProcessResult timed = vqlog(by_time);
        EXPECT_EQ(timed.exit_code, 0) << command[0] << timed.err;
        EXPECT_EQ(timed.out, vqlog(by_number).out) << command[0];
    }
    EXPECT_EQ(vqlog({"convert", dir / "rec.vql", dir / "t.vql", "--single-file", "--start", "0.03",
                     "--end", "0.07"})
                  .exit_code,
              0);
    EXPECT_EQ(readFile(dir / "t.vql"), bytesOf({frames[2], frames[3]}));
    ProcessResult reversed = vqlog({"stats", dir / "rec.vql", "--start", "1", "--end", "0"});
    EXPECT_EQ(reversed.exit_code, 2);
    EXPECT_EQ(reversed.err,
              "vqlog stats: --start 1.000 is beyond --end 0.000\nRun with --help for more "
              "information.\n");
}

}  // namespace
}  // namespace vqtest
