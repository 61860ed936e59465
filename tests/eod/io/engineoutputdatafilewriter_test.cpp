// The frame log writer: file names, per-kind contents, write order, and failures.
#include "vq/eod/io/engineoutputdatafilewriter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <boost/make_shared.hpp>

#include "vq/eod/io/engineoutputdatafilereader.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/child.h"
#include "vqtest/expect.h"
#include "vqtest/fulldisk.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::EngineOutputDataFileWriter;
using vqtest::hexOf;
using vqtest::testFrame;

constexpr char A = vqtest::TEST_RECORD_A;
constexpr char B = vqtest::TEST_RECORD_B;
constexpr const char* SOURCE = "src/eod/io/engineoutputdatafilewriter.cpp";

std::string hexOfFile(const std::string& path) {
    return vqtest::hex(vqtest::readFile(path));
}

// Reads back a single-file recording of testFrame(n, {A, B}) for n = 1, 2, ...: "<k> frames"
// when frames 1 to k come back exactly and the data ends there, "<k> frames, then: <error>"
// when an error follows them, "frame <n> differs" when one is not as it was written.
std::string readBackRecording(const std::string& path) {
    vq::eod::io::EngineOutputDataFileReader reader;
    reader.openFile(path);
    unsigned int count = 0;
    try {
        while (const auto frame = reader.readData()) {
            if (vqtest::serialized(*frame) != vqtest::serialized(*testFrame(count + 1, {A, B}))) {
                return "frame " + std::to_string(count + 1) + " differs";
            }
            ++count;
        }
    } catch (const std::exception& error) {
        return std::to_string(count) + " frames, then: " + error.what();
    }
    return std::to_string(count) + " frames";
}

// What readBackRecording says of a file of `size` bytes cut short after whole frames.
std::string cutShortRecording(std::size_t size) {
    const std::size_t frame_bytes = vqtest::serialized(*testFrame(1, {A, B})).size();
    return std::to_string(size / frame_bytes) + " frames" +
           (size % frame_bytes == 0
                ? ""
                : ", then: EngineOutputDataFileReader::readData() - corrupt or invalid logfile");
}

class EngineOutputDataFileWriterTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestLogKinds(); }
    vqtest::TempDir dir;
    EngineOutputDataFileWriter writer;
};

TEST_F(EngineOutputDataFileWriterTest, OneFilePerKindInAscendingOrderAndAFullDevice) {
    writer.newFiles({B, A}, dir.path(), "_x", 65536);
    auto disabled_frame = testFrame(3, {A, B});
    disabled_frame->setSerializeEnabled(false);
    auto in_face_set = testFrame(4, {});
    auto face_set = vqtest::testRecord(vq::eod::object_id::FACE_SET_OUTPUT_DATA);
    face_set->addSubObject(vqtest::testRecord(A, 4000 + A));
    in_face_set->addSubObject(face_set);
    auto disabled_record = testFrame(5, {A, B});
    disabled_record->subObjectAs<vqtest::TestRecord>(A)->setSerializeEnabled(false);
    for (const auto& frame :
         {testFrame(1, {A, B}), testFrame(2, {B}), disabled_frame, in_face_set, disabled_record}) {
        writer.writeData(frame);
    }
    writer.closeFiles();
    EXPECT_FALSE(writer.areFilesOpen());
    EXPECT_EQ(hexOfFile(dir / "KindA_x.vql"), hexOf({testFrame(1, {A}), testFrame(4, {A})}));
    EXPECT_EQ(hexOfFile(dir / "KindB_x.vql"),
              hexOf({testFrame(1, {B}), testFrame(2, {B}), testFrame(5, {B})}));

    // Unbuffered, with kind A on a full device: A, the lower ID, is written first and fails
    // at every write, so B is never reached; closing names the file that lost bytes.
    std::filesystem::create_symlink("/dev/full", dir / "KindA_y.vql");
    writer.newFiles({B, A}, dir.path(), "_y", 0);
    EXPECT_FILE_ERROR(writer.writeData(testFrame(1, {A, B})), "Failed to write to stream.");
    EXPECT_FILE_ERROR(writer.writeData(testFrame(2, {A, B})), "Failed to write to stream.");
    EXPECT_EQ(std::filesystem::file_size(dir / "KindB_y.vql"), 0u);
    EXPECT_FILE_ERROR(
        writer.closeFiles(),
        "EngineOutputDataFileWriter::closeFiles - could not write file " + (dir / "KindA_y.vql"));
}

