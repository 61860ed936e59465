// The frame log reader: merging per-kind files, merge lists, listing directories, damaged files.
#include "vq/eod/io/engineoutputdatafilereader.h"

#include <dirent.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/systemcalls.h"
#include "vqtest/testrecords.h"

namespace {

namespace fs = std::filesystem;
using vq::eod::io::EngineOutputDataFileReader;
using vqtest::Frames;
using vqtest::hexOf;
using vqtest::testFrame;

constexpr char A = vqtest::TEST_RECORD_A;
constexpr char B = vqtest::TEST_RECORD_B;
constexpr const char* SOURCE = "src/eod/io/engineoutputdatafilereader.cpp";
const std::string LISTING = "EngineOutputDataFileReader::logFilesInDir - ";
const std::string OPENING = "EngineOutputDataFileReader::openFiles - ";
const std::string CORRUPT = "EngineOutputDataFileReader::readData() - corrupt or invalid logfile";

// The frames that the reader returns until null (at most 20), serialised back to back.
std::string readAll(EngineOutputDataFileReader& reader) {
    Frames frames;
    for (int i = 0; i < 20 && (frames.empty() || frames.back()); ++i) {
        frames.push_back(reader.readData());
    }
    frames.pop_back();
    return hexOf(frames);
}

class EngineOutputDataFileReaderTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestLogKinds(); }
    // Writes the frames into one file per kind (<Kind><name>.vql), or all into the file `name`.
    void write(const Frames& frames, const std::string& name = "", bool single = false) {
        vq::eod::io::EngineOutputDataFileWriter writer;
        single ? writer.newFile(dir / name, 4096) : writer.newFiles({A, B}, dir.path(), name, 4096);
        for (const auto& frame : frames) {
            writer.writeData(*frame);
        }
        writer.closeFiles();
    }
    vqtest::TempDir dir;
    EngineOutputDataFileReader reader;
};

TEST_F(EngineOutputDataFileReaderTest, MergesPerKindFilesByFrameNumber) {
    // Kind A (head-like) in frames 1, 2, 4; kind B (timing-like) in frames 2, 3.
    const Frames frames = {testFrame(1, {A}), testFrame(2, {A, B}), testFrame(3, {B}),
                           testFrame(4, {A})};
    write(frames);
    reader.openFiles(dir.path());
    EngineOutputDataFileReader copy = reader;  // shares the files and their positions
    EXPECT_EQ(hexOf({reader.readData(), copy.readData()}), hexOf({frames[0], frames[1]}));
    EXPECT_EQ(readAll(reader), hexOf({frames[2], frames[3]}));
    EXPECT_TRUE(copy.endOfData());

    // Only kind A: frame 3 disappears, frame 2 loses its B record.
    reader.closeFiles();
    reader.openFiles({A}, dir.path());
    EXPECT_EQ(readAll(reader), hexOf({testFrame(1, {A}), testFrame(2, {A}), testFrame(4, {A})}));

    // The list outlives closeFiles(). A frame without records is skipped; when only frames
    // without kind A are left, one empty frame numbered 0xFFFFFFFF stands for them.
    reader.closeFiles();
    write({testFrame(1, {A}), testFrame(2, {}), testFrame(3, {B})}, "single.vql", true);
    reader.openFile(dir / "single.vql");
    EXPECT_EQ(readAll(reader), hexOf({testFrame(1, {A})}) + " 09 00 06 01 FF FF FF FF 00");
}

TEST_F(EngineOutputDataFileReaderTest, SingleFileRecordingWrittenAgainIsByteIdentical) {
    write({testFrame(5, {A, B}), testFrame(6, {vqtest::TEST_NEGATIVE}), testFrame(9, {B})},
          "first.vql", true);
    reader.openFile(fs::path(dir / "first.vql").wstring());
    vq::eod::io::EngineOutputDataFileWriter writer;
    writer.newFile(dir / "again.vql", 65536);
    while (const auto frame = reader.readData()) {
        writer.writeData(frame);
    }
    writer.closeFiles();
    EXPECT_EQ(vqtest::readFile(dir / "again.vql"), vqtest::readFile(dir / "first.vql"));

    EXPECT_PRECONDITION(reader.openFile(dir / "first.vql"), SOURCE, "files already open");
    EXPECT_PRECONDITION(reader.openFiles(dir.path()), SOURCE, "files already open");
    reader.closeFiles();
    EXPECT_PRECONDITION(reader.readData(), SOURCE, "files are not open");
}

