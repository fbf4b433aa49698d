// Where there is no libFuzzer: runs a target on every file of a folder, and on the beginnings of each.
//
//     TARGET FOLDER

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/target.hpp"

namespace {

/// A copy of its own for each run, so that a sanitizer sees a read behind the end.
void run(const std::string& bytes, std::size_t size) {
    const std::vector<std::uint8_t> input(bytes.data(), bytes.data() + size);
    (void)LLVMFuzzerTestOneInput(input.data(), input.size());
}

std::size_t runFile(const std::filesystem::path& file) {
    constexpr std::size_t mostBeginnings = 64;
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::size_t step = bytes.size() / mostBeginnings + 1;
    std::size_t runs = 0;
    for (std::size_t size = 0; size < bytes.size(); size += step, ++runs) {
        run(bytes, size);
    }
    run(bytes, bytes.size());
    return runs + 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        (void)std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    std::size_t files = 0;
    std::size_t runs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        (void)std::fprintf(stderr, "%s\n", entry.path().filename().c_str());  // the last one failed
        runs += runFile(entry.path());
        ++files;
    }
    std::printf("%zu files, %zu runs\n", files, runs);
    return files != 0 ? 0 : 1;
}
