// Random operation sequences on the IP/port tree, checked after every step.
// Each sequence is seeded; a failure names its seed and step, and setting
// KQ_RANDOMOPS_SEED replays one seed alone. Under the sanitizer build the
// same sequences are checked for memory errors and leaks.
//
// The tree keeps indexes of its rows and skips work whose result is known;
// every sequence also runs on a plain QTreeWidget that carries out the same
// rules as literally as they read, and after every step the two must agree
// on everything a caller can see.
#define QTEST_QPA_MOUSE_HANDLING
#include <QtTest>

#include "seeds_testsupport.h"

#include "ipporttree_testsupport.h"
#include "panes_testsupport.h"
#include "pixels_testsupport.h"

#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/CoordinateSystem.h>
#include <kq/NodeWidget.h>
#include <kq/OnScreenDisplay.h>

#include <QApplication>
#include <QHeaderView>
#include <QMap>
#include <QPainter>
#include <QPixmap>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTimer>
#include <QTreeWidgetItemIterator>

using kqgui::IpPortTreeWidget;
using Entry = IpPortTreeWidget::Entry;

namespace {

const QStringList kNodes { QStringLiteral("rnd-a"), QStringLiteral("rnd-b"), QStringLiteral("rnd-c") };

Entry committedEntry(const QTreeWidgetItem* row)
{
    return { row->data(0, Qt::UserRole).toString(), row->data(1, Qt::UserRole).toInt() };
}

bool hasPlaceholder(const QTreeWidgetItem* row)
{
    return row->text(0) == QLatin1String("<Ip>") || row->text(1) == QLatin1String("<Port>");
}

// Closes every warning box an operation opens, from inside its event loop
// (one change of a row's data may be checked more than once: a row's parent
// can change with it).
class WarningCloser {
public:
    WarningCloser()
    {
        m_timer.setInterval(0);
        QObject::connect(&m_timer, &QTimer::timeout, [] {
            if (QWidget* box = QApplication::activeModalWidget())
                box->close();
        });
        m_timer.start();
    }

private:
    QTimer m_timer;
};

// The tree's rules carried out as plainly as they read, on a plain
// QTreeWidget: every lookup walks the rows from the top and sets each row it
// passes partially checked, every update sets every row's check state and
// sizes the columns, the common entries are intersected node by node. Only
// the warning boxes are left out (a refused edit just stops).
class PlainTree : public QTreeWidget {
public:
    using ListProperty = IpPortTreeWidget::ListProperty;

    PlainTree()
    {
        setHeaderLabels({ QStringLiteral("Ip"), QStringLiteral("Port") });
        connect(this, &QTreeWidget::itemChanged, this, &PlainTree::checkEdit);
    }

    int fetchPort() const { return m_masterPort; }
    int masterChanges() const { return m_masterChanges; }

    static QStringList split(const QString& text)
    {
        return text.split(QRegularExpression(QStringLiteral("%3A|:")), Qt::KeepEmptyParts);
    }

    void update(const ListProperty* property, const QString& nodeId)
    {
        const bool wasBlocked = blockSignals(true);
        if (nodeId.isEmpty() || kq::NodeDB::getDB()->node(nodeId).null() || !property) {
            setEnabled(false);
            blockSignals(wasBlocked);
            return;
        }
        QList<Entry> entries;
        for (const QString& text : property->value()) {
            const QStringList parts = split(text);
            if (parts.size() != 2)
                continue;
            const Entry entry(parts.at(0), parts.at(1).toInt(nullptr, 10));
            entries.append(entry);
            bool found = false;
            for (QTreeWidgetItemIterator it(this); *it && !found; ++it) {
                (*it)->setCheckState(0, Qt::PartiallyChecked);
                found = committedEntry(*it) == entry;
            }
            if (found)
                continue;
            auto* row
                = new QTreeWidgetItem(QStringList { entry.first, QStringLiteral("%1").arg(entry.second) });
            row->setData(0, Qt::UserRole, entry.first);
            row->setData(1, Qt::UserRole, entry.second);
            row->setCheckState(0, Qt::PartiallyChecked);
            addTopLevelItem(row);
            if (!m_masterItem) {
                const kq::IPAddress address(row->data(0, Qt::UserRole).toString());
                for (int i = m_local.size() - 1; i >= 0; --i) {
                    if (m_local.at(i) == address) {
                        setAsMaster(row);
                        break;
                    }
                }
            }
        }
        for (QTreeWidgetItemIterator it(this); *it; ++it)
            (*it)->setCheckState(0, Qt::PartiallyChecked);
        m_nodeEntries.insert(nodeId, entries);
        QSet<Entry> common;
        for (auto it = m_nodeEntries.cbegin(); it != m_nodeEntries.cend(); ++it) {
            const QSet<Entry> node(it->cbegin(), it->cend());
            if (it == m_nodeEntries.cbegin())
                common = node;
            else
                common.intersect(node);
        }
        for (const Entry& entry : qAsConst(common)) {
            for (QTreeWidgetItemIterator it(this); *it; ++it) {
                if (committedEntry(*it) == entry) {
                    (*it)->setCheckState(0, Qt::Checked);
                    break;
                }
            }
        }
        resizeColumnToContents(0);
        resizeColumnToContents(1);
        setColumnWidth(0, columnWidth(0) + 20);
        blockSignals(wasBlocked);
    }

