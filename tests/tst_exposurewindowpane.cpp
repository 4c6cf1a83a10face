// Mouse input goes through the window system layer, as a user's does.
#define QTEST_QPA_MOUSE_HANDLING

#include <ConfigDialogs/ExposureWindowPane.h>

#include <kq/MemoryConfigSession.h>
#include <kq/Records.h>

#include "panes_testsupport.h"

#include <QImage>
#include <QtTest>

using kqtest::withAlpha;

namespace {
const QColor Included = withAlpha(Qt::green, 20);
const QColor Excluded = withAlpha(Qt::red, 20);
}

class TestExposureWindowPane : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metaObjectName();
    void drawnWindowStartsIncluded();
    void setExcludedRecoloursAtOnce();
    void colorForOutOfRangeIsGreen_data();
    void colorForOutOfRangeIsGreen();
    void outOfRangeIndexIgnored();
    void findRecord_data();
    void findRecord();
    void findRecordAfterAddRectIsOneUnitOff();
    void lensCorrectionDrawsPolygons();
    void displayOffGreysWindows();
    void renderIncludedAndExcluded();

private:
    kqgui::ExposureWindowPane* pane = nullptr;
    kqtest::PaneMouse* mouse = nullptr;
};

void TestExposureWindowPane::init()
{
    pane = new kqgui::ExposureWindowPane;
    QVERIFY(kqtest::showPane(pane));
    pane->showOnScreenDisplay(true);
    mouse = new kqtest::PaneMouse(pane);
}

void TestExposureWindowPane::cleanup()
{
    delete mouse;
    delete pane;
    kqtest::flushDeletes();
}

void TestExposureWindowPane::metaObjectName()
{
    QCOMPARE(pane->metaObject()->className(), "kqgui::ExposureWindowPane");
    QVERIFY(pane->qt_metacast("kqgui::ExposureWindowPane"));
    QVERIFY(pane->inherits("kqgui::NodeWindowPane"));
    QVERIFY(pane->metaObject()->indexOfSlot("newFrame(QMouseEvent*)") >= 0);
}

void TestExposureWindowPane::drawnWindowStartsIncluded()
{
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    QCOMPARE(pane->count(), 1);
    kqgui::PaneRectControl* c = pane->rectControlAt(0);
    QVERIFY(c);
    QCOMPARE(c->color(), Included);
    QVERIFY(!pane->isExcluded(0));
    QVERIFY(!c->property("excluded").isValid()); // never set: reads as included
    QCOMPARE(c->applicationRect, QRectF(100, 80, 200, 120));
    QCOMPARE(frames.count(), 1);
}

void TestExposureWindowPane::setExcludedRecoloursAtOnce()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    mouse->drawRect(QPoint(200, 40), QPoint(300, 100));
    QCOMPARE(pane->count(), 2);
    pane->setExcluded(0, true);
    QVERIFY(pane->isExcluded(0));
    QVERIFY(!pane->isExcluded(1));
    QCOMPARE(pane->childAt(0)->property("excluded"), QVariant(true));
    QCOMPARE(pane->rectControlAt(0)->color(), Excluded);
    QCOMPARE(pane->rectControlAt(1)->color(), Included);
    QCOMPARE(pane->colorFor(0), Excluded);
    QCOMPARE(pane->colorFor(1), Included);
    pane->setExcluded(0, false);
    QCOMPARE(pane->rectControlAt(0)->color(), Included);
}

void TestExposureWindowPane::colorForOutOfRangeIsGreen_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("-1") << -1;
    QTest::newRow("count()") << 1;
    QTest::newRow("far") << 1000;
}

void TestExposureWindowPane::colorForOutOfRangeIsGreen()
{
    QFETCH(int, index);
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    pane->setExcluded(0, true);
    QCOMPARE(pane->colorFor(index), Included);
}

void TestExposureWindowPane::outOfRangeIndexIgnored()
{
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    pane->setExcluded(1, true);
    pane->setExcluded(-1, true);
    QVERIFY(!pane->isExcluded(1));
    QVERIFY(!pane->isExcluded(-1));
    QVERIFY(!pane->childAt(0)->property("excluded").isValid());
    QCOMPARE(pane->rectControlAt(0)->color(), QColor(Qt::black)); // untouched
}

void TestExposureWindowPane::findRecord_data()
{
    QTest::addColumn<bool>("windowExcluded");
    QTest::addColumn<bool>("recordExcluded");
    QTest::addColumn<bool>("found");
    QTest::newRow("both included") << false << false << true;
    QTest::newRow("both excluded") << true << true << true;
    QTest::newRow("flags differ") << false << true << false;
    QTest::newRow("flags differ the other way") << true << false << false;
}

