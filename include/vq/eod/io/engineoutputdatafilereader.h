// EngineOutputDataFileReader: reads back the log files of EngineOutputDataFileWriter.
//
// openFile() reads one log file; openFiles() reads every log file of a directory. readData()
// returns frames in ascending frame number: it takes, from every file, the next frame whose
// number is the lowest of them all, and merges their records into one new frame that carries
// only that frame number and those records. So a recording split per kind reads like the stream
// of frames it came from, for the kinds that were written. Each file's frames are read in file
// order; frames of one file are expected in ascending frame number, as the writer writes them.
//
// The merge list limits the kinds: with a non-empty list only records whose object ID is listed
// are merged, frames that hold none of them are skipped, and the other records are dropped. A
// frame without records is always skipped. When every frame left is skipped that way, readData()
// returns one empty frame numbered NO_FRAME (0xFFFFFFFF) and then null.
//
// Damaged input. A log file must hold frames only. A record that is not a frame, a record cut
// short by the end of the file (a writer that died part way), a record of an unknown class and a
// frame whose data does not match its size raise EngineOutputDataFileError
// "EngineOutputDataFileReader::readData() - corrupt or invalid logfile" when readData() reaches
// it, after every complete frame before it has been returned; SerializableError passes through
// from a frame whose data is malformed. The damaged record is consumed and reading can go on with
// the next call. A merged frame that cannot be built (a record that is not an engine record:
// "EngineOutputDataFileReader::readData() - invalid sub-object"; two files giving the same kind
// for one frame: SerializableError) is dropped whole after the error, again without stopping the
// reader. Sizes in headers never decide an allocation: data is read as it arrives.
//
// Copies share the open files and their read positions; the files close when the last copy lets
// them go. Not thread-safe: one thread uses a reader and its copies at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"

namespace vq::eod::io {

class VQ_EOD_API EngineOutputDataFileReader {
public:
    // The frame number of the empty frame that stands for no frame.
    static constexpr unsigned int NO_FRAME = 0xFFFFFFFF;

    EngineOutputDataFileReader();
    EngineOutputDataFileReader(const EngineOutputDataFileReader& other);
    EngineOutputDataFileReader& operator=(const EngineOutputDataFileReader& other);
    ~EngineOutputDataFileReader();

    // Opens every log file of `directory` (logFilesInDir()). An open reader is a programming
    // error ("files already open"); an empty listing raises EngineOutputDataFileError
    // "EngineOutputDataFileReader::openFiles - no logfiles found in <directory>", a file that
    // cannot be opened "EngineOutputDataFileReader::openFiles - could not open file <path>", and
    // the files opened before it stay open.
    void openFiles(const std::wstring& directory);
    void openFiles(const std::string& directory);
    // The same, then sets the merge list to `ids`.
    void openFiles(const std::vector<char>& ids, const std::wstring& directory);
    void openFiles(const std::vector<char>& ids, const std::string& directory);
    // Opens the one log file `path`, with the errors of openFiles().
    void openFile(const std::wstring& path);
    void openFile(const std::string& path);

    bool areFilesOpen() const;
    // Lets go of every file; the merge list is kept.
    void closeFiles();

    // True when no frame is held back and every file is at its end (looked at anew each time,
    // so a file that is still being written can be followed).
    bool endOfData() const;
    // The next merged frame, or null at the end of the data. Closed is a programming error
    // ("files are not open").
    boost::shared_ptr<EngineOutputData> readData();

    // The paths of the log files (regular files whose names end in ".vql"; directories, FIFOs,
    // devices and links to them are left out, since reading them would block or never end) of
    // `directory`,
    // in the order the directory lists them: the directory, '/', the file name (a directory ""
    // lists the working directory, with no '/'). Raises EngineOutputDataFileError whose message
    // starts "EngineOutputDataFileReader::logFilesInDir - " and goes on with
    // - "No logfiles found in <directory>": a missing directory, or none of its names ends in
    //   ".vql";
    // - " FindFirstFile failed with error code <errno>" (a second blank first): the directory
    //   cannot be opened for another reason (EACCES, ENOTDIR, ...);
    // - "FindNextFile failed with error code <errno>": reading the directory fails;
    // - "not a valid directory: <directory>": no file can have that path (an embedded 0).
    static std::vector<std::wstring> logFilesInDir(const std::wstring& directory);

private:
    class EngineOutputDataStream;

    void addStream(const std::wstring& path);
    unsigned int nextMergableFrameNum();
    void skipNonMergable(EngineOutputDataStream& stream) const;
    bool hasMergableSubObject(const EngineOutputData& frame) const;
    bool isMerged(char id) const;
    void mergeSubObjects(const EngineOutputData& source, EngineOutputData& destination) const;

    std::vector<char> _merge_ids;  // sorted ascending (signed); empty merges every kind
    std::vector<std::shared_ptr<EngineOutputDataStream>> _streams;  // in listing order
    // The parts of the frame being merged, empty between calls (kept for its memory).
    std::vector<boost::shared_ptr<EngineOutputData>> _parts;
};

}  // namespace vq::eod::io
