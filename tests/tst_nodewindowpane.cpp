// Mouse input goes through the window system layer, as a user's does.
#define QTEST_QPA_MOUSE_HANDLING

#include <ConfigDialogs/NodeWindowPane.h>

#include <kq/MemoryConfigSession.h>
#include <kq/OnScreenDisplay.h>

#include "LogCapture.h"
#include "panes_testsupport.h"

#include <QImage>
#include <QPointer>
#include <QTimer>
#include <QtTest>

#include <cmath>
#include <limits>

using kqtest::withAlpha;

namespace {
// A concrete pane: one colour for every window, another for a window being
// drawn; a press on the free image draws a rectangle, or a polygon with lens
// correction.
class TestPane : public kqgui::NodeWindowPane {
    Q_OBJECT
public:
    static QColor windowColor() { return QColor(0, 0, 255, 120); }
    static QColor drawingColor() { return QColor(255, 0, 255, 40); }

    QColor colorFor(int index) const override
    {
        return index >= 0 && index < count() ? windowColor() : drawingColor();
    }

    int newFrames = 0;

protected Q_SLOTS:
    void newFrame(QMouseEvent* event) override
    {
        ++newFrames;
        if (hasLensCorrection())
            addPolygon(QPolygon(), colorFor(-1), event);
        else
            addRect(QRect(), colorFor(-1), event);
    }
};

kq::SDeskewParams lensCorrected(int strength = -150)
{
    kq::SDeskewParams p;
    p.flags = kq::SDeskewParams::LensCorrection;
    p.lensStrength = strength;
    return p;
}

QPolygonF triangle(double x, double y)
{
    return QPolygonF(QVector<QPointF> { QPointF(x, y), QPointF(x + 200, y + 20), QPointF(x + 60, y + 160) });
}

void updateCoordinateSystem(kqgui::NodeWindowPane* pane)
{
    QVERIFY(QMetaObject::invokeMethod(pane, "updateCoordinateSystem"));
}
}

class TestNodeWindowPane : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void construction();
    void metaObjectNames();
    void deleteIconsLoadFromTheLibrary_data();
    void deleteIconsLoadFromTheLibrary();

    void applRectTruncatesEachEdge();
    void scaleBoundingRect_data();
    void scaleBoundingRect();
    void scaleBoundingRectWithoutExtent();
    void emptyPolygonHasNoExtent();
    void polygonSetGeometryKeepsOldBoundingBox();
    void rectSetGeometryMapsToScreen();
    void userEditsReadBackWithoutCoordinateSystem();

    void addRectStoresApplicationRect();
    void addPolygonMapsThroughDeskew();
    void accessorsByKindAndRange();
    void find_data();
    void find();
    void selectedWindow();
    void removeAllErasesWindowsAndButtons();
    void updateColors();

    void drawRectangleWithMouse();
    void moveAndResizeWindow();
    void deleteButtonErasesWindow();
    void drawPolygonWithLensCorrection();
    void displayOffGreysAndAddsNothing();
    void switchingOnTwiceConnectsOnce();
    void aWindowAddedToALetterboxedPaneStaysOnTheImage();
    void aWindowDrawnOffTheImageEndsOnIt();
    void aPolygonDraggedIntoACornerStaysOnTheImage();
    void resizeRemapsWindows();

    void setCoordinateSystemFromSession();
    void setCoordinateSystemFixedLetsSessionGo();
    void noSessionChangesNothing();
    void deskewChangeWithoutLensCorrectionIgnored();
    void deskewChangeWritesSessionProperties_data();
    void deskewChangeWritesSessionProperties();
    void invalidModeSelectionReadsEmpty();
    void timerAndZoomPollDeskew();

    void renderWindows();

private:
    TestPane* pane = nullptr;
    kqtest::PaneMouse* mouse = nullptr;
};

void TestNodeWindowPane::init()
{
    pane = new TestPane;
    QVERIFY(kqtest::showPane(pane));
    mouse = new kqtest::PaneMouse(pane);
}

void TestNodeWindowPane::cleanup()
{
    delete mouse;
    delete pane;
    kqtest::flushDeletes();
}

void TestNodeWindowPane::construction()
{
    kqtest::LogCapture log(kq::Log::Warning);
    TestPane fresh;
    QCOMPARE(fresh.count(), 0);
    QCOMPARE(fresh.selected(), -1);
    QVERIFY(fresh.testAttribute(Qt::WA_MouseTracking));
    QCOMPARE(fresh.viewMode(), kq::NodeWidget::NVM_Fit);
    QCOMPARE(fresh.backgroundColor(), QColor(120, 120, 120, 255));
    QVERIFY(!fresh.displayFlags().testFlag(kq::NodeWidget::DF_Caption));
    QVERIFY(!fresh.isStepPTZEnabled());
    QVERIFY(!fresh.isContinuousPTZEnabled());
    QVERIFY(fresh.onScreenDisplay());
    QVERIFY(fresh.onScreenDisplay()->enabled);
    QVERIFY(fresh.coordinateSystem());
    QCOMPARE(fresh.coordinateSystem()->parent(), &fresh);
    QCOMPARE(fresh.coordinateSystem()->gridSnap(), QRectF(0, 0, 1.0, 1.0));
    QVERIFY(!fresh.hasLensCorrection());
    QVERIFY(fresh.session().null());
    auto* timer = fresh.findChild<QTimer*>(QStringLiteral("deskewPollTimer"));
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 1000);
    // Before showOnScreenDisplay(true) a press on the free image adds nothing.
    fresh.resize(200, 100);
    fresh.show();
    QVERIFY(QTest::qWaitForWindowExposed(&fresh));
    QTest::mouseClick(fresh.onScreenDisplay()->widget(), Qt::LeftButton, {}, QPoint(50, 50));
    QCOMPARE(fresh.newFrames, 0);
    QCOMPARE(fresh.count(), 0);
    // Every connection was made (a failed one logs a warning).
    fresh.showOnScreenDisplay(true);
    fresh.addRect(QRect(10, 10, 20, 20), Qt::red);
    fresh.addPolygon(triangle(30, 30).toPolygon(), Qt::red);
    QCOMPARE(log.lines(), QStringList());
}