    QStringList written(const QString& nodeId)
    {
        QStringList list;
        for (QTreeWidgetItemIterator it(this); *it; ++it) {
            const Entry entry = committedEntry(*it);
            if (hasPlaceholder(*it))
                continue;
            const int state = (*it)->data(0, Qt::CheckStateRole).toInt();
            if (state == Qt::Checked
                || (state == Qt::PartiallyChecked && m_nodeEntries[nodeId].lastIndexOf(entry) >= 0))
                list.append(entry.first + QLatin1Char(':') + QStringLiteral("%1").arg(entry.second));
        }
        return list;
    }

    void setAsMaster(QTreeWidgetItem* item)
    {
        if (!item || indexOfTopLevelItem(item) < 0)
            return;
        QTreeWidgetItem* const oldMaster = m_masterItem;
        const bool wasBlocked = blockSignals(true);
        if (oldMaster && indexOfTopLevelItem(oldMaster) >= 0) {
            oldMaster->setData(1, Qt::ToolTipRole, QString());
            QPixmap blank(16, 16);
            blank.fill(Qt::transparent);
            oldMaster->setData(1, Qt::DecorationRole, QIcon(blank));
        }
        m_masterItem = item;
        item->setData(1, Qt::DecorationRole, QIcon());
        item->setData(1, Qt::ToolTipRole,
            QStringLiteral("Use as port in: \"Velcor->Options->Tools->Alarm settings->Alarm messages\""));
        m_masterPort = item->data(1, Qt::UserRole).toInt();
        blockSignals(wasBlocked);
        if (oldMaster && oldMaster != item && !signalsBlocked())
            ++m_masterChanges;
    }

    void insertItem()
    {
        const bool wasBlocked = blockSignals(true);
        for (QTreeWidgetItemIterator it(this); *it; ++it) {
            if (hasPlaceholder(*it))
                return;
        }
        auto* row = new QTreeWidgetItem(QStringList { QStringLiteral("<Ip>"), QStringLiteral("<Port>") });
        row->setCheckState(0, Qt::Checked);
        addTopLevelItem(row);
        blockSignals(wasBlocked);
    }

    void removeItem()
    {
        const bool wasBlocked = blockSignals(true);
        const QList<QTreeWidgetItem*> rows = selectedItems();
        for (QTreeWidgetItem* row : rows) {
            if (row != m_masterItem)
                delete takeTopLevelItem(indexOfTopLevelItem(row));
        }
        blockSignals(wasBlocked);
    }

    void upItem()
    {
        const bool wasBlocked = blockSignals(true);
        const QList<QTreeWidgetItem*> rows = selectedItems();
        if (rows.isEmpty() || indexOfTopLevelItem(rows.first()) == 0)
            return;
        for (QTreeWidgetItem* row : rows) {
            const int i = indexOfTopLevelItem(row);
            if (i > 0)
                insertTopLevelItem(i, takeTopLevelItem(i - 1));
        }
        blockSignals(wasBlocked);
    }

    void downItem()
    {
        const bool wasBlocked = blockSignals(true);
        const QList<QTreeWidgetItem*> rows = selectedItems();
        if (rows.isEmpty() || indexOfTopLevelItem(rows.last()) == topLevelItemCount() - 1)
            return;
        const int i = indexOfTopLevelItem(rows.last());
        if (i >= 0) {
            insertTopLevelItem(qMax(0, i + 1 - rows.size()), takeTopLevelItem(i + 1));
            scrollToItem(rows.last(), QAbstractItemView::EnsureVisible);
        }
        blockSignals(wasBlocked);
    }

