#pragma once

#include <QWidget>

class FloatFieldGrp;
class QGroupBox;
class QLineEdit;

/// The shot camera's window: the camera view, its field of view, where the plate stands, and the
/// image sequence that it shows. Takes the application's camera view in. Closing hides it.
class CameraWindow : public QWidget {
    Q_OBJECT

public:
    CameraWindow();

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

private:
    void createMenu();
    QGroupBox *createCameraGroup();
    QGroupBox *createPlateGroup();
    QGroupBox *createSequenceGroup();
    void connectFields();
    void matchLens(const QString &cameraName);
    void showDefaults();

    FloatFieldGrp *m_fieldOfView;
    FloatFieldGrp *m_scaleX;
    FloatFieldGrp *m_scaleY;
    FloatFieldGrp *m_offsetX;
    FloatFieldGrp *m_offsetY;
    FloatFieldGrp *m_depth;
    FloatFieldGrp *m_opacity;
    QLineEdit *m_path;
};
