// The node database: loading each property kind from JSON, saving, the
// round trip, and refusing bad documents without changing anything.
#include <kq/NodeDB.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <limits>

namespace {

const int ctx = kq::HasProperties::k_contextIndexDefault;

QByteArray oneNode(const QByteArray& properties, const QByteArray& extra = QByteArray())
{
    return "{ \"nodes\": [ { \"id\": \"cam-1\", \"name\": \"Entrance\"" + extra + ", \"properties\": [" + properties
        + "] } ] }";
}

const QByteArray kAllKinds = R"({ "nodes": [
  { "id": "cam-1", "name": "Entrance", "imageRect": [0, 0, 1280, 720],
    "deskew": { "lens": 0.25, "mode": "normal" }, "video": "clip.gif",
    "properties": [
      { "id": 4097, "kind": "stringOptions", "idName": "ExposureMode", "name": "Exposure mode",
        "needsReboot": false, "values": ["auto", "manual"], "selected": 0 },
      { "id": "0x1002", "kind": "long", "value": 7, "min": 0, "max": 100 },
      { "id": "0x1003", "kind": "bool", "value": true, "needsReboot": true },
      { "id": 4100, "kind": "string", "value": "Main door" },
      { "id": 4101, "kind": "longOptions", "values": [1, 5, 10], "selected": 2 },
      { "id": 4102, "kind": "doubleOptions", "values": [7.5, 12.5, 25], "selected": -1 },
      { "id": 4103, "kind": "stringMultiOptions", "values": ["motion", "tamper", "AE"], "selected": [2, 0] },
      { "id": 4104, "kind": "stringList", "value": ["10.0.0.1:80", "10.0.0.2%3A81"] },
      { "id": 4105, "kind": "profiles", "value": { "night": "off", "day": "on" } },
      { "id": "0xffffffff", "kind": "long", "value": -3 }
    ] },
  { "id": "cam-2", "properties": [] }
] })";

} // namespace

class TestNodeDB : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { kq::NodeDB::getDB()->clear(); }
    void cleanup() { kq::NodeDB::getDB()->clear(); }

    void getDBIsOneDatabase();
    void unknownNodeIsNull();
    void loadsEveryKind();
    void defaultsForOptionalKeys();
    void roundTripGivesEqualSessions();
    void savedDocumentKeepsWritesThroughSessions();
    void replacesNodesOfTheSameId();
    void handlesOutliveReplacement();
    void insertRemoveClear();
    void idOfFindsTheNodeOfASession();
    void equalInfosAndChoicesAreSharedBetweenNodes();
    void sharedChoicesDetachOnWrite();
    void sessionFindsPropertiesAtEverySize_data();
    void sessionFindsPropertiesAtEverySize();
    void badInputChangesNothing_data();
    void badInputChangesNothing();
};

void TestNodeDB::getDBIsOneDatabase()
{
    QCOMPARE(kq::NodeDB::getDB(), kq::NodeDB::getDB());
    QVERIFY(kq::NodeDB::getDB());
}

void TestNodeDB::unknownNodeIsNull()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->node(QStringLiteral("nope")).null());
    QVERIFY(db->session(QStringLiteral("nope")).null());
    QVERIFY(db->node(QString()).null());
    QVERIFY(db->nodeIds().isEmpty());
}