void TestNodeWindowPane::metaObjectNames()
{
    QCOMPARE(pane->metaObject()->superClass()->className(), "kqgui::NodeWindowPane");
    QVERIFY(pane->qt_metacast("kqgui::NodeWindowPane"));
    QVERIFY(pane->inherits("kq::NodeWidget"));

    kqgui::PaneRectControl* rect = pane->addRect(QRect(10, 10, 50, 50), Qt::red);
    QCOMPARE(rect->metaObject()->className(), "kqgui::PaneRectControl");
    QCOMPARE(rect->qt_metacast("kqgui::PaneRectControl"), static_cast<void*>(rect));
    QCOMPARE(
        rect->qt_metacast("ApplicationRect"), static_cast<void*>(static_cast<kqgui::ApplicationRect*>(rect)));
    QCOMPARE(rect->qt_metacast("kq::OnScreenRectControl"),
        static_cast<void*>(static_cast<kq::OnScreenRectControl*>(rect)));
    QVERIFY(!rect->qt_metacast("ApplicationPolygon"));

    kqgui::PanePolygonControl* poly = pane->addPolygon(triangle(20, 20).toPolygon(), Qt::red);
    QCOMPARE(poly->metaObject()->className(), "kqgui::PanePolygonControl");
    QCOMPARE(poly->qt_metacast("kqgui::PanePolygonControl"), static_cast<void*>(poly));
    QCOMPARE(poly->qt_metacast("ApplicationPolygon"),
        static_cast<void*>(static_cast<kqgui::ApplicationPolygon*>(poly)));
    QCOMPARE(poly->qt_metacast("kq::OnScreenPolygonControl"),
        static_cast<void*>(static_cast<kq::OnScreenPolygonControl*>(poly)));
    QVERIFY(!poly->qt_metacast("kqgui::PaneRectControl"));
}

void TestNodeWindowPane::deleteIconsLoadFromTheLibrary_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("shown") << QStringLiteral(":/Icons/delete_on.png");
    QTest::newRow("pressed") << QStringLiteral(":/Icons/delete_pr.png");
}

void TestNodeWindowPane::deleteIconsLoadFromTheLibrary()
{
    QFETCH(QString, path);
    // Registered when the shared library was loaded.
    QImage icon(path);
    QVERIFY(!icon.isNull());
    QCOMPARE(icon.size(), QSize(16, 16));
    QVERIFY(icon.hasAlphaChannel());
}

void TestNodeWindowPane::applRectTruncatesEachEdge()
{
    kqgui::PaneRectControl* c = pane->addRect(QRect(0, 0, 10, 10), Qt::red);
    c->setGeometry(QRectF(10.7, 20.2, 100.6, 50.5));
    QCOMPARE(c->applicationRect, QRectF(10.7, 20.2, 100.6, 50.5));
    const QRect r = c->applRect();
    QCOMPARE(r.left(), 10);
    QCOMPARE(r.top(), 20);
    QCOMPARE(r.right(), 111);
    QCOMPARE(r.bottom(), 70);
    // Toward zero, not down.
    c->setGeometry(QRectF(-10.7, -20.2, 5.0, 5.0));
    QCOMPARE(c->applRect(), QRect(QPoint(-10, -20), QPoint(-5, -15)));
}

void TestNodeWindowPane::scaleBoundingRect_data()
{
    QTest::addColumn<QPolygonF>("polygon");
    QTest::addColumn<QRectF>("target");
    QTest::addColumn<QPolygonF>("expected");
    QTest::newRow("triangle") << QPolygonF(QVector<QPointF> { { 0, 0 }, { 2, 0 }, { 0, 4 } })
                              << QRectF(10, 20, 6, 2)
                              << QPolygonF(QVector<QPointF> { { 10, 20 }, { 16, 20 }, { 10, 22 } });
    // A box away from the origin: scaled about the origin, then moved.
    QTest::newRow("offset square") << QPolygonF(QVector<QPointF> { { 5, 5 }, { 7, 5 }, { 7, 7 }, { 5, 7 } })
                                   << QRectF(0, 0, 1, 4)
                                   << QPolygonF(QVector<QPointF> { { 0, 0 }, { 1, 0 }, { 1, 4 }, { 0, 4 } });
    QTest::newRow("same box") << QPolygonF(QVector<QPointF> { { 1, 1 }, { 3, 2 }, { 2, 5 } })
                              << QRectF(1, 1, 2, 4)
                              << QPolygonF(QVector<QPointF> { { 1, 1 }, { 3, 2 }, { 2, 5 } });
}

void TestNodeWindowPane::scaleBoundingRect()
{
    QFETCH(QPolygonF, polygon);
    QFETCH(QRectF, target);
    QFETCH(QPolygonF, expected);
    kqgui::ApplicationPolygon::scaleBoundingRect(polygon, target);
    QCOMPARE(polygon, expected);
    QCOMPARE(polygon.boundingRect(), target);
}

void TestNodeWindowPane::scaleBoundingRectWithoutExtent()
{
    // A vertical line has no width: the horizontal factor is infinite and
    // the result is not finite. Callers pass polygons with extent.
    QPolygonF line(QVector<QPointF> { { 3, 0 }, { 3, 4 } });
    kqgui::ApplicationPolygon::scaleBoundingRect(line, QRectF(0, 0, 10, 10));
    QCOMPARE(line.size(), 2);
    QVERIFY(!std::isfinite(line.at(0).x()));
    QCOMPARE(line.at(1).y() - line.at(0).y(), 10.0);
}

void TestNodeWindowPane::emptyPolygonHasNoExtent()
{
    kqgui::PanePolygonControl* c = pane->addPolygon(QPolygon(), Qt::red);
    QVERIFY(c->rect().isNull());
    QVERIFY(!c->hasExtent());
    QVERIFY(c->applicationPolygon.isEmpty());
    QCOMPARE(c->applicationRect, QRectF());
    // Without extent its delete button is not shown either.
    kq::OnScreenPushControl* button = kqtest::deleteButtonOf(pane, c);
    QVERIFY(button);
    QVERIFY(!button->isShown());
}

