// The table of kinds: the library's lists of kinds are the table's, and a kind of the tests' own
// needs nothing but its class and its registration.
#include "vq/eod/objectids.h"

#include <gtest/gtest.h>

#include <cstring>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/featurepoint.h"
#include "vq/eod/featurerect.h"
#include "vq/eod/featureset.h"
#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/logfiles.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::SerializableFactory;
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
    // An ID of another class that serves several IDs is not this class's element.
    EXPECT_EQ(vq::eod::FeaturePoint::IDToName(object_id::FEATURE_RECT_FACERECT), "POINT");
}

// A kind of the tests' own, from the range left to applications: its class here, and instead of
// a row in the library's table, its registration with the factory and the log file writer.
constexpr char EXAMPLE_ID = 0x6E;

class ExampleOutputData : public vq::eod::EngineOutputBase {
public:
    explicit ExampleOutputData(char value = 0) : _value(value) {}
    char value() const { return _value; }
    char objectID() const override { return EXAMPLE_ID; }
    ExampleOutputData* clone() const override { return new ExampleOutputData(*this); }
    void printOwnHeader(std::ostream& /*stream*/) const override {}

protected:
    void printOwnData(std::ostream& /*stream*/) const override {}
    void appendEngineSpecificData(ByteBuffer& buffer) const override {
        appendValue(buffer, _value);
    }
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override {
        readValue(buffer, read_pos, _value);
    }
    unsigned int numEngineSpecificDataBytes() const override { return 1; }

private:
    char _value;
};

boost::shared_ptr<vq::eod::Serializable> createExample() {
    return boost::shared_ptr<vq::eod::Serializable>(new ExampleOutputData);
}

TEST(ObjectIds, AKindOfTheTestsIsItsClassAndItsRegistration) {
    SerializableFactory::registerObjectType(EXAMPLE_ID, &createExample);
    EngineOutputDataFileWriter::registerObjectIDFileName(EXAMPLE_ID, L"Example");

    vq::eod::EngineOutputData frame;
    frame.setFrameNum(7);
    frame.addSubObject(boost::shared_ptr<ExampleOutputData>(new ExampleOutputData(42)));
    vqtest::TempDir dir;
    EngineOutputDataFileWriter writer;
    writer.newFiles({EXAMPLE_ID}, dir.path(), "", 64);
    writer.writeData(frame);
    writer.closeFiles();

    const ByteBuffer bytes = vqtest::readFile(dir / "Example.vql");
    int pos = 0;
    const auto read = boost::dynamic_pointer_cast<vq::eod::EngineOutputData>(
        SerializableFactory::newObject(bytes, pos));
    ASSERT_TRUE(read);
    EXPECT_EQ(pos, static_cast<int>(bytes.size()));
    EXPECT_EQ(read->frameNum(), 7u);
    const auto example = read->subObjectAs<ExampleOutputData>(EXAMPLE_ID);
    ASSERT_TRUE(example);
    EXPECT_EQ(example->value(), 42);
    EXPECT_EQ(object_id::className(EXAMPLE_ID), nullptr);  // the table holds the library's kinds
    SerializableFactory::unregisterObjectType(EXAMPLE_ID);
}

}  // namespace
