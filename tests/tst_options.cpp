// Option values: selection, the append-on-miss rules and their log lines.
#include "LogCapture.h"

#include <kq/Options.h>

#include <QBuffer>
#include <QtTest>

#include <cmath>
#include <limits>

namespace {

const QString kLocation = QStringLiteral("../NodeDriverBase/include/NodeDriverBase/Options:165:");

QString missLine(const char* type, const QString& value)
{
    return kLocation + QStringLiteral("void kq::TOptions<T>::setSelectedValue(const T&) [with T = %1]").arg(QLatin1String(type))
        + QStringLiteral("setSelectedValue didn't find value ") + value
        + QStringLiteral(", automatically adding it. THIS MAY NOT BE WHAT YOU WANTED!");
}

} // namespace

class TestOptions : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void getSelectedValueInRange();
    void getSelectedValueOutOfRange_data();
    void getSelectedValueOutOfRange();
    void getSelectedValueNoticeHiddenByDefaultThreshold();
    void setSelectedValuePresentTwiceSelectsFirst();
    void setSelectedValueOnEmptyList();
    void setSelectedValueIntMiss();
    void setSelectedValueDoubleMiss();
    void setSelectedValueStringMissIsCaseSensitive();
    void setSelectedValueNanAppendsOnce();
    void setSelectedIndexStoresUnchanged();
    void getSelectedValuesInOrder();
    void getSelectedValuesOutOfBounds();
    void setSelectedValuesDuplicateAbsentAppendsOnce();
    void setSelectedValuesEmptyClearsSelection();
    void setSelectedValuesLogsNothing();
};

void TestOptions::getSelectedValueInRange()
{
    kq::TOptions<QString> o({ QStringLiteral("a"), QStringLiteral("b") }, 1);
    kqtest::LogCapture log;
    QCOMPARE(o.getSelectedValue(), QStringLiteral("b"));
    QVERIFY(log.lines().isEmpty());
}

void TestOptions::getSelectedValueOutOfRange_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("minus one") << -1;
    QTest::newRow("size of values") << 3;
    QTest::newRow("far below") << std::numeric_limits<int>::min();
}

void TestOptions::getSelectedValueOutOfRange()
{
    QFETCH(int, index);
    kq::TOptions<int> o({ 1, 2, 3 }, index);
    o.emptyValue = 42;
    kqtest::LogCapture log;
    QCOMPARE(o.getSelectedValue(), 42);
    QList<int> levels;
    QCOMPARE(log.lines(&levels), QStringList { QStringLiteral("getSelectedValue -> returning empty value ") });
    QCOMPARE(levels, QList<int> { 1 });
}

void TestOptions::getSelectedValueNoticeHiddenByDefaultThreshold()
{
    kq::TOptions<double> o({ 1.5 }, -1);
    kqtest::LogCapture log(kq::Log::Info);
    QCOMPARE(o.getSelectedValue(), 0.0);
    QVERIFY(log.lines().isEmpty());
}

void TestOptions::setSelectedValuePresentTwiceSelectsFirst()
{
    kq::TOptions<int> o({ 4, 7, 4 }, -1);
    kqtest::LogCapture log;
    o.setSelectedValue(4);
    QCOMPARE(o.selectedIndex, 0);
    QCOMPARE(o.values, (QVector<int> { 4, 7, 4 }));
    QVERIFY(log.lines().isEmpty());
}

void TestOptions::setSelectedValueOnEmptyList()
{
    kq::TOptions<int> o;
    kqtest::LogCapture log;
    o.setSelectedValue(9);
    QCOMPARE(o.values, QVector<int> { 9 });
    QCOMPARE(o.selectedIndex, 0);
    QList<int> levels;
    QCOMPARE(log.lines(&levels), (QStringList { missLine("int", QStringLiteral("9")), QStringLiteral("possible values: ") }));
    QCOMPARE(levels, (QList<int> { 3, 3 }));
}

void TestOptions::setSelectedValueIntMiss()
{
    kq::TOptions<int> o({ 1, 2 }, 0);
    kqtest::LogCapture log;
    o.setSelectedValue(3);
    QCOMPARE(o.values, (QVector<int> { 1, 2, 3 }));
    QCOMPARE(o.selectedIndex, 2);
    QCOMPARE(log.lines(),
        (QStringList { missLine("int", QStringLiteral("3")), QStringLiteral("possible values: "), QStringLiteral("1"),
            QStringLiteral("2") }));
}

