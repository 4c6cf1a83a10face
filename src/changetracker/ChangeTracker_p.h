// Private parts of the change tracker: one Tracked object per registered
// widget, pane or tree, each able to remember its object's state, tell
// whether the object still has it, put it back, and write what changed.
#pragma once

#include <ConfigDialogs/ChangeTracker.h>

#include <QPointer>
#include <QTimer>
#include <QVector>

#include <memory>
#include <vector>

namespace kqgui {

class Tracked {
public:
    using Session = ChangeTracker::Session;

    explicit Tracked(QObject* object)
        : m_object(object)
    {
    }
    virtual ~Tracked();
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;

    // Null once the object is destroyed.
    QObject* object() const { return m_object; }

    // Calls `changed` whenever the object may have changed.
    virtual void watch(QObject* context, const std::function<void()>& changed) = 0;
    // Remembers the object's state as the snapshot.
    virtual void capture() = 0;
    // Whether the object's state differs from the snapshot.
    virtual bool differs() const = 0;
    // Puts the snapshot's state back.
    virtual void restore() = 0;
    // Writes what changed into one node's session (once per node).
    virtual void writeNode(const QString& nodeId, const Session& session)
    {
        Q_UNUSED(nodeId)
        Q_UNUSED(session)
    }
    // Writes what changed once per apply, after the nodes.
    virtual void writeOnce() { }

private:
    QPointer<QObject> m_object;
};

// Makers of the trackers for each kind of object (one source file each).
std::unique_ptr<Tracked> trackWidget(QWidget* widget, const ChangeTracker::Writer& write);
std::unique_ptr<Tracked> trackMarkerLineEdit(QLineEdit* edit, const ChangeTracker::Writer& write);
std::unique_ptr<Tracked> trackList(QListWidget* list, kq::EStringMultiOptionsProperty id);
std::unique_ptr<Tracked> trackTree(IpPortTreeWidget* tree, kq::EStringListProperty id);
std::unique_ptr<Tracked> trackPane(NodeWindowPane* pane, const ChangeTracker::Store& store);

class ChangeTrackerPrivate {
public:
    explicit ChangeTrackerPrivate(ChangeTracker* q);

    bool add(QObject* object, std::unique_ptr<Tracked> tracked);
    // Marks the verdict stale and schedules a comparison.
    void touch();
    // Compares now (when stale) and reports a flip of hasChanges().
    void evaluate();
    void dropDestroyed();

    ChangeTracker* const q;
    std::vector<std::unique_ptr<Tracked>> tracked;
    QStringList nodeIds;
    QTimer timer;
    bool stale = false;
    bool changes = false;
};

} // namespace kqgui
