// The factory on a stream: a record file's bytes read object by object.
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using vq::eod::SerializableFactory;
    const std::string bytes(reinterpret_cast<const char*>(data), size);

    std::istringstream stream(bytes);
    try {
        while (stream.peek() != std::char_traits<char>::eof()) {
            boost::shared_ptr<vq::eod::Serializable> object =
                SerializableFactory::newObject(stream);
            if (object) {
                vqfuzz::checkReencodes(*object);
            }
        }
    } catch (const vq::eod::SerializableError&) {
    }

    std::istringstream again(bytes);
    for (int reads = 0; reads <= static_cast<int>(size); ++reads) {
        unsigned int status = 0;
        const std::streampos before = again.tellg();
        boost::shared_ptr<vq::eod::Serializable> object;
        try {
            object = SerializableFactory::newObjectWithStatus(again, status);
        } catch (const vq::eod::SerializableError&) {
            break;  // damage inside a known object
        }
        if (object) {
            vqfuzz::checkReencodes(*object);
        }
        if ((status & vq::eod::status::INSUFFICIENT_DATA) != 0 || !again.good() ||
            again.tellg() == before) {
            break;
        }
    }
    return 0;
}
