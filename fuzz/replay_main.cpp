// Stands in for libFuzzer's main when the targets are built without it: feeds every file of the
// folders (or the files) named on the command line to the target once. A crash fails the test.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {
bool replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return false;
    }
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}
}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path arg(argv[i]);
        if (std::filesystem::is_directory(arg)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(arg))
                if (entry.is_regular_file()) ok = replay(entry.path()) && ok, ++count;
        } else {
            ok = replay(arg) && ok, ++count;
        }
    }
    std::printf("replayed %zu inputs\n", count);
    return ok && count > 0 ? 0 : 1;
}
