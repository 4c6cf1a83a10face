/// @file
/// Change tracking for a dialog that edits one or several nodes: which bound
/// widgets the user changed since the dialog was filled, Apply that writes
/// only those (and, for lists over several nodes, only the items the user
/// toggled), and Revert back to what the dialog showed.
///
/// The binding functions of PropertyWidgets.h write a widget's whole state on
/// every call: a list widget merged over three nodes writes the merged
/// selection to each of them, and the IP/port tree writes each node its rows
/// in the tree's order. A dialog that calls every setProperty on Apply thus
/// rewrites settings nobody touched. The tracker sits one level up: the
/// dialog registers its widgets once, takes a snapshot after each fill, and
/// lets the tracker apply.
///
/// @code
/// tracker = new kqgui::ChangeTracker(this);
/// tracker->track(ui->name, NameProperty);                 // QLineEdit, string property
/// tracker->track(ui->resolution, ResolutionProperty);     // QComboBox, string option
/// tracker->track(ui->events, EventsProperty);             // QListWidget: per-item deltas
/// tracker->track(ui->receivers, ReceiversProperty);       // IP/port tree: per-row deltas
/// tracker->track(ui->motionPane, [this] { storeWindows(); });
/// connect(tracker, &kqgui::ChangeTracker::hasChangesChanged, applyButton, &QWidget::setEnabled);
///
/// // after reset... and update... per node:
/// tracker->snapshot(nodeIds);
/// // on Apply:
/// tracker->apply();
/// @endcode
///
/// What apply() writes, per registered object and node:
/// - An object the user did not change (its state equals the snapshot's)
///   writes nothing to any node.
/// - A changed single-value widget (combo box, check box, spin box, radio
///   button, line edit) writes through the binding's setProperty, exactly as
///   a dialog calling it by hand; a widget still showing "<Multiple Values>",
///   partially checked or disabled writes nothing, as setProperty refuses it.
/// - A multiple-choice list widget applies the items the user toggled: an
///   item now checked is added to each node's selection where the node's
///   option lists the value and does not select it yet; an item now
///   unchecked is removed from each node's selection (every occurrence).
///   Every other item keeps each node's own selection, its order and its
///   duplicates. Disabled items, items showing the indeterminate state and
///   the value "AE" are never applied.
/// - The IP/port tree applies its rows as deltas to each node's own list of
///   entry texts (see track(IpPortTreeWidget*, kq::EStringListProperty)).
/// - A pane whose windows changed calls the dialog's store function once.
///
/// Bad input: a null widget or one of a kind the tracker cannot follow is not
/// registered (track() answers false). A registered object destroyed before
/// apply() is skipped. A node that is no longer in the node database is
/// skipped with one level-3 log line naming it; the other nodes are applied.
/// A node that lacks a property writes nothing for it. Nothing throws.
///
/// GUI thread only.
#pragma once

#include <ConfigDialogs/configdialogs_export.h>
#include <kq/NodeConfigSession.h>
#include <kq/Property.h>
#include <kqm/Smart.h>

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QListWidget;
class QRadioButton;
class QSpinBox;

namespace kqgui {

class IpPortTreeWidget;
class NodeWindowPane;
class ChangeTrackerPrivate;

/// Knows which registered widgets, panes and trees the user changed since the
/// last snapshot(), applies only those to the nodes, and reverts them.
class CONFIGDIALOGS_EXPORT ChangeTracker : public QObject {
    Q_OBJECT
    /// Whether there are unapplied changes (see hasChanges()).
    Q_PROPERTY(bool hasChanges READ hasChanges NOTIFY hasChangesChanged)
public:
    /// A node's configuration session.
    using Session = kqm::smart<kq::INodeConfigSession>;
    /// Writes a widget into one node's session; apply() calls it once per
    /// node, only when the widget changed.
    using Writer = std::function<void(const QString& nodeId, Session session)>;
    /// Stores a pane's windows; apply() calls it once, only when they changed.
    using Store = std::function<void()>;

    /// A tracker with nothing registered and an empty snapshot.
    explicit ChangeTracker(QObject* parent = nullptr);
    /// Forgets everything; registered objects are left as they are.
    ~ChangeTracker() override;

