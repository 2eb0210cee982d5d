// Replays every file of the given corpus directories through a fuzz target, as a unit test.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argumentCount, char** arguments) {
    size_t replayed = 0;
    for (int index = 1; index < argumentCount; ++index) {
        const std::filesystem::path directory(arguments[index]);
        if (!std::filesystem::is_directory(directory)) {
            std::fprintf(stderr, "corpus %s is missing\n", arguments[index]);
            return 1;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++replayed;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
