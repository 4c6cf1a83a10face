#include "ipporttree/IpPortTreeWidget_p.h"

#include "ipporttree/EntryText_p.h"

#include <kq/NodeDB.h>

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QFile>
#include <QIcon>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QRegularExpressionValidator>
#include <QStyle>
#include <QTreeWidgetItemIterator>
#include <QVector>

#include <typeinfo>

namespace kqgui {

using namespace ipport;

namespace {

    // The logo comes with the client application's resources. QIcon would
    // make a non-null icon without pixmaps from a missing file; an empty
    // icon says plainly that there is none.
    QIcon masterIcon()
    {
        const QString path = QStringLiteral(":/core/velcor_logo.png");
        return QFile::exists(path) ? QIcon(path) : QIcon();
    }

    const char kMarkAction[] = "MARK";

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

IpPortTreeWidgetPrivate::IpPortTreeWidgetPrivate(IpPortTreeWidget* tree)
    : localAddresses(kq::IPAddress::enumLocalAddresses())
    , table(tree)
    , sizer(tree)
{
}

IpPortTreeWidget::IpPortTreeWidget(QWidget* parent)
    : QTreeWidget(parent)
    , d(std::make_unique<IpPortTreeWidgetPrivate>(this))
{
    setItemDelegate(&d->delegate);
    setHeaderLabels({ tr("Ip"), tr("Port") });
    connect(this, &QTreeWidget::itemChanged, this, &IpPortTreeWidget::wigdetItemChanged);
    connect(this, &QTreeWidget::itemDoubleClicked, this, &IpPortTreeWidget::setItemEditable);
}

IpPortTreeWidget::~IpPortTreeWidget() = default;

QStringList IpPortTreeWidget::splitIpPort(QString& entry) { return splitEntryText(entry); }

int IpPortTreeWidget::fetchPort() const { return d->masterPort; }

QTreeWidgetItem* IpPortTreeWidget::masterRow() const { return d->masterItem; }

void IpPortTreeWidget::replaceRows(const QList<QTreeWidgetItem*>& rows, QTreeWidgetItem* master)
{
    const int oldPort = d->masterPort;
    {
        const SignalBlock blocker(this);
        // The old master goes with the other rows; nothing may touch it.
        d->masterItem = nullptr;
        for (int i = topLevelItemCount() - 1; i >= 0; --i)
            delete takeTopLevelItem(i);
        addTopLevelItems(rows);
        if (master && indexOfTopLevelItem(master) >= 0) {
            d->masterItem = master;
            d->masterPort = master->data(kPortColumn, Qt::UserRole).toInt();
        }
    }
    if (d->masterPort != oldPort)
        Q_EMIT masterPortChanged();
}

void IpPortTreeWidget::setAsMaster(QTreeWidgetItem* item)
{
    if (!item || indexOfTopLevelItem(item) < 0)
        return;
    QTreeWidgetItem* const oldMaster = d->masterItem;
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
        d->masterItem = item;
        item->setData(kPortColumn, Qt::DecorationRole, masterIcon());
        item->setData(kPortColumn, Qt::ToolTipRole,
            tr("Use as port in: \"Velcor->Options->Tools->Alarm settings->Alarm messages\""));
        d->masterPort = item->data(kPortColumn, Qt::UserRole).toInt();
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

    RowTable& table = d->table;

    // The node's earlier entries leave the per-entry node counts.
    const auto earlier = d->nodeEntries.constFind(nodeId);
    if (earlier != d->nodeEntries.cend()) {
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
        const int nodes = table.countIn(entry);

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
            if (!d->masterItem && d->localAddresses.contains(kq::IPAddress(entry.first))) {
                addTopLevelItems(created);
                created.clear();
                setAsMaster(item);
            }
        }
        if (nodes > 0)
            distinct.append({ row, nodes });
    }
    if (!created.isEmpty())
        addTopLevelItems(created);
    d->nodeEntries.insert(nodeId, entries);

    // An entry is common when every loaded node holds it (a node remembered
    // with an empty list holds none), so all common entries are among this
    // node's. Each update recomputes the coverage from the loaded lists
    // alone, overriding what the user or insertItem() set: the first row of
    // a common entry checked, every other row partially checked.
    QVector<int> commonRows;
    for (const Loaded& loaded : qAsConst(distinct)) {
        if (loaded.nodes == d->nodeEntries.size())
            commonRows.append(loaded.row);
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

    // Subclasses may size cells their own way; Qt's sizing asks them.
    d->sizer.sizeColumns(table.isFlat(), typeid(*this) == typeid(IpPortTreeWidget));
}

void IpPortTreeWidget::update(const ListProperty*) { }

void IpPortTreeWidget::update(const QMap<QString, kqm::smart<kq::INodeConfigSession>>&, QStringList) { }

void IpPortTreeWidget::setConfigSessionProperty(ListProperty* property, QString nodeId)
{
    if (!property)
        return;
    RowTable& table = d->table;
    // operator[] on purpose: a node never loaded gets an empty list when a
    // partially checked row asks for it, which then takes part in the next
    // update()'s common entries.
    const QVector<int> rows
        = table.rowsToWrite([&]() -> const QList<Entry>& { return d->nodeEntries[nodeId]; });
    ListProperty::ValueType& list = property->value();
    list.clear();
    list.reserve(rows.size());
    for (int row : rows)
        list.append(table.textAt(row));
}

void IpPortTreeWidget::wigdetItemChanged(QTreeWidgetItem* item, int)
{
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
    if (item == d->masterItem)
        setAsMaster(item);
}

void IpPortTreeWidget::setItemEditable(QTreeWidgetItem* item, int column)
{
    if (!item)
        return;
    const SignalBlock blocker(this);
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsEnabled);
    editItem(item, column);
}

void IpPortTreeWidget::insertItem()
{
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
    const SignalBlock blocker(this);
    const QList<QTreeWidgetItem*> rows = selectedItems();
    for (QTreeWidgetItem* row : rows) {
        if (row != d->masterItem)
            delete takeTopLevelItem(indexOfTopLevelItem(row));
    }
}

void IpPortTreeWidget::upItem()
{
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
    d->masterItem = nullptr;
    // clear() resets the model, which calls reset() again; that inner call
    // finds the tree empty.
    if (topLevelItemCount() > 0)
        clear();
    // The view's own bookkeeping (editors, expanded rows, cached layout) must
    // follow a model reset, so the base class runs too.
    QTreeWidget::reset();
    setEnabled(true);
    d->nodeEntries.clear();
    d->table.forgetNodes();
}

void IpPortTreeWidget::contextMenuEvent(QContextMenuEvent* event)
{
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
