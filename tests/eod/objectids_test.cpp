// The table of kinds: the library's lists of kinds are the table's, and none other.
#include "vq/eod/objectids.h"

#include <gtest/gtest.h>

#include "vq/eod/featurepoint.h"
#include "vq/eod/featurerect.h"
#include "vq/eod/featureset.h"
#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::EngineOutputDataFileWriter;
namespace object_id = vq::eod::object_id;

std::string elementName(const object_id::Kind& kind) {
    const std::string name = kind.class_name;
    return name == "FeatureSet"     ? vq::eod::FeatureSet::IDToName(kind.id)
           : name == "FeaturePoint" ? vq::eod::FeaturePoint::IDToName(kind.id)
                                    : vq::eod::FeatureRect::IDToName(kind.id);
}

TEST(ObjectIds, EveryListOfKindsIsTheTables) {
    for (const object_id::Kind& kind : object_id::KINDS) {
        SCOPED_TRACE(kind.class_name);
        EXPECT_EQ(object_id::findKind(kind.id), &kind);
        EXPECT_STREQ(object_id::className(kind.id), kind.class_name);
        if (kind.log_file_name != nullptr) {
            const std::string name = kind.log_file_name;
            EXPECT_EQ(EngineOutputDataFileWriter::objectIDToFileName(kind.id),
                      std::wstring(name.begin(), name.end()));
        } else {
            EXPECT_FILE_ERROR(EngineOutputDataFileWriter::objectIDToFileName(kind.id),
                              "EngineOutputDataFileWriter::objectIDToFileName - unknown object ID");
        }
        if (kind.element_name != nullptr) {
            EXPECT_EQ(elementName(kind), kind.element_name);
        }
    }
    EXPECT_EQ(object_id::className(object_id::NONE), nullptr);
    EXPECT_EQ(object_id::findKind(0x61), nullptr);
    // A kind of an application's own (the tests' records, written to and read from their log
    // files by the file tests) is its class and its registration, not a row of the table.
    vqtest::registerTestLogKinds();
    EXPECT_EQ(object_id::className(vqtest::TEST_RECORD_A), nullptr);
    // An ID of another class that serves several IDs is not this class's element.
    EXPECT_EQ(vq::eod::FeaturePoint::IDToName(object_id::FEATURE_RECT_FACERECT), "POINT");
}

}  // namespace