    void resetTree()
    {
        m_masterItem = nullptr;
        if (topLevelItemCount() > 0)
            clear();
        setEnabled(true);
        m_nodeEntries.clear();
    }

private:
    void checkEdit(QTreeWidgetItem* item)
    {
        if (!item || hasPlaceholder(item))
            return;
        static const QRegularExpression ipv4(QStringLiteral("(([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])\\.){3}"
                                                            "([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])"));
        if (item->text(0).indexOf(ipv4, 0) != 0)
            return;
        bool ok = false;
        const int port = item->text(1).toInt(&ok, 10);
        if (!ok || port < 0 || port > 65534)
            return;
        const bool wasBlocked = blockSignals(true);
        item->setData(0, Qt::UserRole, item->text(0));
        item->setData(1, Qt::UserRole, item->text(1).toInt(nullptr, 10));
        blockSignals(wasBlocked);
        if (item == m_masterItem)
            setAsMaster(item);
    }

    const QList<kq::IPAddress> m_local = kq::IPAddress::enumLocalAddresses();
    QMap<QString, QList<Entry>> m_nodeEntries;
    QTreeWidgetItem* m_masterItem = nullptr;
    int m_masterPort = 0;
    int m_masterChanges = 0;
};

// What a caller can see of one row, as text.
QString rowState(const QTreeWidgetItem* row)
{
    const QVariant address = row->data(0, Qt::UserRole);
    const QVariant port = row->data(1, Qt::UserRole);
    const QVariant check = row->data(0, Qt::CheckStateRole);
    return QStringLiteral("%1|%2|%3(%4)|%5(%6)|%7(%8)|flags %9|tip '%10'|icon %11|children %12")
        .arg(row->text(0), row->text(1), address.toString(), QString::fromLatin1(address.typeName()),
            port.toString(), QString::fromLatin1(port.typeName()), check.toString(),
            QString::fromLatin1(check.typeName()))
        .arg(int(row->flags()))
        .arg(row->data(1, Qt::ToolTipRole).toString())
        .arg(row->data(1, Qt::DecorationRole).isValid()
                ? (row->data(1, Qt::DecorationRole).value<QIcon>().isNull() ? QStringLiteral("empty")
                                                                            : QStringLiteral("blank"))
                : QStringLiteral("none"))
        .arg(row->childCount());
}

QStringList treeState(const QTreeWidget& tree)
{
    QStringList rows;
    for (QTreeWidgetItemIterator it(const_cast<QTreeWidget*>(&tree)); *it; ++it)
        rows.append(rowState(*it));
    return rows;
}

class Sequence {
public:
    explicit Sequence(quint32 seed)
        : m_seed(seed)
        , m_random(seed)
        , m_masterSpy(&m_tree, &IpPortTreeWidget::masterPortChanged)
    {
    }

    // Runs `steps` random operations; answers an empty string, or what went
    // wrong and where.
    QString run(int steps)
    {
        for (m_step = 0; m_step < steps; ++m_step) {
            {
                const WarningCloser closer;
                operate();
                // The event loop runs between a user's actions.
                QCoreApplication::processEvents();
            }
            QString problem = invariantProblem();
            if (problem.isEmpty())
                problem = differenceFromPlain();
            if (!problem.isEmpty())
                return QStringLiteral("seed %1, step %2 (%3): %4")
                    .arg(m_seed)
                    .arg(m_step)
                    .arg(m_last, problem);
        }
        return QString();
    }

private:
    int pick(int n) { return n <= 0 ? 0 : int(m_random.bounded(quint32(n))); }

    QString randomAddress()
    {
        // A small pool, so that nodes share entries; 127.0.0.1 can become
        // the master row, "<Ip>" loads as a row that shows a placeholder.
        static const QStringList pool { QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2"),
            QStringLiteral("010.0.0.1"), QStringLiteral("127.0.0.1"), QStringLiteral("192.168.1.7"),
            QString(), QStringLiteral("127.000.0.1"), QStringLiteral("<Ip>") };
        return pool.at(pick(pick(4) == 0 ? pool.size() : 6));
    }

    QString randomEntryText()
    {
        switch (pick(8)) {
        case 0:
            return QStringLiteral("a:b:c");
        case 1:
            return randomAddress() + QStringLiteral("%3A") + QString::number(80 + pick(3));
        case 2:
            return randomAddress() + (pick(2) ? QStringLiteral(":x") : QStringLiteral(":0081"));
        default:
            return randomAddress() + QLatin1Char(':') + QString::number(80 + pick(3));
        }
    }

