// RecordScanner: which bytes of a file are frames and which are damage, and why.
#include "vqlog/scanner.h"

#include "toolfixture.h"

namespace vqtest {
namespace {

using vq::eod::ByteBuffer;
using Item = vqlog::RecordScanner::Item;

// "frame 7 at 7..43" or "damage at 0..7: <what>".
std::string describe(const Item& item) {
    const std::string range = std::to_string(item.begin) + ".." + std::to_string(item.end);
    return item.type == Item::FRAME
               ? "frame " + std::to_string(item.frame->frameNum()) + " at " + range
               : "damage at " + range + ": " + item.what;
}

TEST(RecordScanner, FramesAndDamageInFileOrder) {
    ByteBuffer timing;
    vq::eod::TimingOutputData().serialize(timing);  // 27 bytes
    // A frame announcing one byte more than its records fill, which that byte then holds.
    ByteBuffer loose = frameBytes(3);
    loose[2] += 1;
    loose.push_back(0);
    struct Case {
        const char* name;
        ByteBuffer bytes;
        std::vector<std::string> items;
    };
    const std::vector<Case> cases{
        {"a hostile size header, a frame, a lone byte",
         join({{0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, frameBytes(7), {0x09}}),
         {"damage at 0..7: the record announces 4294967295 bytes of data, more than vqlog reads",
          "frame 7 at 7..43", "damage at 43..44: truncated: the file ends inside a record header"}},
        {"garbage announcing more than the file holds",
         join({frameBytes(0), ByteBuffer(10, 0xAB), frameBytes(1)}),
         {"frame 0 at 0..36",
          "damage at 36..46: size header overruns the file: the record announces 43947 bytes of "
          "data, the file holds 43 more",
          "frame 1 at 46..82"}},
        {"64 MiB of data and one byte more, beyond what the frame client takes too",
         {0x09, 0xFF, 0xFF, 0x04, 0x00, 0x00, 0x01},
         {"damage at 0..7: the record announces 67108865 bytes of data, more than vqlog reads"}},
        {"a frame cut short",
         join({frameBytes(0), {0x09, 0x00, 0x21, 0x00}}),
         {"frame 0 at 0..36",
          "damage at 36..40: truncated: the record announces 33 bytes of data, the file holds 1 "
          "more"}},
        {"a timing record where a frame belongs",
         join({timing, frameBytes(1)}),
         {"damage at 0..27: a Timing (0x0A) record where a frame belongs", "frame 1 at 27..63"}},
        {"a record of a kind the library lacks",
         join({{0x7F, 0x00, 0x02, 1, 2}, frameBytes(2)}),
         {"damage at 0..5: a record of unknown kind 0x7F where a frame belongs",
          "frame 2 at 5..41"}},
        {"a frame too short for its records",
         join({{0x09, 0x00, 0x02, 0xAA, 0xBB}, frameBytes(4)}),
         {"damage at 0..5: truncated: the file ends inside the record", "frame 4 at 5..41"}},
        {"a frame whose data does not decode",
         join({loose, frameBytes(4)}),
         {"damage at 0..37: the record does not decode: its data does not match the size in its "
          "header",
          "frame 4 at 37..73"}},
    };
    for (const Case& c : cases) {
        TempDir dir;
        writeFile(dir / "f.vql", c.bytes);
        vqlog::RecordScanner scanner(dir / "f.vql");
        std::vector<std::string> items;
        Item item;
        while (scanner.next(item)) {
            items.push_back(describe(item));
        }
        EXPECT_EQ(items, c.items) << c.name;
        EXPECT_EQ(scanner.fileSize(), c.bytes.size()) << c.name;
    }
}

// The work of a scan is the file's size, whatever the bytes.
TEST(RecordScanner, ScanWorkStaysLinear) {
    TempDir dir;
    // Every 64 bytes a header announcing 960 KiB that fails to decode: once a fresh window each.
    ByteBuffer hostile;
    for (int i = 0; i < 37500; ++i) {
        ByteBuffer piece{0x09, 0xFF, 0xFF, 0x00, 0x0F, 0x00, 0x00, 0x01};
        piece.resize(64);
        hostile.insert(hostile.end(), piece.begin(), piece.end());
    }
    writeFile(dir / "h.vql", hostile);
    vqlog::RecordScanner scanner(dir / "h.vql");
    Item item;
    while (scanner.next(item)) {
    }
    EXPECT_LE(scanner.bytesRead(), 2 * hostile.size());
}

}  // namespace
}  // namespace vqtest
