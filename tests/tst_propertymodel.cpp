// Property model: interfaces, property infos, properties, the in-memory
// session, shared handles and the logger's configuration.
#include "LogCapture.h"

#include <kq/MemoryConfigSession.h>
#include <kq/NodeConfigSession.h>
#include <kq/Property.h>
#include <kqm/Smart.h>

#include <QBuffer>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {

struct Tracked {
    explicit Tracked(int* counter)
        : destroyed(counter)
    {
    }
    ~Tracked() { ++*destroyed; }
    int* destroyed;
};

struct Derived : Tracked {
    using Tracked::Tracked;
    int extra = 5;
};

template <class Info>
QSharedPointer<const Info> info(qint32 id, const char* idName = "Id", const char* name = "Name", bool reboot = false)
{
    return QSharedPointer<const Info>::create(id, QLatin1String(idName), QLatin1String(name), reboot);
}

const int ctx = kq::HasProperties::k_contextIndexDefault;

} // namespace

class TestPropertyModel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void getInterfaceByExactName_data();
    void getInterfaceByExactName();
    void getInterfaceConstFormCallsVirtual();
    void sessionAnswersItsOwnInterface();

    void cloneKeepsFieldsAndType_data();
    void cloneKeepsFieldsAndType();
    void cloneOfGenericInfoCopiesValue();
    void longInfoCarriesBounds();

    void propertyIdComesFromInfo();
    void valueAcceptedQuery();
    void announceChangeCountsAndNotifies();

    void sessionTypedOperationsAgreeWithHasProperty();
    void sessionWritableStringOptionsIsTheSameProperty();
    void sessionReplaceAndRemove();
    void sessionAttributes();

    void smartCopyKeepsPointeeAlive();
    void smartDefaultIsNull();
    void smartAssignmentLeavesOldGroup();
    void smartClearStartsEmptyGroup();
    void smartConvertsToConstAndBase();
    void smartCopiesOnSeveralThreads();

    void logThresholdAdmitsLevelsAtOrAbove();
    void logDefaultThresholdIsTwo();
    void logKeepsStreamNumberFlags();
};

void TestPropertyModel::getInterfaceByExactName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("exact") << QByteArray("kq::IInterface") << true;
    QTest::newRow("shorter") << QByteArray("kq::IInterfac") << false;
    QTest::newRow("longer") << QByteArray("kq::IInterfaces") << false;
    QTest::newRow("one byte differs") << QByteArray("kq::Iinterface") << false;
    QTest::newRow("trailing NUL") << QByteArray("kq::IInterface\0", 15) << false;
    QTest::newRow("empty") << QByteArray() << false;
}

void TestPropertyModel::getInterfaceByExactName()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, found);
    kq::MemoryConfigSession session;
    kq::IInterface* iface = &session;
    const std::string key(name.constData(), size_t(name.size()));
    QCOMPARE(iface->getInterface(key) == iface, found);
    if (!found)
        QVERIFY(!iface->getInterface(key));
}

void TestPropertyModel::getInterfaceConstFormCallsVirtual()
{
    const kq::MemoryConfigSession session;
    const kq::IInterface* iface = &session;
    QCOMPARE(iface->getInterface("kq::IInterface"), iface);
    // The session's own override answers through the const form too.
    QVERIFY(iface->getInterface("kq::INodeConfigSession") != nullptr);
    QVERIFY(!iface->getInterface("kq::Nothing"));
}

void TestPropertyModel::sessionAnswersItsOwnInterface()
{
    kq::MemoryConfigSession session;
    kq::IInterface* iface = session.getInterface("kq::INodeConfigSession");
    QVERIFY(iface);
    QCOMPARE(static_cast<kq::INodeConfigSession*>(static_cast<kq::MemoryConfigSession*>(iface)),
        static_cast<kq::INodeConfigSession*>(&session));
}

void TestPropertyModel::cloneKeepsFieldsAndType_data()
{
    QTest::addColumn<int>("which");
    QTest::newRow("ConfigSetsInfo") << 0;
    QTest::newRow("SubViewSetInfo") << 1;
    QTest::newRow("TimeTableInfo") << 2;
    QTest::newRow("CustomDaysInfo") << 3;
    QTest::newRow("ProfilesInfo") << 4;
}