void TestNodeWindowPane::polygonSetGeometryKeepsOldBoundingBox()
{
    kqgui::PanePolygonControl* c = pane->addPolygon(triangle(100, 100).toPolygon(), Qt::red);
    const QRectF oldBox(100, 100, 200, 160);
    QCOMPARE(c->applicationRect, oldBox);
    c->setGeometry(QRectF(400, 300, 100, 80));
    QCOMPARE(c->applicationRect, oldBox);
    QCOMPARE(c->applicationPolygon.boundingRect(), QRectF(400, 300, 100, 80));
    // The screen follows at once: half the units on 400 x 300 pixels.
    QCOMPARE(c->rect(), QRect(QPoint(200, 150), QPoint(250, 190)));
    QCOMPARE(c->polygon().boundingRect(), c->rect());
    // The next user edit reads the box back.
    Q_EMIT c->changed();
    QCOMPARE(c->applicationRect, QRectF(400, 300, 100, 80));
}

void TestNodeWindowPane::rectSetGeometryMapsToScreen()
{
    kqgui::PaneRectControl* c = pane->addRect(QRect(0, 0, 10, 10), Qt::red);
    c->setGeometry(QRectF(100, 60, 200, 100));
    QCOMPARE(c->applicationRect, QRectF(100, 60, 200, 100));
    QCOMPARE(c->rect(), QRect(QPoint(50, 30), QPoint(150, 80)));
    QVERIFY(c->bounded);
    QCOMPARE(c->bounds, QRegion(pane->coordinateSystem()->screenRect()));
}

void TestNodeWindowPane::userEditsReadBackWithoutCoordinateSystem()
{
    // A control without a coordinate system keeps its geometry and reads
    // nothing back.
    QWidget host;
    kqgui::PaneRectControl c(&host, &host, QRectF(1, 2, 3, 4), nullptr, Qt::red, {}, {});
    QCOMPARE(c.rect(), QRect());
    c.setGeometry(QRectF(5, 6, 7, 8));
    QCOMPARE(c.rect(), QRect());
    Q_EMIT c.changed();
    QCOMPARE(c.applicationRect, QRectF(5, 6, 7, 8));
}

void TestNodeWindowPane::addRectStoresApplicationRect()
{
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    kqgui::PaneRectControl* c = pane->addRect(QRect(10, 20, 100, 50), QColor(1, 2, 3, 4));
    QCOMPARE(c->applicationRect, QRectF(10, 20, 99, 49));
    QCOMPARE(c->applRect(), QRect(10, 20, 100, 50));
    QCOMPARE(c->parent(), pane);
    QCOMPARE(c->widget(), pane->onScreenDisplay()->widget());
    QCOMPARE(c->coordinateSystem, pane->coordinateSystem());
    QCOMPARE(c->color(), QColor(1, 2, 3, 4));
    QCOMPARE(c->dragColor(), QColor(1, 2, 3, 4));
    QCOMPARE(int(c->rectFlags()), 0x2);
    QCOMPARE(int(c->controlFlags()), 0x30B);
    QVERIFY(c->bounded);
    QCOMPARE(c->bounds, QRegion(pane->rect()));
    // Two units per pixel.
    QCOMPARE(c->rect(), QRect(QPoint(5, 10), QPoint(55, 35)));
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->childAt(0), c);

    kq::OnScreenPushControl* button = kqtest::deleteButtonOf(pane, c);
    QVERIFY(button);
    QCOMPARE(button->parent(), pane);
    QCOMPARE(int(button->controlFlags()), 0x30B);
    QVERIFY(button->isShown());
    // At the top-right corner, moved by (-2, 2); the icon is 16 x 16.
    QCOMPARE(button->area(), QRect(55 - 16 + 1 - 2, 10 + 2, 16, 16));
    // Newest first: the button was pushed after its window.
    QCOMPARE(pane->onScreenDisplay()->controls(), (QList<kq::OnScreenControl*>() << button << c));
    QCOMPARE(frames.count(), 0); // loading a window is no user change
}

void TestNodeWindowPane::addPolygonMapsThroughDeskew()
{
    const kq::SDeskewParams lens = lensCorrected();
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lens);
    QVERIFY(pane->hasLensCorrection());
    const QPolygon p = triangle(100, 80).toPolygon();
    kqgui::PanePolygonControl* c = pane->addPolygon(p, QColor(5, 6, 7, 8));
    QCOMPARE(c->applicationPolygon, QPolygonF(p));
    QCOMPARE(c->applPolygon(), p);
    QCOMPARE(c->applicationRect, QPolygonF(p).boundingRect());
    QCOMPARE(c->deskewParams, lens);
    QCOMPARE(int(c->polygonFlags()), 0x1B);
    QCOMPARE(int(c->controlFlags()), 0x30B);
    QCOMPARE(c->OnScreenPolygon::color(), QColor(5, 6, 7, 8));
    const QPolygon screen = pane->coordinateSystem()->mapToScreen(QPolygonF(p), lens);
    QCOMPARE(c->polygon(), screen);
    QCOMPARE(c->rect(), screen.boundingRect());
    // The lens moves the corners: not the plain half-size mapping.
    QVERIFY(screen != pane->coordinateSystem()->mapToScreen(QPolygonF(p), kq::SDeskewParams()));
    QVERIFY(c->bounded);
    QCOMPARE(c->bounds, QRegion(pane->rect()));
    QVERIFY(kqtest::deleteButtonOf(pane, c));
}

