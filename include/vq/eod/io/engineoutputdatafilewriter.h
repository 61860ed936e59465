// EngineOutputDataFileWriter: records a stream of frames as log files.
//
// Two modes, fixed by the opening call:
// - single file (newFile(path, ...)): every frame is written whole;
// - per kind (newFiles(ids, ...) or newFile(id, path, ...)): one file per record kind (object
//   ID). For every frame that holds a record of the kind, the kind's file receives a new frame
//   with the source frame's number and that record as its only sub-object, every other field at
//   its default. A record kept inside the frame's face set (object ID 0x5E) is found there when
//   the frame does not hold one directly. Frames without the kind add nothing to its file.
// Both write record files (filewriter.h): serialised frames back to back, no file header.
//
// Per-kind file names: directory, a '/' unless the directory is empty or already ends with '/' or
// '\', the kind's name from the table below, the caller's suffix and ".vql": the directory logs,
// the suffix _run1 and the head kind give logs/Head_run1.vql. A trailing backslash is an ordinary
// character of Linux file names, so "logs\" gives the file "logs\Head_run1.vql" beside logs.
// Kinds without a name in the table (gaze, pupil, images, an application's own records) can be
// written to files of their own once registerObjectIDFileName has named them. The table holds
// for the whole process and is shared by every writer; register names at start-up, as it is not
// locked.
//
// Files are opened without any sharing restriction, so the reader can follow a recording while
// it is written. Each file has a buffer of the caller's size; with a large buffer a full disk
// often shows only when the buffer is flushed, so a failed write is reported twice over: the
// writeData() that met it raises "Failed to write to stream." (and every later one that reaches
// that file raises again, so no frame is dropped silently), and closeFiles() raises after closing
// every file when any file lost bytes. The destructor closes without raising: call closeFiles()
// to learn whether everything reached the disk.
//
// Not thread-safe: one thread uses a writer at a time. Not copyable.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/io/bufferedoutputfilestream.h"
#include "vq/eod/objectids.h"

namespace vq::eod::io {

class VQ_EOD_API EngineOutputDataFileWriter {
public:
    // No files open, single-file mode.
    EngineOutputDataFileWriter();
    EngineOutputDataFileWriter(const EngineOutputDataFileWriter&) = delete;
    EngineOutputDataFileWriter& operator=(const EngineOutputDataFileWriter&) = delete;
    // Closes the files without raising.
    ~EngineOutputDataFileWriter();

    // Per-kind mode: opens (truncating) one file per ID in `ids`, in the order given, each with a
    // buffer of `buffer_size` bytes. Programming errors raise std::invalid_argument: "files
    // already open", "the list of object IDs to log cannot be empty". An ID given twice raises
    // EngineOutputDataFileError "EngineOutputDataFileWriter::newLogFiles: duplicate object IDs",
    // two IDs registered under one name "EngineOutputDataFileWriter::newLogFiles: two object IDs
    // share the file <path>" (before that file is opened a second time), an ID without a name the
    // objectIDToFileName() error, a file that cannot be created
    // "EngineOutputDataFileWriter::newLogFiles: could not open file."; the files opened before
    // the failure stay open (closeFiles() closes them).
    void newFiles(const std::vector<char>& ids, const std::wstring& directory,
                  const std::wstring& name_suffix, int buffer_size);
    void newFiles(const std::vector<char>& ids, const std::string& directory,
                  const std::string& name_suffix, int buffer_size);
    // Single-file mode: opens (truncating) `path`. "files already open" as above; a file that
    // cannot be created raises EngineOutputDataFileError "EngineOutputDataFileWriter::newFile:
    // could not open file." and counts as open until closeFiles().
    void newFile(const std::wstring& path, int buffer_size);
    void newFile(const std::string& path, int buffer_size);
    // Per-kind mode with one file, for the kind `id`, at `path`. Errors as newFile(path, ...).
    void newFile(char id, const std::wstring& path, int buffer_size);
    void newFile(char id, const std::string& path, int buffer_size);

    bool areFilesOpen() const;
    // Closes every file (flushing it) and forgets them all. Then, when any file lost bytes,
    // raises EngineOutputDataFileError "EngineOutputDataFileWriter::closeFiles - could not write
    // file " followed by the paths of those files, separated by ", ". Harmless when closed.
    void closeFiles();

    // Writes the frame: whole in single-file mode; per kind, the files in ascending object ID.
    // A frame whose serializeEnabled() is false writes nothing, as does a disabled record. No
    // files open is a programming error ("no files are open"), and so is a null pointer. A write
    // that fails raises EngineOutputDataFileError "Failed to write to stream."; the files stay
    // open and hold the bytes written so far.
    void writeData(const EngineOutputData& frame);
    void writeData(const boost::shared_ptr<const EngineOutputData>& frame);

    // The file base name of a kind. Defaults: the log file names of the table of kinds
    // (vq/eod/objectids.h), such as 0x0A "Timing" and 0x10 "HeadV2". Another ID raises
    // EngineOutputDataFileError "EngineOutputDataFileWriter::objectIDToFileName - unknown object
    // ID".
    static std::wstring objectIDToFileName(char id);
    // Names the kind `id` (adding or replacing its entry), for every writer of the process.
    static void registerObjectIDFileName(char id, std::wstring name);

private:
    struct LogFile {
        std::unique_ptr<BufferedOutputFileStream> stream;
        std::string path;                              // for the closing report
        const std::type_info* engine_class = nullptr;  // last record class found an engine record
    };

    void openFile(char id, const std::wstring& path, int buffer_size, const char* error);
    void writeSubObject(const EngineOutputData& frame, char id, LogFile& file);
    void serializeObject(const Serializable& object, std::ostream& stream);

    std::map<char, LogFile, object_id::Less> _streams;  // single-file mode: one entry under 0
    bool _single_file;
};

}  // namespace vq::eod::io
