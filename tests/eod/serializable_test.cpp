// The record encoding: header forms, field encoders and decoders, whole-object reads.
#include "vq/eod/serializable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/testrecords.h"

namespace vq::eod::detail {
// Reaches the private primitives of Serializable.
struct SerializableProbe : Serializable {
    using Serializable::appendBuffer;
    using Serializable::appendRawBytes;
    using Serializable::appendValue;
    using Serializable::checkReadPos;
    using Serializable::FieldWriter;
    using Serializable::readBuffer;
    using Serializable::readRawBytes;
    using Serializable::readValue;
    static void appendNBytes(ByteBuffer& b, const char* src, int n) {
        Serializable::appendNBytes(b, src, n);
    }
    static void readNBytes(const ByteBuffer& b, int& pos, char* dst, int n) {
        Serializable::readNBytes(b, pos, dst, n);
    }
};
}  // namespace vq::eod::detail

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vq::eod::Serializable;
using vq::eod::SerializableError;
using Probe = vq::eod::detail::SerializableProbe;
using vqtest::bytes;
using vqtest::hex;

TEST(SerializableHeader, ShortAndExtendedForms) {
    struct Case {
        unsigned int size;
        const char* header;
    };
    for (const Case& c :
         {Case{0, "09 00 00"}, Case{65534, "09 FF FE"}, Case{65535, "09 FF FF 00 00 FF FF"},
          Case{70000, "09 FF FF 00 01 11 70"}}) {
        ByteBuffer buffer;
        Serializable::writeHeader(buffer, 0x09, c.size);
        EXPECT_EQ(hex(buffer), c.header) << c.size;
        EXPECT_EQ(Serializable::numHeaderBytes(c.size), buffer.size());
        EXPECT_EQ(Serializable::extendedHeaderSize(c.size), buffer.size() == 7);
    }
    EXPECT_EQ(Serializable::minHeaderBytes(), 3);
    EXPECT_EQ(Serializable::extendedHeaderSizeMagicCookie(), 0xFFFF);
}

TEST(SerializableHeader, ReadDataSizeHeaderReportsIncompleteObjects) {
    ByteBuffer extended = bytes("FF FF 00 00 FF FF");
    extended.resize(extended.size() + 65535);
    ByteBuffer huge = bytes("FF FF FF FF FF F0");  // 4 GiB before 20 bytes: not an allocation
    huge.resize(huge.size() + 20);
    const struct {
        const char* name;
        ByteBuffer input;
        bool complete;
        int pos;            // after the call, from 0
        unsigned int size;  // stored only when complete
    } cases[] = {
        {"not even the short size", bytes("00"), false, 0, 12345},
        {"cookie and 3 of 4 size bytes", bytes("FF FF 00 00 01"), false, 2, 12345},
        {"more data announced than there is", bytes("00 03 AA BB"), false, 2, 12345},
        {"short form", bytes("00 02 AA BB"), true, 2, 2},
        {"extended form", extended, true, 6, 65535},
        {"4 GiB announced", huge, false, 6, 12345},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        unsigned int size = 12345;
        int pos = 0;
        EXPECT_EQ(Serializable::readDataSizeHeader(c.input, pos, &size), c.complete);
        EXPECT_EQ(pos, c.pos);
        EXPECT_EQ(size, c.size);
    }
    // A negative position is checked before reading: misuse when two bytes follow it, false
    // when they do not.
    int pos = 0;
    EXPECT_FALSE(Serializable::readDataSizeHeader(huge, pos, nullptr));  // no size wanted
    unsigned int size = 0;
    pos = -1;
    EXPECT_PRECONDITION(Serializable::readDataSizeHeader(bytes("00 01 AA"), pos, &size),
                        "src/eod/serializable.cpp", "read_pos is negative");
    EXPECT_FALSE(Serializable::readDataSizeHeader(ByteBuffer(), pos, &size));
    EXPECT_EQ(pos, -1);
}

