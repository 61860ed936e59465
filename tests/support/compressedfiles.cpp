#include "vqtest/compressedfiles.h"

#include <boost/make_shared.hpp>

#include "vq/eod/io/decompressingfilereader.h"
#include "vq/eod/timingoutputdata.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace vqtest {

boost::shared_ptr<vq::eod::EngineOutputData> timedFrame(unsigned int frame_num) {
    auto frame = testFrame(frame_num, {TEST_RECORD_A, TEST_RECORD_B});
    auto timing = boost::make_shared<vq::eod::TimingOutputData>();
    timing->setExperimentTime(frame_num / 100.0);
    frame->addSubObject(timing);
    return frame;
}

vq::eod::io::CompressingFileWriter::Options smallChunks(std::size_t chunk_bytes) {
    vq::eod::io::CompressingFileWriter::Options options;
    options.chunk_bytes = chunk_bytes;
    options.chunk_age = std::chrono::hours(1);
    return options;
}

void writeTimedFrames(const std::string& path, unsigned int count,
                      const vq::eod::io::CompressingFileWriter::Options& options) {
    vq::eod::io::CompressingFileWriter writer;
    writer.newFile(path, options);
    for (unsigned int n = 1; n <= count; ++n) {
        writer.writeData(*timedFrame(n));
    }
    writer.closeFile();
}

std::string readBackTimed(const std::string& path) {
    vq::eod::io::DecompressingFileReader reader;
    try {
        reader.open(path);
    } catch (const std::exception& error) {
        return error.what();
    }
    std::string text;
    long first = -1;
    long last = -1;
    auto endRange = [&] {
        if (first >= 0) {
            text += (text.empty() ? "" : " ") + std::to_string(first) + "-" + std::to_string(last);
        }
        first = -1;
    };
    for (;;) {
        try {
            const auto frame = reader.readData();
            if (!frame) {
                break;
            }
            const long n = frame->frameNum();
            if (serialized(*frame) != serialized(*timedFrame(frame->frameNum()))) {
                endRange();
                return text + " frame " + std::to_string(n) + " differs";
            }
            if (first < 0 || n != last + 1) {
                endRange();
                first = n;
            }
            last = n;
        } catch (const std::exception& error) {
            endRange();
            text += (text.empty() ? "[" : " [") + std::string(error.what()) + "]";
        }
    }
    endRange();
    return text;
}

}  // namespace vqtest
