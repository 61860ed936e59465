// vqlog convert: a per-kind directory to one file and back, with kind and frame selection.
#include <filesystem>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    bool single_file = false;
    bool per_kind = false;
    bool compress = false;
    int level = vq::eod::io::CompressingFileWriter::DEFAULT_LEVEL;
    SelectionOptions select;
};

std::uint64_t fileBytes(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::uint64_t>(size);
}

int convert(const ConvertOptions& options) {
    const Selection selection = options.select.selection();
    FrameSource source(options.input, selection);
    // The other form by default; standard output takes one file.
    const bool per_kind =
        !options.compress &&
        (options.per_kind || (!options.single_file && !source.perKind() && !source.compressed() &&
                              !isStandardOutput(options.output)));
    requireRecordingName(options.output, per_kind);
    prepareOutput(options.output, per_kind);
    RecordingWriter writer(options.output, per_kind, 65536,
                           options.compress ? options.level : RecordingWriter::PLAIN);
    ProgressBar progress("convert", ProgressBar::UNKNOWN);
    while (FramePtr frame = source.next()) {
        writer.write(*frame);
        progress.update(writer.framesWritten());
    }
    writer.close();
    progress.finish();

    std::uint64_t bytes = 0;
    for (const std::string& path : writer.paths()) {
        bytes += fileBytes(path);
    }
    const std::size_t files = writer.paths().size();
    (isStandardOutput(options.output) ? std::cerr : std::cout)
        << "vqlog convert: " << writer.framesWritten() << " frames from " << options.input
        << (source.perKind()      ? " (per kind)"
            : source.compressed() ? " (compressed)"
                                  : " (single file)")
        << " to " << options.output
        << (per_kind           ? " (per kind, "
            : options.compress ? " (compressed, "
                               : " (single file, ")
        << files << (files == 1 ? " file, " : " files, ") << bytes << " bytes)\n";
    if (writer.facesDropped() > 0) {
        std::cerr << "vqlog convert: " << writer.facesDropped()
                  << " frames held more than one face; per-kind logs keep the first face "
                     "only, so the others are not in "
                  << options.output << " (convert to a single file to keep them)\n";
        return 1;
    }
    return 0;
}

}  // namespace

Command addConvert(CLI::App& app) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = app.add_subcommand(
        "convert",
        "Convert a per-kind recording directory into one log file of whole frames, or one file "
        "into a per-kind directory (a log file per record kind), keeping the kinds and frames "
        "selected; a compressed frame file converts to one log file by default. Nothing existing "
        "is overwritten");
    command->add_option("input", options->input, "A recording directory or a log file")->required();
    command
        ->add_option("output", options->output,
                     "The new log file (*.vql; - for standard output), or the directory (new, or "
                     "without log files)")
        ->required();
    auto* single = command->add_flag("--single-file", options->single_file,
                                     "Write one file, whatever the input");
    auto* per_kind =
        command->add_flag("--per-kind", options->per_kind, "Write a directory, whatever the input")
            ->excludes(single);
    auto* compress = command
                         ->add_flag("--compress", options->compress,
                                    "Write one compressed frame file (chunks of zstd-compressed, "
                                    "checksummed frames with an index); a compressed input is "
                                    "read as any other, so converting it back needs no option")
                         ->excludes(per_kind);
    command
        ->add_option("--level", options->level,
                     "The zstd level of --compress, -7 (fastest) to 19 (smallest); default 3")
        ->check(CLI::Range(-7, 19))
        ->needs(compress);
    options->select.addTo(*command, true);
    return [options] { return convert(*options); };
}

}  // namespace vqlog