void TestPropertyModel::cloneKeepsFieldsAndType()
{
    QFETCH(int, which);
    const qint32 id = 0x4000 + which;
    const QString idName = QStringLiteral("IdName%1").arg(which);
    const QString name = QStringLiteral("Name %1").arg(which);

    auto check = [&](const kq::PropertyInfo& original, auto* typedNull, auto sameValue) {
        using Named = std::remove_pointer_t<decltype(typedNull)>;
        std::unique_ptr<kq::PropertyInfo> copy(original.clone());
        auto* named = dynamic_cast<Named*>(copy.get());
        QVERIFY(named);
        QCOMPARE(typeid(*copy), typeid(Named));
        QCOMPARE(copy->id, id);
        QCOMPARE(copy->idName(), idName);
        QCOMPARE(copy->name(), name);
        QCOMPARE(copy->needsReboot(), true);
        QVERIFY(sameValue(static_cast<const Named&>(original).value, named->value));
        // The covariant form hands back the named type directly.
        std::unique_ptr<Named> direct(static_cast<const Named&>(original).clone());
        QCOMPARE(direct->id, id);
    };

    switch (which) {
    case 0: {
        kq::ConfigSets sets;
        kq::ConfigSet set;
        set.name = QStringLiteral("night");
        set.entries.insert(QStringLiteral("gain"), 12);
        sets << set;
        kq::ConfigSetsInfo original(id, idName, name, true, sets);
        check(original, static_cast<kq::ConfigSetsInfo*>(nullptr), [](const kq::ConfigSets& a, const kq::ConfigSets& b) {
            return a.size() == 1 && b.size() == 1 && a.first().name == b.first().name && a.first() == b.first();
        });
        break;
    }
    case 1: {
        kq::SubViewSet set;
        kq::SubViewWindow w;
        w.setCoords(QRect(1, 2, 30, 40));
        w.title = QStringLiteral("door");
        set.windows << w;
        kq::SubViewSetInfo original(id, idName, name, true, set);
        check(original, static_cast<kq::SubViewSetInfo*>(nullptr), [](const kq::SubViewSet& a, const kq::SubViewSet& b) {
            return a.windows.size() == 1 && b.windows.first().getCoords() == a.windows.first().getCoords()
                && b.windows.first().title == QLatin1String("door");
        });
        break;
    }
    case 2: {
        kq::TimeTable table;
        table.name = QStringLiteral("weekdays");
        kq::TimeTableRange range;
        range.days << Qt::Monday << Qt::Friday;
        table.ranges << range;
        kq::TimeTableInfo original(id, idName, name, true, QList<kq::TimeTable> { table });
        check(original, static_cast<kq::TimeTableInfo*>(nullptr),
            [](const QList<kq::TimeTable>& a, const QList<kq::TimeTable>& b) {
                return a.size() == 1 && b.size() == 1 && b.first().name == a.first().name
                    && b.first().ranges.first().days == a.first().ranges.first().days;
            });
        break;
    }
    case 3: {
        kq::CustomDay day;
        day.day = QDate(2026, 12, 24);
        kq::CustomDaysInfo original(id, idName, name, true, QList<kq::CustomDay> { day });
        check(original, static_cast<kq::CustomDaysInfo*>(nullptr),
            [](const QList<kq::CustomDay>& a, const QList<kq::CustomDay>& b) {
                return a.size() == 1 && b.size() == 1 && a.first().day == b.first().day;
            });
        break;
    }
    case 4: {
        kq::Profiles profiles;
        profiles.insert(QStringLiteral("day"), kq::Profile(QStringLiteral("on")));
        kq::ProfilesInfo original(id, idName, name, true, profiles);
        check(original, static_cast<kq::ProfilesInfo*>(nullptr),
            [](const kq::Profiles& a, const kq::Profiles& b) { return a == b && b.size() == 1; });
        break;
    }
    }
}

void TestPropertyModel::cloneOfGenericInfoCopiesValue()
{
    using Info = kq::TPropertyInfo<kq::ELongProperty, int>;
    Info original(7, QStringLiteral("Seven"), QStringLiteral("Seven things"), false, 77);
    std::unique_ptr<Info> copy(original.clone());
    QCOMPARE(copy->id, 7);
    QCOMPARE(copy->idName(), QStringLiteral("Seven"));
    QCOMPARE(copy->name(), QStringLiteral("Seven things"));
    QCOMPARE(copy->needsReboot(), false);
    QCOMPARE(copy->value, 77);
    original.value = 1;
    QCOMPARE(copy->value, 77);
}

