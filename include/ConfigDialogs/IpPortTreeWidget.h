/// @file
/// An editable tree of network endpoints (IPv4 address and port), merged over
/// several nodes' string-list properties, with one row marked as the client's
/// master port.
///
/// Entry text: the address, a separator and the decimal port, for instance
/// "192.168.0.10:8000". Two separators are read, ":" and the URL-encoded
/// `"%3A"` (upper-case A only); ":" is always written.
///
/// A row has two columns, "Ip" and "Port". The display texts are what the user
/// sees and edits; the committed values, which are written back, live under
/// Qt::UserRole (address as QString in column 0, port as int in column 1) and
/// change only when an edit passes the checks. Column 0's check state tells
/// which nodes get the entry on writing: Qt::Checked every node,
/// Qt::PartiallyChecked the nodes that had it when loaded, Qt::Unchecked none.
///
/// Typical use: reset(); update(property, nodeId) per node; the user edits;
/// fetchPort() (and masterPortChanged()); setConfigSessionProperty(property,
/// nodeId) per node.
///
/// GUI thread only.
#pragma once

#include <ConfigDialogs/configdialogs_export.h>
#include <kq/IPAddress.h>
#include <kq/NodeConfigSession.h>
#include <kq/Property.h>
#include <kqm/Smart.h>

#include <QList>
#include <QMap>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QStyledItemDelegate>
#include <QTreeWidget>

#include <memory>

class QContextMenuEvent;

/// Widgets and panes of the configuration dialogs.
namespace kqgui {

class IpPortTreeWidgetPrivate;

/// The tree's item editor: the default line edit, restricted in column 0 to
/// IPv4 addresses (four decimal octets 0..255, leading zeros allowed) and in
/// column 1 to whole numbers from 1 to 65536.
class CONFIGDIALOGS_EXPORT myStyledItemDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    /// A delegate owned by `parent` (may be null).
    explicit myStyledItemDelegate(QObject* parent = nullptr);
    ~myStyledItemDelegate() override;

