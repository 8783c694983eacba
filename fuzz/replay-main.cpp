// Runs a fuzz target over files, as libFuzzer would run its corpus, so that
// builds without libFuzzer still replay every seed and past crash.
//
//   fuzz-<name> PATH...   each PATH a file or a folder of files
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return false;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path = argv[i];
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
                if (entry.is_regular_file()) {
                    if (!replay(entry.path()))
                        return 1;
                    ++files;
                }
        } else {
            if (!replay(path))
                return 1;
            ++files;
        }
    }
    if (files == 0) {
        std::fprintf(stderr, "no inputs to replay\n");
        return 1;
    }
    std::printf("replayed %d inputs\n", files);
    return 0;
}
