#include "ipporttree/ColumnSizing_p.h"
#include "ipporttree/EntryText_p.h"

#include <QEvent>
#include <QHeaderView>
#include <QTreeWidget>

namespace kqgui {
namespace ipport {

    SizeMemo* SizeMemo::s_active = nullptr;

    SizeMemo::SizeMemo(const QWidget* view)
        : m_view(view)
        , m_outer(s_active)
    {
        s_active = this;
    }

    SizeMemo* SizeMemo::activeFor(const QWidget* view)
    {
        return s_active && s_active->m_view == view ? s_active : nullptr;
    }

    const QSize* SizeMemo::find(const QStyleOptionViewItem& option) const
    {
        const auto bucket = m_sizes.constFind(keyOf(option));
        if (bucket == m_sizes.cend())
            return nullptr;
        for (const Measured& measured : *bucket) {
            if (sameLook(measured.option, option))
                return &measured.size;
        }
        return nullptr;
    }

    void SizeMemo::insert(const QStyleOptionViewItem& option, QSize size)
    {
        const uint key = keyOf(option);
        if (!m_keysSeen.contains(key)) {
            m_keysSeen.insert(key);
            return;
        }
        m_sizes[key].append(Measured { option, size });
    }

    uint SizeMemo::keyOf(const QStyleOptionViewItem& option)
    {
        return qHash(option.text) ^ (uint(option.features) << 8) ^ uint(option.checkState)
            ^ (uint(option.rect.width()) << 16);
    }

    uint SizeMemo::resolveMask(const QFont& font)
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        return uint(font.resolveMask());
#else
        return font.resolve();
#endif
    }

    bool SizeMemo::sameLook(const QStyleOptionViewItem& a, const QStyleOptionViewItem& b)
    {
        return a.type == b.type && a.version == b.version && a.text == b.text && a.features == b.features
            && a.checkState == b.checkState && a.state == b.state && a.rect == b.rect
            && a.direction == b.direction && a.icon.cacheKey() == b.icon.cacheKey()
            && a.decorationSize == b.decorationSize && a.decorationPosition == b.decorationPosition
            && a.decorationAlignment == b.decorationAlignment && a.displayAlignment == b.displayAlignment
            && a.textElideMode == b.textElideMode && a.showDecorationSelected == b.showDecorationSelected
            && a.viewItemPosition == b.viewItemPosition && a.font == b.font
            && resolveMask(a.font) == resolveMask(b.font) && a.fontMetrics == b.fontMetrics
            && (a.palette.cacheKey() == b.palette.cacheKey() || a.palette == b.palette)
            && a.backgroundBrush == b.backgroundBrush && a.locale == b.locale && a.widget == b.widget
            && a.styleObject == b.styleObject;
    }

    ColumnSizer::ColumnSizer(QTreeWidget* tree)
        : QObject(tree)
        , m_tree(tree)
    {
        setObjectName(QStringLiteral("kq-column-sizer"));
        tree->installEventFilter(this);
        tree->viewport()->installEventFilter(this);
        tree->header()->installEventFilter(this);
        QAbstractItemModel* model = tree->model();
        connect(model, &QAbstractItemModel::rowsAboutToBeInserted, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::rowsAboutToBeMoved, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::columnsAboutToBeInserted, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::columnsAboutToBeRemoved, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &ColumnSizer::sizeNow);
        connect(model, &QAbstractItemModel::layoutAboutToBeChanged, this, &ColumnSizer::sizeNow);
    }

    ColumnSizer* ColumnSizer::find(const QTreeWidget* tree)
    {
        return tree->findChild<ColumnSizer*>(QStringLiteral("kq-column-sizer"), Qt::FindDirectChildrenOnly);
    }

    ColumnSizer& ColumnSizer::of(QTreeWidget* tree)
    {
        ColumnSizer* sizer = find(tree);
        return sizer ? *sizer : *new ColumnSizer(tree);
    }

    void ColumnSizer::flush(const QTreeWidget* tree)
    {
        if (ColumnSizer* sizer = find(tree))
            sizer->sizeNow();
    }

    void ColumnSizer::endUpdate()
    {
        m_inUpdate = false;
        if (m_pending)
            return;
        m_pending = true;
        QMetaObject::invokeMethod(this, &ColumnSizer::sizeNow, Qt::QueuedConnection);
    }

    void ColumnSizer::sizeNow()
    {
        if (!m_pending || m_inUpdate)
            return;
        m_pending = false;
        SizeMemo memo(m_tree); // the delegate fills it while the pass runs
        m_tree->resizeColumnToContents(kAddressColumn);
        m_tree->resizeColumnToContents(kPortColumn);
        m_tree->setColumnWidth(kAddressColumn, m_tree->columnWidth(kAddressColumn) + 20);
    }

    bool ColumnSizer::eventFilter(QObject* watched, QEvent* event)
    {
        switch (event->type()) {
        case QEvent::ChildAdded:
        case QEvent::ChildRemoved:
        case QEvent::ChildPolished:
        case QEvent::DynamicPropertyChange:
        case QEvent::Destroy:
        case QEvent::DeferredDelete:
            break;
        default:
            sizeNow();
        }
        return QObject::eventFilter(watched, event);
    }

} // namespace ipport
} // namespace kqgui
