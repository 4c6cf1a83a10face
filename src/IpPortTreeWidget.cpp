#include <ConfigDialogs/IpPortTreeWidget.h>

#include <kq/NodeDB.h>

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QHeaderView>
#include <QIcon>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QSet>
#include <QStyle>
#include <QTreeWidgetItemIterator>
#include <QVector>

#include <algorithm>
#include <set>

namespace kqgui {

namespace {

    constexpr int kAddressColumn = 0;
    constexpr int kPortColumn = 1;

    // Shown by a row the user has inserted but not filled in yet. Compared as
    // text, so they are not translated.
    QString ipPlaceholder() { return QStringLiteral("<Ip>"); }
    QString portPlaceholder() { return QStringLiteral("<Port>"); }

    // Four dot-separated decimal octets 0..255, leading zeros allowed up to
    // three digits. The editor's validator and the check after an edit both
    // use this one pattern. QRegularExpression rather than QRegExp, which
    // Qt 6 keeps only in its compatibility module without a validator: the
    // leftmost match starts at the same place, and the validator anchors the
    // pattern itself and gives the same states for partial input.
    const QRegularExpression& ipv4Pattern()
    {
        static const QRegularExpression pattern(
            QStringLiteral("(([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])\\.){3}"
                           "([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])"));
        return pattern;
    }

    // The editor lets the user type 1..65536; the check after an edit keeps
    // 0..65534. The two ranges differ on purpose and are both kept.
    constexpr int kEditorPortMin = 1;
    constexpr int kEditorPortMax = 65536;
    constexpr int kCheckedPortMin = 0;
    constexpr int kCheckedPortMax = 65534;

    // The logo comes with the client application's resources. QIcon would
    // make a non-null icon without pixmaps from a missing file; an empty
    // icon says plainly that there is none.
    QIcon masterIcon()
    {
        const QString path = QStringLiteral(":/core/velcor_logo.png");
        return QFile::exists(path) ? QIcon(path) : QIcon();
    }

    const char kMarkAction[] = "MARK";

    bool hasPlaceholder(const QTreeWidgetItem* row)
    {
        return row->text(kAddressColumn) == ipPlaceholder() || row->text(kPortColumn) == portPlaceholder();
    }

    IpPortTreeWidget::Entry committedEntry(const QTreeWidgetItem* row)
    {
        return { row->data(kAddressColumn, Qt::UserRole).toString(),
            row->data(kPortColumn, Qt::UserRole).toInt() };
    }

    // The port written for an entry: the same digits as QString("%1").arg().
    QString portText(int port) { return QString::number(port); }

    QString entryText(const IpPortTreeWidget::Entry& entry)
    {
        return entry.first + QLatin1Char(':') + portText(entry.second);
    }

    // The next entry separator at or after `from`: ":" or "%3A" (upper-case
    // A only). Answers its position, or -1, and sets `length` to its length.
    // The two separators start with different characters, so they never
    // compete for the same place.
    int nextSeparator(QStringView text, int from, int* length)
    {
        for (int i = from; i < text.size(); ++i) {
            const QChar c = text.at(i);
            if (c == QLatin1Char(':')) {
                *length = 1;
                return i;
            }
            if (c == QLatin1Char('%') && i + 2 < text.size() && text.at(i + 1) == QLatin1Char('3')
                && text.at(i + 2) == QLatin1Char('A')) {
                *length = 3;
                return i;
            }
        }
        return -1;
    }

    // A port text read as QString::toInt() in base 10 reads it (0 when it is
    // not a number). Plain digits, the usual case, are read in place; nine
    // digits cannot overflow an int.
    int portNumber(QStringView text)
    {
        if (text.isEmpty() || text.size() > 9)
            return text.toString().toInt(nullptr, 10);
        int value = 0;
        for (const QChar c : text) {
            if (c < QLatin1Char('0') || c > QLatin1Char('9'))
                return text.toString().toInt(nullptr, 10);
            value = value * 10 + (c.unicode() - '0');
        }
        return value;
    }

    // Reads an entry text as splitIpPort() splits it: exactly one separator
    // makes an entry (address before it, port after it); any other count
    // answers false.
    bool readEntry(const QString& text, IpPortTreeWidget::Entry* entry)
    {
        int length = 0;
        const int at = nextSeparator(text, 0, &length);
        if (at < 0)
            return false;
        const int portStart = at + length;
        int ignored = 0;
        if (nextSeparator(text, portStart, &ignored) >= 0)
            return false;
        entry->first = text.left(at);
        entry->second = portNumber(QStringView(text).mid(portStart));
        return true;
    }

