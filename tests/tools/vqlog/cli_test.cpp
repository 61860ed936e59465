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
    writeRecording(dir / "one.vql", timedFrames(3), false);
    for (const char* command : {"print", "info", "check"}) {
        ProcessResult full = runProcess(
            {"/bin/sh", "-c",
             std::string(VQLOG_PATH) + " " + command + " '" + (dir / "one.vql") + "' > /dev/full"});
        EXPECT_EQ(full.exit_code, 1) << command;
        EXPECT_EQ(full.err, "vqlog " + std::string(command) + ": cannot write the output\n");
    }
}

}  // namespace
}  // namespace vqtest
