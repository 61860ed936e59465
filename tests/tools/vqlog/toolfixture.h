// Shared by the tests of vqlog: running it, and small recordings made with the library alone.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "vq/corelog.h"
#include "vqtest/logfiles.h"
#include "vqtest/process.h"

namespace vqtest {

// Runs vqlog with these arguments (every run ends within 30 s).
inline ProcessResult vqlog(std::vector<std::string> args) {
    args.insert(args.begin(), VQLOG_PATH);
    return runProcess(args);
}

// The address "127.0.0.1:PORT" of a `vqlog serve` started with --port, from its first line.
inline std::string serveAddress(ChildProcess& serve) {
    const std::string line = serve.readLine(10000);
    EXPECT_NE(line.rfind(':'), std::string::npos) << line;
    return "127.0.0.1:" + line.substr(line.rfind(':') + 1);
}

// Whether the program wrote `text` to standard output or standard error.
inline bool contains(const ProcessResult& result, const std::string& text) {
    return (result.out + result.err).find(text) != std::string::npos;
}

// Frame `n` of a 50 Hz recording: timing, and with `state` the engine state (1) with the head
// tracker's (2).
inline boost::shared_ptr<vq::eod::EngineOutputData> timedFrame(unsigned int n, bool state) {
    using namespace vq::eod;
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(n);
    boost::shared_ptr<TimingOutputData> timing(new TimingOutputData);
    timing->setExperimentTime(n * 0.02);
    timing->setFrameTimeSeconds(1700000000);
    timing->setFrameTimeMilliseconds(static_cast<unsigned short>(n * 20));
    timing->setApproxDelay(0.015f);
    frame->addSubObject(timing);
    if (state) {
        boost::shared_ptr<EngineStateOutputData> engine(new EngineStateOutputData(1));
        engine->addSubObject(
            boost::shared_ptr<HeadTrackerStateOutputData>(new HeadTrackerStateOutputData(2)));
        frame->addSubObject(engine);
    }
    return frame;
}

// The bytes of timedFrame(n, false): 36 of them.
inline vq::eod::ByteBuffer frameBytes(unsigned int n) {
    vq::eod::ByteBuffer bytes;
    timedFrame(n, false)->serialize(bytes);
    return bytes;
}

inline vq::eod::ByteBuffer join(std::initializer_list<vq::eod::ByteBuffer> parts) {
    vq::eod::ByteBuffer all;
    for (const vq::eod::ByteBuffer& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Writes the frames with the library's writer: per kind (Timing and EngineState files) into the
// directory `path`, or whole into the file `path`.
inline void writeRecording(const std::string& path, const Frames& frames, bool per_kind) {
    using namespace vq::eod;
    io::EngineOutputDataFileWriter writer;
    if (per_kind) {
        std::filesystem::create_directories(path);
        writer.newFiles({TimingOutputData::THIS_OBJECT_ID, EngineStateOutputData::THIS_OBJECT_ID},
                        path, std::string(), 4096);
    } else {
        writer.newFile(path, 4096);
    }
    for (const auto& frame : frames) {
        writer.writeData(frame);
    }
    writer.closeFiles();
}

// The frames serialised back to back, as a single-file recording holds them.
inline vq::eod::ByteBuffer bytesOf(const Frames& frames) {
    vq::eod::ByteBuffer bytes;
    for (const auto& frame : frames) {
        frame->serialize(bytes);
    }
    return bytes;
}

// Frames 0..count-1 of timedFrame, with the engine state in the even ones.
inline Frames timedFrames(unsigned int count) {
    Frames frames;
    for (unsigned int n = 0; n < count; ++n) {
        frames.push_back(timedFrame(n, n % 2 == 0));
    }
    return frames;
}

}  // namespace vqtest