TEST_F(EngineOutputDataFileWriterTest, KindFramesAroundTheLongHeader) {
    // Records of a kind whose frames need the short header, just the long one, and the long one
    // for the record too; each frame's bytes are those of a real frame holding the record.
    EngineOutputDataFileWriter::registerObjectIDFileName(vqtest::TEST_UNDERCOUNTED, L"Big");
    for (std::size_t values : {16376, 16377, 16380}) {
        writer.newFile(vqtest::TEST_UNDERCOUNTED, dir / "Big.vql", 65536);
        vq::eod::EngineOutputData frame;
        frame.setFrameNum(9);
        frame.addSubObject(
            boost::make_shared<vqtest::UndercountedRecord>(std::vector<std::int32_t>(values, 7)));
        writer.writeData(frame);
        writer.closeFiles();
        EXPECT_EQ(vqtest::readFile(dir / "Big.vql"), vqtest::serialized(frame)) << values;
    }
}

TEST_F(EngineOutputDataFileWriterTest, KindNamesAndPaths) {
    const std::pair<char, const wchar_t*> defaults[] = {
        {0x0A, L"Timing"},   {0x0B, L"Head"},        {0x10, L"HeadV2"},  {0x0F, L"Eye"},
        {0x14, L"Features"}, {0x5B, L"Face"},        {0x5D, L"FaceV2"},  {0x13, L"World"},
        {0x2B, L"WorldV2"},  {0x28, L"EngineState"}, {0x20, L"Inertia"}, {0x24, L"Custom_Events"},
        {0x22, L"GPS"},      {0x23, L"GPSV2"}};
    for (const auto& [id, name] : defaults) {
        EXPECT_EQ(EngineOutputDataFileWriter::objectIDToFileName(id), name);
    }
    const char late = 0x7E;
    EXPECT_FILE_ERROR(writer.newFiles({late}, dir.path(), "", 16),
                      "EngineOutputDataFileWriter::objectIDToFileName - unknown object ID");
    EngineOutputDataFileWriter::registerObjectIDFileName(late, L"Late");
    writer.newFiles({late}, dir.path() + "/", "", 16);
    writer.closeFiles();
    EXPECT_TRUE(std::filesystem::exists(dir / "Late.vql"));

    std::filesystem::create_directory(dir / "sub\\");
    writer.newFiles({late}, dir / "sub\\", "_1", 16);  // no '/' after a backslash either
    writer.closeFiles();
    EXPECT_TRUE(std::filesystem::exists(dir / "sub\\Late_1.vql"));

    // Two kinds under one name would share a file and lose records: refused before the second
    // opening truncates the first's file.
    EngineOutputDataFileWriter::registerObjectIDFileName(0x7D, L"Late");
    EXPECT_FILE_ERROR(writer.newFiles({late, 0x7D}, dir.path(), "", 16),
                      "EngineOutputDataFileWriter::newLogFiles: two object IDs share the file " +
                          (dir / "Late.vql"));
    writer.closeFiles();
}

TEST_F(EngineOutputDataFileWriterTest, MisuseAndFilesThatCannotBeOpened) {
    const auto frame = testFrame(1, {A});
    EXPECT_PRECONDITION(writer.writeData(*frame), SOURCE, "no files are open");
    EXPECT_PRECONDITION(writer.newFiles({}, dir.path(), "", 16), SOURCE,
                        "the list of object IDs to log cannot be empty");
    EXPECT_FILE_ERROR(writer.newFiles({A, B, A}, dir.path(), "", 16),
                      "EngineOutputDataFileWriter::newLogFiles: duplicate object IDs");
    EXPECT_TRUE(std::filesystem::exists(dir / "KindB.vql"));
    EXPECT_PRECONDITION(writer.newFile(dir / "x.vql", 16), SOURCE, "files already open");
    writer.closeFiles();

    const std::string missing = dir / "missing";
    EXPECT_FILE_ERROR(writer.newFiles({A}, missing, "", 16),
                      "EngineOutputDataFileWriter::newLogFiles: could not open file.");
    writer.closeFiles();
    EXPECT_FILE_ERROR(writer.newFile(A, missing + "/x.vql", 16),
                      "EngineOutputDataFileWriter::newFile: could not open file.");
    EXPECT_TRUE(writer.areFilesOpen());
    EXPECT_FILE_ERROR(writer.writeData(frame), "Failed to write to stream.");
    EXPECT_NO_THROW(writer.closeFiles());  // it never held anything

    // A frame read from bytes may hold a record that is not an engine record: its kind's file
    // refuses it, as a frame refuses it as a sub-object, even after an engine record of the kind.
    int pos = 0;
    const auto read = boost::dynamic_pointer_cast<vq::eod::EngineOutputData>(
        vq::eod::SerializableFactory::newObject(
            vqtest::bytes("09 00 0B 01 00 00 00 08 01 | 74 00 02 68 00"), pos));
    ASSERT_TRUE(read && read->hasSubObjectID(vqtest::TEST_PLAIN));
    vq::eod::io::EngineOutputDataFileWriter::registerObjectIDFileName(vqtest::TEST_PLAIN, L"Plain");
    writer.newFiles({vqtest::TEST_PLAIN}, dir.path(), "", 16);
    const auto engine_record = testFrame(7, {vqtest::TEST_PLAIN});
    writer.writeData(engine_record);
    EXPECT_SERIALIZABLE_ERROR(
        writer.writeData(*read),
        "EngineOutputBase::addSubObject - object not derived from EngineOutputBase");
    writer.closeFiles();
    EXPECT_EQ(hexOfFile(dir / "Plain.vql"), hexOf({engine_record}));
}

