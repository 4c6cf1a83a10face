// Multiple-choice list widgets over several nodes: what the user toggled is
// applied to each node's own selection, item by item, and nothing else.

#include "ChangeTracker_p.h"

#include <ConfigDialogs/PropertyWidgets.h>
#include <kq/NodeConfigSession.h>

#include <QHash>
#include <QListWidget>

namespace kqgui {

namespace {

    const int kContext = kq::HasProperties::k_contextIndexDefault;
    // Never written back by the list binding, so never applied here either.
    const QLatin1String kExemptValue("AE");

    struct Row {
        QString value;
        QVariant check;
        bool operator==(const Row& other) const { return value == other.value && check == other.check; }
        bool operator!=(const Row& other) const { return !(*this == other); }
    };

    QVector<Row> rowsOf(const QListWidget* list)
    {
        QVector<Row> rows;
        rows.reserve(list->count());
        for (int row = 0; row < list->count(); ++row) {
            const QListWidgetItem* item = list->item(row);
            rows.append({ kq::propertyValue(item), item->data(Qt::CheckStateRole) });
        }
        return rows;
    }

    class TrackedList : public Tracked {
    public:
        TrackedList(QListWidget* list, kq::EStringMultiOptionsProperty id)
            : Tracked(list)
            , m_id(id)
        {
        }

        void watch(QObject* context, const std::function<void()>& changed) override
        {
            QAbstractItemModel* model = list()->model();
            QObject::connect(model, &QAbstractItemModel::dataChanged, context, changed);
            QObject::connect(model, &QAbstractItemModel::rowsInserted, context, changed);
            QObject::connect(model, &QAbstractItemModel::rowsRemoved, context, changed);
            QObject::connect(model, &QAbstractItemModel::modelReset, context, changed);
        }

        void capture() override
        {
            m_snapshot = list() ? rowsOf(list()) : QVector<Row>();
            m_snapshotRow.clear();
            for (int row = m_snapshot.size() - 1; row >= 0; --row)
                m_snapshotRow.insert(m_snapshot.at(row).value, row);
        }

        bool differs() const override { return list() && rowsOf(list()) != m_snapshot; }

        void restore() override
        {
            QListWidget* l = list();
            if (!l)
                return;
            for (int row = 0; row < l->count(); ++row) {
                QListWidgetItem* item = l->item(row);
                const Row* was = snapshotOf(row, kq::propertyValue(item));
                if (was && item->data(Qt::CheckStateRole) != was->check)
                    item->setData(Qt::CheckStateRole, was->check);
            }
        }

        void writeNode(const QString&, const Session& session) override
        {
            QListWidget* l = list();
            if (!l || !l->isEnabled() || session.null())
                return;
            kq::StringMultiOptionsProperty* property = session->property(m_id, kContext);
            if (!property)
                return;
            kq::TMultiOptions<QString>& option = property->value();
            // Re-reads count() each step: nothing here changes the rows, but
            // the rule is cheap to keep.
            for (int row = 0; row < l->count(); ++row) {
                const QListWidgetItem* item = l->item(row);
                const QString value = kq::propertyValue(item);
                if (value == kExemptValue || !(item->flags() & Qt::ItemIsEnabled))
                    continue;
                const QVariant check = item->data(Qt::CheckStateRole);
                const Row* was = snapshotOf(row, value);
                if (was && was->check == check)
                    continue;
                const int state = check.toInt();
                if (state == Qt::Checked)
                    select(option, value);
                else if (state == Qt::Unchecked)
                    deselect(option, value);
            }
        }

    private:
        QListWidget* list() const { return static_cast<QListWidget*>(object()); }

        // The snapshot of the row that holds value: the same row when it
        // still holds it, otherwise the first row that held it.
        const Row* snapshotOf(int row, const QString& value) const
        {
            if (row < m_snapshot.size() && m_snapshot.at(row).value == value)
                return &m_snapshot.at(row);
            const auto it = m_snapshotRow.constFind(value);
            return it == m_snapshotRow.cend() ? nullptr : &m_snapshot.at(*it);
        }

        static bool isSelected(const kq::TMultiOptions<QString>& option, const QString& value)
        {
            for (int index : option.selectedIndices) {
                if (index >= 0 && index < option.values.size() && option.values.at(index) == value)
                    return true;
            }
            return false;
        }

        // Adds the value's first position to the selection, where the node
        // offers the value and does not select it already.
        static void select(kq::TMultiOptions<QString>& option, const QString& value)
        {
            const int index = option.values.indexOf(value);
            if (index >= 0 && !isSelected(option, value))
                option.selectedIndices.append(index);
        }

        // Removes every selected position holding the value.
        static void deselect(kq::TMultiOptions<QString>& option, const QString& value)
        {
            QVector<int>& selected = option.selectedIndices;
            for (int i = selected.size() - 1; i >= 0; --i) {
                const int index = selected.at(i);
                if (index >= 0 && index < option.values.size() && option.values.at(index) == value)
                    selected.remove(i);
            }
        }

        const kq::EStringMultiOptionsProperty m_id;
        QVector<Row> m_snapshot;
        QHash<QString, int> m_snapshotRow;
    };

} // namespace

std::unique_ptr<Tracked> trackList(QListWidget* list, kq::EStringMultiOptionsProperty id)
{
    if (!list)
        return nullptr;
    return std::unique_ptr<Tracked>(new TrackedList(list, id));
}

} // namespace kqgui
