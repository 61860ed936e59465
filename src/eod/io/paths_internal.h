// File names of the log file classes.
//
// Wide paths become UTF-8 file names, whatever the locale, so that a name written by one program
// is found by another; a path of ASCII characters names the same file in both forms. Narrow
// names need not be UTF-8 (Linux file names are any bytes but '/' and 0): a byte that is not part
// of a valid UTF-8 sequence widens to U+DC80..U+DCFF and narrows back to the same byte, so a
// narrow name survives the round trip through the wide operations unchanged.
#pragma once

#include <string>

namespace vq::eod::io::detail {

// The file name of a wide path. A character that UTF-8 cannot carry (a surrogate other than the
// escaped bytes above, a value beyond U+10FFFF) becomes '?'.
std::string narrowPath(const std::wstring& path);
// The wide form of a file name.
std::wstring widenPath(const std::string& path);
// Whether the name can be handed to the operating system: an embedded 0 byte would silently cut
// it short and name another file.
bool isNativePath(const std::string& path);

}  // namespace vq::eod::io::detail