    // Blocks an object's signals for a scope and puts back the state it found,
    // unless told to leave them blocked (which some early returns of the
    // editing operations do on purpose).
    class SignalBlock {
    public:
        explicit SignalBlock(QObject* object)
            : m_object(object)
            , m_wasBlocked(object->blockSignals(true))
        {
        }
        ~SignalBlock() { restore(); }
        SignalBlock(const SignalBlock&) = delete;
        SignalBlock& operator=(const SignalBlock&) = delete;

        void restore()
        {
            if (m_object)
                m_object->blockSignals(m_wasBlocked);
            m_object = nullptr;
        }
        void keepBlocked() { m_object = nullptr; }

    private:
        QObject* m_object;
        bool m_wasBlocked;
    };

    void warn(QWidget* parent, const QString& text)
    {
        QMessageBox::warning(
            parent, QCoreApplication::applicationName(), text, QMessageBox::Ok, QMessageBox::NoButton);
    }

    // What the loading and writing need to know of the rows, kept in step with
    // the tree's model so that they need not walk every row for every entry.
    // Rows are numbered in the order QTreeWidgetItemIterator visits them
    // (top to bottom, children after their parent). Rows appended at the top
    // level and data changes are taken in as they come; any other structural
    // change marks the table stale and the next question rebuilds it from the
    // tree. Rows that update() has made but not yet added to the tree are
    // known as pending and answer lookups like the rows already there. The
    // table also keeps, per entry, how many loaded nodes hold it, from which
    // the entries common to all nodes follow without going through every
    // node's list again.
    class RowTable : public QObject {
    public:
        using Entry = IpPortTreeWidget::Entry;

        explicit RowTable(QTreeWidget* tree)
            : QObject(tree)
            , m_tree(tree)
        {
            setObjectName(QStringLiteral("kq-entry-index"));
            QAbstractItemModel* model = tree->model();
            connect(model, &QAbstractItemModel::rowsInserted, this, &RowTable::onRowsInserted);
            connect(model, &QAbstractItemModel::dataChanged, this, &RowTable::onDataChanged);
            connect(model, &QAbstractItemModel::rowsRemoved, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::rowsMoved, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::columnsInserted, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::columnsRemoved, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::columnsMoved, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::modelReset, this, &RowTable::markStale);
            connect(model, &QAbstractItemModel::layoutChanged, this, &RowTable::markStale);
        }

        static RowTable& of(QTreeWidget* tree)
        {
            auto* table
                = tree->findChild<RowTable*>(QStringLiteral("kq-entry-index"), Qt::FindDirectChildrenOnly);
            return table ? *table : *new RowTable(tree);
        }

        // The first row holding the committed entry, or -1.
        int first(const Entry& entry)
        {
            refresh();
            const auto it = m_rowsOf.constFind(entry);
            return it == m_rowsOf.cend() ? -1 : it->first;
        }

        // Takes in a row that update() has made for `entry` (its texts and
        // committed entry, partially checked) and will append to the top
        // level of the tree (with addTopLevelItems(), in the order given
        // here). Answers its row number. What the row holds is known, so it
        // is not read back from the item. `written` is the row's written
        // form when the caller has it at hand, else a null string.
        int addPending(QTreeWidgetItem* item, const Entry& entry, const QString& written)
        {
            refresh();
            m_pending.append(item);
            Row row;
            row.entry = entry;
            row.check = Qt::PartiallyChecked;
            // The port column shows a number, never the port placeholder.
            row.placeholder = entry.first == ipPlaceholder();
            row.text = written;
            Q_ASSERT(row.entry == read(item).entry && row.check == read(item).check
                && row.placeholder == read(item).placeholder);
            Q_ASSERT(written.isNull() || written == entryText(entry));
            append(item, row);
            return m_rows.size() - 1;
        }

        // True when no row has children: then row numbers are top-level
        // indexes, and a row's check state is its own (not one derived from
        // children).
        bool isFlat()
        {
            refresh();
            return m_flat;
        }

        // The coverage a load leaves in a flat tree: the rows in `checked`
        // checked, every other row partially checked. Only rows whose state
        // differs are set, so the rows that keep their state see no change
        // at all (setting a state and then setting the old one back would
        // end the same, with two more model notifications per row).
        void setCoverage(QVector<int> checked)
        {
            refresh();
            std::sort(checked.begin(), checked.end());
            QVector<QTreeWidgetItem*> toPartial;
            for (int row : m_notPartial) {
                if (!std::binary_search(checked.cbegin(), checked.cend(), row))
                    toPartial.append(m_items.at(row));
            }
            QVector<QTreeWidgetItem*> toChecked;
            for (int row : qAsConst(checked)) {
                if (m_rows.at(row).check != Qt::Checked)
                    toChecked.append(m_items.at(row));
            }
            // Collected first: each change comes back through onDataChanged.
            for (QTreeWidgetItem* item : qAsConst(toPartial))
                item->setCheckState(kAddressColumn, Qt::PartiallyChecked);
            for (QTreeWidgetItem* item : qAsConst(toChecked))
                item->setCheckState(kAddressColumn, Qt::Checked);
        }