void TestPropertyModel::longInfoCarriesBounds()
{
    kq::LongInfo bounds(1, QString(), QString(), false, -5, 50);
    std::unique_ptr<kq::LongInfo> copy(bounds.clone());
    QCOMPARE(copy->min, -5);
    QCOMPARE(copy->max, 50);
    kq::LongInfo full(2, QString(), QString(), false);
    QCOMPARE(full.min, std::numeric_limits<qint32>::min());
    QCOMPARE(full.max, std::numeric_limits<qint32>::max());
}

void TestPropertyModel::propertyIdComesFromInfo()
{
    kq::BoolProperty p(info<kq::BoolInfo>(-12345), true);
    QCOMPARE(p.id(), -12345);
    QCOMPARE(p.info()->id, -12345);
    QCOMPARE(p.value(), true);
}

void TestPropertyModel::valueAcceptedQuery()
{
    kq::LongProperty l(QSharedPointer<const kq::LongInfo>::create(1, QString(), QString(), false, 0, 10), 5);
    QVERIFY(l.isValueAccepted());
    l.setValue(11);
    QVERIFY(!l.isValueAccepted());

    kq::StringOptionsProperty s(info<kq::StringOptionsProperty::InfoType>(2));
    QVERIFY(!s.isValueAccepted()); // nothing selected
    s.value().setSelectedValue(QStringLiteral("x"));
    QVERIFY(s.isValueAccepted());

    kq::StringMultiOptionsProperty m(info<kq::StringMultiOptionsProperty::InfoType>(3));
    QVERIFY(m.isValueAccepted());
    m.value().selectedIndices = { 4 };
    QVERIFY(!m.isValueAccepted());
}

void TestPropertyModel::announceChangeCountsAndNotifies()
{
    kq::StringProperty p(info<kq::StringInfo>(9), QStringLiteral("a"));
    QCOMPARE(p.changeCount(), quint64(0));
    QList<kq::Property*> seen;
    p.setChangeHandler([&seen](kq::Property* changed) { seen << changed; });
    p.announceChange();
    p.announceChange();
    QCOMPARE(p.changeCount(), quint64(2));
    QCOMPARE(seen, (QList<kq::Property*> { &p, &p }));
}

void TestPropertyModel::sessionTypedOperationsAgreeWithHasProperty()
{
    kq::MemoryConfigSession s;
    s.emplace<kq::BoolProperty>(info<kq::BoolInfo>(1), true);
    s.emplace<kq::LongProperty>(QSharedPointer<const kq::LongInfo>::create(2, QString(), QString(), false, 0, 9), 3);
    s.emplace<kq::StringProperty>(info<kq::StringInfo>(3), QStringLiteral("s"));
    s.emplace<kq::DoubleOptionsProperty>(info<kq::DoubleOptionsProperty::InfoType>(4));
    s.emplace<kq::LongOptionsProperty>(info<kq::LongOptionsProperty::InfoType>(5));
    s.emplace<kq::StringOptionsProperty>(info<kq::StringOptionsProperty::InfoType>(6));
    s.emplace<kq::StringMultiOptionsProperty>(info<kq::StringMultiOptionsProperty::InfoType>(7));
    s.emplace<kq::StringListProperty>(info<kq::StringListProperty::InfoType>(8));
    s.emplace<kq::ProfilesProperty>(info<kq::ProfilesInfo>(9));

    const kq::INodeConfigSession& c = s;
    for (int id = 1; id <= 9; ++id)
        QVERIFY(c.hasProperty(id, ctx));
    QVERIFY(!c.hasProperty(10, ctx));

    QVERIFY(c.property(kq::EBoolProperty(1), ctx));
    QVERIFY(c.property(kq::ELongProperty(2), ctx));
    QCOMPARE(c.property(kq::ELongProperty(2), ctx)->typedInfo()->max, 9);
    QVERIFY(c.property(kq::EStringProperty(3), ctx));
    QVERIFY(c.property(kq::EDoubleOptionsProperty(4), ctx));
    QVERIFY(c.property(kq::ELongOptionsProperty(5), ctx));
    QVERIFY(c.property(kq::EStringOptionsProperty(6), ctx));
    QVERIFY(c.property(kq::EStringMultiOptionsProperty(7), ctx));
    QVERIFY(c.property(kq::EStringListProperty(8), ctx));
    QVERIFY(c.property(kq::EProfilesProperty(9), ctx));

    // A property asked for as another kind is absent; an unknown one too.
    QVERIFY(!c.property(kq::ELongProperty(1), ctx));
    QVERIFY(!c.property(kq::EStringProperty(2), ctx));
    QVERIFY(!c.property(kq::ELongOptionsProperty(4), ctx));
    QVERIFY(!c.property(kq::EDoubleOptionsProperty(5), ctx));
    QVERIFY(!c.property(kq::EStringOptionsProperty(7), ctx));
    QVERIFY(!c.property(kq::EBoolProperty(10), ctx));
    QVERIFY(!c.property(10, ctx));
    QCOMPARE(c.property(6, ctx)->id(), 6);
}