    /// The base class's editor; when it is a QLineEdit, column 0 gets the IPv4
    /// validator and column 1 the port validator (both owned by the line
    /// edit). Other editors and other columns are returned unchanged; when the
    /// base class makes no editor, returns null.
    QWidget* createEditor(
        QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    /// The base class's size hint. While an IpPortTreeWidget sizes its
    /// columns, cells whose style options agree in every field but the model
    /// index (text, font, check box, icon, palette, geometry...) share one
    /// measurement, so a look is measured at most twice until the tree's
    /// style changes; at any other time every call measures anew.
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

/// The IP/port list editor described in this file: rows of address and port
/// merged over several nodes, edited in place and written back per node.
class CONFIGDIALOGS_EXPORT IpPortTreeWidget : public QTreeWidget {
    Q_OBJECT
public:
    /// The node property the tree reads and writes: a list of entry texts.
    using ListProperty
        = kq::TProperty<kq::TListInfo<kq::EStringListProperty, kq::TList<QString, kq::complexDelim>>>;
    /// One entry: the address text (compared exactly, so "010.0.0.1" and
    /// "10.0.0.1" differ) and the port.
    using Entry = QPair<QString, int>;

    /// Header labels "Ip" and "Port"; the local addresses are read once here.
    explicit IpPortTreeWidget(QWidget* parent = nullptr);
    ~IpPortTreeWidget() override;

    /// Splits an entry text at every ":" and every `"%3A"`, keeping empty parts;
    /// the text is only read. A well-formed entry gives exactly two parts,
    /// address and port text ("1.2.3.4:80" -> ["1.2.3.4", "80"], ":80" ->
    /// ["", "80"]); any other count ("a:b:c", "1.2.3.4%3a80", "") means the
    /// text is not an entry.
    static QStringList splitIpPort(QString& entry);

    /// The master row's committed port; 0 until a master has been chosen.
    /// reset() does not change it.
    int fetchPort() const;

    /// Marks `item` as the master row (logo and tooltip on its port cell,
    /// removed from the former master) and takes its committed port as the
    /// master port. Emits masterPortChanged() when another row was master
    /// before; the first choice and re-marking the same row emit nothing.
    /// Null, or a row that is not a top-level row of this tree: does nothing.
    void setAsMaster(QTreeWidgetItem* item);

    /// The master row; null when there is none.
    QTreeWidgetItem* masterRow() const;

    /// Puts `rows` (which the tree takes over) in place of every top-level
    /// row, in order, and makes `master` the master row with its committed
    /// port as the master port. `master` must be one of `rows` or null (then
    /// there is no master row and fetchPort() keeps its value). The rows keep
    /// their data as they are (a master row brings its own marks); what was
    /// loaded per node is kept. Emits masterPortChanged() when fetchPort()
    /// changes. Meant for restoring rows copied with QTreeWidgetItem::clone().
    void replaceRows(const QList<QTreeWidgetItem*>& rows, QTreeWidgetItem* master);

    /// Brings QWidget::update() and QAbstractItemView::update(QModelIndex)
    /// back into view beside the overloads below.
    using QTreeWidget::update;

    /// Merges one node's list into the tree: a row per distinct entry, checked
    /// when every node loaded since reset() has it, partially checked
    /// otherwise. Check states set by the user are recomputed. The first new
    /// row whose address is one of this computer's becomes master if there is
    /// none. Entry texts that are not entries are skipped; a port text that is
    /// not a number loads as 0. An empty `nodeId`, an identifier the node
    /// database does not know, or a null `property` disable the widget (until
    /// reset()) and change nothing else. Emits nothing.
    /// Then sizes the columns as resizeColumnToContents() on both does, and
    /// widens the address column by 20 pixels: columnWidth() read right after
    /// gives the new widths. Rows measured by an earlier update() are not
    /// measured again while their data and the tree's look stay the same.
    void update(const ListProperty* property, QString nodeId);
    /// Do nothing.
    void update(const ListProperty* property);
    /// Does nothing.
    void update(const QMap<QString, kqm::smart<kq::INodeConfigSession>>& sessions, QStringList nodeIds);

    /// Replaces the property's list by the rows, top to bottom, for node
    /// `nodeId`: checked rows are written, partially checked rows only when
    /// that node had the entry when last loaded, unchecked rows and rows still
    /// showing `"<Ip>"` or `"<Port>"` never. The committed values are written as
    /// "address:port". A node never loaded gets an empty remembered list (so
    /// a later update() finds no entry common to all nodes). Null `property`:
    /// does nothing.
    void setConfigSessionProperty(ListProperty* property, QString nodeId);

Q_SIGNALS:
    /// The master row moved to another row; read the new port with fetchPort().
    void masterPortChanged();

public Q_SLOTS:
    /// Checks the edited row and commits both cells when the address matches
    /// the IPv4 pattern from its first character (text after the match is not
    /// looked at) and the port is a whole number from 0 to 65534. A refused
    /// edit shows a warning box and keeps the text on screen, the committed
    /// values unchanged. A row still showing `"<Ip>"` or `"<Port>"` is neither
    /// checked nor committed. When the row is master, the master port follows
    /// the committed port. Null `item`: does nothing.
    void wigdetItemChanged(QTreeWidgetItem* item, int column);
    /// Makes the row editable (its flags become exactly selectable, editable
    /// and enabled, so it is no longer user-checkable) and opens the editor on
    /// `column`. Null `item`: does nothing.
    void setItemEditable(QTreeWidgetItem* item, int column);
    /// Appends a checked row showing `"<Ip>"` and `"<Port>"`, unless such an
    /// unfilled row exists already; in that case returns with the widget's
    /// signals left blocked.
    void insertItem();
    /// Removes (and frees) the selected rows except the master row. Nothing
    /// selected: does nothing.
    void removeItem();
    /// Moves each selected row up by one. Nothing selected, or the first
    /// selected row already at the top: returns with the widget's signals
    /// left blocked.
    void upItem();
    /// Moves the selection down by one and scrolls to it. Nothing selected, or
    /// the last selected row already at the bottom: returns with the widget's
    /// signals left blocked.
    void downItem();
    /// Empties the tree and everything loaded, forgets the master row (the
    /// master port stays, see fetchPort()), re-enables the widget and resets
    /// the view's own state. Also runs when the model is reset.
    void reset() override;

protected:
    /// A menu with "Master Port", which makes the row under the pointer the
    /// master. Opened over empty space, choosing it does nothing.
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    Q_DISABLE_COPY(IpPortTreeWidget)
    std::unique_ptr<IpPortTreeWidgetPrivate> const d;
};

} // namespace kqgui