        // The rows a node's list is written from, top to bottom: checked rows,
        // and partially checked rows whose entry is in the list `has`
        // answers; never a row showing a placeholder. `has` is asked nothing
        // when no row is partially checked.
        template <class Has> QVector<int> rowsToWrite(Has has)
        {
            refresh();
            QVector<int> rows;
            for (int row : m_checked) {
                if (!m_rows.at(row).placeholder)
                    rows.append(row);
            }
            // A partially checked row that is written or not: only then is
            // the node's list looked at.
            int partialPlaceholders = 0;
            for (int row : m_placeholders)
                partialPlaceholders += m_rows.at(row).check == Qt::PartiallyChecked ? 1 : 0;
            const bool anyPartial = int(m_rows.size() - m_notPartial.size()) > partialPlaceholders;
            if (!anyPartial)
                return rows;
            const int checkedCount = rows.size();
            const QList<Entry>& entries = has();
            for (const Entry& entry : entries) {
                const auto it = m_rowsOf.constFind(entry);
                if (it == m_rowsOf.cend())
                    continue;
                appendIfPartial(it->first, &rows);
                for (int row : it->more)
                    appendIfPartial(row, &rows);
            }
            // The list may name an entry more than once.
            std::sort(rows.begin() + checkedCount, rows.end());
            rows.erase(std::unique(rows.begin() + checkedCount, rows.end()), rows.end());
            std::inplace_merge(rows.begin(), rows.begin() + checkedCount, rows.end());
            return rows;
        }

        // The text a row is written as, made once per committed entry.
        const QString& textAt(int row)
        {
            Row& r = m_rows[row];
            if (r.text.isNull())
                r.text = entryText(r.entry);
            return r.text;
        }
        QTreeWidgetItem* itemAt(int row) const { return m_items.at(row); }

        // Node counts. Between beginNode() and the next beginNode(), a node's
        // entries are counted once each however often its list names them.
        void beginNode() { ++m_stamp; }
        // Counts the entry out of the node loaded before; it is in one node
        // fewer.
        void countOut(const Entry& entry)
        {
            const auto it = m_nodesWith.find(entry);
            if (it != m_nodesWith.end() && it->stamp != m_stamp) {
                it->stamp = m_stamp;
                --it->nodes;
            }
        }
        struct Counted {
            int nodes = 0; // nodes holding the entry now; 0: counted already
            bool firstLoad = false; // the entry was never loaded before
        };
        // Counts the entry into the node being loaded.
        Counted countIn(const Entry& entry)
        {
            Coverage& c = m_nodesWith[entry];
            if (c.stamp == m_stamp)
                return {};
            c.stamp = m_stamp;
            const bool firstLoad = !c.loaded;
            c.loaded = true;
            return { ++c.nodes, firstLoad };
        }
        void forgetNodes() { m_nodesWith.clear(); }

    private:
        struct Row {
            Entry entry;
            int check = Qt::Unchecked;
            bool placeholder = false;
            QString text; // the written form, made when first written
        };
        // The rows holding one entry: the first, and the others in order.
        struct Rows {
            int first = -1;
            QVector<int> more;
        };
        struct Coverage {
            int nodes = 0;
            quint32 stamp = 0;
            bool loaded = false;
        };

        static Row read(const QTreeWidgetItem* item)
        {
            Row row;
            row.entry = committedEntry(item);
            row.check = item->data(kAddressColumn, Qt::CheckStateRole).toInt();
            row.placeholder = hasPlaceholder(item);
            return row;
        }

        void appendIfPartial(int row, QVector<int>* rows) const
        {
            const Row& r = m_rows.at(row);
            if (r.check == Qt::PartiallyChecked && !r.placeholder)
                rows->append(row);
        }

        void add(int row)
        {
            const Row& r = m_rows.at(row);
            const auto it = m_rowsOf.find(r.entry);
            if (it == m_rowsOf.end()) {
                m_rowsOf.insert(r.entry, Rows { row, {} });
            } else if (row < it->first) {
                it->more.prepend(it->first);
                it->first = row;
            } else {
                it->more.insert(std::lower_bound(it->more.begin(), it->more.end(), row), row);
            }
            if (r.check != Qt::PartiallyChecked)
                m_notPartial.insert(row);
            if (r.check == Qt::Checked)
                m_checked.insert(row);
            if (r.placeholder)
                m_placeholders.insert(row);
        }

