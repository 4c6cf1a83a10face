// The IP/port tree's row table: what loading and writing need to know of
// the rows, kept in step with the tree's model.
#pragma once

#include "common/ModelFollower_p.h"
#include "ipporttree/EntryText_p.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QTreeWidget>
#include <QVector>

#include <algorithm>
#include <set>

namespace kqgui {
namespace ipport {

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
    class RowTable : public kq::ModelFollower {
    public:
        using Entry = IpPortTreeWidget::Entry;

        explicit RowTable(QTreeWidget* tree);

        // The first row holding the committed entry, or -1.
        int first(const Entry& entry);

        // Takes in a row that update() has made for `entry` (its texts and
        // committed entry, partially checked) and will append to the top
        // level of the tree (with addTopLevelItems(), in the order given
        // here). Answers its row number. What the row holds is known, so it
        // is not read back from the item. `written` is the row's written
        // form when the caller has it at hand, else a null string.
        int addPending(QTreeWidgetItem* item, const Entry& entry, const QString& written);

        // True when no row has children: then row numbers are top-level
        // indexes, and a row's check state is its own (not one derived from
        // children).
        bool isFlat();

        // The coverage a load leaves in a flat tree: the rows in `checked`
        // checked, every other row partially checked. Only rows whose state
        // differs are set, so the rows that keep their state see no change
        // at all (setting a state and then setting the old one back would
        // end the same, with two more model notifications per row).
        void setCoverage(QVector<int> checked);

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
        const QString& textAt(int row);
        QTreeWidgetItem* itemAt(int row) const { return m_items.at(row); }

        // Node counts. Between beginNode() and the next beginNode(), a node's
        // entries are counted once each however often its list names them.
        void beginNode() { ++m_stamp; }
        // Counts the entry out of the node loaded before; it is in one node
        // fewer.
        void countOut(const Entry& entry);
        // Counts the entry into the node being loaded: answers the number of
        // nodes holding it now, or 0 when it was counted for this node already.
        int countIn(const Entry& entry);
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
        };

        static Row read(const QTreeWidgetItem* item);

        void appendIfPartial(int row, QVector<int>* rows) const;

        void add(int row);

        void remove(int row);

        void append(QTreeWidgetItem* item) { append(item, read(item)); }
        void append(QTreeWidgetItem* item, const Row& row);

        void rebuild() override;

        void onRowsInserted(const QModelIndex& parent, int first, int last) override;

        void onDataChanged(
            const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>&) override;

        QTreeWidget* m_tree;
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

} // namespace ipport
} // namespace kqgui
