// Frames as flat rows of named values, for `vqlog export` and the demo's table.
//
// Each record kind that vqlog knows brings a group of columns with self-explaining names
// ("head_position_x", "gaze_right_yaw_rad", "blinking"); a row holds one frame, with empty
// cells for records the frame lacks. Head, eye and face records are taken from the frame's first
// face (face set 0), or from the frame itself in recordings of older writers; a first-version
// head record gives the columns of the current one. The gaze target is the first labelled gaze
// intersection of the world container. GPS positions are signed decimal degrees (south and west
// negative). Angles are radians; other units are those of the engine.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "vq/corelog.h"

namespace vqlog {

// One value of a row.
struct Cell {
    enum Type : unsigned char { ABSENT, FLAG, INTEGER, SINGLE, DOUBLE, TEXT };
    Type type = ABSENT;
    bool flag = false;
    long long integer = 0;
    double real = 0;  // SINGLE: a float, printed as the shortest text that reads back as it
    std::string text;

    static Cell ofFlag(bool value);
    static Cell ofInteger(long long value);
    static Cell ofSingle(float value);
    static Cell ofDouble(double value);
    static Cell ofText(std::string value);
};

// Appends a cell as CSV text: empty when absent, 1 or 0 for flags, "NaN", "Inf" and "-Inf" for
// the numbers that are not finite, text in double quotes when it holds a comma, a quote or a
// line break (quotes doubled).
void appendCsv(std::string& out, const Cell& cell);
// Appends a cell as a JSON value: null when absent or not finite, true or false for flags.
void appendJson(std::string& out, const Cell& cell);

// The columns for the record kinds of a recording.
class FlatLayout {
public:
    // "frame_num", then the groups of the kinds in `kinds` in a fixed order.
    explicit FlatLayout(const std::set<char>& kinds);

    const std::vector<std::string>& names() const { return _names; }
    // The index of a column, or -1.
    int column(const std::string& name) const;
    // The kinds among `kinds` that no column group takes (their records are not exported).
    static std::set<char> uncovered(const std::set<char>& kinds);

    // The frame's values, one per column.
    std::vector<Cell> row(const vq::eod::EngineOutputData& frame) const;

private:
    std::vector<std::size_t> _groups;  // indices into the group table
    std::vector<std::string> _names;
};

}  // namespace vqlog
