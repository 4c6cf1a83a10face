#include <ConfigDialogs/IpPortTreeWidget.h>

#include <kq/NodeDB.h>

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QFile>
#include <QHeaderView>
#include <QIcon>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QTreeWidgetItemIterator>

#include <algorithm>
#include <limits>
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

    QString entryText(const IpPortTreeWidget::Entry& entry)
    {
        return entry.first + QLatin1Char(':') + QStringLiteral("%1").arg(entry.second);
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
    // tree. It also keeps, per entry, how many loaded nodes hold it, from
    // which the entries common to all nodes follow without going through
    // every node's list again.
    class RowTable : public QObject {
    public:
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
        int first(const IpPortTreeWidget::Entry& entry)
        {
            refresh();
            const auto it = m_rowsOf.constFind(entry);
            return it == m_rowsOf.cend() ? -1 : it->first();
        }

        // Sets column 0 of every row up to `last` (inclusive) that is not
        // partially checked to partially checked, top to bottom: what a walk
        // from the top that sets each row it passes does, without passing the
        // rows that are partially checked already (setting them changes
        // nothing).
        void makePartialUpTo(int last)
        {
            int from = 0;
            for (;;) {
                refresh();
                const auto it = m_notPartial.lower_bound(from);
                if (it == m_notPartial.end() || *it > last)
                    return;
                const int row = *it;
                from = row + 1;
                m_items.at(row)->setCheckState(kAddressColumn, Qt::PartiallyChecked);
            }
        }

        // The rows a node's list is written from, top to bottom: checked rows,
        // and partially checked rows whose entry `has` accepts; never a row
        // showing a placeholder. `has` is asked nothing when no row is
        // partially checked.
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
            if (anyPartial) {
                const QList<IpPortTreeWidget::Entry>& entries = has();
                const QSet<IpPortTreeWidget::Entry> distinct(entries.cbegin(), entries.cend());
                for (const IpPortTreeWidget::Entry& entry : distinct) {
                    for (int row : m_rowsOf.value(entry)) {
                        const Row& r = m_rows.at(row);
                        if (r.check == Qt::PartiallyChecked && !r.placeholder)
                            rows.append(row);
                    }
                }
            }
            std::sort(rows.begin(), rows.end());
            return rows;
        }

        const IpPortTreeWidget::Entry& entryAt(int row) const { return m_rows.at(row).entry; }
        QTreeWidgetItem* itemAt(int row) const { return m_items.at(row); }

        // Node counts: the node's entries replace `before`.
        void countNode(
            const QSet<IpPortTreeWidget::Entry>& before, const QSet<IpPortTreeWidget::Entry>& after)
        {
            for (const auto& entry : before) {
                if (!after.contains(entry) && --m_nodesWith[entry] <= 0)
                    m_nodesWith.remove(entry);
            }
            for (const auto& entry : after) {
                if (!before.contains(entry))
                    ++m_nodesWith[entry];
            }
        }
        int nodesWith(const IpPortTreeWidget::Entry& entry) const { return m_nodesWith.value(entry); }
        void forgetNodes() { m_nodesWith.clear(); }

    private:
        struct Row {
            IpPortTreeWidget::Entry entry;
            int check = Qt::Unchecked;
            bool placeholder = false;
        };

        static Row read(const QTreeWidgetItem* item)
        {
            Row row;
            row.entry = committedEntry(item);
            row.check = item->data(kAddressColumn, Qt::CheckStateRole).toInt();
            row.placeholder = hasPlaceholder(item);
            return row;
        }

        void add(int row)
        {
            const Row& r = m_rows.at(row);
            QVector<int>& rows = m_rowsOf[r.entry];
            rows.insert(std::lower_bound(rows.begin(), rows.end(), row), row);
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
                it->removeOne(row);
                if (it->isEmpty())
                    m_rowsOf.erase(it);
            }
            m_notPartial.erase(row);
            m_checked.erase(row);
            m_placeholders.erase(row);
        }

        void append(QTreeWidgetItem* item)
        {
            m_positionOf.insert(item, m_rows.size());
            m_items.append(item);
            m_rows.append(read(item));
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
            for (QTreeWidgetItemIterator it(m_tree); *it; ++it)
                append(*it);
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
            // Childless rows appended at the top level come last in the walk.
            if (m_stale || parent.isValid() || first != m_tree->topLevelItemCount() - (last - first + 1)) {
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
                const auto it = m_positionOf.constFind(item);
                if (!item || it == m_positionOf.cend()) {
                    m_stale = true;
                    return;
                }
                const int row = *it;
                remove(row);
                m_rows[row] = read(item);
                add(row);
            }
        }

        QTreeWidget* m_tree;
        bool m_stale = true;
        QVector<QTreeWidgetItem*> m_items;
        QVector<Row> m_rows;
        QHash<QTreeWidgetItem*, int> m_positionOf;
        QHash<IpPortTreeWidget::Entry, QVector<int>> m_rowsOf;
        std::set<int> m_notPartial;
        std::set<int> m_checked;
        std::set<int> m_placeholders;
        QHash<IpPortTreeWidget::Entry, int> m_nodesWith;
    };

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
    // Cuts at every ":" and every "%3A" (upper-case A only), left to right,
    // keeping empty parts: what splitting at the regular expression "%3A|:"
    // gives (the two separators start with different characters, so they
    // never compete), without building and running a regular expression for
    // every entry.
    QStringList parts;
    int start = 0;
    for (int i = 0; i < entry.size();) {
        const int separator = entry.at(i) == QLatin1Char(':')      ? 1
            : QStringView(entry).mid(i, 3) == QLatin1String("%3A") ? 3
                                                                   : 0;
        if (separator == 0) {
            ++i;
            continue;
        }
        parts.append(entry.mid(start, i - start));
        i += separator;
        start = i;
    }
    parts.append(entry.mid(start));
    return parts;
}