void TestOptions::setSelectedValueDoubleMiss()
{
    kq::TOptions<double> o({ 0.5, 2.25 }, 0);
    kqtest::LogCapture log;
    o.setSelectedValue(1.75);
    QCOMPARE(o.values, (QVector<double> { 0.5, 2.25, 1.75 }));
    QCOMPARE(o.selectedIndex, 2);
    QCOMPARE(log.lines(),
        (QStringList { missLine("double", QStringLiteral("1.75")), QStringLiteral("possible values: "),
            QStringLiteral("0.5"), QStringLiteral("2.25") }));
}

void TestOptions::setSelectedValueStringMissIsCaseSensitive()
{
    kq::TOptions<QString> o({ QStringLiteral("Auto") }, -1);
    kqtest::LogCapture log;
    o.setSelectedValue(QStringLiteral("auto"));
    QCOMPARE(o.values, (QVector<QString> { QStringLiteral("Auto"), QStringLiteral("auto") }));
    QCOMPARE(o.selectedIndex, 1);
    QCOMPARE(log.lines(),
        (QStringList { missLine("QString", QStringLiteral("auto")), QStringLiteral("possible values: "),
            QStringLiteral("Auto") }));
}

void TestOptions::setSelectedValueNanAppendsOnce()
{
    // NaN never compares equal: selecting it appends it (once) and selects
    // the appended position instead of searching forever.
    kq::TOptions<double> o({ 1.0 }, 0);
    kqtest::LogCapture log(kq::Log::Info);
    o.setSelectedValue(std::nan(""));
    QCOMPARE(o.values.size(), 2);
    QVERIFY(std::isnan(o.values.at(1)));
    QCOMPARE(o.selectedIndex, 1);
}

void TestOptions::setSelectedIndexStoresUnchanged()
{
    kq::TOptions<int> o({ 1 }, 0);
    o.setSelectedIndex(17);
    QCOMPARE(o.selectedIndex, 17);
    o.setSelectedIndex(-5);
    QCOMPARE(o.selectedIndex, -5);
}

void TestOptions::getSelectedValuesInOrder()
{
    kq::TMultiOptions<QString> m({ QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c") }, { 2, 0 });
    QCOMPARE(m.getSelectedValues(), (QVector<QString> { QStringLiteral("c"), QStringLiteral("a") }));
}

void TestOptions::getSelectedValuesOutOfBounds()
{
    kq::TMultiOptions<QString> m({ QStringLiteral("a"), QStringLiteral("b") }, { 1, 2, 0, 7 });
    kqtest::LogCapture log;
    QCOMPARE(m.getSelectedValues(), (QVector<QString> { QStringLiteral("b"), QString(), QStringLiteral("a"), QString() }));
    QList<int> levels;
    const QString line = QStringLiteral("TMultiOptions<T>::getSelectedValues() -> index out of bounds!");
    QCOMPARE(log.lines(&levels), (QStringList { line, line }));
    QCOMPARE(levels, (QList<int> { 3, 3 }));
}

void TestOptions::setSelectedValuesDuplicateAbsentAppendsOnce()
{
    kq::TMultiOptions<QString> m({ QStringLiteral("a") }, {});
    m.setSelectedValues({ QStringLiteral("x"), QStringLiteral("a"), QStringLiteral("x") });
    QCOMPARE(m.values, (QVector<QString> { QStringLiteral("a"), QStringLiteral("x") }));
    QCOMPARE(m.selectedIndices, (QVector<int> { 1, 0, 1 }));
}

void TestOptions::setSelectedValuesEmptyClearsSelection()
{
    kq::TMultiOptions<QString> m({ QStringLiteral("a"), QStringLiteral("b") }, { 0, 1 });
    m.setSelectedValues({});
    QVERIFY(m.selectedIndices.isEmpty());
    QCOMPARE(m.values, (QVector<QString> { QStringLiteral("a"), QStringLiteral("b") }));
}

void TestOptions::setSelectedValuesLogsNothing()
{
    kq::TMultiOptions<QString> m;
    kqtest::LogCapture log;
    m.setSelectedValues({ QStringLiteral("new") });
    QCOMPARE(m.values, QVector<QString> { QStringLiteral("new") });
    QCOMPARE(m.selectedIndices, QVector<int> { 0 });
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(TestOptions)
#include "tst_options.moc"