void TestPropertyModel::sessionWritableStringOptionsIsTheSameProperty()
{
    kq::MemoryConfigSession s;
    auto* p = s.emplace<kq::StringOptionsProperty>(info<kq::StringOptionsProperty::InfoType>(0x7000004),
        kq::TOptions<QString>({ QStringLiteral("normal"), QStringLiteral("wide") }, 0));
    kq::INodeConfigSession& w = s;
    const kq::INodeConfigSession& r = s;
    QCOMPARE(w.property(kq::SOP_DeskewMode, ctx), p);
    QCOMPARE(r.property(kq::SOP_DeskewMode, ctx), p);
    w.property(kq::SOP_DeskewMode, ctx)->value().setSelectedIndex(1);
    QCOMPARE(r.property(kq::SOP_DeskewMode, ctx)->value().getSelectedValue(), QStringLiteral("wide"));
}

void TestPropertyModel::sessionReplaceAndRemove()
{
    kq::MemoryConfigSession s;
    s.emplace<kq::BoolProperty>(info<kq::BoolInfo>(1), true);
    s.emplace<kq::StringProperty>(info<kq::StringInfo>(2), QStringLiteral("b"));
    s.emplace<kq::StringProperty>(info<kq::StringInfo>(1), QStringLiteral("replaced"));
    QCOMPARE(s.properties().size(), 2);
    QCOMPARE(s.properties().first()->id(), 1); // keeps its place
    QVERIFY(!s.property(kq::EBoolProperty(1), ctx));
    QCOMPARE(s.property(kq::EStringProperty(1), ctx)->value(), QStringLiteral("replaced"));
    QVERIFY(s.removeProperty(1));
    QVERIFY(!s.removeProperty(1));
    QVERIFY(!s.hasProperty(1, ctx));
    QCOMPARE(s.properties().size(), 1);
    QVERIFY(!s.addProperty(nullptr));
}

void TestPropertyModel::sessionAttributes()
{
    kq::MemoryConfigSession s(QRectF(0, 0, 640, 480));
    QCOMPARE(s.imageRect(), QRectF(0, 0, 640, 480));
    s.setAttribute(QStringLiteral("video"), QStringLiteral("clip.gif"));
    QCOMPARE(s.attribute(QStringLiteral("video")).toString(), QStringLiteral("clip.gif"));
    s.setAttribute(QStringLiteral("video"), QVariant());
    QVERIFY(!s.attribute(QStringLiteral("video")).isValid());
    QVERIFY(s.attributes().isEmpty());
}

void TestPropertyModel::smartCopyKeepsPointeeAlive()
{
    int destroyed = 0;
    auto* first = new kqm::smart<Tracked>(new Tracked(&destroyed));
    kqm::smart<Tracked> copy(*first);
    QCOMPARE(copy.get(), first->get());
    delete first;
    QCOMPARE(destroyed, 0);
    QVERIFY(!copy.null());
    copy = kqm::smart<Tracked>();
    QCOMPARE(destroyed, 1);
}

void TestPropertyModel::smartDefaultIsNull()
{
    kqm::smart<kq::INodeConfigSession> empty;
    QVERIFY(empty.null());
    QVERIFY(!empty.get());
    QVERIFY(!empty);
    kqm::smart<kq::INodeConfigSession> copy(empty);
    QVERIFY(copy.null());
    kqm::smart<Tracked> none(static_cast<Tracked*>(nullptr));
    QVERIFY(none.null());
}

