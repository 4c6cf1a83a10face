// The whole binding cycle as a dialog runs it over several nodes of the node
// database: reset, one update per node, a change made by the user, and one
// write-back per node. Uses only what the shared library exports.

#include <ConfigDialogs/PropertyWidgets.h>

#include <kq/NodeDB.h>

#include <QCheckBox>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QtTest>

#include "propertywidgets_testsupport.h"

#include <functional>

namespace {

using namespace pwtest;

const int kContext = kq::HasProperties::k_contextIndexDefault;
const QStringList kNodes { QStringLiteral("cam-1"), QStringLiteral("cam-2"), QStringLiteral("cam-3") };

kq::NodeDB* db() { return kq::NodeDB::getDB(); }

kqm::smart<kq::INodeConfigSession> session(const QString& node) { return db()->session(node); }

kqm::smart<const kq::INodeConfigSession> constSession(const QString& node) { return db()->session(node); }

void loadDocument(const QByteArray& json)
{
    QString error;
    const bool loaded = db()->loadJson(json, &error);
    QVERIFY2(loaded, qPrintable(error));
}

// Display texts of exposure modes; unknown modes fall back to the catalogue.
QString exposureText(const QString& value)
{
    if (value == QLatin1String("auto"))
        return QStringLiteral("Automatic");
    if (value == QLatin1String("manual"))
        return QStringLiteral("Manual");
    return QString();
}

QString streamText(const QString& value)
{
    return value == QLatin1String("h264") ? QStringLiteral("H.264") : QString();
}

QString gammaText(double value) { return value == 1.0 ? QStringLiteral("Linear") : QString(); }

// The node's typed property of that identifier (its kind follows from the
// identifier's enumeration), or null.
template <class Id>
auto typedProperty(const QString& node, Id id) -> decltype(session(node)->property(id, kContext))
{
    return session(node)->property(id, kContext);
}
kq::StringProperty* stringProperty(const QString& node, int id)
{
    return typedProperty(node, kq::EStringProperty(id));
}
kq::LongProperty* longProperty(const QString& node, int id)
{
    return typedProperty(node, kq::ELongProperty(id));
}
kq::BoolProperty* boolProperty(const QString& node, int id)
{
    return typedProperty(node, kq::EBoolProperty(id));
}
kq::LongOptionsProperty* longOptions(const QString& node, int id)
{
    return typedProperty(node, kq::ELongOptionsProperty(id));
}
kq::DoubleOptionsProperty* doubleOptions(const QString& node, int id)
{
    return typedProperty(node, kq::EDoubleOptionsProperty(id));
}
kq::StringOptionsProperty* stringOptions(const QString& node, int id)
{
    return typedProperty(node, kq::EStringOptionsProperty(id));
}
kq::StringMultiOptionsProperty* multiOptions(const QString& node, int id)
{
    return typedProperty(node, kq::EStringMultiOptionsProperty(id));
}

QString selectedString(const QString& node, int id)
{
    return stringOptions(node, id)->value().getSelectedValue();
}
QVector<QString> selectedStrings(const QString& node, int id)
{
    return multiOptions(node, id)->value().getSelectedValues();
}

int checkState(const QListWidgetItem* item) { return item->data(Qt::CheckStateRole).toInt(); }
QFont itemFont(const QListWidgetItem* item) { return item->data(Qt::FontRole).value<QFont>(); }

// The user selects all text of a spin box or line edit and types.
void typeReplacing(QWidget* w, const QString& text)
{
    QTest::keyClick(w, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(w, text);
    QTest::keyClick(w, Qt::Key_Enter);
}

// The user moves to an item of a list and toggles its check with the space
// bar.
void toggleItem(QListWidget* list, QListWidgetItem* item)
{
    list->setCurrentItem(item);
    QTest::keyClick(list, Qt::Key_Space);
}

// ---------------------------------------------------------------------------
// Three cameras with a mix of equal, differing and missing properties.

const char* const kCycleDocument = R"({ "nodes": [
 { "id": "cam-1", "name": "Entrance", "properties": [
  { "id": "0x1001", "kind": "string", "idName": "Name", "value": "Entrance" },
  { "id": "0x1002", "kind": "string", "idName": "Location", "value": "Hall" },
  { "id": "0x1003", "kind": "string", "idName": "ZoomNow", "value": "1" },
  { "id": "0x1004", "kind": "string", "idName": "ZoomMax", "value": "4" },
  { "id": "0x1005", "kind": "string", "idName": "Focus", "value": "near" },
  { "id": "0x2001", "kind": "long", "idName": "Brightness", "value": 50, "min": 0, "max": 100 },
  { "id": "0x2002", "kind": "long", "idName": "Gain", "value": 7, "min": 0, "max": 1000 },
  { "id": "0x2003", "kind": "long", "idName": "Sharpness", "value": 3, "min": 0, "max": 10 },
  { "id": "0x3001", "kind": "longOptions", "idName": "FrameRate", "values": [5, 10, 15, 25], "selected": 3 },
  { "id": "0x3002", "kind": "longOptions", "idName": "Resolution", "values": [10, 20, 30], "selected": 1 },
  { "id": "0x3003", "kind": "longOptions", "idName": "Quality", "values": [1, 2], "selected": 0 },
  { "id": "0x4001", "kind": "bool", "idName": "Flip", "value": true },
  { "id": "0x4002", "kind": "bool", "idName": "Mirror", "value": false },
  { "id": "0x4003", "kind": "bool", "idName": "Flicker", "value": true },
  { "id": "0x5001", "kind": "doubleOptions", "idName": "Gamma", "values": [0.5, 1.0, 1.5, 2.2], "selected": 1 },
  { "id": "0x6001", "kind": "stringOptions", "idName": "ExposureMode", "values": ["auto", "manual", "night"], "selected": 0 },
  { "id": "0x6002", "kind": "stringOptions", "idName": "WhiteBalance", "values": ["auto", "indoor", "outdoor"], "selected": 1 },
  { "id": "0x6003", "kind": "stringOptions", "idName": "Wdr", "values": ["off", "on"], "selected": 1 },
  { "id": "0x6004", "kind": "stringOptions", "idName": "DayNight", "values": ["day", "night", "auto"], "selected": 0 },
  { "id": "0x6005", "kind": "stringOptions", "idName": "Iris", "values": ["fixed", "dc"], "selected": 0 },
  { "id": "0x7001", "kind": "stringMultiOptions", "idName": "Streams", "values": ["h264", "mjpeg", "h265"], "selected": [0, 2] },
  { "id": "0x7002", "kind": "stringMultiOptions", "idName": "Events", "values": ["motion", "tamper", "audio", "AE"], "selected": [0, 3] },
  { "id": "0x8001", "kind": "profiles", "idName": "Profiles", "value": { "p1": "day" } },
  { "id": "0x8002", "kind": "profiles", "idName": "Schedules", "value": { "a": "night", "b": "day" } } ] },
 { "id": "cam-2", "name": "Lobby", "properties": [
  { "id": "0x1001", "kind": "string", "idName": "Name", "value": "Entrance" },
  { "id": "0x1002", "kind": "string", "idName": "Location", "value": "Hall" },
  { "id": "0x1003", "kind": "string", "idName": "ZoomNow", "value": "1" },
  { "id": "0x1004", "kind": "string", "idName": "ZoomMax", "value": "4" },
  { "id": "0x1005", "kind": "string", "idName": "Focus", "value": "near" },
  { "id": "0x2001", "kind": "long", "idName": "Brightness", "value": 50, "min": 0, "max": 100 },
  { "id": "0x2002", "kind": "long", "idName": "Gain", "value": 7, "min": 0, "max": 1000 },
  { "id": "0x2003", "kind": "long", "idName": "Sharpness", "value": 4, "min": 0, "max": 10 },
  { "id": "0x3001", "kind": "longOptions", "idName": "FrameRate", "values": [5, 10, 15, 25], "selected": 3 },
  { "id": "0x3002", "kind": "longOptions", "idName": "Resolution", "values": [10, 20, 30, 40], "selected": 1 },
  { "id": "0x4001", "kind": "bool", "idName": "Flip", "value": false },
  { "id": "0x4002", "kind": "bool", "idName": "Mirror", "value": false },
  { "id": "0x4003", "kind": "bool", "idName": "Flicker", "value": true },
  { "id": "0x5001", "kind": "doubleOptions", "idName": "Gamma", "values": [0.5, 1.0, 1.5, 2.2], "selected": 1 },
  { "id": "0x6001", "kind": "stringOptions", "idName": "ExposureMode", "values": ["auto", "manual"], "selected": 0 },
  { "id": "0x6002", "kind": "stringOptions", "idName": "WhiteBalance", "values": ["auto", "indoor", "outdoor"], "selected": 2 },
  { "id": "0x6003", "kind": "stringOptions", "idName": "Wdr", "values": ["off", "on"], "selected": 1 },
  { "id": "0x6004", "kind": "stringOptions", "idName": "DayNight", "values": ["day", "night", "auto"], "selected": 0 },
  { "id": "0x6005", "kind": "stringOptions", "idName": "Iris", "values": ["fixed", "dc"], "selected": 1 },
  { "id": "0x7001", "kind": "stringMultiOptions", "idName": "Streams", "values": ["h264", "mjpeg"], "selected": [0, 1] },
  { "id": "0x7002", "kind": "stringMultiOptions", "idName": "Events", "values": ["motion", "tamper", "audio"], "selected": [0] },
  { "id": "0x8001", "kind": "profiles", "idName": "Profiles", "value": { "p1": "night", "p2": "day" } },
  { "id": "0x8002", "kind": "profiles", "idName": "Schedules", "value": { "a": "day" } } ] },
 { "id": "cam-3", "name": "Yard", "properties": [
  { "id": "0x1001", "kind": "string", "idName": "Name", "value": "Yard" },
  { "id": "0x1002", "kind": "string", "idName": "Location", "value": "Hall" },
  { "id": "0x1003", "kind": "string", "idName": "ZoomNow", "value": "1" },
  { "id": "0x1004", "kind": "string", "idName": "ZoomMax", "value": "4" },
  { "id": "0x2001", "kind": "long", "idName": "Brightness", "value": 50, "min": 0, "max": 100 },
  { "id": "0x2002", "kind": "long", "idName": "Gain", "value": 9, "min": 0, "max": 1000 },
  { "id": "0x3001", "kind": "longOptions", "idName": "FrameRate", "values": [5, 10, 15, 25], "selected": 3 },
  { "id": "0x3002", "kind": "longOptions", "idName": "Resolution", "values": [10, 20], "selected": 1 },
  { "id": "0x3003", "kind": "longOptions", "idName": "Quality", "values": [1, 2], "selected": 0 },
  { "id": "0x4001", "kind": "bool", "idName": "Flip", "value": true },
  { "id": "0x4002", "kind": "bool", "idName": "Mirror", "value": false },
  { "id": "0x4003", "kind": "bool", "idName": "Flicker", "value": false },
  { "id": "0x5001", "kind": "doubleOptions", "idName": "Gamma", "values": [0.5, 1.0, 1.5, 2.2], "selected": 3 },
  { "id": "0x6001", "kind": "stringOptions", "idName": "ExposureMode", "values": ["auto", "manual", "night"], "selected": 0 },
  { "id": "0x6002", "kind": "stringOptions", "idName": "WhiteBalance", "values": ["auto", "indoor"], "selected": 1 },
  { "id": "0x6003", "kind": "stringOptions", "idName": "Wdr", "values": ["off", "on"], "selected": 1 },
  { "id": "0x6004", "kind": "stringOptions", "idName": "DayNight", "values": ["day", "night", "auto"], "selected": 0 },
  { "id": "0x6005", "kind": "stringOptions", "idName": "Iris", "values": ["fixed", "dc"], "selected": 0 },
  { "id": "0x7001", "kind": "stringMultiOptions", "idName": "Streams", "values": ["h264", "mjpeg", "h265"], "selected": [0, 2] },
  { "id": "0x7002", "kind": "stringMultiOptions", "idName": "Events", "values": ["motion", "tamper", "audio", "AE"], "selected": [0, 1] },
  { "id": "0x8001", "kind": "profiles", "idName": "Profiles", "value": { "p1": "night" } },
  { "id": "0x8002", "kind": "profiles", "idName": "Schedules", "value": { "x": "day" } } ] } ] })";

