// Runs a fuzzer's function over the files of its corpus, one after the other: any compiler can
// build that, and what a fuzzer has once found stays found.
//
//   NAME_replay DIRECTORY
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> FilesOf(const char* directory)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(const std::filesystem::path& path)
{
    std::cout << path.filename().string() << std::endl;  // flushed: the last name is the culprit
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::filesystem::filesystem_error("cannot read", path,
                                                std::make_error_code(std::errc::io_error));
    }
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

size_t ReplayAll(const char* directory)
{
    const auto files = FilesOf(directory);
    for (const auto& path : files) {
        Replay(path);
    }
    return files.size();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " DIRECTORY\n";
        return EXIT_FAILURE;
    }
    try {
        const size_t files = ReplayAll(argv[1]);
        std::cout << files << " files\n";
        return files == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return EXIT_FAILURE;
    }
}
