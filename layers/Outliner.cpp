#include "layers/Outliner.h"

#include "app/Global.h"
#include "gpu/CameraWindow.h"
#include "viewport/Viewport.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

constexpr int kCameraType = 2;
constexpr int kLettersInSight = 15; // of a name, in the narrowest window
constexpr int kBesideName = 34; // pixels: rims, icon and the space around it

QIcon cameraIcon()
{
    QIcon icon(QStringLiteral(":/resources/Resources/cameraIcon.png"));
    icon.addFile(QStringLiteral(":/resources/Resources/cameraIconSelected.png"), {},
                 QIcon::Selected); // the bar of the selected row has the accent's colour
    return icon;
}

} // namespace

Outliner::Outliner()
    : m_tree(new QTreeWidget)
{
    m_tree->setHeaderLabel(QStringLiteral("Cameras"));
    m_tree->setToolTip(QStringLiteral("Double click looks through a camera"));
    m_tree->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_tree->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_tree->setRootIsDecorated(false); // a flat list needs no room for branches
    m_tree->header()->setStretchLastSection(false); // whole names, by the scroll bar if need be
    m_tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    const QString letters(kLettersInSight, QLatin1Char('n'));
    setMinimumWidth(kBesideName + m_tree->fontMetrics().horizontalAdvance(letters));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tree);
    connect(m_tree, &QTreeWidget::itemDoubleClicked, this, &Outliner::setDoubleClick);
    connect(m_tree, &QTreeWidget::itemExpanded, this, &Outliner::setItemExpanded);
}

Outliner::~Outliner() = default;

void Outliner::addObject(const QString &name, const QString & /*parentName*/, int type)
{
    auto item = std::make_unique<QTreeWidgetItem>(type);
    item->setText(0, name);
    if (type == kCameraType) {
        item->setIcon(0, cameraIcon());
        m_tree->addTopLevelItem(item.get());
    }
    m_items.push_back(std::move(item));
}

void Outliner::clear() { m_items.clear(); }

void Outliner::setDoubleClick(QTreeWidgetItem *item, int /*column*/)
{
    if (item->type() != kCameraType)
        return;
    Global::auxViewport()->setCameraName(item->text(0));
    QWidget *window = Global::cameraWindow();
    window->hide(); // a window that is open already comes to the front this way
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
}

void Outliner::setItemExpanded(QTreeWidgetItem *item)
{
    if (item->childCount() == 0)
        return;
    m_tree->scrollToItem(item->child(0), QAbstractItemView::EnsureVisible);
    m_tree->horizontalScrollBar()->setValue(m_tree->visualItemRect(item).left());
}