        void remove(int row)
        {
            const Row& r = m_rows.at(row);
            const auto it = m_rowsOf.find(r.entry);
            if (it != m_rowsOf.end()) {
                if (it->first != row)
                    it->more.removeOne(row);
                else if (it->more.isEmpty())
                    m_rowsOf.erase(it);
                else
                    it->first = it->more.takeFirst();
            }
            m_notPartial.erase(row);
            m_checked.erase(row);
            m_placeholders.erase(row);
        }

        void append(QTreeWidgetItem* item) { append(item, read(item)); }
        void append(QTreeWidgetItem* item, const Row& row)
        {
            if (!m_flat)
                m_positionOf.insert(item, m_rows.size());
            m_items.append(item);
            m_rows.append(row);
            add(m_rows.size() - 1);
        }

        void rebuild()
        {
            m_items.clear();
            m_rows.clear();
            m_rowsOf.clear();
            m_positionOf.clear();
            m_notPartial.clear();
            m_checked.clear();
            m_placeholders.clear();
            m_flat = true;
            for (int i = 0; i < m_tree->topLevelItemCount() && m_flat; ++i)
                m_flat = m_tree->topLevelItem(i)->childCount() == 0;
            for (QTreeWidgetItemIterator it(m_tree); *it; ++it)
                append(*it);
            // Pending rows not in the tree yet keep their places after it.
            const QVector<QTreeWidgetItem*> pending = m_pending;
            m_pending.clear();
            for (QTreeWidgetItem* item : pending) {
                if (!item->treeWidget()) {
                    m_pending.append(item);
                    append(item);
                }
            }
            m_stale = false;
        }

        void refresh()
        {
            if (m_stale)
                rebuild();
        }

        void markStale() { m_stale = true; }

        void onRowsInserted(const QModelIndex& parent, int first, int last)
        {
            if (m_stale)
                return;
            const int count = last - first + 1;
            // Childless rows appended at the top level come last in the walk.
            if (parent.isValid() || first != m_tree->topLevelItemCount() - count) {
                m_stale = true;
                return;
            }
            if (!m_pending.isEmpty()) {
                // The pending rows arriving, as they were announced.
                bool announced = count == m_pending.size();
                for (int i = 0; announced && i < count; ++i)
                    announced = m_tree->topLevelItem(first + i) == m_pending.at(i);
                if (announced)
                    m_pending.clear();
                else
                    m_stale = true;
                return;
            }
            for (int i = first; i <= last; ++i) {
                QTreeWidgetItem* item = m_tree->topLevelItem(i);
                if (!item || item->childCount() > 0) {
                    m_stale = true;
                    return;
                }
            }
            for (int i = first; i <= last; ++i)
                append(m_tree->topLevelItem(i));
        }

        void onDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight)
        {
            if (m_stale)
                return;
            // Rows below the top level are rare (the tree makes none itself):
            // a change there is taken in by a rebuild.
            if (topLeft.parent().isValid()) {
                m_stale = true;
                return;
            }
            for (int i = topLeft.row(); i <= bottomRight.row(); ++i) {
                QTreeWidgetItem* item = m_tree->topLevelItem(i);
                int row = i;
                if (!m_flat) {
                    const auto it = m_positionOf.constFind(item);
                    row = it == m_positionOf.cend() ? -1 : *it;
                }
                if (!item || row < 0 || row >= m_items.size() || m_items.at(row) != item) {
                    m_stale = true;
                    return;
                }
                remove(row);
                m_rows[row] = read(item);
                add(row);
            }
        }

        QTreeWidget* m_tree;
        bool m_stale = true;
        bool m_flat = true;
        QVector<QTreeWidgetItem*> m_items;
        QVector<Row> m_rows;
        QVector<QTreeWidgetItem*> m_pending;
        // Row numbers of top-level items, kept only while some row has
        // children (otherwise the top-level index is the row number).
        QHash<QTreeWidgetItem*, int> m_positionOf;
        QHash<Entry, Rows> m_rowsOf;
        std::set<int> m_notPartial;
        std::set<int> m_checked;
        std::set<int> m_placeholders;
        QHash<Entry, Coverage> m_nodesWith;
        quint32 m_stamp = 0;
    };

