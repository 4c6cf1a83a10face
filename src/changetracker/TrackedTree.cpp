// The IP/port tree over several nodes: the rows the user added, deleted,
// edited, checked, unchecked or moved are applied to each node's own list of
// entry texts; every other entry keeps its place and its exact text.

#include "ChangeTracker_p.h"
#include "ipporttree/EntryText_p.h"

#include <ConfigDialogs/IpPortTreeWidget.h>
#include <kq/NodeConfigSession.h>

#include <QHash>
#include <QSignalBlocker>

#include <algorithm>

namespace kqgui {

namespace {

    const int kContext = kq::HasProperties::k_contextIndexDefault;
    // Where a row keeps the number the tracker gave it at the snapshot, so
    // that it is recognised after moves (which take it out of the tree and
    // put it back). Rows without one were added since.
    const int kRowIdRole = Qt::UserRole + 0x4354;
    using namespace ipport;

    struct RowState {
        int id = -1;
        bool committed = false; // holds an entry that the tree would write
        Entry entry;
        QString address;
        QString port;
        QVariant check;
    };

    bool operator==(const RowState& a, const RowState& b)
    {
        return a.id == b.id && a.committed == b.committed && a.entry == b.entry && a.address == b.address
            && a.port == b.port && a.check == b.check;
    }

    RowState stateOf(const QTreeWidgetItem* item)
    {
        RowState row;
        const QVariant id = item->data(kAddressColumn, kRowIdRole);
        row.id = id.isValid() ? id.toInt() : -1;
        row.address = item->text(kAddressColumn);
        row.port = item->text(kPortColumn);
        const QVariant address = item->data(kAddressColumn, Qt::UserRole);
        const QVariant port = item->data(kPortColumn, Qt::UserRole);
        row.committed = address.isValid() && port.isValid() && !hasPlaceholder(item);
        row.entry = Entry(address.toString(), port.toInt());
        row.check = item->data(kAddressColumn, Qt::CheckStateRole);
        return row;
    }

    // One text of a node's list, with the entry it reads as (if any).
    struct Text {
        QString text;
        bool isEntry;
        Entry entry;
    };

    Text readText(const QString& text)
    {
        Text read { text, false, Entry() };
        read.isEntry = readEntry(text, &read.entry);
        return read;
    }

    int lastOf(const QVector<Text>& list, const Entry& entry)
    {
        for (int i = list.size() - 1; i >= 0; --i) {
            if (list.at(i).isEntry && list.at(i).entry == entry)
                return i;
        }
        return -1;
    }

    int firstOf(const QVector<Text>& list, const Entry& entry)
    {
        for (int i = 0; i < list.size(); ++i) {
            if (list.at(i).isEntry && list.at(i).entry == entry)
                return i;
        }
        return -1;
    }

    // The positions in `sequence` of one longest strictly increasing run.
    std::vector<char> longestIncreasing(const QVector<int>& sequence)
    {
        QVector<int> tailIndex; // per run length, the position ending the best run
        QVector<int> previous(sequence.size(), -1);
        for (int i = 0; i < sequence.size(); ++i) {
            const auto at = std::lower_bound(tailIndex.begin(), tailIndex.end(), sequence.at(i),
                [&sequence](int position, int value) { return sequence.at(position) < value; });
            const int length = int(at - tailIndex.begin());
            if (length > 0)
                previous[i] = tailIndex.at(length - 1);
            if (at == tailIndex.end())
                tailIndex.append(i);
            else
                *at = i;
        }
        std::vector<char> kept(size_t(sequence.size()), 0);
        for (int i = tailIndex.isEmpty() ? -1 : tailIndex.last(); i >= 0; i = previous.at(i))
            kept[size_t(i)] = 1;
        return kept;
    }

    class TrackedTree : public Tracked {
    public:
        TrackedTree(IpPortTreeWidget* tree, kq::EStringListProperty id)
            : Tracked(tree)
            , m_id(id)
        {
        }

        ~TrackedTree() override { qDeleteAll(m_copies); }

        void watch(QObject* context, const std::function<void()>& changed) override
        {
            // The model's signals: the tree's own are blocked during its
            // operations, and some of those leave them blocked.
            QAbstractItemModel* model = tree()->model();
            QObject::connect(model, &QAbstractItemModel::dataChanged, context, changed);
            QObject::connect(model, &QAbstractItemModel::rowsInserted, context, changed);
            QObject::connect(model, &QAbstractItemModel::rowsRemoved, context, changed);
            QObject::connect(model, &QAbstractItemModel::rowsMoved, context, changed);
            QObject::connect(model, &QAbstractItemModel::modelReset, context, changed);
            QObject::connect(model, &QAbstractItemModel::layoutChanged, context, changed);
        }

