// Runs a fuzz target without the fuzzing library: every file of a folder, then a fixed number of
// changed copies of them, the same at each run: TARGET CORPUS RUNS. script/fuzz links the library
// in this source's place.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

namespace {

using Bytes = std::vector<char>;

std::vector<Bytes> filesIn(const char *folder)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<Bytes> files;
    for (const auto &path : paths) {
        std::ifstream file(path, std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
}

Bytes changed(Bytes bytes, std::mt19937 &random)
{
    for (auto changes = 1 + random() % 6; changes > 0 && !bytes.empty(); --changes) {
        const auto at = std::ptrdiff_t(random() % bytes.size());
        const char extremes[] = { 0, 1, 0x7f, char(0x80), char(0xff), char(random()) };
        switch (random() % 5) {
        case 0:
            bytes.insert(bytes.begin() + at, extremes[random() % 6]);
            break;
        case 1:
            bytes.erase(bytes.begin() + at,
                        bytes.begin() + at +
                            std::ptrdiff_t(random() % (bytes.size() - size_t(at))));
            break;
        default:
            bytes[size_t(at)] = extremes[random() % 6];
        }
    }
    return bytes;
}

void run(const Bytes &bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s CORPUS RUNS\n", argv[0]);
        return 2;
    }
    const std::vector<Bytes> corpus = filesIn(argv[1]);
    for (const Bytes &bytes : corpus)
        run(bytes);
    std::mt19937 random(14);
    for (int i = 0; i < std::atoi(argv[2]) && !corpus.empty(); ++i)
        run(changed(corpus[random() % corpus.size()], random));
    return corpus.empty() ? 1 : 0;
}