TEST_F(EngineOutputDataFileReaderTest, ListsLogFilesInTheOrderOfTheDirectory) {
    const std::string logs = dir / "logs";
    fs::create_directories(logs + "/sub.vql");
    for (const char* name : {"b.vql", "a.vql", "c.txt", "z.vql"}) {
        vqtest::writeFile(logs + "/" + name, {});
    }
    // What is not a regular file would block a reader (a FIFO) or never end (a device).
    ASSERT_EQ(mkfifo((logs + "/fifo.vql").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", logs + "/zero.vql");
    std::vector<std::wstring> expected;
    for (const auto& entry : fs::directory_iterator(logs)) {
        if (entry.path().extension() == ".vql" && entry.is_regular_file()) {
            expected.push_back(fs::path(logs).wstring() + L"/" + entry.path().filename().wstring());
        }
    }
    EXPECT_EQ(expected.size(), 3u);
    EXPECT_EQ(EngineOutputDataFileReader::logFilesInDir(fs::path(logs).wstring()), expected);

    // A trailing separator still gets its '/'; on Linux a backslash is part of the name.
    fs::create_directory(dir / "win\\");
    vqtest::writeFile(dir / "win\\/x.vql", {});
    EXPECT_EQ(EngineOutputDataFileReader::logFilesInDir(fs::path(dir / "win\\").wstring()),
              std::vector<std::wstring>{fs::path(dir / "win\\/x.vql").wstring()});
}

TEST_F(EngineOutputDataFileReaderTest, ListingAndOpeningErrors) {
    const auto list = [](const std::string& directory) {
        EngineOutputDataFileReader::logFilesInDir(fs::path(directory).wstring());
    };
    EXPECT_FILE_ERROR(list("/no/such"), LISTING + "No logfiles found in /no/such");
    fs::create_directories(dir / "only_dirs/x.vql");
    vqtest::writeFile(dir / "only_dirs/notes.txt", {});
    EXPECT_FILE_ERROR(list(dir.path()), LISTING + "No logfiles found in " + dir.path());
    EXPECT_FILE_ERROR(reader.openFiles(dir / "only_dirs"),
                      OPENING + "no logfiles found in " + (dir / "only_dirs"));
    EXPECT_FILE_ERROR(list(dir / "only_dirs/notes.txt"),
                      LISTING + " FindFirstFile failed with error code 20");  // ENOTDIR
    EXPECT_FILE_ERROR(list(std::string("a\0b", 3)), LISTING + "not a valid directory: a");
    // Failures that root cannot provoke: an unreadable directory, a failing read of one.
    auto failing_open = vq::eod::io::detail::realSystemCalls();
    failing_open.opendir = [](const char*) -> DIR* { return errno = EACCES, nullptr; };
    auto failing_read = vq::eod::io::detail::realSystemCalls();
    failing_read.readdir = [](DIR*) -> dirent* { return errno = EIO, nullptr; };
    for (const auto& [calls, error] :
         {std::pair{failing_open, " FindFirstFile failed with error code 13"},
          std::pair{failing_read, "FindNextFile failed with error code 5"}}) {
        const vqtest::SystemCallsOverride failing(calls);
        EXPECT_FILE_ERROR(list(dir / "only_dirs"), LISTING + error);
    }

    // A file that went away between listing and opening.
    fs::create_directory(dir / "gone");
    fs::create_symlink(dir / "nothing", dir / "gone/g.vql");
    EXPECT_FILE_ERROR(reader.openFiles(dir / "gone"),
                      OPENING + "could not open file " + (dir / "gone/g.vql"));
    EXPECT_FALSE(reader.areFilesOpen());
}

TEST_F(EngineOutputDataFileReaderTest, ARecordingCutShortKeepsEveryFrameBeforeTheDamage) {
    const Frames frames = {testFrame(1, {A, B}), testFrame(2, {A, B}), testFrame(3, {A, B}),
                           testFrame(4, {A, B})};
    write(frames);
    fs::resize_file(dir / "KindA.vql", fs::file_size(dir / "KindA.vql") - 3);
    reader.openFiles(dir.path());
    EXPECT_EQ(hexOf({reader.readData(), reader.readData(), reader.readData()}),
              hexOf({frames[0], frames[1], frames[2]}));
    EXPECT_FILE_ERROR(reader.readData(), CORRUPT);
    EXPECT_EQ(readAll(reader), hexOf({testFrame(4, {B})}));
}

TEST_F(EngineOutputDataFileReaderTest, DamagedFilesAreReportedAndReadingGoesOn) {
    const std::string good = hexOf({testFrame(2, {A})});
    struct Case {
        const char* bytes;
        std::string error;
        bool goes_on;  // the good frame after the damage is still read
    };
    const Case cases[] = {
        {"74 00 02 68 00", CORRUPT, true},                  // not a frame
        {"7F 00 02 AA BB", CORRUPT, true},                  // unknown class
        {"09 00 07 01 00 00 00 01 00 00", CORRUPT, true},   // size does not match
        {"09 FF FF FF FF FF F0 01 00 00", CORRUPT, false},  // ~4 GiB announced: takes the rest
        {"09 00 0B 01 00 00 00 01 01 | 74 00 02 68 00",     // a plain record inside
         "EngineOutputDataFileReader::readData() - invalid sub-object", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        vqtest::writeFile(dir / "bad.vql", vqtest::bytes(c.bytes + good));
        EngineOutputDataFileReader bad;
        bad.openFile(dir / "bad.vql");
        EXPECT_FILE_ERROR(bad.readData(), c.error);
        EXPECT_EQ(readAll(bad), c.goes_on ? good : "");
    }
    vqtest::writeFile(dir / "bad.vql", vqtest::bytes("09 00 02 01 00"));  // no frame number
    reader.openFile(dir / "bad.vql");
    EXPECT_SERIALIZABLE_ERROR(reader.readData(),
                              "Serializable::checkReadPos() - Attempt to read past end of buffer.");
    reader.closeFiles();

    // Two files giving kind A for frame 1: that frame is dropped whole, frame 2 follows.
    fs::remove(dir / "bad.vql");
    write({testFrame(1, {A})}, "_1");
    write({testFrame(1, {A}), testFrame(2, {A})}, "_2");
    reader.openFiles(dir.path());
    EXPECT_SERIALIZABLE_ERROR(
        reader.readData(),
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");
    EXPECT_EQ(readAll(reader), good);
}

}  // namespace
