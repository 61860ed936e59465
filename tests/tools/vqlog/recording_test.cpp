// What vqlog takes as a recording: a directory is one recording or refused by every command,
// "-" is standard input and output, and outputs are named like recordings.
#include <filesystem>

#include "toolfixture.h"
#include "vqlog/recording.h"

namespace vqtest {
namespace {

// Runs a shell line (for pipes and redirections) with the vqlog under test as $V.
ProcessResult shell(const std::string& line) {
    return runProcess({"/bin/sh", "-c", "V='" + std::string(VQLOG_PATH) + "'; " + line});
}

TEST(VqlogRecording, ADirectoryOfSessionsIsRefusedByEveryCommandNamingTheFiles) {
    TempDir dir;
    std::filesystem::create_directory(dir / "sessions");
    writeRecording(dir / "sessions/a.vql", timedFrames(3), false);
    writeRecording(dir / "sessions/b.vql", timedFrames(3), false);
    const std::string refusal =
        ": " + (dir / "sessions") + " is not one recording: " + (dir / "sessions/a.vql") + " and " +
        (dir / "sessions/b.vql") +
        " both hold Timing (0x0A) records (a per-kind recording keeps each kind in one file); "
        "give each file to vqlog on its own\n";
    const std::vector<std::vector<std::string>> commands = {
        {"info"}, {"check"}, {"print"}, {"export"}, {"convert", dir / "one.vql"}, {"serve"}};
    for (std::vector<std::string> args : commands) {
        args.insert(args.begin() + 1, dir / "sessions");
        if (args[0] == "serve") {
            args.insert(args.end(), {"--port", "0"});
        }
        ProcessResult run = vqlog(args);
        EXPECT_EQ(run.exit_code, 1) << args[0];
        EXPECT_EQ(run.err, "vqlog " + args[0] + refusal) << args[0];
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "one.vql"));

    // Each file is a recording of its own; recover keeps the first of each kind.
    EXPECT_EQ(vqlog({"check", dir / "sessions/b.vql"}).exit_code, 0);
    ProcessResult recover = vqlog({"recover", dir / "sessions", dir / "fixed"});
    EXPECT_EQ(recover.exit_code, 0) << recover.err;
    EXPECT_TRUE(contains(recover, "b.vql: skipped, Timing (0x0A) of frames 0..2 is in a.vql too\n"))
        << recover.out;
}

TEST(VqlogRecording, DashIsStandardInputAndOutput) {
    TempDir dir;
    writeRecording(dir / "kinds", timedFrames(4), true);
    writeRecording(dir / "one.vql", timedFrames(4), false);
    const std::string one = "'" + (dir / "one.vql") + "'";
    const std::string in_dir = "cd '" + dir.path() + "' && ";

    ProcessResult info = shell("cat " + one + " | $V info -");
    EXPECT_EQ(info.exit_code, 0) << info.err;
    EXPECT_EQ(info.out.substr(0, info.out.find('\n')),
              "standard input: single file, " + std::to_string(readFile(dir / "one.vql").size()) +
                  " bytes");
    for (const char* command : {"print", "export", "check"}) {
        ProcessResult piped = shell("cat " + one + " | $V " + command + " -");
        EXPECT_EQ(piped.exit_code, 0) << command << piped.err;
        std::string expected = vqlog({command, dir / "one.vql"}).out;
        if (expected.rfind("one.vql:", 0) == 0) {
            expected.replace(0, 7, "standard input");  // check names the file
        }
        EXPECT_EQ(piped.out, expected) << command;
    }

    const std::string csv = vqlog({"export", dir / "one.vql"}).out;
    for (const char* output : {"-", "/dev/stdout"}) {
        ProcessResult exported = shell(in_dir + "$V export one.vql -o " + output + " | cat");
        EXPECT_EQ(exported.exit_code, 0) << output << exported.err;
        EXPECT_EQ(exported.out, csv) << output;
    }
    ProcessResult converted = shell(in_dir + "$V convert kinds - > piped.vql");
    EXPECT_EQ(converted.exit_code, 0) << converted.err;
    EXPECT_EQ(readFile(dir / "piped.vql"), readFile(dir / "one.vql"));
    ProcessResult copied =
        shell("cat " + one + " | $V convert - - --from 2 | $V print - --count 9");
    EXPECT_EQ(copied.out, vqlog({"print", dir / "one.vql", "--from", "2"}).out) << copied.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "-"));
    // Recover counts frames, not records (Timing in 4 frames, EngineState in 2).
    ProcessResult recover = vqlog({"recover", dir / "kinds", dir / "fixed"});
    EXPECT_TRUE(contains(recover, "recover: kept 4 frames (")) << recover.out << recover.err;

    struct Refusal {
        std::string line;
        int exit_code;
        std::string err;
    };
    const Refusal refusals[] = {
        {"$V convert one.vql - --per-kind", 1,
         "vqlog convert: standard output takes a single file, not a per-kind directory (add "
         "--single-file)\n"},
        {"$V convert kinds - >> one.vql", 1,
         "vqlog convert: standard output appends to a file; vqlog does not overwrite recordings "
         "(redirect with > to a new file)\n"},
        {"$V recover one.vql -", 2,
         "vqlog recover: recover reads what it wrote back to prove it whole: name a new "
         "file\nRun with --help for more information.\n"},
    };
    for (const Refusal& r : refusals) {
        ProcessResult run = shell(in_dir + r.line);
        EXPECT_EQ(run.exit_code, r.exit_code) << r.line;
        EXPECT_EQ(run.err, r.err) << r.line;
    }
    EXPECT_EQ(readFile(dir / "one.vql"), readFile(dir / "piped.vql"));
}

