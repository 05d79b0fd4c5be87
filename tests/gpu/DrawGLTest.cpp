#include "gpu/GPUMesh.h"
#include "gpu/ProgramScope.h"
#include "gpu/ShaderSource.h"
#include "support/Compare.h"
#include "support/GLFixture.h"
#include "support/LogCapture.h"
#include "support/TestMeshes.h"

#include <QOpenGLFramebufferObject>

using reference::Vec;

namespace {

constexpr int kSize = 128; // pixels a side; the view shows -2 to 2, or -6 to 6 for the grid

/// The lighting formula for a surface at `eye`, per channel.
double lit(Vec eye, Vec normal, Vec light)
{
    const Vec towardsEye = normalized(eye * -1.0);
    const Vec reflected = normal * (2 * dot(light, normal)) - light;
    return 0.1 + 0.66 * std::max(dot(light, normal), 0.0) +
        0.2 * std::pow(std::max(dot(reflected, towardsEye), 0.0), 33.0);
}

QMatrix4x4 orthographic(float half)
{
    QMatrix4x4 projection;
    projection.ortho(-half, half, -half, half, 1.0f, 10.0f);
    return projection;
}

/// The pixel whose middle is nearest to a world point of the plane z = 0.
QPoint pixelAt(double x, double y, double half)
{
    return { int(std::floor((x / half + 1) * kSize / 2)),
             kSize - 1 - int(std::floor((y / half + 1) * kSize / 2)) };
}

bool greyIs(QRgb pixel, double value)
{
    const double wanted = std::min(value, 1.0) * 255;
    // Half a step of rounding, and as much for the interpolated normal.
    const bool same = nearlyEqual(qRed(pixel), wanted, 1.01) &&
        nearlyEqual(qGreen(pixel), wanted, 1.01) && nearlyEqual(qBlue(pixel), wanted, 1.01);
    if (!same)
        qWarning("%d %d %d instead of %g", qRed(pixel), qGreen(pixel), qBlue(pixel), wanted);
    return same;
}

const QRgb kBackground = qRgb(0, 51, 102);

} // namespace

/// What the draw programs leave in the pixels.
class DrawGLTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void shadesByTheFormula();
    void masksTintBlue();
    void wireframeShowsPolygonEdges();
    void wipeSplitsTheMesh();
    void emptyMeshDrawsNothing();
    void gridHasBlackAxes();

private:
    void loadSheet();
    template <class Draw> QImage render(Draw draw);
    QImage renderMesh(const MeshDrawOptions &options);

    GLFixture m_gl;
    Topology m_topology;
    GPUMesh m_mesh;
    MeshDrawOptions m_options;
};

void DrawGLTest::initTestCase()
{
    SKIP_WITHOUT_GL(m_gl);
    QVERIFY(m_mesh.initialize());
    m_options.modelView.translate(0, 0, -5);
    m_options.projection = orthographic(2.0f);
    m_options.normalMatrix = m_options.modelView.normalMatrix();
    m_options.lightDirection = { 0.3f, 0.2f, 0.7f }; // not of unit length
}

/// A flat sheet of 4 x 4 quads from -1 to 1 in the plane z = 0, seen from +z.
void DrawGLTest::loadSheet()
{
    const TestMesh mesh = testGrid(5, 5, 0.0);
    m_topology = mesh.topology();
    m_mesh.setTopology(&m_topology);
    m_mesh.allocateBuffers();
    QVERIFY(m_mesh.upload(Semantic::kPosition, mesh.points));
    const PointArray normals(mesh.points.size(), { 0, 0, 1, 0 });
    QVERIFY(m_mesh.upload(Semantic::kNormal, normals));
}

template <class Draw> QImage DrawGLTest::render(Draw draw)
{
    QOpenGLFramebufferObject target(kSize, kSize, QOpenGLFramebufferObject::Depth);
    target.bind();
    auto &gl = m_gl.gl();
    gl.glViewport(0, 0, kSize, kSize);
    gl.glEnable(GL_DEPTH_TEST);
    gl.glClearColor(0.0f, 0.2f, 0.4f, 1.0f);
    gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    draw();
    const QImage image = target.toImage();
    target.release();
    return image;
}

QImage DrawGLTest::renderMesh(const MeshDrawOptions &options)
{
    return render([&] { m_mesh.draw(options); });
}

void DrawGLTest::shadesByTheFormula()
{
    loadSheet();
    const QImage image = renderMesh(m_options);
    for (const auto &[x, y] : { std::pair(0.0, 0.0), { 0.6, -0.7 }, { -0.9, 0.4 } }) {
        const double colour = lit({ x, y, -5 }, { 0, 0, 1 }, { 0.3, 0.2, 0.7 });
        QVERIFY(greyIs(image.pixel(pixelAt(x, y, 2)), colour));
    }
    QCOMPARE(image.pixel(pixelAt(1.5, 0, 2)) & RGB_MASK, kBackground & RGB_MASK);
    // Nothing but the highlight differs over the sheet, and from behind only the ambient is left.
    m_options.lightDirection *= -1;
    QVERIFY(greyIs(renderMesh(m_options).pixel(pixelAt(0, 0, 2)), 0.1));
    m_options.lightDirection *= -1;
}