TEST_F(EngineOutputDataFileWriterTest, SingleFileAndALossAtClosing) {
    const vqtest::Frames frames = {testFrame(1, {A, B}), testFrame(2, {}), testFrame(3, {B})};
    writer.newFile(std::filesystem::path(dir / "all.vql").wstring(), 65536);
    for (const auto& frame : frames) {
        writer.writeData(*frame);
    }
    writer.closeFiles();
    EXPECT_EQ(hexOfFile(dir / "all.vql"), hexOf(frames));

    // Buffered: the loss shows when the files are closed.
    writer.newFile("/dev/full", 65536);
    writer.writeData(frames[0]);
    EXPECT_FILE_ERROR(writer.closeFiles(),
                      "EngineOutputDataFileWriter::closeFiles - could not write file /dev/full");
    EXPECT_FALSE(writer.areFilesOpen());
}

TEST_F(EngineOutputDataFileWriterTest, AWriterKilledPartWayLeavesEveryFlushedFrameReadable) {
    const std::string path = dir / "killed.vql";
    constexpr int BUFFER_BYTES = 1000;
    vqtest::ForkedChild recorder([&](int report) {
        EngineOutputDataFileWriter killed;
        killed.newFile(path, BUFFER_BYTES);
        for (unsigned int n = 1; n <= 1000000; ++n) {
            killed.writeData(*testFrame(n, {A, B}));
            vqtest::report(report, ".");  // one byte per frame handed to the writer
        }
    });
    std::string written;
    ASSERT_TRUE(recorder.read(written, 300, 10000));
    recorder.kill();
    // Of the frames handed over, at most the buffer's worth had not reached the file; every
    // whole frame in it reads back, a frame cut by the kill is reported, nothing else.
    const std::size_t size = std::filesystem::file_size(path);
    EXPECT_GE(size + BUFFER_BYTES, 300 * vqtest::serialized(*testFrame(1, {A, B})).size());
    EXPECT_EQ(readBackRecording(path), cutShortRecording(size));
}

TEST_F(EngineOutputDataFileWriterTest, ADiskThatFillsUpPartWayKeepsEveryFrameBeforeIt) {
    const std::string path = dir / "full.vql";
    EngineOutputDataFileWriter writer;
    const vqtest::FullDiskRun run = vqtest::runOnFullDisk(
        dir.path(), 100000,
        [&](unsigned long n) {
            if (n == 1) {
                writer.newFile(path, 0);  // unbuffered: a frame reaches the disk when written
            }
            writer.writeData(*testFrame(static_cast<unsigned int>(n), {A, B}));
        },
        [&] { writer.closeFiles(); },
        [&] {
            return std::to_string(std::filesystem::file_size(path)) + "|" + readBackRecording(path);
        });
    if (!run.skipped.empty()) {
        GTEST_SKIP() << run.skipped;
    }
    EXPECT_EQ(run.failure, "Failed to write to stream.");
    EXPECT_EQ(run.again, "Failed to write to stream.");
    EXPECT_EQ(run.closing, "EngineOutputDataFileWriter::closeFiles - could not write file " + path);
    // bytes on disk | what reads back: every frame before the one that met the full disk.
    const std::size_t size = std::stoul(run.after);
    EXPECT_EQ(run.after, std::to_string(size) + "|" + cutShortRecording(size));
    EXPECT_EQ(cutShortRecording(size).rfind(std::to_string(run.failed_at - 1) + " frames", 0), 0u);
    EXPECT_GT(run.failed_at, 1000u);
}

}  // namespace