    // The sizes measured during one column-sizing pass of one tree, so that
    // cells that look the same are laid out at most twice: the port column
    // repeats a handful of values over thousands of rows, and entries shared
    // by many nodes repeat too. Two cells look the same when every field of
    // their style option but the model index agrees: Qt's styles size a cell
    // from those fields alone. Kept for one pass only: between passes the
    // style, the fonts or the palette may change.
    class SizeMemo {
    public:
        explicit SizeMemo(const QWidget* view)
            : m_view(view)
            , m_outer(s_active)
        {
            s_active = this;
        }
        ~SizeMemo() { s_active = m_outer; }
        SizeMemo(const SizeMemo&) = delete;
        SizeMemo& operator=(const SizeMemo&) = delete;

        // The memo of the pass running for `view`, or null.
        static SizeMemo* activeFor(const QWidget* view)
        {
            return s_active && s_active->m_view == view ? s_active : nullptr;
        }

        // The size measured for a cell that looks like `option`, or null.
        const QSize* find(const QStyleOptionViewItem& option) const
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
        // Takes note of a measured cell. Most cells of an address column
        // look like no other, so a look is kept only from its second cell
        // on: the first leaves its key, which costs no copy of the option.
        void insert(const QStyleOptionViewItem& option, QSize size)
        {
            const uint key = keyOf(option);
            if (!m_keysSeen.contains(key)) {
                m_keysSeen.insert(key);
                return;
            }
            m_sizes[key].append(Measured { option, size });
        }

    private:
        struct Measured {
            QStyleOptionViewItem option;
            QSize size;
        };

        static uint keyOf(const QStyleOptionViewItem& option)
        {
            return qHash(option.text) ^ (uint(option.features) << 8) ^ uint(option.checkState)
                ^ (uint(option.rect.width()) << 16);
        }
        static uint resolveMask(const QFont& font)
        {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            return uint(font.resolveMask());
#else
            return font.resolve();
#endif
        }
        static bool sameLook(const QStyleOptionViewItem& a, const QStyleOptionViewItem& b)
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

        static SizeMemo* s_active;
        const QWidget* m_view;
        SizeMemo* m_outer;
        QSet<uint> m_keysSeen;
        QHash<uint, QVector<Measured>> m_sizes;
    };
    SizeMemo* SizeMemo::s_active = nullptr;

    // Sizes the tree's columns to their contents (column 0 then 20 pixels
    // wider) once a run of update() calls is over rather than after each:
    // Qt's sizing measures up to a thousand rows per column, which made
    // loading many nodes cost a sizing pass per node. The pending sizing is
    // done before anything can look at the columns: before any event reaches
    // the tree, its viewport or its header; before the model changes other
    // than by update() itself; before any other member function of the tree
    // runs; and when the event loop next runs.
    class ColumnSizer : public QObject {
    public:
        explicit ColumnSizer(QTreeWidget* tree)
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

        static ColumnSizer* find(const QTreeWidget* tree)
        {
            return tree->findChild<ColumnSizer*>(
                QStringLiteral("kq-column-sizer"), Qt::FindDirectChildrenOnly);
        }
        static ColumnSizer& of(QTreeWidget* tree)
        {
            ColumnSizer* sizer = find(tree);
            return sizer ? *sizer : *new ColumnSizer(tree);
        }
        // Does the pending sizing, if any.
        static void flush(const QTreeWidget* tree)
        {
            if (ColumnSizer* sizer = find(tree))
                sizer->sizeNow();
        }

        // While update() runs, its own changes to the model leave the sizing
        // pending; at its end the sizing is due.
        void beginUpdate() { m_inUpdate = true; }
        void endUpdate()
        {
            m_inUpdate = false;
            if (m_pending)
                return;
            m_pending = true;
            QMetaObject::invokeMethod(this, &ColumnSizer::sizeNow, Qt::QueuedConnection);
        }

        void sizeNow()
        {
            if (!m_pending || m_inUpdate)
                return;
            m_pending = false;
            SizeMemo memo(m_tree); // the delegate fills it while the pass runs
            m_tree->resizeColumnToContents(kAddressColumn);
            m_tree->resizeColumnToContents(kPortColumn);
            m_tree->setColumnWidth(kAddressColumn, m_tree->columnWidth(kAddressColumn) + 20);
        }

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override
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

    private:
        QTreeWidget* m_tree;
        bool m_pending = false;
        bool m_inUpdate = false;
    };

} // namespace

myStyledItemDelegate::myStyledItemDelegate(QObject* parent)
    : QStyledItemDelegate(parent)
{
}

myStyledItemDelegate::~myStyledItemDelegate() = default;

QWidget* myStyledItemDelegate::createEditor(
    QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
    auto* lineEdit = qobject_cast<QLineEdit*>(editor);
    if (!lineEdit)
        return editor;
    if (index.column() == kAddressColumn)
        lineEdit->setValidator(new QRegularExpressionValidator(ipv4Pattern(), lineEdit));
    else if (index.column() == kPortColumn)
        lineEdit->setValidator(new QIntValidator(kEditorPortMin, kEditorPortMax, lineEdit));
    return editor;
}

