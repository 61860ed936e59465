// Runs a fuzz target as an ordinary program over the files of the directories given: the seed
// corpus and the inputs that once crashed it, so that every finding stays a regression test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

// Arguments: directories (every file below them) or single files, such as a saved finding.
int main(int argc, char** argv) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path root(argv[i]);
        if (std::filesystem::is_regular_file(root)) {
            replay(root);
            ++files;
            continue;
        }
        if (!std::filesystem::is_directory(root)) {
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            if (entry.is_regular_file()) {
                replay(entry.path());
                ++files;
            }
        }
    }
    std::printf("replayed %d inputs\n", files);
    return 0;
}