        void capture() override
        {
            qDeleteAll(m_copies);
            m_copies.clear();
            m_snapshot.clear();
            m_masterId = -1;
            IpPortTreeWidget* t = tree();
            if (!t)
                return;
            {
                // The numbers are the tracker's business: neither the tree's
                // change handling nor its indexes need to hear of them.
                const QSignalBlocker blocker(t->model());
                for (int i = 0; i < t->topLevelItemCount(); ++i)
                    t->topLevelItem(i)->setData(kAddressColumn, kRowIdRole, i);
            }
            m_snapshot.reserve(t->topLevelItemCount());
            for (int i = 0; i < t->topLevelItemCount(); ++i) {
                QTreeWidgetItem* item = t->topLevelItem(i);
                m_snapshot.append(stateOf(item));
                m_copies.append(item->clone());
                if (item == t->masterRow())
                    m_masterId = i;
            }
            m_masterPort = t->fetchPort();
        }

        bool differs() const override
        {
            const IpPortTreeWidget* t = tree();
            if (!t)
                return false;
            if (t->topLevelItemCount() != m_snapshot.size() || masterId() != m_masterId
                || t->fetchPort() != m_masterPort)
                return true;
            for (int i = 0; i < m_snapshot.size(); ++i) {
                if (!(stateOf(t->topLevelItem(i)) == m_snapshot.at(i)))
                    return true;
            }
            return false;
        }

        void restore() override
        {
            IpPortTreeWidget* t = tree();
            if (!t)
                return;
            QList<QTreeWidgetItem*> rows;
            rows.reserve(m_copies.size());
            for (const QTreeWidgetItem* copy : qAsConst(m_copies))
                rows.append(copy->clone());
            t->replaceRows(rows, rows.value(m_masterId));
        }

        void writeNode(const QString&, const Session& session) override;

    private:
        IpPortTreeWidget* tree() const { return static_cast<IpPortTreeWidget*>(object()); }

        int masterId() const
        {
            const QTreeWidgetItem* master = tree()->masterRow();
            if (!master)
                return -1;
            const QVariant id = master->data(kAddressColumn, kRowIdRole);
            return id.isValid() ? id.toInt() : -2;
        }

        const kq::EStringListProperty m_id;
        QVector<RowState> m_snapshot; // row i has the number i
        QList<QTreeWidgetItem*> m_copies;
        int m_masterId = -1;
        int m_masterPort = 0;
    };