void TestExposureWindowPane::findRecord()
{
    QFETCH(bool, windowExcluded);
    QFETCH(bool, recordExcluded);
    QFETCH(bool, found);
    // The record's rectangle counts inclusively: left 100 .. right 299 is 200 wide.
    const kq::ExposureWindow record(QRect(QPoint(100, 80), QPoint(299, 199)), recordExcluded);
    pane->addRect(QRect(0, 0, 10, 10), Qt::black)->setGeometry(QRectF(100, 80, 200, 120));
    pane->addRect(QRect(500, 300, 10, 10), Qt::black);
    pane->setExcluded(1, windowExcluded);
    QCOMPARE(pane->find(record), found ? 1 : -1);
    // A rectangle that matches no window.
    QCOMPARE(pane->find(kq::ExposureWindow(QRect(1, 2, 3, 4), recordExcluded)), -1);
    // The pane's own find is still there.
    QCOMPARE(pane->find(QRectF(100, 80, 200, 120)), 1);
}

void TestExposureWindowPane::findRecordAfterAddRectIsOneUnitOff()
{
    const kq::ExposureWindow record(QRect(QPoint(100, 80), QPoint(299, 199)), false);
    kqgui::PaneRectControl* c = pane->addRect(record.getCoords(), Qt::black);
    QCOMPARE(c->applicationRect, QRectF(100, 80, 199, 119));
    QCOMPARE(pane->find(record), -1);
    // Once the user moved it back and forth, its rectangle is read from the
    // screen, inclusively.
    mouse->drag(QPoint(100, 70), QPoint(110, 70));
    mouse->drag(QPoint(110, 70), QPoint(100, 70));
    QCOMPARE(c->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    QCOMPARE(c->applicationRect, QRectF(100, 80, 200, 120));
    QCOMPARE(pane->find(record), 0);
}

void TestExposureWindowPane::lensCorrectionDrawsPolygons()
{
    kq::SDeskewParams lens;
    lens.flags = kq::SDeskewParams::LensCorrection;
    lens.lensStrength = -100;
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lens);
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(40, 40), QPoint(200, 60), QPoint(100, 150) }));
    QCOMPARE(pane->count(), 1);
    QVERIFY(pane->isPoly(0));
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), Included);
    pane->setExcluded(0, true);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), Excluded);
    QCOMPARE(
        pane->polyControlAt(0)->applicationRect, pane->polyControlAt(0)->applicationPolygon.boundingRect());
}

void TestExposureWindowPane::displayOffGreysWindows()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    pane->setExcluded(0, true);
    pane->showOnScreenDisplay(false);
    QCOMPARE(pane->rectControlAt(0)->color(), withAlpha(Qt::gray, 20));
    mouse->drawRect(QPoint(200, 40), QPoint(300, 100));
    QCOMPARE(pane->count(), 1);
    pane->showOnScreenDisplay(true);
    QCOMPARE(pane->rectControlAt(0)->color(), Excluded);
}

void TestExposureWindowPane::renderIncludedAndExcluded()
{
    QTemporaryDir dir;
    QVERIFY(kqtest::showBlackPicture(pane, dir));

    mouse->drawRect(QPoint(40, 40), QPoint(160, 120));
    mouse->drawRect(QPoint(220, 140), QPoint(360, 260));
    pane->setExcluded(0, true);
    pane->showOnScreenDisplay(true);
    const QImage image = pane->grab().toImage();
    image.save(QDir::temp().filePath(QStringLiteral("tst_exposurewindowpane.png")));

    QCOMPARE(image.pixelColor(200, 20), QColor(Qt::black));
    // Outlines in the windows' colours made opaque.
    QCOMPARE(image.pixelColor(100, 120), QColor(Qt::green));
    QCOMPARE(image.pixelColor(220, 170), QColor(Qt::red)); // selected: handles at corners and edge middles
    // Insides: a faint tint of the colour over black.
    const QColor included = image.pixelColor(80, 90);
    QVERIFY2(
        included.green() > 10 && included.green() < 30 && included.red() == 0, qPrintable(included.name()));
    const QColor excluded = image.pixelColor(260, 200);
    QVERIFY2(
        excluded.red() > 10 && excluded.red() < 30 && excluded.green() == 0, qPrintable(excluded.name()));
}

QTEST_MAIN(TestExposureWindowPane)
#include "tst_exposurewindowpane.moc"