TEST(VqlogRecording, OutputsNamedLikeOtherFormatsAreRefused) {
    TempDir dir;
    writeRecording(dir / "kinds", timedFrames(2), true);
    writeRecording(dir / "one.vql", timedFrames(2), false);
    const auto binary = [&](const std::string& name, const std::string& format) {
        return dir / name + " is named like a " + format +
               " file, but a recording is binary: name it *.vql (vqlog export writes CSV and JSON "
               "lines)";
    };
    struct Case {
        std::vector<std::string> args;
        std::string err;
    };
    const Case cases[] = {
        {{"convert", dir / "kinds", dir / "out.csv"}, binary("out.csv", "csv")},
        {{"recover", dir / "one.vql", dir / "out.jsonl"}, binary("out.jsonl", "jsonl")},
        {{"convert", dir / "one.vql", dir / "dir.vql", "--per-kind"},
         dir / "dir.vql" +
             " is named like a log file, but a per-kind recording is a directory (add "
             "--single-file to write one log file)"},
        {{"record", "--connect", "127.0.0.1:1", dir / "rec.txt", "--single-file"},
         binary("rec.txt", "txt")},
    };
    for (const Case& c : cases) {
        ProcessResult run = vqlog(c.args);
        EXPECT_EQ(run.exit_code, 1) << c.args[2];
        EXPECT_EQ(run.err, "vqlog " + c.args[0] + ": " + c.err + "\n");
        EXPECT_FALSE(
            std::filesystem::exists(c.args.back() == "--single-file" ? c.args[3] : c.args[2]));
    }
}

// The library's words stay; what they concern and what to try follow.
TEST(VqlogRecording, PlatformMessagesGetWhatTheyConcernAndWhatToTry) {
    const std::string listing =
        "EngineOutputDataFileReader::openFiles -  FindFirstFile failed "
        "with error code 20";
    const std::string refused =
        "Could not connect TCP socket to address.: The attempt to connect was forcefully "
        "rejected.";
    const struct {
        std::string message, subject, expected;
    } cases[] = {
        {listing, "rec",
         listing + " (listing the directory rec: Not a directory; check that it is a directory "
                   "and that you may read it)"},
        {refused, "h:1",
         refused + " (h:1: nothing listens there; start the tracker or vqlog serve first, or "
                   "check the port (vqlog serve prints its address when it starts))"},
        {"Could not bind socket.: The specified address is already in use.", "127.0.0.1:80",
         "Could not bind socket.: The specified address is already in use. (127.0.0.1:80: "
         "another program serves on that port; choose another --port, or 0 for a free one)"},
        {"corrupt or invalid logfile", "x", "corrupt or invalid logfile"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(vqlog::explainError(c.message, c.subject), c.expected);
    }
}

}  // namespace
}  // namespace vqtest
