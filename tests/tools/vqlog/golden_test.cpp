// The small recordings in tests/data and what vqlog makes of them. Beside each recording
// <name> lies <name>.txt, the output of the commands below run on it (the directory's path left
// out). A change of any byte of that output fails here; to take a deliberate change, run the
// test with VQLOG_UPDATE_GOLDEN=1, which rewrites the .txt files, and review their diff.
//
// The recordings: per-kind/ (a demo's per-kind logs), single.vql (the same frames in one file),
// damaged.vql (single.vql with a frame's bytes overwritten and its end cut off) and
// compressed.vqz (the same frames as a compressed frame file).
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "toolfixture.h"

namespace vqtest {
namespace {

const std::string DATA = VQ_TEST_DATA_DIR;

// What the commands print for `name`: each command's line, its standard output and error and
// its exit code.
std::string dump(const std::string& name) {
    const std::vector<std::vector<std::string>> commands{
        {"check"}, {"info"}, {"stats"}, {"export", "--format", "jsonl"}};
    std::string text;
    for (const auto& command : commands) {
        std::vector<std::string> args = command;
        args.push_back(DATA + "/" + name);
        ProcessResult result = vqlog(args);
        std::string line = "$ vqlog";
        for (const std::string& arg : command) {
            line += " " + arg;
        }
        text += line + " " + name + "\n" + result.out + result.err + "exit " +
                std::to_string(result.exit_code) + "\n";
    }
    // The recording's place is no part of what it holds.
    for (std::size_t at = text.find(DATA + "/"); at != std::string::npos;
         at = text.find(DATA + "/", at)) {
        text.erase(at, DATA.size() + 1);
    }
    return text;
}

TEST(VqlogGolden, WhatEachRecordingHolds) {
    const bool update = std::getenv("VQLOG_UPDATE_GOLDEN") != nullptr;
    for (const char* name : {"per-kind", "single.vql", "damaged.vql", "compressed.vqz"}) {
        const std::string golden = DATA + "/" + name + ".txt";
        const std::string text = dump(name);
        if (update) {
            std::ofstream(golden, std::ios::binary) << text;
            continue;
        }
        std::ifstream in(golden, std::ios::binary);
        ASSERT_TRUE(in) << golden << " is missing: run with VQLOG_UPDATE_GOLDEN=1";
        std::stringstream expected;
        expected << in.rdbuf();
        EXPECT_EQ(text, expected.str()) << name;
    }
}

}  // namespace
}  // namespace vqtest
