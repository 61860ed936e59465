// Helpers for the tests of record files and frame log files: temporary directories, whole-file
// reads and writes, frames of test records.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vqtest/expect.h"

namespace vqtest {

// A new empty directory under the system's temporary directory ($TMPDIR or /tmp), removed with
// everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return _path; }
    // path() + "/" + name
    std::string operator/(const std::string& name) const { return _path + "/" + name; }

private:
    std::string _path;
};

// The whole contents of a file (empty when it cannot be read).
vq::eod::ByteBuffer readFile(const std::string& path);
// Replaces (or, with `append`, extends) a file's contents.
void writeFile(const std::string& path, const vq::eod::ByteBuffer& bytes, bool append = false);

// Registers the test records and names the log files of two of them: TEST_RECORD_A "KindA",
// TEST_RECORD_B "KindB".
void registerTestLogKinds();

using Frames = std::vector<boost::shared_ptr<vq::eod::EngineOutputData>>;
// A frame numbered `frame_num` holding one TestRecord per ID, each with the value
// frame_num * 1000 + its ID, so that every record of a recording is told apart.
boost::shared_ptr<vq::eod::EngineOutputData> testFrame(unsigned int frame_num,
                                                       std::initializer_list<char> ids);
// The hex dump (hex.h) of the frames serialised back to back.
std::string hexOf(const Frames& frames);

}  // namespace vqtest

// Expects EngineOutputDataFileError whose what() is exactly `text`.
#define EXPECT_FILE_ERROR(statement, text) \
    EXPECT_ERROR_MESSAGE(statement, ::vq::eod::io::EngineOutputDataFileError, text)