// ---------------------------------------------------------------------------
// Node sets for the round trip: every property kind a widget binds, with
// values that are equal, differ, or are missing across the nodes.

struct PropertySpec {
    int id;
    std::function<QJsonObject(int variant)> make;
};

QJsonObject stringJson(int id, const QString& value)
{
    return QJsonObject { { "id", id }, { "kind", "string" }, { "value", value } };
}
QJsonObject longJson(int id, int value, int min, int max)
{
    return QJsonObject { { "id", id }, { "kind", "long" }, { "value", value }, { "min", min },
        { "max", max } };
}
QJsonObject boolJson(int id, bool value)
{
    return QJsonObject { { "id", id }, { "kind", "bool" }, { "value", value } };
}
QJsonObject optionsJson(int id, const char* kind, const QJsonArray& values, int selected)
{
    return QJsonObject { { "id", id }, { "kind", kind }, { "values", values }, { "selected", selected } };
}
QJsonObject multiJson(int id, const QJsonArray& values, const QJsonArray& selected)
{
    return QJsonObject { { "id", id }, { "kind", "stringMultiOptions" }, { "values", values },
        { "selected", selected } };
}

enum RoundTripId : int {
    RtName = 0x101,
    RtZoomNow,
    RtZoomMax,
    RtGain,
    RtFrameRate,
    RtResolution,
    RtFlip,
    RtMirror,
    RtGamma,
    RtZoomFactor,
    RtExposure,
    RtWdr,
    RtDayNight,
    RtStreams,
    RtEvents,
    RtProfiles,
};

