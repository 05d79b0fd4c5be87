#pragma once

#include <QWidget>

#include <memory>
#include <vector>

class QTreeWidget;
class QTreeWidgetItem;
class ShapeViewPort;
struct ShapeMesh;

/// The window that lists the shapes of the "Shapes" folder beside the program and previews the
/// selected one. Every showing reads the folder anew.
class ShapeBrowser : public QWidget {
    Q_OBJECT

public:
    explicit ShapeBrowser(QWidget *parent = nullptr);

    QTreeWidget *list() const { return m_list; }
    ShapeViewPort *preview() const { return m_preview; }

protected:
    void showEvent(QShowEvent *event) override;

private slots:
    void setItemSelectionChanged();

private:
    void scan();

    ShapeViewPort *m_preview;
    QTreeWidget *m_list;
    std::vector<std::shared_ptr<const ShapeMesh>> m_shapes; ///< one per listed file, in list order
    std::vector<QTreeWidgetItem *> m_items; ///< the list's, same order; the list owns them
};
