#include "ipporttree/ColumnSizing_p.h"
#include "ipporttree/EntryText_p.h"

#include <QAbstractItemDelegate>
#include <QEvent>
#include <QHeaderView>
#include <QScrollBar>
#include <QStyle>
#include <QTreeWidget>

#include <algorithm>

namespace kqgui {
namespace ipport {

    namespace {

        const char* const kSizerName = "kq-column-sizer";

        // Protected members of Qt's classes that the sizing reads, reached
        // through pointers to members: QTreeView builds every cell's style
        // option from the view's own, and keeps hidden rows, spanned rows and
        // open editors as persistent indexes of the model.
        struct ViewAccess : QTreeWidget {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            using QTreeWidget::initViewItemOption;
#else
            using QTreeWidget::viewOptions;
#endif
        };
        struct ModelAccess : QAbstractItemModel {
            using QAbstractItemModel::persistentIndexList;
        };

        QStyleOptionViewItem viewOption(const QTreeWidget* tree)
        {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            QStyleOptionViewItem option;
            (tree->*(&ViewAccess::initViewItemOption))(&option);
            return option;
#else
            return (tree->*(&ViewAccess::viewOptions))();
#endif
        }

        QAbstractItemDelegate* delegateFor(const QTreeWidget* tree, const QModelIndex& index)
        {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            return tree->itemDelegateForIndex(index);
#else
            return tree->itemDelegate(index);
#endif
        }

    } // namespace

    SizeMemo* SizeMemo::s_active = nullptr;
    const QWidget* SizeMemo::s_activeView = nullptr;

    SizeMemo::Use::Use(SizeMemo& memo, const QWidget* view)
        : m_outer(s_active)
        , m_outerView(s_activeView)
    {
        s_active = &memo;
        s_activeView = view;
    }

    SizeMemo::Use::~Use()
    {
        s_active = m_outer;
        s_activeView = m_outerView;
    }

