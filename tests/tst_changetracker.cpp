// The change tracker over dialogs built from the binding functions, as the
// client's dialogs build them: reset, one update per node, a snapshot, the
// user's edits, then apply() or revert(). Every check reads the nodes back
// from the node database's document, so that anything apply() writes where
// it should not shows up as a difference.
//
// The randomised test is seeded; a failure names its seed, and setting
// KQ_RANDOMOPS_SEED replays one seed alone.

// Mouse input goes through the window system layer, as a user's does.
#define QTEST_QPA_MOUSE_HANDLING
#include <QtTest>

#include "seeds_testsupport.h"

#include "LogCapture.h"
#include "changetracker_testsupport.h"

#include <kq/IPAddress.h>
#include <kq/MemoryConfigSession.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSet>
#include <QSignalSpy>
#include <QTextEdit>
#include <QTreeWidget>

#include <functional>

using namespace cttest;
using kqgui::ChangeTracker;

namespace {

// What one user edit of a widget kind does, how the user takes it back,
// which registered objects it changes and what apply() then writes.
struct UserEdit {
    std::function<void()> edit;
    std::function<void()> back;
    QList<QObject*> changed;
    // The property written (idName), empty for the panes.
    QString property;
    // Turns node i's property as it was into what it must be after apply().
    std::function<void(int node, QJsonObject& property)> expect;
    // Panes: the node attribute the dialog's store function writes.
    QString attribute;
    // The edit is one no signal reports: the dialog calls refresh().
    bool refresh = false;
    // Every node of the snapshot takes the new value (single values).
    bool everyNode = false;
};

void setValue(QJsonObject& p, const QJsonValue& value) { p.insert(QStringLiteral("value"), value); }
void setSelected(QJsonObject& p, int index) { p.insert(QStringLiteral("selected"), index); }

// The multiple-choice delta for a checked item: the value's index appended
// where the node's option lists the value and does not select it yet.
void addSelection(QJsonObject& p, const QString& value)
{
    const QJsonArray values = p.value(QStringLiteral("values")).toArray();
    int index = -1;
    for (int k = 0; k < values.size() && index < 0; ++k) {
        if (values.at(k).toString() == value)
            index = k;
    }
    if (index < 0)
        return;
    QJsonArray selected = p.value(QStringLiteral("selected")).toArray();
    for (const QJsonValue& s : std::as_const(selected)) {
        if (s.toInt() == index)
            return;
    }
    selected.append(index);
    p.insert(QStringLiteral("selected"), selected);
}

// The tree delta for a deleted or unchecked row: every equal entry removed.
void removeEntries(QJsonObject& p, const QString& address, int port)
{
    const QJsonArray entries = p.value(QStringLiteral("value")).toArray();
    QJsonArray kept;
    for (const QJsonValue& e : entries) {
        if (!sameEntry(e.toString(), address, port))
            kept.append(e);
    }
    p.insert(QStringLiteral("value"), kept);
}

QListWidgetItem* item(QListWidget* list, const char* value)
{
    return kq::findItem(list, QString::fromLatin1(value));
}

// The edits, over three nodes of the dialog document with common values
// (allDiffer false).
UserEdit editFor(Dialog& d, const QString& kind)
{
    UserEdit e;
    if (kind == QLatin1String("bool combo box")) {
        // The nodes differ: the box shows the marker entry, and Down goes
        // past the separator to "On".
        e.edit = [&d] { QTest::keyClick(d.flip, Qt::Key_Down); };
        e.back = [&d] { d.flip->setCurrentIndex(0); }; // the marker entry, picked from the popup
        e.changed = { d.flip };
        e.property = QStringLiteral("Flip");
        e.expect = [](int, QJsonObject& p) { setValue(p, true); };
        e.everyNode = true;
    } else if (kind == QLatin1String("long option combo box")) {
        e.edit = [&d] { QTest::keyClick(d.resolution, Qt::Key_Up); };
        e.back = [&d] { QTest::keyClick(d.resolution, Qt::Key_Down); };
        e.changed = { d.resolution };
        e.property = QStringLiteral("Resolution");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 0); };
        e.everyNode = true;
    } else if (kind == QLatin1String("double option combo box")) {
        e.edit = [&d] { QTest::keyClick(d.gamma, Qt::Key_End); };
        e.back = [&d] {
            QTest::keyClick(d.gamma, Qt::Key_Up);
            QTest::keyClick(d.gamma, Qt::Key_Up);
        };
        e.changed = { d.gamma };
        e.property = QStringLiteral("Gamma");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 3); };
        e.everyNode = true;
    } else if (kind == QLatin1String("string option combo box")) {
        e.edit = [&d] { QTest::keyClick(d.exposure, Qt::Key_Down); };
        e.back = [&d] { d.exposure->setCurrentIndex(0); };
        e.changed = { d.exposure };
        e.property = QStringLiteral("Exposure");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 0); };
        e.everyNode = true;
    } else if (kind == QLatin1String("bool check box")) {
        e.edit = [&d] { QTest::keyClick(d.mirror, Qt::Key_Space); };
        e.back = e.edit;
        e.changed = { d.mirror };
        e.property = QStringLiteral("Mirror");
        e.expect = [](int, QJsonObject& p) { setValue(p, true); };
        e.everyNode = true;
    } else if (kind == QLatin1String("string option check box")) {
        // Partially checked: a click checks it; two more go round to
        // partially checked again.
        e.edit = [&d] { QTest::keyClick(d.wdr, Qt::Key_Space); };
        e.back = [&d] {
            QTest::keyClick(d.wdr, Qt::Key_Space);
            QTest::keyClick(d.wdr, Qt::Key_Space);
        };
        e.changed = { d.wdr };
        e.property = QStringLiteral("Wdr");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 1); };
        e.everyNode = true;
    } else if (kind == QLatin1String("long spin box")) {
        e.edit = [&d] {
            QTest::keyClick(d.gain, Qt::Key_Up);
            QTest::keyClick(d.gain, Qt::Key_Up);
        };
        e.back = [&d] {
            QTest::keyClick(d.gain, Qt::Key_Down);
            QTest::keyClick(d.gain, Qt::Key_Down);
        };
        e.changed = { d.gain };
        e.property = QStringLiteral("Gain");
        e.expect = [](int, QJsonObject& p) { setValue(p, 52); };
        e.everyNode = true;
    } else if (kind == QLatin1String("long option spin box")) {
        // Shown doubled: 30 is the option 15.
        e.edit = [&d] { typeReplacing(d.frameRate, QStringLiteral("30")); };
        e.back = [&d] { typeReplacing(d.frameRate, QStringLiteral("50")); };
        e.changed = { d.frameRate };
        e.property = QStringLiteral("FrameRate");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 2); };
        e.everyNode = true;
    } else if (kind == QLatin1String("radio buttons")) {
        e.edit = [&d] { QTest::keyClick(d.dayNight.at(1), Qt::Key_Space); };
        e.back = [&d] { QTest::keyClick(d.dayNight.at(0), Qt::Key_Space); };
        // "day" lets go, "night" is checked.
        e.changed = { d.dayNight.at(0), d.dayNight.at(1) };
        e.property = QStringLiteral("DayNight");
        e.expect = [](int, QJsonObject& p) { setSelected(p, 1); };
        e.everyNode = true;
    } else if (kind == QLatin1String("line edit")) {
        e.edit = [&d] { typeReplacing(d.location, QStringLiteral("Gate")); };
        e.back = [&d] { typeReplacing(d.location, QStringLiteral("Hall")); };
        e.changed = { d.location };
        e.property = QStringLiteral("Location");
        e.expect = [](int, QJsonObject& p) { setValue(p, QStringLiteral("Gate")); };
        e.everyNode = true;
    } else if (kind == QLatin1String("list widget")) {
        // h264 is selected on two of the three nodes (partially checked); a
        // click checks it. The user cannot click back to partially checked,
        // so the dialog shows that state again.
        e.edit = [&d] { toggleItem(d.streams, item(d.streams, "h264")); };
        e.back = [&d] { item(d.streams, "h264")->setCheckState(Qt::PartiallyChecked); };
        e.changed = { d.streams };
        e.property = QStringLiteral("Streams");
        e.expect = [](int, QJsonObject& p) { addSelection(p, QStringLiteral("h264")); };
    } else if (kind == QLatin1String("event list")) {
        // motion is selected on two nodes but enabled on only some: the fill
        // shows it unchecked. Checking it adds it where it is missing.
        e.edit = [&d] { toggleItem(d.events, item(d.events, "motion")); };
        e.back = e.edit;
        e.changed = { d.events };
        e.property = QStringLiteral("Events");
        e.expect = [](int, QJsonObject& p) { addSelection(p, QStringLiteral("motion")); };
    } else if (kind == QLatin1String("double spin box (writer)")) {
        e.edit = [&d] { QTest::keyClick(d.brightness, Qt::Key_Up); };
        e.back = [&d] { QTest::keyClick(d.brightness, Qt::Key_Down); };
        e.changed = { d.brightness };
        e.property = QStringLiteral("Brightness");
        e.expect = [](int, QJsonObject& p) { setValue(p, 41); };
        e.everyNode = true;
    } else if (kind == QLatin1String("ip/port tree")) {
        // 10.0.0.2:81 is held by two nodes, in two spellings.
        e.edit = [&d] { rowOf(d.targets, QStringLiteral("10.0.0.2"), 81)->setCheckState(0, Qt::Unchecked); };
        e.back = [&d] {
            rowOf(d.targets, QStringLiteral("10.0.0.2"), 81)->setCheckState(0, Qt::PartiallyChecked);
        };
        e.changed = { d.targets };
        e.property = QStringLiteral("Targets");
        e.expect = [](int, QJsonObject& p) { removeEntries(p, QStringLiteral("10.0.0.2"), 81); };
    } else if (kind == QLatin1String("exposure pane")) {
        e.edit = [&d] { d.exposurePane->setExcluded(0, true); };
        e.back = [&d] { d.exposurePane->setExcluded(0, false); };
        e.changed = { d.exposurePane.get() };
        e.attribute = QStringLiteral("exposureWindows");
        e.refresh = true;
    } else if (kind == QLatin1String("video motion pane")) {
        e.edit = [&d] { d.motionPane->setSensitivity(0, 99); };
        e.back = [&d] { d.motionPane->setSensitivity(0, 20); };
        e.changed = { d.motionPane.get() };
        e.attribute = QStringLiteral("motionWindows");
        e.refresh = true;
    }
    return e;
}