TEST(SerializablePrimitives, EncodingsAreBigEndian) {
    ByteBuffer buffer;
    const std::uint64_t u64 = 0x0102030405060708ULL;
    Probe::appendNBytes(buffer, reinterpret_cast<const char*>(&u64), 8);
    const float one = 1.0f;
    Probe::appendNBytes(buffer, reinterpret_cast<const char*>(&one), 4);
    Probe::appendValue(buffer, 1.0);
    Probe::appendValue(buffer, static_cast<short>(-2));
    Probe::appendValue(buffer, static_cast<char>('A'));
    Probe::appendBuffer(buffer, std::string());
    Probe::appendBuffer(buffer, std::string("abc"));
    Probe::appendBuffer(buffer, true);
    Probe::appendBuffer(buffer, false);
    Probe::appendRawBytes(buffer, "\x01\xAA", 2);
    EXPECT_EQ(hex(buffer), hex(bytes("01 02 03 04 05 06 07 08 | 3F 80 00 00 | "
                                     "3F F0 00 00 00 00 00 00 | FF FE | 41 | 00 | 61 62 63 00 | "
                                     "01 | 00 | 01 AA")));

    // Read back: the 8-byte form, the strings (each replacing what it held), the raw bytes. (The
    // scalars and bools read through the records' hooks: recordreader_test.cpp.)
    int pos = 0;
    std::uint64_t u64_read = 0;
    Probe::readNBytes(buffer, pos, reinterpret_cast<char*>(&u64_read), 8);
    EXPECT_EQ(u64_read, u64);
    pos = 8 + 4 + 8 + 2 + 1;
    std::string text = "x";
    Probe::readBuffer(buffer, pos, text);
    EXPECT_EQ(text, "");
    Probe::readBuffer(buffer, pos, text);
    EXPECT_EQ(text, "abc");
    pos += 2;  // the bools
    unsigned char raw[2] = {};
    Probe::readRawBytes(buffer, pos, raw, 2);
    EXPECT_EQ(raw[1], 0xAA);
    EXPECT_EQ(pos, static_cast<int>(buffer.size()));
    // NaN keeps its bit pattern.
    ByteBuffer nan_bytes;
    Probe::appendValue(nan_bytes, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(hex(nan_bytes), "7F C0 00 00");
}

TEST(SerializablePrimitives, FieldWriterRefusesAFieldBeyondItsBlock) {
    // The block keeps what was put, a short one is cut.
    ByteBuffer buffer;
    {
        Probe::FieldWriter out(buffer, 6);
        out.put(std::int32_t{7});
        EXPECT_PRECONDITION(out.put(std::int32_t{8}), "src/eod/serializable.cpp",
                            "field block overrun");
    }
    EXPECT_EQ(hex(buffer), "00 00 00 07");
}

TEST(SerializablePrimitives, FailuresNameTheirCause) {
    const char* const past_end =
        "Serializable::checkReadPos() - Attempt to read past end of buffer.";
    const ByteBuffer abc = bytes("61 62 63");
    int pos = 0;
    std::string text;
    EXPECT_SERIALIZABLE_ERROR(Probe::readBuffer(abc, pos, text),
                              "Serializable::readBuffer() - Missing terminator for string.");
    EXPECT_EQ(pos, 3);

    const ByteBuffer six(6, 0);
    pos = 3;
    std::uint32_t value = 0;
    EXPECT_SERIALIZABLE_ERROR(Probe::readValue(six, pos, value), past_end);
    EXPECT_EQ(pos, 3);
    unsigned char raw[8];
    EXPECT_SERIALIZABLE_ERROR(Probe::readRawBytes(six, pos, raw, 4), past_end);
    // A count that would wrap a 32-bit sum is still past the end.
    EXPECT_SERIALIZABLE_ERROR(Probe::readRawBytes(six, pos, raw, 0xFFFFFFFFull), past_end);
    Probe::readRawBytes(six, pos, raw, 0);
    EXPECT_EQ(pos, 3);

    pos = -1;
    EXPECT_PRECONDITION(Probe::readValue(six, pos, value), "src/eod/serializable.cpp",
                        "read_pos is negative");
    EXPECT_PRECONDITION(Probe::readBuffer(six, pos, text), "src/eod/serializable.cpp",
                        "read_pos is negative");
    pos = 0;
    EXPECT_PRECONDITION(Probe::readRawBytes(six, pos, nullptr, 1), "src/eod/serializable.cpp",
                        "array is NULL");
    ByteBuffer out;
    EXPECT_PRECONDITION(Probe::appendNBytes(out, "abc", 3), "src/eod/serializable.cpp",
                        "num_bytes should be one of 1, 2, 4 or 8");
    EXPECT_PRECONDITION(Probe::readNBytes(six, pos, reinterpret_cast<char*>(raw), 3),
                        "src/eod/serializable.cpp", "num_bytes should be one of 1, 2, 4 or 8");
    EXPECT_TRUE(out.empty());
}

class SerializableObject : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
};