// Variant 0 is the base; variants 1 and 2 differ from it (and each other).
const QVector<PropertySpec>& roundTripProperties()
{
    static const QVector<PropertySpec> specs {
        { RtName,
            [](int v) {
                return stringJson(RtName, QStringList { "Entrance", "Lobby", "Yard" }.at(v));
            } },
        { RtZoomNow,
            [](int v) {
                return stringJson(RtZoomNow, QStringList { "1", "2", "1" }.at(v));
            } },
        { RtZoomMax,
            [](int v) {
                return stringJson(RtZoomMax, QStringList { "4", "4", "8" }.at(v));
            } },
        { RtGain,
            [](int v) {
                return longJson(RtGain, QVector<int> { 7, 9, 12 }.at(v), 0, 1000);
            } },
        { RtFrameRate,
            [](int v) {
                return v == 2 ? optionsJson(RtFrameRate, "longOptions", { 5, 10, 15, 25, 30 }, 4)
                              : optionsJson(RtFrameRate, "longOptions", { 5, 10, 15, 25 }, v == 0 ? 3 : 1);
            } },
        { RtResolution,
            [](int v) {
                const QJsonArray values[] = { { 10, 20, 30 }, { 10, 20, 30, 40 }, { 10, 20 } };
                return optionsJson(RtResolution, "longOptions", values[v], QVector<int> { 1, 3, 0 }.at(v));
            } },
        { RtFlip, [](int v) { return boolJson(RtFlip, v != 1); } },
        { RtMirror, [](int v) { return boolJson(RtMirror, v == 1); } },
        { RtGamma,
            [](int v) {
                return v == 2 ? optionsJson(RtGamma, "doubleOptions", { 0.5, 1.0, 4.0 }, 2)
                              : optionsJson(RtGamma, "doubleOptions", { 0.5, 1.0, 1.5, 2.2 }, v == 0 ? 1 : 3);
            } },
        { RtZoomFactor,
            [](int v) {
                return optionsJson(RtZoomFactor, "doubleOptions", { 0.5, 2.5, 5.0 }, v);
            } },
        { RtExposure,
            [](int v) {
                return v == 2 ? optionsJson(RtExposure, "stringOptions", { "auto", "manual", "backlight" }, 2)
                              : optionsJson(RtExposure, "stringOptions", { "auto", "manual", "night" }, v);
            } },
        { RtWdr,
            [](int v) {
                return optionsJson(RtWdr, "stringOptions", { "off", "on" }, v == 1 ? 0 : 1);
            } },
        { RtDayNight,
            [](int v) {
                return optionsJson(RtDayNight, "stringOptions", { "day", "night", "auto" }, v);
            } },
        { RtStreams,
            [](int v) {
                if (v == 1)
                    return multiJson(RtStreams, { "h264", "mjpeg" }, { 0 });
                if (v == 2)
                    return multiJson(RtStreams, { "h264", "mjpeg", "h265", "AE" }, { 2, 3 });
                return multiJson(RtStreams, { "h264", "mjpeg", "h265" }, { 0, 1 });
            } },
        { RtEvents,
            [](int v) {
                if (v == 1)
                    return multiJson(RtEvents, { "motion", "tamper", "audio" }, { 0 });
                if (v == 2)
                    return multiJson(RtEvents, { "motion", "tamper", "audio", "AE" }, { 1, 0 });
                return multiJson(RtEvents, { "motion", "tamper", "audio", "AE" }, { 0, 3 });
            } },
        { RtProfiles,
            [](int v) {
                const QJsonObject values[]
                    = { { { "p1", "day" } }, { { "p1", "night" }, { "p2", "day" } }, QJsonObject() };
                return QJsonObject { { "id", RtProfiles }, { "kind", "profiles" }, { "value", values[v] } };
            } },
    };
    return specs;
}

// The events enabled on every camera of the round trip. Bold marks the
// events enabled on all edited cameras; a merge unchecks events enabled on
// only some, so the list is the same for every node here.
QVector<QString> roundTripEnabledEvents() { return strings(QStringLiteral("motion,tamper")); }

// One node: its variant and which properties (by position in the table:
// "odd", "even", "all" or none) it lacks.
struct NodeSpec {
    int variant;
    QString lacks;
};

QByteArray nodeSetDocument(const QVector<NodeSpec>& nodes)
{
    QJsonArray nodeArray;
    for (int n = 0; n < nodes.size(); ++n) {
        QJsonArray properties;
        const QVector<PropertySpec>& specs = roundTripProperties();
        for (int i = 0; i < specs.size(); ++i) {
            const QString& lacks = nodes.at(n).lacks;
            if (lacks == QLatin1String("all") || (lacks == QLatin1String("odd") && i % 2 == 1)
                || (lacks == QLatin1String("even") && i % 2 == 0))
                continue;
            properties.append(specs.at(i).make(nodes.at(n).variant));
        }
        nodeArray.append(
            QJsonObject { { "id", kNodes.at(n) }, { "name", kNodes.at(n) }, { "properties", properties } });
    }
    return QJsonDocument(QJsonObject { { "nodes", nodeArray } }).toJson();
}

} // namespace

Q_DECLARE_METATYPE(QVector<NodeSpec>)

class TestPropertyWidgetsCycle : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void labels();
    void lineEdit();
    void longSpinBox();
    void longSpinBoxMissing();
    void longOptionSpinBox();
    void boolComboBox();
    void longOptionComboBox();
    void doubleOptionComboBox();
    void stringOptionComboBox();
    void stringOptionComboBoxIndeterminate();
    void boolCheckBox();
    void boolCheckBoxIndeterminate();
    void stringOptionCheckBox();
    void profilesCheckBox();
    void radioButtons();
    void radioButtonsDisagreeing();
    void listWidget();
    void eventList();

    void roundTrip_data();
    void roundTrip();

private:
    QWidget* m_window = nullptr;
    template <class W> W* add()
    {
        auto* w = new W(m_window);
        m_window->layout()->addWidget(w);
        return w;
    }
    void showWindow();
    // Answers of the write-backs that answer: radio buttons apart, since an
    // unchecked button answers true without writing.
    struct WriteAnswers {
        QVector<bool> others;
        QVector<bool> radio;
    };
    WriteAnswers roundTripWidget(const QString& kind);
};

void TestPropertyWidgetsCycle::init()
{
    db()->clear();
    loadDocument(kCycleDocument);
    QCOMPARE(db()->nodeIds(), kNodes);
    m_window = new QWidget;
    new QVBoxLayout(m_window);
}

void TestPropertyWidgetsCycle::cleanup()
{
    delete m_window;
    m_window = nullptr;
    db()->clear();
}

void TestPropertyWidgetsCycle::showWindow()
{
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window));
}

void TestPropertyWidgetsCycle::labels()
{
    auto* differing = add<QLabel>();
    auto* equal = add<QLabel>();
    auto* zoom = add<QLabel>();
    auto* zoomMissing = add<QLabel>();
    auto* missing = add<QLabel>();
    missing->setToolTip(QStringLiteral("focus distance"));
    for (QLabel* label : { differing, equal, zoom, zoomMissing, missing })
        kq::resetLabel(label);

    for (const QString& node : kNodes) {
        kq::updateLabel(differing, constSession(node), kq::EStringProperty(0x1001));
        kq::updateLabel(equal, constSession(node), kq::EStringProperty(0x1002));
        kq::updateLabel(zoom, QStringLiteral("Zoom"), constSession(node), kq::EStringProperty(0x1003),
            kq::EStringProperty(0x1004));
        kq::updateLabel(zoomMissing, QStringLiteral("Focus"), constSession(node), kq::EStringProperty(0x1003),
            kq::EStringProperty(0x1005));
        kq::updateLabel(missing, constSession(node), kq::EStringProperty(0x1005));
    }
    QCOMPARE(differing->text(), staticsMarker());
    QVERIFY(kq::isIndeterminate(differing));
    QCOMPARE(equal->text(), QStringLiteral("Hall"));
    QCOMPARE(zoom->text(), QStringLiteral("Zoom: 1/4"));
    QVERIFY(!zoomMissing->isEnabled());
    QCOMPARE(zoomMissing->toolTip(), kNotAvailable);
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    // The next pass starts afresh, with the label's own tool tip back.
    kq::resetLabel(missing);
    QVERIFY(missing->isEnabled());
    QCOMPARE(missing->toolTip(), QStringLiteral("focus distance"));
    kq::updateLabel(missing, constSession(kNodes.at(0)), kq::EStringProperty(0x1005));
    QCOMPARE(missing->text(), QStringLiteral("near"));
}