    // A row of both trees at the same place (in walk order: rows below the
    // top level count too).
    std::pair<QTreeWidgetItem*, QTreeWidgetItem*> randomRow()
    {
        QList<QTreeWidgetItem*> rows;
        for (QTreeWidgetItemIterator it(&m_tree); *it; ++it)
            rows.append(*it);
        QList<QTreeWidgetItem*> plainRows;
        for (QTreeWidgetItemIterator it(&m_plain); *it; ++it)
            plainRows.append(*it);
        if (rows.isEmpty() || rows.size() != plainRows.size())
            return { nullptr, nullptr };
        const int i = pick(rows.size());
        return { rows.at(i), plainRows.at(i) };
    }

    void randomSelection()
    {
        m_tree.clearSelection();
        m_plain.clearSelection();
        for (int i = 0; i < m_tree.topLevelItemCount() && i < m_plain.topLevelItemCount(); ++i) {
            if (pick(3) == 0) {
                m_tree.topLevelItem(i)->setSelected(true);
                m_plain.topLevelItem(i)->setSelected(true);
            }
        }
    }

    void operate()
    {
        switch (pick(14)) {
        case 0:
        case 1: {
            const QString node = kNodes.at(pick(kNodes.size()));
            QStringList texts;
            for (int i = pick(6); i > 0; --i)
                texts.append(randomEntryText());
            m_last = QStringLiteral("update %1 with [%2]").arg(node, texts.join(QLatin1Char(' ')));
            const auto list = kqtest::makeTargets(texts);
            m_tree.update(list.get(), node);
            m_plain.update(list.get(), node);
            remember(node, texts);
            break;
        }
        case 2: {
            const auto rows = randomRow();
            if (!rows.first)
                break;
            const int column = pick(2);
            QString text;
            if (column == 0)
                text = pick(5) == 0 ? QStringLiteral("999.1.1.1") : randomAddress();
            else
                text = pick(5) == 0 ? QStringLiteral("70000") : QString::number(80 + pick(3));
            m_last = QStringLiteral("edit row %1 column %2 to '%3'")
                         .arg(m_tree.indexOfTopLevelItem(rows.first))
                         .arg(column)
                         .arg(text);
            rows.first->setText(column, text);
            rows.second->setText(column, text);
            break;
        }
        case 3:
            m_last = QStringLiteral("insert");
            m_tree.insertItem();
            m_plain.insertItem();
            break;
        case 4:
            randomSelection();
            m_last = QStringLiteral("remove %1 rows").arg(m_tree.selectedItems().size());
            m_tree.removeItem();
            m_plain.removeItem();
            break;
        case 5:
            randomSelection();
            m_last = QStringLiteral("up");
            m_tree.upItem();
            m_plain.upItem();
            break;
        case 6:
            randomSelection();
            m_last = QStringLiteral("down");
            m_tree.downItem();
            m_plain.downItem();
            break;
        case 7: {
            const auto rows = randomRow();
            if (rows.first) {
                m_last = QStringLiteral("master row %1").arg(m_tree.indexOfTopLevelItem(rows.first));
                m_tree.setAsMaster(rows.first);
                m_plain.setAsMaster(rows.second);
            }
            break;
        }
        case 8: {
            const auto rows = randomRow();
            if (rows.first) {
                const auto state = Qt::CheckState(pick(3));
                m_last = QStringLiteral("check row %1 as %2")
                             .arg(m_tree.indexOfTopLevelItem(rows.first))
                             .arg(state);
                rows.first->setCheckState(0, state);
                rows.second->setCheckState(0, state);
            }
            break;
        }
        case 9:
            if (pick(4) == 0) {
                m_last = QStringLiteral("reset");
                m_tree.reset();
                m_plain.resetTree();
                m_loaded.clear();
            }
            break;
        case 10: {
            // Dialog code may hang rows below a row (the tree makes none
            // itself); such a parent may take its check state from them.
            const auto rows = randomRow();
            if (!rows.first)
                break;
            const QString address = randomAddress();
            const int port = 80 + pick(3);
            const bool autoTristate = pick(2) == 0;
            m_last = QStringLiteral("child %1:%2 under row %3%4")
                         .arg(address)
                         .arg(port)
                         .arg(m_tree.indexOfTopLevelItem(rows.first))
                         .arg(autoTristate ? QStringLiteral(", parent tristate") : QString());
            for (QTreeWidgetItem* parent : { rows.first, rows.second }) {
                auto* child = new QTreeWidgetItem(QStringList { address, QString::number(port) });
                child->setData(0, Qt::UserRole, address);
                child->setData(1, Qt::UserRole, port);
                child->setCheckState(0, Qt::Checked);
                if (autoTristate)
                    parent->setFlags(parent->flags() | Qt::ItemIsAutoTristate);
                parent->addChild(child);
            }
            break;
        }
        case 11: {
            static const QStringList badIds { QString(), QStringLiteral("rnd-not-in-database") };
            const bool nullProperty = pick(2) == 0;
            const QString node = nullProperty ? kNodes.at(0) : badIds.at(pick(2));
            m_last = QStringLiteral("bad update '%1'%2").arg(node, nullProperty ? " with no property" : "");
            const auto list = kqtest::makeTargets({ QStringLiteral("10.9.9.9:9") });
            m_tree.update(nullProperty ? nullptr : list.get(), node);
            m_plain.update(nullProperty ? nullptr : list.get(), node);
            break;
        }
        case 12:
            // Some early returns leave the signals blocked on purpose; dialog
            // code may unblock them, after which edits are checked again.
            m_last = QStringLiteral("unblock signals");
            m_tree.blockSignals(false);
            m_plain.blockSignals(false);
            break;
        default: {
            const QString node
                = pick(4) == 0 ? QStringLiteral("rnd-never-loaded") : kNodes.at(pick(kNodes.size()));
            m_last = QStringLiteral("write back %1").arg(node);
            writeBack(node);
            break;
        }
        }
    }