TEST_F(SerializableObject, UnSerializeChecksHeaderAndSize) {
    const struct {
        const char* input;
        const char* message;  // raised by unSerialize; none: it returns false
        unsigned int status;  // reported by unSerializeWithStatus
    } cases[] = {
        {"09 00", nullptr, 4u},
        {"09 00 20 01 00", nullptr, 4u},   // more data announced than the buffer holds
        {"09 00 07 01 00 00 00 07 00 EE",  // a byte more announced than the record reads
         "Serializable::unSerialize() - data_size in header wrong.", 8u},
    };
    EngineOutputData frame;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        int pos = 0;
        if (c.message != nullptr) {
            EXPECT_SERIALIZABLE_ERROR(frame.unSerialize(bytes(c.input), pos), c.message);
        } else {
            EXPECT_FALSE(frame.unSerialize(bytes(c.input), pos));
        }
        unsigned int status = 0;
        EXPECT_FALSE(frame.unSerializeWithStatus(bytes(c.input), pos, status));
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(pos, 0);
    }
    int pos = 0;
    EXPECT_SERIALIZABLE_ERROR(
        frame.unSerialize(bytes("70 00 06 01 00 00 00 07 00"), pos),
        "Serializable::unSerialize() - objectid in buffer does not match this object.");

    // Success moves the position past the object only.
    const ByteBuffer two = bytes("09 00 06 01 00 00 00 07 00 | 09 00 06 01 00 00 00 08 00");
    pos = 9;
    EXPECT_TRUE(frame.unSerialize(two, pos));
    EXPECT_EQ(pos, 18);
    EXPECT_EQ(frame.frameNum(), 8u);

    pos = -2;
    unsigned int status = 0;
    EXPECT_PRECONDITION(frame.unSerialize(two, pos), "src/eod/serializable.cpp",
                        "negative read_pos");
    EXPECT_PRECONDITION(frame.unSerializeWithStatus(two, pos, status), "src/eod/serializable.cpp",
                        "negative read_pos");
}

TEST_F(SerializableObject, WritingToBuffersAndStreamsAndPrinting) {
    EngineOutputData frame;
    frame.setFrameNum(0x01020304);
    ByteBuffer buffer = bytes("AA");
    frame.serialize(buffer);
    EXPECT_EQ(hex(buffer), "AA 09 00 06 01 01 02 03 04 00");
    EXPECT_EQ(frame.numTotalBytes(), 9u);
    std::ostringstream out;
    frame.writeToBinaryStream(out);
    EXPECT_EQ(out.str(), std::string("\x09\x00\x06\x01\x01\x02\x03\x04\x00", 9));

    std::ostringstream failed;
    failed.setstate(std::ios::failbit);
    EXPECT_PRECONDITION(frame.writeToBinaryStream(failed), "src/eod/serializable.cpp",
                        "output_stream not valid");
    EXPECT_TRUE(failed.str().empty());
    std::ostringstream line, streamed;
    frame.printLine(line);
    streamed << frame;
    EXPECT_EQ(streamed.str(), line.str());
    EXPECT_EQ(line.str(), "       16909060 ");

    frame.setSerializeEnabled(false);
    EXPECT_SERIALIZABLE_ERROR(frame.serialize(buffer),
                              "Serializable::serialize() - trying to serialize invalid object.");
    EXPECT_EQ(buffer.size(), 10u);
}

// A frame subclass without its own allocation operators: larger than the pool blocks of its
// base, it must get heap blocks of its real size.
struct BiggerFrame : EngineOutputData {
    unsigned char extra[512];
};

TEST_F(SerializableObject, PooledAllocationKeepsObjectsApart) {
    std::vector<std::unique_ptr<BiggerFrame>> bigger;
    std::vector<std::unique_ptr<EngineOutputData>> frames;
    for (int i = 0; i < 40; ++i) {
        bigger.emplace_back(new BiggerFrame);
        std::memset(bigger.back()->extra, i, sizeof(bigger.back()->extra));
        frames.emplace_back(new EngineOutputData);
        frames.back()->setFrameNum(static_cast<unsigned int>(i));
    }
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(frames[i]->frameNum(), static_cast<unsigned int>(i));
        EXPECT_EQ(bigger[i]->extra[511], i);
        EXPECT_EQ(hex(vqtest::serialized(*bigger[i])).substr(0, 8), "09 00 06");
    }
    // Records cloned from the pool are released through a pointer to the base.
    std::unique_ptr<Serializable> copy(frames[3]->clone());
    EXPECT_EQ(static_cast<EngineOutputData&>(*copy).frameNum(), 3u);
}

}  // namespace
