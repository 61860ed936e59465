// vqlog and compressed frame files: convert --compress and back, reading commands that recognise
// the files by their magic number.
#include "toolfixture.h"

namespace {

using namespace vqtest;

TEST(VqlogCompressed, ConvertCompressesAndBackByteForByteAndPrintSeeks) {
    TempDir dir;
    writeRecording(dir / "one.vql", timedFrames(300), false);
    ProcessResult packed =
        vqlog({"convert", "--compress", "--level", "5", dir / "one.vql", dir / "packed.bin"});
    EXPECT_EQ(packed.exit_code, 0) << packed.err;
    EXPECT_EQ(
        packed.out.rfind("vqlog convert: 300 frames from " + (dir / "one.vql") +
                             " (single file) to " + (dir / "packed.bin") + " (compressed, 1 file, ",
                         0),
        0u)
        << packed.out;
    EXPECT_TRUE(vq::eod::io::DecompressingFileReader::isCompressedFrameFile(dir / "packed.bin"));

    ProcessResult back = vqlog({"convert", dir / "packed.bin", dir / "back.vql"});
    EXPECT_EQ(back.out, "vqlog convert: 300 frames from " + (dir / "packed.bin") +
                            " (compressed) to " + (dir / "back.vql") + " (single file, 1 file, " +
                            std::to_string(readFile(dir / "one.vql").size()) + " bytes)\n");
    EXPECT_EQ(readFile(dir / "back.vql"), readFile(dir / "one.vql"));
    // Through a pipe: compressed to standard output, and back from standard input.
    const ProcessResult piped = runProcess(
        {"/bin/sh", "-c",
         "cd '" + dir.path() + "' && V='" + VQLOG_PATH +
             "' && $V convert --compress one.vql - | tee piped.bin | $V convert - - > piped.vql"});
    EXPECT_EQ(piped.exit_code, 0) << piped.err;
    EXPECT_EQ(readFile(dir / "piped.vql"), readFile(dir / "one.vql"));
    vq::eod::io::DecompressingFileReader piped_file;
    piped_file.open(dir / "piped.bin");
    EXPECT_TRUE(piped_file.hasFooter());
    EXPECT_EQ(piped_file.summary().frames, 300u);

    // The same frames printed from either form, starting part way.
    const ProcessResult plain = vqlog({"print", "--from", "250", "--count", "3", dir / "one.vql"});
    const ProcessResult sought =
        vqlog({"print", "--from", "250", "--count", "3", dir / "packed.bin"});
    EXPECT_EQ(sought.exit_code, 0);
    EXPECT_EQ(sought.out, plain.out);
    // And exported as the same rows.
    const ProcessResult csv = vqlog({"export", "--format", "csv", dir / "one.vql"});
    const ProcessResult packed_csv = vqlog({"export", "--format", "csv", dir / "packed.bin"});
    EXPECT_EQ(packed_csv.exit_code, 0) << packed_csv.err;
    EXPECT_EQ(packed_csv.out, csv.out);

    struct Misuse {
        std::vector<std::string> args;
        std::string error;
    };
    const Misuse misuse[] = {
        {{"--level", "3"}, "--level requires --compress"},
        {{"--compress", "--level", "20"}, "--level: Value 20 not in range -7 to 19"},
        {{"--compress", "--per-kind"}, "--per-kind excludes --compress"},
    };
    for (const Misuse& m : misuse) {
        std::vector<std::string> args = {"convert", dir / "one.vql", dir / "x"};
        args.insert(args.end(), m.args.begin(), m.args.end());
        const ProcessResult result = vqlog(args);
        EXPECT_NE(result.exit_code, 0);
        EXPECT_NE(result.err.find(m.error), std::string::npos) << result.err;
    }
}

TEST(VqlogCompressed, CheckNamesTheDamagedChunkAndRecoverKeepsEveryOther) {
    TempDir dir;
    {
        vq::eod::io::CompressingFileWriter::Options options;
        options.chunk_bytes = 20000;
        vq::eod::io::CompressingFileWriter writer;
        writer.newFile(dir / "a.vqz", options);
        for (const auto& frame : timedFrames(3000)) {
            writer.writeData(frame);
        }
        writer.closeFile();
    }
    vq::eod::io::DecompressingFileReader reader;
    reader.open(dir / "a.vqz");
    const auto chunk = reader.chunks()[1];
    vq::eod::ByteBuffer bytes = readFile(dir / "a.vqz");
    bytes[chunk.offset + chunk.bytes - 1] ^= 1;
    writeFile(dir / "b.vqz", bytes);
    const std::string damage = "  damaged chunk at bytes " + std::to_string(chunk.offset) + "-" +
                               std::to_string(chunk.offset + chunk.bytes - 1) + " (frames " +
                               std::to_string(chunk.first_frame) + "-" +
                               std::to_string(chunk.last_frame) + "): contents checksum mismatch\n";
    const ProcessResult damaged = vqlog({"check", dir / "b.vqz"});
    EXPECT_EQ(damaged.exit_code, 1);
    EXPECT_NE(damaged.out.find("\n" + damage + "check: 1 file damaged: 1 damaged part"),
              std::string::npos)
        << damaged.out;
    const ProcessResult recovered = vqlog({"recover", dir / "b.vqz", dir / "c.vqz"});
    EXPECT_EQ(recovered.exit_code, 0);
    EXPECT_EQ(recovered.out, damage + "vqlog recover: " + std::to_string(3000 - chunk.frames) +
                                 " frames kept in " + (dir / "c.vqz") +
                                 ", 1 damaged part left out\n");
}

TEST(VqlogCompressed, ServeFromACompressedFileAndRecordIntoOne) {
    TempDir dir;
    writeRecording(dir / "in.vql", timedFrames(50), false);
    ASSERT_EQ(vqlog({"convert", "--compress", dir / "in.vql", dir / "in.vqz"}).exit_code, 0);
    ChildProcess serve(
        {VQLOG_PATH, "serve", dir / "in.vqz", "--port", "0", "--wait", "1", "--rate", "max"});
    const std::string address = serveAddress(serve);
    // Into standard output: the file there, the summary on standard error.
    const ProcessResult record =
        runProcess({"/bin/sh", "-c",
                    "'" + std::string(VQLOG_PATH) + "' record --connect " + address +
                        " --compress - > '" + (dir / "out") + "'"});
    EXPECT_EQ(record.exit_code, 0) << record.err;
    EXPECT_NE(record.err.find("vqlog record: 50 frames (0..49) into 1 file in -\n"),
              std::string::npos)
        << record.err;
    EXPECT_EQ(serve.wait(10000).exit_code, 0);
    ASSERT_EQ(vqlog({"convert", dir / "out", dir / "back.vql"}).exit_code, 0);
    EXPECT_EQ(readFile(dir / "back.vql"), readFile(dir / "in.vql"));
}

}  // namespace