    void remember(const QString& node, const QStringList& texts)
    {
        QList<Entry> entries;
        for (QString text : texts) {
            const QStringList parts = IpPortTreeWidget::splitIpPort(text);
            if (parts.size() == 2)
                entries.append(Entry(parts.at(0), parts.at(1).toInt(nullptr, 10)));
        }
        m_loaded.insert(node, entries);
        m_checkLoad = true;
    }

    // The write-back compared with a plain walk over the rows.
    void writeBack(const QString& node)
    {
        QStringList expected;
        for (QTreeWidgetItemIterator it(&m_tree); *it; ++it) {
            const QTreeWidgetItem* row = *it;
            if (hasPlaceholder(row))
                continue;
            const Entry entry = committedEntry(row);
            const int state = row->data(0, Qt::CheckStateRole).toInt();
            if (state == Qt::Checked || (state == Qt::PartiallyChecked && m_loaded[node].contains(entry)))
                expected.append(entry.first + QLatin1Char(':') + QString::number(entry.second));
        }
        const auto list = kqtest::makeTargets({ QStringLiteral("old:1") });
        m_tree.setConfigSessionProperty(list.get(), node);
        m_written = QStringList(list->value().toList());
        m_expectedWritten = expected;
        m_plainWritten = m_plain.written(node);
        m_checkWrite = true;
    }

    QString invariantProblem()
    {
        // The master row is a row of the tree or none, and fetchPort() gives
        // its committed port.
        int marked = 0;
        for (int i = 0; i < m_tree.topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = m_tree.topLevelItem(i);
            if (row->data(1, Qt::ToolTipRole).toString().isEmpty())
                continue;
            ++marked;
            if (m_tree.fetchPort() != row->data(1, Qt::UserRole).toInt())
                return QStringLiteral("fetchPort() %1 but the master row's port is %2")
                    .arg(m_tree.fetchPort())
                    .arg(row->data(1, Qt::UserRole).toInt());
        }
        if (marked > 1)
            return QStringLiteral("%1 rows marked as master").arg(marked);

        if (m_checkWrite) {
            if (m_written != m_expectedWritten)
                return QStringLiteral("wrote [%1], expected [%2]")
                    .arg(m_written.join(QLatin1Char(' ')), m_expectedWritten.join(QLatin1Char(' ')));
            for (QString entry : m_written) {
                const QStringList parts = IpPortTreeWidget::splitIpPort(entry);
                if (parts.size() != 2 || QString::number(parts.at(1).toInt()) != parts.at(1))
                    return QStringLiteral("wrote the malformed entry '%1'").arg(entry);
            }
        }

        // After a load, the coverage follows from the loaded lists alone: the
        // first row of an entry every loaded node holds is checked, every
        // other row partially checked. (Rows hung below other rows may take
        // their state from their parent or children.)
        if (m_checkLoad && m_tree.isEnabled() && !hasChildRows()) {
            m_checkLoad = false;
            QSet<Entry> seen;
            for (QTreeWidgetItemIterator it(&m_tree); *it; ++it) {
                const Entry entry = committedEntry(*it);
                bool common = !m_loaded.isEmpty();
                for (const QList<Entry>& entries : qAsConst(m_loaded))
                    common = common && entries.contains(entry);
                const Qt::CheckState expected
                    = common && !seen.contains(entry) ? Qt::Checked : Qt::PartiallyChecked;
                seen.insert(entry);
                if ((*it)->checkState(0) != expected)
                    return QStringLiteral("row %1 (%2:%3) is %4, expected %5")
                        .arg(m_tree.indexOfTopLevelItem(*it))
                        .arg(entry.first)
                        .arg(entry.second)
                        .arg(int((*it)->checkState(0)))
                        .arg(int(expected));
            }
        }
        m_checkLoad = false;
        return QString();
    }