void TestNodeDB::loadsEveryKind()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QString error = QStringLiteral("stale");
    QVERIFY2(db->loadJson(kAllKinds, &error), qPrintable(error));
    QVERIFY(error.isEmpty());
    QCOMPARE(db->nodeIds(), (QStringList { QStringLiteral("cam-1"), QStringLiteral("cam-2") }));

    kqm::smart<const kq::Node> node = db->node(QStringLiteral("cam-1"));
    QVERIFY(!node.null());
    QCOMPARE(node->id(), QStringLiteral("cam-1"));
    QCOMPARE(node->name(), QStringLiteral("Entrance"));

    kqm::smart<const kq::INodeConfigSession> s = db->session(QStringLiteral("cam-1"));
    QVERIFY(!s.null());
    QCOMPARE(s->imageRect(), QRectF(0, 0, 1280, 720));

    const auto* mode = s->property(kq::EStringOptionsProperty(4097), ctx);
    QVERIFY(mode);
    QCOMPARE(mode->value().values, (QVector<QString> { QStringLiteral("auto"), QStringLiteral("manual") }));
    QCOMPARE(mode->value().selectedIndex, 0);
    QCOMPARE(mode->info()->idName(), QStringLiteral("ExposureMode"));
    QCOMPARE(mode->info()->name(), QStringLiteral("Exposure mode"));
    QCOMPARE(mode->info()->needsReboot(), false);

    const auto* longP = s->property(kq::ELongProperty(0x1002), ctx);
    QVERIFY(longP);
    QCOMPARE(longP->value(), 7);
    QCOMPARE(longP->typedInfo()->min, 0);
    QCOMPARE(longP->typedInfo()->max, 100);

    const auto* boolP = s->property(kq::EBoolProperty(0x1003), ctx);
    QVERIFY(boolP);
    QCOMPARE(boolP->value(), true);
    QCOMPARE(boolP->info()->needsReboot(), true);

    QCOMPARE(s->property(kq::EStringProperty(4100), ctx)->value(), QStringLiteral("Main door"));

    const auto* longOpt = s->property(kq::ELongOptionsProperty(4101), ctx);
    QCOMPARE(longOpt->value().values, (QVector<int> { 1, 5, 10 }));
    QCOMPARE(longOpt->value().selectedIndex, 2);

    const auto* dblOpt = s->property(kq::EDoubleOptionsProperty(4102), ctx);
    QCOMPARE(dblOpt->value().values, (QVector<double> { 7.5, 12.5, 25.0 }));
    QCOMPARE(dblOpt->value().selectedIndex, -1);

    const auto* multi = s->property(kq::EStringMultiOptionsProperty(4103), ctx);
    QCOMPARE(multi->value().selectedIndices, (QVector<int> { 2, 0 }));
    QCOMPARE(multi->value().getSelectedValues(), (QVector<QString> { QStringLiteral("AE"), QStringLiteral("motion") }));

    const auto* list = s->property(kq::EStringListProperty(4104), ctx);
    QCOMPARE(QVector<QString>(list->value()),
        (QVector<QString> { QStringLiteral("10.0.0.1:80"), QStringLiteral("10.0.0.2%3A81") }));

    const auto* profiles = s->property(kq::EProfilesProperty(4105), ctx);
    QCOMPARE(profiles->value().keys(), (QList<QString> { QStringLiteral("day"), QStringLiteral("night") }));
    QCOMPARE(profiles->value().value(QStringLiteral("day")).text, QStringLiteral("on"));

    // A hexadecimal identifier above 0x7fffffff is the signed 32-bit number.
    QCOMPARE(s->property(kq::ELongProperty(-1), ctx)->value(), -3);

    // Keys that are not properties stay with the node.
    const auto* memory = dynamic_cast<const kq::MemoryConfigSession*>(s.get());
    QVERIFY(memory);
    QCOMPARE(memory->attribute(QStringLiteral("video")).toString(), QStringLiteral("clip.gif"));
    QCOMPARE(memory->attribute(QStringLiteral("deskew")).toMap().value(QStringLiteral("lens")).toDouble(), 0.25);
}

