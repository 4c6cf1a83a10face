// Test support for the change tracker suite: node documents, a dialog built
// from the binding functions as the client's dialogs build theirs, and
// readers of what the nodes and widgets hold.
//
// Include after `#define QTEST_QPA_MOUSE_HANDLING` and <QtTest> (see
// panes_testsupport.h).
#pragma once

#include <ConfigDialogs/ChangeTracker.h>
#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <kq/NodeDB.h>

#include "panes_testsupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QMap>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <utility>

namespace cttest {

const int kContext = kq::HasProperties::k_contextIndexDefault;

// Property identifiers of the test dialog, each with an idName of its own so
// that the documents can be compared property by property.
enum PropertyId : int {
    PName = 0x101,
    PLocation,
    PFlip,
    PMirror,
    PGain,
    PFrameRate,
    PResolution,
    PGamma,
    PExposure,
    PWdr,
    PDayNight,
    PStreams,
    PEvents,
    PBrightness,
    PTargets,
};

inline kq::NodeDB* db() { return kq::NodeDB::getDB(); }

inline QString nodeId(int i) { return QStringLiteral("cam-%1").arg(i); }

inline QStringList nodeIds(int count)
{
    QStringList ids;
    for (int i = 0; i < count; ++i)
        ids << nodeId(i);
    return ids;
}

inline bool loadDocument(const QByteArray& json)
{
    QString error;
    const bool loaded = db()->loadJson(json, &error);
    if (!loaded)
        qWarning("loadJson: %s", qPrintable(error));
    return loaded;
}

// "<Multiple Values>" as line edits show it.
inline QString markerText() { return QCoreApplication::translate("Statics", "<Multiple Values>"); }

inline QString jsonText(const QJsonObject& o)
{
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}
inline QString jsonText(const QJsonArray& a)
{
    return QString::fromUtf8(QJsonDocument(a).toJson(QJsonDocument::Compact));
}

// Every node of a database document as its object, by identifier.
inline QMap<QString, QJsonObject> nodeObjectsOf(const QByteArray& document)
{
    QMap<QString, QJsonObject> result;
    const QJsonArray nodes
        = QJsonDocument::fromJson(document).object().value(QStringLiteral("nodes")).toArray();
    for (const QJsonValue& v : nodes) {
        const QJsonObject o = v.toObject();
        result.insert(o.value(QStringLiteral("id")).toString(), o);
    }
    return result;
}

// Every node of the database as its document object, by identifier.
inline QMap<QString, QJsonObject> nodeObjects() { return nodeObjectsOf(db()->toJson()); }

// A node's properties by idName.
inline QMap<QString, QJsonObject> propertiesOf(const QJsonObject& node)
{
    QMap<QString, QJsonObject> result;
    const QJsonArray properties = node.value(QStringLiteral("properties")).toArray();
    for (const QJsonValue& v : properties) {
        const QJsonObject o = v.toObject();
        result.insert(o.value(QStringLiteral("idName")).toString(), o);
    }
    return result;
}

inline QJsonObject property(int id, const char* idName, const char* kind)
{
    return QJsonObject { { "id", id }, { "idName", QString::fromLatin1(idName) },
        { "kind", QString::fromLatin1(kind) } };
}
inline QJsonObject withValue(QJsonObject o, const QJsonValue& value)
{
    o.insert(QStringLiteral("value"), value);
    return o;
}
inline QJsonObject withOptions(QJsonObject o, const QJsonArray& values, const QJsonValue& selected)
{
    o.insert(QStringLiteral("values"), values);
    o.insert(QStringLiteral("selected"), selected);
    return o;
}
inline QJsonArray strings(const QStringList& list) { return QJsonArray::fromStringList(list); }
inline QJsonArray ints(const QVector<int>& list)
{
    QJsonArray a;
    for (int i : list)
        a.append(i);
    return a;
}

// A multiple-choice property: values and selected indices (duplicates and
// any order allowed).
inline QJsonObject multiOptions(
    int id, const char* idName, const QStringList& values, const QVector<int>& selected)
{
    return withOptions(property(id, idName, "stringMultiOptions"), strings(values), ints(selected));
}
inline QJsonObject stringList(int id, const char* idName, const QStringList& entries)
{
    return withValue(property(id, idName, "stringList"), strings(entries));
}

// The selections of the list widget test dialog: orders and duplicates.
inline QVector<int> streamSelection(int i)
{
    static const QVector<QVector<int>> patterns { { 2, 0 }, { 0, 0, 1 }, { 1, 3 }, {} };
    return patterns.at(i % patterns.size());
}
inline QVector<int> eventSelection(int i)
{
    static const QVector<QVector<int>> patterns { { 0, 3 }, { 1, 0, 1 }, { 2 } };
    return patterns.at(i % patterns.size());
}
inline QStringList enabledEvents(int i)
{
    static const QList<QStringList> patterns { { "motion" }, { "motion", "tamper" }, { "audio" } };
    return patterns.at(i % patterns.size());
}
inline QStringList configurableEvents(int i)
{
    static const QList<QStringList> patterns { { "motion", "tamper", "audio" }, { "motion", "audio" } };
    return patterns.at(i % patterns.size());
}
inline QStringList targetEntries(int i)
{
    static const QList<QStringList> patterns { { "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.1:80" },
        { "10.0.0.3:82", "10.0.0.1:80" }, { "10.0.0.2%3A81", "10.0.0.4:83", "10.0.0.4:83" }, {} };
    return patterns.at(i % patterns.size());
}

// Window records as the test dialog keeps them in a node's attributes:
// {"rect": [x, y, width, height]} or {"polygon": [x1, y1, ...]} with the
// window's settings.
inline QJsonArray exposureWindowRecords(int i)
{
    const int shift = (i % 3) * 10;
    return QJsonArray {
        QJsonObject { { "rect", QJsonArray { 100 + shift, 80, 200, 120 } }, { "excluded", false } },
        QJsonObject { { "rect", QJsonArray { 400, 300 + shift, 160, 100 } }, { "excluded", true } },
        QJsonObject { { "polygon", QJsonArray { 500, 100, 700, 120, 600, 250 } }, { "excluded", false } },
    };
}
inline QJsonArray motionWindowRecords(int i)
{
    const int shift = (i % 3) * 10;
    return QJsonArray {
        QJsonObject { { "rect", QJsonArray { 120 + shift, 100, 180, 140 } }, { "set", 1 },
            { "reference", false }, { "sensitivity", 20 }, { "min", 25 }, { "max", 100 } },
        QJsonObject { { "rect", QJsonArray { 420, 320, 200, 120 } }, { "set", 2 }, { "reference", true },
            { "sensitivity", 7 }, { "min", 40 }, { "max", 90 } },
    };
}

// Node i of the dialog document. allDiffer: every property differs between
// neighbouring nodes; otherwise some are common to all nodes (the name,
// the flip, the exposure mode, the WDR switch, the lists and the targets
// differ in both forms).
// Whether a dialog part (one of Dialog::kinds()) belongs to `kind`: the
// part itself, or every part for "whole dialog".
inline bool kindWants(const QString& kind, const char* part)
{
    return kind == QLatin1String("whole dialog") || kind == QLatin1String(part);
}

inline QJsonObject dialogNode(int i, bool allDiffer, const QString& kind = QStringLiteral("whole dialog"))
{
    auto wanted = [&](const char* part) { return kindWants(kind, part); };
    QJsonArray p;
    if (wanted("line edit")) {
        p.append(withValue(property(PName, "Name", "string"), QStringLiteral("Camera %1").arg(i)));
        p.append(withValue(property(PLocation, "Location", "string"),
            allDiffer ? QStringLiteral("Hall %1").arg(i % 3) : QStringLiteral("Hall")));
    }
    if (wanted("bool combo box"))
        p.append(withValue(property(PFlip, "Flip", "bool"), i % 2 == 0));
    if (wanted("bool check box"))
        p.append(withValue(property(PMirror, "Mirror", "bool"), allDiffer && i % 2 == 1));
    if (wanted("long spin box")) {
        QJsonObject gain = withValue(property(PGain, "Gain", "long"), allDiffer ? 10 + i : 50);
        gain.insert(QStringLiteral("min"), 0);
        gain.insert(QStringLiteral("max"), 1000);
        p.append(gain);
    }
    if (wanted("long option spin box"))
        p.append(withOptions(property(PFrameRate, "FrameRate", "longOptions"), QJsonArray { 5, 10, 15, 25 },
            allDiffer ? (i + 3) % 4 : 3));
    if (wanted("long option combo box"))
        p.append(withOptions(property(PResolution, "Resolution", "longOptions"),
            allDiffer && i % 2 == 1 ? QJsonArray { 10, 20, 30, 40 } : QJsonArray { 10, 20, 30 },
            allDiffer ? i % 3 : 1));
    if (wanted("double option combo box"))
        p.append(withOptions(property(PGamma, "Gamma", "doubleOptions"), QJsonArray { 0.5, 1.0, 1.5, 2.2 },
            allDiffer ? (i + 1) % 4 : 1));
    if (wanted("string option combo box"))
        p.append(withOptions(property(PExposure, "Exposure", "stringOptions"),
            QJsonArray { "auto", "manual", "night" }, i % 2));
    if (wanted("string option check box"))
        p.append(withOptions(property(PWdr, "Wdr", "stringOptions"), QJsonArray { "off", "on" }, i % 2));
    if (wanted("radio buttons"))
        p.append(withOptions(property(PDayNight, "DayNight", "stringOptions"),
            QJsonArray { "day", "night", "auto" }, allDiffer ? i % 3 : 0));
    if (wanted("list widget"))
        p.append(multiOptions(PStreams, "Streams", { "h264", "mjpeg", "h265", "AE" }, streamSelection(i)));
    if (wanted("event list"))
        p.append(multiOptions(PEvents, "Events", { "motion", "tamper", "audio", "AE" }, eventSelection(i)));
    if (wanted("double spin box (writer)")) {
        QJsonObject brightness
            = withValue(property(PBrightness, "Brightness", "long"), allDiffer ? 40 + i % 50 : 40);
        brightness.insert(QStringLiteral("min"), 0);
        brightness.insert(QStringLiteral("max"), 100);
        p.append(brightness);
    }
    if (wanted("ip/port tree"))
        p.append(stringList(PTargets, "Targets", targetEntries(i)));
    QJsonObject node { { "id", nodeId(i) }, { "name", nodeId(i) }, { "properties", p } };
    if (wanted("event list")) {
        node.insert(QStringLiteral("enabledEvents"), strings(enabledEvents(i)));
        node.insert(QStringLiteral("configurableEvents"), strings(configurableEvents(i)));
    }
    if (wanted("exposure pane"))
        node.insert(QStringLiteral("exposureWindows"), exposureWindowRecords(i));
    if (wanted("video motion pane"))
        node.insert(QStringLiteral("motionWindows"), motionWindowRecords(i));
    return node;
}

// The nodes of the dialog document with what `kind` shows (all for "whole
// dialog"). Made once for each set of arguments.
inline QByteArray dialogDocument(
    int count, bool allDiffer, const QString& kind = QStringLiteral("whole dialog"))
{
    static QHash<QString, QByteArray> made;
    const QString key = QStringLiteral("%1/%2/%3").arg(count).arg(allDiffer).arg(kind);
    const auto found = made.constFind(key);
    if (found != made.constEnd())
        return found.value();
    QJsonArray nodes;
    for (int i = 0; i < count; ++i)
        nodes.append(dialogNode(i, allDiffer, kind));
    const QByteArray document
        = QJsonDocument(QJsonObject { { "nodes", nodes } }).toJson(QJsonDocument::Compact);
    made.insert(key, document);
    return document;
}

inline QVector<QString> stringsAttribute(const QString& node, const char* key)
{
    QVector<QString> result;
    const kqm::smart<const kq::Node> n = db()->node(node);
    if (n.null())
        return result;
    const QStringList list = n->session()->attribute(QString::fromLatin1(key)).toStringList();
    for (const QString& s : list)
        result.append(s);
    return result;
}

inline QJsonArray arrayAttribute(const QString& node, const char* key)
{
    const kqm::smart<const kq::Node> n = db()->node(node);
    if (n.null())
        return QJsonArray();
    return QJsonArray::fromVariantList(n->session()->attribute(QString::fromLatin1(key)).toList());
}

inline QRect rectOf(const QJsonObject& record)
{
    const QJsonArray r = record.value(QStringLiteral("rect")).toArray();
    return QRect(r.at(0).toInt(), r.at(1).toInt(), r.at(2).toInt(), r.at(3).toInt());
}
inline QPolygon polygonOf(const QJsonObject& record)
{
    const QJsonArray a = record.value(QStringLiteral("polygon")).toArray();
    QPolygon polygon;
    for (int k = 0; k + 1 < a.size(); k += 2)
        polygon << QPoint(a.at(k).toInt(), a.at(k + 1).toInt());
    return polygon;
}

// Loads the records into the pane; record 0 becomes window 0 (the pane puts
// the newest window first, so the records are added from the last).
inline void fillExposurePane(kqgui::ExposureWindowPane* pane, const QJsonArray& records)
{
    pane->removeAll();
    for (int r = records.size() - 1; r >= 0; --r) {
        const QJsonObject record = records.at(r).toObject();
        if (record.contains(QStringLiteral("polygon")))
            pane->addPolygon(polygonOf(record), Qt::black);
        else
            pane->addRect(rectOf(record), Qt::black);
        pane->setExcluded(0, record.value(QStringLiteral("excluded")).toBool());
    }
}
inline void fillMotionPane(kqgui::VideoMotionWindowPane* pane, const QJsonArray& records)
{
    pane->removeAll();
    for (int r = records.size() - 1; r >= 0; --r) {
        const QJsonObject record = records.at(r).toObject();
        pane->addRect(rectOf(record), Qt::black);
        pane->setVMSet(0, static_cast<kq::EVideoMotionSet>(record.value(QStringLiteral("set")).toInt()));
        pane->setReference(0, record.value(QStringLiteral("reference")).toBool());
        pane->setSensitivity(0, record.value(QStringLiteral("sensitivity")).toInt());
        pane->setThreshold(
            0, record.value(QStringLiteral("min")).toInt(), record.value(QStringLiteral("max")).toInt());
    }
}

inline QJsonArray geometryOf(const kqgui::NodeWindowPane* pane, int i, QJsonObject* record)
{
    QJsonArray a;
    if (pane->isPoly(i)) {
        const QPolygon polygon = pane->polyControlAt(i)->applPolygon();
        for (const QPoint& pt : polygon) {
            a.append(pt.x());
            a.append(pt.y());
        }
        record->insert(QStringLiteral("polygon"), a);
    } else {
        const QRect r = pane->rectControlAt(i)->applRect();
        a = QJsonArray { r.x(), r.y(), r.width(), r.height() };
        record->insert(QStringLiteral("rect"), a);
    }
    return a;
}

// The pane's windows as records, window 0 first.
inline QJsonArray exposureRecordsOf(const kqgui::ExposureWindowPane* pane)
{
    QJsonArray records;
    for (int i = 0; i < pane->count(); ++i) {
        QJsonObject record;
        geometryOf(pane, i, &record);
        record.insert(QStringLiteral("excluded"), pane->isExcluded(i));
        records.append(record);
    }
    return records;
}
inline QJsonArray motionRecordsOf(const kqgui::VideoMotionWindowPane* pane)
{
    QJsonArray records;
    for (int i = 0; i < pane->count(); ++i) {
        QJsonObject record;
        geometryOf(pane, i, &record);
        record.insert(QStringLiteral("set"), int(pane->vmSet(i)));
        record.insert(QStringLiteral("reference"), pane->isReference(i));
        record.insert(QStringLiteral("sensitivity"), pane->sensitivity(i));
        record.insert(QStringLiteral("min"), pane->threshold(i));
        record.insert(QStringLiteral("max"), pane->maxThreshold(i));
        records.append(record);
    }
    return records;
}

// Everything a user sees of a pane's windows, in order: kind, image
// coordinates and every setting kept on the window.
inline QStringList paneState(const kqgui::NodeWindowPane* pane)
{
    QStringList state;
    for (int i = 0; i < pane->count(); ++i) {
        QString line;
        if (pane->isPoly(i)) {
            line = QStringLiteral("polygon");
            const QPolygon polygon = pane->polyControlAt(i)->applPolygon();
            for (const QPoint& pt : polygon)
                line += QStringLiteral(" %1,%2").arg(pt.x()).arg(pt.y());
        } else {
            const QRect r = pane->rectControlAt(i)->applRect();
            line = QStringLiteral("rect %1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
        }
        // Every dynamic property of the window, by name.
        const kq::OnScreenRectControl* window = pane->childAt(i);
        QList<QByteArray> keys = window->dynamicPropertyNames();
        std::sort(keys.begin(), keys.end());
        for (const QByteArray& key : std::as_const(keys))
            line += QStringLiteral(" %1=%2").arg(
                QString::fromLatin1(key), window->property(key.constData()).toString());
        state << line;
    }
    return state;
}

// Row i of the tree as shown and as committed, with its check state.
inline QString rowState(const QTreeWidgetItem* row)
{
    return QStringLiteral("%1|%2|%3:%4|%5|%6")
        .arg(row->text(0), row->text(1), row->data(0, Qt::UserRole).toString(),
            row->data(1, Qt::UserRole).toString())
        .arg(row->data(0, Qt::CheckStateRole).toInt())
        .arg(row->toolTip(1).isEmpty() ? QString() : QStringLiteral("master"));
}
inline QStringList treeState(const kqgui::IpPortTreeWidget* tree)
{
    QStringList state;
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        state << rowState(tree->topLevelItem(i));
    state << QStringLiteral("master row %1, port %2")
                 .arg(tree->indexOfTopLevelItem(tree->masterRow()))
                 .arg(tree->fetchPort());
    return state;
}
inline QTreeWidgetItem* rowOf(const kqgui::IpPortTreeWidget* tree, const QString& address, int port)
{
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* row = tree->topLevelItem(i);
        if (row->data(0, Qt::UserRole).toString() == address && row->data(1, Qt::UserRole).toInt() == port)
            return row;
    }
    return nullptr;
}

inline QStringList listState(const QListWidget* list)
{
    QStringList state;
    for (int i = 0; i < list->count(); ++i) {
        const QListWidgetItem* item = list->item(i);
        state << QStringLiteral("%1|%2|%3|%4|%5")
                     .arg(kq::propertyValue(item), item->text())
                     .arg(item->data(Qt::CheckStateRole).toInt())
                     .arg(kq::isEnabled(item))
                     .arg(item->isHidden());
    }
    return state;
}

// The user moves to an item of a list and toggles its check with the space
// bar.
inline void toggleItem(QListWidget* list, QListWidgetItem* item)
{
    list->setCurrentItem(item);
    QTest::keyClick(list, Qt::Key_Space);
}

// A node's multiple-choice option as the randomised tests make them: some of
// `universe` in a random order, and a selection of up to four positions
// with repeats. `pick(n)` gives a number below n.
template <class Pick>
void randomOption(const QStringList& universe, Pick pick, QStringList* values, QVector<int>* selected)
{
    QStringList pool = universe;
    const int size = 1 + pick(int(universe.size()));
    for (int k = 0; k < size; ++k)
        *values << pool.takeAt(pick(int(pool.size())));
    const int picks = pick(5);
    for (int k = 0; k < picks; ++k)
        *selected << pick(int(values->size()));
}

// The list items the user toggled since the snapshot (`shown`: each value's
// check state then), in list order: those now checked and those now
// unchecked. Items showing the indeterminate state, disabled items and "AE"
// are never applied, so they are left out.
inline void toggledItems(const QListWidget* list, const QMap<QString, int>& shown, QStringList* checked,
    QStringList* unchecked)
{
    for (int k = 0; k < list->count(); ++k) {
        const QListWidgetItem* item = list->item(k);
        const QString value = kq::propertyValue(item);
        const int now = item->checkState();
        if (now == shown.value(value) || now == Qt::PartiallyChecked || !kq::isEnabled(item)
            || value == QLatin1String("AE"))
            continue;
        (now == Qt::Checked ? checked : unchecked)->append(value);
    }
}

// A node's selection once the toggles are applied: its own selected
// positions in order without those of unchecked values, then the first
// position of each checked value the node lists and does not select yet.
template <class Strings>
QVector<int> toggledSelection(
    const Strings& values, const QVector<int>& selected, const QStringList& checked, const QStringList& unchecked)
{
    QVector<int> result;
    for (int index : selected) {
        if (!unchecked.contains(values.at(index)))
            result << index;
    }
    for (const QString& value : checked) {
        const int index = int(values.indexOf(value));
        if (index >= 0 && !selected.contains(index) && !result.contains(index))
            result << index;
    }
    return result;
}

// The user selects one row of the tree (and no other).
inline void selectOnly(kqgui::IpPortTreeWidget* tree, QTreeWidgetItem* row)
{
    tree->clearSelection();
    tree->setCurrentItem(row);
    row->setSelected(true);
}

// The user selects all text of a spin box or line edit and types.
inline void typeReplacing(QWidget* w, const QString& text)
{
    QTest::keyClick(w, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(w, text);
    QTest::keyClick(w, Qt::Key_Enter);
}

// A dialog over the node database built as the client's dialogs are: every
// widget kind the tracker follows, filled by reset, one update per node and
// a finishing pass, with the panes showing the first node's windows.
class Dialog {
public:
    Dialog()
        : window(new QWidget)
    {
        auto* layout = new QVBoxLayout(window.get());
        auto add = [&](QWidget* w) {
            layout->addWidget(w);
            return w;
        };
        name = static_cast<QLineEdit*>(add(new QLineEdit));
        location = static_cast<QLineEdit*>(add(new QLineEdit));
        flip = static_cast<QComboBox*>(add(new QComboBox));
        resolution = static_cast<QComboBox*>(add(new QComboBox));
        gamma = static_cast<QComboBox*>(add(new QComboBox));
        exposure = static_cast<QComboBox*>(add(new QComboBox));
        mirror = static_cast<QCheckBox*>(add(new QCheckBox(QStringLiteral("Mirror"))));
        wdr = static_cast<QCheckBox*>(add(new QCheckBox(QStringLiteral("WDR"))));
        gain = static_cast<QSpinBox*>(add(new QSpinBox));
        frameRate = static_cast<QSpinBox*>(add(new QSpinBox));
        for (const char* text : { "day", "night", "auto" })
            dayNight.append(static_cast<QRadioButton*>(add(new QRadioButton(QString::fromLatin1(text)))));
        streams = static_cast<QListWidget*>(add(new QListWidget));
        events = static_cast<QListWidget*>(add(new QListWidget));
        brightness = static_cast<QDoubleSpinBox*>(add(new QDoubleSpinBox));
        brightness->setDecimals(0);
        targets = static_cast<kqgui::IpPortTreeWidget*>(add(new kqgui::IpPortTreeWidget));
        exposurePane = std::make_unique<kqgui::ExposureWindowPane>();
        motionPane = std::make_unique<kqgui::VideoMotionWindowPane>();
        tracker = std::make_unique<kqgui::ChangeTracker>();
    }

    ~Dialog()
    {
        tracker.reset();
        exposurePane.reset();
        motionPane.reset();
        window.reset();
        kqtest::flushDeletes();
    }

    // Shows the dialog and both panes (400 x 300 pixels over 800 x 600 image
    // units). False if a window was never exposed.
    // Shows the dialog and, when `kind` (see kinds()) needs them, the panes
    // (400 x 300 pixels over 800 x 600 image units). False if a window was
    // never exposed.
    bool show(const QString& kind = QStringLiteral("whole dialog"))
    {
        window->resize(400, 900);
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            return false;
        if (wants(kind, "exposure pane")) {
            if (!kqtest::showPane(exposurePane.get()))
                return false;
            exposurePane->showOnScreenDisplay(true);
        }
        if (wants(kind, "video motion pane")) {
            if (!kqtest::showPane(motionPane.get()))
                return false;
            motionPane->showOnScreenDisplay(true);
        }
        return true;
    }

    // Whether `kind` ("whole dialog" or one of kinds()) includes `part`.
    static bool wants(const QString& kind, const char* part) { return kindWants(kind, part); }

    // reset, then update per node, then the finishing pass, for the widgets
    // of `kind`.
    void fill(const QStringList& nodes, const QString& kind = QStringLiteral("whole dialog"))
    {
        auto wanted = [&](const char* part) { return wants(kind, part); };
        if (wanted("line edit")) {
            kq::resetLineEdit(name);
            kq::resetLineEdit(location);
        }
        if (wanted("bool combo box"))
            kq::resetComboBox(flip, QStringLiteral("On"), QStringLiteral("Off"));
        if (wanted("long option combo box"))
            kq::resetComboBox(resolution, kq::NumberTranslator());
        if (wanted("double option combo box"))
            kq::resetComboBox(gamma, kq::NumberTranslator());
        if (wanted("string option combo box"))
            kq::resetComboBox(exposure, kq::StringTranslator());
        if (wanted("bool check box"))
            kq::resetCheckBox(mirror);
        if (wanted("string option check box"))
            kq::resetCheckBox(wdr, QStringLiteral("off"), QStringLiteral("on"));
        if (wanted("long spin box"))
            kq::resetSpinBox(gain, 1.0, 0, 0, 0);
        if (wanted("long option spin box"))
            kq::resetSpinBox(frameRate, 2.0, 0, 0, 0);
        if (wanted("radio buttons")) {
            const QStringList choices { QStringLiteral("day"), QStringLiteral("night"),
                QStringLiteral("auto") };
            for (int b = 0; b < dayNight.size(); ++b)
                kq::resetRadioButton(dayNight.at(b), choices.at(b));
        }
        if (wanted("list widget"))
            kq::resetListWidget(streams, kq::StringTranslator());
        if (wanted("event list"))
            kq::resetListWidget(events, kq::StringTranslator());
        if (wanted("double spin box (writer)")) {
            kq::resetSpinBox(brightness, 1.0, 0, 100, 0);
            kq::setEnabled(brightness, true);
        }
        if (wanted("ip/port tree"))
            targets->reset();
        QVector<QString> enabled;
        QVector<QString> configurable;

        bool firstBrightness = true;
        int shownBrightness = 0;
        for (int n = 0; n < nodes.size(); ++n) {
            const QString& id = nodes.at(n);
            const kqm::smart<kq::INodeConfigSession> session = db()->session(id);
            if (wanted("line edit")) {
                kq::updateLineEdit(name, session, kq::EStringProperty(PName));
                kq::updateLineEdit(location, session, kq::EStringProperty(PLocation));
            }
            if (wanted("bool combo box"))
                kq::updateComboBox(flip, session, kq::EBoolProperty(PFlip));
            if (wanted("long option combo box"))
                kq::updateComboBox(resolution, session, kq::ELongOptionsProperty(PResolution), true);
            if (wanted("double option combo box"))
                kq::updateComboBox(gamma, session, kq::EDoubleOptionsProperty(PGamma), false);
            if (wanted("string option combo box"))
                kq::updateComboBox(exposure, session, kq::EStringOptionsProperty(PExposure));
            if (wanted("bool check box"))
                kq::updateCheckBox(mirror, session, kq::EBoolProperty(PMirror));
            if (wanted("string option check box"))
                kq::updateCheckBox(wdr, session, kq::EStringOptionsProperty(PWdr));
            if (wanted("long spin box"))
                kq::updateSpinBox(gain, session, kq::ELongProperty(PGain));
            if (wanted("long option spin box"))
                kq::updateSpinBox(frameRate, session, kq::ELongOptionsProperty(PFrameRate), false);
            if (wanted("radio buttons")) {
                for (QRadioButton* button : std::as_const(dayNight))
                    kq::updateRadioButton(button, session, kq::EStringOptionsProperty(PDayNight));
            }
            if (wanted("list widget"))
                kq::updateListWidget(streams, session, kq::EStringMultiOptionsProperty(PStreams));

            if (wanted("event list")) {
                const QVector<QString> nodeEnabled = stringsAttribute(id, "enabledEvents");
                kq::updateEventListWidget(
                    events, session, kq::EStringMultiOptionsProperty(PEvents), nodeEnabled);
                for (const QString& e : nodeEnabled) {
                    if (!enabled.contains(e))
                        enabled.append(e);
                }
                const QVector<QString> nodeConfigurable = stringsAttribute(id, "configurableEvents");
                if (n == 0) {
                    configurable = nodeConfigurable;
                } else {
                    configurable.erase(std::remove_if(configurable.begin(), configurable.end(),
                                           [&](const QString& e) { return !nodeConfigurable.contains(e); }),
                        configurable.end());
                }
            }

            // The double spin box is the dialog's own: it shows the value,
            // the marker when nodes differ, and is disabled when one lacks it.
            if (wanted("double spin box (writer)")) {
                if (const kq::LongProperty* p = session->property(kq::ELongProperty(PBrightness), kContext)) {
                    if (firstBrightness) {
                        brightness->setValue(p->value());
                        shownBrightness = p->value();
                        firstBrightness = false;
                    } else if (p->value() != shownBrightness) {
                        kq::setIndeterminate(brightness);
                    }
                } else {
                    kq::setEnabled(brightness, false);
                }
            }

            if (wanted("ip/port tree"))
                targets->update(session->property(kq::EStringListProperty(PTargets), kContext), id);
        }
        if (wanted("event list")) {
            kq::markEnabledEvents(events, enabled);
            kq::disableEventListWidgetItems(events, configurable);
        }
        if (!nodes.isEmpty() && wanted("exposure pane"))
            fillExposurePane(exposurePane.get(), arrayAttribute(nodes.first(), "exposureWindows"));
        if (!nodes.isEmpty() && wanted("video motion pane"))
            fillMotionPane(motionPane.get(), arrayAttribute(nodes.first(), "motionWindows"));
    }

    // Registers the widgets of one kind (see kinds()), or all of them for
    // "whole dialog". False if any registration was refused.
    bool track(const QString& kind)
    {
        auto wanted = [&](const char* part) { return wants(kind, part); };
        bool ok = true;
        auto reg = [&](QObject* object, bool answer) {
            ok = ok && answer;
            registered.append(object);
        };
        if (wanted("bool combo box"))
            reg(flip, tracker->track(flip, kq::EBoolProperty(PFlip)));
        if (wanted("long option combo box"))
            reg(resolution, tracker->track(resolution, kq::ELongOptionsProperty(PResolution)));
        if (wanted("double option combo box"))
            reg(gamma, tracker->track(gamma, kq::EDoubleOptionsProperty(PGamma)));
        if (wanted("string option combo box"))
            reg(exposure, tracker->track(exposure, kq::EStringOptionsProperty(PExposure)));
        if (wanted("bool check box"))
            reg(mirror, tracker->track(mirror, kq::EBoolProperty(PMirror)));
        if (wanted("string option check box"))
            reg(wdr, tracker->track(wdr, kq::EStringOptionsProperty(PWdr)));
        if (wanted("long spin box"))
            reg(gain, tracker->track(gain, kq::ELongProperty(PGain)));
        if (wanted("long option spin box"))
            reg(frameRate, tracker->track(frameRate, kq::ELongOptionsProperty(PFrameRate)));
        if (wanted("radio buttons")) {
            for (QRadioButton* button : std::as_const(dayNight))
                reg(button, tracker->track(button, kq::EStringOptionsProperty(PDayNight)));
        }
        if (wanted("line edit")) {
            reg(name, tracker->track(name, kq::EStringProperty(PName)));
            reg(location, tracker->track(location, kq::EStringProperty(PLocation)));
        }
        if (wanted("list widget"))
            reg(streams, tracker->track(streams, kq::EStringMultiOptionsProperty(PStreams)));
        if (wanted("event list"))
            reg(events, tracker->track(events, kq::EStringMultiOptionsProperty(PEvents)));
        if (wanted("double spin box (writer)"))
            reg(brightness, tracker->track(brightness, brightnessWriter()));
        if (wanted("ip/port tree"))
            reg(targets, tracker->track(targets, kq::EStringListProperty(PTargets)));
        if (wanted("exposure pane"))
            reg(exposurePane.get(), tracker->track(exposurePane.get(), [this] { storeExposureWindows(); }));
        if (wanted("video motion pane"))
            reg(motionPane.get(), tracker->track(motionPane.get(), [this] { storeMotionWindows(); }));
        return ok && !registered.isEmpty();
    }

    static QStringList kinds()
    {
        return { "bool combo box", "long option combo box", "double option combo box",
            "string option combo box", "bool check box", "string option check box", "long spin box",
            "long option spin box", "radio buttons", "line edit", "list widget", "event list",
            "double spin box (writer)", "ip/port tree", "exposure pane", "video motion pane" };
    }

    // Everything the user sees of the dialog.
    QStringList state() const
    {
        QStringList s;
        s << QStringLiteral("name %1").arg(name->text())
          << QStringLiteral("location %1").arg(location->text());
        for (const QComboBox* box : { flip, resolution, gamma, exposure })
            s << QStringLiteral("combo %1 %2 %3")
                     .arg(box->currentIndex())
                     .arg(box->currentText())
                     .arg(box->count());
        for (const QCheckBox* box : { mirror, wdr })
            s << QStringLiteral("check %1").arg(int(box->checkState()));
        for (const QSpinBox* box : { gain, frameRate })
            s << QStringLiteral("spin %1 %2").arg(box->value()).arg(box->text());
        for (const QRadioButton* button : dayNight)
            s << QStringLiteral("radio %1").arg(button->isChecked());
        s << listState(streams) << listState(events);
        s << QStringLiteral("brightness %1 %2").arg(brightness->value()).arg(brightness->text());
        s << treeState(targets);
        s << paneState(exposurePane.get()) << paneState(motionPane.get());
        return s;
    }

    kqgui::ChangeTracker::Writer brightnessWriter()
    {
        return [this](const QString&, kqgui::ChangeTracker::Session session) {
            ++brightnessWrites;
            if (session.null() || kq::isIndeterminate(brightness) || !brightness->isEnabled())
                return;
            if (kq::LongProperty* p = session->property(kq::ELongProperty(PBrightness), kContext))
                p->setValue(int(brightness->value()));
        };
    }

    // The dialog's store functions write the pane's windows into every node
    // of the tracker's snapshot.
    void storeExposureWindows()
    {
        ++exposureStores;
        if (exposurePane)
            storeAttribute("exposureWindows", exposureRecordsOf(exposurePane.get()));
    }
    void storeMotionWindows()
    {
        ++motionStores;
        if (motionPane)
            storeAttribute("motionWindows", motionRecordsOf(motionPane.get()));
    }
    void storeAttribute(const char* key, const QJsonArray& records)
    {
        const QStringList nodes = tracker->nodes();
        for (const QString& id : nodes) {
            const kqm::smart<const kq::Node> node = db()->node(id);
            if (!node.null())
                node->session()->setAttribute(QString::fromLatin1(key), records.toVariantList());
        }
    }

    int calls() const { return brightnessWrites + exposureStores + motionStores; }

    std::unique_ptr<QWidget> window;
    QLineEdit* name;
    QLineEdit* location;
    QComboBox* flip;
    QComboBox* resolution;
    QComboBox* gamma;
    QComboBox* exposure;
    QCheckBox* mirror;
    QCheckBox* wdr;
    QSpinBox* gain;
    QSpinBox* frameRate;
    QVector<QRadioButton*> dayNight;
    QListWidget* streams;
    QListWidget* events;
    QDoubleSpinBox* brightness;
    kqgui::IpPortTreeWidget* targets;
    std::unique_ptr<kqgui::ExposureWindowPane> exposurePane;
    std::unique_ptr<kqgui::VideoMotionWindowPane> motionPane;
    std::unique_ptr<kqgui::ChangeTracker> tracker;
    QList<QObject*> registered;
    int brightnessWrites = 0;
    int exposureStores = 0;
    int motionStores = 0;
};

// An entry text as the address text and the port (":" or "%3A" between
// them); false when the text is not an entry.
inline bool parseEntry(const QString& text, QString* address, int* port)
{
    QString t = text;
    t.replace(QLatin1String("%3A"), QLatin1String(":"));
    const QStringList parts = t.split(QLatin1Char(':'));
    if (parts.size() != 2)
        return false;
    *address = parts.at(0);
    bool ok = false;
    *port = parts.at(1).toInt(&ok);
    if (!ok)
        *port = 0;
    return true;
}
inline bool sameEntry(const QString& text, const QString& address, int port)
{
    QString a;
    int p = 0;
    return parseEntry(text, &a, &p) && a == address && p == port;
}

} // namespace cttest