void TestNodeWindowPane::accessorsByKindAndRange()
{
    kqgui::PaneRectControl* r = pane->addRect(QRect(10, 10, 50, 50), Qt::red);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(200, 200).toPolygon(), Qt::red);
    // Newest first.
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->childAt(0), p);
    QCOMPARE(pane->childAt(1), r);
    QCOMPARE(pane->polyControlAt(0), p);
    QCOMPARE(pane->rectControlAt(0), nullptr);
    QCOMPARE(pane->rectControlAt(1), r);
    QCOMPARE(pane->polyControlAt(1), nullptr);
    QCOMPARE(pane->applicationRectAt(0), static_cast<kqgui::ApplicationRect*>(p));
    QCOMPARE(pane->applicationRectAt(1), static_cast<kqgui::ApplicationRect*>(r));
    QCOMPARE(pane->applicationPolygonAt(0), static_cast<kqgui::ApplicationPolygon*>(p));
    QCOMPARE(pane->applicationPolygonAt(1), nullptr);
    QVERIFY(pane->isPoly(0));
    QVERIFY(!pane->isPoly(1));
    for (int bad : { -1, 2, 100 }) {
        QCOMPARE(pane->childAt(bad), nullptr);
        QCOMPARE(pane->rectControlAt(bad), nullptr);
        QCOMPARE(pane->polyControlAt(bad), nullptr);
        QCOMPARE(pane->applicationRectAt(bad), nullptr);
        QCOMPARE(pane->applicationPolygonAt(bad), nullptr);
        QVERIFY(!pane->isPoly(bad));
        pane->updateColor(bad); // nothing to colour
    }
    // QWidget's own childAt is still there.
    QCOMPARE(pane->childAt(QPoint(5, 5)), pane->onScreenDisplay()->widget());
}

void TestNodeWindowPane::find_data()
{
    QTest::addColumn<QRectF>("window");
    QTest::addColumn<QRectF>("wanted");
    QTest::addColumn<bool>("found");
    QTest::newRow("exact") << QRectF(10, 20, 99, 49) << QRectF(10, 20, 99, 49) << true;
    QTest::newRow("13th digit") << QRectF(1234.567890123, 20, 99, 49) << QRectF(1234.567890124, 20, 99, 49)
                                << true;
    QTest::newRow("11th digit") << QRectF(1234.5678901, 20, 99, 49) << QRectF(1234.5678902, 20, 99, 49)
                                << false;
    QTest::newRow("13th digit in height")
        << QRectF(10, 20, 99, 49.00000000001) << QRectF(10, 20, 99, 49.00000000002) << true;
    QTest::newRow("width differs") << QRectF(10, 20, 99, 49) << QRectF(10, 20, 100, 49) << false;
    QTest::newRow("zero only zero") << QRectF(0, 20, 99, 49) << QRectF(1e-300, 20, 99, 49) << false;
    QTest::newRow("zero and zero") << QRectF(0, 0, 99, 49) << QRectF(0, 0, 99, 49) << true;
}

void TestNodeWindowPane::find()
{
    QFETCH(QRectF, window);
    QFETCH(QRectF, wanted);
    QFETCH(bool, found);
    QCOMPARE(pane->find(wanted), -1); // no windows
    pane->addRect(QRect(300, 300, 20, 20), Qt::red)->setGeometry(window);
    pane->addRect(QRect(500, 300, 20, 20), Qt::red); // newest: index 0, not matching
    QCOMPARE(pane->find(wanted), found ? 1 : -1);
    // Two matching windows: the first index wins.
    pane->addRect(QRect(0, 0, 5, 5), Qt::red)->setGeometry(window);
    QCOMPARE(pane->find(wanted), found ? 0 : -1);
}

void TestNodeWindowPane::selectedWindow()
{
    pane->showOnScreenDisplay(true);
    QSignalSpy selection(pane, &kqgui::NodeWindowPane::selectionChanged);
    QCOMPARE(pane->selected(), -1);
    pane->addRect(QRect(40, 40, 100, 100), Qt::red); // pixels 20..69
    pane->addRect(QRect(400, 300, 100, 100), Qt::red); // pixels 200..249 / 150..199
    QCOMPARE(pane->selected(), -1); // loading selects nothing
    mouse->click(QPoint(40, 40));
    QCOMPARE(pane->selected(), 1);
    QCOMPARE(selection.count(), 1);
    mouse->click(QPoint(220, 170));
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(selection.count(), 2);
    // A click on the free image draws a window without extent, which goes again.
    mouse->click(QPoint(350, 280));
    QCOMPARE(pane->newFrames, 1);
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->selected(), 0);
}

void TestNodeWindowPane::removeAllErasesWindowsAndButtons()
{
    QPointer<kqgui::PaneRectControl> r = pane->addRect(QRect(10, 10, 50, 50), Qt::red);
    QPointer<kqgui::PanePolygonControl> p = pane->addPolygon(triangle(200, 200).toPolygon(), Qt::red);
    // A control of another owner on the same display stays.
    QObject other;
    auto* foreign = new kq::OnScreenRectControl(
        &other, pane->onScreenDisplay()->widget(), QRect(1, 1, 5, 5), Qt::red, Qt::red, {}, {});
    pane->onScreenDisplay()->push_back(QList<kq::OnScreenControl*>() << foreign, nullptr);
    QCOMPARE(pane->onScreenDisplay()->controls().size(), 5);
    QCOMPARE(pane->count(), 2);
    pane->removeAll();
    QCOMPARE(pane->count(), 0);
    QCOMPARE(pane->onScreenDisplay()->controls(), QList<kq::OnScreenControl*>() << foreign);
    kqtest::flushDeletes();
    QVERIFY(!r);
    QVERIFY(!p);
}

void TestNodeWindowPane::updateColors()
{
    kqgui::PaneRectControl* r = pane->addRect(QRect(10, 10, 50, 50), Qt::red);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(200, 200).toPolygon(), Qt::red);
    pane->updateColor(0);
    QCOMPARE(kqtest::windowColor(p), TestPane::windowColor());
    QCOMPARE(r->color(), QColor(Qt::red));
    pane->updateColors();
    QCOMPARE(r->color(), TestPane::windowColor());
}

