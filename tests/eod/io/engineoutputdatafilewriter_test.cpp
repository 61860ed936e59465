// The frame log writer: file names, per-kind contents, write order, and failures.
#include "vq/eod/io/engineoutputdatafilewriter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::EngineOutputData;
using vq::eod::io::EngineOutputDataFileError;
using vq::eod::io::EngineOutputDataFileWriter;
using vqtest::TEST_RECORD_A;
using vqtest::TEST_RECORD_B;
using vqtest::testFrame;
using Frames = std::initializer_list<boost::shared_ptr<EngineOutputData>>;

constexpr const char* SOURCE = "src/eod/io/engineoutputdatafilewriter.cpp";

#define EXPECT_FILE_ERROR(statement, text) \
    EXPECT_ERROR_MESSAGE(statement, EngineOutputDataFileError, text)

std::string hexOf(Frames frames) {
    vq::eod::ByteBuffer all;
    for (const auto& frame : frames) {
        frame->serialize(all);
    }
    return vqtest::hex(all);
}

std::string hexOfFile(const std::string& path) {
    return vqtest::hex(vqtest::readFile(path));
}

// Notes the order in which records are serialised.
std::vector<char> serialised_ids;
class NotingRecord : public vqtest::TestRecord {
public:
    using TestRecord::TestRecord;

protected:
    void appendEngineSpecificData(vq::eod::ByteBuffer& buffer) const override {
        serialised_ids.push_back(objectID());
        TestRecord::appendEngineSpecificData(buffer);
    }
};

class EngineOutputDataFileWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        vqtest::registerTestRecords();
        EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_A, L"KindA");
        EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_B, L"KindB");
    }
    vqtest::TempDir dir;
    EngineOutputDataFileWriter writer;
};

TEST_F(EngineOutputDataFileWriterTest, OneFilePerKindInAscendingOrder) {
    writer.newFiles({TEST_RECORD_B, TEST_RECORD_A}, dir.path(), "_x", 65536);
    EXPECT_TRUE(std::filesystem::exists(dir / "KindB_x.vql"));

    auto disabled_frame = testFrame(3, {TEST_RECORD_A, TEST_RECORD_B});
    disabled_frame->setSerializeEnabled(false);
    auto in_face_set = testFrame(4, {});
    auto face_set = vqtest::testRecord(vq::eod::object_id::FACE_SET_OUTPUT_DATA);
    face_set->addSubObject(vqtest::testRecord(TEST_RECORD_A, 4000 + TEST_RECORD_A));
    in_face_set->addSubObject(face_set);
    auto disabled_record = testFrame(5, {TEST_RECORD_A, TEST_RECORD_B});
    disabled_record->subObjectAs<vqtest::TestRecord>(TEST_RECORD_A)->setSerializeEnabled(false);
    for (const auto& frame :
         {testFrame(1, {TEST_RECORD_A, TEST_RECORD_B}), testFrame(2, {TEST_RECORD_B}),
          disabled_frame, in_face_set, disabled_record}) {
        writer.writeData(frame);
    }
    EngineOutputData noting;
    noting.addSubObject(boost::shared_ptr<NotingRecord>(new NotingRecord(TEST_RECORD_B)));
    noting.addSubObject(boost::shared_ptr<NotingRecord>(new NotingRecord(TEST_RECORD_A)));
    serialised_ids.clear();
    writer.writeData(noting);
    EXPECT_EQ(serialised_ids, (std::vector<char>{TEST_RECORD_A, TEST_RECORD_B}));
    writer.closeFiles();
    EXPECT_FALSE(writer.areFilesOpen());

    auto noting_a = testFrame(0, {});
    noting_a->addSubObject(vqtest::testRecord(TEST_RECORD_A));
    EXPECT_EQ(hexOfFile(dir / "KindA_x.vql"),
              hexOf({testFrame(1, {TEST_RECORD_A}), testFrame(4, {TEST_RECORD_A}), noting_a}));
    auto noting_b = testFrame(0, {});
    noting_b->addSubObject(vqtest::testRecord(TEST_RECORD_B));
    EXPECT_EQ(hexOfFile(dir / "KindB_x.vql"),
              hexOf({testFrame(1, {TEST_RECORD_B}), testFrame(2, {TEST_RECORD_B}),
                     testFrame(5, {TEST_RECORD_B}), noting_b}));
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
    EXPECT_FILE_ERROR(EngineOutputDataFileWriter::objectIDToFileName(late),
                      "EngineOutputDataFileWriter::objectIDToFileName - unknown object ID");
    EXPECT_FILE_ERROR(writer.newFiles({late}, dir.path(), "", 16),
                      "EngineOutputDataFileWriter::objectIDToFileName - unknown object ID");
    writer.closeFiles();
    EngineOutputDataFileWriter::registerObjectIDFileName(late, L"Late");
    writer.newFiles({late}, dir.path() + "/", "", 16);
    writer.closeFiles();
    EXPECT_TRUE(std::filesystem::exists(dir / "Late.vql"));

    std::filesystem::create_directory(dir / "sub\\");
    writer.newFiles({late}, dir / "sub\\", "_1", 16);  // no '/' after a backslash either
    writer.closeFiles();
    EXPECT_TRUE(std::filesystem::exists(dir / "sub\\Late_1.vql"));
}

