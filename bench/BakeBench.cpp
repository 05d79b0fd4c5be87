// Timed: baking 48 frames of a million moving vertices under a Sculpt and a Mush layer, scene and
// cache read included, against the two things that cannot be left out: playing the same frames with
// their points read back, and writing as many bytes raw and to disk. Not timed: writing the cache.
// Peak memory: of the whole process, after a bake of the first twelve frames and of all.

#include "app/SceneStream.h"
#include "bake/Bake.h"
#include "bench/Paired.h"
#include "bench/Rows.h"
#include "support/Archives.h"

#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <unistd.h>

namespace {

constexpr int kFrames = 48;
constexpr int kTurns = 3;

QString writeSheet(const QTemporaryDir &folder, int side)
{
    const QString path = folder.filePath(QStringLiteral("sheet.abc"));
    archives::Writer writer(path);
    const archives::Shape sheet = archives::grid(side);
    auto object =
        writer.mesh(writer.xform(writer.top(), "place", { archives::translation(1, 2, 3) }),
                    "sheet", sheet, { sheet.points });
    for (int frame = 2; frame < kFrames; ++frame) {
        const auto points = archives::moved(sheet.points, { 0.0f, 0.01f * float(frame), 0.0f });
        object.getSchema().set(Alembic::AbcGeom::OPolyMeshSchema::Sample(points));
    }
    return path;
}

QString writeLayers(const QTemporaryDir &folder, const QString &archive)
{
    AlembicFile file;
    PointArray rest;
    file.open(QFile::encodeName(archive));
    file.readPoints(rest, 0.0);
    std::vector<LayerData> layers(2);
    for (LayerData &layer : layers) {
        layer.setBasePoints(rest);
        layer.setMask(std::vector<float>(rest.size(), 1.0f));
        layer.setIterations(10);
    }
    layers[1].setKind(LayerKind::Mush);
    layers[1].setOffsetPoints(rest);
    for (QVector4D &point : rest)
        point.setY(point.y() + 0.01f);
    layers[0].setOffsetPoints(std::move(rest));
    const QString path = folder.filePath(QStringLiteral("sheet.pxm"));
    writeScene(path, archive, { &layers[0], &layers[1] });
    return path;
}

void play(const BakeOptions &options)
{
    const Shot shot(options, [](const QString &) {});
    ShotPlayer player(shot.archive(), shot.topology());
    std::vector<LayerData> layers = shot.layers();
    player.play({ &layers[0], &layers[1] }, shot.framesPerSecond(), shot.range(), 0,
                [](const ShotPlayer::Frame &) { return true; });
}

void writeRaw(const QString &path, qint64 size)
{
    QFile file(path);
    const QByteArray piece(1 << 20, 'x');
    file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    for (qint64 written = 0; written < size; written += piece.size())
        file.write(piece.constData(), std::min<qint64>(piece.size(), size - written));
    fsync(file.handle());
}

double peakMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').front().toDouble() / 1024.0;
    return 0.0;
}

void bakeSheet(benchmark::State &state)
{
    const QTemporaryDir folder(QDir::currentPath() + QStringLiteral("/bake-XXXXXX"));
    BakeOptions options;
    options.scene = writeLayers(folder, writeSheet(folder, int(state.range(0))));
    options.output = folder.filePath(QStringLiteral("baked.abc"));
    options.force = true;
    options.frames = FrameRange { 0, 11 };
    Bake(options).run();
    const double shortPeak = peakMegabytes();
    options.frames.reset();
    Bake(options).run();
    state.counters["peak_MB_12_frames"] = shortPeak;
    state.counters["peak_MB_48_frames"] = peakMegabytes();

    Paired paired;
    for (auto _ : state)
        paired.turn([&] { Bake(options).run(); },
                    [&] {
                        play(options);
                        writeRaw(folder.filePath(QStringLiteral("raw")),
                                 QFileInfo(options.output).size());
                    });
    paired.report(state);
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    benchmark::RegisterBenchmark("two layers, 48 frames", bakeSheet)
        ->Arg(1000)
        ->Iterations(kTurns)
        ->Unit(benchmark::kMillisecond);
    return runRows(argc, argv);
}
