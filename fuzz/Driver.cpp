// Runs a fuzz target without the fuzzing library: every file of a folder, then a fixed number of
// changed copies of them, the same at each run: TARGET CORPUS RUNS. script/fuzz links the library
// in this source's place.

#include <QDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

namespace {

QByteArray changed(QByteArray bytes, std::mt19937 &random)
{
    for (auto changes = 1 + random() % 6; changes > 0 && !bytes.isEmpty(); --changes) {
        const int at = int(random() % unsigned(bytes.size()));
        const char extremes[] = { 0, 1, 0x7f, char(0x80), char(0xff), char(random()) };
        switch (random() % 5) {
        case 0:
            bytes.insert(at, extremes[random() % 6]);
            break;
        case 1:
            bytes.remove(at, int(random() % unsigned(bytes.size() - at)));
            break;
        default:
            bytes[at] = extremes[random() % 6];
        }
    }
    return bytes;
}

void run(const QByteArray &bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.constData()),
                           std::size_t(bytes.size()));
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s CORPUS RUNS\n", argv[0]);
        return 2;
    }
    std::vector<QByteArray> corpus;
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            run(corpus.emplace_back(file.readAll()));
    }
    std::mt19937 random(14);
    for (int i = 0; i < std::atoi(argv[2]) && !corpus.empty(); ++i)
        run(changed(corpus[random() % corpus.size()], random));
    return corpus.empty() ? 1 : 0;
}
