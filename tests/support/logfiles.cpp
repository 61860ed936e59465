#include "vqtest/logfiles.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vqtest/hex.h"
#include "vqtest/testrecords.h"

namespace vqtest {

TempDir::TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/vq_corelog_test_XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory from " + pattern);
    }
    _path = name.data();
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

vq::eod::ByteBuffer readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return vq::eod::ByteBuffer(std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const vq::eod::ByteBuffer& bytes, bool append) {
    std::ofstream file(path, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

void registerTestLogKinds() {
    using vq::eod::io::EngineOutputDataFileWriter;
    registerTestRecords();
    EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_A, L"KindA");
    EngineOutputDataFileWriter::registerObjectIDFileName(TEST_RECORD_B, L"KindB");
}

boost::shared_ptr<vq::eod::EngineOutputData> testFrame(unsigned int frame_num,
                                                       std::initializer_list<char> ids) {
    boost::shared_ptr<vq::eod::EngineOutputData> frame(new vq::eod::EngineOutputData);
    frame->setFrameNum(frame_num);
    for (char id : ids) {
        frame->addSubObject(testRecord(id, static_cast<std::int32_t>(frame_num * 1000 + id)));
    }
    return frame;
}

std::string hexOf(const Frames& frames) {
    vq::eod::ByteBuffer all;
    for (const auto& frame : frames) {
        frame->serialize(all);
    }
    return hex(all);
}

}  // namespace vqtest
