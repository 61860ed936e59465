// Expectations on the library's two kinds of failure.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace vqtest {

// Whether `message` reads "<path>:<line>: <text>".
inline ::testing::AssertionResult isPreconditionMessage(const std::string& message,
                                                        const std::string& path,
                                                        const std::string& text) {
    const std::string prefix = path + ":";
    const std::string suffix = ": " + text;
    if (message.rfind(prefix, 0) != 0 || message.size() < prefix.size() + suffix.size() ||
        message.compare(message.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return ::testing::AssertionFailure()
               << "message \"" << message << "\" is not \"" << path << ":<line>: " << text << "\"";
    }
    const std::string line =
        message.substr(prefix.size(), message.size() - prefix.size() - suffix.size());
    if (line.empty() || line.find_first_not_of("0123456789") != std::string::npos) {
        return ::testing::AssertionFailure() << "no line number in \"" << message << "\"";
    }
    return ::testing::AssertionSuccess();
}

}  // namespace vqtest

// Expects std::invalid_argument with the message "<path>:<line>: <text>".
#define EXPECT_PRECONDITION(statement, path, text)                                     \
    try {                                                                              \
        statement;                                                                     \
        ADD_FAILURE() << "no std::invalid_argument from " #statement;                  \
    } catch (const std::invalid_argument& vqtest_error) {                              \
        EXPECT_TRUE(::vqtest::isPreconditionMessage(vqtest_error.what(), path, text)); \
    }

// Expects an exception of class `type` whose what() is exactly `text`.
#define EXPECT_ERROR_MESSAGE(statement, type, text)                     \
    try {                                                               \
        statement;                                                      \
        ADD_FAILURE() << "no " #type " from " #statement;               \
    } catch (const type& vqtest_error) {                                \
        EXPECT_EQ(std::string(vqtest_error.what()), std::string(text)); \
    }

#define EXPECT_SERIALIZABLE_ERROR(statement, text) \
    EXPECT_ERROR_MESSAGE(statement, ::vq::eod::SerializableError, text)