void TestNodeDB::defaultsForOptionalKeys()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(R"({ "nodes": [ { "id": "bare", "properties": [
        { "id": 1, "kind": "long", "value": 0 },
        { "id": 2, "kind": "stringOptions", "values": [] },
        { "id": 3, "kind": "stringMultiOptions", "values": ["a"] } ] } ] })"));
    kqm::smart<const kq::INodeConfigSession> s = db->session(QStringLiteral("bare"));
    QCOMPARE(s->imageRect(), QRectF(0, 0, 1920, 1080));
    QCOMPARE(db->node(QStringLiteral("bare"))->name(), QString());
    const auto* l = s->property(kq::ELongProperty(1), ctx);
    QCOMPARE(l->typedInfo()->min, std::numeric_limits<qint32>::min());
    QCOMPARE(l->typedInfo()->max, std::numeric_limits<qint32>::max());
    QCOMPARE(l->info()->idName(), QString());
    QCOMPARE(l->info()->needsReboot(), false);
    QCOMPARE(s->property(kq::EStringOptionsProperty(2), ctx)->value().selectedIndex, -1);
    QVERIFY(s->property(kq::EStringMultiOptionsProperty(3), ctx)->value().selectedIndices.isEmpty());
}

void TestNodeDB::roundTripGivesEqualSessions()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(kAllKinds));
    const QByteArray saved = db->toJson();
    db->clear();
    QString error;
    QVERIFY2(db->loadJson(saved, &error), qPrintable(error));
    QCOMPARE(db->toJson(), saved);
    // And the saved form is the same document as the hand-written one.
    const QJsonObject hand = QJsonDocument::fromJson(kAllKinds).object();
    const QJsonObject again = QJsonDocument::fromJson(saved).object();
    QCOMPARE(again.value(QStringLiteral("nodes")).toArray().size(), hand.value(QStringLiteral("nodes")).toArray().size());
    kqm::smart<const kq::INodeConfigSession> s = db->session(QStringLiteral("cam-1"));
    QCOMPARE(s->property(kq::EDoubleOptionsProperty(4102), ctx)->value().values, (QVector<double> { 7.5, 12.5, 25.0 }));
    QCOMPARE(s->property(kq::ELongProperty(-1), ctx)->value(), -3);
    QCOMPARE(s->property(kq::EStringMultiOptionsProperty(4103), ctx)->value().selectedIndices, (QVector<int> { 2, 0 }));
    const auto* memory = dynamic_cast<const kq::MemoryConfigSession*>(s.get());
    QCOMPARE(memory->attribute(QStringLiteral("video")).toString(), QStringLiteral("clip.gif"));
}

void TestNodeDB::savedDocumentKeepsWritesThroughSessions()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(kAllKinds));
    kqm::smart<kq::INodeConfigSession> s = db->session(QStringLiteral("cam-1"));
    s->property(kq::ELongProperty(0x1002), ctx)->setValue(42);
    s->property(kq::EStringOptionsProperty(4097), ctx)->value().setSelectedIndex(1);
    const QByteArray saved = db->toJson();
    db->clear();
    QVERIFY(db->loadJson(saved));
    s = db->session(QStringLiteral("cam-1"));
    QCOMPARE(s->property(kq::ELongProperty(0x1002), ctx)->value(), 42);
    QCOMPARE(static_cast<const kq::INodeConfigSession*>(s.get())->property(kq::EStringOptionsProperty(4097), ctx)->value().getSelectedValue(),
        QStringLiteral("manual"));
}

void TestNodeDB::replacesNodesOfTheSameId()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(kAllKinds));
    QVERIFY(db->loadJson(R"({ "nodes": [ { "id": "cam-3" }, { "id": "cam-1", "name": "New",
        "properties": [ { "id": 1, "kind": "bool", "value": false } ] } ] })"));
    QCOMPARE(db->nodeIds(), (QStringList { QStringLiteral("cam-1"), QStringLiteral("cam-2"), QStringLiteral("cam-3") }));
    QCOMPARE(db->node(QStringLiteral("cam-1"))->name(), QStringLiteral("New"));
    kqm::smart<const kq::INodeConfigSession> s = db->session(QStringLiteral("cam-1"));
    QVERIFY(s->hasProperty(1, ctx));
    QVERIFY(!s->hasProperty(4097, ctx));
}

