// The text of vqlog's tables: column lists and labels escaped outside UTF-8.
#include "vqlog/tabletext.h"

#include <gtest/gtest.h>

#include "vqlog/kinds.h"

namespace vqtest {
namespace {

TEST(VqlogTableText, ColumnListsAndEscapedLabels) {
    using vq::eod::Table;
    EXPECT_EQ(vqlog::parseColumns("time_s,frame_num", Table::FRAME),
              (std::vector<std::string>{"time_s", "frame_num"}));
    for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"", "--columns: no columns given"},
             {"frame_num,bogus",
              "--columns: unknown column 'bogus' (`vqlog schema` lists them)"}}) {
        try {
            vqlog::parseColumns(text, Table::FRAME);
            ADD_FAILURE() << text;
        } catch (const vqlog::UsageError& error) {
            EXPECT_EQ(std::string(error.what()), message) << text;
        }
    }
    struct Label {
        std::string text;
        std::string escaped;   // controls left
        std::string one_line;  // controls escaped too
    };
    const std::vector<Label> labels{
        {"plain", "plain", "plain"},
        {"caf\xC3\xA9 \\", "caf\xC3\xA9 \\", "caf\xC3\xA9 \\"},  // UTF-8 and backslashes stay
        {"a\xFF", "a\\xFF", "a\\xFF"},                           // a byte outside UTF-8
        {"\xED\xA0\x80", "\\xED\\xA0\\x80", "\\xED\\xA0\\x80"},  // a surrogate
        {"\xC0\xAF", "\\xC0\\xAF", "\\xC0\\xAF"},                // an overlong form
        {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80", "\\xF4\\x90\\x80\\x80"},  // beyond U+10FFFF
        {"cut \xE2\x82", "cut \\xE2\\x82", "cut \\xE2\\x82"},
        {"two\nlines\x7F", "two\nlines\x7F", "two\\x0Alines\\x7F"},
    };
    for (const Label& label : labels) {
        EXPECT_EQ(vqlog::escapeLabel(label.text, false), label.escaped) << label.text;
        EXPECT_EQ(vqlog::escapeLabel(label.text, true), label.one_line) << label.text;
        EXPECT_EQ(vqlog::needsEscape(label.text, false), label.escaped != label.text);
        EXPECT_EQ(vqlog::needsEscape(label.text, true), label.one_line != label.text);
    }
}

}  // namespace
}  // namespace vqtest
