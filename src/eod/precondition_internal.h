// Preconditions of the library's operations.
//
// VQ_REQUIRE(condition, "text") raises std::invalid_argument with the message
// "path:line: text" when the condition does not hold, where path is the source file relative to
// the repository (the build maps the absolute prefix away). A failed precondition is a
// programming error of the caller, never a data error: those raise an EODError subclass.
#pragma once

#include <stdexcept>
#include <string>

namespace vq::eod::detail {

[[noreturn]] inline void throwPrecondition(const char* file, int line, const char* text) {
    std::string message(file);
    message += ':';
    message += std::to_string(line);
    message += ": ";
    message += text;
    throw std::invalid_argument(message);
}

}  // namespace vq::eod::detail

#define VQ_REQUIRE(condition, text)                                           \
    do {                                                                      \
        if (!(condition)) {                                                   \
            ::vq::eod::detail::throwPrecondition(__FILE__, __LINE__, (text)); \
        }                                                                     \
    } while (false)

// Raises unconditionally; for checks whose condition is computed elsewhere.
#define VQ_PRECONDITION_FAILED(text) \
    ::vq::eod::detail::throwPrecondition(__FILE__, __LINE__, (text))