TEST_F(EngineOutputDataFileWriterTest, MisuseAndFilesThatCannotBeOpened) {
    const auto frame = testFrame(1, {TEST_RECORD_A});
    EXPECT_PRECONDITION(writer.writeData(*frame), SOURCE, "no files are open");
    EXPECT_PRECONDITION(writer.writeData(nullptr), SOURCE, "frame is NULL");
    EXPECT_PRECONDITION(writer.newFiles({}, dir.path(), "", 16), SOURCE,
                        "the list of object IDs to log cannot be empty");
    EXPECT_FILE_ERROR(
        writer.newFiles({TEST_RECORD_A, TEST_RECORD_B, TEST_RECORD_A}, dir.path(), "", 16),
        "EngineOutputDataFileWriter::newLogFiles: duplicate object IDs");
    EXPECT_TRUE(std::filesystem::exists(dir / "KindB.vql"));
    EXPECT_PRECONDITION(writer.newFile(dir / "x.vql", 16), SOURCE, "files already open");
    writer.closeFiles();

    const std::string missing = dir / "missing";
    EXPECT_FILE_ERROR(writer.newFiles({TEST_RECORD_A}, missing, "", 16),
                      "EngineOutputDataFileWriter::newLogFiles: could not open file.");
    writer.closeFiles();
    EXPECT_FILE_ERROR(writer.newFile(missing + "/x.vql", 16),
                      "EngineOutputDataFileWriter::newFile: could not open file.");
    EXPECT_TRUE(writer.areFilesOpen());
    EXPECT_FILE_ERROR(writer.writeData(frame), "Failed to write to stream.");
    EXPECT_NO_THROW(writer.closeFiles());  // it never held anything
    EXPECT_FILE_ERROR(writer.newFile(TEST_RECORD_A, missing + "/x.vql", 16),
                      "EngineOutputDataFileWriter::newFile: could not open file.");
}

TEST_F(EngineOutputDataFileWriterTest, SingleFileAndAFullDisk) {
    const Frames frames = {testFrame(1, {TEST_RECORD_A, TEST_RECORD_B}), testFrame(2, {}),
                           testFrame(3, {TEST_RECORD_B})};
    writer.newFile(std::filesystem::path(dir / "all.vql").wstring(), 65536);
    for (const auto& frame : frames) {
        writer.writeData(*frame);
    }
    writer.closeFiles();
    EXPECT_EQ(hexOfFile(dir / "all.vql"), hexOf(frames));

    // Buffered: the loss shows when the files are closed.
    writer.newFile("/dev/full", 65536);
    writer.writeData(testFrame(1, {TEST_RECORD_A}));
    EXPECT_FILE_ERROR(writer.closeFiles(),
                      "EngineOutputDataFileWriter::closeFiles - could not write file /dev/full");
    EXPECT_FALSE(writer.areFilesOpen());

    // Unbuffered: every write that reaches the file fails, the first and every later one.
    writer.newFiles({TEST_RECORD_A, TEST_RECORD_B}, dir.path(), "", 16);
    writer.closeFiles();
    writer.newFile(TEST_RECORD_A, "/dev/full", 0);
    const auto frame = testFrame(2, {TEST_RECORD_A});
    EXPECT_FILE_ERROR(writer.writeData(frame), "Failed to write to stream.");
    EXPECT_FILE_ERROR(writer.writeData(frame), "Failed to write to stream.");
    EXPECT_FILE_ERROR(writer.closeFiles(),
                      "EngineOutputDataFileWriter::closeFiles - could not write file /dev/full");
}

}  // namespace
