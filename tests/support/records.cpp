#include "vqtest/records.h"

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/gazeintersectionoutputdatav4.h"
#include "vq/eod/opaqueoutputdata.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/hex.h"

namespace vqtest {

using vq::eod::ByteBuffer;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;
namespace ids = vq::eod::object_id;

namespace {

// Blocks of the one-object intersection records: 'b' a bool byte, 'n' a name (7 printable
// characters and a 0 byte), '4' four random bytes.
const char* fixedLayout(char id) {
    switch (id) {
        case ids::HEAD_INTERSECTION_OUTPUT_DATA_V1:
        case ids::GAZE_INTERSECTION_OUTPUT_DATA_V1:
            return "4nb4444444";
        case ids::GAZE_INTERSECTION_OUTPUT_DATA_V2:
            return "4nb4444444444";
        default:
            return nullptr;
    }
}

boost::shared_ptr<Serializable> readBack(const ByteBuffer& bytes) {
    int pos = 0;
    return SerializableFactory::newObject(bytes, pos);
}

}  // namespace

ByteBuffer randomRecord(char id, std::mt19937& random) {
    auto below = [&random](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    auto randomBytes = [&](int count) {
        ByteBuffer bytes(static_cast<std::size_t>(count));
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(below(256));
        }
        return bytes;
    };
    auto real = [&below] { return static_cast<float>(below(2000001) - 1000000) / 64.0f; };
    ByteBuffer data;
    if (const char* layout = fixedLayout(id)) {
        data.push_back(1);  // enabled
        for (const char* field = layout; *field != 0; ++field) {
            ByteBuffer piece = *field == 'b'   ? ByteBuffer{static_cast<unsigned char>(below(2))}
                               : *field == '4' ? randomBytes(4)
                                               : ByteBuffer(8, 0);
            for (std::size_t i = 0; *field == 'n' && i < 7; ++i) {
                piece[i] = static_cast<unsigned char>(' ' + below(95));
            }
            data.insert(data.end(), piece.begin(), piece.end());
        }
        data.push_back(0);  // no sub-objects
    } else if (auto record = boost::dynamic_pointer_cast<vq::eod::IntersectionOutputBaseV2>(
                   SerializableFactory::newObject(id))) {
        if (auto v4 = boost::dynamic_pointer_cast<vq::eod::GazeIntersectionOutputDataV4>(record)) {
            v4->setEyeId(static_cast<vq::eod::EyeId>(below(3)));
        }
        for (int i = below(5); i > 0; --i) {
            const std::string label = std::to_string(below(1000)) + (below(2) ? " eye" : "");
            const std::vector<float> world = {real(), real(), real()}, plane = {real(), real()};
            const std::vector<int> pixel = {below(4000) - 2000, below(3000)};
            const int form = below(3);
            form == 0   ? record->addIntersection(label, world)
            : form == 1 ? record->addIntersection(label, world, plane)
                        : record->addIntersection(label, world, plane, pixel);
        }
        return serialized(*record);
    } else if (id == ids::WORLD_OUTPUT_DATA || id == ids::WORLD_OUTPUT_DATA_V2) {
        auto world = boost::dynamic_pointer_cast<vq::eod::EngineOutputBase>(
            SerializableFactory::newObject(id));
        for (char inner :
             {ids::HEAD_INTERSECTION_OUTPUT_DATA_V1, ids::GAZE_INTERSECTION_OUTPUT_DATA_V1,
              ids::GAZE_INTERSECTION_OUTPUT_DATA_V2, ids::GAZE_INTERSECTION_OUTPUT_DATA_V4,
              ids::GAZE_INTERSECTION_OUTPUT_DATA_V4, ids::GAZE_INTERSECTION_OUTPUT_DATA_V3,
              ids::HEAD_INTERSECTION_OUTPUT_DATA_V2}) {
            if (below(2) == 1) {
                world->addSubObject(readBack(randomRecord(inner, random)));
            }
        }
        return serialized(*world);
    } else if (id == ids::COMPRESSED_SERIALIZABLE) {
        return serialized(TestCompressed(randomBytes(below(300))));
    } else if (boost::dynamic_pointer_cast<vq::eod::OpaqueOutputData>(
                   SerializableFactory::newObject(id))) {
        data = randomBytes(1 + below(80));  // kept as read: anything after the flag
        data.insert(data.begin(), 1);
    } else {
        return ByteBuffer();
    }
    ByteBuffer bytes;
    Serializable::writeHeader(bytes, id, static_cast<unsigned int>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

}  // namespace vqtest