void TestPropertyWidgetsCycle::lineEdit()
{
    auto* differing = add<QLineEdit>();
    auto* equal = add<QLineEdit>();
    auto* missing = add<QLineEdit>();
    showWindow();
    for (QLineEdit* edit : { differing, equal, missing })
        kq::resetLineEdit(edit);
    for (const QString& node : kNodes) {
        kq::updateLineEdit(differing, constSession(node), kq::EStringProperty(0x1001));
        kq::updateLineEdit(equal, constSession(node), kq::EStringProperty(0x1002));
        kq::updateLineEdit(missing, constSession(node), kq::EStringProperty(0x1005));
    }
    QCOMPARE(differing->text(), staticsMarker());
    QCOMPARE(equal->text(), QStringLiteral("Hall"));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    // The user renames the location; the names stay as they were.
    typeReplacing(equal, QStringLiteral("Gate"));
    for (const QString& node : kNodes) {
        kq::setProperty(stringProperty(node, 0x1001), differing);
        kq::setProperty(stringProperty(node, 0x1002), equal);
        kq::setProperty(stringProperty(node, 0x1005), missing);
    }
    QCOMPARE(stringProperty("cam-1", 0x1001)->value(), QStringLiteral("Entrance"));
    QCOMPARE(stringProperty("cam-2", 0x1001)->value(), QStringLiteral("Entrance"));
    QCOMPARE(stringProperty("cam-3", 0x1001)->value(), QStringLiteral("Yard"));
    QCOMPARE(stringProperty("cam-1", 0x1005)->value(), QStringLiteral("near"));
    for (const QString& node : kNodes)
        QCOMPARE(stringProperty(node, 0x1002)->value(), QStringLiteral("Gate"));
}

void TestPropertyWidgetsCycle::longSpinBox()
{
    auto* brightness = add<QSpinBox>();
    auto* gain = add<QSpinBox>();
    showWindow();
    kq::resetSpinBox(brightness, 1.0, 0, 0, 0);
    kq::resetSpinBox(gain, 10.0, 0, 0, 0);
    for (const QString& node : kNodes) {
        QCOMPARE(kq::updateSpinBox(brightness, constSession(node), kq::ELongProperty(0x2001)), -1);
        QCOMPARE(kq::updateSpinBox(gain, constSession(node), kq::ELongProperty(0x2002)), -1);
    }
    QCOMPARE(brightness->value(), 50);
    QCOMPARE(brightness->maximum(), 100);
    QVERIFY(!kq::isIndeterminate(brightness));
    QCOMPARE(brightness->property("property-id").toInt(), 0x2001);
    QVERIFY(kq::isIndeterminate(gain));
    QCOMPARE(gain->text(), staticsMarker());

    // Applied unchanged, the indeterminate box keeps each node's gain.
    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(longProperty(node, 0x2002), gain));
    QCOMPARE(longProperty("cam-1", 0x2002)->value(), 7);
    QCOMPARE(longProperty("cam-2", 0x2002)->value(), 7);
    QCOMPARE(longProperty("cam-3", 0x2002)->value(), 9);

    // The user steps the brightness up twice and types a gain of 80.
    QTest::keyClick(brightness, Qt::Key_Up);
    QTest::keyClick(brightness, Qt::Key_Up);
    typeReplacing(gain, QStringLiteral("80"));
    QCOMPARE(gain->value(), 80);
    for (const QString& node : kNodes) {
        QVERIFY(kq::setProperty(longProperty(node, 0x2001), brightness));
        QVERIFY(kq::setProperty(longProperty(node, 0x2002), gain));
    }
    for (const QString& node : kNodes) {
        QCOMPARE(longProperty(node, 0x2001)->value(), 52);
        QCOMPARE(longProperty(node, 0x2002)->value(), 8);
    }
}

void TestPropertyWidgetsCycle::longSpinBoxMissing()
{
    auto* sharpness = add<QSpinBox>();
    showWindow();
    kq::resetSpinBox(sharpness, 1.0, 0, 10, 0);
    for (const QString& node : kNodes)
        QCOMPARE(kq::updateSpinBox(sharpness, constSession(node), kq::ELongProperty(0x2003)), -1);
    QVERIFY(!sharpness->isEnabled());
    QCOMPARE(sharpness->toolTip(), kNotAvailable);
    QTest::keyClick(sharpness, Qt::Key_Up);
    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(longProperty(node, 0x2003), sharpness));
    QCOMPARE(longProperty("cam-1", 0x2003)->value(), 3);
    QCOMPARE(longProperty("cam-2", 0x2003)->value(), 4);
    QVERIFY(!longProperty("cam-3", 0x2003));
}

void TestPropertyWidgetsCycle::longOptionSpinBox()
{
    auto* frameRate = add<QSpinBox>();
    showWindow();
    kq::resetSpinBox(frameRate, 2.0, 0, 0, 0);
    for (const QString& node : kNodes)
        QCOMPARE(
            kq::updateSpinBox(frameRate, constSession(node), kq::ELongOptionsProperty(0x3001), false), -1);
    QCOMPARE(frameRate->minimum(), 10);
    QCOMPARE(frameRate->maximum(), 50);
    QCOMPARE(frameRate->value(), 50);
    QVERIFY(!kq::isIndeterminate(frameRate));

    typeReplacing(frameRate, QStringLiteral("30"));
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(longOptions(node, 0x3001), frameRate));
    for (const QString& node : kNodes) {
        QCOMPARE(longOptions(node, 0x3001)->value().getSelectedValue(), 15);
        QCOMPARE(longOptions(node, 0x3001)->value().values, (QVector<int> { 5, 10, 15, 25 }));
    }
}

void TestPropertyWidgetsCycle::boolComboBox()
{
    auto* flip = add<QComboBox>();
    auto* mirror = add<QComboBox>();
    auto* missing = add<QComboBox>();
    showWindow();
    for (QComboBox* box : { flip, mirror, missing })
        kq::resetComboBox(box, QStringLiteral("On"), QStringLiteral("Off"));
    for (const QString& node : kNodes) {
        QCOMPARE(kq::updateComboBox(flip, constSession(node), kq::EBoolProperty(0x4001)), -1);
        QCOMPARE(kq::updateComboBox(mirror, constSession(node), kq::EBoolProperty(0x4002)), -1);
        QCOMPARE(kq::updateComboBox(missing, constSession(node), kq::EBoolProperty(0x4999)), -1);
    }
    QVERIFY(kq::isIndeterminate(flip));
    QCOMPARE(flip->currentText(), QCoreApplication::translate("Properties", "<Multiple Values>"));
    QCOMPARE(flip->count(), 4);
    QVERIFY(!kq::isIndeterminate(mirror));
    QCOMPARE(mirror->currentText(), QStringLiteral("Off"));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    // Applied unchanged, every node keeps its own flip.
    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(boolProperty(node, 0x4001), flip));
    QCOMPARE(boolProperty("cam-1", 0x4001)->value(), true);
    QCOMPARE(boolProperty("cam-2", 0x4001)->value(), false);
    QCOMPARE(boolProperty("cam-3", 0x4001)->value(), true);

    // The user moves down from the marker (past the separator) to "On", and
    // switches the mirror on.
    QTest::keyClick(flip, Qt::Key_Down);
    QCOMPARE(flip->currentText(), QStringLiteral("On"));
    QTest::keyClick(mirror, Qt::Key_Up);
    QCOMPARE(mirror->currentText(), QStringLiteral("On"));
    for (const QString& node : kNodes) {
        QVERIFY(kq::setProperty(boolProperty(node, 0x4001), flip));
        QVERIFY(kq::setProperty(boolProperty(node, 0x4002), mirror));
    }
    for (const QString& node : kNodes) {
        QCOMPARE(boolProperty(node, 0x4001)->value(), true);
        QCOMPARE(boolProperty(node, 0x4002)->value(), true);
    }
}