QSize myStyledItemDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    SizeMemo* const memo = SizeMemo::activeFor(option.widget);
    if (!memo)
        return QStyledItemDelegate::sizeHint(option, index);

    // The base class's measuring, remembered for the rest of the pass.
    const QVariant hint = index.data(Qt::SizeHintRole);
    if (hint.isValid())
        return qvariant_cast<QSize>(hint);
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    if (const QSize* known = memo->find(opt))
        return *known;
    const QWidget* const widget = option.widget;
    const QStyle* const style = widget ? widget->style() : QApplication::style();
    const QSize size = style->sizeFromContents(QStyle::CT_ItemViewItem, &opt, QSize(), widget);
    memo->insert(opt, size);
    return size;
}

IpPortTreeWidget::IpPortTreeWidget(QWidget* parent)
    : QTreeWidget(parent)
    , localAddresses(kq::IPAddress::enumLocalAddresses())
    , masterPort(0)
    , masterItem(nullptr)
{
    setItemDelegate(&delegate);
    setHeaderLabels({ tr("Ip"), tr("Port") });
    connect(this, &QTreeWidget::itemChanged, this, &IpPortTreeWidget::wigdetItemChanged);
    connect(this, &QTreeWidget::itemDoubleClicked, this, &IpPortTreeWidget::setItemEditable);
}

IpPortTreeWidget::~IpPortTreeWidget()
{
    // No sizing while the tree comes apart.
    delete ColumnSizer::find(this);
}

QStringList IpPortTreeWidget::splitIpPort(QString& entry)
{
    // What splitting at the regular expression "%3A|:" gives, keeping empty
    // parts, without building and running a regular expression for every
    // entry.
    QStringList parts;
    int start = 0;
    int length = 0;
    for (int at = nextSeparator(entry, 0, &length); at >= 0; at = nextSeparator(entry, start, &length)) {
        parts.append(entry.mid(start, at - start));
        start = at + length;
    }
    parts.append(entry.mid(start));
    return parts;
}

int IpPortTreeWidget::fetchPort() const { return masterPort; }

QTreeWidgetItem* IpPortTreeWidget::masterRow() const { return masterItem; }

void IpPortTreeWidget::replaceRows(const QList<QTreeWidgetItem*>& rows, QTreeWidgetItem* master)
{
    ColumnSizer::flush(this);
    const int oldPort = masterPort;
    {
        const SignalBlock blocker(this);
        // The old master goes with the other rows; nothing may touch it.
        masterItem = nullptr;
        for (int i = topLevelItemCount() - 1; i >= 0; --i)
            delete takeTopLevelItem(i);
        addTopLevelItems(rows);
        if (master && indexOfTopLevelItem(master) >= 0) {
            masterItem = master;
            masterPort = master->data(kPortColumn, Qt::UserRole).toInt();
        }
    }
    if (masterPort != oldPort)
        Q_EMIT masterPortChanged();
}

void IpPortTreeWidget::setAsMaster(QTreeWidgetItem* item)
{
    ColumnSizer::flush(this);
    if (!item || indexOfTopLevelItem(item) < 0)
        return;
    QTreeWidgetItem* const oldMaster = masterItem;
    {
        const SignalBlock blocker(this);
        // The former master may have been deleted behind the tree's back;
        // only a row still in the tree is touched.
        if (oldMaster && indexOfTopLevelItem(oldMaster) >= 0) {
            oldMaster->setData(kPortColumn, Qt::ToolTipRole, QString());
            QPixmap blank(16, 16);
            blank.fill(Qt::transparent);
            oldMaster->setData(kPortColumn, Qt::DecorationRole, QIcon(blank));
        }
        masterItem = item;
        item->setData(kPortColumn, Qt::DecorationRole, masterIcon());
        item->setData(kPortColumn, Qt::ToolTipRole,
            tr("Use as port in: \"Velcor->Options->Tools->Alarm settings->Alarm messages\""));
        masterPort = item->data(kPortColumn, Qt::UserRole).toInt();
    }
    if (oldMaster && oldMaster != item)
        Q_EMIT masterPortChanged();
}

