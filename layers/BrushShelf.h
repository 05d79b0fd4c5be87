#pragma once

#include <QWidget>

#include <vector>

class BrushButton;

/// The tab of nine brush buttons. It sets the active brush and shows which one it is.
class BrushShelf : public QWidget {
    Q_OBJECT

public:
    BrushShelf();

public slots:
    /// Marks the brush's button, when a key or the shelf itself chose it. The stroke's own numbers
    /// (smoothing, none) have no button: the mark then stays on what the artist chose.
    void showActive(int brush);

private slots:
    void chooseBrush(int brush);

private:
    std::vector<BrushButton *> m_buttons; ///< by brush number
};