void TestNodeWindowPane::drawRectangleWithMouse()
{
    pane->showOnScreenDisplay(true);
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    QSignalSpy selection(pane, &kqgui::NodeWindowPane::selectionChanged);
    mouse->press(QPoint(50, 40));
    QCOMPARE(pane->newFrames, 1);
    QCOMPARE(pane->count(), 1);
    kqgui::PaneRectControl* c = pane->rectControlAt(0);
    QVERIFY(c);
    QCOMPARE(c->color(), TestPane::drawingColor());
    mouse->move(QPoint(100, 70));
    mouse->move(QPoint(150, 100));
    mouse->release(QPoint(150, 100));
    QCOMPARE(c->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    QCOMPARE(frames.count(), 1);
    // Two image units per pixel; the pixel rectangle's corners map to the
    // rectangle's corners.
    QCOMPARE(c->applicationRect, QRectF(100, 80, 200, 120));
    QCOMPARE(c->applRect(), QRect(QPoint(100, 80), QPoint(300, 200)));
    QCOMPARE(pane->find(QRectF(100, 80, 200, 120)), 0);
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(selection.count(), 1);
    QCOMPARE(pane->newFrames, 1);
}

void TestNodeWindowPane::moveAndResizeWindow()
{
    pane->showOnScreenDisplay(true);
    kqgui::PaneRectControl* c = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    QCOMPARE(c->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);

    // Drag the window by its middle, 20 pixels right and 10 down.
    mouse->drag(QPoint(100, 70), QPoint(120, 80));
    QCOMPARE(pane->newFrames, 0);
    QCOMPARE(c->rect(), QRect(QPoint(70, 50), QPoint(170, 110)));
    QVERIFY(frames.count() >= 1);
    QCOMPARE(c->applicationRect, QRectF(140, 100, 200, 120));

    // Resize from the bottom-right handle.
    const int before = frames.count();
    mouse->drag(QPoint(170, 110), QPoint(200, 150));
    QCOMPARE(c->rect(), QRect(QPoint(70, 50), QPoint(200, 150)));
    QVERIFY(frames.count() > before);
    QCOMPARE(c->applicationRect, QRectF(140, 100, 260, 200));

    // The image's edge stops a move: the window stays on the image.
    mouse->drag(QPoint(100, 100), QPoint(390, 290));
    QCOMPARE(c->rect().right(), 399);
    QCOMPARE(c->rect().bottom(), 299);
    QCOMPARE(c->applicationRect.right(), 798.0);
    QCOMPARE(pane->count(), 1);
}

void TestNodeWindowPane::deleteButtonErasesWindow()
{
    pane->showOnScreenDisplay(true);
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    QCOMPARE(pane->count(), 1);
    QPointer<kq::OnScreenRectControl> c = pane->childAt(0);
    QPointer<kq::OnScreenPushControl> button = kqtest::deleteButtonOf(pane, c);
    QVERIFY(button);
    QVERIFY(button->isShown());
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    mouse->click(button->area().center());
    QCOMPARE(pane->count(), 0);
    QCOMPARE(frames.count(), 1); // deleted()
    QVERIFY(pane->onScreenDisplay()->controls().isEmpty());
    QCOMPARE(pane->newFrames, 1); // the click drew nothing new
    kqtest::flushDeletes();
    QVERIFY(!c);
    QVERIFY(!button);
}

void TestNodeWindowPane::drawPolygonWithLensCorrection()
{
    const kq::SDeskewParams lens = lensCorrected();
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lens);
    pane->showOnScreenDisplay(true);
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    const QPolygon drawn(QVector<QPoint> { QPoint(30, 30), QPoint(180, 50), QPoint(120, 160) });
    mouse->drawPolygon(drawn);
    QCOMPARE(pane->newFrames, 1);
    QCOMPARE(pane->count(), 1);
    kqgui::PanePolygonControl* c = pane->polyControlAt(0);
    QVERIFY(c);
    QCOMPARE(c->polygon(), drawn);
    QCOMPARE(frames.count(), 1);
    QCOMPARE(c->deskewParams, lens);
    const kq::CoordinateSystem* cs = pane->coordinateSystem();
    QCOMPARE(c->applicationPolygon, cs->mapToApplication(drawn, lens));
    QCOMPARE(c->applicationRect, c->applicationPolygon.boundingRect());
    // The lens correction moved the points: the plain mapping doubles them.
    const QPolygonF plain = cs->mapToApplication(drawn, kq::SDeskewParams());
    QCOMPARE(plain.at(0), QPointF(60, 60));
    double largest = 0;
    for (int i = 0; i < drawn.size(); ++i)
        largest = std::max(largest, QLineF(plain.at(i), c->applicationPolygon.at(i)).length());
    QVERIFY2(largest > 5, qPrintable(QString::number(largest)));
    // And back to the screen where the user drew it.
    const QPolygon back = cs->mapToScreen(c->applicationPolygon, lens);
    for (int i = 0; i < drawn.size(); ++i)
        QVERIFY(QLineF(back.at(i), drawn.at(i)).length() <= 1.5);
}

void TestNodeWindowPane::displayOffGreysAndAddsNothing()
{
    pane->showOnScreenDisplay(true);
    kqgui::PaneRectControl* r = pane->addRect(QRect(40, 40, 100, 100), Qt::red);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(400, 300).toPolygon(), Qt::red);
    QSignalSpy selection(pane, &kqgui::NodeWindowPane::selectionChanged);

    pane->showOnScreenDisplay(false);
    QVERIFY(!pane->onScreenDisplay()->enabled);
    const QColor grey = withAlpha(Qt::gray, 20);
    QCOMPARE(r->color(), grey);
    QCOMPARE(kqtest::windowColor(p), grey);
    QVERIFY(!r->isEnabled());
    QVERIFY(!p->isEnabled());
    // A press on the free image adds nothing, a press on a window selects nothing.
    mouse->drawRect(QPoint(250, 20), QPoint(350, 80));
    mouse->click(QPoint(40, 40));
    QCOMPARE(pane->newFrames, 0);
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->selected(), -1);
    QCOMPARE(selection.count(), 0);
    QVERIFY(!kqtest::deleteButtonOf(pane, r)->isShown());

    pane->showOnScreenDisplay(true);
    QVERIFY(r->isEnabled());
    QCOMPARE(r->color(), TestPane::windowColor());
    QCOMPARE(kqtest::windowColor(p), TestPane::windowColor());
    mouse->drawRect(QPoint(250, 20), QPoint(350, 80));
    QCOMPARE(pane->newFrames, 1);
    QCOMPARE(pane->count(), 3);
}