void IpPortTreeWidget::update(const ListProperty* property, QString nodeId)
{
    const SignalBlock blocker(this);
    if (nodeId.isEmpty() || kq::NodeDB::getDB()->node(nodeId).null() || !property) {
        setEnabled(false);
        return;
    }

    ColumnSizer& sizer = ColumnSizer::of(this);
    sizer.beginUpdate();
    RowTable& table = RowTable::of(this);

    // The node's earlier entries leave the per-entry node counts.
    const auto earlier = nodeEntries.constFind(nodeId);
    if (earlier != nodeEntries.cend()) {
        table.beginNode();
        for (const Entry& entry : *earlier)
            table.countOut(entry);
    }
    table.beginNode();

    const ListProperty::ValueType& texts = property->value();
    QList<Entry> entries;
    entries.reserve(texts.size());
    // This node's entries, each once, with its first row and the number of
    // nodes holding it.
    struct Loaded {
        Entry entry;
        int row;
        int nodes;
    };
    QVector<Loaded> distinct;
    // New rows are added to the tree together, and before a row becomes
    // master (which needs it in the tree).
    QList<QTreeWidgetItem*> created;
    for (const QString& text : texts) {
        Entry entry;
        if (!readEntry(text, &entry))
            continue;
        entries.append(entry);
        const RowTable::Counted counted = table.countIn(entry);
        if (counted.firstLoad)
            allEntries.insert(entry);

        int row = table.first(entry);
        if (row < 0) {
            const QString port = portText(entry.second);
            auto* item = new QTreeWidgetItem(QStringList { entry.first, port });
            item->setData(kAddressColumn, Qt::UserRole, entry.first);
            item->setData(kPortColumn, Qt::UserRole, entry.second);
            item->setCheckState(kAddressColumn, Qt::PartiallyChecked);
            created.append(item);
            // An entry text that reads exactly as the row will be written
            // back (the address, ":" and the port as the row shows it) is
            // kept for the write-back, which then need not make it again.
            const int colon = entry.first.size();
            const bool written = text.size() == colon + 1 + port.size() && text.at(colon) == QLatin1Char(':')
                && QStringView(text).mid(colon + 1) == port;
            row = table.addPending(item, entry, written ? text : QString());
            // Whether the address equals any of the local ones: the order of
            // comparing does not change the answer.
            if (!masterItem && localAddresses.contains(kq::IPAddress(entry.first))) {
                addTopLevelItems(created);
                created.clear();
                setAsMaster(item);
            }
        }
        if (counted.nodes > 0)
            distinct.append({ entry, row, counted.nodes });
    }
    if (!created.isEmpty())
        addTopLevelItems(created);
    nodeEntries.insert(nodeId, entries);

    // An entry is common when every loaded node holds it (a node remembered
    // with an empty list holds none), so all common entries are among this
    // node's. Each update recomputes the coverage from the loaded lists
    // alone, overriding what the user or insertItem() set: the first row of
    // a common entry checked, every other row partially checked.
    commonEntries.clear();
    QVector<int> commonRows;
    for (const Loaded& loaded : qAsConst(distinct)) {
        if (loaded.nodes == nodeEntries.size()) {
            commonEntries.insert(loaded.entry);
            commonRows.append(loaded.row);
        }
    }
    if (table.isFlat()) {
        table.setCoverage(commonRows);
    } else {
        // Rows with children may take their check state from them, and
        // checking a row can check its children: every row is set, as
        // plainly as that reads.
        QVector<QTreeWidgetItem*> commonItems;
        for (int row : qAsConst(commonRows))
            commonItems.append(table.itemAt(row));
        for (QTreeWidgetItemIterator it(this); *it; ++it)
            (*it)->setCheckState(kAddressColumn, Qt::PartiallyChecked);
        for (QTreeWidgetItem* item : qAsConst(commonItems))
            item->setCheckState(kAddressColumn, Qt::Checked);
    }

    sizer.endUpdate();
}

void IpPortTreeWidget::update(const ListProperty*) { }

void IpPortTreeWidget::update(const QMap<QString, kqm::smart<kq::INodeConfigSession>>&, QStringList) { }

void IpPortTreeWidget::setConfigSessionProperty(ListProperty* property, QString nodeId)
{
    ColumnSizer::flush(this);
    if (!property)
        return;
    RowTable& table = RowTable::of(this);
    // operator[] on purpose: a node never loaded gets an empty list when a
    // partially checked row asks for it, which then takes part in the next
    // update()'s common entries.
    const QVector<int> rows = table.rowsToWrite([&]() -> const QList<Entry>& { return nodeEntries[nodeId]; });
    ListProperty::ValueType& list = property->value();
    list.clear();
    list.reserve(rows.size());
    for (int row : rows)
        list.append(table.textAt(row));
}

