#pragma once

#include "layers/LayerData.h"

#include <QWidget>

#include <memory>

class FloatSliderGrp;
class Icon;
class IntFieldGrp;
class TickBox;

/// One layer of the stack in the layer panel: its data, and the fields that edit them. The object
/// name "layer" is what style sheets select it by. Every edit ends in an evaluation of the stack.
/// The GPU is touched with the main view's context made current here, so any slot may be called
/// from anywhere on the GUI thread; without a mesh only the data changes.
class Layer : public QWidget {
    Q_OBJECT

public:
    explicit Layer(LayerKind kind);
    ~Layer() override;

    LayerData *data() { return &m_data; }
    const LayerData *data() const { return &m_data; }
    /// Shows what the data hold, the kind's fields and the selection included. Changes no data and
    /// evaluates nothing, even where a field cannot show a value exactly.
    void refreshWidgets();
    /// Greys the name, with a tool tip that tells both counts, while the layer does not fit the
    /// mesh.
    void showFit();

public slots:
    void expandContract();
    void select();
    void setIntensity(float intensity);
    void setIterations(int iterations);
    void setCloneIterations(int iterations);
    /// Inverts the stored option whatever the argument, deliberately.
    void setTangent(bool on);
    void setDamping(float damping);
    void setStiffness(float stiffness);
    void setAsMuscle(float amount);
    void showRightClickMenu(const QPoint &point);
    void setName();
    void copyMask();
    void pasteMask();
    void copyKeys();
    /// Repaints the ruler only, deliberately: the mesh catches up at the next evaluation.
    void pasteKeys();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QLayout *createHeader();
    void createPanel();
    void arrangeFields();
    void explainFields();
    void connectFields();
    void showName();
    void showSelection();

    LayerData m_data;
    LayerKind m_shownKind = LayerKind::Sculpt; ///< whose fields the panel shows
    Icon *m_expandLabel;
    Icon *m_nameLabel;
    QWidget *m_settingsPanel;
    /// Holds the fields that this kind does not show; apart from the panel, so never seen.
    std::unique_ptr<QWidget> m_unusedFields;
    FloatSliderGrp *m_intensity;
    IntFieldGrp *m_iterations;
    IntFieldGrp *m_cloneIterations;
    TickBox *m_tangent;
    FloatSliderGrp *m_damping;
    FloatSliderGrp *m_stiffness;
    FloatSliderGrp *m_asMuscle;
};