// The first difference between two sets of node documents, empty when
// they agree.
QString nodeDifference(const QMap<QString, QJsonObject>& actual, const QMap<QString, QJsonObject>& expected)
{
    if (actual.keys() != expected.keys())
        return QStringLiteral("nodes %1, expected %2")
            .arg(actual.keys().join(QLatin1Char(',')), expected.keys().join(QLatin1Char(',')));
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        const QString a = jsonText(actual.value(it.key()));
        const QString e = jsonText(it.value());
        if (a != e)
            return QStringLiteral("node %1 is\n%2\nexpected\n%3").arg(it.key(), a, e);
    }
    return QString();
}

// node with its property `idName` replaced.
QJsonObject withProperty(QJsonObject node, const QString& idName, const QJsonObject& replacement)
{
    QJsonArray properties = node.value(QStringLiteral("properties")).toArray();
    for (int k = 0; k < properties.size(); ++k) {
        if (properties.at(k).toObject().value(QStringLiteral("idName")).toString() == idName)
            properties.replace(k, replacement);
    }
    node.insert(QStringLiteral("properties"), properties);
    return node;
}

QString nameOf(const Dialog& d, const QObject* o)
{
    const char* names[] = { "name", "location", "flip", "resolution", "gamma", "exposure", "mirror", "wdr",
        "gain", "frameRate", "streams", "events", "brightness", "targets" };
    const QObject* objects[] = { d.name, d.location, d.flip, d.resolution, d.gamma, d.exposure, d.mirror,
        d.wdr, d.gain, d.frameRate, d.streams, d.events, d.brightness, d.targets };
    for (size_t k = 0; k < sizeof(objects) / sizeof(objects[0]); ++k) {
        if (objects[k] == o)
            return QString::fromLatin1(names[k]);
    }
    for (int b = 0; b < d.dayNight.size(); ++b) {
        if (d.dayNight.at(b) == o)
            return QStringLiteral("radio button %1").arg(b);
    }
    if (o == d.exposurePane.get())
        return QStringLiteral("exposure pane");
    if (o == d.motionPane.get())
        return QStringLiteral("motion pane");
    return QStringLiteral("?");
}

// Which registered objects the tracker calls changed, by name.
QStringList changedObjects(const Dialog& d)
{
    QStringList names;
    for (const QObject* o : d.registered) {
        if (d.tracker->isChanged(o))
            names << nameOf(d, o);
    }
    return names;
}
QStringList namesOf(const Dialog& d, const QList<QObject*>& objects)
{
    QStringList names;
    for (const QObject* o : objects)
        names << nameOf(d, o);
    return names;
}

// The tree test's nodes: different lists, orders, duplicates and both
// separators. The tree shows 10.0.0.1:80, .2:81, .3:82, .4:83, .5:84.
const QStringList kTreeA { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.2:81" };
const QStringList kTreeB { "10.0.0.3:82", "10.0.0.1:80", "10.0.0.4:83" };
const QStringList kTreeC { "10.0.0.4%3A83", "10.0.0.5:84" };

QByteArray targetsDocument(const QList<QStringList>& lists)
{
    QJsonArray nodes;
    for (int i = 0; i < lists.size(); ++i)
        nodes.append(QJsonObject { { "id", nodeId(i) }, { "name", nodeId(i) },
            { "properties", QJsonArray { stringList(PTargets, "Targets", lists.at(i)) } } });
    return QJsonDocument(QJsonObject { { "nodes", nodes } }).toJson(QJsonDocument::Compact);
}

QStringList targetsOf(const QString& node)
{
    QStringList result;
    const QJsonArray entries = propertiesOf(nodeObjects().value(node))
                                   .value(QStringLiteral("Targets"))
                                   .value(QStringLiteral("value"))
                                   .toArray();
    for (const QJsonValue& e : entries)
        result << e.toString();
    return result;
}

QVector<int> selectionOf(const QString& node, const char* idName)
{
    QVector<int> result;
    const QJsonArray selected = propertiesOf(nodeObjects().value(node))
                                    .value(QString::fromLatin1(idName))
                                    .value(QStringLiteral("selected"))
                                    .toArray();
    for (const QJsonValue& s : selected)
        result << s.toInt();
    return result;
}

void fillTree(kqgui::IpPortTreeWidget* tree, const QStringList& nodes)
{
    tree->reset();
    for (const QString& id : nodes)
        tree->update(db()->session(id)->property(kq::EStringListProperty(PTargets), kContext), id);
}

// The user adds a row and fills both cells; the second cell commits them.
QTreeWidgetItem* addRow(kqgui::IpPortTreeWidget* tree, const QString& address, int port)
{
    tree->insertItem();
    QTreeWidgetItem* row = tree->topLevelItem(tree->topLevelItemCount() - 1);
    row->setText(0, address);
    row->setText(1, QString::number(port));
    return row;
}

QStringList committedRows(const kqgui::IpPortTreeWidget* tree)
{
    QStringList rows;
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = tree->topLevelItem(i);
        rows << row->data(0, Qt::UserRole).toString() + QLatin1Char(':')
                + QString::number(row->data(1, Qt::UserRole).toInt());
    }
    return rows;
}

template <class Container> Container sorted(Container list)
{
    std::sort(list.begin(), list.end());
    return list;
}

// A node's list after the user moved the tree row at `moved` (rows:
// "address:port" top to bottom, after the move): the row's entries taken out
// and put back after the entries of the nearest row above that the node
// holds, else before those of the nearest row below.
QStringList movedList(const QStringList& list, const QStringList& rows, int moved)
{
    auto entryOf
        = [](const QString& row, QString* address, int* port) { return parseEntry(row, address, port); };
    auto holds = [&](const QStringList& l, const QString& row) {
        QString address;
        int port = 0;
        entryOf(row, &address, &port);
        for (const QString& text : l) {
            if (sameEntry(text, address, port))
                return true;
        }
        return false;
    };
    QString address;
    int port = 0;
    entryOf(rows.at(moved), &address, &port);
    QStringList movedEntries;
    QStringList rest;
    for (const QString& text : list)
        (sameEntry(text, address, port) ? movedEntries : rest) << text;
    if (movedEntries.isEmpty())
        return list;
    int at = -1;
    for (int k = moved - 1; k >= 0 && at < 0; --k) {
        if (!holds(rest, rows.at(k)))
            continue;
        QString a;
        int p = 0;
        entryOf(rows.at(k), &a, &p);
        for (int i = 0; i < rest.size(); ++i) {
            if (sameEntry(rest.at(i), a, p))
                at = i + 1;
        }
    }
    for (int k = moved + 1; k < rows.size() && at < 0; ++k) {
        if (!holds(rest, rows.at(k)))
            continue;
        QString a;
        int p = 0;
        entryOf(rows.at(k), &a, &p);
        for (int i = rest.size() - 1; i >= 0; --i) {
            if (sameEntry(rest.at(i), a, p))
                at = i;
        }
    }
    if (at < 0)
        return list;
    for (int i = 0; i < movedEntries.size(); ++i)
        rest.insert(at + i, movedEntries.at(i));
    return rest;
}

} // namespace

class TestChangeTracker : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void applyWithoutEditsWritesNothing_data();
    void applyWithoutEditsWritesNothing();
    void userEditIsTrackedAndApplied_data();
    void userEditIsTrackedAndApplied();
    void signalComesWithoutAsking_data();
    void signalComesWithoutAsking();
    void listAppliesToggledItemsPerNode();
    void treeAppliesRowDeltas_data();
    void treeAppliesRowDeltas();
    void treeWithOneNodeFollowsTreeOrder();
    void treeKeepsTextsThatAreNoEntries();
    void treeMovedRowStaysAmongTextsThatAreNoEntries();
    void treeMovedRowGoesAfterAllEntriesAbove();
    void paneEdits_data();
    void paneEdits();
    void revertRestoresEverything();
    void lineEditMarkerIsReplaced_data();
    void lineEditMarkerIsReplaced();
    void refusedStatesWriteNothing();
    void applyTakesNewSnapshot();
    void registeringAgainReplaces();
    void plainLineEditKeepsItsText();
    void trackRefusesNullAndUnsupported();
    void destroyedObjectsAreSkipped();
    void untrackedWidgetWritesNothing();
    void removedNodeIsSkippedAndLogged();
    void nodeLackingPropertyWritesNothing();
    void randomEdits_data();
    void randomEdits();
};

void TestChangeTracker::initTestCase()
{
    QCoreApplication::setApplicationName(QStringLiteral("Change tracker test"));
}

void TestChangeTracker::init()
{
    db()->clear();
    // No row of the trees becomes master by itself.
    kq::IPAddress::setLocalAddressesOverride({});
}

void TestChangeTracker::cleanup()
{
    kq::IPAddress::resetLocalAddressesOverride();
    db()->clear();
    kqtest::flushDeletes();
}

// ---------------------------------------------------------------------------
// Apply without edits: every kind over 1, 2, 4 and 100 nodes whose values
// differ. Nothing may be written, no store function called.

void TestChangeTracker::applyWithoutEditsWritesNothing_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("count");
    const QStringList kinds = Dialog::kinds();
    for (const QString& kind : kinds) {
        for (int count : { 1, 2, 4, 100 })
            QTest::addRow("%s, %d nodes", qPrintable(kind), count) << kind << count;
    }
    // Every kind at once (each one has its 100 nodes above).
    for (int count : { 1, 2, 4 })
        QTest::addRow("whole dialog, %d nodes", count) << QStringLiteral("whole dialog") << count;
}

