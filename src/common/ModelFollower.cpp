#include "common/ModelFollower_p.h"

#include <QHash>
#include <QVector>

#include <cstring>

namespace kq {

namespace {

    // Owner -> the followers it keeps. A follower is also its owner's child,
    // so it dies with the owner and leaves this table then; the table only
    // spares a search through the owner's children on every question.
    QHash<const QObject*, QVector<ModelFollower*>>& registry()
    {
        static QHash<const QObject*, QVector<ModelFollower*>> followers;
        return followers;
    }

} // namespace

ModelFollower::ModelFollower(QObject* owner, QAbstractItemModel* model, const char* kind)
    : QObject(owner)
    , m_owner(owner)
    , m_kind(kind)
    , m_model(model)
{
    setObjectName(QLatin1String(kind));
    registry()[owner].append(this);
    if (!model)
        return;
    connect(model, &QAbstractItemModel::rowsInserted, this,
        [this](const QModelIndex& parent, int first, int last) { onRowsInserted(parent, first, last); });
    connect(model, &QAbstractItemModel::dataChanged, this,
        [this](const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>& roles) {
            onDataChanged(topLeft, bottomRight, roles);
        });
    connect(model, &QAbstractItemModel::rowsRemoved, this,
        [this](const QModelIndex& parent, int first, int last) { onRowsRemoved(parent, first, last); });
    const auto stale = [this] { markStale(); };
    connect(model, &QAbstractItemModel::rowsMoved, this, stale);
    connect(model, &QAbstractItemModel::columnsInserted, this, stale);
    connect(model, &QAbstractItemModel::columnsRemoved, this, stale);
    connect(model, &QAbstractItemModel::columnsMoved, this, stale);
    connect(model, &QAbstractItemModel::modelReset, this, stale);
    connect(model, &QAbstractItemModel::layoutChanged, this, stale);
}

ModelFollower::~ModelFollower()
{
    auto it = registry().find(m_owner);
    if (it == registry().end())
        return;
    it->removeOne(this);
    if (it->isEmpty())
        registry().erase(it);
}

ModelFollower* ModelFollower::find(const QObject* owner, const char* kind, const QAbstractItemModel* model)
{
    const auto it = registry().constFind(owner);
    if (it == registry().cend())
        return nullptr;
    ModelFollower* found = nullptr;
    for (ModelFollower* follower : *it) {
        if (std::strcmp(follower->m_kind, kind) == 0) {
            found = follower;
            break;
        }
    }
    if (found && found->m_model != model) {
        delete found; // leaves the registry
        return nullptr;
    }
    return found;
}

void ModelFollower::onRowsInserted(const QModelIndex&, int, int) { markStale(); }

void ModelFollower::onRowsRemoved(const QModelIndex&, int, int) { markStale(); }

void ModelFollower::onDataChanged(const QModelIndex&, const QModelIndex&, const QVector<int>&)
{
    markStale();
}

} // namespace kq
