#pragma once

#include "alembic/CameraRecord.h"
#include "gpu/ImageSequence.h"

#include <QDateTime>
#include <QOpenGLFunctions_4_3_Core>
#include <QString>

#include <list>
#include <memory>
#include <optional>

class ProgramScope;
class QOpenGLTexture;
class ShaderProgram;

/// Where the plate stands before a camera and what of it shows.
struct PlateSettings {
    float scaleX = 1.0f; ///< of the texture coordinates about the centre
    float scaleY = 1.0f;
    float offsetX = 0.0f; ///< texture widths
    float offsetY = 0.0f;
    float depth = 9900.0f; ///< world units before the camera; just before the far plane
    float opacity = 1.0f;
};

/// The plate of an image sequence, as a textured rectangle that fills a scene camera's film back at
/// a chosen depth. Everything that draws needs a context of the share group current; the caller
/// binds a vertex array of that context. Writes no depth, so that meshes behind stay visible
/// through it.
class ImagePlane : protected QOpenGLFunctions_4_3_Core {
public:
    ImagePlane();
    ~ImagePlane() override;
    ImagePlane(const ImagePlane &) = delete;
    ImagePlane &operator=(const ImagePlane &) = delete;

    /// Once, at the first call; false without OpenGL 4.3.
    bool initialize();
    /// Nothing when the sequence has no image for exactly this frame. A file that is no image is
    /// left out, with one debug line. Whether a file has changed is looked at when the frame does.
    void draw(int frame, const CameraRecord &camera, const QMatrix4x4 &modelView,
              const QMatrix4x4 &projection);

    PlateSettings &settings() { return m_settings; }
    const ImageSequence &sequence() const { return m_sequence; }
    void setSequence(ImageSequence sequence);
    int keptImageCount() const; ///< textures that wait to be drawn again

private:
    /// One decoded file; the texture is null where the file is no image.
    struct Image {
        QString path;
        QDateTime modified;
        std::unique_ptr<QOpenGLTexture> texture;
    };

    QOpenGLTexture *textureFor(const QString &path, bool look);
    Image loadImage(const QString &path);
    void dropOldestImage();
    void setUniforms(ProgramScope &program, const CameraRecord &camera, const QMatrix4x4 &modelView,
                     const QMatrix4x4 &projection) const;

    bool m_initialized = false;
    bool m_failed = false;
    PlateSettings m_settings;
    ImageSequence m_sequence;
    std::unique_ptr<ShaderProgram> m_program;
    std::optional<int> m_frame; ///< of the last picture
    std::list<Image> m_images; ///< the last one drawn first; textures are bounded in number
};