void TestChangeTracker::applyWithoutEditsWritesNothing()
{
    QFETCH(QString, kind);
    QFETCH(int, count);

    QVERIFY(loadDocument(dialogDocument(count, true, kind)));
    const QByteArray before = db()->toJson();
    QCOMPARE(db()->nodeIds(), nodeIds(count));
    const QStringList ids = nodeIds(count);

    // The nodes hold what the kind shows; only its widgets are filled and
    // registered.
    Dialog d;
    QVERIFY(d.show(kind));
    d.fill(ids, kind);
    if (count > 1 && kind == QLatin1String("whole dialog")) {
        // The fill shows the nodes' differences.
        QVERIFY(kq::isIndeterminate(d.name));
        QVERIFY(kq::isIndeterminate(d.flip));
        QVERIFY(kq::isIndeterminate(d.gain));
        QVERIFY(kq::isIndeterminate(d.brightness));
        QCOMPARE(d.wdr->checkState(), Qt::PartiallyChecked);
    }
    QVERIFY(d.track(kind));
    d.tracker->snapshot(ids);
    QCOMPARE(d.tracker->nodes(), ids);
    QSignalSpy changes(d.tracker.get(), &ChangeTracker::hasChangesChanged);
    QVERIFY(changes.isValid());
    QVERIFY(!d.tracker->hasChanges());
    QCoreApplication::processEvents();
    QVERIFY(!d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), QStringList());

    QCOMPARE(d.tracker->apply(), 0);
    QCOMPARE(d.brightnessWrites, 0);
    QCOMPARE(d.exposureStores, 0);
    QCOMPARE(d.motionStores, 0);
    if (db()->toJson() != before) {
        const QString difference = nodeDifference(nodeObjects(), nodeObjectsOf(before));
        QVERIFY2(false, qPrintable(difference));
    }
    QVERIFY(!d.tracker->hasChanges());
    QCoreApplication::processEvents();
    QCOMPARE(changes.count(), 0);

    // The fixture is one where writing every widget back by hand loses
    // data: the lists, the event list and the tree would rewrite nodes.
    if (count == 4 && kind == QLatin1String("whole dialog")) {
        for (const QString& id : ids) {
            const kqm::smart<kq::INodeConfigSession> session = db()->session(id);
            kq::setProperty(
                session->property(kq::EStringMultiOptionsProperty(PStreams), kContext), d.streams);
            kq::setProperty(session->property(kq::EStringMultiOptionsProperty(PEvents), kContext), d.events);
            d.targets->setConfigSessionProperty(
                session->property(kq::EStringListProperty(PTargets), kContext), id);
        }
        QVERIFY2(db()->toJson() != before, "writing the lists back by hand should have changed a node");
    }
}

// ---------------------------------------------------------------------------
// One user edit per kind in a dialog where every widget is registered:
// only that widget counts as changed, editing back undoes it, and apply()
// writes that property alone.

void TestChangeTracker::userEditIsTrackedAndApplied_data()
{
    QTest::addColumn<QString>("kind");
    const QStringList kinds = Dialog::kinds();
    for (const QString& kind : kinds)
        QTest::addRow("%s", qPrintable(kind)) << kind;
}

void TestChangeTracker::userEditIsTrackedAndApplied()
{
    QFETCH(QString, kind);
    const int count = 3;
    const QStringList ids = nodeIds(count);
    QVERIFY(loadDocument(dialogDocument(count, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();

    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);
    const QStringList shown = d.state();
    QVERIFY(!d.tracker->hasChanges());
    const UserEdit e = editFor(d, kind);
    QVERIFY(e.edit && e.back);
    if (kind == QLatin1String("event list"))
        QCOMPARE(item(d.events, "motion")->checkState(), Qt::Unchecked);
    if (kind == QLatin1String("list widget"))
        QCOMPARE(item(d.streams, "h264")->checkState(), Qt::PartiallyChecked);

    QSignalSpy changes(d.tracker.get(), &ChangeTracker::hasChangesChanged);
    QVERIFY(changes.isValid());

    // The edit.
    e.edit();
    if (e.refresh)
        d.tracker->refresh();
    QVERIFY(d.state() != shown);
    QVERIFY(d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), namesOf(d, e.changed));
    QTRY_COMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).toBool(), true);

    // Back to what the snapshot holds.
    e.back();
    if (e.refresh)
        d.tracker->refresh();
    QCOMPARE(d.state(), shown);
    QVERIFY(!d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), QStringList());
    QTRY_COMPARE(changes.count(), 2);
    QCOMPARE(changes.at(1).at(0).toBool(), false);
    QCoreApplication::processEvents();
    QCOMPARE(changes.count(), 2);

    // The edit again, applied.
    e.edit();
    if (e.refresh)
        d.tracker->refresh();
    QTRY_COMPARE(changes.count(), 3);
    QCOMPARE(changes.at(2).at(0).toBool(), true);
    const int written = d.tracker->apply();
    if (e.everyNode)
        QCOMPARE(written, count);
    else
        QVERIFY(written > 0);
    QVERIFY(!d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), QStringList());
    QTRY_COMPARE(changes.count(), 4);
    QCOMPARE(changes.at(3).at(0).toBool(), false);

    // Only the edited property (or the pane's windows) changed, on each node.
    QMap<QString, QJsonObject> expected = before;
    for (int i = 0; i < count; ++i) {
        QJsonObject node = expected.value(nodeId(i));
        if (!e.property.isEmpty()) {
            QJsonObject p = propertiesOf(node).value(e.property);
            QVERIFY(!p.isEmpty());
            e.expect(i, p);
            node = withProperty(node, e.property, p);
        }
        if (e.attribute == QLatin1String("exposureWindows"))
            node.insert(e.attribute, exposureRecordsOf(d.exposurePane.get()));
        if (e.attribute == QLatin1String("motionWindows"))
            node.insert(e.attribute, motionRecordsOf(d.motionPane.get()));
        expected.insert(nodeId(i), node);
    }
    const QString difference = nodeDifference(nodeObjects(), expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QVERIFY2(nodeObjects() != before, "the edit wrote nothing");
    QCOMPARE(d.brightnessWrites, kind == QLatin1String("double spin box (writer)") ? count : 0);
    QCOMPARE(d.exposureStores, kind == QLatin1String("exposure pane") ? 1 : 0);
    QCOMPARE(d.motionStores, kind == QLatin1String("video motion pane") ? 1 : 0);

    // Nothing is left to apply.
    const int calls = d.calls();
    QCOMPARE(d.tracker->apply(), 0);
    QCOMPARE(d.calls(), calls);
    const QString again = nodeDifference(nodeObjects(), expected);
    QVERIFY2(again.isEmpty(), qPrintable(again));
}

// A dialog that only listens to hasChangesChanged learns of the user's
// edits without asking hasChanges().
void TestChangeTracker::signalComesWithoutAsking_data()
{
    QTest::addColumn<QString>("kind");
    const QStringList kinds = Dialog::kinds();
    for (const QString& kind : kinds)
        QTest::addRow("%s", qPrintable(kind)) << kind;
}

void TestChangeTracker::signalComesWithoutAsking()
{
    QFETCH(QString, kind);
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);
    QSignalSpy changes(d.tracker.get(), &ChangeTracker::hasChangesChanged);
    QVERIFY(changes.isValid());

    UserEdit e = editFor(d, kind);
    if (e.refresh) {
        // Pane edits by the mouse are reported by the pane: a window moved
        // there and back.
        kqgui::NodeWindowPane* pane = kind == QLatin1String("exposure pane")
            ? static_cast<kqgui::NodeWindowPane*>(d.exposurePane.get())
            : static_cast<kqgui::NodeWindowPane*>(d.motionPane.get());
        e.edit = [pane] {
            const QPoint middle = pane->childAt(0)->rect().center();
            kqtest::PaneMouse(pane).drag(middle, middle + QPoint(20, 10));
        };
        e.back = [&d] { d.tracker->revert(); };
    }
    e.edit();
    QTRY_COMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).toBool(), true);
    e.back();
    QTRY_COMPARE(changes.count(), 2);
    QCOMPARE(changes.at(1).at(0).toBool(), false);

    // revert() and apply() report going back to no changes as well.
    e.edit();
    QTRY_COMPARE(changes.count(), 3);
    d.tracker->revert();
    QTRY_COMPARE(changes.count(), 4);
    QCOMPARE(changes.at(3).at(0).toBool(), false);
    e.edit();
    QTRY_COMPARE(changes.count(), 5);
    d.tracker->apply();
    QTRY_COMPARE(changes.count(), 6);
    QCOMPARE(changes.at(5).at(0).toBool(), false);
    QCoreApplication::processEvents();
    QCOMPARE(changes.count(), 6);
}

// ---------------------------------------------------------------------------
// List deltas: nodes with different selections, orders and duplicates.