void IpPortTreeWidget::wigdetItemChanged(QTreeWidgetItem* item, int)
{
    ColumnSizer::flush(this);
    if (!item || hasPlaceholder(item))
        return;

    const QString address = item->text(kAddressColumn);
    // Only where the match starts counts; text after it is not looked at.
    if (address.indexOf(ipv4Pattern(), 0) != 0) {
        // The box has no button but Ok, so whatever it answers the edit stops
        // here uncommitted.
        warn(this, tr("You did not enter a valid IPv4 address."));
        return;
    }

    bool ok = false;
    const int port = item->text(kPortColumn).toInt(&ok, 10);
    if (!ok || port < kCheckedPortMin || port > kCheckedPortMax) {
        warn(this, tr("You did not enter a valid port number!"));
        return;
    }

    {
        // Committing changes item data, which would come back here through
        // itemChanged.
        const SignalBlock blocker(this);
        item->setData(kAddressColumn, Qt::UserRole, address);
        item->setData(kPortColumn, Qt::UserRole, port);
    }
    if (item == masterItem)
        setAsMaster(item);
}

void IpPortTreeWidget::setItemEditable(QTreeWidgetItem* item, int column)
{
    ColumnSizer::flush(this);
    if (!item)
        return;
    const SignalBlock blocker(this);
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsEnabled);
    editItem(item, column);
}

void IpPortTreeWidget::insertItem()
{
    ColumnSizer::flush(this);
    SignalBlock blocker(this);
    for (QTreeWidgetItemIterator it(this); *it; ++it) {
        if (hasPlaceholder(*it)) {
            // At most one unfilled row. The signals stay blocked on this
            // path; callers rely on the exact blocking behaviour.
            blocker.keepBlocked();
            return;
        }
    }
    auto* row = new QTreeWidgetItem(QStringList { ipPlaceholder(), portPlaceholder() });
    // A new entry is meant for every edited node.
    row->setCheckState(kAddressColumn, Qt::Checked);
    addTopLevelItem(row);
}

void IpPortTreeWidget::removeItem()
{
    ColumnSizer::flush(this);
    const SignalBlock blocker(this);
    const QList<QTreeWidgetItem*> rows = selectedItems();
    for (QTreeWidgetItem* row : rows) {
        if (row != masterItem)
            delete takeTopLevelItem(indexOfTopLevelItem(row));
    }
}

void IpPortTreeWidget::upItem()
{
    ColumnSizer::flush(this);
    SignalBlock blocker(this);
    const QList<QTreeWidgetItem*> rows = selectedItems();
    if (rows.isEmpty() || indexOfTopLevelItem(rows.first()) == 0) {
        blocker.keepBlocked();
        return;
    }
    for (QTreeWidgetItem* row : rows) {
        const int i = indexOfTopLevelItem(row);
        if (i > 0)
            insertTopLevelItem(i, takeTopLevelItem(i - 1));
    }
}

void IpPortTreeWidget::downItem()
{
    ColumnSizer::flush(this);
    SignalBlock blocker(this);
    const QList<QTreeWidgetItem*> rows = selectedItems();
    if (rows.isEmpty() || indexOfTopLevelItem(rows.last()) == topLevelItemCount() - 1) {
        blocker.keepBlocked();
        return;
    }
    const int i = indexOfTopLevelItem(rows.last());
    if (i < 0)
        return;
    // Above the block of selected rows; clamped so that a selection made in
    // an odd order never drops the row out of the tree.
    const int target = qMax(0, i + 1 - rows.size());
    insertTopLevelItem(target, takeTopLevelItem(i + 1));
    scrollToItem(rows.last(), QAbstractItemView::EnsureVisible);
}

void IpPortTreeWidget::reset()
{
    ColumnSizer::flush(this);
    masterItem = nullptr;
    // clear() resets the model, which calls reset() again; that inner call
    // finds the tree empty.
    if (topLevelItemCount() > 0)
        clear();
    // The view's own bookkeeping (editors, expanded rows, cached layout) must
    // follow a model reset, so the base class runs too.
    QTreeWidget::reset();
    setEnabled(true);
    commonEntries.clear();
    allEntries.clear();
    nodeEntries.clear();
    RowTable::of(this).forgetNodes();
}

void IpPortTreeWidget::contextMenuEvent(QContextMenuEvent* event)
{
    ColumnSizer::flush(this);
    SignalBlock blocker(this);
    QTreeWidgetItem* row = itemAt(event->pos());
    QMenu menu(this);
    QAction* mark = menu.addAction(tr("Master Port"));
    mark->setData(QString::fromLatin1(kMarkAction));
    const QAction* chosen = menu.exec(event->globalPos());
    blocker.restore();
    // Over empty space there is no row, and choosing the action does nothing.
    if (row && chosen && chosen->data().isValid() && chosen->data().toString() == QLatin1String(kMarkAction))
        setAsMaster(row);
}

} // namespace kqgui
