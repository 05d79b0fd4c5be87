#pragma once

#include <QLayout>

#include <memory>
#include <vector>

/// A row of widgets that breaks into further rows where it is too narrow for all of them. Each
/// keeps its own size; no narrower than the widest.
class WrapRow : public QLayout {
public:
    explicit WrapRow(int spacing) { setSpacing(spacing); }
    ~WrapRow() override;

    void addItem(QLayoutItem *item) override { m_items.emplace_back(item); }
    int count() const override { return int(m_items.size()); }
    QLayoutItem *itemAt(int index) const override;
    QLayoutItem *takeAt(int index) override;

    Qt::Orientations expandingDirections() const override { return {}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return arrange({ 0, 0, width, 0 }, false); }
    QSize sizeHint() const override; ///< of all in one row
    QSize minimumSize() const override;
    void setGeometry(const QRect &rect) override;

private:
    int arrange(const QRect &rect, bool move) const; ///< returns the height that the rows take

    std::vector<std::unique_ptr<QLayoutItem>> m_items;
};
