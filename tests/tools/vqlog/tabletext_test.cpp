// The text of vqlog's tables: column lists, labels escaped outside UTF-8, and numbers as
// std::to_chars writes them.
#include "vqlog/tabletext.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

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

// What std::to_chars writes for `value`, and what vqlog writes.
template <typename T>
std::pair<std::string, std::string> bothTexts(T value) {
    char expected[vqlog::NUMBER_ROOM];
    char got[vqlog::NUMBER_ROOM];
    char* expected_end = std::to_chars(expected, expected + sizeof expected, value).ptr;
    char* got_end;
    if constexpr (std::is_integral_v<T>) {
        got_end = vqlog::integerText(got, value);
    } else {
        got_end = vqlog::shortestText(got, value);
    }
    return {std::string(+expected, expected_end), std::string(+got, got_end)};
}

TEST(VqlogTableText, NumbersAsToChars) {
    // Each form and the lengths at which the choice between fixed and scientific turns.
    using D = std::numeric_limits<double>;
    // Rows of seven, the last filled up with zeros.
    const double values[][7] = {
        {0.0, -0.0, 1.0, -2.5, 0.5761817, 0.001, 0.0001},
        {0.00012, 0.000123, 1e-5, 960.0, 1e4, 1e5, 1e6},
        {12e5, 123e5, 1e22, 1e23, 1795416393.0, 48.137200000021195, 12345678901234567.0},
        {1e16, 1e300, 5e-324, D::max(), D::min()}};
    for (const auto& row : values) {
        for (const double value : row) {
            const auto [expected, got] = bothTexts(value);
            EXPECT_EQ(got, expected);
            const float single = static_cast<float>(value);
            if (std::isfinite(single)) {
                const auto [expected_float, got_float] = bothTexts(single);
                EXPECT_EQ(got_float, expected_float);
            }
        }
    }
    using I = std::numeric_limits<std::int64_t>;
    const std::int64_t integers[] = {
        0, -1, 7, 99999999, 100000000, 9999999999999999, 10000000000000000, I::min(), I::max()};
    for (const std::int64_t value : integers) {
        const auto [expected, got] = bothTexts(value);
        EXPECT_EQ(got, expected);
    }
    // Random bit patterns and random values of the magnitudes recordings hold.
    const std::uint64_t seed = std::random_device{}();
    std::mt19937_64 random(seed);
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t bits = random();
        double any_double;
        std::memcpy(&any_double, &bits, sizeof any_double);
        float any_float;
        const auto low = static_cast<std::uint32_t>(bits);
        std::memcpy(&any_float, &low, sizeof any_float);
        const double usual =
            std::ldexp(static_cast<double>(bits >> 11) * 0x1p-53, static_cast<int>(bits % 80) - 40);
        std::vector<std::pair<std::string, std::string>> texts{
            bothTexts(usual), bothTexts(static_cast<float>(-usual)),
            bothTexts(static_cast<std::int64_t>(bits) >> (bits % 64))};
        if (std::isfinite(any_double)) {
            texts.push_back(bothTexts(any_double));
        }
        if (std::isfinite(any_float)) {
            texts.push_back(bothTexts(any_float));
        }
        for (const auto& [expected, got] : texts) {
            ASSERT_EQ(got, expected) << "seed " << seed;
        }
    }
}

}  // namespace
}  // namespace vqtest