int IpPortTreeWidget::fetchPort() const { return masterPort; }

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
    QList<Entry> entries;
    for (QString text : property->value()) {
        const QStringList parts = splitIpPort(text);
        if (parts.size() != 2)
            continue;
        const Entry entry(parts.at(0), parts.at(1).toInt(nullptr, 10));
        entries.append(entry);
        if (table.first(entry) >= 0)
            continue;

        auto* row = new QTreeWidgetItem(QStringList { entry.first, QStringLiteral("%1").arg(entry.second) });
        row->setData(kAddressColumn, Qt::UserRole, entry.first);
        row->setData(kPortColumn, Qt::UserRole, entry.second);
        row->setCheckState(kAddressColumn, Qt::PartiallyChecked);
        addTopLevelItem(row);

        if (!masterItem
            && localAddresses.contains(kq::IPAddress(row->data(kAddressColumn, Qt::UserRole).toString())))
            setAsMaster(row);
    }

    // Coverage is recomputed from the loaded lists alone, overriding what the
    // user or insertItem() set.
    table.makePartialUpTo(std::numeric_limits<int>::max());

    // The node's entries replace its earlier ones in the per-entry node
    // counts; an entry is common when every loaded node holds it (a node
    // remembered with an empty list holds none), and all common entries are
    // among this node's.
    const QSet<Entry> nodeSet(entries.cbegin(), entries.cend());
    const QList<Entry> before = nodeEntries.value(nodeId);
    table.countNode(QSet<Entry>(before.cbegin(), before.cend()), nodeSet);
    nodeEntries.insert(nodeId, entries);
    commonEntries.clear();
    for (const Entry& entry : nodeSet) {
        if (table.nodesWith(entry) == nodeEntries.size())
            commonEntries.insert(entry);
    }
    // Every node's entries were united in when it was loaded.
    allEntries.unite(nodeSet);

    QVector<int> common;
    for (const Entry& entry : qAsConst(commonEntries)) {
        const int row = table.first(entry);
        if (row >= 0)
            common.append(row);
    }
    std::sort(common.begin(), common.end());
    QVector<QTreeWidgetItem*> commonRows;
    for (int row : common)
        commonRows.append(table.itemAt(row));
    for (QTreeWidgetItem* row : commonRows)
        row->setCheckState(kAddressColumn, Qt::Checked);

    sizer.endUpdate();
}

void IpPortTreeWidget::update(const ListProperty*) { }

void IpPortTreeWidget::update(const QMap<QString, kqm::smart<kq::INodeConfigSession>>&, QStringList) { }

void IpPortTreeWidget::setConfigSessionProperty(ListProperty* property, QString nodeId)
{
    ColumnSizer::flush(this);
    if (!property)
        return;
    ListProperty::ValueType& list = property->value();
    list.clear();
    RowTable& table = RowTable::of(this);
    // operator[] on purpose: a node never loaded gets an empty list when a
    // partially checked row asks for it, which then takes part in the next
    // update()'s common entries.
    const QVector<int> rows = table.rowsToWrite([&]() -> const QList<Entry>& { return nodeEntries[nodeId]; });
    for (int row : rows)
        list.append(entryText(table.entryAt(row)));
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
