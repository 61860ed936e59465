// vqlog on compressed frame files: check, info and recover, which read these files through the
// library's reader (chunk checksums, index) instead of scanning records.
#pragma once

#include <string>

namespace vqlog {

// Whether `path` is a compressed frame file (by its magic number, whatever its name).
bool isCompressedFile(const std::string& path);

// Verifies every chunk (both checksums, decompression, frames) and names each damaged chunk with
// its byte and frame ranges. 0: intact, 1: damaged.
int checkCompressed(const std::string& path);
// Frames, frame and time range, chunks and records per kind, from the footer (or the chunk
// headers of a file without one). 1 when the file has damage.
int infoCompressed(const std::string& path);
// Writes the frames of every intact chunk into a new compressed file, then reads it back.
int recoverCompressed(const std::string& input, const std::string& output);

}  // namespace vqlog
