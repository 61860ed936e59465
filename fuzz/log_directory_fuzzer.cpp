// A directory of log files read through EngineOutputDataFileReader, merged frame by frame.
//
// The input is an options byte, then the contents of up to MAX_FILES log files separated by
// SEPARATOR (fuzz/make_corpus.cpp writes recordings in this form). An options byte of 0 merges
// every kind; any other value is the one object ID merged. The files are written to a scratch
// directory as k0.vql, k1.vql, ... and removed afterwards.
//
// Besides the shared checks: the reader comes to an end within a bounded number of calls, also
// when calls fail, and fails only with EngineOutputDataFileError or SerializableError. The
// column reader gives the same rows and error whether it takes frames of repeated shapes a run
// at a time or (under a time range that takes every frame with a timing record) one by one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace {

constexpr char SEPARATOR[] = "\n--vql--\n";
constexpr std::size_t SEPARATOR_BYTES = sizeof(SEPARATOR) - 1;
constexpr int MAX_FILES = 6;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using vq::eod::io::EngineOutputDataFileReader;
    static const vqfuzz::ScratchDir scratch;
    if (size == 0) {
        return 0;
    }
    const std::uint8_t options = data[0];
    const std::uint8_t* rest = data + 1;
    const std::uint8_t* const end = data + size;
    for (int file = 0; file < MAX_FILES; ++file) {
        const std::uint8_t* cut = end;
        if (file + 1 < MAX_FILES) {
            cut = std::search(rest, end, SEPARATOR, SEPARATOR + SEPARATOR_BYTES);
        }
        scratch.write("k" + std::to_string(file) + ".vql", rest,
                      static_cast<std::size_t>(cut - rest));
        if (cut == end) {
            break;
        }
        rest = cut + SEPARATOR_BYTES;
    }

    EngineOutputDataFileReader reader;
    if (options == 0) {
        reader.openFiles(scratch.path());
    } else {
        reader.openFiles(std::vector<char>{static_cast<char>(options)}, scratch.path());
    }
    // Every call consumes at least one record of at least 3 bytes, or returns the one empty
    // frame that stands for skipped ones before it.
    const std::size_t most_calls = 2 * size + 8;
    std::size_t calls = 0;
    while (!reader.endOfData()) {
        if (++calls > most_calls) {
            vqfuzz::fail("the log reader does not come to an end");
        }
        try {
            const boost::shared_ptr<vq::eod::EngineOutputData> frame = reader.readData();
            if (!frame) {
                vqfuzz::fail("readData() gave null before the end of the data");
            }
            vqfuzz::checkReencodes(*frame);
        } catch (const vq::eod::io::EngineOutputDataFileError&) {
        } catch (const vq::eod::SerializableError&) {
        }
    }
    reader.closeFiles();
    if (options == 0) {
        vqfuzz::checkRuns(scratch.path());
    }
    scratch.clear();
    return 0;
}
