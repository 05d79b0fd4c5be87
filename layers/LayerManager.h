#pragma once

#include <QWidget>

class FloatSliderGrp;
class Layer;
class QScrollArea;
class QSignalMapper;
class QVBoxLayout;

/// The layer panel: a button for each kind of layer, the global envelope, and the scrolling list of
/// Layer widgets in the order in which they are applied. The stack itself is Global's.
class LayerManager : public QWidget {
    Q_OBJECT

public:
    LayerManager();

    /// Where Global appends each new Layer.
    QVBoxLayout *layerListLayout() const { return m_layerListLayout; }
    /// Emits mapped() with the LayerKind number of the button that was released.
    QSignalMapper *mapper() const { return m_mapper; }
    /// The envelope back to 1, for an empty scene.
    void reset();
    /// Scrolls the list to a layer that is selected, once it has its place there.
    void reveal(Layer *layer);

public slots:
    void setEnvelope(float envelope);

private:
    QLayout *createButtons();
    QWidget *createLayerList();

    QSignalMapper *m_mapper;
    FloatSliderGrp *m_envelope;
    QScrollArea *m_layerList = nullptr;
    QVBoxLayout *m_layerListLayout = nullptr;
};
