// Helpers for the tests of compressed frame files: a recording of numbered frames written with
// small chunks, and a read-back that says which frames came and what was reported.
#pragma once

#include <string>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/io/compressingfilewriter.h"

namespace vqtest {

// Frame n: the records TEST_RECORD_A and TEST_RECORD_B (as testFrame) and a timing record whose
// experiment time is n / 100 s.
boost::shared_ptr<vq::eod::EngineOutputData> timedFrame(unsigned int frame_num);

// Options of small chunks: closed at `chunk_bytes`, never by age.
vq::eod::io::CompressingFileWriter::Options smallChunks(std::size_t chunk_bytes = 1000);

// Writes timedFrame(1) to timedFrame(count) to `path` and closes the file.
void writeTimedFrames(const std::string& path, unsigned int count,
                      const vq::eod::io::CompressingFileWriter::Options& options);

// Reads the file to its end: the frame numbers read as ranges ("1-40"), with every error raised
// between them in brackets ("1-40 [<message>] 61-100"); "frame <n> differs" ends it when a
// frame is not byte for byte timedFrame(n). An opening error is the whole answer.
std::string readBackTimed(const std::string& path);

}  // namespace vqtest
