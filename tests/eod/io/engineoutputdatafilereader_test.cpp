// The frame log reader: merging per-kind files, merge lists, listing directories, damaged files.
#include "vq/eod/io/engineoutputdatafilereader.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>

#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

// Lets a test make the library's directory reads fail: this definition takes the place of the C
// library's for the whole test program, and passes through while readdir_error is 0.
namespace {
int readdir_error = 0;
}
extern "C" dirent* readdir(DIR* dir) {
    using Readdir = dirent* (*)(DIR*);
    static const auto next = reinterpret_cast<Readdir>(dlsym(RTLD_NEXT, "readdir"));
    if (readdir_error != 0) {
        errno = readdir_error;
        return nullptr;
    }
    return next(dir);
}

namespace {

namespace fs = std::filesystem;
using vq::eod::EngineOutputData;
using vq::eod::io::EngineOutputDataFileError;
using vq::eod::io::EngineOutputDataFileReader;
using vq::eod::io::EngineOutputDataFileWriter;
using vqtest::TEST_RECORD_A;
using vqtest::TEST_RECORD_B;
using vqtest::testFrame;
using Frames = std::vector<boost::shared_ptr<EngineOutputData>>;
using Hexes = std::vector<std::string>;

constexpr const char* SOURCE = "src/eod/io/engineoutputdatafilereader.cpp";
const std::string LISTING = "EngineOutputDataFileReader::logFilesInDir - ";
const std::string CORRUPT = "EngineOutputDataFileReader::readData() - corrupt or invalid logfile";

#define EXPECT_FILE_ERROR(statement, text) \
    EXPECT_ERROR_MESSAGE(statement, EngineOutputDataFileError, text)

Hexes hexes(const Frames& frames) {
    Hexes result;
    for (const auto& frame : frames) {
        result.push_back(vqtest::hex(vqtest::serialized(*frame)));
    }
    return result;
}

// The frames that the reader returns until null (at most 20).
Hexes readAll(EngineOutputDataFileReader& reader) {
    Frames frames;
    for (int i = 0; i < 20; ++i) {
        const auto frame = reader.readData();
        if (!frame) {
            break;
        }
        frames.push_back(frame);
    }
    return hexes(frames);
}

class EngineOutputDataFileReaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        vqtest::registerTestRecords();
        EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_A, L"KindA");
        EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_B, L"KindB");
    }
    // Writes the frames into KindA<suffix>.vql and KindB<suffix>.vql, or all into one file.
    void write(const Frames& frames, const std::string& suffix = "", bool single = false) {
        EngineOutputDataFileWriter writer;
        if (single) {
            writer.newFile(dir / suffix, 4096);
        } else {
            writer.newFiles({TEST_RECORD_A, TEST_RECORD_B}, dir.path(), suffix, 4096);
        }
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
    const Frames frames = {testFrame(1, {TEST_RECORD_A}),
                           testFrame(2, {TEST_RECORD_A, TEST_RECORD_B}),
                           testFrame(3, {TEST_RECORD_B}), testFrame(4, {TEST_RECORD_A})};
    write(frames);
    reader.openFiles(dir.path());
    const Hexes expected = hexes(frames);
    EngineOutputDataFileReader copy = reader;  // shares the files and their positions
    EXPECT_EQ(hexes({reader.readData()}), Hexes{expected[0]});
    EXPECT_EQ(hexes({copy.readData()}), Hexes{expected[1]});
    EXPECT_EQ(readAll(reader), Hexes(expected.begin() + 2, expected.end()));
    EXPECT_TRUE(copy.endOfData());

    // Only kind A: frame 3 disappears, frame 2 loses its B record.
    reader.closeFiles();
    EXPECT_FALSE(reader.areFilesOpen());
    reader.openFiles({TEST_RECORD_A}, dir.path());
    EXPECT_EQ(readAll(reader), hexes({testFrame(1, {TEST_RECORD_A}), testFrame(2, {TEST_RECORD_A}),
                                      testFrame(4, {TEST_RECORD_A})}));

    // The list outlives closeFiles(). A frame without records is skipped; when only frames
    // without kind A are left, one empty frame numbered 0xFFFFFFFF stands for them.
    reader.closeFiles();
    write({testFrame(1, {TEST_RECORD_A}), testFrame(2, {}), testFrame(3, {TEST_RECORD_B})},
          "single.vql", true);
    reader.openFile(dir / "single.vql");
    EXPECT_EQ(readAll(reader),
              (Hexes{hexes({testFrame(1, {TEST_RECORD_A})})[0], "09 00 06 01 FF FF FF FF 00"}));
    EXPECT_FALSE(reader.readData());
}

