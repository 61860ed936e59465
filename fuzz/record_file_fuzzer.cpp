// One record file read through FileReader, record by record, to its end.
//
// Besides the shared checks: every read moves forward (a reader loop always ends), and a record
// read from the file is the record that the factory reads from the same bytes in memory.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using vq::eod::ByteBuffer;
    static const vqfuzz::ScratchDir scratch;
    const std::string path = scratch.write("input.rec", data, size);
    const ByteBuffer bytes(data, data + size);

    vq::eod::io::FileReader reader(path);
    unsigned long long before = 0;
    while (!reader.atEnd()) {
        unsigned int status = 0;
        boost::shared_ptr<vq::eod::Serializable> object;
        bool failed = false;
        try {
            object = reader.read(status);
        } catch (const vq::eod::SerializableError&) {
            failed = true;
        }
        const unsigned long long after = reader.position();
        if (after > size) {
            vqfuzz::fail("the reader is past the end of the file");
        }
        if (after <= before && !reader.atEnd()) {
            if (failed) {
                break;  // a malformed record may stop the reader where it is
            }
            vqfuzz::fail("a read took no bytes and did not reach the end");
        }
        if (object) {
            vqfuzz::checkReencodes(*object);
            // The same bytes read from memory give the same record.
            int pos = static_cast<int>(before);
            boost::shared_ptr<vq::eod::Serializable> same;
            try {
                same = vq::eod::SerializableFactory::newObject(bytes, pos);
            } catch (const vq::eod::SerializableError&) {
                vqfuzz::fail("a record read from the file does not read from memory");
            }
            if (!same || pos != static_cast<int>(after) ||
                vqfuzz::serialized(*same) != vqfuzz::serialized(*object)) {
                vqfuzz::fail("a record read from the file differs from the one read from memory");
            }
        }
        before = after;
    }
    return 0;
}
