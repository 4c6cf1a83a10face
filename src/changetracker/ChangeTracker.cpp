#include "ChangeTracker_p.h"

#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/NodeWindowPane.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <kq/Log.h>
#include <kq/NodeDB.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>

#include <algorithm>

namespace kqgui {

namespace {

    const int kContext = kq::HasProperties::k_contextIndexDefault;

    // A writer that looks the property up in the node's session and hands it,
    // possibly null, to the binding's setProperty form for the widget.
    template <class W, class Id> ChangeTracker::Writer propertyWriter(W* widget, Id id)
    {
        const QPointer<W> guard(widget);
        return [guard, id](const QString&, const ChangeTracker::Session& session) {
            if (guard && !session.null())
                kq::setProperty(session->property(id, kContext), guard.data());
        };
    }

} // namespace

Tracked::~Tracked() = default;

ChangeTrackerPrivate::ChangeTrackerPrivate(ChangeTracker* q)
    : q(q)
{
    timer.setSingleShot(true);
    timer.setInterval(0);
    QObject::connect(&timer, &QTimer::timeout, q, [this] { evaluate(); });
}

bool ChangeTrackerPrivate::add(QObject* object, std::unique_ptr<Tracked> made)
{
    if (!object || !made)
        return false;
    q->untrack(object);
    made->watch(q, [this] { touch(); });
    QObject::connect(object, &QObject::destroyed, q, [this] {
        // The tracker skips it from now on; forgetting it can wait.
        touch();
    });
    made->capture();
    tracked.push_back(std::move(made));
    return true;
}

void ChangeTrackerPrivate::touch()
{
    stale = true;
    if (!timer.isActive())
        timer.start();
}

void ChangeTrackerPrivate::dropDestroyed()
{
    tracked.erase(std::remove_if(tracked.begin(), tracked.end(),
                      [](const std::unique_ptr<Tracked>& t) { return !t->object(); }),
        tracked.end());
}

void ChangeTrackerPrivate::evaluate()
{
    if (!stale)
        return;
    stale = false;
    timer.stop();
    dropDestroyed();
    const bool now = std::any_of(
        tracked.cbegin(), tracked.cend(), [](const std::unique_ptr<Tracked>& t) { return t->differs(); });
    if (now == changes)
        return;
    changes = now;
    Q_EMIT q->hasChangesChanged(now);
}

ChangeTracker::ChangeTracker(QObject* parent)
    : QObject(parent)
    , d(new ChangeTrackerPrivate(this))
{
}

ChangeTracker::~ChangeTracker() = default;

bool ChangeTracker::track(QComboBox* box, kq::EBoolProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QComboBox* box, kq::ELongOptionsProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QComboBox* box, kq::EDoubleOptionsProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QComboBox* box, kq::EStringOptionsProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QCheckBox* box, kq::EBoolProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QCheckBox* box, kq::EStringOptionsProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QSpinBox* box, kq::ELongProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QSpinBox* box, kq::ELongOptionsProperty id)
{
    return d->add(box, trackWidget(box, propertyWriter(box, id)));
}

bool ChangeTracker::track(QRadioButton* button, kq::EStringOptionsProperty id)
{
    return d->add(button, trackWidget(button, propertyWriter(button, id)));
}

bool ChangeTracker::track(QLineEdit* edit, kq::EStringProperty id)
{
    return d->add(edit, trackMarkerLineEdit(edit, propertyWriter(edit, id)));
}

bool ChangeTracker::track(QListWidget* list, kq::EStringMultiOptionsProperty id)
{
    return d->add(list, trackList(list, id));
}

bool ChangeTracker::track(IpPortTreeWidget* tree, kq::EStringListProperty id)
{
    return d->add(tree, trackTree(tree, id));
}

bool ChangeTracker::track(NodeWindowPane* pane, Store store) { return d->add(pane, trackPane(pane, store)); }

bool ChangeTracker::track(QWidget* widget, Writer write)
{
    return d->add(widget, trackWidget(widget, write));
}

void ChangeTracker::untrack(QObject* object)
{
    if (!object)
        return;
    const auto before = d->tracked.size();
    d->tracked.erase(std::remove_if(d->tracked.begin(), d->tracked.end(),
                         [object](const std::unique_ptr<Tracked>& t) { return t->object() == object; }),
        d->tracked.end());
    if (d->tracked.size() != before) {
        disconnect(object, &QObject::destroyed, this, nullptr);
        d->touch();
    }
}

void ChangeTracker::snapshot(const QStringList& nodeIds)
{
    d->nodeIds = nodeIds;
    d->dropDestroyed();
    for (const std::unique_ptr<Tracked>& t : d->tracked)
        t->capture();
    d->stale = true;
    d->evaluate();
}

QStringList ChangeTracker::nodes() const { return d->nodeIds; }

bool ChangeTracker::hasChanges() const
{
    d->evaluate();
    return d->changes;
}

bool ChangeTracker::isChanged(const QObject* object) const
{
    if (!object)
        return false;
    for (const std::unique_ptr<Tracked>& t : d->tracked) {
        if (t->object() == object)
            return t->differs();
    }
    return false;
}

int ChangeTracker::apply()
{
    d->dropDestroyed();
    std::vector<Tracked*> changed;
    for (const std::unique_ptr<Tracked>& t : d->tracked) {
        if (t->differs())
            changed.push_back(t.get());
    }
    if (changed.empty()) {
        d->stale = true;
        d->evaluate();
        return 0;
    }

    int written = 0;
    kq::NodeDB* db = kq::NodeDB::getDB();
    for (const QString& id : qAsConst(d->nodeIds)) {
        const Session session = db->session(id);
        if (db->node(id).null() || session.null()) {
            kq::logLine(kq::Log::Warning, "ChangeTracker::apply(): node \"", id,
                "\" is no longer in the node database; its changes are not applied");
            continue;
        }
        // A writer may run code of the dialog's that deletes a widget.
        for (Tracked* t : changed) {
            if (t->object())
                t->writeNode(id, session);
        }
        ++written;
    }
    for (Tracked* t : changed) {
        if (t->object())
            t->writeOnce();
    }

    // What the widgets show is now what the nodes hold.
    d->dropDestroyed();
    for (const std::unique_ptr<Tracked>& t : d->tracked)
        t->capture();
    d->stale = true;
    d->evaluate();
    return written;
}

void ChangeTracker::revert()
{
    d->dropDestroyed();
    for (const std::unique_ptr<Tracked>& t : d->tracked) {
        if (t->differs())
            t->restore();
    }
    d->stale = true;
    d->evaluate();
}

void ChangeTracker::refresh()
{
    d->stale = true;
    d->evaluate();
}

} // namespace kqgui
