// The skeleton of the library's indexes over an item model: the value index
// of list widgets and combo boxes, and the IP/port tree's row table and
// column sizer. Each is a helper object that a widget keeps and that follows
// the widget's model through its change signals, so that questions about the
// rows cost a hash lookup instead of a walk over every row.
#pragma once

#include <QAbstractItemModel>
#include <QObject>
#include <QPointer>

namespace kq {

// Follows `model` on behalf of `owner`: a child object of the owner, found
// again through one registry by owner and kind. Rows inserted or removed and
// data changed are handed to the subclass as they come (by default they mark
// the follower stale); every other structural change (rows moved,
// columns changed, a reset, a new layout) marks it stale, and refresh()
// rebuilds it from the model before the next answer. Answers are therefore
// those of a walk over the model; only the cost differs. A model whose
// signals are blocked cannot be followed.
class ModelFollower : public QObject {
public:
    ~ModelFollower() override;
    ModelFollower(const ModelFollower&) = delete;
    ModelFollower& operator=(const ModelFollower&) = delete;

    // Changes whenever rows are inserted, removed or moved, or whatever the
    // subclass keys its rows by changes (see changed()): answers computed
    // for every row at once hold while it stays.
    int version() const { return m_version; }

protected:
    // `kind` names the kind of follower; a string literal, compared by
    // content.
    ModelFollower(QObject* owner, QAbstractItemModel* model, const char* kind);

    // The follower of that kind that owner keeps, or null. A follower made
    // for another model than `model` (the owner was given a new one since)
    // is deleted and null answered: the caller starts afresh.
    static ModelFollower* find(const QObject* owner, const char* kind, const QAbstractItemModel* model);

    QAbstractItemModel* model() const { return m_model; }
    bool isStale() const { return m_stale; }
    // Brings the follower up to date: rebuilds it when it is stale or when
    // the subclass sees that the model changed behind its signals.
    void refresh()
    {
        if (m_stale || modelOutOfStep()) {
            rebuild();
            m_stale = false;
        }
    }
    void markStale()
    {
        m_stale = true;
        ++m_version;
    }
    // A row's key changed, or rows were added in place.
    void changed() { ++m_version; }

    // Reads every row from the model again.
    virtual void rebuild() = 0;
    // Whether the model plainly changed without telling (a cheap check,
    // such as the row count); false by default.
    virtual bool modelOutOfStep() const { return false; }
    virtual void onRowsInserted(const QModelIndex& parent, int first, int last);
    virtual void onRowsRemoved(const QModelIndex& parent, int first, int last);
    virtual void onDataChanged(
        const QModelIndex& topLeft, const QModelIndex& bottomRight, const QVector<int>& roles);

private:
    const QObject* m_owner;
    const char* m_kind;
    QPointer<QAbstractItemModel> m_model;
    bool m_stale = true;
    int m_version = 0;
};

} // namespace kq