void TestNodeDB::handlesOutliveReplacement()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(kAllKinds));
    kqm::smart<kq::INodeConfigSession> old = db->session(QStringLiteral("cam-1"));
    db->clear();
    QVERIFY(db->session(QStringLiteral("cam-1")).null());
    // The handle keeps the old session alive and usable.
    QCOMPARE(old->property(kq::ELongProperty(0x1002), ctx)->value(), 7);
}

void TestNodeDB::insertRemoveClear()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession(QRectF(0, 0, 320, 240)));
    session->emplace<kq::BoolProperty>(QSharedPointer<const kq::BoolInfo>::create(5, QString(), QString(), false), true);
    db->insert(QStringLiteral("hand"), QStringLiteral("Hand made"), session);
    QCOMPARE(db->session(QStringLiteral("hand")).get(), static_cast<kq::INodeConfigSession*>(session.get()));
    QVERIFY(db->toJson().contains("\"Hand made\""));
    QVERIFY(db->remove(QStringLiteral("hand")));
    QVERIFY(!db->remove(QStringLiteral("hand")));
    QVERIFY(db->node(QStringLiteral("hand")).null());
    db->insert(QStringLiteral("a"), QString(), session);
    db->clear();
    QVERIFY(db->nodeIds().isEmpty());
    QCOMPARE(QJsonDocument::fromJson(db->toJson()).object().value(QStringLiteral("nodes")).toArray().size(), 0);
}

void TestNodeDB::idOfFindsTheNodeOfASession()
{
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(R"({ "nodes": [ { "id": "a" }, { "id": "b" } ] })"));
    const kqm::smart<kq::INodeConfigSession> a = db->session(QStringLiteral("a"));
    const kqm::smart<kq::INodeConfigSession> b = db->session(QStringLiteral("b"));
    QCOMPARE(db->idOf(a), QStringLiteral("a"));
    QCOMPARE(db->idOf(b), QStringLiteral("b"));
    // A session of no node here, a null handle, a node gone.
    const kqm::smart<kq::INodeConfigSession> loose(new kq::MemoryConfigSession(QRectF(0, 0, 320, 240)));
    QVERIFY(db->idOf(loose).isEmpty());
    QVERIFY(db->idOf(kqm::smart<kq::INodeConfigSession>()).isEmpty());
    QVERIFY(db->remove(QStringLiteral("a")));
    QVERIFY(db->idOf(a).isEmpty());
    // One session under a new identifier: found there.
    kqm::smart<kq::MemoryConfigSession> hand(new kq::MemoryConfigSession(QRectF(0, 0, 320, 240)));
    db->insert(QStringLiteral("hand"), QString(), hand);
    QCOMPARE(db->idOf(hand), QStringLiteral("hand"));
    // Another database does not know this one's sessions.
    kq::NodeDB other;
    QVERIFY(other.idOf(b).isEmpty());
}

namespace {
    // Two cameras with the same property definitions and choices, and a
    // third whose Resolution property has another name.
    const QByteArray kThreeOfAModel = R"({ "nodes": [
      { "id": "a", "properties": [
        { "id": 1, "kind": "stringOptions", "idName": "Resolution", "values": ["720p", "1080p"], "selected": 0 },
        { "id": 2, "kind": "long", "idName": "Quality", "value": 5, "min": 0, "max": 10 },
        { "id": 3, "kind": "doubleOptions", "values": [5, 12.5], "selected": 1 } ] },
      { "id": "b", "properties": [
        { "id": 1, "kind": "stringOptions", "idName": "Resolution", "values": ["720p", "1080p"], "selected": 1 },
        { "id": 2, "kind": "long", "idName": "Quality", "value": 9, "min": 0, "max": 10 },
        { "id": 3, "kind": "doubleOptions", "values": [5, 12.5], "selected": 0 } ] },
      { "id": "c", "properties": [
        { "id": 1, "kind": "stringOptions", "idName": "Size", "values": ["720p", "1080p"], "selected": 1 },
        { "id": 2, "kind": "long", "idName": "Quality", "value": 9, "min": 0, "max": 9 },
        { "id": 3, "kind": "doubleOptions", "values": [5, 12.5, 25], "selected": 0 } ] } ] })";

    template <class P>
    const P* propertyOf(const QString& node, int id)
    {
        const auto session = kq::NodeDB::getDB()->session(node);
        return session.null() ? nullptr : dynamic_cast<const P*>(session->property(id, ctx));
    }
}