void TestPropertyWidgetsCycle::longOptionComboBox()
{
    auto* resolution = add<QComboBox>();
    auto* quality = add<QComboBox>();
    showWindow();
    kq::resetComboBox(resolution, static_cast<kq::NumberTranslator>(nullptr));
    kq::resetComboBox(quality, static_cast<kq::NumberTranslator>(nullptr));
    const QVector<int> expectedIndex { 1, 1, 1 };
    for (int n = 0; n < kNodes.size(); ++n) {
        QCOMPARE(kq::updateComboBox(
                     resolution, constSession(kNodes.at(n)), kq::ELongOptionsProperty(0x3002), true),
            expectedIndex.at(n));
        kq::updateComboBox(quality, constSession(kNodes.at(n)), kq::ELongOptionsProperty(0x3003), true);
    }
    // 20 is common; 30 lacks on cam-3 and 40 exists on cam-2 only.
    QCOMPARE(resolution->count(), 4);
    QCOMPARE(kq::longPropertyValue(resolution), 20);
    QCOMPARE(resolution->currentText(), QStringLiteral("20"));
    QVERIFY(kq::isEnabled(resolution, 0));
    QVERIFY(!kq::isEnabled(resolution, 2));
    QVERIFY(!kq::isEnabled(resolution, 3));
    QCOMPARE(resolution->property("property-id").toInt(), 0x3002);
    QVERIFY(!quality->isEnabled());
    QCOMPARE(quality->toolTip(), kNotAvailable);

    // Down skips the disabled entries; up reaches 10.
    QTest::keyClick(resolution, Qt::Key_Down);
    QCOMPARE(kq::longPropertyValue(resolution), 20);
    QTest::keyClick(resolution, Qt::Key_Up);
    QCOMPARE(kq::longPropertyValue(resolution), 10);
    for (const QString& node : kNodes) {
        QVERIFY(kq::setProperty(longOptions(node, 0x3002), resolution));
        QVERIFY(!kq::setProperty(longOptions(node, 0x3003), quality));
    }
    QCOMPARE(longOptions("cam-1", 0x3002)->value().values, (QVector<int> { 10, 20, 30 }));
    QCOMPARE(longOptions("cam-2", 0x3002)->value().values, (QVector<int> { 10, 20, 30, 40 }));
    QCOMPARE(longOptions("cam-3", 0x3002)->value().values, (QVector<int> { 10, 20 }));
    for (const QString& node : kNodes)
        QCOMPARE(longOptions(node, 0x3002)->value().selectedIndex, 0);
    QCOMPARE(longOptions("cam-1", 0x3003)->value().selectedIndex, 0);
}

void TestPropertyWidgetsCycle::doubleOptionComboBox()
{
    auto* gamma = add<QComboBox>();
    showWindow();
    kq::resetComboBox(gamma, &gammaText);
    for (const QString& node : kNodes)
        kq::updateComboBox(gamma, constSession(node), kq::EDoubleOptionsProperty(0x5001), false);
    QVERIFY(kq::isIndeterminate(gamma));
    // Marker, separator, then the values with their display texts.
    QCOMPARE(gamma->count(), 6);
    QCOMPARE(gamma->itemText(2), QStringLiteral("0.5"));
    QCOMPARE(gamma->itemText(3), QStringLiteral("Linear"));
    QCOMPARE(gamma->itemText(5), QStringLiteral("2.2"));
    QCOMPARE(gamma->itemData(5, Qt::UserRole).toDouble(), 2.2);

    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(doubleOptions(node, 0x5001), gamma));
    QCOMPARE(doubleOptions("cam-1", 0x5001)->value().getSelectedValue(), 1.0);
    QCOMPARE(doubleOptions("cam-3", 0x5001)->value().getSelectedValue(), 2.2);

    QTest::keyClick(gamma, Qt::Key_End);
    QCOMPARE(kq::doublePropertyValue(gamma), 2.2);
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(doubleOptions(node, 0x5001), gamma));
    for (const QString& node : kNodes)
        QCOMPARE(doubleOptions(node, 0x5001)->value().selectedIndex, 3);
}

void TestPropertyWidgetsCycle::stringOptionComboBox()
{
    auto* exposure = add<QComboBox>();
    showWindow();
    kq::resetComboBox(exposure, &exposureText);
    for (const QString& node : kNodes)
        QCOMPARE(kq::updateComboBox(exposure, constSession(node), kq::EStringOptionsProperty(0x6001)), 0);
    QCOMPARE(exposure->count(), 3);
    QCOMPARE(exposure->itemText(0), QStringLiteral("Automatic"));
    QCOMPARE(exposure->itemText(1), QStringLiteral("Manual"));
    // No text from the translator: the value itself, through the catalogue.
    QCOMPARE(exposure->itemText(2), QCoreApplication::translate("Statics", "night"));
    QVERIFY(!kq::isEnabled(exposure, 2));
    QCOMPARE(kq::stringPropertyValue(exposure), QStringLiteral("auto"));
    QCOMPARE(exposure->property("property-id").toInt(), 0x6001);

    QTest::keyClick(exposure, Qt::Key_Down);
    QCOMPARE(exposure->currentText(), QStringLiteral("Manual"));
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(constSession(node), exposure));
    for (const QString& node : kNodes)
        QCOMPARE(selectedString(node, 0x6001), QStringLiteral("manual"));
    QCOMPARE(stringOptions("cam-2", 0x6001)->value().values, strings(QStringLiteral("auto,manual")));
}

void TestPropertyWidgetsCycle::stringOptionComboBoxIndeterminate()
{
    auto* whiteBalance = add<QComboBox>();
    kq::resetComboBox(whiteBalance, static_cast<kq::StringTranslator>(nullptr));
    QCOMPARE(kq::updateComboBox(whiteBalance, constSession("cam-1"), kq::EStringOptionsProperty(0x6002)), 1);
    QCOMPARE(kq::updateComboBox(whiteBalance, constSession("cam-2"), kq::EStringOptionsProperty(0x6002)), -1);
    QCOMPARE(kq::updateComboBox(whiteBalance, constSession("cam-3"), kq::EStringOptionsProperty(0x6002)), -1);
    QVERIFY(kq::isIndeterminate(whiteBalance));
    // Marker, separator, auto, indoor, outdoor (missing on cam-3).
    QCOMPARE(whiteBalance->count(), 5);
    QVERIFY(!kq::isEnabled(whiteBalance, QStringLiteral("outdoor")));
    QVERIFY(kq::isEnabled(whiteBalance, QStringLiteral("indoor")));

    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(constSession(node), whiteBalance));
    QCOMPARE(selectedString("cam-1", 0x6002), QStringLiteral("indoor"));
    QCOMPARE(selectedString("cam-2", 0x6002), QStringLiteral("outdoor"));
    QCOMPARE(selectedString("cam-3", 0x6002), QStringLiteral("indoor"));
}

