#include "ipporttree/RowTable_p.h"

#include <QTreeWidgetItemIterator>

namespace kqgui {
namespace ipport {

    namespace {
        const char* const kTableName = "kq-entry-index";
    } // namespace

    RowTable::RowTable(QTreeWidget* tree)
        : ModelFollower(tree, tree->model(), kTableName)
        , m_tree(tree)
    {
    }

    int RowTable::first(const Entry& entry)
    {
        refresh();
        const auto it = m_rowsOf.constFind(entry);
        return it == m_rowsOf.cend() ? -1 : it->first;
    }

    int RowTable::addPending(QTreeWidgetItem* item, const Entry& entry, const QString& written)
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

    bool RowTable::isFlat()
    {
        refresh();
        return m_flat;
    }

    void RowTable::setCoverage(QVector<int> checked)
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

    const QString& RowTable::textAt(int row)
    {
        Row& r = m_rows[row];
        if (r.text.isNull())
            r.text = entryText(r.entry);
        return r.text;
    }

    void RowTable::countOut(const Entry& entry)
    {
        const auto it = m_nodesWith.find(entry);
        if (it != m_nodesWith.end() && it->stamp != m_stamp) {
            it->stamp = m_stamp;
            --it->nodes;
        }
    }

    int RowTable::countIn(const Entry& entry)
    {
        Coverage& c = m_nodesWith[entry];
        if (c.stamp == m_stamp)
            return 0;
        c.stamp = m_stamp;
        return ++c.nodes;
    }

    RowTable::Row RowTable::read(const QTreeWidgetItem* item)
    {
        Row row;
        row.entry = committedEntry(item);
        row.check = item->data(kAddressColumn, Qt::CheckStateRole).toInt();
        row.placeholder = hasPlaceholder(item);
        return row;
    }

    void RowTable::appendIfPartial(int row, QVector<int>* rows) const
    {
        const Row& r = m_rows.at(row);
        if (r.check == Qt::PartiallyChecked && !r.placeholder)
            rows->append(row);
    }

    void RowTable::add(int row)
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

    void RowTable::remove(int row)
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

    void RowTable::append(QTreeWidgetItem* item, const Row& row)
    {
        if (!m_flat)
            m_positionOf.insert(item, m_rows.size());
        m_items.append(item);
        m_rows.append(row);
        add(m_rows.size() - 1);
    }

    void RowTable::rebuild()
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
    }

    void RowTable::onRowsInserted(const QModelIndex& parent, int first, int last)
    {
        if (isStale())
            return;
        const int count = last - first + 1;
        // Childless rows appended at the top level come last in the walk.
        if (parent.isValid() || first != m_tree->topLevelItemCount() - count) {
            markStale();
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
                markStale();
            return;
        }
        for (int i = first; i <= last; ++i) {
            QTreeWidgetItem* item = m_tree->topLevelItem(i);
            if (!item || item->childCount() > 0) {
                markStale();
                return;
            }
        }
        for (int i = first; i <= last; ++i)
            append(m_tree->topLevelItem(i));
    }

    void RowTable::onDataChanged(
        const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>&)
    {
        if (isStale())
            return;
        // Rows below the top level are rare (the tree makes none itself):
        // a change there is taken in by a rebuild.
        if (topLeft.parent().isValid()) {
            markStale();
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
                markStale();
                return;
            }
            remove(row);
            m_rows[row] = read(item);
            add(row);
        }
    }

} // namespace ipport
} // namespace kqgui