void TestPropertyModel::smartAssignmentLeavesOldGroup()
{
    int a = 0, b = 0;
    kqm::smart<Tracked> ha(new Tracked(&a));
    kqm::smart<Tracked> hb(new Tracked(&b));
    ha = hb;
    QCOMPARE(a, 1);
    QCOMPARE(b, 0);
    ha = ha; // self-assignment keeps the group
    QVERIFY(!ha.null());
    hb.clear();
    QCOMPARE(b, 0);
    ha.clear();
    QCOMPARE(b, 1);
    QVERIFY(ha.null());
}

void TestPropertyModel::smartClearStartsEmptyGroup()
{
    int destroyed = 0;
    kqm::smart<Tracked> h(new Tracked(&destroyed));
    kqm::smart<Tracked> other(h);
    h.clear();
    QVERIFY(h.null());
    QCOMPARE(destroyed, 0);
    other.clear();
    QCOMPARE(destroyed, 1);
}

void TestPropertyModel::smartConvertsToConstAndBase()
{
    int destroyed = 0;
    {
        kqm::smart<const Tracked> asConst;
        {
            kqm::smart<Derived> derived(new Derived(&destroyed));
            kqm::smart<Tracked> base = derived;
            asConst = base;
            QCOMPARE(static_cast<const Tracked*>(derived.get()), asConst.get());
        }
        QCOMPARE(destroyed, 0);
        QCOMPARE(static_cast<const Derived*>(asConst.get())->extra, 5);
    }
    QCOMPARE(destroyed, 1);

    // The node database hands out sessions that functions taking a const
    // session accept as they are.
    kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession);
    auto takesConst = [](kqm::smart<const kq::INodeConfigSession> s) { return s.get(); };
    QCOMPARE(takesConst(session), static_cast<const kq::INodeConfigSession*>(session.get()));
}

void TestPropertyModel::smartCopiesOnSeveralThreads()
{
    int destroyed = 0;
    kqm::smart<Tracked> shared(new Tracked(&destroyed));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([shared] {
            for (int i = 0; i < 20000; ++i) {
                kqm::smart<Tracked> a(shared);
                kqm::smart<const Tracked> b(a);
                kqm::smart<Tracked> c;
                c = a;
            }
        });
    }
    for (auto& t : threads)
        t.join();
    QCOMPARE(destroyed, 0);
    shared.clear();
    QCOMPARE(destroyed, 1);
}

void TestPropertyModel::logThresholdAdmitsLevelsAtOrAbove()
{
    kqtest::LogCapture log(kq::Log::Warning);
    kq::logLine(kq::Log::Debug, "hidden");
    kq::logLine(kq::Log::Info, "hidden too");
    kq::logLine(kq::Log::Warning, "shown ", 3);
    kq::logLine(kq::Log::Error, "shown ", 4.5);
    QCOMPARE(log.lines(), (QStringList { QStringLiteral("shown 3"), QStringLiteral("shown 4.5") }));
}

void TestPropertyModel::logDefaultThresholdIsTwo()
{
    // The suites run with KQ_LOG_LEVEL=2, the same as the built-in default.
    QCOMPARE(kq::LogQt::logLevel(), 2);
    QBuffer buffer;
    kq::LogQt::setDevice(&buffer);
    kq::logLine(kq::Log::Debug, "notice");
    kq::logLine(kq::Log::Warning, "warning");
    kq::LogQt::getStream(kq::Log::Warning)->flush();
    kq::LogQt::setDevice(nullptr);
    const QString text = QString::fromUtf8(buffer.data());
    QVERIFY(!text.contains(QLatin1String("notice")));
    QVERIFY(text.contains(QLatin1String(" WARNING warning\n")));
}

void TestPropertyModel::logKeepsStreamNumberFlags()
{
    kqtest::LogCapture log;
    QTextStream* s = kq::LogQt::getStream(kq::Log::Warning);
    s->setNumberFlags(QTextStream::ShowBase);
    kq::logLine(kq::Log::Warning, "n=", 10);
    QCOMPARE(s->numberFlags(), QTextStream::NumberFlags(QTextStream::ShowBase));
    s->setNumberFlags({});
    QCOMPARE(log.lines().size(), 1);
}

QTEST_GUILESS_MAIN(TestPropertyModel)
#include "tst_propertymodel.moc"
