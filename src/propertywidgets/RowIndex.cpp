#include "propertywidgets/RowIndex_p.h"

#include <QComboBox>
#include <QListWidget>

#include <algorithm>

namespace kq {

namespace {
    const char* const k_indexName = "kq-row-index";
}

RowIndex* RowIndex::find(QObject* owner, QAbstractItemModel* model)
{
    return static_cast<RowIndex*>(ModelFollower::find(owner, k_indexName, model));
}

RowIndex::~RowIndex() = default;

RowIndex* RowIndex::of(const QListWidget* list)
{
    if (!list)
        return nullptr;
    auto* owner = const_cast<QListWidget*>(list);
    if (RowIndex* index = find(owner, list->model()))
        return index;
    return new RowIndex(owner, list->model(), Kind::Text);
}

RowIndex* RowIndex::of(const QComboBox* box)
{
    if (!box || box->modelColumn() != 0 || box->rootModelIndex().isValid())
        return nullptr;
    auto* owner = const_cast<QComboBox*>(box);
    if (RowIndex* index = find(owner, box->model()))
        return index;
    return new RowIndex(owner, box->model(), Kind::String);
}

RowIndex::RowIndex(QObject* owner, QAbstractItemModel* model, Kind kind)
    : ModelFollower(owner, model, k_indexName)
    , m_kind(kind)
{
}

RowIndex::Row RowIndex::read(int row) const
{
    Row entry;
    const QVariant data = model()->data(model()->index(row, 0), Qt::UserRole);
    if (m_kind == Kind::Text) {
        entry.key = data.toString();
        entry.keyed = true;
    } else if (data.userType() == QMetaType::QString) {
        entry.key = data.toString();
        entry.keyed = true;
    } else {
        entry.invalid = !data.isValid();
    }
    return entry;
}

void RowIndex::add(int row, const Row& entry)
{
    if (!entry.keyed) {
        m_foreign.insert(row);
        return;
    }
    QVector<int>& rows = m_rowsOf[entry.key];
    rows.insert(std::lower_bound(rows.begin(), rows.end(), row), row);
}

void RowIndex::remove(int row, const Row& entry)
{
    if (!entry.keyed) {
        m_foreign.erase(row);
        return;
    }
    const auto it = m_rowsOf.find(entry.key);
    if (it == m_rowsOf.end())
        return;
    it->removeOne(row);
    if (it->isEmpty())
        m_rowsOf.erase(it);
}

void RowIndex::rebuild()
{
    m_rows.clear();
    m_rowsOf.clear();
    m_foreign.clear();
    const int count = model() ? model()->rowCount() : 0;
    m_rows.reserve(count);
    for (int row = 0; row < count; ++row) {
        m_rows.append(read(row));
        add(row, m_rows.last());
    }
}

bool RowIndex::modelOutOfStep() const
{
    // A model that changed behind the signals (or lost rows at the end
    // without telling) is caught by its row count at least.
    return !model() || model()->rowCount() != m_rows.size();
}

void RowIndex::onRowsInserted(const QModelIndex& parent, int first, int last)
{
    if (parent.isValid())
        return;
    changed();
    // Rows appended at the end keep every earlier row's position.
    if (isStale() || first != m_rows.size()) {
        markStale();
        return;
    }
    for (int row = first; row <= last; ++row) {
        m_rows.append(read(row));
        add(row, m_rows.last());
    }
}

void RowIndex::onDataChanged(
    const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>& roles)
{
    if (isStale() || topLeft.parent().isValid() || topLeft.column() > 0)
        return;
    if (!roles.isEmpty() && !roles.contains(Qt::UserRole))
        return;
    const int last = qMin(bottomRight.row(), m_rows.size() - 1);
    for (int row = qMax(0, topLeft.row()); row <= last; ++row) {
        const Row entry = read(row);
        Row& old = m_rows[row];
        if (entry.keyed == old.keyed && entry.key == old.key && entry.invalid == old.invalid)
            continue;
        remove(row, old);
        old = entry;
        add(row, old);
        changed();
    }
}

int RowIndex::first(const QString& key)
{
    refresh();
    const auto it = m_rowsOf.constFind(key);
    return it == m_rowsOf.cend() ? -1 : it->first();
}

std::vector<char> RowIndex::rowsWithKeys(const QVector<QString>& keys, QVector<QString>* missing)
{
    refresh();
    std::vector<char> holds(size_t(m_rows.size()), 0);
    for (const QString& key : keys) {
        const auto it = m_rowsOf.constFind(key);
        if (it == m_rowsOf.cend()) {
            if (missing)
                missing->append(key);
            continue;
        }
        for (int row : *it)
            holds[size_t(row)] = 1;
    }
    return holds;
}

bool RowIndex::holdsNothing(int row)
{
    refresh();
    return row >= 0 && row < m_rows.size() && m_rows.at(row).invalid;
}

bool RowIndex::keyed(int row)
{
    refresh();
    return row >= 0 && row < m_rows.size() && m_rows.at(row).keyed;
}

const QString& RowIndex::key(int row)
{
    refresh();
    static const QString none;
    return row >= 0 && row < m_rows.size() ? m_rows.at(row).key : none;
}

const std::set<int>& RowIndex::foreignRows()
{
    refresh();
    return m_foreign;
}

int RowIndex::rowCount()
{
    refresh();
    return m_rows.size();
}

KeyedRows::KeyedRows(RowIndex* index, const QVector<QString>& keys, QVector<QString>* missing)
    : m_index(index)
    , m_keys(keys)
    , m_rows(index->rowsWithKeys(keys, missing))
    , m_version(index->version())
{
}

KeyedRows::~KeyedRows() = default;

bool KeyedRows::contains(int row)
{
    if (m_index->version() == m_version && row >= 0 && size_t(row) < m_rows.size())
        return m_rows[size_t(row)];
    if (!m_set)
        m_set = std::make_unique<QSet<QString>>(m_keys.cbegin(), m_keys.cend());
    return m_index->keyed(row) && m_set->contains(m_index->key(row));
}

} // namespace kq
