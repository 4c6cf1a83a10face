#include <ConfigDialogs/IpPortTreeWidget.h>

#include <kq/NodeDB.h>

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QFile>
#include <QIcon>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QTreeWidgetItemIterator>

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

    // The first row, top to bottom, whose committed entry equals `entry`.
    QTreeWidgetItem* findRow(QTreeWidget* tree, const IpPortTreeWidget::Entry& entry)
    {
        for (QTreeWidgetItemIterator it(tree); *it; ++it) {
            if (committedEntry(*it) == entry)
                return *it;
        }
        return nullptr;
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

IpPortTreeWidget::~IpPortTreeWidget() = default;

QStringList IpPortTreeWidget::splitIpPort(QString& entry)
{
    static const QRegularExpression separator(QStringLiteral("%3A|:"));
    return entry.split(separator, Qt::KeepEmptyParts);
}

int IpPortTreeWidget::fetchPort() const { return masterPort; }

void IpPortTreeWidget::setAsMaster(QTreeWidgetItem* item)
{
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

    QList<Entry> entries;
    for (QString text : property->value()) {
        const QStringList parts = splitIpPort(text);
        if (parts.size() != 2)
            continue;
        const Entry entry(parts.at(0), parts.at(1).toInt(nullptr, 10));
        entries.append(entry);
        if (findRow(this, entry))
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
    for (QTreeWidgetItemIterator it(this); *it; ++it)
        (*it)->setCheckState(kAddressColumn, Qt::PartiallyChecked);

    nodeEntries.insert(nodeId, entries);

    bool first = true;
    for (const QList<Entry>& nodeList : qAsConst(nodeEntries)) {
        const QSet<Entry> nodeSet(nodeList.cbegin(), nodeList.cend());
        if (first)
            commonEntries = nodeSet;
        else
            commonEntries.intersect(nodeSet);
        first = false;
        allEntries.unite(nodeSet);
    }
    for (const Entry& entry : qAsConst(commonEntries)) {
        if (QTreeWidgetItem* row = findRow(this, entry))
            row->setCheckState(kAddressColumn, Qt::Checked);
    }

    resizeColumnToContents(kAddressColumn);
    resizeColumnToContents(kPortColumn);
    setColumnWidth(kAddressColumn, columnWidth(kAddressColumn) + 20);
}

void IpPortTreeWidget::update(const ListProperty*) { }

void IpPortTreeWidget::update(const QMap<QString, kqm::smart<kq::INodeConfigSession>>&, QStringList) { }

void IpPortTreeWidget::setConfigSessionProperty(ListProperty* property, QString nodeId)
{
    if (!property)
        return;
    ListProperty::ValueType& list = property->value();
    list.clear();
    for (QTreeWidgetItemIterator it(this); *it; ++it) {
        const QTreeWidgetItem* row = *it;
        const Entry entry = committedEntry(row);
        if (hasPlaceholder(row))
            continue;
        switch (row->data(kAddressColumn, Qt::CheckStateRole).toInt()) {
        case Qt::Checked:
            list.append(entryText(entry));
            break;
        case Qt::PartiallyChecked:
            // operator[] on purpose: a node never loaded gets an empty list,
            // which then takes part in the next update()'s common entries.
            if (nodeEntries[nodeId].lastIndexOf(entry) >= 0)
                list.append(entryText(entry));
            break;
        default:
            break;
        }
    }
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
    if (item == masterItem)
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
        if (row != masterItem)
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