    bool hasChildRows() const
    {
        for (int i = 0; i < m_tree.topLevelItemCount(); ++i) {
            if (m_tree.topLevelItem(i)->childCount() > 0)
                return true;
        }
        return false;
    }

    // Everything a caller can see, against the plain tree.
    QString differenceFromPlain()
    {
        if (m_checkWrite) {
            m_checkWrite = false;
            if (m_written != m_plainWritten)
                return QStringLiteral("wrote [%1], the plain rules write [%2]")
                    .arg(m_written.join(QLatin1Char(' ')), m_plainWritten.join(QLatin1Char(' ')));
        }
        const QStringList rows = treeState(m_tree);
        const QStringList plainRows = treeState(m_plain);
        if (rows != plainRows) {
            for (int i = 0; i < qMax(rows.size(), plainRows.size()); ++i) {
                if (rows.value(i) != plainRows.value(i))
                    return QStringLiteral("row %1 of %2 is '%3', the plain rules give '%4' (of %5)")
                        .arg(i)
                        .arg(rows.size())
                        .arg(rows.value(i), plainRows.value(i))
                        .arg(plainRows.size());
            }
        }
        const struct {
            const char* what;
            int value;
            int plain;
        } values[] = {
            { "fetchPort()", m_tree.fetchPort(), m_plain.fetchPort() },
            { "masterPortChanged() emitted", int(m_masterSpy.count()), m_plain.masterChanges() },
            { "signals blocked", m_tree.signalsBlocked(), m_plain.signalsBlocked() },
            { "enabled", m_tree.isEnabled(), m_plain.isEnabled() },
            { "column 0 width", m_tree.columnWidth(0), m_plain.columnWidth(0) },
            { "column 1 width", m_tree.columnWidth(1), m_plain.columnWidth(1) },
        };
        for (const auto& v : values) {
            if (v.value != v.plain)
                return QStringLiteral("%1: %2, the plain rules give %3")
                    .arg(QLatin1String(v.what))
                    .arg(v.value)
                    .arg(v.plain);
        }
        // Writing back changes nothing for a node the tree remembers, so
        // every such node's list is compared after every step.
        for (auto it = m_loaded.cbegin(); it != m_loaded.cend(); ++it) {
            const auto list = kqtest::makeTargets({});
            m_tree.setConfigSessionProperty(list.get(), it.key());
            const QStringList written(list->value().toList());
            const QStringList plainWritten = m_plain.written(it.key());
            if (written != plainWritten)
                return QStringLiteral("%1 is written [%2], the plain rules write [%3]")
                    .arg(it.key(), written.join(QLatin1Char(' ')), plainWritten.join(QLatin1Char(' ')));
        }
        return QString();
    }

    quint32 m_seed;
    QRandomGenerator m_random;
    int m_step = 0;
    QString m_last;
    IpPortTreeWidget m_tree;
    PlainTree m_plain;
    QSignalSpy m_masterSpy;
    // The lists loaded per node since the last reset, as the tree remembers
    // them (a write-back for a node never loaded remembers an empty list
    // when a row is partially checked).
    QMap<QString, QList<Entry>> m_loaded;
    bool m_checkLoad = false;
    bool m_checkWrite = false;
    QStringList m_written;
    QStringList m_expectedWritten;
    QStringList m_plainWritten;
};

// Random operations on a video-motion pane: windows added, selected, moved,
// resized and deleted, the camera's lens correction changed, the pane
// resized. After every step each window's screen geometry is what the
// coordinate system makes of its application geometry (to a pixel or two of
// rounding and grid snap), the pane's windows are the display's rectangle
// controls of the pane, newest first, and the pane rendered as usual (each
// window drawing the picture it keeps of itself while it looks the same)
// shows what drawing every window anew shows.
class PaneSequence {
public:
    PaneSequence(quint32 seed, const QString& video)
        : m_seed(seed)
        , m_random(seed)
        , m_mouse(&m_pane)
        , m_video(video)
    {
    }