void TestChangeTracker::listAppliesToggledItemsPerNode()
{
    const QStringList ids = nodeIds(3);
    QJsonArray nodes;
    const QStringList full { "a", "b", "c", "x", "y" };
    const QStringList lacksX { "a", "b", "c", "y" };
    const QList<QStringList> values { full, full, lacksX };
    // [c, a], [a, a, b], [y, b, y]
    const QList<QVector<int>> selections { { 2, 0 }, { 0, 0, 1 }, { 3, 1, 3 } };
    for (int i = 0; i < 3; ++i)
        nodes.append(QJsonObject { { "id", ids.at(i) }, { "name", ids.at(i) },
            { "properties",
                QJsonArray { multiOptions(PStreams, "Streams", values.at(i), selections.at(i)),
                    withValue(cttest::property(PName, "Name", "string"), QStringLiteral("n%1").arg(i)) } } });
    QVERIFY(loadDocument(QJsonDocument(QJsonObject { { "nodes", nodes } }).toJson()));
    const QMap<QString, QJsonObject> before = nodeObjects();

    QWidget window;
    auto* list = new QListWidget(&window);
    auto* name = new QLineEdit(&window);
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(list);
    layout->addWidget(name);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    kq::resetListWidget(list, kq::StringTranslator());
    kq::resetLineEdit(name);
    for (const QString& id : ids) {
        kq::updateListWidget(list, db()->session(id), kq::EStringMultiOptionsProperty(PStreams));
        kq::updateLineEdit(name, db()->session(id), kq::EStringProperty(PName));
    }
    // x is missing on the third node, so the fill hides and disables it;
    // this dialog offers it all the same.
    QListWidgetItem* x = item(list, "x");
    QVERIFY(x);
    kq::setEnabled(x, true);
    x->setHidden(false);

    ChangeTracker tracker;
    QVERIFY(tracker.track(list, kq::EStringMultiOptionsProperty(PStreams)));
    QVERIFY(tracker.track(name, kq::EStringProperty(PName)));
    tracker.snapshot(ids);
    QCOMPARE(item(list, "a")->checkState(), Qt::PartiallyChecked);
    QCOMPARE(item(list, "y")->checkState(), Qt::PartiallyChecked);

    // Check x and a, uncheck y (partially checked, checked, unchecked).
    toggleItem(list, x);
    toggleItem(list, item(list, "a"));
    toggleItem(list, item(list, "y"));
    toggleItem(list, item(list, "y"));
    QCOMPARE(x->checkState(), Qt::Checked);
    QCOMPARE(item(list, "a")->checkState(), Qt::Checked);
    QCOMPARE(item(list, "y")->checkState(), Qt::Unchecked);
    QVERIFY(tracker.isChanged(list));
    QVERIFY(!tracker.isChanged(name));

    tracker.apply();
    // x appended where listed and not selected; a appended only where
    // missing; every y removed; b and c untouched, order and duplicates kept.
    QCOMPARE(selectionOf(ids.at(0), "Streams"), (QVector<int> { 2, 0, 3 }));
    QCOMPARE(selectionOf(ids.at(1), "Streams"), (QVector<int> { 0, 0, 1, 3 }));
    QCOMPARE(selectionOf(ids.at(2), "Streams"), (QVector<int> { 1, 0 }));
    // The option lists are not extended (x is not given to the third node)
    // and nothing else is written.
    QMap<QString, QJsonObject> expected = before;
    const QList<QVector<int>> after { { 2, 0, 3 }, { 0, 0, 1, 3 }, { 1, 0 } };
    for (int i = 0; i < 3; ++i) {
        QJsonObject p = propertiesOf(before.value(ids.at(i))).value(QStringLiteral("Streams"));
        p.insert(QStringLiteral("selected"), ints(after.at(i)));
        expected.insert(ids.at(i), withProperty(before.value(ids.at(i)), QStringLiteral("Streams"), p));
    }
    const QString difference = nodeDifference(nodeObjects(), expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QVERIFY(!tracker.hasChanges());
}

// ---------------------------------------------------------------------------
// Tree deltas over three nodes with different lists, orders, duplicates and
// "%3A" entries.

void TestChangeTracker::treeAppliesRowDeltas_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("a");
    QTest::addColumn<QStringList>("b");
    QTest::addColumn<QStringList>("c");

    const QString nine = QStringLiteral("10.0.0.9:90");
    QTest::newRow("add row") << "add" << (QStringList(kTreeA) << nine) << (QStringList(kTreeB) << nine)
                             << (QStringList(kTreeC) << nine);
    QTest::newRow("delete row one node holds twice")
        << "delete 10.0.0.2:81" << QStringList { "10.0.0.1%3A80", "10.0.0.3:82" } << kTreeB << kTreeC;
    QTest::newRow("delete row two nodes hold")
        << "delete 10.0.0.3:82" << QStringList { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.2:81" }
        << QStringList { "10.0.0.1:80", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("edit address") << "edit 10.0.0.3:82 address 10.0.0.7"
                                  << QStringList { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.7:82",
                                         "10.0.0.2:81" }
                                  << QStringList { "10.0.0.7:82", "10.0.0.1:80", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("edit port of encoded entry")
        << "edit 10.0.0.1:80 port 88"
        << QStringList { "10.0.0.1:88", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.2:81" }
        << QStringList { "10.0.0.3:82", "10.0.0.1:88", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("edit duplicated entry")
        << "edit 10.0.0.2:81 address 10.0.0.8"
        << QStringList { "10.0.0.1%3A80", "10.0.0.8:81", "10.0.0.3:82", "10.0.0.8:81" } << kTreeB << kTreeC;
    QTest::newRow("check partially checked row")
        << "check 10.0.0.4:83" << (QStringList(kTreeA) << "10.0.0.4:83") << kTreeB << kTreeC;
    QTest::newRow("uncheck row") << "uncheck 10.0.0.1:80"
                                 << QStringList { "10.0.0.2:81", "10.0.0.3:82", "10.0.0.2:81" }
                                 << QStringList { "10.0.0.3:82", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("uncheck encoded entry")
        << "uncheck 10.0.0.4:83" << kTreeA << QStringList { "10.0.0.3:82", "10.0.0.1:80" }
        << QStringList { "10.0.0.5:84" };
    // Tree 3, 1, 2, 4, 5: row 3 moved; nothing above it, so its entries go
    // before those of the nearest row below that the node holds.
    QTest::newRow("move row to the top")
        << "up 10.0.0.3:82 2" << QStringList { "10.0.0.3:82", "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.2:81" }
        << kTreeB << kTreeC;
    // Tree 2, 3, 1, 4, 5: row 1 moved; its entries go after those of the
    // nearest row above that the node holds (3 on both A and B).
    QTest::newRow("move row down") << "down 10.0.0.1:80 2"
                                   << QStringList { "10.0.0.2:81", "10.0.0.3:82", "10.0.0.1%3A80",
                                          "10.0.0.2:81" }
                                   << kTreeB << kTreeC;
    // Tree 9, 1, 2, 3, 4, 5: the added row goes before the nearest row below
    // that each node holds.
    QTest::newRow("move added row to the top")
        << "add, up 10.0.0.9:90 5" << (QStringList { nine } << kTreeA)
        << QStringList { "10.0.0.3:82", nine, "10.0.0.1:80", "10.0.0.4:83" }
        << QStringList { nine, "10.0.0.4%3A83", "10.0.0.5:84" };
    QTest::newRow("master row") << "master 10.0.0.1:80" << kTreeA << kTreeB << kTreeC;

    // Several edits of one row.
    QTest::newRow("add, then edit") << "add, edit 10.0.0.9:90 address 10.0.0.8"
                                    << (QStringList(kTreeA) << "10.0.0.8:90")
                                    << (QStringList(kTreeB) << "10.0.0.8:90")
                                    << (QStringList(kTreeC) << "10.0.0.8:90");
    QTest::newRow("edit, then uncheck") << "edit 10.0.0.3:82 address 10.0.0.7, uncheck 10.0.0.7:82"
                                        << QStringList { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.2:81" }
                                        << QStringList { "10.0.0.1:80", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("edit, then delete") << "edit 10.0.0.3:82 address 10.0.0.7, delete 10.0.0.7:82"
                                       << QStringList { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.2:81" }
                                       << QStringList { "10.0.0.1:80", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("move, then edit") << "up 10.0.0.3:82 2, edit 10.0.0.3:82 address 10.0.0.7"
                                     << QStringList { "10.0.0.7:82", "10.0.0.1%3A80", "10.0.0.2:81",
                                            "10.0.0.2:81" }
                                     << QStringList { "10.0.0.7:82", "10.0.0.1:80", "10.0.0.4:83" } << kTreeC;
    QTest::newRow("uncheck, then check") << "uncheck 10.0.0.1:80, recheck 10.0.0.1:80" << kTreeA << kTreeB
                                         << (QStringList(kTreeC) << "10.0.0.1:80");
    // Edits that come back to what the snapshot holds.
    QTest::newRow("add, then delete") << "add, delete 10.0.0.9:90" << kTreeA << kTreeB << kTreeC;
    QTest::newRow("edit, then edit back")
        << "edit 10.0.0.3:82 address 10.0.0.7, edit 10.0.0.7:82 address 10.0.0.3" << kTreeA << kTreeB
        << kTreeC;
}

void TestChangeTracker::treeAppliesRowDeltas()
{
    QFETCH(QString, operation);
    QFETCH(QStringList, a);
    QFETCH(QStringList, b);
    QFETCH(QStringList, c);

    // 10.0.0.5:84 becomes the master row.
    kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.5")) });
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(targetsDocument({ kTreeA, kTreeB, kTreeC })));
    const QMap<QString, QJsonObject> before = nodeObjects();

    kqgui::IpPortTreeWidget tree;
    tree.resize(300, 300);
    tree.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    fillTree(&tree, ids);
    QCOMPARE(committedRows(&tree),
        (QStringList { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.4:83", "10.0.0.5:84" }));
    QCOMPARE(tree.fetchPort(), 84);
    QCOMPARE(tree.masterRow(), rowOf(&tree, QStringLiteral("10.0.0.5"), 84));

    ChangeTracker tracker;
    QVERIFY(tracker.track(&tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(ids);
    QVERIFY(!tracker.hasChanges());

    auto row = [&](const QString& entry) {
        const QStringList parts = entry.split(QLatin1Char(':'));
        return rowOf(&tree, parts.at(0), parts.at(1).toInt());
    };
    const QStringList steps = operation.split(QStringLiteral(", "));
    for (const QString& step : steps) {
        const QStringList words = step.split(QLatin1Char(' '));
        const QString& verb = words.at(0);
        if (verb == QLatin1String("add")) {
            QTreeWidgetItem* added = addRow(&tree, QStringLiteral("10.0.0.9"), 90);
            QCOMPARE(added->data(1, Qt::UserRole), QVariant(90));
            continue;
        }
        QTreeWidgetItem* target = row(words.at(1));
        QVERIFY2(target, qPrintable(words.at(1)));
        if (verb == QLatin1String("delete")) {
            selectOnly(&tree, target);
            tree.removeItem();
            QVERIFY(!row(words.at(1)));
        } else if (verb == QLatin1String("edit")) {
            target->setText(words.at(2) == QLatin1String("address") ? 0 : 1, words.at(3));
            QVERIFY(committedRows(&tree).join(QLatin1Char(' ')).contains(words.at(3)));
        } else if (verb == QLatin1String("check")) {
            QCOMPARE(target->checkState(0), Qt::PartiallyChecked);
            target->setCheckState(0, Qt::Checked);
        } else if (verb == QLatin1String("uncheck")) {
            target->setCheckState(0, Qt::Unchecked);
        } else if (verb == QLatin1String("recheck")) {
            target->setCheckState(0, Qt::Checked);
        } else if (verb == QLatin1String("up") || verb == QLatin1String("down")) {
            selectOnly(&tree, target);
            for (int k = 0; k < words.at(2).toInt(); ++k) {
                if (verb == QLatin1String("up"))
                    tree.upItem();
                else
                    tree.downItem();
            }
            QVERIFY(!tree.signalsBlocked());
        } else if (verb == QLatin1String("master")) {
            tree.setAsMaster(target);
            QCOMPARE(tree.masterRow(), target);
            QCOMPARE(tree.fetchPort(), 80);
        } else {
            QFAIL(qPrintable(step));
        }
    }
    // Rows added and deleted again, or edited back, leave the tree as the
    // snapshot has it.
    const bool unchanged
        = a == kTreeA && b == kTreeB && c == kTreeC && !operation.startsWith(QLatin1String("master"));
    QCOMPARE(tracker.isChanged(&tree), !unchanged);
    QCOMPARE(tracker.hasChanges(), !unchanged);

    const int written = tracker.apply();
    if (unchanged)
        QCOMPARE(written, 0);
    QCOMPARE(targetsOf(ids.at(0)), a);
    QCOMPARE(targetsOf(ids.at(1)), b);
    QCOMPARE(targetsOf(ids.at(2)), c);
    if (a == kTreeA && b == kTreeB && c == kTreeC) {
        const QString difference = nodeDifference(nodeObjects(), before);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }
    QVERIFY(!tracker.hasChanges());
    QVERIFY(!tracker.isChanged(&tree));
}

// The moved row goes after every entry of the row above it, duplicates
// included.
void TestChangeTracker::treeMovedRowGoesAfterAllEntriesAbove()
{
    const QStringList a { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.2:81", "10.0.0.4:83",
        "10.0.0.5:84", "10.0.0.6:85" };
    const QStringList b { "10.0.0.6%3A85" };
    QVERIFY(loadDocument(targetsDocument({ a, b })));
    kqgui::IpPortTreeWidget tree;
    tree.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    fillTree(&tree, nodeIds(2));
    ChangeTracker tracker;
    QVERIFY(tracker.track(&tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(nodeIds(2));

    // 1, 2, 6, 3, 4, 5: only 6 left its place.
    selectOnly(&tree, rowOf(&tree, QStringLiteral("10.0.0.6"), 85));
    for (int k = 0; k < 3; ++k)
        tree.upItem();
    QCOMPARE(committedRows(&tree),
        (QStringList {
            "10.0.0.1:80", "10.0.0.2:81", "10.0.0.6:85", "10.0.0.3:82", "10.0.0.4:83", "10.0.0.5:84" }));
    tracker.apply();
    QCOMPARE(targetsOf(nodeId(0)),
        (QStringList { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.2:81", "10.0.0.6:85",
            "10.0.0.4:83", "10.0.0.5:84" }));
    QCOMPARE(targetsOf(nodeId(1)), b);
}

// Texts in a node's list that are not entries are not shown; they stay
// where they are.
void TestChangeTracker::treeKeepsTextsThatAreNoEntries()
{
    QVERIFY(loadDocument(
        targetsDocument({ { "10.0.0.1:80", "not an entry", "10.0.0.2:81", "a:b:c" }, { "10.0.0.2%3A81" } })));
    kqgui::IpPortTreeWidget tree;
    tree.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    fillTree(&tree, nodeIds(2));
    QCOMPARE(committedRows(&tree), (QStringList { "10.0.0.1:80", "10.0.0.2:81" }));
    ChangeTracker tracker;
    QVERIFY(tracker.track(&tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(nodeIds(2));

    addRow(&tree, QStringLiteral("10.0.0.9"), 90);
    rowOf(&tree, QStringLiteral("10.0.0.1"), 80)->setCheckState(0, Qt::Unchecked);
    rowOf(&tree, QStringLiteral("10.0.0.2"), 81)->setText(0, QStringLiteral("10.0.0.7"));
    tracker.apply();
    QCOMPARE(targetsOf(nodeId(0)), (QStringList { "not an entry", "10.0.0.7:81", "a:b:c", "10.0.0.9:90" }));
    QCOMPARE(targetsOf(nodeId(1)), (QStringList { "10.0.0.7:81", "10.0.0.9:90" }));
}

void TestChangeTracker::treeMovedRowStaysAmongTextsThatAreNoEntries()
{
    // Node 1 holds the moved row and no other row of the tree: its entry
    // stays where it was among the texts the tree does not show.
    QVERIFY(loadDocument(targetsDocument({ { "10.0.0.1:80", "10.0.0.3:82" }, { "10.0.0.2:81", "a:b:c" } })));
    kqgui::IpPortTreeWidget tree;
    tree.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    fillTree(&tree, nodeIds(2));
    ChangeTracker tracker;
    QVERIFY(tracker.track(&tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(nodeIds(2));

    selectOnly(&tree, rowOf(&tree, QStringLiteral("10.0.0.2"), 81));
    tree.upItem();
    tree.upItem();
    QCOMPARE(committedRows(&tree), (QStringList { "10.0.0.2:81", "10.0.0.1:80", "10.0.0.3:82" }));
    QVERIFY(tracker.apply() > 0);
    QCOMPARE(targetsOf(nodeId(0)), (QStringList { "10.0.0.1:80", "10.0.0.3:82" }));
    QCOMPARE(targetsOf(nodeId(1)), (QStringList { "10.0.0.2:81", "a:b:c" }));
}

void TestChangeTracker::treeWithOneNodeFollowsTreeOrder()
{
    const QStringList list { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.4:83" };
    QVERIFY(loadDocument(targetsDocument({ list })));
    kqgui::IpPortTreeWidget tree;
    tree.show();
    QVERIFY(QTest::qWaitForWindowExposed(&tree));
    fillTree(&tree, nodeIds(1));
    ChangeTracker tracker;
    QVERIFY(tracker.track(&tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(nodeIds(1));

    // 3, 1, 4, 2.
    selectOnly(&tree, rowOf(&tree, QStringLiteral("10.0.0.3"), 82));
    tree.upItem();
    tree.upItem();
    selectOnly(&tree, rowOf(&tree, QStringLiteral("10.0.0.4"), 83));
    tree.upItem();
    QCOMPARE(
        committedRows(&tree), (QStringList { "10.0.0.3:82", "10.0.0.1:80", "10.0.0.4:83", "10.0.0.2:81" }));
    QVERIFY(tracker.isChanged(&tree));
    tracker.apply();
    // Moved entries keep their text.
    QCOMPARE(
        targetsOf(nodeId(0)), (QStringList { "10.0.0.3:82", "10.0.0.1%3A80", "10.0.0.4:83", "10.0.0.2:81" }));
}

// ---------------------------------------------------------------------------
// Panes: drawing, deleting, moving a window and changing a setting.

void TestChangeTracker::paneEdits_data()
{
    QTest::addColumn<bool>("exposure");
    QTest::addColumn<QString>("action");
    for (bool exposure : { true, false }) {
        for (const char* action : { "draw", "delete", "move", "resize", "setting", "dialog's own setting" })
            QTest::addRow("%s pane, %s", exposure ? "exposure" : "video motion", action)
                << exposure << QString::fromLatin1(action);
    }
}

void TestChangeTracker::paneEdits()
{
    QFETCH(bool, exposure);
    QFETCH(QString, action);
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    kqgui::NodeWindowPane* pane = exposure ? static_cast<kqgui::NodeWindowPane*>(d.exposurePane.get())
                                           : static_cast<kqgui::NodeWindowPane*>(d.motionPane.get());
    const int windows = pane->count();
    QVERIFY(windows >= 2);
    const QStringList snapshotState = paneState(pane);
    kqtest::PaneMouse mouse(pane);

    auto act = [&] {
        if (action == QLatin1String("draw")) {
            mouse.drawRect(QPoint(20, 200), QPoint(80, 280));
            QCOMPARE(pane->count(), windows + 1);
        } else if (action == QLatin1String("delete")) {
            kq::OnScreenPushControl* button = kqtest::deleteButtonOf(pane, pane->childAt(0));
            QVERIFY(button && button->isShown());
            mouse.click(button->area().center());
            QCOMPARE(pane->count(), windows - 1);
            kqtest::flushDeletes();
        } else if (action == QLatin1String("move")) {
            const QPoint middle = pane->childAt(0)->rect().center();
            mouse.drag(middle, middle + QPoint(20, 10));
        } else if (action == QLatin1String("resize")) {
            // From the bottom-right handle.
            const QPoint corner = pane->childAt(0)->rect().bottomRight();
            mouse.drag(corner, corner + QPoint(30, 20));
        } else if (action == QLatin1String("dialog's own setting")) {
            // Any dynamic property of a window is a setting.
            pane->childAt(1)->setProperty("note", QStringLiteral("checked by hand"));
            d.tracker->refresh();
        } else if (exposure) {
            d.exposurePane->setExcluded(0, !d.exposurePane->isExcluded(0));
            d.tracker->refresh();
        } else {
            d.motionPane->setSensitivity(0, d.motionPane->sensitivity(0) + 5);
            d.tracker->refresh();
        }
    };

    act();
    if (QTest::currentTestFailed())
        return;
    QVERIFY(paneState(pane) != snapshotState);
    QVERIFY(d.tracker->isChanged(pane));
    QVERIFY(d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), QStringList { nameOf(d, pane) });

    // Revert puts the windows back as they were: order, image coordinates
    // and settings.
    d.tracker->revert();
    kqtest::flushDeletes();
    QCOMPARE(paneState(pane), snapshotState);
    QVERIFY(!d.tracker->isChanged(pane));
    QVERIFY(!d.tracker->hasChanges());
    QCOMPARE(d.calls(), 0);

    // Again, applied: the store function runs once.
    act();
    if (QTest::currentTestFailed())
        return;
    QVERIFY(d.tracker->isChanged(pane));
    const QStringList edited = paneState(pane);
    d.tracker->apply();
    QCOMPARE(d.exposureStores, exposure ? 1 : 0);
    QCOMPARE(d.motionStores, exposure ? 0 : 1);
    QCOMPARE(d.brightnessWrites, 0);
    QCOMPARE(paneState(pane), edited);
    QVERIFY(!d.tracker->hasChanges());

    QMap<QString, QJsonObject> expected = before;
    for (const QString& id : ids) {
        QJsonObject node = expected.value(id);
        if (exposure)
            node.insert(QStringLiteral("exposureWindows"), exposureRecordsOf(d.exposurePane.get()));
        else
            node.insert(QStringLiteral("motionWindows"), motionRecordsOf(d.motionPane.get()));
        expected.insert(id, node);
    }
    const QString difference = nodeDifference(nodeObjects(), expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));

    QCOMPARE(d.tracker->apply(), 0);
    QCOMPARE(d.calls(), 1);
}

// ---------------------------------------------------------------------------
// Revert: every widget, the tree with its master row, and both panes.

void TestChangeTracker::revertRestoresEverything()
{
    // 10.0.0.3:82 becomes the master row.
    kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.3")) });
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);
    const QStringList shown = d.state();
    QCOMPARE(d.targets->fetchPort(), 82);

    const QStringList kinds = Dialog::kinds();
    for (const QString& kind : kinds)
        editFor(d, kind).edit();
    QTest::keyClicks(d.name, QStringLiteral("abc"));
    // More on the tree: a row added, one deleted, one moved, another master.
    addRow(d.targets, QStringLiteral("10.0.0.9"), 90);
    selectOnly(d.targets, rowOf(d.targets, QStringLiteral("10.0.0.4"), 83));
    d.targets->removeItem();
    selectOnly(d.targets, rowOf(d.targets, QStringLiteral("10.0.0.9"), 90));
    d.targets->upItem();
    d.targets->setAsMaster(rowOf(d.targets, QStringLiteral("10.0.0.1"), 80));
    QCOMPARE(d.targets->fetchPort(), 80);
    // More on the panes: a window drawn on one, deleted on the other.
    kqtest::PaneMouse(d.exposurePane.get()).drawRect(QPoint(20, 200), QPoint(80, 280));
    QVERIFY(d.exposurePane->isPoly(3));
    kq::OnScreenPushControl* polygonButton
        = kqtest::deleteButtonOf(d.exposurePane.get(), d.exposurePane->childAt(3));
    QVERIFY(polygonButton && polygonButton->isShown());
    kqtest::PaneMouse(d.exposurePane.get()).click(polygonButton->area().center());
    QCOMPARE(d.exposurePane->count(), 3);
    kq::OnScreenPushControl* button = kqtest::deleteButtonOf(d.motionPane.get(), d.motionPane->childAt(1));
    QVERIFY(button && button->isShown());
    kqtest::PaneMouse(d.motionPane.get()).click(button->area().center());
    kqtest::flushDeletes();
    d.tracker->refresh();
    QVERIFY(d.state() != shown);
    QVERIFY(d.tracker->hasChanges());

    d.tracker->revert();
    kqtest::flushDeletes();
    QCOMPARE(d.state(), shown);
    QCOMPARE(d.targets->fetchPort(), 82);
    QCOMPARE(d.targets->masterRow(), rowOf(d.targets, QStringLiteral("10.0.0.3"), 82));
    QVERIFY(!d.tracker->hasChanges());
    QCOMPARE(changedObjects(d), QStringList());
    QCOMPARE(d.tracker->apply(), 0);
    QCOMPARE(d.calls(), 0);
    const QString difference = nodeDifference(nodeObjects(), before);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));

    // The marker is back, and the next edit replaces it again.
    QVERIFY(kq::isIndeterminate(d.name));
    QTest::keyClicks(d.name, QStringLiteral("x"));
    QCOMPARE(d.name->text(), QStringLiteral("x"));
    QVERIFY(d.tracker->isChanged(d.name));
    // The tree's rows were rebuilt; the deltas still hold against the nodes.
    rowOf(d.targets, QStringLiteral("10.0.0.1"), 80)->setCheckState(0, Qt::Unchecked);
    d.tracker->apply();
    QCOMPARE(targetsOf(ids.at(0)), QStringList { "10.0.0.2:81" });
    QCOMPARE(targetsOf(ids.at(1)), QStringList { "10.0.0.3:82" });
    QCOMPARE(targetsOf(ids.at(2)), targetEntries(2));
    for (const QString& id : ids)
        QCOMPARE(propertiesOf(nodeObjects().value(id))
                     .value(QStringLiteral("Name"))
                     .value(QStringLiteral("value")),
            QJsonValue(QStringLiteral("x")));
}

// ---------------------------------------------------------------------------
// A line edit showing "<Multiple Values>": the user's first edit replaces
// the marker.

void TestChangeTracker::lineEditMarkerIsReplaced_data()
{
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("written");

    QTest::newRow("typed at the end") << "abc"
                                      << "abc" << true;
    QTest::newRow("typed after a click into the text") << "click, abc"
                                                       << "abc" << true;
    QTest::newRow("typed after Home") << "Home, abc"
                                      << "abc" << true;
    QTest::newRow("Delete after Home") << "Home, Delete"
                                       << "" << true;
    QTest::newRow("pasted") << "paste"
                            << "pasted" << true;
    QTest::newRow("Backspace") << "Backspace"
                               << "" << true;
    QTest::newRow("part cut") << "Home, select 3, cut"
                              << "" << true;
    // Moving the cursor or clicking into the text edits nothing.
    QTest::newRow("cursor keys only") << "Home, Right, End" << markerText() << false;
    QTest::newRow("click only") << "click" << markerText() << false;
    QTest::newRow("untouched") << "" << markerText() << false;
}

void TestChangeTracker::lineEditMarkerIsReplaced()
{
    QFETCH(QString, keys);
    QFETCH(QString, text);
    QFETCH(bool, written);

    const QStringList ids = nodeIds(2);
    QVERIFY(loadDocument(dialogDocument(2, true)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("line edit")));
    d.tracker->snapshot(ids);
    QVERIFY(kq::isIndeterminate(d.name));

    const QStringList steps = keys.split(QStringLiteral(", "), Qt::SkipEmptyParts);
    for (const QString& step : steps) {
        if (step == QLatin1String("click"))
            QTest::mouseClick(d.name, Qt::LeftButton, {}, d.name->rect().center());
        else if (step == QLatin1String("Home"))
            QTest::keyClick(d.name, Qt::Key_Home);
        else if (step == QLatin1String("Backspace"))
            QTest::keyClick(d.name, Qt::Key_Backspace);
        else if (step == QLatin1String("Delete"))
            QTest::keyClick(d.name, Qt::Key_Delete);
        else if (step == QLatin1String("Right"))
            QTest::keyClick(d.name, Qt::Key_Right);
        else if (step == QLatin1String("End"))
            QTest::keyClick(d.name, Qt::Key_End);
        else if (step == QLatin1String("select 3")) {
            for (int k = 0; k < 3; ++k)
                QTest::keyClick(d.name, Qt::Key_Right, Qt::ShiftModifier);
            QCOMPARE(d.name->selectedText().size(), 3);
        } else if (step == QLatin1String("cut"))
            QTest::keyClick(d.name, Qt::Key_X, Qt::ControlModifier);
        else if (step == QLatin1String("paste")) {
            QGuiApplication::clipboard()->setText(QStringLiteral("pasted"));
            if (QGuiApplication::clipboard()->text() != QLatin1String("pasted"))
                QSKIP("no clipboard on this platform");
            QTest::keyClick(d.name, Qt::Key_V, Qt::ControlModifier);
        } else
            QTest::keyClicks(d.name, step);
    }
    QCOMPARE(d.name->text(), text);
    QCOMPARE(d.tracker->isChanged(d.name), written);
    QVERIFY(!d.tracker->isChanged(d.location));

    const int count = d.tracker->apply();
    QCOMPARE(count, written ? 2 : 0);
    QMap<QString, QJsonObject> expected = before;
    if (written) {
        for (const QString& id : ids) {
            QJsonObject p = propertiesOf(before.value(id)).value(QStringLiteral("Name"));
            setValue(p, text);
            expected.insert(id, withProperty(before.value(id), QStringLiteral("Name"), p));
        }
    }
    const QString difference = nodeDifference(nodeObjects(), expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

// ---------------------------------------------------------------------------
// Bad input.

// Changes the binding's write-backs refuse: a line edit showing the marker
// typed by hand, a disabled widget, the "AE" item, a disabled item, and tree
// rows still showing "<Ip>" or "<Port>".
void TestChangeTracker::refusedStatesWriteNothing()
{
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    typeReplacing(d.location, markerText());
    QVERIFY(kq::isIndeterminate(d.location));
    QTest::keyClick(d.gain, Qt::Key_Up);
    QCOMPARE(d.gain->value(), 51);
    kq::setEnabled(d.gain, false);
    QListWidgetItem* ae = item(d.streams, "AE");
    QVERIFY(ae && kq::isEnabled(ae));
    toggleItem(d.streams, ae);
    QCOMPARE(ae->checkState(), Qt::Checked);
    QListWidgetItem* tamper = item(d.events, "tamper");
    QVERIFY(tamper && !kq::isEnabled(tamper));
    tamper->setCheckState(tamper->checkState() == Qt::Checked ? Qt::Unchecked : Qt::Checked);
    addRow(d.targets, QStringLiteral("10.0.0.9"), 90)->setText(1, QStringLiteral("<Port>"));
    QVERIFY(!d.targets->signalsBlocked());
    QVERIFY(d.tracker->hasChanges());

    d.tracker->apply();
    const QString difference = nodeDifference(nodeObjects(), before);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

// apply() takes the widgets' state as the new snapshot: going back to the
// old value is a change of its own.
void TestChangeTracker::applyTakesNewSnapshot()
{
    const QStringList ids = nodeIds(2);
    QVERIFY(loadDocument(dialogDocument(2, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    QTest::keyClick(d.mirror, Qt::Key_Space);
    QCOMPARE(d.tracker->apply(), 2);
    QVERIFY(!d.tracker->isChanged(d.mirror));
    QTest::keyClick(d.mirror, Qt::Key_Space);
    QVERIFY(d.tracker->isChanged(d.mirror));
    QVERIFY(d.tracker->hasChanges());
    QCOMPARE(d.tracker->apply(), 2);
    for (const QString& id : ids)
        QCOMPARE(propertiesOf(nodeObjects().value(id))
                     .value(QStringLiteral("Mirror"))
                     .value(QStringLiteral("value")),
            QJsonValue(false));

    // revert() goes back to the latest snapshot.
    QTest::keyClick(d.mirror, Qt::Key_Space);
    d.tracker->revert();
    QCOMPARE(d.mirror->checkState(), Qt::Unchecked);
}

void TestChangeTracker::registeringAgainReplaces()
{
    const QStringList ids = nodeIds(2);
    QVERIFY(loadDocument(dialogDocument(2, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    // The location edit, first registered for the name.
    QVERIFY(d.tracker->track(d.location, kq::EStringProperty(PName)));
    QVERIFY(d.tracker->track(d.location, kq::EStringProperty(PLocation)));
    d.tracker->snapshot(ids);
    typeReplacing(d.location, QStringLiteral("Gate"));
    QCOMPARE(d.tracker->apply(), 2);

    QMap<QString, QJsonObject> expected = before;
    for (const QString& id : ids) {
        QJsonObject p = propertiesOf(before.value(id)).value(QStringLiteral("Location"));
        setValue(p, QStringLiteral("Gate"));
        expected.insert(id, withProperty(before.value(id), QStringLiteral("Location"), p));
    }
    const QString difference = nodeDifference(nodeObjects(), expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

// A line edit that shows one value is edited as any line edit is.
void TestChangeTracker::plainLineEditKeepsItsText()
{
    const QStringList ids = nodeIds(2);
    QVERIFY(loadDocument(dialogDocument(2, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("line edit")));
    d.tracker->snapshot(ids);
    QCOMPARE(d.location->text(), QStringLiteral("Hall"));
    QTest::keyClicks(d.location, QStringLiteral("s"));
    QCOMPARE(d.location->text(), QStringLiteral("Halls"));
    QTest::keyClick(d.location, Qt::Key_Home);
    QTest::keyClick(d.location, Qt::Key_Delete);
    QCOMPARE(d.location->text(), QStringLiteral("alls"));
    QCOMPARE(d.tracker->apply(), 2);
    for (const QString& id : ids)
        QCOMPARE(propertiesOf(nodeObjects().value(id))
                     .value(QStringLiteral("Location"))
                     .value(QStringLiteral("value")),
            QJsonValue(QStringLiteral("alls")));
}

void TestChangeTracker::trackRefusesNullAndUnsupported()
{
    ChangeTracker tracker;
    int calls = 0;
    const ChangeTracker::Writer writer = [&calls](const QString&, ChangeTracker::Session) { ++calls; };
    QVERIFY(!tracker.track(static_cast<QComboBox*>(nullptr), kq::EBoolProperty(PFlip)));
    QVERIFY(!tracker.track(static_cast<QComboBox*>(nullptr), kq::ELongOptionsProperty(PResolution)));
    QVERIFY(!tracker.track(static_cast<QComboBox*>(nullptr), kq::EDoubleOptionsProperty(PGamma)));
    QVERIFY(!tracker.track(static_cast<QComboBox*>(nullptr), kq::EStringOptionsProperty(PExposure)));
    QVERIFY(!tracker.track(static_cast<QCheckBox*>(nullptr), kq::EBoolProperty(PMirror)));
    QVERIFY(!tracker.track(static_cast<QCheckBox*>(nullptr), kq::EStringOptionsProperty(PWdr)));
    QVERIFY(!tracker.track(static_cast<QSpinBox*>(nullptr), kq::ELongProperty(PGain)));
    QVERIFY(!tracker.track(static_cast<QSpinBox*>(nullptr), kq::ELongOptionsProperty(PFrameRate)));
    QVERIFY(!tracker.track(static_cast<QRadioButton*>(nullptr), kq::EStringOptionsProperty(PDayNight)));
    QVERIFY(!tracker.track(static_cast<QLineEdit*>(nullptr), kq::EStringProperty(PName)));
    QVERIFY(!tracker.track(static_cast<QListWidget*>(nullptr), kq::EStringMultiOptionsProperty(PStreams)));
    QVERIFY(
        !tracker.track(static_cast<kqgui::IpPortTreeWidget*>(nullptr), kq::EStringListProperty(PTargets)));
    QVERIFY(!tracker.track(static_cast<kqgui::NodeWindowPane*>(nullptr), [] {}));
    QVERIFY(!tracker.track(static_cast<QWidget*>(nullptr), writer));

    // Kinds the tracker cannot follow.
    QWidget plain;
    QLabel label;
    QPushButton button;
    QTreeWidget tree;
    QTextEdit text;
    for (QWidget* w : std::initializer_list<QWidget*> { &plain, &label, &button, &tree, &text }) {
        QVERIFY2(!tracker.track(w, writer), w->metaObject()->className());
        QVERIFY(!tracker.isChanged(w));
    }
    QVERIFY(!tracker.isChanged(nullptr));

    // Every kind the writer form names is accepted.
    QComboBox combo;
    QCheckBox check;
    QSpinBox spin;
    QDoubleSpinBox doubleSpin;
    QRadioButton radio;
    QLineEdit edit;
    QListWidget list;
    for (QWidget* w :
        std::initializer_list<QWidget*> { &combo, &check, &spin, &doubleSpin, &radio, &edit, &list })
        QVERIFY2(tracker.track(w, writer), w->metaObject()->className());

    tracker.snapshot({});
    QVERIFY(!tracker.hasChanges());
    QCOMPARE(tracker.apply(), 0);
    QCOMPARE(calls, 0);
}

void TestChangeTracker::destroyedObjectsAreSkipped()
{
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    typeReplacing(d.location, QStringLiteral("Gate"));
    QTest::keyClick(d.mirror, Qt::Key_Space);
    kqtest::PaneMouse(d.exposurePane.get()).drawRect(QPoint(20, 200), QPoint(80, 280));
    QVERIFY(d.tracker->isChanged(d.location));
    QVERIFY(d.tracker->isChanged(d.exposurePane.get()));
    const QMap<QString, QJsonObject> before = nodeObjects();

    delete d.location;
    d.location = nullptr;
    d.exposurePane.reset();
    kqtest::flushDeletes();
    QVERIFY(d.tracker->hasChanges()); // the mirror

    QCOMPARE(d.tracker->apply(), 3);
    QCOMPARE(d.exposureStores, 0);
    for (const QString& id : ids) {
        const QMap<QString, QJsonObject> p = propertiesOf(nodeObjects().value(id));
        QCOMPARE(p.value(QStringLiteral("Mirror")).value(QStringLiteral("value")), QJsonValue(true));
        QCOMPARE(p.value(QStringLiteral("Location")).value(QStringLiteral("value")), QJsonValue("Hall"));
        QCOMPARE(nodeObjects().value(id).value(QStringLiteral("exposureWindows")),
            before.value(id).value(QStringLiteral("exposureWindows")));
    }
    QVERIFY(!d.tracker->hasChanges());
}

void TestChangeTracker::untrackedWidgetWritesNothing()
{
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    const QMap<QString, QJsonObject> before = nodeObjects();
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    QTest::keyClick(d.gain, Qt::Key_Up);
    QVERIFY(d.tracker->isChanged(d.gain));
    d.tracker->untrack(d.gain);
    QVERIFY(!d.tracker->isChanged(d.gain));
    QVERIFY(!d.tracker->hasChanges());
    d.tracker->untrack(d.gain); // not registered: nothing
    QCOMPARE(d.tracker->apply(), 0);
    const QString difference = nodeDifference(nodeObjects(), before);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

void TestChangeTracker::removedNodeIsSkippedAndLogged()
{
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);
    QTest::keyClick(d.mirror, Qt::Key_Space);
    toggleItem(d.events, item(d.events, "motion"));
    rowOf(d.targets, QStringLiteral("10.0.0.2"), 81)->setCheckState(0, Qt::Unchecked);
    QTest::keyClick(d.brightness, Qt::Key_Up);

    QVERIFY(db()->remove(ids.at(1)));
    QList<int> levels;
    QStringList lines;
    int written = 0;
    {
        kqtest::LogCapture log;
        written = d.tracker->apply();
        lines = log.lines(&levels);
    }
    QCOMPARE(written, 2);
    int naming = 0;
    for (int k = 0; k < lines.size(); ++k) {
        if (lines.at(k).contains(ids.at(1))) {
            ++naming;
            QVERIFY2(levels.value(k) == kq::Log::Warning, qPrintable(lines.at(k)));
        }
    }
    QVERIFY2(naming == 1, qPrintable(lines.join(QLatin1Char('\n'))));
    QVERIFY(db()->node(ids.at(1)).null());
    QCOMPARE(d.brightnessWrites, 2);

    for (const QString& id : { ids.at(0), ids.at(2) }) {
        const QMap<QString, QJsonObject> p = propertiesOf(nodeObjects().value(id));
        QCOMPARE(p.value(QStringLiteral("Mirror")).value(QStringLiteral("value")), QJsonValue(true));
        QCOMPARE(p.value(QStringLiteral("Brightness")).value(QStringLiteral("value")), QJsonValue(41));
    }
    QCOMPARE(selectionOf(ids.at(2), "Events"), (QVector<int> { 2, 0 }));
    QCOMPARE(targetsOf(ids.at(0)), (QStringList { "10.0.0.1%3A80", "10.0.0.1:80" }));
    QCOMPARE(targetsOf(ids.at(2)), (QStringList { "10.0.0.4:83", "10.0.0.4:83" }));
}

void TestChangeTracker::nodeLackingPropertyWritesNothing()
{
    const QStringList ids = nodeIds(3);
    QVERIFY(loadDocument(dialogDocument(3, false)));
    Dialog d;
    QVERIFY(d.show());
    d.fill(ids);
    QVERIFY(d.track(QStringLiteral("whole dialog")));
    d.tracker->snapshot(ids);

    // The second node loses these properties after the dialog was filled.
    const kqm::smart<const kq::Node> node = db()->node(ids.at(1));
    QVERIFY(!node.null());
    for (int id : { PMirror, PStreams, PTargets, PLocation })
        QVERIFY(node->session()->removeProperty(id));
    const QMap<QString, QJsonObject> before = nodeObjects();

    QTest::keyClick(d.mirror, Qt::Key_Space);
    toggleItem(d.streams, item(d.streams, "h264"));
    rowOf(d.targets, QStringLiteral("10.0.0.1"), 80)->setCheckState(0, Qt::Unchecked);
    typeReplacing(d.location, QStringLiteral("Gate"));
    QVERIFY(d.tracker->hasChanges());

    d.tracker->apply();
    QCOMPARE(jsonText(nodeObjects().value(ids.at(1))), jsonText(before.value(ids.at(1))));
    for (const QString& id : { ids.at(0), ids.at(2) }) {
        const QMap<QString, QJsonObject> p = propertiesOf(nodeObjects().value(id));
        QCOMPARE(p.value(QStringLiteral("Mirror")).value(QStringLiteral("value")), QJsonValue(true));
        QCOMPARE(p.value(QStringLiteral("Location")).value(QStringLiteral("value")), QJsonValue("Gate"));
    }
    QCOMPARE(selectionOf(ids.at(2), "Streams"), (QVector<int> { 1, 3, 0 }));
    QCOMPARE(targetsOf(ids.at(0)), (QStringList { "10.0.0.2:81" }));
}

// ---------------------------------------------------------------------------
// Random selections, lists and edits, checked against a plain model of the
// delta rules.

void TestChangeTracker::randomEdits_data()
{
    testsupport::addSeedRows(60);
}

void TestChangeTracker::randomEdits()
{
    QFETCH(quint32, seed);
    qInfo("seed %u (KQ_RANDOMOPS_SEED=%u replays it)", seed, seed);
    QRandomGenerator random(seed);
    const int count = 1 + random.bounded(6);
    const QStringList ids = nodeIds(count);
    // A quarter of the sequences move one tree row instead of the other
    // tree edits.
    const bool moveMode = random.bounded(4) == 0;

    // Each node: some of the values in its own order, a selection with
    // duplicates, and a list of entries in both spellings with duplicates.
    const QStringList universe { "v0", "v1", "v2", "v3", "v4", "v5" };
    QList<QStringList> values;
    QList<QVector<int>> selections;
    QList<QStringList> entries;
    QJsonArray nodes;
    for (int n = 0; n < count; ++n) {
        QStringList own;
        QVector<int> selected;
        randomOption(universe, [&](int n) { return int(random.bounded(n)); }, &own, &selected);
        QStringList list;
        const int length = random.bounded(6);
        for (int k = 0; k < length; ++k) {
            const int host = 1 + random.bounded(5);
            const QString separator = random.bounded(3) == 0 ? QStringLiteral("%3A") : QStringLiteral(":");
            const QString text = QStringLiteral("10.0.0.") + QString::number(host) + separator
                + QString::number(80 + random.bounded(2));
            // A single node's list is shown row for row only without
            // duplicates; a move then orders the list as the tree.
            QString address;
            int port = 0;
            bool duplicate = false;
            if (moveMode && count == 1 && parseEntry(text, &address, &port)) {
                for (const QString& other : std::as_const(list))
                    duplicate = duplicate || sameEntry(other, address, port);
            }
            if (!duplicate)
                list << text;
        }
        values << own;
        selections << selected;
        entries << list;
        nodes.append(QJsonObject { { "id", ids.at(n) }, { "name", ids.at(n) },
            { "properties",
                QJsonArray { multiOptions(PStreams, "Streams", own, selected),
                    stringList(PTargets, "Targets", list) } } });
    }
    QVERIFY(loadDocument(QJsonDocument(QJsonObject { { "nodes", nodes } }).toJson()));

    QWidget window;
    auto* list = new QListWidget(&window);
    auto* tree = new kqgui::IpPortTreeWidget(&window);
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(list);
    layout->addWidget(tree);
    window.resize(300, 600);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    kq::resetListWidget(list, kq::StringTranslator());
    for (const QString& id : ids)
        kq::updateListWidget(list, db()->session(id), kq::EStringMultiOptionsProperty(PStreams));
    fillTree(tree, ids);
    // The dialog offers every value, also those only some nodes have.
    for (int k = 0; k < list->count(); ++k) {
        kq::setEnabled(list->item(k), true);
        list->item(k)->setHidden(false);
    }

    ChangeTracker tracker;
    QVERIFY(tracker.track(list, kq::EStringMultiOptionsProperty(PStreams)));
    QVERIFY(tracker.track(tree, kq::EStringListProperty(PTargets)));
    tracker.snapshot(ids);
    QVERIFY(!tracker.hasChanges());

    QMap<QString, int> shownStates;
    for (int k = 0; k < list->count(); ++k)
        shownStates.insert(kq::propertyValue(list->item(k)), list->item(k)->checkState());
    struct Row {
        QTreeWidgetItem* item;
        QString address;
        int port;
        Qt::CheckState state;
    };
    QList<Row> rows;
    for (int k = 0; k < tree->topLevelItemCount(); ++k) {
        QTreeWidgetItem* r = tree->topLevelItem(k);
        rows.append(Row {
            r, r->data(0, Qt::UserRole).toString(), r->data(1, Qt::UserRole).toInt(), r->checkState(0) });
    }

    // The user's edits.
    QStringList log;
    const int toggles = random.bounded(6);
    for (int k = 0; k < toggles && list->count() > 0; ++k) {
        QListWidgetItem* it = list->item(random.bounded(list->count()));
        log << QStringLiteral("toggle %1").arg(kq::propertyValue(it));
        toggleItem(list, it);
    }
    QList<Row> dropped; // deleted or unchecked
    QList<QPair<Row, QString>> edited; // row, new address
    QList<QPair<QString, int>> appended; // checked rows and added rows
    QSet<QTreeWidgetItem*> touched;
    int fresh = 0;
    // Move mode: one row moved by two places or more, so that the other
    // rows alone keep their order.
    int movedFrom = -1;
    int movedTo = -1;
    if (moveMode && rows.size() >= 3) {
        movedFrom = random.bounded(rows.size());
        // Rows two or more places away; the middle one of three rows has
        // none, so it gives way to the first.
        QVector<int> targets;
        for (int k = 0; k < rows.size(); ++k) {
            if (qAbs(k - movedFrom) >= 2)
                targets.append(k);
        }
        if (targets.isEmpty()) {
            movedFrom = 0;
            targets.append(rows.size() - 1);
        }
        movedTo = targets.at(random.bounded(targets.size()));
        selectOnly(tree, rows.at(movedFrom).item);
        for (int k = 0; k < qAbs(movedTo - movedFrom); ++k) {
            if (movedTo < movedFrom)
                tree->upItem();
            else
                tree->downItem();
        }
        QCOMPARE(tree->indexOfTopLevelItem(rows.at(movedFrom).item), movedTo);
        touched.insert(rows.at(movedFrom).item);
        log << QStringLiteral("move %1:%2 from row %3 to row %4")
                   .arg(rows.at(movedFrom).address)
                   .arg(rows.at(movedFrom).port)
                   .arg(movedFrom)
                   .arg(movedTo);
    }
    const int operations = moveMode ? 0 : random.bounded(6);
    for (int k = 0; k < operations; ++k) {
        const int what = random.bounded(5);
        if (what == 4) {
            ++fresh;
            const QString address = QStringLiteral("10.0.2.%1").arg(fresh);
            QTreeWidgetItem* added = addRow(tree, address, 90 + fresh);
            QCOMPARE(added->data(1, Qt::UserRole), QVariant(90 + fresh));
            touched.insert(added);
            appended.append(qMakePair(address, 90 + fresh));
            log << QStringLiteral("add %1:%2").arg(address).arg(90 + fresh);
            continue;
        }
        QList<Row> candidates;
        for (const Row& r : std::as_const(rows)) {
            if (!touched.contains(r.item))
                candidates << r;
        }
        if (candidates.isEmpty())
            continue;
        const Row r = candidates.at(random.bounded(candidates.size()));
        const QString entry = QStringLiteral("%1:%2").arg(r.address).arg(r.port);
        if (what == 0) {
            touched.insert(r.item);
            selectOnly(tree, r.item);
            tree->removeItem();
            dropped << r;
            log << QStringLiteral("delete %1").arg(entry);
        } else if (what == 1) {
            touched.insert(r.item);
            r.item->setCheckState(0, Qt::Unchecked);
            dropped << r;
            log << QStringLiteral("uncheck %1").arg(entry);
        } else if (what == 2 && r.state == Qt::PartiallyChecked) {
            touched.insert(r.item);
            r.item->setCheckState(0, Qt::Checked);
            appended.append(qMakePair(r.address, r.port));
            log << QStringLiteral("check %1").arg(entry);
        } else if (what == 3) {
            touched.insert(r.item);
            ++fresh;
            const QString address = QStringLiteral("10.0.1.%1").arg(fresh);
            r.item->setText(0, address);
            QCOMPARE(r.item->data(0, Qt::UserRole).toString(), address);
            edited.append(qMakePair(r, address));
            log << QStringLiteral("edit %1 to %2").arg(entry, address);
        }
    }
    const QString context = QStringLiteral("seed %1, %2 nodes, edits: %3")
                                .arg(seed)
                                .arg(count)
                                .arg(log.isEmpty() ? QStringLiteral("none") : log.join(QStringLiteral("; ")));

    // The model: toggled items against the snapshot's states.
    QStringList checkedValues;
    QStringList uncheckedValues;
    toggledItems(list, shownStates, &checkedValues, &uncheckedValues);
    const bool changed = !checkedValues.isEmpty() || !uncheckedValues.isEmpty() || !touched.isEmpty();
    QVERIFY2(tracker.hasChanges() == changed, qPrintable(context));

    const int written = tracker.apply();
    if (!changed)
        QVERIFY2(written == 0, qPrintable(context));
    QVERIFY2(!tracker.hasChanges(), qPrintable(context));

    const QMap<QString, QJsonObject> after = nodeObjects();
    for (int n = 0; n < count; ++n) {
        const QMap<QString, QJsonObject> p = propertiesOf(after.value(ids.at(n)));

        // List: kept selections in order, then the added values.
        const QVector<int> kept = toggledSelection(values.at(n), selections.at(n), {}, uncheckedValues);
        const QVector<int> added
            = toggledSelection(values.at(n), selections.at(n), checkedValues, uncheckedValues).mid(kept.size());
        const QJsonObject streams = p.value(QStringLiteral("Streams"));
        QVERIFY2(
            streams.value(QStringLiteral("values")).toArray() == strings(values.at(n)), qPrintable(context));
        QVector<int> selected;
        const QJsonArray selectedArray = streams.value(QStringLiteral("selected")).toArray();
        for (const QJsonValue& v : selectedArray)
            selected << v.toInt();
        const QString listContext = QStringLiteral("%1; node %2 selects %3, expected %4 then any order of %5")
                                        .arg(context, ids.at(n), jsonText(ints(selected)),
                                            jsonText(ints(kept)), jsonText(ints(added)));
        QVERIFY2(selected.mid(0, kept.size()) == kept, qPrintable(listContext));
        QVERIFY2(sorted(selected.mid(kept.size())) == sorted(added), qPrintable(listContext));

        // Tree: dropped rows removed, edited rows replaced in place, then
        // the checked and added rows the node lacks.
        QStringList expected;
        for (const QString& text : entries.at(n)) {
            bool drop = false;
            for (const Row& r : std::as_const(dropped))
                drop = drop || sameEntry(text, r.address, r.port);
            if (drop)
                continue;
            QString replaced = text;
            for (const auto& e : std::as_const(edited)) {
                if (sameEntry(text, e.first.address, e.first.port))
                    replaced = QStringLiteral("%1:%2").arg(e.second).arg(e.first.port);
            }
            expected << replaced;
        }
        if (movedFrom >= 0)
            expected = movedList(entries.at(n), committedRows(tree), movedTo);
        QStringList tail;
        for (const auto& a : std::as_const(appended)) {
            bool held = false;
            for (const QString& text : std::as_const(expected))
                held = held || sameEntry(text, a.first, a.second);
            if (!held)
                tail << QStringLiteral("%1:%2").arg(a.first).arg(a.second);
        }
        QStringList actual;
        const QJsonArray actualArray
            = p.value(QStringLiteral("Targets")).value(QStringLiteral("value")).toArray();
        for (const QJsonValue& v : actualArray)
            actual << v.toString();
        const QString treeContext
            = QStringLiteral("%1; node %2 (loaded %3) holds %4, expected %5 then any order of %6")
                  .arg(context, ids.at(n), entries.at(n).join(QLatin1Char(',')),
                      actual.join(QLatin1Char(',')), expected.join(QLatin1Char(',')),
                      tail.join(QLatin1Char(',')));
        QVERIFY2(actual.mid(0, expected.size()) == expected, qPrintable(treeContext));
        QVERIFY2(sorted(actual.mid(expected.size())) == sorted(tail), qPrintable(treeContext));
    }
}

QTEST_MAIN(TestChangeTracker)
#include "tst_changetracker.moc"
