#include "widgets/WrapRow.h"

#include <algorithm>

WrapRow::~WrapRow() = default;

QLayoutItem *WrapRow::itemAt(int index) const
{
    return index >= 0 && index < count() ? m_items[size_t(index)].get() : nullptr;
}

QLayoutItem *WrapRow::takeAt(int index)
{
    if (index < 0 || index >= count())
        return nullptr;
    QLayoutItem *item = m_items[size_t(index)].release();
    m_items.erase(m_items.begin() + index);
    return item;
}

QSize WrapRow::sizeHint() const
{
    QSize size(-spacing(), 0);
    for (const auto &item : m_items)
        size = { size.width() + spacing() + item->sizeHint().width(),
                 std::max(size.height(), item->sizeHint().height()) };
    return size;
}

QSize WrapRow::minimumSize() const
{
    QSize size;
    for (const auto &item : m_items)
        size = size.expandedTo(item->minimumSize());
    return size;
}

void WrapRow::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    arrange(rect, true);
}

int WrapRow::arrange(const QRect &rect, bool move) const
{
    QPoint at = rect.topLeft();
    int rowHeight = 0;
    for (const auto &item : m_items) {
        const QSize size = item->sizeHint();
        if (at.x() > rect.left() && at.x() + size.width() > rect.left() + rect.width()) {
            at = { rect.left(), at.y() + rowHeight + spacing() };
            rowHeight = 0;
        }
        if (move)
            item->setGeometry({ at, size });
        at.rx() += size.width() + spacing();
        rowHeight = std::max(rowHeight, size.height());
    }
    return at.y() + rowHeight - rect.top();
}
