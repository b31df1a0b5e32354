// Stands in for libFuzzer under any compiler: runs the target on each file that the arguments name,
// folders included. Names the input that is running, so that a crash can be told from its output.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

void replay(std::filesystem::path const& path) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> input{std::istreambuf_iterator<char>(file), {}};
    input.shrink_to_fit();  // one byte read too many is then one outside of the block
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    try {
        for (int i = 1; i < argc; ++i) {
            if (!std::filesystem::is_directory(argv[i])) {
                replay(argv[i]);
                ++count;
                continue;
            }
            for (auto const& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
                if (!entry.is_regular_file()) continue;
                replay(entry.path());
                ++count;
            }
        }
    } catch (std::exception const& e) {
        std::printf("an exception left the target: %s\n", e.what());
        return 1;
    }
    std::printf("%zu inputs\n", count);
    return count ? 0 : 1;  // a target without seeds tests nothing
}
