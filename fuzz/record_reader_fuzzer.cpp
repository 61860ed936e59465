// The factory's two readers of the library's frame records against each other: every input is
// read once with the library's classes (read without their hooks) and once with an application's
// subclass of each registered instead (read through the hooks), and the outcomes must agree: the
// records (written back), the status bits, the read position and the error messages.
#include <cstddef>
#include <cstdint>
#include <string>

#include <boost/make_shared.hpp>

#include "fuzz_support.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/timingoutputdata.h"

namespace {

using namespace vq::eod;

template <typename T>
class Subclass : public T {};

template <typename T>
boost::shared_ptr<Serializable> create() {
    return boost::make_shared<Subclass<T>>();
}

struct Kind {
    char id;
    SerializableFactory::CreationFunction subclass;
    SerializableFactory::CreationFunction builtin;
};

Kind kinds[] = {
    {EngineOutputData::THIS_OBJECT_ID, &create<EngineOutputData>, nullptr},
    {TimingOutputData::THIS_OBJECT_ID, &create<TimingOutputData>, nullptr},
    {HeadOutputDataV2::THIS_OBJECT_ID, &create<HeadOutputDataV2>, nullptr},
    {EyeOutputData::THIS_OBJECT_ID, &create<EyeOutputData>, nullptr},
    {PupilOutputData::THIS_OBJECT_ID, &create<PupilOutputData>, nullptr},
    {EyeClosureOutputData::THIS_OBJECT_ID, &create<EyeClosureOutputData>, nullptr},
    {GazeOutputData::THIS_OBJECT_ID, &create<GazeOutputData>, nullptr},
    {EngineStateOutputData::THIS_OBJECT_ID, &create<EngineStateOutputData>, nullptr},
};

void useSubclasses(bool subclasses) {
    for (Kind& kind : kinds) {
        const SerializableFactory::CreationFunction previous =
            SerializableFactory::unregisterObjectType(kind.id);
        if (kind.builtin == nullptr) {
            kind.builtin = previous;
        }
        SerializableFactory::registerObjectType(kind.id, subclasses ? kind.subclass : kind.builtin);
    }
}

// The objects read back to back in both forms, as text.
std::string outcome(const ByteBuffer& buffer) {
    std::string out;
    int pos = 0;
    while (pos < static_cast<int>(buffer.size())) {
        unsigned int status = 0;
        const int before = pos;
        const auto object = SerializableFactory::newObjectWithStatus(buffer, pos, status);
        out += std::to_string(status) + "@" + std::to_string(pos) + ":";
        if (object) {
            // A disabled record is written with its flag set.
            auto* record = dynamic_cast<EngineOutputBase*>(object.get());
            if (record != nullptr && !record->serializeEnabled()) {
                out += "disabled ";
                record->setSerializeEnabled(true);
            }
            ByteBuffer bytes;
            object->serialize(bytes);
            out.append(bytes.begin(), bytes.end());
        }
        if (pos == before) {
            ++pos;
        }
    }
    pos = 0;
    try {
        while (pos < static_cast<int>(buffer.size())) {
            SerializableFactory::newObject(buffer, pos);
            out += "+" + std::to_string(pos);
        }
    } catch (const SerializableError& error) {
        out += error.what();
        out += "@" + std::to_string(pos);
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteBuffer buffer(data, data + size);
    useSubclasses(false);
    const std::string library = outcome(buffer);
    useSubclasses(true);
    const std::string hooks = outcome(buffer);
    useSubclasses(false);
    if (library != hooks) {
        vqfuzz::fail("the library's records and subclasses of them read differently");
    }
    return 0;
}