void TestNodeWindowPane::switchingOnTwiceConnectsOnce()
{
    pane->showOnScreenDisplay(true);
    pane->showOnScreenDisplay(true);
    QSignalSpy selection(pane, &kqgui::NodeWindowPane::selectionChanged);
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    QCOMPARE(pane->newFrames, 1);
    QCOMPARE(pane->count(), 1);
    QCOMPARE(selection.count(), 1);
}

// Found by the soak run: a window added while the pane showed a letterboxed
// image (the demo loads a camera's windows into the pane on screen) could be
// dragged off the image, into the letterbox.
void TestNodeWindowPane::aWindowAddedToALetterboxedPaneStaysOnTheImage()
{
    pane->resize(800, 300);
    QCOMPARE(pane->coordinateSystem()->screenRect(), QRect(200, 0, 400, 300));
    kqgui::PaneRectControl* r = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(400, 300).toPolygon(), Qt::red);
    QCOMPARE(r->bounds, QRegion(QRect(200, 0, 400, 300)));
    QCOMPARE(p->bounds, QRegion(QRect(200, 0, 400, 300)));

    // Dragged far to the left and up: it stops at the image's corner.
    const QPoint centre = r->rect().center();
    mouse->drag(centre, centre - QPoint(300, 200));
    QCOMPARE(r->rect().topLeft(), QPoint(200, 0));
    QCOMPARE(r->applicationRect.topLeft(), QPointF(0, 0));
}

// Found by the soak run: a window drawn up off the picture ended at image
// row -1. The image's first screen row lies a fraction of a pixel above the
// letterboxed image, and that fraction snapped outward.
void TestNodeWindowPane::aWindowDrawnOffTheImageEndsOnIt()
{
    pane->setCoordinateSystem(QRectF(0, 0, 1920, 1080), kq::SDeskewParams());
    pane->resize(841, 474);
    pane->showOnScreenDisplay(true);
    QCOMPARE(pane->coordinateSystem()->screenRect().top(), 0);
    mouse->drawRect(QPoint(100, 200), QPoint(300, -100));
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->applicationRectAt(0)->applicationRect.top(), 0.0);

    mouse->drawRect(QPoint(500, 200), QPoint(900, 600));
    QCOMPARE(pane->count(), 2);
    const QRectF drawn = pane->applicationRectAt(0)->applicationRect;
    QVERIFY2(drawn.right() <= 1919 && drawn.bottom() <= 1079,
        qPrintable(QStringLiteral("%1, %2").arg(drawn.right()).arg(drawn.bottom())));
}

// Found by the soak run: through the lens model, a polygon dragged into a
// corner of the image on screen mapped to points off the image. Its points
// are put onto the image, and the screen shows the polygon they make.
void TestNodeWindowPane::aPolygonDraggedIntoACornerStaysOnTheImage()
{
    const kq::SDeskewParams lens = lensCorrected(-80);
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lens);
    pane->showOnScreenDisplay(true);
    kqgui::PanePolygonControl* c = pane->addPolygon(triangle(300, 200).toPolygon(), Qt::red);
    const QPoint centre = c->rect().center();
    mouse->drag(centre, centre + QPoint(400, 300));
    for (const QPointF& point : c->applicationPolygon) {
        QVERIFY2(point.x() >= 0 && point.x() <= 799 && point.y() >= 0 && point.y() <= 599,
            qPrintable(QStringLiteral("(%1, %2)").arg(point.x()).arg(point.y())));
    }
    // The screen shows the window where it is.
    QCOMPARE(c->polygon(), pane->coordinateSystem()->mapToScreen(c->applicationPolygon, lens));
}

void TestNodeWindowPane::resizeRemapsWindows()
{
    kqgui::PaneRectControl* r = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(400, 300).toPolygon(), Qt::red);
    const QRectF rectBefore = r->applicationRect;
    const QPolygonF polyBefore = p->applicationPolygon;
    // Twice the size: one unit per pixel.
    pane->resize(800, 600);
    QCOMPARE(pane->coordinateSystem()->screenRect(), QRect(0, 0, 800, 600));
    QCOMPARE(r->applicationRect, rectBefore);
    QCOMPARE(r->rect(), QRect(QPoint(100, 80), QPoint(300, 200)));
    QCOMPARE(p->applicationPolygon, polyBefore);
    QCOMPARE(p->polygon(), polyBefore.toPolygon());
    // Re-mapped windows are bounded to the image, which is letterboxed in a
    // wide pane.
    pane->resize(800, 300);
    QCOMPARE(pane->coordinateSystem()->screenRect(), QRect(200, 0, 400, 300));
    QCOMPARE(r->rect(), QRect(QPoint(250, 40), QPoint(350, 100)));
    QCOMPARE(r->bounds, QRegion(QRect(200, 0, 400, 300)));
    QCOMPARE(p->bounds, QRegion(QRect(200, 0, 400, 300)));
}

