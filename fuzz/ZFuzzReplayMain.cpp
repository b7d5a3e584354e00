// Runs a fuzz target over files without libFuzzer: the seed corpus becomes a regression test in
// every build. Arguments are files or directories (searched recursively, in name order).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// Runs the target on the file's bytes, in a buffer of exactly their size so that the sanitizers
// see any read past the end.
bool RunFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "Cannot read %s\n", path.c_str());
        return false;
    }
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    auto exact = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    LLVMFuzzerTestOneInput(exact.get(), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t ran = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        std::error_code error;
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(path, error)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(path, error)) {
                if (entry.is_regular_file()) {
                    files.push_back(entry.path());
                }
            }
            std::sort(files.begin(), files.end());
        } else if (std::filesystem::is_regular_file(path, error)) {
            files.push_back(path);
        } else {
            std::fprintf(stderr, "No such file or directory: %s\n", argv[i]);
            return 1;
        }
        for (const auto& file : files) {
            if (!RunFile(file)) {
                return 1;
            }
            ++ran;
        }
    }
    std::printf("Ran %zu inputs\n", ran);
    return ran > 0 ? 0 : 1;  // nothing to run means the corpus went missing
}
