#include "vqlog/compressed.h"

#include <cmath>
#include <filesystem>
#include <iostream>

#include "vqlog/kinds.h"
#include "vqlog/recording.h"

namespace vqlog {

namespace {

using vq::eod::io::CompressedFrameFileError;
using vq::eod::io::CompressingFileWriter;
using vq::eod::io::DecompressingFileReader;

// The reader's message without the class name in front.
std::string damageText(const std::string& message) {
    const std::string prefix = "DecompressingFileReader - ";
    return message.rfind(prefix, 0) == 0 ? message.substr(prefix.size()) : message;
}

std::uint64_t fileBytes(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<std::uint64_t>(size);
}

std::string framesText(const DecompressingFileReader::Summary& summary) {
    std::string text =
        std::to_string(summary.frames) + (summary.frames == 1 ? " frame" : " frames");
    if (summary.frames > 0) {
        text += " (" + std::to_string(summary.first_frame) + ".." +
                std::to_string(summary.last_frame) + ")";
    }
    return text;
}

}  // namespace

bool isCompressedFile(const std::string& path) {
    return !isDirectory(path) && DecompressingFileReader::isCompressedFrameFile(path);
}

int checkCompressed(const std::string& path) {
    DecompressingFileReader reader;
    reader.open(path);
    const std::vector<std::string> damage = reader.verify();
    std::cout << path << ": compressed frame file, " << framesText(reader.summary()) << " in "
              << reader.chunks().size() << " chunks, " << fileBytes(path) << " bytes"
              << (reader.hasFooter() ? "" : ", no footer (read chunk by chunk)")
              << (damage.empty() ? ": intact" : "") << '\n';
    for (const std::string& message : damage) {
        std::cout << "  " << damageText(message) << '\n';
    }
    if (damage.empty()) {
        std::cout << "check: intact\n";
        return 0;
    }
    std::cout << "check: 1 file damaged: " << damage.size()
              << (damage.size() == 1 ? " damaged part" : " damaged parts")
              << " (vqlog recover keeps the rest)\n";
    return 1;
}

int infoCompressed(const std::string& path) {
    DecompressingFileReader reader;
    reader.open(path);
    const DecompressingFileReader::Summary summary = reader.summary();
    std::cout << path << ": compressed frame file, " << fileBytes(path) << " bytes, "
              << reader.chunks().size() << " chunks"
              << (reader.hasFooter() ? "" : ", no footer (read chunk by chunk)") << '\n';
    std::cout << "frames: " << framesText(summary) << '\n';
    if (!std::isnan(summary.first_time)) {
        std::cout << "time: " << summary.first_time << " s .. " << summary.last_time << " s ("
                  << summary.last_time - summary.first_time << " s)\n";
    }
    for (const auto& kind : summary.kinds) {
        std::cout << "  " << kindName(kind.first) << " (" << hexId(kind.first)
                  << "): " << kind.second << " records\n";
    }
    const std::vector<std::string> damage = reader.damage();
    for (const std::string& message : damage) {
        std::cout << "  " << damageText(message) << '\n';
    }
    return damage.empty() ? 0 : 1;
}

int recoverCompressed(const std::string& input, const std::string& output) {
    DecompressingFileReader reader;
    reader.open(input);
    prepareOutput(output, false);
    CompressingFileWriter writer;
    writer.newFile(output);
    std::uint64_t lost = 0;
    for (;;) {
        try {
            const auto frame = reader.readData();
            if (!frame) {
                break;
            }
            writer.writeData(*frame);
        } catch (const CompressedFrameFileError& error) {
            if (std::string(error.what()).find("damaged") == std::string::npos) {
                throw;
            }
            ++lost;
            std::cout << "  " << damageText(error.what()) << '\n';
        }
    }
    writer.closeFile();
    DecompressingFileReader check;
    check.open(output);
    if (!check.verify().empty() || check.summary().frames != writer.framesWritten()) {
        throw CompressedFrameFileError("vqlog recover: " + output + " does not read back whole");
    }
    std::cout << "vqlog recover: " << writer.framesWritten() << " frames kept in " << output << ", "
              << lost << (lost == 1 ? " damaged part" : " damaged parts") << " left out\n";
    return 0;
}

}  // namespace vqlog
