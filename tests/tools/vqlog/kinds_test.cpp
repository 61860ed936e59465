// vqlog's names of record kinds: what it writes, and every form it reads back.
#include "vqlog/kinds.h"

#include <gtest/gtest.h>

#include "vq/corelog.h"

namespace vqtest {
namespace {

TEST(VqlogKinds, NamesAndTheFormsTheyAreReadIn) {
    namespace id = vq::eod::object_id;
    const std::vector<std::pair<char, std::string>> names{
        {id::TIMING_OUTPUT_DATA, "Timing (0x0A)"},
        {id::GAZE_OUTPUT_DATA, "GazeOutputData (0x0D)"},  // no log file name of its own
        {id::ENGINE_STATE_OUTPUT_DATA, "EngineState (0x28)"},
        {0x7F, "0x7F"}};  // an ID the library does not assign
    for (const auto& [kind, name] : names) {
        EXPECT_EQ(vqlog::kindName(kind), name);
    }
    const std::vector<std::pair<std::string, std::vector<char>>> lists{
        {"Timing", {id::TIMING_OUTPUT_DATA}},
        {"timingoutputdata,0x28,40", {id::TIMING_OUTPUT_DATA, id::ENGINE_STATE_OUTPUT_DATA}},
        {"GazeOutputData,Timing", {id::GAZE_OUTPUT_DATA, id::TIMING_OUTPUT_DATA}},
        {"13, 0x7F", {id::GAZE_OUTPUT_DATA, 0x7F}},  // any number names a kind
        {"Timing,,timing", {id::TIMING_OUTPUT_DATA}}};
    for (const auto& [text, kinds] : lists) {
        EXPECT_EQ(vqlog::parseKinds(text), kinds) << text;
    }
    const std::string hint = "' (give log file names such as HeadV2, class names or numbers)";
    for (const auto& [bad, message] : std::vector<std::pair<std::string, std::string>>{
             {"", "no kinds given"},
             {" , ", "no kinds given"},
             {"Timing,Bogus", "unknown kind 'Bogus" + hint},
             {"300", "unknown kind '300" + hint},
             {"0x", "unknown kind '0x" + hint}}) {
        try {
            vqlog::parseKinds(bad);
            ADD_FAILURE() << bad;
        } catch (const vqlog::UsageError& error) {
            EXPECT_EQ(std::string(error.what()), message) << bad;
        }
    }
}

}  // namespace
}  // namespace vqtest