// Cameras of one model repeat the same property definitions and choices: the
// database holds each once, which is most of what a large document's nodes
// would otherwise take.
void TestNodeDB::equalInfosAndChoicesAreSharedBetweenNodes()
{
    QVERIFY(kq::NodeDB::getDB()->loadJson(kThreeOfAModel));
    const auto* aOptions = propertyOf<kq::StringOptionsProperty>(QStringLiteral("a"), 1);
    const auto* bOptions = propertyOf<kq::StringOptionsProperty>(QStringLiteral("b"), 1);
    const auto* cOptions = propertyOf<kq::StringOptionsProperty>(QStringLiteral("c"), 1);
    QVERIFY(aOptions && bOptions && cOptions);
    QCOMPARE(aOptions->info(), bOptions->info());
    QVERIFY(cOptions->info() != aOptions->info()); // another idName
    QCOMPARE(cOptions->info()->idName(), QStringLiteral("Size"));
    QCOMPARE(aOptions->value().values.constData(), bOptions->value().values.constData());
    QCOMPARE(cOptions->value().values.constData(), aOptions->value().values.constData());
    QCOMPARE(aOptions->value().selectedIndex, 0);
    QCOMPARE(bOptions->value().selectedIndex, 1);

    const auto* aLong = propertyOf<kq::LongProperty>(QStringLiteral("a"), 2);
    const auto* bLong = propertyOf<kq::LongProperty>(QStringLiteral("b"), 2);
    const auto* cLong = propertyOf<kq::LongProperty>(QStringLiteral("c"), 2);
    QVERIFY(aLong && bLong && cLong);
    QCOMPARE(aLong->info(), bLong->info());
    QVERIFY(cLong->info() != aLong->info()); // another maximum
    QCOMPARE(cLong->typedInfo()->max, 9);
    QCOMPARE(aLong->typedInfo()->max, 10);
    QCOMPARE(bLong->value(), 9);

    const auto* aDouble = propertyOf<kq::DoubleOptionsProperty>(QStringLiteral("a"), 3);
    const auto* cDouble = propertyOf<kq::DoubleOptionsProperty>(QStringLiteral("c"), 3);
    QVERIFY(aDouble && cDouble);
    QVERIFY(aDouble->value().values.constData() != cDouble->value().values.constData());
    QCOMPARE(cDouble->value().values, (QVector<double> { 5, 12.5, 25 }));
    // Shared or not, every node is saved with its own values.
    const QJsonArray nodes
        = QJsonDocument::fromJson(kq::NodeDB::getDB()->toJson()).object().value(QStringLiteral("nodes")).toArray();
    QCOMPARE(nodes.size(), 3);
    const auto savedProperty = [&](int node, int index) {
        return nodes.at(node).toObject().value(QStringLiteral("properties")).toArray().at(index).toObject();
    };
    QCOMPARE(savedProperty(1, 0).value(QStringLiteral("selected")).toInt(), 1);
    QCOMPARE(savedProperty(2, 0).value(QStringLiteral("idName")).toString(), QStringLiteral("Size"));
    QCOMPARE(savedProperty(2, 1).value(QStringLiteral("max")).toInt(), 9);
    QCOMPARE(savedProperty(2, 2).value(QStringLiteral("values")).toArray().size(), 3);
    QCOMPARE(savedProperty(0, 2).value(QStringLiteral("values")).toArray().size(), 2);
}