void TestNodeWindowPane::setCoordinateSystemFromSession()
{
    kqgui::PaneRectControl* r = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 1600, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("lensCorrection"), true }, { QStringLiteral("lensStrength"), -100 } });
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);
    pane->setCoordinateSystem(session);
    QCOMPARE(pane->coordinateSystem()->applicationRect(), QRectF(0, 0, 1600, 600));
    QCOMPARE(pane->coordinateSystem()->screenRect(), QRect(0, 75, 400, 150));
    QVERIFY(pane->hasLensCorrection());
    // The pane shows the node's video.
    QCOMPARE(pane->session(), session);
    QCOMPARE(pane->frameSize(), QSize(1600, 600));
    QCOMPARE(pane->videoRect(), QRect(0, 75, 400, 150));
    // Windows are not re-mapped, and adopting the settings writes nothing.
    QCOMPARE(r->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    updateCoordinateSystem(pane);
    QCOMPARE(display.count(), 0);
    QCOMPARE(r->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));

    // A null handle: no image rectangle (the identity mapping), defaults.
    pane->setCoordinateSystem(kqm::smart<kq::INodeConfigSession>());
    QVERIFY(!pane->hasLensCorrection());
    QCOMPARE(pane->coordinateSystem()->applicationRect(), QRectF());
    QVERIFY(pane->session().null());
    QCOMPARE(
        pane->coordinateSystem()->mapToScreen(QRectF(10, 10, 20, 20)), QRect(QPoint(10, 10), QPoint(30, 30)));
}

void TestNodeWindowPane::setCoordinateSystemFixedLetsSessionGo()
{
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    kq::StringOptionsProperty* view = kqtest::addStringOptions(
        memory, kq::SOP_DeskewView, { QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2") }, 0);
    pane->setCoordinateSystem(session);
    pane->setCoordinateSystem(QRectF(0, 0, 400, 300), kq::SDeskewParams());
    QCOMPARE(pane->coordinateSystem()->applicationRect(), QRectF(0, 0, 400, 300));
    QCOMPARE(pane->coordinateSystem()->screenRect(), pane->rect());
    // The session's later changes no longer reach the pane.
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("lensCorrection"), true }, { QStringLiteral("view"), 2 } });
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);
    updateCoordinateSystem(pane);
    QCOMPARE(display.count(), 0);
    QCOMPARE(view->value().selectedIndex, 0);
    QVERIFY(!pane->hasLensCorrection());
}

void TestNodeWindowPane::noSessionChangesNothing()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), kq::SDeskewParams());
    kqgui::PaneRectControl* r = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);
    updateCoordinateSystem(pane);
    pane->setZoom(200, QPoint(100, 100)); // also polls
    QCOMPARE(display.count(), 0);
    QVERIFY(!pane->hasLensCorrection());
    QCOMPARE(r->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
}

void TestNodeWindowPane::deskewChangeWithoutLensCorrectionIgnored()
{
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    kq::StringOptionsProperty* mode = kqtest::addStringOptions(
        memory, kq::SOP_DeskewMode, { QStringLiteral("normal"), QStringLiteral("panorama") }, 0);
    kq::StringOptionsProperty* view = kqtest::addStringOptions(
        memory, kq::SOP_DeskewView, { QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2") }, 0);
    pane->setCoordinateSystem(session);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(100, 80).toPolygon(), Qt::red);
    const QPolygon screenBefore = p->polygon();
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);

    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("mode"), QStringLiteral("panorama") }, { QStringLiteral("view"), 2 },
            { QStringLiteral("lensCorrection"), false }, { QStringLiteral("lensStrength"), -150 } });
    updateCoordinateSystem(pane);
    QCOMPARE(display.count(), 0);
    QVERIFY(!pane->hasLensCorrection());
    QCOMPARE(p->deskewParams, kq::SDeskewParams());
    QCOMPARE(p->polygon(), screenBefore);
    QCOMPARE(mode->value().selectedIndex, 0);
    QCOMPARE(view->value().selectedIndex, 0);
    QCOMPARE(mode->changeCount(), 0u);
    QCOMPARE(view->changeCount(), 0u);
}

void TestNodeWindowPane::deskewChangeWritesSessionProperties_data()
{
    QTest::addColumn<bool>("withMode");
    QTest::addColumn<bool>("withView");
    QTest::addColumn<QString>("newMode");
    QTest::addColumn<int>("newView");
    QTest::addColumn<int>("emitted");
    QTest::newRow("both change") << true << true << QStringLiteral("panorama") << 2 << 2;
    QTest::newRow("view only") << true << true << QStringLiteral("normal") << 1 << 1;
    QTest::newRow("mode only") << true << true << QStringLiteral("panorama") << 0 << 1;
    QTest::newRow("neither") << true << true << QStringLiteral("normal") << 0 << 0;
    QTest::newRow("new mode is appended") << true << false << QStringLiteral("quad") << 0 << 1;
    QTest::newRow("no properties") << false << false << QStringLiteral("panorama") << 2 << 0;
}

void TestNodeWindowPane::deskewChangeWritesSessionProperties()
{
    QFETCH(bool, withMode);
    QFETCH(bool, withView);
    QFETCH(QString, newMode);
    QFETCH(int, newView);
    QFETCH(int, emitted);

    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    kq::StringOptionsProperty* mode = withMode ? kqtest::addStringOptions(memory, kq::SOP_DeskewMode,
                                          { QStringLiteral("normal"), QStringLiteral("panorama") }, 0)
                                               : nullptr;
    kq::StringOptionsProperty* view = withView
        ? kqtest::addStringOptions(
            memory, kq::SOP_DeskewView, { QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2") }, 0)
        : nullptr;
    pane->setCoordinateSystem(session);
    kqgui::PanePolygonControl* p = pane->addPolygon(triangle(100, 80).toPolygon(), Qt::red);
    kqgui::PaneRectControl* r = pane->addRect(QRect(QPoint(100, 80), QPoint(300, 200)), Qt::red);
    const QPolygon screenBefore = p->polygon();
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);

    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("mode"), newMode }, { QStringLiteral("view"), newView },
            { QStringLiteral("lensCorrection"), true }, { QStringLiteral("lensStrength"), -150 } });
    {
        kqtest::LogCapture log(kq::Log::Warning);
        updateCoordinateSystem(pane);
        // A mode the property does not list is appended, with the model's warning.
        const bool appended = mode && !mode->value().values.mid(0, 2).contains(newMode);
        QCOMPARE(log.lines().join(QLatin1Char('\n')).contains(QStringLiteral("didn't find value ") + newMode),
            appended);
    }

    QCOMPARE(display.count(), emitted);
    for (const QList<QVariant>& args : qAsConst(display))
        QCOMPARE(args.first().value<kqm::smart<kq::INodeConfigSession>>(), session);
    QVERIFY(pane->hasLensCorrection());
    // Every window is re-mapped through the new settings.
    const kq::SDeskewParams adopted = kq::NodeWidget::getDeskewParams(session);
    QCOMPARE(p->deskewParams, adopted);
    QCOMPARE(p->polygon(), pane->coordinateSystem()->mapToScreen(p->applicationPolygon, adopted));
    QVERIFY(p->polygon() != screenBefore);
    QCOMPARE(p->rect(), p->polygon().boundingRect());
    QCOMPARE(r->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    if (mode) {
        QCOMPARE(mode->value().getSelectedValue(), newMode);
        QCOMPARE(mode->changeCount(), quint64(newMode == QLatin1String("normal") ? 0 : 1));
    }
    if (view) {
        QCOMPARE(view->value().selectedIndex, newView);
        QCOMPARE(view->changeCount(), quint64(newView == 0 ? 0 : 1));
    }

    // The same settings again: nothing more.
    updateCoordinateSystem(pane);
    QCOMPARE(display.count(), emitted);
}