void TestPropertyWidgetsCycle::boolCheckBox()
{
    auto* mirror = add<QCheckBox>();
    auto* missing = add<QCheckBox>();
    showWindow();
    kq::resetCheckBox(mirror);
    kq::resetCheckBox(missing);
    for (const QString& node : kNodes) {
        kq::updateCheckBox(mirror, constSession(node), kq::EBoolProperty(0x4002));
        kq::updateCheckBox(missing, constSession(node), kq::EBoolProperty(0x4999));
    }
    QCOMPARE(mirror->checkState(), Qt::Unchecked);
    QVERIFY(!mirror->isTristate());
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    QTest::keyClick(mirror, Qt::Key_Space);
    QCOMPARE(mirror->checkState(), Qt::Checked);
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(boolProperty(node, 0x4002), mirror));
    for (const QString& node : kNodes)
        QCOMPARE(boolProperty(node, 0x4002)->value(), true);
}

void TestPropertyWidgetsCycle::boolCheckBoxIndeterminate()
{
    auto* flicker = add<QCheckBox>();
    showWindow();
    kq::resetCheckBox(flicker);
    for (const QString& node : kNodes)
        kq::updateCheckBox(flicker, constSession(node), kq::EBoolProperty(0x4003));
    QCOMPARE(flicker->checkState(), Qt::PartiallyChecked);
    QVERIFY(kq::isIndeterminate(flicker));

    for (const QString& node : kNodes)
        QVERIFY(!kq::setProperty(boolProperty(node, 0x4003), flicker));
    QCOMPARE(boolProperty("cam-1", 0x4003)->value(), true);
    QCOMPARE(boolProperty("cam-3", 0x4003)->value(), false);

    // One click takes the box from partially checked to checked.
    QTest::keyClick(flicker, Qt::Key_Space);
    QCOMPARE(flicker->checkState(), Qt::Checked);
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(boolProperty(node, 0x4003), flicker));
    for (const QString& node : kNodes)
        QCOMPARE(boolProperty(node, 0x4003)->value(), true);
}

void TestPropertyWidgetsCycle::stringOptionCheckBox()
{
    auto* wdr = add<QCheckBox>();
    auto* missing = add<QCheckBox>();
    showWindow();
    kq::resetCheckBox(wdr, QStringLiteral("off"), QStringLiteral("on"));
    kq::resetCheckBox(missing, QStringLiteral("off"), QStringLiteral("on"));
    for (const QString& node : kNodes) {
        kq::updateCheckBox(wdr, constSession(node), kq::EStringOptionsProperty(0x6003));
        kq::updateCheckBox(missing, constSession(node), kq::EStringOptionsProperty(0x6999));
    }
    QCOMPARE(wdr->checkState(), Qt::Checked);
    QCOMPARE(wdr->property("property-id").toInt(), 0x6003);
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    QTest::keyClick(wdr, Qt::Key_Space);
    QCOMPARE(wdr->checkState(), Qt::Unchecked);
    for (const QString& node : kNodes)
        QVERIFY(kq::setProperty(stringOptions(node, 0x6003), wdr));
    for (const QString& node : kNodes)
        QCOMPARE(selectedString(node, 0x6003), QStringLiteral("off"));
}

void TestPropertyWidgetsCycle::profilesCheckBox()
{
    auto* day = add<QCheckBox>();
    auto* schedules = add<QCheckBox>();
    for (QCheckBox* box : { day, schedules })
        kq::resetCheckBox(box, QString(), QStringLiteral("day"));
    for (const QString& node : kNodes) {
        kq::updateCheckBox(day, session(node)->property(kq::EProfilesProperty(0x8001), kContext));
        kq::updateCheckBox(schedules, session(node)->property(kq::EProfilesProperty(0x8002), kContext));
    }
    // cam-3 has no "day" profile, so the nodes disagree.
    QCOMPARE(day->checkState(), Qt::PartiallyChecked);
    QCOMPARE(schedules->checkState(), Qt::Checked);
    QCOMPARE(schedules->property("property-id").toInt(), 0x8002);

    // A node that lacks the property disables the box.
    auto* missing = add<QCheckBox>();
    kq::resetCheckBox(missing, QString(), QStringLiteral("day"));
    kq::updateCheckBox(missing, session("cam-1")->property(kq::EProfilesProperty(0x8999), kContext));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);
}

void TestPropertyWidgetsCycle::radioButtons()
{
    const QStringList values { QStringLiteral("day"), QStringLiteral("night"), QStringLiteral("auto") };
    QVector<QRadioButton*> buttons;
    for (const QString& v : values) {
        auto* button = add<QRadioButton>();
        button->setText(v);
        kq::resetRadioButton(button, v);
        buttons.append(button);
    }
    showWindow();
    for (const QString& node : kNodes) {
        for (QRadioButton* button : buttons)
            kq::updateRadioButton(button, constSession(node), kq::EStringOptionsProperty(0x6004));
    }
    QVERIFY(buttons.at(0)->isChecked());
    QVERIFY(!buttons.at(1)->isChecked());
    QVERIFY(!buttons.at(2)->isChecked());
    QCOMPARE(buttons.at(1)->property("property-id").toInt(), 0x6004);

    // The user picks "night"; the group lets go of "day".
    QTest::keyClick(buttons.at(1), Qt::Key_Space);
    QVERIFY(buttons.at(1)->isChecked());
    QVERIFY(!buttons.at(0)->isChecked());
    for (const QString& node : kNodes) {
        for (QRadioButton* button : buttons)
            QVERIFY(kq::setProperty(constSession(node), button));
    }
    for (const QString& node : kNodes)
        QCOMPARE(selectedString(node, 0x6004), QStringLiteral("night"));
}

void TestPropertyWidgetsCycle::radioButtonsDisagreeing()
{
    QVector<QRadioButton*> buttons;
    for (const QString& v : { QStringLiteral("fixed"), QStringLiteral("dc") }) {
        auto* button = add<QRadioButton>();
        kq::resetRadioButton(button, v);
        buttons.append(button);
    }
    for (const QString& node : kNodes) {
        for (QRadioButton* button : buttons)
            kq::updateRadioButton(button, constSession(node), kq::EStringOptionsProperty(0x6005));
    }
    for (QRadioButton* button : buttons) {
        QVERIFY(!button->isChecked());
        QVERIFY(!button->autoExclusive());
    }
    // Nothing checked: every button answers true and writes nothing.
    for (const QString& node : kNodes) {
        for (QRadioButton* button : buttons)
            QVERIFY(kq::setProperty(constSession(node), button));
    }
    QCOMPARE(selectedString("cam-1", 0x6005), QStringLiteral("fixed"));
    QCOMPARE(selectedString("cam-2", 0x6005), QStringLiteral("dc"));
    QCOMPARE(selectedString("cam-3", 0x6005), QStringLiteral("fixed"));

    // A missing property disables the button.
    auto* missing = add<QRadioButton>();
    kq::resetRadioButton(missing, QStringLiteral("fixed"));
    kq::updateRadioButton(missing, constSession("cam-1"), kq::EStringOptionsProperty(0x6999));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);
}

