#include "gpu/ImagePlane.h"

#include "gpu/Log.h"
#include "gpu/ProgramScope.h"

#include <QFileInfo>
#include <QImageReader>
#include <QOpenGLContext>
#include <QOpenGLTexture>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr int kKeptImages = 8;
constexpr int kCornerCount = 6; // two triangles, placed by the vertex stage
constexpr float kCentimetresPerInch = 2.54f;

QDateTime modificationTime(const QString &path) { return QFileInfo(path).lastModified(); }

}

ImagePlane::ImagePlane() = default;
ImagePlane::~ImagePlane() = default;

bool ImagePlane::initialize()
{
    if (m_initialized || m_failed)
        return m_initialized;
    m_failed = true;
    if (!QOpenGLContext::currentContext() || !initializeOpenGLFunctions()) {
        qCDebug(lcGpu).noquote() << "failed to initialize OpenGL functions for GPUMesh";
        return false;
    }
    m_program = std::make_unique<ShaderProgram>();
    if (!m_program->build(drawStages(QStringLiteral("imgPlane"))))
        return false;
    qCDebug(lcGpu).noquote() << "opengl initialized for image plane";
    m_failed = false;
    m_initialized = true;
    return true;
}

void ImagePlane::draw(int frame, const CameraRecord &camera, const QMatrix4x4 &modelView,
                      const QMatrix4x4 &projection)
{
    // A frame is painted many times over while the camera moves, and the folder may lie far away.
    const bool look = std::exchange(m_frame, frame) != frame;
    const auto entry = m_sequence.find(frame);
    if (!m_initialized || entry == m_sequence.end())
        return;
    QOpenGLTexture *texture = textureFor(entry->second, look);
    if (!texture)
        return;
    ProgramScope program(*m_program);
    texture->bind(0);
    glDepthMask(GL_FALSE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    setUniforms(program, camera, modelView, projection);
    glDrawArrays(GL_TRIANGLES, 0, kCornerCount);
    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
    texture->release(0);
}

void ImagePlane::setUniforms(ProgramScope &program, const CameraRecord &camera,
                             const QMatrix4x4 &modelView, const QMatrix4x4 &projection) const
{
    program.set("CameraMatrix", camera.matrix);
    program.set("ModelView", modelView);
    program.set("Projection", projection);
    // The archive's centimetres as inches: the vertex stage counts the focal length in inches.
    program.set("HorizontalFilmAperture", camera.horizontalAperture / kCentimetresPerInch);
    program.set("VerticalFilmAperture", camera.verticalAperture / kCentimetresPerInch);
    program.set("FocalLength", camera.focalLength);
    program.set("ScaleX", m_settings.scaleX);
    program.set("ScaleY", m_settings.scaleY);
    program.set("OffsetX", m_settings.offsetX);
    program.set("OffsetY", m_settings.offsetY);
    program.set("Depth", m_settings.depth);
    program.set("Opacity", m_settings.opacity);
    program.set("imageTex", 0);
}

void ImagePlane::setSequence(ImageSequence sequence)
{
    m_sequence = std::move(sequence);
    m_frame.reset();
}

QOpenGLTexture *ImagePlane::textureFor(const QString &path, bool look)
{
    const auto kept = std::find_if(m_images.begin(), m_images.end(),
                                   [&path](const Image &image) { return image.path == path; });
    if (kept != m_images.end() && (!look || kept->modified == modificationTime(path))) {
        m_images.splice(m_images.begin(), m_images, kept);
        return kept->texture.get();
    }
    if (kept != m_images.end())
        m_images.erase(kept);
    m_images.push_front(loadImage(path));
    if (keptImageCount() > kKeptImages)
        dropOldestImage();
    return m_images.front().texture.get();
}

int ImagePlane::keptImageCount() const
{
    return int(std::count_if(m_images.begin(), m_images.end(),
                             [](const Image &image) { return image.texture != nullptr; }));
}

// Files that are no image stay on the list: they take no memory, and are told of only once.
void ImagePlane::dropOldestImage()
{
    const auto oldest = std::find_if(m_images.rbegin(), m_images.rend(),
                                     [](const Image &image) { return image.texture != nullptr; });
    m_images.erase(std::next(oldest).base());
}

ImagePlane::Image ImagePlane::loadImage(const QString &path)
{
    const QDateTime modified = modificationTime(path);
    // The size is what the file claims: nothing larger than a texture can be is decoded at all.
    GLint largest = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
    QImageReader reader(path);
    const QSize size = reader.size();
    const QImage image = std::max(size.width(), size.height()) > largest ? QImage() : reader.read();
    if (image.isNull()) {
        qCDebug(lcGpu).noquote() << "can't read the image:" << path;
        return { path, modified, nullptr };
    }
    glGetError(); // what came before is another's
    auto texture =
        std::make_unique<QOpenGLTexture>(image.mirrored(), QOpenGLTexture::DontGenerateMipMaps);
    if (glGetError() == GL_OUT_OF_MEMORY) {
        qCDebug(lcGpu).noquote() << "the graphics card has no room for the image:" << path;
        return { path, modified, nullptr };
    }
    texture->setMinMagFilters(QOpenGLTexture::Linear, QOpenGLTexture::Linear);
    texture->setWrapMode(QOpenGLTexture::ClampToEdge);
    return { path, modified, std::move(texture) };
}
