#include "shapes/ShapeBrowser.h"

#include "shapes/ShapeFolder.h"
#include "shapes/ShapeViewPort.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QShortcut>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

ShapeBrowser::ShapeBrowser(QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::WindowStaysOnTopHint)
    , m_preview(new ShapeViewPort)
    , m_list(new QTreeWidget)
{
    setWindowTitle(QStringLiteral(" Shape Browser "));
    setMinimumSize(400, 400);
    resize(800, 500);
    setAttribute(Qt::WA_QuitOnClose, false); // left open, it must not outlive the main window
    m_list->setHeaderLabel(QStringLiteral("Shapes"));
    m_list->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_list->setMaximumWidth(250);
    m_list->setToolTip(QStringLiteral("Select to look at, F frames"));
    m_preview->setToolTip(QStringLiteral("Left tumbles, middle pans, right dollies, F frames"));
    auto *columns = new QHBoxLayout;
    columns->addWidget(m_list, 1);
    columns->addWidget(m_preview, 3);
    auto *rows = new QVBoxLayout(this);
    rows->addLayout(columns);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            &ShapeBrowser::setItemSelectionChanged);
    // A click in the list takes the keyboard there, where F would only search for a name.
    auto *frame = new QShortcut(Qt::Key_F, m_list, nullptr, nullptr, Qt::WidgetShortcut);
    frame->setAutoRepeat(false);
    connect(frame, &QShortcut::activated, m_preview, &ShapeViewPort::frameShape);
}

void ShapeBrowser::showEvent(QShowEvent *event)
{
    scan();
    QWidget::showEvent(event);
}

void ShapeBrowser::scan()
{
    m_list->clear();
    m_items.clear();
    m_shapes.clear();
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/Shapes");
    for (const QString &path : shapeFiles(folder)) {
        m_shapes.push_back(std::make_shared<const ShapeMesh>(loadShape(path)));
        m_items.push_back(new QTreeWidgetItem({ QFileInfo(path).fileName() }));
        m_list->addTopLevelItem(m_items.back());
    }
    setItemSelectionChanged();
}

void ShapeBrowser::setItemSelectionChanged()
{
    const QList<QTreeWidgetItem *> selected = m_list->selectedItems();
    const auto item = selected.isEmpty()
        ? m_items.end()
        : std::find(m_items.begin(), m_items.end(), selected.first());
    m_preview->setShape(item == m_items.end() ? nullptr
                                              : m_shapes[std::size_t(item - m_items.begin())]);
}
