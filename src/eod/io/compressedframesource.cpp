#include "vq/eod/io/compressedframesource.h"

namespace vq::eod::io {

CompressedFrameSource::CompressedFrameSource(const std::string& path) : _path(path) {
    _reader.open(path);
}

CompressedFrameSource::~CompressedFrameSource() = default;

bool CompressedFrameSource::next(FrameBytes& frame) {
    return _reader.readFrameBytes(frame.data, frame.size);
}

bool CompressedFrameSource::nextBlock(FrameBlock& block) {
    return _reader.readFrameBlock(block.base, block.offsets, block.count);
}

std::string CompressedFrameSource::name() const {
    return _path;
}

}  // namespace vq::eod::io
