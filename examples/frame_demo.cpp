// Builds a frame, serialises it, prints its bytes and reads it back through the factory.
//
// The frame holds an application's own record kind, registered with the factory under an
// object ID that the library leaves free, next to a nested frame.
#include <cstdint>
#include <iomanip>
#include <iostream>

#include "vq/corelog.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;

// An application record: the number of blinks counted so far, 4 bytes big-endian.
class BlinkCounter : public vq::eod::EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = 0x61;

    explicit BlinkCounter(std::uint32_t blinks = 0) : _blinks(blinks) {}

    std::uint32_t blinks() const { return _blinks; }

    char objectID() const override { return THIS_OBJECT_ID; }
    BlinkCounter* clone() const override { return new BlinkCounter(*this); }
    void printOwnHeader(std::ostream& out) const override {
        out << std::setw(15) << "BLINKS" << ' ';
    }

protected:
    void printOwnData(std::ostream& out) const override { out << std::setw(15) << _blinks << ' '; }
    void appendEngineSpecificData(ByteBuffer& buffer) const override {
        appendValue(buffer, _blinks);
    }
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override {
        readValue(buffer, read_pos, _blinks);
    }
    unsigned int numEngineSpecificDataBytes() const override { return 4; }

private:
    std::uint32_t _blinks;
};

boost::shared_ptr<vq::eod::Serializable> createBlinkCounter() {
    return boost::shared_ptr<vq::eod::Serializable>(new BlinkCounter);
}

void printHex(const ByteBuffer& bytes) {
    std::ios flags(nullptr);
    flags.copyfmt(std::cout);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::cout << std::hex << std::uppercase << std::setw(2) << std::setfill('0')
                  << static_cast<int>(bytes[i]) << ((i % 16 == 15) ? '\n' : ' ');
    }
    std::cout.copyfmt(flags);
    std::cout << '\n';
}

}  // namespace

int main() {
    vq::eod::SerializableFactory::registerObjectType(BlinkCounter::THIS_OBJECT_ID,
                                                     &createBlinkCounter);

    EngineOutputData frame;
    frame.setFrameNum(7);
    frame.addSubObject(boost::shared_ptr<BlinkCounter>(new BlinkCounter(12)));
    boost::shared_ptr<EngineOutputData> previous(new EngineOutputData);
    previous->setFrameNum(6);
    frame.addSubObject(previous);

    ByteBuffer bytes;
    frame.serialize(bytes);
    std::cout << "frame " << frame.frameNum() << ": " << bytes.size() << " bytes\n";
    printHex(bytes);

    int read_pos = 0;
    auto read = boost::dynamic_pointer_cast<EngineOutputData>(
        vq::eod::SerializableFactory::newObject(bytes, read_pos));
    if (!read) {
        std::cerr << "the factory did not rebuild a frame\n";
        return 1;
    }
    read->printHeader(std::cout);
    std::cout << '\n' << *read << '\n';

    ByteBuffer again;
    read->serialize(again);
    const bool same = again == bytes && read_pos == static_cast<int>(bytes.size());
    std::cout << (same ? "read back: identical bytes\n" : "read back: DIFFERENT bytes\n");
    return same ? 0 : 1;
}
