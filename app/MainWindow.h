#pragma once

#include <QMainWindow>

class QBoxLayout;
class QDialog;
class QLabel;
class QLineEdit;

/// The top-level window: arranges the panels that Global::createCore() and createWindows() made,
/// and carries the menus, the option flags and the scene commands. Owns the panels placed in it
/// through their layouts.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    MainWindow();

    // Option flags, all false at start.
    static bool bySurface(); ///< picking walks the surface instead of measuring through space
    static bool symmetry(); ///< strokes are applied a second time through the mirror tool
    static bool cotangent(); ///< ring weighting of the clone brush

signals:
    /// An archive was opened; the scene is to take it in.
    void alembicImported();
    // What became of the scene, once it is done.
    void sceneOpened(const QString &path);
    void sceneSaved(const QString &path);
    void sceneDiscarded();

public slots:
    /// Always asks first: the scene keeps no flag for unsaved changes.
    void newScene();
    void openScene();
    void saveScene();
    void saveSceneAs();
    /// Existing layers are kept and apply to the new mesh.
    void importAlembic();
    void exportAlembic(); ///< the menu entry exists and does nothing
    void toggleBySurface();
    void toggleSymmetry(); ///< no control of the window is connected to it
    /// The displayed mesh becomes the rest pose.
    void saveMorphTarget();
    void showShapes();
    /// Flips on the button's press: a press released outside the box flips the flag while the box
    /// stays as it was. Deliberate.
    void setCotangent();
    void showRequestCode();
    void checkKey();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void buildMenus();
    QBoxLayout *buildMiddleRow();
    QWidget *buildLeftColumn();
    void setScenePath(const QString &path);
    int askAboutScene(); ///< Save, Discard or Cancel
    /// Asks for a path where that one is "untitled". False when nothing was written.
    bool save(QString path);
    bool mayClose();

    void showWork(const QString &text);

    static bool s_bySurface;
    static bool s_symmetry;
    static bool s_cotangent;

    QLabel *m_workLine; ///< over everything, while something slow says what it is at
    QMenu *m_buyMenu = nullptr; ///< only while unlicensed
    QDialog *m_keyDialog = nullptr;
    QLineEdit *m_keyField = nullptr;
};