    QString run(int steps)
    {
        if (!kqtest::showPane(&m_pane))
            return QStringLiteral("the pane was never shown");
        m_session = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
        // A still picture: the video is the same in every rendering.
        m_session->setAttribute(QStringLiteral("video"), m_video);
        m_pane.setCoordinateSystem(kqm::smart<kq::INodeConfigSession>(m_session));
        m_pane.showOnScreenDisplay(true);
        for (int step = 0; step < steps; ++step) {
            operate();
            // Window-system events (a top-level pane's resize among them)
            // arrive through the event loop, as they would for a user.
            QCoreApplication::processEvents();
            kqtest::flushDeletes();
            QString problem = invariantProblem();
            if (problem.isEmpty())
                problem = pictureProblem();
            if (!problem.isEmpty())
                return QStringLiteral("seed %1, step %2 (%3): %4").arg(m_seed).arg(step).arg(m_last, problem);
        }
        m_pane.removeAll();
        kqtest::flushDeletes();
        return m_pane.count() == 0 ? QString()
                                   : QStringLiteral("seed %1: windows left after removeAll()").arg(m_seed);
    }

private:
    int pick(int n) { return n <= 0 ? 0 : int(m_random.bounded(quint32(n))); }

    kq::OnScreenRectControl* randomWindow()
    {
        const int n = m_pane.count();
        return n ? m_pane.childAt(pick(n)) : nullptr;
    }

