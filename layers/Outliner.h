#pragma once

#include <QTreeWidget>
#include <QWidget>

#include <memory>
#include <vector>

/// The list of the imported archive's cameras; a double click looks through one.
class Outliner : public QWidget {
    Q_OBJECT

public:
    Outliner();
    ~Outliner() override;

    /// Takes in one object of the archive. `type` 2 is a camera; every other is stored but
    /// deliberately never shown: this is a camera list, and flat, so the parent's name is unused.
    void addObject(const QString &name, const QString &parentName, int type);
    void clear();

public slots:
    void setDoubleClick(QTreeWidgetItem *item, int column);
    void setItemExpanded(QTreeWidgetItem *item);

private:
    QTreeWidget *m_tree;
    /// Everything added, in order; an item leaves the tree when it is destroyed.
    std::vector<std::unique_ptr<QTreeWidgetItem>> m_items;
};