void TestNodeDB::sharedChoicesDetachOnWrite()
{
    QVERIFY(kq::NodeDB::getDB()->loadJson(kThreeOfAModel));
    const auto session = kq::NodeDB::getDB()->session(QStringLiteral("a"));
    auto* aOptions = static_cast<kq::StringOptionsProperty*>(session->property(1, ctx));
    aOptions->value().setSelectedValue(QStringLiteral("4K")); // appended, then selected
    QCOMPARE(aOptions->value().values, (QVector<QString> { QStringLiteral("720p"), QStringLiteral("1080p"), QStringLiteral("4K") }));
    for (const auto& node : { QStringLiteral("b"), QStringLiteral("c") }) {
        const auto* other = propertyOf<kq::StringOptionsProperty>(node, 1);
        QCOMPARE(other->value().values, (QVector<QString> { QStringLiteral("720p"), QStringLiteral("1080p") }));
    }
}

void TestNodeDB::sessionFindsPropertiesAtEverySize_data()
{
    QTest::addColumn<int>("count");
    for (int count : { 0, 1, 14, 31, 32, 33, 34, 100, 1000 })
        QTest::addRow("%d properties", count) << count;
}

// A session finds its properties by going through them while it holds few
// and through an index once it holds many: every operation must agree
// whichever way it is answered, across the change and back.
void TestNodeDB::sessionFindsPropertiesAtEverySize()
{
    QFETCH(int, count);
    kq::MemoryConfigSession session;
    const auto add = [&](int id, qint32 value) {
        return session.emplace<kq::LongProperty>(
            QSharedPointer<const kq::LongInfo>::create(id, QString(), QString(), false), value);
    };
    // Identifiers out of order and spread over the whole range.
    const auto idOf = [](int i) { return int(quint32(i) * 2654435761u); };
    for (int i = 0; i < count; ++i)
        add(idOf(i), i);
    QCOMPARE(session.properties().size(), count);
    for (int i = 0; i < count; ++i) {
        QVERIFY(session.hasProperty(idOf(i), ctx));
        QCOMPARE(session.property(kq::ELongProperty(idOf(i)), ctx)->value(), i);
    }
    QVERIFY(!session.hasProperty(idOf(count), ctx));
    QVERIFY(!session.property(idOf(count), ctx));
    // Replacing keeps the place in the list; the new property is found.
    if (count > 0) {
        kq::LongProperty* replaced = add(idOf(count / 2), -1);
        QCOMPARE(session.properties().size(), count);
        QCOMPARE(session.properties().at(count / 2), static_cast<kq::Property*>(replaced));
        QCOMPARE(session.property(idOf(count / 2), ctx), static_cast<kq::Property*>(replaced));
    }
    // Removing every other one, then adding them again at the end.
    for (int i = 0; i < count; i += 2)
        QVERIFY(session.removeProperty(idOf(i)));
    for (int i = 0; i < count; ++i)
        QCOMPARE(session.hasProperty(idOf(i), ctx), i % 2 == 1);
    for (int i = 0; i < count; i += 2)
        add(idOf(i), 10 * i);
    QCOMPARE(session.properties().size(), count);
    for (int i = 0; i < count; ++i) {
        const int expected = i % 2 == 0 ? 10 * i : (i == count / 2 ? -1 : i);
        QCOMPARE(session.property(kq::ELongProperty(idOf(i)), ctx)->value(), expected);
    }
    if (count > 1)
        QCOMPARE(session.properties().last()->id(), idOf((count - 1) & ~1));
}

