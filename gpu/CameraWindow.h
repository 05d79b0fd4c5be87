#pragma once

#include <QPoint>
#include <QWidget>

#include <optional>

class FloatFieldGrp;
class QGroupBox;
class QLineEdit;

/// The shot camera's window: the camera view, its field of view, where the plate stands, and the
/// image sequence that it shows. Takes the application's camera view in. Closing hides it.
class CameraWindow : public QWidget {
    Q_OBJECT

public:
    /// Stays above the owner; opens beside its brush shelf, later where it last stood.
    explicit CameraWindow(QWidget *owner);

    /// What a new scene starts with: the free camera, no sequence, every field at its default.
    void reset();

public slots:
    /// Vertical, in degrees; what is no angle of view leaves the camera as it is.
    void setFieldOfView(float degrees);
    void setScaleX(float scale);
    void setScaleY(float scale);
    void setOffsetX(float offset);
    void setOffsetY(float offset);
    void setDepth(float depth);
    void setOpacity(float opacity);
    void importImageSequence();
    /// Rebuilds the plate's images from the path in the field.
    void updateImageSequence();
    /// The view shows what its camera's lens shows, until the artist changes the field. Without
    /// such a camera or a lens it keeps its own.
    void followLens();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void createMenu();
    QGroupBox *createCameraGroup();
    QGroupBox *createPlateGroup();
    QGroupBox *createSequenceGroup();
    void explainFields();
    void connectFields();
    QPoint firstPosition() const;
    void showDefaults();

    FloatFieldGrp *m_fieldOfView;
    FloatFieldGrp *m_scaleX;
    FloatFieldGrp *m_scaleY;
    FloatFieldGrp *m_offsetX;
    FloatFieldGrp *m_offsetY;
    FloatFieldGrp *m_depth;
    FloatFieldGrp *m_opacity;
    QLineEdit *m_path;
    std::optional<QPoint> m_position; ///< where it stood when it was hidden
};
