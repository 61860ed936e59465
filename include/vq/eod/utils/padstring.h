// padString: fixed-width text fields of the output data records.
#pragma once

#include <cstddef>
#include <string>

#include "vq/eod/export.h"

namespace vq::eod::utils {

// `text` cut to its first `length` characters, or padded with blanks at its end, so that the
// result has exactly `length` characters: padString("screen", 7) is "screen ",
// padString("windscreen", 7) is "windscr".
VQ_EOD_API std::string padString(const std::string& text, std::size_t length);

}  // namespace vq::eod::utils