void DrawGLTest::masksTintBlue()
{
    loadSheet();
    const QRgb plain = renderMesh(m_options).pixel(pixelAt(0, 0, 2));
    for (const float mask : { 1.0f, 0.4f, -1.0f }) {
        QVERIFY(m_mesh.upload(Semantic::kMask, std::vector<float>(25, mask)));
        const QRgb tinted = renderMesh(m_options).pixel(pixelAt(0, 0, 2));
        const double factor = 1.0 - 0.5 * std::max(double(mask), 0.0); // a negative mask: untinted
        QVERIFY(nearlyEqual(qRed(tinted), factor * qRed(plain), 1.01));
        QVERIFY(nearlyEqual(qGreen(tinted), factor * qGreen(plain), 1.01));
        QCOMPARE(qBlue(tinted), qBlue(plain));
    }
}

void DrawGLTest::wireframeShowsPolygonEdges()
{
    loadSheet();
    MeshDrawOptions options = m_options;
    options.wireframe = true;
    const QImage image = renderMesh(options);
    const QImage plain = renderMesh(m_options);
    const auto blackNear = [](const QImage &picture, double x, double y) {
        const QPoint middle = pixelAt(x, y, 2);
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                if ((picture.pixel(middle + QPoint(dx, dy)) & RGB_MASK) == 0)
                    return true;
            }
        }
        return false;
    };
    QVERIFY(blackNear(image, 0.0, 0.2) && blackNear(image, 0.3, -0.5));
    QVERIFY2(!blackNear(image, 0.25, 0.25), "the diagonal of a quad is no edge");
    QVERIFY(!blackNear(plain, 0.0, 0.2));
}

void DrawGLTest::wipeSplitsTheMesh()
{
    loadSheet();
    // The uncorrected pose: the same sheet with normals that face away, so it is dark.
    m_mesh.copyBuffer(Semantic::kPosition, Semantic::kBasePoints);
    const PointArray away(25, { 0, 0, -1, 0 });
    QVERIFY(m_mesh.upload(Semantic::kOffsetPoints, away));
    MeshDrawOptions options = m_options;
    options.wireframe = true; // not drawn while comparing
    const Vec light { 0.3, 0.2, 0.7 };
    const double bright = lit({ -0.75, 0.25, -5 }, { 0, 0, 1 }, light);

    options.compareSplit = 0.1f; // in normalised device x: world 0.2
    LogCapture log;
    const QImage split = renderMesh(options);
    QCOMPARE(log.countContaining(QStringLiteral("0.1")), 1);
    QVERIFY(greyIs(split.pixel(pixelAt(-0.75, 0.25, 2)), bright));
    const double dark = lit({ 0.75, 0.25, -5 }, { 0, 0, -1 }, light);
    QVERIFY(greyIs(split.pixel(pixelAt(0.75, 0.25, 2)), dark));
    QVERIFY2(qRed(split.pixel(pixelAt(-0.5, 0.2, 2))) > 0, "wire while comparing");

    options.compareSplit = -999.0f; // exactly this is off
    QVERIFY(greyIs(renderMesh(options).pixel(pixelAt(0.75, 0.25, 2)),
                   lit({ 0.75, 0.25, -5 }, { 0, 0, 1 }, light)));
    options.compareSplit = -998.0f; // far left: everything is uncorrected
    QVERIFY(greyIs(renderMesh(options).pixel(pixelAt(-0.75, 0.25, 2)),
                   lit({ -0.75, 0.25, -5 }, { 0, 0, -1 }, light)));
}

void DrawGLTest::emptyMeshDrawsNothing()
{
    loadSheet();
    MeshDrawOptions options = m_options;
    options.wireframe = true;
    m_mesh.clear();
    const QImage image = renderMesh(options);
    QImage blank(image.size(), image.format());
    blank.fill(kBackground);
    QCOMPARE(image, blank);
    GPUMesh never; // not initialised
    never.draw(options);
    QCOMPARE(m_gl.gl().glGetError(), GLenum(GL_NO_ERROR));
}

void DrawGLTest::gridHasBlackAxes()
{
    QOpenGLShaderProgram program;
    const QString path = QStringLiteral(":/drawShaders/DrawShaders/grid_%1.glsl");
    for (const auto &[stage, name] :
         { std::pair(QOpenGLShader::Vertex, "vertex"), { QOpenGLShader::Fragment, "fragment" } })
        QVERIFY(
            program.addShaderFromSourceCode(stage, loadShader(path.arg(QLatin1String(name))).text));
    QVERIFY(program.link());
    QMatrix4x4 fromAbove; // x to the right, z down
    fromAbove.translate(0, 0, -5);
    fromAbove.rotate(90, 1, 0, 0);
    const QImage image = render([&] {
        ProgramScope scope(program);
        scope.set("MVP", orthographic(6.0f) * fromAbove);
        m_gl.gl().glDrawArrays(GL_LINES, 0, 44);
    });
    // Every line is crossed twice in the row and the column half a unit off the axes.
    QStringList row, column;
    for (int i = 0; i < kSize; ++i) {
        const QRgb across = image.pixel(i, pixelAt(0, 0.5, 6).y()) & RGB_MASK;
        const QRgb down = image.pixel(pixelAt(0.5, 0, 6).x(), i) & RGB_MASK;
        for (auto &[list, pixel] : { std::pair(&row, across), std::pair(&column, down) }) {
            if (pixel != (kBackground & RGB_MASK))
                list->append(QString::number(qRed(pixel)));
        }
    }
    QStringList expected(QStringList::fromVector(QVector<QString>(11, QStringLiteral("153"))));
    expected[5] = QStringLiteral("0");
    QCOMPARE(row, expected);
    QCOMPARE(column, expected);
    // And none of them reaches past 5.
    QCOMPARE(image.pixel(pixelAt(0, 5.5, 6)) & RGB_MASK, kBackground & RGB_MASK);
}

QTEST_MAIN(DrawGLTest)
#include "DrawGLTest.moc"
