// The exception classes.
#include "vq/eod/eoderror.h"

#include <gtest/gtest.h>

#include "vq/eod/serializableerror.h"

namespace {

TEST(EODError, MessagesAndClassNames) {
    const vq::eod::SerializableError error("SerializableFactory::newObject - x");
    EXPECT_STREQ(error.what(), "SerializableFactory::newObject - x");
    EXPECT_STREQ(error.className(), "SerializableError");
    const vq::eod::EODError& base = error;
    EXPECT_STREQ(base.className(), "SerializableError");
    const std::runtime_error& standard = error;
    EXPECT_STREQ(standard.what(), "SerializableFactory::newObject - x");

    vq::eod::SerializableError copy = error;
    EXPECT_STREQ(copy.what(), error.what());
    EXPECT_STREQ(vq::eod::SerializableError("").what(), "Unknown exception");
}

}  // namespace