void TestNodeWindowPane::invalidModeSelectionReadsEmpty()
{
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    kq::StringOptionsProperty* mode = kqtest::addStringOptions(
        memory, kq::SOP_DeskewMode, { QStringLiteral("normal"), QStringLiteral("panorama") }, -1);
    pane->setCoordinateSystem(session);
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("mode"), QStringLiteral("normal") },
            { QStringLiteral("lensCorrection"), true } });
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);
    kqtest::LogCapture log(kq::Log::Debug);
    updateCoordinateSystem(pane);
    // The invalid selection read as empty text, which differs from "normal".
    QList<int> levels;
    const QStringList lines = log.lines(&levels);
    QVERIFY2(lines.contains(QStringLiteral("getSelectedValue -> returning empty value ")),
        qPrintable(lines.join(QLatin1Char('\n'))));
    QCOMPARE(levels.value(lines.indexOf(QStringLiteral("getSelectedValue -> returning empty value "))), 1);
    QCOMPARE(display.count(), 1);
    QCOMPARE(mode->value().selectedIndex, 0);
    QCOMPARE(mode->changeCount(), 1u);
}

void TestNodeWindowPane::timerAndZoomPollDeskew()
{
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    kqm::smart<kq::INodeConfigSession> session(memory);
    kq::StringOptionsProperty* view = kqtest::addStringOptions(
        memory, kq::SOP_DeskewView, { QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2") }, 0);
    pane->setCoordinateSystem(session);
    QSignalSpy display(pane, &kqgui::NodeWindowPane::displayChanged);

    // The poll timer picks the change up by itself.
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("view"), 1 }, { QStringLiteral("lensCorrection"), true } });
    QTRY_COMPARE(display.count(), 1);
    QCOMPARE(view->value().selectedIndex, 1);

    // A zoom change polls at once.
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("view"), 2 }, { QStringLiteral("lensCorrection"), true } });
    pane->setZoom(200, QPoint(400, 300));
    QCOMPARE(display.count(), 2);
    QCOMPARE(view->value().selectedIndex, 2);

    // So does a new frame size.
    memory->setAttribute(QStringLiteral("deskew"),
        QVariantMap { { QStringLiteral("view"), 0 }, { QStringLiteral("lensCorrection"), true } });
    memory->setImageRect(QRectF(0, 0, 640, 480));
    QSignalSpy frameSize(pane, &kq::NodeWidget::frameSizeChanged);
    pane->setSession(session);
    QCOMPARE(frameSize.count(), 1);
    QCOMPARE(display.count(), 3);
    QCOMPARE(view->value().selectedIndex, 0);
}

void TestNodeWindowPane::renderWindows()
{
    QTemporaryDir dir;
    QVERIFY(kqtest::showBlackPicture(pane, dir));

    pane->addRect(
        QRect(QPoint(100, 80), QPoint(300, 200)), QColor(255, 0, 0, 128)); // pixels 50..150 / 40..100
    pane->addPolygon(QPolygon(QVector<QPoint> { QPoint(440, 120), QPoint(720, 180), QPoint(520, 500) }),
        QColor(0, 255, 0, 128));
    // Not switched on with showOnScreenDisplay, which would give both the
    // test pane's one colour: the display is on from the start.
    QVERIFY(pane->onScreenDisplay()->enabled);
    const QImage image = pane->grab().toImage();
    image.save(QDir::temp().filePath(QStringLiteral("tst_nodewindowpane.png")));

    QCOMPARE(image.pixelColor(10, 280), QColor(Qt::black));
    // The rectangle: its outline in its colour made opaque, its inside half red over black.
    QCOMPARE(image.pixelColor(100, 40), QColor(Qt::red));
    const QColor inside = image.pixelColor(80, 70);
    QVERIFY2(inside.red() > 100 && inside.red() < 160 && inside.green() == 0 && inside.blue() == 0,
        qPrintable(inside.name()));
    // The polygon (pixels (220,60), (360,90), (260,250)): half green inside.
    const QColor tri = image.pixelColor(270, 120);
    QVERIFY2(tri.green() > 100 && tri.green() < 160 && tri.red() == 0, qPrintable(tri.name()));
    QCOMPARE(image.pixelColor(225, 200), QColor(Qt::black));
    // The delete icon at the rectangle's top-right corner is drawn.
    kq::OnScreenPushControl* button = kqtest::deleteButtonOf(pane, pane->childAt(1));
    QVERIFY(button && button->isShown());
    bool iconPainted = false;
    for (int y = button->area().top(); y <= button->area().bottom(); ++y) {
        for (int x = button->area().left(); x <= button->area().right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c != QColor(Qt::black) && c != QColor(Qt::red) && c != inside)
                iconPainted = true;
        }
    }
    QVERIFY(iconPainted);
}

QTEST_MAIN(TestNodeWindowPane)
#include "tst_nodewindowpane.moc"
