// CompressedFrameSource: the frames of a compressed frame file, for ColumnReader.
//
// Gives the frames of the file in file order, as the bytes DecompressingFileReader::
// readFrameBytes() returns (each exactly one frame). A damaged chunk raises the reader's
// CompressedFrameFileError from next(), after every frame before it; ColumnReader passes it on
// and ends the read there.
//
//     std::vector<std::unique_ptr<FrameSource>> sources;
//     sources.push_back(std::make_unique<CompressedFrameSource>("run.vqz"));
//     ColumnReader reader(std::move(sources));
#pragma once

#include <string>

#include "vq/eod/io/decompressingfilereader.h"
#include "vq/eod/io/framesource.h"

namespace vq::eod::io {

class VQ_EOD_API CompressedFrameSource : public FrameSource {
public:
    // Opens the file, with the errors of DecompressingFileReader::open().
    explicit CompressedFrameSource(const std::string& path);
    ~CompressedFrameSource() override;

    bool next(FrameBytes& frame) override;
    bool nextBlock(FrameBlock& block) override;  // the frames of a chunk at once
    std::string name() const override;           // the path

    // The reader, for a seek before the first next() (seekFrame, seekTime).
    DecompressingFileReader& reader() { return _reader; }

private:
    std::string _path;
    DecompressingFileReader _reader;
};

}  // namespace vq::eod::io