    /// @name Registration
    /// Each object is registered once; registering it again replaces the
    /// earlier registration. Registration takes no snapshot: call snapshot()
    /// after the widgets are filled. Answers false (and registers nothing)
    /// for a null object.
    ///@{
    /// Boolean combo box (from the three-argument resetComboBox).
    bool track(QComboBox* box, kq::EBoolProperty id);
    /// Option combo boxes.
    bool track(QComboBox* box, kq::ELongOptionsProperty id);
    bool track(QComboBox* box, kq::EDoubleOptionsProperty id);
    bool track(QComboBox* box, kq::EStringOptionsProperty id);
    /// Check box for a boolean, or for a string option ("true-value" and
    /// "false-value").
    bool track(QCheckBox* box, kq::EBoolProperty id);
    bool track(QCheckBox* box, kq::EStringOptionsProperty id);
    /// Spin box for an integer property or an integer option (with its
    /// "multiplier").
    bool track(QSpinBox* box, kq::ELongProperty id);
    bool track(QSpinBox* box, kq::ELongOptionsProperty id);
    /// One radio button of a group standing for a string option; register
    /// every button of the group. Only a checked button writes.
    bool track(QRadioButton* button, kq::EStringOptionsProperty id);
    /// Line edit for a string property. While it shows "<Multiple Values>",
    /// the first edit by the user replaces the marker instead of extending
    /// it (a key typed, a paste or a deletion clears the marker first), so
    /// the marker text never reaches a node.
    bool track(QLineEdit* edit, kq::EStringProperty id);
    /// Multiple-choice list widget: applies the items the user toggled, node
    /// by node (see the file documentation).
    bool track(QListWidget* list, kq::EStringMultiOptionsProperty id);
    /// The IP/port tree. Per node, starting from the node's own list of entry
    /// texts:
    /// - a row the user deleted removes every entry equal to it (same
    ///   address text and port);
    /// - a row the user switched off (unchecked) removes its entry likewise;
    /// - a row whose committed entry the user edited replaces each equal
    ///   entry in place, keeping its position;
    /// - a row the user added, or a partially checked row the user checked,
    ///   is added to the nodes that lack it, at the end of their list, as
    ///   "address:port";
    /// - rows the user moved (the rows outside the longest run of rows that
    ///   kept their order) take their entries out of each node's list and
    ///   put them back after the entries of the nearest row above them that
    ///   the node holds (before the nearest row below when none is above;
    ///   where they were when the node holds no other row of the tree).
    ///   Added rows the user moved above older rows are placed the same way.
    ///   With one node, whose list the tree shows in order, the list then
    ///   follows the tree's order.
    /// Every other entry keeps its position and its exact text (an entry
    /// loaded as "10.0.0.1%3A80" stays so), duplicates included. Rows still
    /// showing "<Ip>" or "<Port>" are not written. Choosing another master
    /// row counts as a change (the dialog reads fetchPort()) but writes
    /// nothing to the nodes.
    bool track(IpPortTreeWidget* tree, kq::EStringListProperty id);
    /// A window pane: windows added, deleted, moved, resized or reshaped,
    /// and any window setting (a dynamic property of a window, such as
    /// "excluded" or "sensitivity") count as changes. apply() calls `store`
    /// once when they changed; revert() puts the snapshot's windows back.
    bool track(NodeWindowPane* pane, Store store);
    /// A combo box, check box, spin box, double spin box, radio button, line
    /// edit or list widget written by the dialog's own function. Answers
    /// false for any other kind of widget.
    bool track(QWidget* widget, Writer write);
    /// Forgets a registered object (nothing when it is not registered).
    void untrack(QObject* object);
    ///@}

    /// Remembers the state of every registered object as the state the
    /// nodes hold, and the nodes (identifiers of kq::NodeDB::getDB()) that
    /// apply() writes. Take it after the update cycle (reset, then update
    /// per node). hasChanges() is false afterwards.
    void snapshot(const QStringList& nodeIds);
    /// The nodes of the last snapshot, in order.
    QStringList nodes() const;

    /// Whether any registered object differs from the snapshot.
    bool hasChanges() const;
    /// Whether this registered object differs from the snapshot (false for
    /// an object that is not registered).
    bool isChanged(const QObject* object) const;

public Q_SLOTS:
    /// Writes the changed objects into each node of the snapshot (see the
    /// file documentation), then takes the widgets' state as the new
    /// snapshot. Answers the number of nodes written (nodes gone from the
    /// node database are skipped and not counted); 0 without changes.
    int apply();
    /// Puts every registered object back to its snapshot state.
    void revert();
    /// Compares every registered object with the snapshot now. Changes made
    /// through the widgets' own signals are seen without it (on the next
    /// pass of the event loop, and at once by hasChanges() and isChanged());
    /// call it after changing something no signal reports.
    void refresh();

Q_SIGNALS:
    /// hasChanges() flipped.
    void hasChangesChanged(bool hasChanges);

private:
    Q_DISABLE_COPY(ChangeTracker)
    friend class ChangeTrackerPrivate;
    std::unique_ptr<ChangeTrackerPrivate> const d;
};

} // namespace kqgui