TEST_F(EngineOutputDataFileReaderTest, SingleFileRecordingWrittenAgainIsByteIdentical) {
    const Frames frames = {testFrame(5, {TEST_RECORD_A, TEST_RECORD_B}),
                           testFrame(6, {vqtest::TEST_NEGATIVE}), testFrame(9, {TEST_RECORD_B})};
    write(frames, "first.vql", true);
    reader.openFile(std::filesystem::path(dir / "first.vql").wstring());
    EngineOutputDataFileWriter writer;
    writer.newFile(dir / "again.vql", 65536);
    while (const auto frame = reader.readData()) {
        writer.writeData(frame);
    }
    writer.closeFiles();
    EXPECT_EQ(vqtest::hex(vqtest::readFile(dir / "again.vql")),
              vqtest::hex(vqtest::readFile(dir / "first.vql")));

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
    std::vector<std::wstring> expected;
    for (const auto& entry : fs::directory_iterator(logs)) {
        if (entry.path().extension() == ".vql" && !entry.is_directory()) {
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
    using R = EngineOutputDataFileReader;
    EXPECT_FILE_ERROR(R::logFilesInDir(L"/no/such/dir"),
                      LISTING + "No logfiles found in /no/such/dir");
    fs::create_directories(dir / "only_dirs/x.vql");
    vqtest::writeFile(dir / "only_dirs/notes.txt", {});
    EXPECT_FILE_ERROR(R::logFilesInDir(fs::path(dir.path()).wstring()),
                      LISTING + "No logfiles found in " + dir.path());
    EXPECT_FILE_ERROR(
        reader.openFiles(dir / "only_dirs"),
        "EngineOutputDataFileReader::openFiles - no logfiles found in " + (dir / "only_dirs"));
    EXPECT_FILE_ERROR(R::logFilesInDir(fs::path(dir / "only_dirs/notes.txt").wstring()),
                      LISTING + " FindFirstFile failed with error code 20");  // ENOTDIR
    EXPECT_FILE_ERROR(R::logFilesInDir(std::wstring(L"a\0b", 3)),
                      LISTING + "not a valid directory: a");  // what() ends at the 0
    readdir_error = EIO;
    EXPECT_FILE_ERROR(R::logFilesInDir(fs::path(dir.path()).wstring()),
                      LISTING + "FindNextFile failed with error code 5");
    readdir_error = 0;

    // A file that went away between listing and opening.
    fs::create_directory(dir / "gone");
    fs::create_symlink(dir / "nothing", dir / "gone/g.vql");
    EXPECT_FILE_ERROR(
        reader.openFiles(dir / "gone"),
        "EngineOutputDataFileReader::openFiles - could not open file " + (dir / "gone/g.vql"));
    EXPECT_FALSE(reader.areFilesOpen());
    EXPECT_FILE_ERROR(
        reader.openFile(dir / "missing.vql"),
        "EngineOutputDataFileReader::openFiles - could not open file " + (dir / "missing.vql"));
}

// Whether this process can give up the right to read any file (root can, in a user namespace).
bool canDropFileRights() {
    if (geteuid() != 0) {
        return true;
    }
    const pid_t child = fork();
    if (child == 0) {
        _exit(unshare(CLONE_NEWUSER) == 0 ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

TEST_F(EngineOutputDataFileReaderTest, ADirectoryWithoutPermission) {
    if (!canDropFileRights()) {
        GTEST_SKIP() << "running as root without user namespaces: permissions do not apply";
    }
    const std::string locked = dir / "locked";
    fs::create_directory(locked);
    vqtest::writeFile(locked + "/a.vql", {});
    fs::permissions(locked, fs::perms::none);
    EXPECT_EXIT(
        {
            if (geteuid() == 0 && unshare(CLONE_NEWUSER) != 0) {
                _exit(2);
            }
            try {
                EngineOutputDataFileReader::logFilesInDir(fs::path(locked).wstring());
            } catch (const EngineOutputDataFileError& error) {
                std::cerr << error.what();
                _exit(0);
            }
            _exit(1);
        },
        ::testing::ExitedWithCode(0), "FindFirstFile failed with error code 13");
    fs::permissions(locked, fs::perms::owner_all);
}

TEST_F(EngineOutputDataFileReaderTest, ARecordingCutShortKeepsEveryFrameBeforeTheDamage) {
    Frames frames;
    for (unsigned int n = 1; n <= 4; ++n) {
        frames.push_back(testFrame(n, {TEST_RECORD_A, TEST_RECORD_B}));
    }
    write(frames);
    fs::resize_file(dir / "KindA.vql", fs::file_size(dir / "KindA.vql") - 3);
    reader.openFiles(dir.path());
    const Hexes expected = hexes(frames);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(hexes({reader.readData()}), Hexes{expected[i]});
    }
    EXPECT_FILE_ERROR(reader.readData(), CORRUPT);
    EXPECT_EQ(readAll(reader), hexes({testFrame(4, {TEST_RECORD_B})}));
    EXPECT_TRUE(reader.endOfData());
}

TEST_F(EngineOutputDataFileReaderTest, DamagedFilesAreReportedAndReadingGoesOn) {
    const vq::eod::ByteBuffer good = vqtest::serialized(*testFrame(2, {TEST_RECORD_A}));
    struct Case {
        const char* bytes;
        std::string error;
        bool goes_on;  // the frame after the damage is still read
    };
    const Case cases[] = {
        {"74 00 02 68 00", CORRUPT, true},                  // not a frame
        {"7F 00 02 AA BB", CORRUPT, true},                  // unknown class
        {"09 00 07 01 00 00 00 01 00 00", CORRUPT, true},   // size does not match
        {"09 FF FF FF FF FF F0 01 00 00", CORRUPT, false},  // ~4 GiB announced
        {"09 00 0B 01 00 00 00 01 01 | 74 00 02 68 00",     // a plain record inside
         "EngineOutputDataFileReader::readData() - invalid sub-object", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        vqtest::writeFile(dir / "bad.vql", vqtest::bytes(c.bytes));
        vqtest::writeFile(dir / "bad.vql", good, true);
        EngineOutputDataFileReader bad;
        bad.openFile(dir / "bad.vql");
        EXPECT_FILE_ERROR(bad.readData(), c.error);
        EXPECT_EQ(readAll(bad), c.goes_on ? Hexes{vqtest::hex(good)} : Hexes{});
    }

    vqtest::writeFile(dir / "bad.vql", vqtest::bytes("09 00 02 01 00"));  // no frame number
    reader.openFile(dir / "bad.vql");
    EXPECT_SERIALIZABLE_ERROR(reader.readData(),
                              "Serializable::checkReadPos() - Attempt to read past end of buffer.");
    reader.closeFiles();

    // Two files giving kind A for frame 1: that frame is dropped, frame 2 follows.
    fs::remove(dir / "bad.vql");
    write({testFrame(1, {TEST_RECORD_A})}, "_1");
    write({testFrame(1, {TEST_RECORD_A}), testFrame(2, {TEST_RECORD_A})}, "_2");
    reader.openFiles(dir.path());
    EXPECT_SERIALIZABLE_ERROR(
        reader.readData(),
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");
    EXPECT_EQ(readAll(reader), Hexes{vqtest::hex(good)});
}

}  // namespace