void TestPropertyWidgetsCycle::listWidget()
{
    auto* streams = add<QListWidget>();
    auto* missing = add<QListWidget>();
    showWindow();
    kq::resetListWidget(streams, &streamText);
    kq::resetListWidget(missing, nullptr);
    for (const QString& node : kNodes) {
        kq::updateListWidget(streams, constSession(node), kq::EStringMultiOptionsProperty(0x7001));
        kq::updateListWidget(missing, constSession(node), kq::EStringMultiOptionsProperty(0x7999));
    }
    QCOMPARE(streams->property("property-id").toInt(), 0x7001);
    QListWidgetItem* h264 = kq::findItem(streams, QStringLiteral("h264"));
    QListWidgetItem* mjpeg = kq::findItem(streams, QStringLiteral("mjpeg"));
    QListWidgetItem* h265 = kq::findItem(streams, QStringLiteral("h265"));
    QVERIFY(h264 && mjpeg && h265);
    QCOMPARE(streams->count(), 3);
    QCOMPARE(h264->text(), QStringLiteral("H.264"));
    QCOMPARE(mjpeg->text(), QCoreApplication::translate("Statics", "mjpeg"));
    QCOMPARE(checkState(h264), int(Qt::Checked));
    QCOMPARE(checkState(mjpeg), int(Qt::PartiallyChecked));
    // h265 is missing on cam-2: hidden and disabled.
    QVERIFY(h265->isHidden());
    QVERIFY(!kq::isEnabled(h265));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);

    // Applied unchanged, every node keeps its selection.
    for (const QString& node : kNodes)
        kq::setProperty(multiOptions(node, 0x7001), streams);
    QCOMPARE(selectedStrings("cam-1", 0x7001), strings(QStringLiteral("h264,h265")));
    QCOMPARE(selectedStrings("cam-2", 0x7001), strings(QStringLiteral("h264,mjpeg")));

    // The user checks mjpeg (partially checked becomes checked) and unchecks
    // h264. The hidden h265 keeps its membership on each node.
    toggleItem(streams, mjpeg);
    toggleItem(streams, h264);
    QCOMPARE(checkState(mjpeg), int(Qt::Checked));
    QCOMPARE(checkState(h264), int(Qt::Unchecked));
    for (const QString& node : kNodes)
        kq::setProperty(multiOptions(node, 0x7001), streams);
    QCOMPARE(selectedStrings("cam-1", 0x7001), strings(QStringLiteral("h265,mjpeg")));
    QCOMPARE(selectedStrings("cam-2", 0x7001), strings(QStringLiteral("mjpeg")));
    QCOMPARE(selectedStrings("cam-3", 0x7001), strings(QStringLiteral("h265,mjpeg")));
    QCOMPARE(multiOptions("cam-2", 0x7001)->value().values, strings(QStringLiteral("h264,mjpeg")));
}

void TestPropertyWidgetsCycle::eventList()
{
    auto* events = add<QListWidget>();
    showWindow();
    kq::resetListWidget(events, nullptr);
    const QVector<QVector<QString>> enabled { strings(QStringLiteral("motion")),
        strings(QStringLiteral("motion")), strings(QStringLiteral("motion,tamper")) };

    kq::updateEventListWidget(
        events, constSession("cam-1"), kq::EStringMultiOptionsProperty(0x7002), enabled.at(0));
    QListWidgetItem* motion = kq::findItem(events, QStringLiteral("motion"));
    QListWidgetItem* tamper = kq::findItem(events, QStringLiteral("tamper"));
    QListWidgetItem* audio = kq::findItem(events, QStringLiteral("audio"));
    QListWidgetItem* ae = kq::findItem(events, QStringLiteral("AE"));
    QVERIFY(motion && tamper && audio && ae);
    // After the first camera: warnings where a click changes the camera.
    QCOMPARE(motion->data(Qt::ToolTipRole).toString(), kDeselectNote);
    QCOMPARE(tamper->data(Qt::ToolTipRole).toString(), kSelectWarning);
    QCOMPARE(audio->data(Qt::ToolTipRole).toString(), kSelectWarning);
    QVERIFY(!ae->data(Qt::ToolTipRole).isValid());

    for (int n = 1; n < kNodes.size(); ++n)
        kq::updateEventListWidget(
            events, constSession(kNodes.at(n)), kq::EStringMultiOptionsProperty(0x7002), enabled.at(n));
    // motion is enabled and selected on every camera; tamper is enabled on
    // one and selected on another; audio is selected nowhere.
    QVERIFY(itemFont(motion).weight() > int(QFont::Normal));
    QCOMPARE(checkState(motion), int(Qt::Checked));
    QCOMPARE(itemFont(tamper).weight(), int(QFont::Normal));
    QCOMPARE(itemFont(tamper).style(), QFont::StyleItalic);
    QCOMPARE(checkState(tamper), int(Qt::PartiallyChecked));
    QCOMPARE(checkState(audio), int(Qt::Unchecked));
    QVERIFY(!ae->isHidden());

    // tamper cannot be configured from here.
    kq::disableEventListWidgetItems(events, strings(QStringLiteral("motion,audio")));
    QVERIFY(!kq::isEnabled(tamper));
    QCOMPARE(tamper->data(Qt::ToolTipRole).toString(), kNotConfigurable);
    QVERIFY(kq::isEnabled(audio));
    QVERIFY(kq::isEnabled(ae));

    // The user adds audio. tamper (locked) and AE keep each node's choice.
    toggleItem(events, audio);
    QCOMPARE(checkState(audio), int(Qt::Checked));
    for (const QString& node : kNodes)
        kq::setProperty(multiOptions(node, 0x7002), events);
    QCOMPARE(selectedStrings("cam-1", 0x7002), strings(QStringLiteral("motion,AE,audio")));
    QCOMPARE(selectedStrings("cam-2", 0x7002), strings(QStringLiteral("motion,audio")));
    QCOMPARE(selectedStrings("cam-3", 0x7002), strings(QStringLiteral("motion,tamper,audio")));

    // A camera lacking the events disables the list.
    auto* missing = add<QListWidget>();
    kq::resetListWidget(missing, nullptr);
    kq::updateEventListWidget(
        missing, constSession("cam-1"), kq::EStringMultiOptionsProperty(0x7999), enabled.at(0));
    QVERIFY(!missing->isEnabled());
    QCOMPARE(missing->toolTip(), kNotAvailable);
}

// ---------------------------------------------------------------------------
// Round trip: applying without a change leaves every node as it was.

void TestPropertyWidgetsCycle::roundTrip_data()
{
    QTest::addColumn<QVector<NodeSpec>>("nodes");
    QTest::addColumn<QString>("kind");
    // Whether the widget shows one value common to all nodes, and whether
    // every node has the property (otherwise the widget is disabled).
    QTest::addColumn<bool>("common");
    QTest::addColumn<bool>("available");

    struct NodeSet {
        const char* name;
        QVector<NodeSpec> nodes;
        bool common;
        bool available;
    };
    const QVector<NodeSet> sets {
        { "one node", { { 0, QString() } }, true, true },
        { "three equal nodes", { { 0, QString() }, { 0, QString() }, { 0, QString() } }, true, true },
        { "three differing nodes", { { 0, QString() }, { 1, QString() }, { 2, QString() } }, false, true },
        { "nodes missing properties", { { 0, QString() }, { 1, "odd" }, { 2, "even" } }, false, false },
        { "first node missing everything", { { 0, "all" }, { 1, QString() }, { 1, QString() } }, true,
            false },
    };
    const char* kinds[] = { "label", "title label", "line edit", "long spin box", "long option spin box",
        "bool combo box", "long option combo box", "double option combo box",
        "double option combo box (closest)", "string option combo box", "bool check box",
        "string option check box", "profiles check box", "radio buttons", "list widget", "event list" };
    for (const auto& set : sets) {
        for (const char* kind : kinds)
            QTest::addRow("%s: %s", set.name, kind)
                << set.nodes << QString::fromLatin1(kind) << set.common << set.available;
    }
}

