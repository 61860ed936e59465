// Reading whole objects for the factory: the library's frame records are read without their
// hooks, applications' subclasses of them through their hooks, and both give the same outcome for
// every input: the same records, status bits, read position and errors, damaged input included.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vq/eod/timingoutputdata.h"
#include "vqtest/hex.h"
#include "vqtest/subclasses.h"

namespace {

using namespace vq::eod;
using vqtest::hex;
using vqtest::StampedTiming;
using vqtest::Subclass;

template <typename T>
boost::shared_ptr<Serializable> create() {
    return boost::make_shared<T>();
}

// Makes the factory create `fn`'s records for `id` while it lives, then the library's again.
class Registration {
public:
    Registration(char id, SerializableFactory::CreationFunction fn)
        : _id(id), _builtin(SerializableFactory::unregisterObjectType(id)) {
        SerializableFactory::registerObjectType(id, fn);
    }
    ~Registration() {
        SerializableFactory::unregisterObjectType(_id);
        SerializableFactory::registerObjectType(_id, _builtin);
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    char _id;
    SerializableFactory::CreationFunction _builtin;
};

// A typical frame: timing, head V2, an eye with pupil, eyelid closure and gaze, engine state.
ByteBuffer typicalFrame() {
    EngineOutputData frame;
    frame.setFrameNum(77);
    auto timing = boost::make_shared<TimingOutputData>();
    timing->setExperimentTime(12.5);
    frame.addSubObject(timing);
    auto head = boost::make_shared<HeadOutputDataV2>();
    head->setHeadPosition({0.1, -0.2, 0.6});
    head->setHeadRotationQuaternion({0.9, 0.1, 0.3, -0.2});
    frame.addSubObject(head);
    auto eye = boost::make_shared<EyeOutputData>();
    eye->addSubObject(boost::make_shared<PupilOutputData>());
    eye->addSubObject(boost::make_shared<EyeClosureOutputData>());
    eye->addSubObject(boost::make_shared<GazeOutputData>());
    frame.addSubObject(eye);
    frame.addSubObject(boost::make_shared<EngineStateOutputData>());
    ByteBuffer bytes;
    frame.serialize(bytes);
    return bytes;
}

// The object's bytes; a disabled frame's, with its flag set.
std::string written(Serializable& object) {
    auto* record = dynamic_cast<EngineOutputBase*>(&object);
    const bool enabled = object.serializeEnabled();
    if (record != nullptr) {
        record->setSerializeEnabled(true);
    }
    ByteBuffer bytes;
    object.serialize(bytes);
    return (enabled ? "" : "disabled ") + hex(bytes);
}

// What the factory makes of `input` in both forms: the records written back, the status and the
// read position, or the error.
std::string outcome(const ByteBuffer& input) {
    std::ostringstream out;
    int pos = 0;
    unsigned int status = 0;
    const auto object = SerializableFactory::newObjectWithStatus(input, pos, status);
    out << "status " << status << " pos " << pos << ": " << (object ? written(*object) : "none");
    pos = 0;
    try {
        const auto raised = SerializableFactory::newObject(input, pos);
        out << " / read, pos " << pos << (raised ? "" : " none");
    } catch (const SerializableError& error) {
        out << " / " << error.what() << " pos " << pos;
    }
    return out.str();
}

TEST(RecordReader, LibraryRecordsAndSubclassesReadEveryInputAlike) {
    const ByteBuffer frame = typicalFrame();
    std::vector<ByteBuffer> inputs;
    for (std::size_t size = 0; size <= frame.size(); ++size) {
        inputs.emplace_back(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size));
    }
    for (std::size_t at = 0; at < frame.size(); ++at) {
        for (unsigned char value : {0x00, 0x01, 0x05, 0xFF}) {
            inputs.push_back(frame);
            inputs.back()[at] = value;
        }
    }
    std::vector<std::string> library;
    for (const ByteBuffer& input : inputs) {
        library.push_back(outcome(input));
    }
    EXPECT_EQ(library.front(),
              "status 4 pos 0: none / SerializableFactory::newObject - "
              "insufficient data in buffer pos 0");
    EXPECT_EQ(library[frame.size()], "status 0 pos " + std::to_string(frame.size()) + ": " +
                                         hex(frame) + " / read, pos " +
                                         std::to_string(frame.size()));

    const Registration registrations[] = {
        {EngineOutputData::THIS_OBJECT_ID, &create<Subclass<EngineOutputData>>},
        {TimingOutputData::THIS_OBJECT_ID, &create<Subclass<TimingOutputData>>},
        {HeadOutputDataV2::THIS_OBJECT_ID, &create<Subclass<HeadOutputDataV2>>},
        {EyeOutputData::THIS_OBJECT_ID, &create<Subclass<EyeOutputData>>},
        {PupilOutputData::THIS_OBJECT_ID, &create<Subclass<PupilOutputData>>},
        {EyeClosureOutputData::THIS_OBJECT_ID, &create<Subclass<EyeClosureOutputData>>},
        {GazeOutputData::THIS_OBJECT_ID, &create<Subclass<GazeOutputData>>},
        {EngineStateOutputData::THIS_OBJECT_ID, &create<Subclass<EngineStateOutputData>>},
    };
    int pos = 0;
    const auto through_hooks = SerializableFactory::newObject(frame, pos);
    ASSERT_TRUE(through_hooks);
    const Serializable& made = *through_hooks;
    EXPECT_EQ(typeid(made), typeid(Subclass<EngineOutputData>));
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        ASSERT_EQ(outcome(inputs[i]), library[i]) << hex(inputs[i]);
    }
}

TEST(RecordReader, SubclassHooksAreUsedInsideLibraryRecords) {
    StampedTiming timing;
    timing.stamp = 0x01020304;
    EngineOutputData frame;
    frame.addSubObject(boost::make_shared<StampedTiming>(timing));
    ByteBuffer bytes;
    frame.serialize(bytes);

    const Registration stamped(TimingOutputData::THIS_OBJECT_ID, &create<StampedTiming>);
    int pos = 0;
    const auto read =
        boost::dynamic_pointer_cast<EngineOutputData>(SerializableFactory::newObject(bytes, pos));
    ASSERT_TRUE(read);
    EXPECT_EQ(pos, static_cast<int>(bytes.size()));
    const auto timing_read = read->subObjectAs<StampedTiming>(timing.objectID());
    ASSERT_TRUE(timing_read);
    EXPECT_EQ(timing_read->stamp, 0x01020304);
}

}  // namespace