    SizeMemo* SizeMemo::activeFor(const QWidget* view)
    {
        return s_active && s_activeView == view ? s_active : nullptr;
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

    void SizeMemo::clear()
    {
        m_keysSeen.clear();
        m_sizes.clear();
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
        : ModelFollower(tree, tree->model(), kSizerName)
        , m_tree(tree)
    {
        tree->installEventFilter(this);
        tree->header()->installEventFilter(this);
        connect(tree->model(), &QAbstractItemModel::headerDataChanged, this,
            [this] { m_headerHint[0] = m_headerHint[1] = -1; });
    }

    void ColumnSizer::sizeColumns(bool flat, bool exact)
    {
        refresh();
        // A style sheet applies when the tree is first polished, which Qt's
        // sizing does first too.
        m_tree->ensurePolished();
        followLook();
        const SizeMemo::Use use(m_memo, m_tree);
        const int count = viewLaidOut() ? rowsToMeasure(flat, exact) : -1;
        if (count < 0) {
            m_tree->resizeColumnToContents(kAddressColumn);
            m_tree->resizeColumnToContents(kPortColumn);
            m_tree->setColumnWidth(kAddressColumn, m_tree->columnWidth(kAddressColumn) + 20);
            // Rows that came or went left the view a layout to do, which
            // Qt's sizing has just done for the tree as large as it is now.
            if (m_rowsMoved)
                m_laidOutSize = m_tree->size();
            m_rowsMoved = false;
            return;
        }
        // Qt answers -1 for a tree without rows: the header decides then.
        const bool addressResized = resizeToContents(kAddressColumn, count > 0 ? m_summary.widest[0] : -1);
        resizeToContents(kPortColumn, count > 0 ? m_summary.widest[1] : -1);
        if (addressResized)
            m_tree->setColumnWidth(kAddressColumn, m_tree->columnWidth(kAddressColumn) + 20);
    }

    bool ColumnSizer::eventFilter(QObject* watched, QEvent* event)
    {
        // A new style sheet sizes cells and sections differently with the
        // same style object and the same options.
        if (event->type() == QEvent::StyleChange) {
            if (watched == m_tree)
                m_lookKnown = false;
            m_headerHint[0] = m_headerHint[1] = -1;
        }
        return QObject::eventFilter(watched, event);
    }

    ColumnSizer::Look ColumnSizer::currentLook() const
    {
        Look look;
        look.option = viewOption(m_tree);
        look.style = m_tree->style();
        look.delegates = { m_tree->itemDelegate(), m_tree->itemDelegateForColumn(kAddressColumn),
            m_tree->itemDelegateForColumn(kPortColumn) };
        look.treeColumn
            = m_tree->treePosition() >= 0 ? m_tree->treePosition() : m_tree->header()->logicalIndex(0);
        look.indent = m_tree->rootIsDecorated() ? m_tree->indentation() : 0;
        return look;
    }

    void ColumnSizer::followLook()
    {
        Look look = currentLook();
        if (m_lookKnown && look.style == m_look.style && look.delegates == m_look.delegates
            && look.treeColumn == m_look.treeColumn && look.indent == m_look.indent
            && SizeMemo::sameLook(look.option, m_look.option))
            return;
        m_look = std::move(look);
        m_lookKnown = true;
        m_memo.clear();
        forget(0, int(m_rows.size()) - 1);
        // A delegate that sizes a cell anew says so.
        for (const QMetaObject::Connection& connection : qAsConst(m_delegateConnections))
            disconnect(connection);
        m_delegateConnections.clear();
        for (const QObject* object : qAsConst(m_look.delegates)) {
            if (!object)
                continue;
            m_delegateConnections.append(connect(static_cast<const QAbstractItemDelegate*>(object),
                &QAbstractItemDelegate::sizeHintChanged, this, [this](const QModelIndex& index) {
                    if (!isStale() && !index.parent().isValid())
                        forget(index.row(), index.row());
                }));
        }
    }

    // Whether laying the view out, as Qt's sizing does first when rows came
    // or went, would leave the header as wide as it is: with the last
    // section stretched, the port column takes what the header's width
    // leaves. The view is laid out for the scroll bars that their ranges
    // ask for (ranges that the layout then updates, for the next time).
    bool ColumnSizer::viewLaidOut() const
    {
        const QHeaderView* header = m_tree->header();
        if (!header->stretchLastSection())
            return true;
        if (m_tree->size() != m_laidOutSize)
            return false;
        const struct {
            const QScrollBar* bar;
            Qt::ScrollBarPolicy policy;
        } bars[] = { { m_tree->horizontalScrollBar(), m_tree->horizontalScrollBarPolicy() },
            { m_tree->verticalScrollBar(), m_tree->verticalScrollBarPolicy() } };
        for (const auto& b : bars) {
            if (b.bar->style()->styleHint(QStyle::SH_ScrollBar_Transient, nullptr, b.bar))
                return false;
            const bool needed = b.policy == Qt::ScrollBarAlwaysOn
                || (b.policy == Qt::ScrollBarAsNeeded && b.bar->minimum() < b.bar->maximum());
            if (needed != b.bar->isVisibleTo(m_tree))
                return false;
        }
        const QWidget* viewport = m_tree->viewport();
        return header->x() == viewport->x() && header->width() == viewport->width()
            && header->viewport()->width() == header->width();
    }

    // How many rows, from the top, Qt's sizing would measure now (all of them
    // measured and summed up on return), or -1 when that is not known here.
    int ColumnSizer::rowsToMeasure(bool flat, bool exact)
    {
        const int precision = m_tree->header()->resizeContentsPrecision();
        if (!flat || !exact || m_tree->columnCount() != 2 || precision == 0 || viewKeepsRowsApart())
            return -1;
        const int rows = int(m_rows.size());
        int count = rows;
        if (precision > 0 && rows >= precision) {
            // Only from the top, and only when the rows measured do not all
            // fit in the view: then the last row in view is not the last row.
            if (m_tree->verticalScrollBar()->value() != 0)
                return -1;
            count = precision - 1;
        }
        const QHeaderView* header = m_tree->header();
        const bool hidden[2] = { header->isSectionHidden(0), header->isSectionHidden(1) };
        if (count < m_summary.rows || hidden[0] != m_summary.hidden[0] || hidden[1] != m_summary.hidden[1]) {
            m_summary = Summary {};
            m_summary.hidden[0] = hidden[0];
            m_summary.hidden[1] = hidden[1];
        }
        for (int row = m_summary.rows; row < count; ++row) {
            const Row& r = m_rows[size_t(row)];
            if (r.width[0] < 0)
                measure(row);
            m_summary.widest[0] = std::max(m_summary.widest[0], r.width[0]);
            m_summary.widest[1] = std::max(m_summary.widest[1], r.width[1]);
            m_summary.height += lowestHeight(r);
        }
        m_summary.rows = count;
        if (count == rows)
            return count;
        // A row is at least as tall as its lowest shown cell, and the view is
        // no taller than the tree (or than the viewport as last laid out).
        const int first = lowestHeight(m_rows.front());
        if (first <= 0)
            return -1;
        const qint64 height = m_tree->uniformRowHeights() ? qint64(first) * count : m_summary.height;
        return height > std::max(m_tree->height(), m_tree->viewport()->height()) ? count : -1;
    }

    // Rows hidden, spanning every column, or holding a persistent editor or
    // an index widget: QTreeView skips the first two and measures the
    // editors, and keeps all three as persistent indexes of the model
    // without telling anyone.
    bool ColumnSizer::viewKeepsRowsApart() const
    {
        const QModelIndexList indexes = (m_tree->model()->*(&ModelAccess::persistentIndexList))();
        for (const QModelIndex& index : indexes) {
            if (m_tree->isPersistentEditorOpen(index))
                return true;
            if (index.column() == 0
                && (m_tree->isRowHidden(index.row(), index.parent())
                    || m_tree->isFirstColumnSpanned(index.row(), index.parent())))
                return true;
        }
        return false;
    }

    // The height of the lowest cell in a shown column (of those summed up).
    int ColumnSizer::lowestHeight(const Row& row) const
    {
        int lowest = -1;
        for (int column : { kAddressColumn, kPortColumn }) {
            if (!m_summary.hidden[column])
                lowest = lowest < 0 ? row.height[column] : std::min(lowest, row.height[column]);
        }
        return std::max(lowest, 0);
    }

    // As QTreeView measures a cell for its column's width.
    void ColumnSizer::measure(int row)
    {
        Row& r = m_rows[size_t(row)];
        for (int column : { kAddressColumn, kPortColumn }) {
            const QModelIndex index = m_tree->model()->index(row, column);
            const QAbstractItemDelegate* delegate = delegateFor(m_tree, index);
            const QSize size = delegate ? delegate->sizeHint(m_look.option, index) : QSize(0, 0);
            r.width[column] = size.width() + (column == m_look.treeColumn ? m_look.indent : 0);
            r.height[column] = size.height();
        }
    }

    // The rows from firstRow to lastRow are to be measured again.
    void ColumnSizer::forget(int firstRow, int lastRow)
    {
        firstRow = std::max(firstRow, 0);
        lastRow = std::min(lastRow, int(m_rows.size()) - 1);
        for (int row = firstRow; row <= lastRow; ++row)
            m_rows[size_t(row)] = Row {};
        if (firstRow <= lastRow && firstRow < m_summary.rows)
            m_summary = Summary {};
    }

    // QHeaderView::sectionSizeHint(), which lays the section's text out on
    // every call, kept while nothing it depends on changes.
    int ColumnSizer::headerHint(int column)
    {
        const QHeaderView* header = m_tree->header();
        HeaderLook look;
        look.font = header->font();
        look.style = header->style();
        look.sortIndicator = header->isSortIndicatorShown();
        look.minimum = header->minimumSectionSize();
        look.maximum = header->maximumSectionSize();
        look.hidden[0] = header->isSectionHidden(0);
        look.hidden[1] = header->isSectionHidden(1);
        if (!(look.font == m_headerLook.font && look.style == m_headerLook.style
                && look.sortIndicator == m_headerLook.sortIndicator && look.minimum == m_headerLook.minimum
                && look.maximum == m_headerLook.maximum && look.hidden[0] == m_headerLook.hidden[0]
                && look.hidden[1] == m_headerLook.hidden[1])) {
            m_headerLook = look;
            m_headerHint[0] = m_headerHint[1] = -1;
        }
        if (m_headerHint[column] < 0)
            m_headerHint[column] = header->sectionSizeHint(column);
        return m_headerHint[column];
    }

    // The rest of QTreeView::resizeColumnToContents(): the header's own
    // size counts when it is shown. Answers false when the column was left
    // alone because it is as wide already as it is to end up: the address
    // column 20 pixels wider than its contents, the port column as wide.
    bool ColumnSizer::resizeToContents(int column, int contents)
    {
        QHeaderView* header = m_tree->header();
        if (column >= header->count())
            return true;
        const int size = std::max(contents, header->isHidden() ? 0 : headerHint(column));
        const int widened = column == kAddressColumn ? size + 20 : size;
        if (!header->isSectionHidden(column) && widened <= header->maximumSectionSize()
            && header->sectionSize(column) == widened)
            return false;
        header->resizeSection(column, size);
        return true;
    }

    void ColumnSizer::rebuild()
    {
        m_rows.assign(size_t(m_tree->topLevelItemCount()), Row {});
        m_summary = Summary {};
        m_rowsMoved = true;
    }

    bool ColumnSizer::modelOutOfStep() const { return m_rows.size() != size_t(m_tree->topLevelItemCount()); }

    void ColumnSizer::onRowsInserted(const QModelIndex& parent, int first, int last)
    {
        if (isStale())
            return;
        if (parent.isValid() || first < 0 || size_t(first) > m_rows.size()) {
            markStale();
            return;
        }
        m_rows.insert(m_rows.begin() + first, size_t(last - first + 1), Row {});
        m_rowsMoved = true;
        if (first < m_summary.rows)
            m_summary = Summary {};
    }

    void ColumnSizer::onRowsRemoved(const QModelIndex& parent, int first, int last)
    {
        if (isStale())
            return;
        if (parent.isValid() || first < 0 || last < first || size_t(last) >= m_rows.size()) {
            markStale();
            return;
        }
        m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
        m_rowsMoved = true;
        if (first < m_summary.rows)
            m_summary = Summary {};
    }

    void ColumnSizer::onDataChanged(
        const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>&)
    {
        // Rows below rows: the tree is not flat, and Qt's sizing runs.
        if (!isStale() && !topLeft.parent().isValid())
            forget(topLeft.row(), bottomRight.row());
    }

} // namespace ipport
} // namespace kqgui