    void operate()
    {
        switch (pick(9)) {
        case 0: {
            const QRect r(pick(700), pick(500), 10 + pick(90), 10 + pick(90));
            m_last = QStringLiteral("add rect");
            m_pane.addRect(r, Qt::white);
            break;
        }
        case 1: {
            const int x = pick(700), y = pick(500);
            m_last = QStringLiteral("add polygon");
            m_pane.addPolygon(QPolygon({ QPoint(x, y), QPoint(x + 10 + pick(80), y + pick(20)),
                                  QPoint(x + pick(40), y + 10 + pick(80)) }),
                Qt::white);
            break;
        }
        case 2:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("select");
                m_mouse.click(window->rect().center());
            }
            break;
        case 3:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("move");
                const QPoint from = window->rect().center();
                m_mouse.drag(from, from + QPoint(pick(81) - 40, pick(81) - 40));
            }
            break;
        case 4:
            if (m_pane.count() > 0) {
                const int i = pick(m_pane.count());
                m_last = QStringLiteral("resize window %1").arg(i);
                m_pane.applicationRectAt(i)->setGeometry(
                    QRectF(pick(600), pick(400), 20 + pick(150), 20 + pick(150)));
            }
            break;
        case 5:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("delete");
                kq::OnScreenPushControl* button = kqtest::deleteButtonOf(&m_pane, window);
                if (button && button->isShown())
                    m_mouse.click(button->area().center());
            }
            break;
        case 6: {
            static const int strengths[] = { -50, -100, -150 };
            const int strength = strengths[pick(3)];
            m_last = QStringLiteral("lens strength %1").arg(strength);
            m_session->setAttribute(QStringLiteral("deskew"),
                QVariantMap { { QStringLiteral("lensCorrection"), true },
                    { QStringLiteral("lensStrength"), strength } });
            QMetaObject::invokeMethod(&m_pane, "updateCoordinateSystem");
            break;
        }
        case 7: {
            const QSize size(200 + pick(400), 150 + pick(300));
            m_last = QStringLiteral("resize pane to %1x%2").arg(size.width()).arg(size.height());
            m_pane.resize(size);
            break;
        }
        default:
            m_last = QStringLiteral("display switched");
            m_pane.showOnScreenDisplay(pick(4) != 0);
            break;
        }
    }

    static bool near(const QPoint& a, const QPoint& b) { return (a - b).manhattanLength() <= 4; }

    // The pane rendered as usual and rendered through a painter that clips
    // (to the whole picture), which has every window draw itself anew.
    QString pictureProblem()
    {
        QImage usual(m_pane.size(), QImage::Format_ARGB32_Premultiplied);
        usual.fill(Qt::transparent);
        m_pane.render(&usual);
        QImage anew(m_pane.size(), QImage::Format_ARGB32_Premultiplied);
        anew.fill(Qt::transparent);
        QPainter painter(&anew);
        painter.setClipRect(anew.rect());
        m_pane.render(&painter);
        painter.end();
        return kqtest::pixelDifference(usual, anew, QStringLiteral("drawn anew"));
    }

    QString invariantProblem()
    {
        const kq::CoordinateSystem* cs = m_pane.coordinateSystem();
        // The image keeps its aspect ratio inside the pane.
        if (!m_pane.rect().contains(cs->screenRect()))
            return QStringLiteral("screen rectangle outside the pane");
        const int n = m_pane.count();
        if (m_pane.selected() < -1 || m_pane.selected() >= n)
            return QStringLiteral("selected() %1 with %2 windows").arg(m_pane.selected()).arg(n);
        QList<kq::OnScreenRectControl*> walked;
        for (kq::OnScreenControl* control : m_pane.onScreenDisplay()->controls()) {
            auto* window = qobject_cast<kq::OnScreenRectControl*>(control);
            if (window && window->parent() == &m_pane)
                walked << window;
        }
        if (walked.size() != n)
            return QStringLiteral("%1 windows, %2 rectangle controls of the pane").arg(n).arg(walked.size());
        for (int i = 0; i < n; ++i) {
            if (m_pane.childAt(i) != walked.at(i))
                return QStringLiteral("window %1 is not the display's rectangle control %1").arg(i);
        }
        for (int i = 0; i < n; ++i) {
            if (!m_pane.applicationRectAt(i))
                return QStringLiteral("window %1 has no application geometry").arg(i);
            if (kqgui::PanePolygonControl* polygon = m_pane.polyControlAt(i)) {
                const QPolygon screen = polygon->polygon();
                if (polygon->applicationPolygon.isEmpty() || screen.isEmpty())
                    continue; // being drawn
                const QPolygon expected = cs->mapToScreen(polygon->applicationPolygon, polygon->deskewParams);
                if (expected.size() != screen.size())
                    return QStringLiteral("polygon %1 has %2 points on screen, %3 mapped")
                        .arg(i)
                        .arg(screen.size())
                        .arg(expected.size());
                for (int k = 0; k < screen.size(); ++k) {
                    if (!near(screen.at(k), expected.at(k)))
                        return QStringLiteral("polygon %1 point %2 at (%3,%4) on screen, (%5,%6) mapped")
                            .arg(i)
                            .arg(k)
                            .arg(screen.at(k).x())
                            .arg(screen.at(k).y())
                            .arg(expected.at(k).x())
                            .arg(expected.at(k).y());
                }
            } else if (kqgui::PaneRectControl* rect = m_pane.rectControlAt(i)) {
                const QRect screen = rect->rect();
                if (screen.isNull() || rect->applicationRect.isNull())
                    continue; // being drawn
                const QRect expected = cs->mapToScreen(rect->applicationRect);
                if (!near(screen.topLeft(), expected.topLeft())
                    || !near(screen.bottomRight(), expected.bottomRight()))
                    return QStringLiteral("rect %1 at (%2,%3 %4x%5) on screen, (%6,%7 %8x%9) mapped")
                        .arg(i)
                        .arg(screen.x())
                        .arg(screen.y())
                        .arg(screen.width())
                        .arg(screen.height())
                        .arg(expected.x())
                        .arg(expected.y())
                        .arg(expected.width())
                        .arg(expected.height());
            } else {
                return QStringLiteral("window %1 is of no known kind").arg(i);
            }
        }
        return QString();
    }

    quint32 m_seed;
    QRandomGenerator m_random;
    kqgui::VideoMotionWindowPane m_pane;
    kqtest::PaneMouse m_mouse;
    kq::MemoryConfigSession* m_session = nullptr;
    QString m_last;
    QString m_video;
};

} // namespace

class TestRandomOps : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { kqtest::insertNodes(kNodes); }

    void ipPortTree_data()
    {
        testsupport::addSeedRows(24);
    }

    void paneWindows_data() { ipPortTree_data(); }

    void paneWindows()
    {
        QFETCH(quint32, seed);
        QTemporaryDir dir;
        const QString video = dir.filePath(QStringLiteral("video.png"));
        QVERIFY(dir.isValid() && kqtest::stripedPicture().save(video));
        PaneSequence sequence(seed, video);
        const QString problem = sequence.run(120);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }

    void ipPortTree()
    {
        QFETCH(quint32, seed);
        // Several local addresses, compared from the last to the first: the
        // master row is the first new row matching any of them.
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("::1")),
            kq::IPAddress(QStringLiteral("192.168.1.7")), kq::IPAddress(QStringLiteral("127.0.0.1")) });
        Sequence sequence(seed);
        const QString problem = sequence.run(250);
        kq::IPAddress::resetLocalAddressesOverride();
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }
};

QTEST_MAIN(TestRandomOps)
#include "tst_randomops.moc"
