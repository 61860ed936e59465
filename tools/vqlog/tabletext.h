// The text of vqlog's tables (export, print): column lists and labels.
//
// Labels (the text columns, such as intersection object names) as vqlog writes them. A label
// holds whatever bytes the engine gave it; vqlog writes valid UTF-8 as it stands and each byte
// that is not part of a valid UTF-8 sequence (a stray continuation byte, an overlong form, a
// surrogate, a code point beyond U+10FFFF, a sequence cut short) as the four characters \xNN
// (NN the byte in upper-case hex). A label's own backslashes are left as they are.
//
// Numbers as vqlog's tables write them: the text std::to_chars writes (the shortest text that
// reads back as the value for floats and doubles), written in place. Each function writes at
// `out`, which needs NUMBER_ROOM characters of room, and returns the end of the text; what it
// writes beyond that end is garbage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vq/corelog.h"

namespace vqlog {

constexpr std::size_t NUMBER_ROOM = 64;

// The shortest text that reads back as the finite `value`, character for character what
// std::to_chars(out, out + NUMBER_ROOM, value) writes: the fixed form when it is not longer than
// the scientific one (d.ddde-XX, exponents of at least two digits).
char* shortestText(char* out, float value);
char* shortestText(char* out, double value);

// `value` in decimal, as std::to_chars writes it.
char* integerText(char* out, std::int64_t value);

// A comma-separated list of the names of columns of `table` (as `vqlog schema` lists them), in
// the order given. UsageError "--columns: unknown column 'x' ..." for a name the table lacks,
// "--columns: no columns given" for an empty list.
std::vector<std::string> parseColumns(const std::string& text, vq::eod::Table table);

// The label with every byte outside valid UTF-8 written as \xNN; with `controls`, the control
// characters (0x00 to 0x1F and 0x7F) too, so that the text stays on one line.
std::string escapeLabel(std::string_view text, bool controls);

// Whether escapeLabel would change the text (false for most labels, which are plain ASCII).
bool needsEscape(std::string_view text, bool controls);

}  // namespace vqlog