void TestNodeDB::badInputChangesNothing_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");

    QTest::newRow("malformed JSON") << QByteArray("{ \"nodes\": [ ") << QStringLiteral("malformed JSON at offset");
    QTest::newRow("not an object") << QByteArray("[1, 2]") << QStringLiteral("'nodes' array");
    QTest::newRow("no nodes array") << QByteArray("{ \"nodes\": 3 }") << QStringLiteral("'nodes' array");
    QTest::newRow("node not an object") << QByteArray("{ \"nodes\": [ 3 ] }") << QStringLiteral("node #0 must be an object");
    QTest::newRow("missing node id") << QByteArray("{ \"nodes\": [ { \"name\": \"x\" } ] }") << QStringLiteral("'id' is missing");
    QTest::newRow("empty node id") << QByteArray("{ \"nodes\": [ { \"id\": \"\" } ] }") << QStringLiteral("'id' must not be empty");
    QTest::newRow("duplicate node id") << QByteArray("{ \"nodes\": [ { \"id\": \"a\" }, { \"id\": \"a\" } ] }")
                                       << QStringLiteral("node 'a': duplicate node id");
    QTest::newRow("bad imageRect") << oneNode("", ", \"imageRect\": [0, 0, 10]") << QStringLiteral("node 'cam-1': 'imageRect'");
    QTest::newRow("empty imageRect") << oneNode("", ", \"imageRect\": [0, 0, 0, 10]")
                                     << QStringLiteral("node 'cam-1': 'imageRect' must have a positive width");
    QTest::newRow("property not an object") << oneNode("5") << QStringLiteral("node 'cam-1', property #0: must be an object");
    QTest::newRow("missing property id") << oneNode("{ \"kind\": \"bool\", \"value\": true }")
                                         << QStringLiteral("node 'cam-1', property #0: 'id' is missing");
    QTest::newRow("bad hex id") << oneNode("{ \"id\": \"0xZZ\", \"kind\": \"bool\", \"value\": true }")
                                << QStringLiteral("property #0: 'id' text '0xZZ' is not a 32-bit hexadecimal number");
    QTest::newRow("id not hex text") << oneNode("{ \"id\": \"12\", \"kind\": \"bool\", \"value\": true }")
                                     << QStringLiteral("'id' text '12' is not a 0x hexadecimal number");
    QTest::newRow("fractional id") << oneNode("{ \"id\": 1.5, \"kind\": \"bool\", \"value\": true }")
                                   << QStringLiteral("'id' must be a 32-bit integer");
    QTest::newRow("duplicate property id")
        << oneNode("{ \"id\": 1, \"kind\": \"bool\", \"value\": true }, { \"id\": \"0x1\", \"kind\": \"string\", \"value\": \"\" }")
        << QStringLiteral("node 'cam-1', property 0x1: duplicate property id");
    QTest::newRow("missing kind") << oneNode("{ \"id\": 1, \"value\": true }") << QStringLiteral("property 0x1: 'kind' is missing");
    QTest::newRow("unknown kind") << oneNode("{ \"id\": 1, \"kind\": \"colour\" }")
                                  << QStringLiteral("node 'cam-1', property 0x1: unknown kind 'colour'");
    QTest::newRow("bool of wrong type") << oneNode("{ \"id\": 1, \"kind\": \"bool\", \"value\": 1 }")
                                        << QStringLiteral("property 0x1: 'value' must be true or false");
    QTest::newRow("long of wrong type") << oneNode("{ \"id\": 2, \"kind\": \"long\", \"value\": \"7\" }")
                                        << QStringLiteral("property 0x2: 'value' must be an integer");
    QTest::newRow("long too large") << oneNode("{ \"id\": 2, \"kind\": \"long\", \"value\": 4294967296 }")
                                    << QStringLiteral("property 0x2: 'value' must be a 32-bit integer");
    QTest::newRow("long missing value") << oneNode("{ \"id\": 2, \"kind\": \"long\" }") << QStringLiteral("property 0x2: 'value' is missing");
    QTest::newRow("min above max") << oneNode("{ \"id\": 2, \"kind\": \"long\", \"value\": 1, \"min\": 5, \"max\": 4 }")
                                   << QStringLiteral("'min' 5 is above 'max' 4");
    QTest::newRow("string of wrong type") << oneNode("{ \"id\": 3, \"kind\": \"string\", \"value\": [] }")
                                          << QStringLiteral("property 0x3: 'value' must be a string");
    QTest::newRow("needsReboot of wrong type")
        << oneNode("{ \"id\": 3, \"kind\": \"string\", \"value\": \"\", \"needsReboot\": \"yes\" }")
        << QStringLiteral("'needsReboot' must be true or false");
    QTest::newRow("options without values") << oneNode("{ \"id\": 4, \"kind\": \"stringOptions\", \"selected\": 0 }")
                                            << QStringLiteral("property 0x4: 'values' is missing");
    QTest::newRow("string option of wrong type")
        << oneNode("{ \"id\": 4, \"kind\": \"stringOptions\", \"values\": [\"a\", 2] }")
        << QStringLiteral("property 0x4: element 1 of 'values' must be a string");
    QTest::newRow("long option not integral")
        << oneNode("{ \"id\": 4, \"kind\": \"longOptions\", \"values\": [1, 2.5] }")
        << QStringLiteral("property 0x4: 'values[1]' must be a 32-bit integer");
    QTest::newRow("double option of wrong type")
        << oneNode("{ \"id\": 4, \"kind\": \"doubleOptions\", \"values\": [true] }")
        << QStringLiteral("property 0x4: element 0 of 'values' must be a number");
    QTest::newRow("selected out of range")
        << oneNode("{ \"id\": 4, \"kind\": \"stringOptions\", \"values\": [\"a\"], \"selected\": 1 }")
        << QStringLiteral("node 'cam-1', property 0x4: 'selected' index 1 is out of range (1 values)");
    QTest::newRow("selected below -1")
        << oneNode("{ \"id\": 4, \"kind\": \"longOptions\", \"values\": [1], \"selected\": -2 }")
        << QStringLiteral("'selected' index -2 is out of range");
    QTest::newRow("multi selected out of range")
        << oneNode("{ \"id\": 5, \"kind\": \"stringMultiOptions\", \"values\": [\"a\"], \"selected\": [0, 3] }")
        << QStringLiteral("property 0x5: 'selected' index 3 is out of range (1 values)");
    QTest::newRow("multi selected not an array")
        << oneNode("{ \"id\": 5, \"kind\": \"stringMultiOptions\", \"values\": [\"a\"], \"selected\": 0 }")
        << QStringLiteral("property 0x5: 'selected' must be an array");
    QTest::newRow("string list of wrong type") << oneNode("{ \"id\": 6, \"kind\": \"stringList\", \"value\": [\"a\", null] }")
                                               << QStringLiteral("property 0x6: element 1 of 'value' must be a string");
    QTest::newRow("profiles not an object") << oneNode("{ \"id\": 7, \"kind\": \"profiles\", \"value\": [] }")
                                            << QStringLiteral("property 0x7: 'value' must be an object of profile texts");
    QTest::newRow("profile of wrong type") << oneNode("{ \"id\": 7, \"kind\": \"profiles\", \"value\": { \"day\": 1 } }")
                                           << QStringLiteral("property 0x7: profile 'day' must be a string");
}

void TestNodeDB::badInputChangesNothing()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    kq::NodeDB* db = kq::NodeDB::getDB();
    QVERIFY(db->loadJson(kAllKinds));
    const QByteArray before = db->toJson();
    kqm::smart<kq::INodeConfigSession> sessionBefore = db->session(QStringLiteral("cam-1"));

    QString message;
    QVERIFY(!db->loadJson(json, &message));
    QVERIFY2(message.contains(error), qPrintable(message));
    QVERIFY(!db->loadJson(json)); // no error pointer is fine too

    QCOMPARE(db->toJson(), before);
    QCOMPARE(db->session(QStringLiteral("cam-1")), sessionBefore);
    QCOMPARE(db->nodeIds(), (QStringList { QStringLiteral("cam-1"), QStringLiteral("cam-2") }));
}

QTEST_GUILESS_MAIN(TestNodeDB)
#include "tst_nodedb.moc"
