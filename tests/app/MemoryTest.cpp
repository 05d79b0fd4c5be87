#include "app/Application.h"
#include "app/SceneStream.h"
#include "gpu/GPUMesh.h"
#include "layers/CommandStack.h"
#include "layers/Layer.h"
#include "layers/Topology.h"
#include "support/Archives.h"
#include "support/Needs.h"
#include "tools/RunningProgram.h"

#include <QTemporaryDir>

#include <cstdlib>
#include <functional>
#include <new>

namespace {

thread_local int largeLeft = -1; ///< large allocations that still succeed; negative: all

} // namespace

void *operator new(std::size_t size)
{
    constexpr std::size_t large = 16 * 1024;
    if (size >= large && largeLeft >= 0 && largeLeft-- == 0)
        throw std::bad_alloc();
    if (void *memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return std::malloc(size); }
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }

/// Memory that runs out at any point of an operation: the program goes on with all it had.
class MemoryTest : public QObject {
    Q_OBJECT

    RunningProgram m_app;
    QTemporaryDir m_folder;

    static QByteArray state()
    {
        std::vector<const LayerData *> layers;
        for (const Layer *layer : Global::layers())
            layers.push_back(layer->data());
        return sceneMark(Global::alembicPath(), layers) +
            QByteArray::number(Global::mesh()->vertexCount()) + ' ' +
            QByteArray::number(Global::commands()->undoCount()) +
            (Global::currentLayer() ? '+' : '-');
    }

    static bool isWhole()
    {
        for (const Layer *layer : Global::layers()) {
            const LayerData &data = *layer->data();
            if (data.basePoints().empty() || data.keys().size() != 1 ||
                (data.kind() == LayerKind::Sculpt &&
                 data.offsetPoints().size() != data.basePoints().size()))
                return false;
        }
        return Global::currentLayer() == Global::layers().back() &&
            Global::mesh()->vertexCount() == Global::topology()->vertexCount();
    }

private slots:
    void whatFailsIsUndone()
    {
        NEEDS_GL(m_app.hasGL());
        const QString archive = m_folder.filePath(QStringLiteral("grid.abc"));
        const QString larger = m_folder.filePath(QStringLiteral("larger.abc"));
        for (const auto &[path, side] : { std::pair(archive, 50), std::pair(larger, 60) }) {
            archives::Writer writer(path);
            writer.mesh(writer.top(), "grid", archives::grid(side));
        }
        const auto import = [this](const QString &path) {
            if (Global::openArchive(path))
                m_app.global().updateToNewAlembic();
        };
        import(archive);
        const std::pair<const char *, std::function<void()>> operations[] = {
            { "sculpt layer", [&] { m_app.global().addLayer(int(LayerKind::Sculpt)); } },
            { "cloth layer", [&] { m_app.global().addLayer(int(LayerKind::Cloth)); } },
            { "import", [&] { import(larger); } },
        };
        // The driver compiles kernels at their first use, and does not expect to run out of memory.
        for (const auto &[name, operation] : operations)
            operation();
        Global::evaluateLayers(true);
        import(archive);
        for (const auto &[name, operation] : operations) {
            for (int succeeding = 0;; ++succeeding) {
                QVERIFY(succeeding < 1000);
                const QByteArray before = state();
                QTimer::singleShot(0, qApp, [&] {
                    largeLeft = succeeding;
                    operation();
                });
                QApplication::processEvents();
                const bool reached = largeLeft < 0;
                largeLeft = -1;
                if (!reached)
                    break; // it needs no more than that
                if (state() != before) { // only what follows the change failed, a repaint perhaps
                    QVERIFY2(isWhole(), name);
                    break;
                }
            }
        }
        import(larger);
        QCOMPARE(Global::mesh()->vertexCount(), 3600);
    }
};

int main(int argc, char *argv[])
{
    Startup::prepare();
    Application application(argc, argv);
    MemoryTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "MemoryTest.moc"