void TestPropertyWidgetsCycle::roundTrip()
{
    QFETCH(QVector<NodeSpec>, nodes);
    QFETCH(QString, kind);
    QFETCH(bool, common);
    QFETCH(bool, available);

    db()->clear();
    loadDocument(nodeSetDocument(nodes));
    const QByteArray before = db()->toJson();
    const WriteAnswers answers = roundTripWidget(kind);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(QString::fromUtf8(db()->toJson()), QString::fromUtf8(before));

    // A common value is written back (unchanged); an indeterminate or
    // disabled widget refuses.
    for (bool answer : answers.others)
        QCOMPARE(answer, common && available);
    for (bool answer : answers.radio)
        QCOMPARE(answer, available);
}

// reset, one update per node and one write-back per node, with no change in
// between, for one widget kind.
TestPropertyWidgetsCycle::WriteAnswers TestPropertyWidgetsCycle::roundTripWidget(const QString& kind)
{
    WriteAnswers answers;
    const QStringList nodes = db()->nodeIds();
    if (nodes.isEmpty()) {
        QTest::qFail("the node set is empty", __FILE__, __LINE__);
        return answers;
    }
    if (kind == QLatin1String("label")) {
        auto* label = add<QLabel>();
        kq::resetLabel(label);
        for (const QString& node : nodes)
            kq::updateLabel(label, constSession(node), kq::EStringProperty(RtName));
    } else if (kind == QLatin1String("title label")) {
        auto* label = add<QLabel>();
        kq::resetLabel(label);
        for (const QString& node : nodes)
            kq::updateLabel(label, QStringLiteral("Zoom"), constSession(node), kq::EStringProperty(RtZoomNow),
                kq::EStringProperty(RtZoomMax));
    } else if (kind == QLatin1String("line edit")) {
        auto* edit = add<QLineEdit>();
        kq::resetLineEdit(edit);
        for (const QString& node : nodes)
            kq::updateLineEdit(edit, constSession(node), kq::EStringProperty(RtName));
        for (const QString& node : nodes)
            kq::setProperty(stringProperty(node, RtName), edit);
    } else if (kind == QLatin1String("long spin box")) {
        auto* box = add<QSpinBox>();
        kq::resetSpinBox(box, 10.0, 0, 0, 0);
        for (const QString& node : nodes)
            kq::updateSpinBox(box, constSession(node), kq::ELongProperty(RtGain));
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(longProperty(node, RtGain), box));
    } else if (kind == QLatin1String("long option spin box")) {
        auto* box = add<QSpinBox>();
        kq::resetSpinBox(box, 2.0, 0, 0, 0);
        for (const QString& node : nodes)
            kq::updateSpinBox(box, constSession(node), kq::ELongOptionsProperty(RtFrameRate), false);
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(longOptions(node, RtFrameRate), box));
    } else if (kind == QLatin1String("bool combo box")) {
        auto* box = add<QComboBox>();
        kq::resetComboBox(box, QStringLiteral("On"), QStringLiteral("Off"));
        for (const QString& node : nodes)
            kq::updateComboBox(box, constSession(node), kq::EBoolProperty(RtFlip));
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(boolProperty(node, RtFlip), box));
    } else if (kind == QLatin1String("long option combo box")) {
        auto* box = add<QComboBox>();
        kq::resetComboBox(box, static_cast<kq::NumberTranslator>(nullptr));
        for (const QString& node : nodes)
            kq::updateComboBox(box, constSession(node), kq::ELongOptionsProperty(RtResolution), true);
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(longOptions(node, RtResolution), box));
    } else if (kind.startsWith(QLatin1String("double option combo box"))) {
        const bool closest = kind.endsWith(QLatin1String("(closest)"));
        const int id = closest ? RtZoomFactor : RtGamma;
        auto* box = add<QComboBox>();
        kq::resetComboBox(box, &gammaText);
        for (const QString& node : nodes)
            kq::updateComboBox(box, constSession(node), kq::EDoubleOptionsProperty(id), closest);
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(doubleOptions(node, id), box));
    } else if (kind == QLatin1String("string option combo box")) {
        auto* box = add<QComboBox>();
        kq::resetComboBox(box, &exposureText);
        for (const QString& node : nodes)
            kq::updateComboBox(box, constSession(node), kq::EStringOptionsProperty(RtExposure));
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(constSession(node), box));
    } else if (kind == QLatin1String("bool check box")) {
        auto* box = add<QCheckBox>();
        kq::resetCheckBox(box);
        for (const QString& node : nodes)
            kq::updateCheckBox(box, constSession(node), kq::EBoolProperty(RtMirror));
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(boolProperty(node, RtMirror), box));
    } else if (kind == QLatin1String("string option check box")) {
        auto* box = add<QCheckBox>();
        kq::resetCheckBox(box, QStringLiteral("off"), QStringLiteral("on"));
        for (const QString& node : nodes)
            kq::updateCheckBox(box, constSession(node), kq::EStringOptionsProperty(RtWdr));
        for (const QString& node : nodes)
            answers.others.append(kq::setProperty(stringOptions(node, RtWdr), box));
    } else if (kind == QLatin1String("profiles check box")) {
        // Profiles are shown only; there is nothing to write back.
        auto* box = add<QCheckBox>();
        kq::resetCheckBox(box, QString(), QStringLiteral("day"));
        for (const QString& node : nodes)
            kq::updateCheckBox(box, session(node)->property(kq::EProfilesProperty(RtProfiles), kContext));
    } else if (kind == QLatin1String("radio buttons")) {
        QVector<QRadioButton*> buttons;
        for (const QString& v : { QStringLiteral("day"), QStringLiteral("night"), QStringLiteral("auto") }) {
            auto* button = add<QRadioButton>();
            kq::resetRadioButton(button, v);
            buttons.append(button);
        }
        for (const QString& node : nodes) {
            for (QRadioButton* button : buttons)
                kq::updateRadioButton(button, constSession(node), kq::EStringOptionsProperty(RtDayNight));
        }
        for (const QString& node : nodes) {
            for (QRadioButton* button : buttons)
                answers.radio.append(kq::setProperty(constSession(node), button));
        }
    } else if (kind == QLatin1String("list widget")) {
        auto* list = add<QListWidget>();
        kq::resetListWidget(list, nullptr);
        for (const QString& node : nodes)
            kq::updateListWidget(list, constSession(node), kq::EStringMultiOptionsProperty(RtStreams));
        for (const QString& node : nodes)
            kq::setProperty(multiOptions(node, RtStreams), list);
    } else if (kind == QLatin1String("event list")) {
        auto* list = add<QListWidget>();
        kq::resetListWidget(list, nullptr);
        for (const QString& node : nodes)
            kq::updateEventListWidget(list, constSession(node), kq::EStringMultiOptionsProperty(RtEvents),
                roundTripEnabledEvents());
        for (const QString& node : nodes)
            kq::setProperty(multiOptions(node, RtEvents), list);
    } else {
        QTest::qFail(qPrintable(QStringLiteral("unknown widget kind %1").arg(kind)), __FILE__, __LINE__);
    }
    return answers;
}

QTEST_MAIN(TestPropertyWidgetsCycle)
#include "tst_propertywidgets_cycle.moc"
