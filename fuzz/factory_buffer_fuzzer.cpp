// The factory on a buffer: objects back to back, read with and without a status word.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using vq::eod::SerializableFactory;
    const vq::eod::ByteBuffer buffer(data, data + size);

    // With status: every damage is reported in the status word, never raised; an incomplete or
    // damaged object gives null and leaves the position where it was. A reader that steps over
    // each byte it could not read still ends.
    int pos = 0;
    while (pos < static_cast<int>(buffer.size())) {
        unsigned int status = 0;
        const int before = pos;
        boost::shared_ptr<vq::eod::Serializable> object =
            SerializableFactory::newObjectWithStatus(buffer, pos, status);
        if (!object &&
            (status & (vq::eod::status::INSUFFICIENT_DATA | vq::eod::status::SIZE_MISMATCH)) != 0 &&
            pos != before) {
            vqfuzz::fail("a failed read moved the read position");
        }
        if (pos < before || pos > static_cast<int>(buffer.size())) {
            vqfuzz::fail("read position outside the buffer");
        }
        if (object) {
            vqfuzz::checkReencodes(*object);
        }
        if (pos == before) {
            ++pos;  // resynchronise one byte further
        }
    }

    // Without status: every failure is a SerializableError, never anything else.
    pos = 0;
    try {
        while (pos < static_cast<int>(buffer.size())) {
            boost::shared_ptr<vq::eod::Serializable> object =
                SerializableFactory::newObject(buffer, pos);
            if (object) {
                vqfuzz::checkReencodes(*object);
            }
        }
    } catch (const vq::eod::SerializableError&) {
    }
    return 0;
}
