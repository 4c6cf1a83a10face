// Where each raw value first occurs in a list widget or combo box, kept in
// step with the widget's item model, so that looking an entry up by value
// costs a hash lookup instead of a scan over every entry.
#pragma once

#include "common/ModelFollower_p.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVector>

#include <QSet>

#include <memory>
#include <set>
#include <vector>

class QComboBox;
class QListWidget;

namespace kq {

// The index follows the widget's model as a ModelFollower: rows appended or
// data changed are taken in as they come; rows inserted elsewhere and any
// other structural change (rows removed or moved, a reset, a new sort order)
// mark the index stale, and the next lookup rebuilds it from the model.
// Answers are therefore always those of a scan from the first row; only the
// cost differs. A model whose signals are blocked cannot be followed:
// callers must not block the signals of the widget's model (the widget's own
// view would go stale as well).
class RowIndex : public ModelFollower {
public:
    // What a row's key is.
    enum class Kind {
        // Qt::UserRole data converted to a string, for every row (list
        // widgets: items keep their raw value as a string).
        Text,
        // Qt::UserRole data of rows whose data is a QString; rows holding
        // anything else (numbers, the invalid marker value, nothing) are
        // "foreign" and compared one by one by the caller (combo boxes:
        // QVariant equality also matches a text like "5" with the number 5).
        String,
    };

    // The list's index (created on first use).
    static RowIndex* of(const QListWidget* list);
    // The box's index for string lookups, or null when the box shows a
    // sub-tree or another column of its model, where callers scan.
    static RowIndex* of(const QComboBox* box);

    // The first row whose key equals `key`, or -1.
    int first(const QString& key);
    // Whether the row has a key, and the key (empty for a foreign row).
    bool keyed(int row);
    const QString& key(int row);
    // Whether a foreign row holds no data at all (an invalid QVariant, as the
    // "<Multiple Values>" entry and separators do).
    bool holdsNothing(int row);
    // Per row, whether the row's key is one of `keys` (a foreign row never
    // is): a lookup per key instead of one per row. The keys no row holds
    // are appended to `missing`, in their order, when it is given.
    std::vector<char> rowsWithKeys(const QVector<QString>& keys, QVector<QString>* missing = nullptr);
    // Rows without a key, in ascending order.
    const std::set<int>& foreignRows();
    int rowCount();
    ~RowIndex() override;

private:
    RowIndex(QObject* owner, QAbstractItemModel* model, Kind kind);
    static RowIndex* find(QObject* owner, QAbstractItemModel* model);

    struct Row {
        QString key;
        bool keyed = false;
        bool invalid = false;
    };

    Row read(int row) const;
    void add(int row, const Row& entry);
    void remove(int row, const Row& entry);
    void rebuild() override;
    bool modelOutOfStep() const override;
    void onRowsInserted(const QModelIndex& parent, int first, int last) override;
    void onDataChanged(
        const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>& roles) override;

    Kind m_kind;
    QVector<Row> m_rows;
    QHash<QString, QVector<int>> m_rowsOf; // ascending rows per key
    std::set<int> m_foreign;
};

// Whether a row's key is one of a set of keys, asked row by row in a loop
// over the widget's rows that may run other code: setting an item's state
// reaches the slots connected to the widget, and a slot may insert or remove
// rows. The answers come from one lookup per key while the rows stay as they
// were, and from the row's own key once they changed, so each row is
// answered as a loop re-reading the widget would answer it.
class KeyedRows {
public:
    // Keys no row holds are appended to `missing` when it is given. `keys`
    // must outlive this object.
    KeyedRows(RowIndex* index, const QVector<QString>& keys, QVector<QString>* missing = nullptr);
    ~KeyedRows();
    KeyedRows(const KeyedRows&) = delete;
    KeyedRows& operator=(const KeyedRows&) = delete;

    bool contains(int row);

private:
    RowIndex* m_index;
    const QVector<QString>& m_keys;
    std::vector<char> m_rows;
    int m_version;
    std::unique_ptr<QSet<QString>> m_set;
};

} // namespace kq
