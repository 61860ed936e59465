// vqlog schema: the table of columns in three formats.
#include "toolfixture.h"

namespace vqtest {
namespace {

TEST(VqlogSchema, EveryTableInTextMarkdownAndJson) {
    struct Case {
        std::vector<std::string> args;
        std::vector<std::string> holds;
    } cases[] = {
        {{},
         {"table frame\n  frame_num  uint32  frame number", "table gaze_intersections",
          "  gaze_right_yaw_rad  float32  [rad]  right gaze direction, yaw",
          "      0: no tracking; 1, 2: intermediate; 3: infrared gaze (best)\n"}},
        {{"--format", "markdown", "--table", "frame"},
         {"## frame\n\n| column | type | unit | frame | record | description |\n",
          "| `time_s` | float64 | s |"}},
        {{"--format", "json", "--table", "head_intersections"},
         {"{\n  \"head_intersections\": [\n    {\"name\": \"frame_num\", \"type\": \"uint32\"",
          "\"name\": \"pixel_y\", \"type\": \"int32\", \"unit\": \"px\"", "  ]\n}\n"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args{"schema"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        ProcessResult out = vqlog(args);
        EXPECT_EQ(out.exit_code, 0);
        for (const std::string& text : c.holds) {
            EXPECT_NE(out.out.find(text), std::string::npos) << text;
        }
    }
    EXPECT_EQ(vqlog({"schema", "--table", "faces"}).exit_code, 2);
}

}  // namespace
}  // namespace vqtest
