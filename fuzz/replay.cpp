// Runs a fuzzer over files: all arguments, folders with all that is in them. Fails when there is
// none.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "expect.h"

namespace {

int replay(const std::filesystem::path& path) {
    if (std::filesystem::is_directory(path)) {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            count += replay(entry.path());
        return count;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path.string() + ": cannot be read");
    const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        int replayed = 0;
        for (const char* argument :
             std::span(arguments, static_cast<std::size_t>(count)).subspan(1))
            replayed += replay(argument);
        std::cout << replayed << " files\n";
        return replayed > 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