    void TrackedTree::writeNode(const QString&, const Session& session)
    {
        IpPortTreeWidget* t = tree();
        if (!t || session.null())
            return;
        IpPortTreeWidget::ListProperty* property = session->property(m_id, kContext);
        if (!property)
            return;

        QVector<Text> list;
        list.reserve(property->value().size());
        for (const QString& text : property->value())
            list.append(readText(text));
        const auto removeAll = [&list](const Entry& entry) {
            list.erase(std::remove_if(list.begin(), list.end(),
                           [&entry](const Text& text) { return text.isEntry && text.entry == entry; }),
                list.end());
        };
        const auto holds = [&list](const Entry& entry) { return firstOf(list, entry) >= 0; };

        // The rows now, in order; the snapshot rows still there.
        QVector<RowState> rows;
        rows.reserve(t->topLevelItemCount());
        std::vector<char> present(size_t(m_snapshot.size()), 0);
        for (int i = 0; i < t->topLevelItemCount(); ++i) {
            rows.append(stateOf(t->topLevelItem(i)));
            const int id = rows.last().id;
            if (id >= 0 && id < m_snapshot.size()) {
                if (present.at(id))
                    rows.last().id = -1; // a copy of a row, not the row
                else
                    present[id] = true;
            } else {
                rows.last().id = -1;
            }
        }

        // Deleted rows leave the node.
        for (int id = 0; id < m_snapshot.size(); ++id) {
            if (!present.at(id) && m_snapshot.at(id).committed)
                removeAll(m_snapshot.at(id).entry);
        }

        // Rows switched off leave it; edited rows take their entry's place.
        // `gained`: rows whose entry this node now gets, if it lacks it.
        std::vector<char> gained(size_t(rows.size()), 0);
        for (int i = 0; i < rows.size(); ++i) {
            const RowState& now = rows.at(i);
            const int state = now.check.toInt();
            if (now.id < 0) {
                gained[i] = now.committed && state == Qt::Checked;
                continue;
            }
            const RowState& was = m_snapshot.at(now.id);
            const int wasState = was.check.toInt();
            if (state == Qt::Unchecked) {
                if (wasState != Qt::Unchecked && was.committed)
                    removeAll(was.entry);
                continue;
            }
            if (was.committed && now.committed && was.entry != now.entry) {
                const QString text = entryText(now.entry);
                for (Text& entry : list) {
                    if (entry.isEntry && entry.entry == was.entry)
                        entry = { text, true, now.entry };
                }
            }
            gained[i] = now.committed && state == Qt::Checked && (wasState != Qt::Checked || !was.committed);
        }

        // Which rows moved: the snapshot rows outside one longest run that
        // kept its order, and added rows that stand above a snapshot row.
        QVector<int> order;
        QVector<int> orderRow;
        for (int i = 0; i < rows.size(); ++i) {
            if (rows.at(i).id >= 0) {
                order.append(rows.at(i).id);
                orderRow.append(i);
            }
        }
        const std::vector<char> kept = longestIncreasing(order);
        std::vector<char> moved(size_t(rows.size()), 0);
        for (int k = 0; k < order.size(); ++k)
            moved[orderRow.at(k)] = !kept.at(k);
        const int lastOld = orderRow.isEmpty() ? -1 : orderRow.last();
        for (int i = 0; i < lastOld; ++i) {
            if (rows.at(i).id < 0)
                moved[i] = true;
        }

        // Moved rows' entries leave their places, with their texts.
        // `origin`: where the first of them stood, for a node that holds no
        // other row of the tree to place them by.
        QVector<QVector<Text>> carried(rows.size());
        QVector<int> origin(rows.size(), -1);
        for (int i = 0; i < rows.size(); ++i) {
            const RowState& row = rows.at(i);
            if (!moved.at(i) || !row.committed || row.check.toInt() == Qt::Unchecked)
                continue;
            for (int k = 0; k < list.size();) {
                if (list.at(k).isEntry && list.at(k).entry == row.entry) {
                    if (origin.at(i) < 0)
                        origin[i] = k;
                    carried[i].append(list.at(k));
                    list.remove(k);
                } else {
                    ++k;
                }
            }
            if (carried.at(i).isEmpty() && gained.at(i))
                carried[i].append({ entryText(row.entry), true, row.entry });
        }
        // ... and come back after the nearest row above that the node holds,
        // else before the nearest row below, else where they were (texts
        // that are no entry keep their places around them), else, for a
        // row new to the node, at the end.
        for (int i = 0; i < rows.size(); ++i) {
            if (carried.at(i).isEmpty())
                continue;
            int at = -1;
            for (int above = i - 1; above >= 0 && at < 0; --above) {
                if (rows.at(above).committed) {
                    const int last = lastOf(list, rows.at(above).entry);
                    if (last >= 0)
                        at = last + 1;
                }
            }
            for (int below = i + 1; below < rows.size() && at < 0; ++below) {
                if (rows.at(below).committed && !moved.at(below))
                    at = firstOf(list, rows.at(below).entry);
            }
            if (at < 0)
                at = origin.at(i) >= 0 ? qMin(origin.at(i), list.size()) : list.size();
            for (const Text& text : qAsConst(carried.at(i)))
                list.insert(at++, text);
        }

        // Rows the node gains and that did not move go to the end.
        for (int i = 0; i < rows.size(); ++i) {
            if (gained.at(i) && !moved.at(i) && !holds(rows.at(i).entry))
                list.append({ entryText(rows.at(i).entry), true, rows.at(i).entry });
        }

        QVector<QString> texts;
        texts.reserve(list.size());
        for (const Text& text : qAsConst(list))
            texts.append(text.text);
        if (texts != property->value())
            property->value() = texts;
    }

} // namespace

std::unique_ptr<Tracked> trackTree(IpPortTreeWidget* tree, kq::EStringListProperty id)
{
    if (!tree)
        return nullptr;
    return std::unique_ptr<Tracked>(new TrackedTree(tree, id));
}

} // namespace kqgui
