// Runs a fuzz target without a fuzzer: every file of a corpus, and mutations of each that depend on a fixed
// seed, so that two runs see the same inputs. Usage: TARGET CORPUS_DIRECTORY MUTATIONS_PER_FILE

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t seed = 20;
constexpr int maxChanges = 8;

Bytes readFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

Bytes mutated(const Bytes &original, std::mt19937_64 &random)
{
    Bytes bytes = original;
    const auto changes = 1 + random() % maxChanges;
    for (std::uint64_t i = 0; i < changes; ++i) {
        const std::size_t at = random() % (bytes.size() + 1);
        const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto value = static_cast<std::uint8_t>(random());
        const auto kind = random() % 3;
        if (kind == 0)
            bytes.insert(place, value);
        else if (at < bytes.size() && kind == 1)
            bytes.erase(place);
        else if (at < bytes.size())
            *place = value;
    }
    return bytes;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY MUTATIONS_PER_FILE\n", argv[0]);
        return 2;
    }
    const int mutations = std::atoi(argv[2]);
    std::mt19937_64 random(seed);
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
        const Bytes original = readFile(entry.path());
        LLVMFuzzerTestOneInput(original.data(), original.size());
        for (int i = 0; i < mutations; ++i) {
            const Bytes bytes = mutated(original, random);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
        ++files;
    }
    std::printf("%d files, %d mutations of each\n", files, mutations);
    return files > 0 ? 0 : 1; // an empty corpus would prove nothing
}
