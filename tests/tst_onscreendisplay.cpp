// Mouse input goes through the window system layer, as a user's does: moves
// reach the widget under the mouse and double clicks are recognised by Qt.
#define QTEST_QPA_MOUSE_HANDLING

#include <kq/Connect.h>
#include <kq/Log.h>
#include <kq/OnScreenDisplay.h>

#include "pixels_testsupport.h"

#include <QBuffer>
#include <QPainter>
#include <QPointer>
#include <QRandomGenerator>
#include <QWidget>
#include <QtTest>

#include <functional>
#include <memory>

namespace {
const QColor Fill(0, 200, 0, 60);
const kq::OnScreenControl::ControlFlags AllControlFlags(0x30B);

// What a window pane does when the user presses on the free image: a new
// window (rectangle or polygon) with a delete button, drawn by the press's
// gesture, erased when emptied or when its button is clicked.
class Drawer : public QObject {
    Q_OBJECT
public:
    Drawer(QWidget* host, kq::OnScreenDisplay* osd)
        : host(host)
        , osd(osd)
    {
        connect(osd, &kq::OnScreenDisplay::mousePressed, this, &Drawer::onPress);
    }

    kq::OnScreenRectControl* add(const QRect& rect, const QPolygon& polygon, QEvent* event)
    {
        kq::OnScreenRectControl* control;
        if (drawPolygons) {
            control = new kq::OnScreenPolygonControl(
                host, osd->widget(), polygon, Fill, kq::OnScreenPolygon::PolygonFlags(0x1B), AllControlFlags);
        } else {
            control = new kq::OnScreenRectControl(host, osd->widget(), rect, Fill, Fill,
                kq::OnScreenColorRect::RectFlags(0x2), AllControlFlags);
        }
        control->bounded = !bounds.isEmpty();
        control->bounds = bounds;
        auto* button = new kq::OnScreenPushControl(host, osd->widget(), QStringLiteral(":/missing/on.png"),
            QStringLiteral(":/missing/pressed.png"), Qt::AlignRight | Qt::AlignTop, QPoint(-2, 2), control,
            AllControlFlags);
        if (!kq::connect(control, SIGNAL(emptied(kq::OnScreenControl*)), osd,
                SLOT(erase(kq::OnScreenControl*)), Qt::AutoConnection)
            || !kq::connect(button, SIGNAL(clicked(kq::OnScreenControl*)), osd,
                SLOT(erase(kq::OnScreenControl*)), Qt::AutoConnection))
            ++connectFailures;
        osd->push_back(QList<kq::OnScreenControl*>() << control << button, event);
        return control;
    }

    QWidget* host;
    kq::OnScreenDisplay* osd;
    bool drawPolygons = false;
    QRegion bounds;
    int connectFailures = 0;

private Q_SLOTS:
    void onPress(QMouseEvent* event) { add(QRect(), QPolygon(), event); }
};
}

// Random pixels, premultiplied; opaque or with random alpha.
QImage noise(const QSize& size, quint32 seed, bool opaque)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    QRandomGenerator random(seed);
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const QRgb v = random.generate();
            line[x] = qPremultiply(opaque ? (v | 0xff000000u) : v);
        }
    }
    return image;
}

// control painted over background by a painter moved by offset. anew: the
// painter clips (to the whole image), which keeps the control from drawing
// a kept picture: it draws everything anew.
QImage painted(const kq::OnScreenControl& control, const QImage& background, const QPoint& offset, bool anew,
    QPainter::RenderHints hints = {})
{
    QImage image = background;
    QPainter painter(&image);
    painter.setRenderHints(hints);
    painter.translate(offset);
    if (anew)
        painter.setClipRect(QRect(-offset, image.size()));
    control.paint(painter);
    return image;
}

// Paints control the usual way, twice (the second time from what the first
// kept), and anew; empty when all three agree, else what differs.
QString paintingProblem(const kq::OnScreenControl& control, const QImage& background, const QPoint& offset,
    QPainter::RenderHints hints = {})
{
    const QImage anew = painted(control, background, offset, true, hints);
    const QImage first = painted(control, background, offset, false, hints);
    const QImage second = painted(control, background, offset, false, hints);
    if (anew == background)
        return QStringLiteral("nothing painted");
    for (const QImage* image : { &first, &second }) {
        const QString problem = kqtest::pixelDifference(*image, anew, QStringLiteral("drawn anew"));
        if (!problem.isEmpty())
            return (image == &first ? QStringLiteral("first paint: ") : QStringLiteral("second paint: "))
                + problem;
    }
    return QString();
}

// A control pointer carried by a signal spy, read without touching the object
// (it may be deleted already).
kq::OnScreenControl* controlArg(const QVariant& v)
{
    return *static_cast<kq::OnScreenControl* const*>(v.constData());
}

class TestOnScreenDisplay : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void drawRectangle();
    void zeroSizeGestureEmpties();
    void pressOnControlSelectsAndRaises();
    void moveByDragging();
    void resizeByHandles_data();
    void resizeByHandles();
    void boundsRespected();
    void polygonByClicks();
    void polygonClosedByDoubleClick();
    void polygonVertexDrag();
    void pushControlClickErasesBuddy();
    void rectControlsOrderAndOwners();
    void onOffSwitch();
    void disabledControlIgnoresInput();
    void deleteKeyAndArrowNudge();
    void escapeCancelsDrawing();
    void programmaticChangesDoNotEmit();
    void modesAndActive();
    void painting();
    void picturesPaintAsDrawnAnew_data();
    void picturesPaintAsDrawnAnew();
    void picturesFollowEveryChange();
    void listsFollowEveryChange();
    void changesArePaintedAfterHiding();
    void checkedConnect();

private:
    void press(const QPoint& p) { QTest::mousePress(osd->widget(), Qt::LeftButton, {}, p); }
    void move(const QPoint& p) { QTest::mouseMove(osd->widget(), p); }
    void release(const QPoint& p) { QTest::mouseRelease(osd->widget(), Qt::LeftButton, {}, p); }
    void click(const QPoint& p) { QTest::mouseClick(osd->widget(), Qt::LeftButton, {}, p); }
    void drag(const QPoint& from, const QPoint& to)
    {
        press(from);
        move((from + to) / 2);
        move(to);
        release(to);
    }
    // Draws a window by dragging over the free image from one corner to the other.
    kq::OnScreenRectControl* draw(const QRect& r) { return draw(r.topLeft(), r.bottomRight()); }
    kq::OnScreenRectControl* draw(const QPoint& from, const QPoint& to)
    {
        const int before = osd->rect_controls(host).size();
        drag(from, to);
        const QList<kq::OnScreenRectControl*> list = osd->rect_controls(host);
        return list.size() == before + 1 ? list.first() : nullptr;
    }
    static void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    QWidget* host = nullptr;
    kq::OnScreenDisplay* osd = nullptr;
    Drawer* drawer = nullptr;
};

void TestOnScreenDisplay::init()
{
    host = new QWidget;
    host->resize(400, 300);
    osd = new kq::OnScreenDisplay(host);
    drawer = new Drawer(host, osd);
    host->show();
    QVERIFY(QTest::qWaitForWindowExposed(host));
    QCOMPARE(osd->widget()->parentWidget(), host);
    QCOMPARE(osd->widget()->geometry(), host->rect());
}

void TestOnScreenDisplay::cleanup()
{
    QCOMPARE(drawer->connectFailures, 0);
    delete drawer;
    delete host;
    flushDeletes();
}

void TestOnScreenDisplay::drawRectangle()
{
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    QSignalSpy raised(osd, &kq::OnScreenDisplay::raised);
    press(QPoint(50, 40));
    QCOMPARE(pressed.count(), 1);
    const QList<kq::OnScreenRectControl*> list = osd->rect_controls(host);
    QCOMPARE(list.size(), 1);
    kq::OnScreenRectControl* c = list.first();
    QSignalSpy created(c, &kq::OnScreenRectControl::created);
    QSignalSpy emptied(c, &kq::OnScreenRectControl::emptied);
    QVERIFY(c->modes().testFlag(kq::OnScreenControl::Creating));
    move(QPoint(120, 90));
    QCOMPARE(c->rect(), QRect(QPoint(50, 40), QPoint(120, 90)));
    move(QPoint(30, 20)); // dragging back over the anchor flips the rectangle
    QCOMPARE(c->rect(), QRect(QPoint(30, 20), QPoint(50, 40)));
    release(QPoint(150, 100));
    QCOMPARE(created.count(), 1);
    QCOMPARE(created.first().first().toRect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    QCOMPARE(emptied.count(), 0);
    QCOMPARE(c->rect(), QRect(QPoint(50, 40), QPoint(150, 100)));
    QVERIFY(!c->modes().testFlag(kq::OnScreenControl::Creating));
    // The new window is selected.
    QCOMPARE(osd->current(), c);
    QCOMPARE(osd->rect_control(host), c);
    QVERIFY(c->isActive());
    QCOMPARE(raised.count(), 1);
    QCOMPARE(controlArg(raised.first().first()), c);
    QCOMPARE(pressed.count(), 1); // the gesture's moves and release emit nothing more
}

void TestOnScreenDisplay::zeroSizeGestureEmpties()
{
    press(QPoint(60, 60));
    QPointer<kq::OnScreenRectControl> c = osd->rect_controls(host).value(0);
    QVERIFY(c);
    QPointer<kq::OnScreenControl> button = osd->controls().value(0);
    QVERIFY(button && button->buddy() == c);
    kq::OnScreenControl* const raw = c.data();
    QSignalSpy emptied(c, &kq::OnScreenRectControl::emptied);
    QSignalSpy created(c, &kq::OnScreenRectControl::created);
    QSignalSpy deleted(c, &kq::OnScreenControl::deleted);
    QSignalSpy buttonDeleted(button, &kq::OnScreenControl::deleted);
    move(QPoint(90, 60)); // width but no height
    release(QPoint(90, 60));
    QCOMPARE(created.count(), 0);
    QCOMPARE(emptied.count(), 1);
    QCOMPARE(controlArg(emptied.first().first()), raw);
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(buttonDeleted.count(), 1);
    QVERIFY(osd->rect_controls(host).isEmpty());
    QVERIFY(osd->controls().isEmpty());
    QVERIFY(!osd->current());
    flushDeletes();
    QVERIFY(!c);
    QVERIFY(!button);
}

void TestOnScreenDisplay::pressOnControlSelectsAndRaises()
{
    kq::OnScreenRectControl* a = draw(QRect(QPoint(40, 40), QPoint(160, 140)));
    kq::OnScreenRectControl* b = draw(QPoint(260, 220), QPoint(120, 100));
    QVERIFY(a && b);
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << b << a));
    QCOMPARE(osd->current(), b);
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    QSignalSpy raised(osd, &kq::OnScreenDisplay::raised);

    // The overlap belongs to the newest (topmost) window.
    click(QPoint(140, 120));
    QCOMPARE(osd->current(), b);
    QCOMPARE(raised.count(), 0);

    // A press on a part only a covers selects and raises a.
    click(QPoint(60, 60));
    QCOMPARE(osd->current(), a);
    QVERIFY(a->isActive());
    QVERIFY(!b->isActive());
    QCOMPARE(raised.count(), 1);
    QCOMPARE(controlArg(raised.last().first()), a);

    // Now a is on top: the overlap is a's.
    click(QPoint(140, 120));
    QCOMPARE(osd->current(), a);
    QCOMPARE(raised.count(), 1);

    // Raising changes the stacking, not the list.
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << b << a));
    QCOMPARE(pressed.count(), 0);
    QCOMPARE(osd->rect_controls(host).size(), 2);
}

void TestOnScreenDisplay::moveByDragging()
{
    kq::OnScreenRectControl* c = draw(QRect(QPoint(40, 40), QPoint(140, 100)));
    QVERIFY(c);
    QSignalSpy changed(c, &kq::OnScreenControl::changed);
    press(QPoint(90, 70));
    QVERIFY(c->isMoving());
    move(QPoint(100, 80));
    QCOMPARE(c->rect(), QRect(QPoint(50, 50), QPoint(150, 110)));
    move(QPoint(120, 90));
    release(QPoint(120, 90));
    QVERIFY(!c->isMoving());
    QCOMPARE(c->rect(), QRect(QPoint(70, 60), QPoint(170, 120)));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(osd->rect_controls(host).size(), 1);
}

void TestOnScreenDisplay::resizeByHandles_data()
{
    QTest::addColumn<QPoint>("handle");
    QTest::addColumn<QPoint>("to");
    QTest::addColumn<QRect>("expected");
    const QRect r(QPoint(100, 100), QPoint(200, 180));
    QTest::newRow("bottom-right corner")
        << r.bottomRight() << QPoint(250, 220) << QRect(QPoint(100, 100), QPoint(250, 220));
    QTest::newRow("top-left corner, grabbed a little off")
        << r.topLeft() + QPoint(2, -3) << QPoint(62, 77) << QRect(QPoint(60, 80), QPoint(200, 180));
    QTest::newRow("top edge") << QPoint(150, 100) << QPoint(10, 130)
                              << QRect(QPoint(100, 130), QPoint(200, 180));
    QTest::newRow("left edge past the right edge stops there")
        << QPoint(100, 140) << QPoint(300, 140) << QRect(QPoint(200, 100), QPoint(200, 180));
}

void TestOnScreenDisplay::resizeByHandles()
{
    QFETCH(QPoint, handle);
    QFETCH(QPoint, to);
    QFETCH(QRect, expected);
    kq::OnScreenRectControl* c = draw(QRect(QPoint(100, 100), QPoint(200, 180)));
    QVERIFY(c && c->isActive());
    QSignalSpy changed(c, &kq::OnScreenControl::changed);
    press(handle);
    QVERIFY(c->modes().testFlag(kq::OnScreenControl::Resizing));
    move(to);
    release(to);
    QCOMPARE(c->rect(), expected);
    QVERIFY(changed.count() >= 1);
    QVERIFY(!c->modes().testFlag(kq::OnScreenControl::Resizing));
}

void TestOnScreenDisplay::boundsRespected()
{
    drawer->bounds = QRegion(20, 10, 300, 200); // x 20..319, y 10..209
    // Drawing stops at the bounds.
    kq::OnScreenRectControl* c = draw(QRect(QPoint(100, 100), QPoint(390, 290)));
    QVERIFY(c);
    QCOMPARE(c->rect(), QRect(QPoint(100, 100), QPoint(319, 209)));
    // Resizing too.
    c->setRect(QRect(QPoint(100, 100), QPoint(150, 150)));
    drag(QPoint(100, 100), QPoint(1, 1)); // (0, 0) would mean the centre to QTest
    QCOMPARE(c->rect(), QRect(QPoint(20, 10), QPoint(150, 150)));
    // Moving stops at the edge on each axis on its own.
    drag(QPoint(80, 80), QPoint(380, 100));
    QCOMPARE(c->rect(), QRect(QPoint(189, 30), QPoint(319, 170)));
    drag(QPoint(250, 100), QPoint(5, 295));
    QCOMPARE(c->rect(), QRect(QPoint(20, 69), QPoint(150, 209)));
    // Arrow keys too.
    QTest::keyClick(osd->widget(), Qt::Key_Down);
    QCOMPARE(c->rect().bottom(), 209);
    QTest::keyClick(osd->widget(), Qt::Key_Up);
    QCOMPARE(c->rect().bottom(), 208);
}

void TestOnScreenDisplay::polygonByClicks()
{
    drawer->drawPolygons = true;
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    click(QPoint(50, 50));
    QCOMPARE(pressed.count(), 1);
    auto* c = qobject_cast<kq::OnScreenPolygonControl*>(osd->rect_controls(host).value(0));
    QVERIFY(c);
    QSignalSpy created(c, &kq::OnScreenRectControl::created);
    move(QPoint(120, 60)); // rubber band only
    QCOMPARE(c->polygon().size(), 1);
    click(QPoint(150, 60));
    click(QPoint(130, 140));
    QCOMPARE(c->polygon().size(), 3);
    QCOMPARE(created.count(), 0);
    // A click on (near) the first vertex closes the polygon.
    click(QPoint(52, 49));
    QCOMPARE(created.count(), 1);
    QCOMPARE(c->polygon(), QPolygon(QVector<QPoint> { QPoint(50, 50), QPoint(150, 60), QPoint(130, 140) }));
    QCOMPARE(created.first().first().toRect(), QRect(QPoint(50, 50), QPoint(150, 140)));
    QCOMPARE(c->rect(), QRect(QPoint(50, 50), QPoint(150, 140)));
    QCOMPARE(pressed.count(), 1); // the later clicks belonged to the gesture
    QCOMPARE(osd->current(), c);
    // The next click on free image starts another window.
    click(QPoint(300, 250));
    QCOMPARE(pressed.count(), 2);
}

void TestOnScreenDisplay::polygonClosedByDoubleClick()
{
    drawer->drawPolygons = true;
    click(QPoint(200, 50));
    auto* c = qobject_cast<kq::OnScreenPolygonControl*>(osd->rect_controls(host).value(0));
    QVERIFY(c);
    QSignalSpy created(c, &kq::OnScreenRectControl::created);
    QSignalSpy emptied(c, &kq::OnScreenRectControl::emptied);
    click(QPoint(300, 80));
    click(QPoint(280, 200));
    click(QPoint(190, 180));
    QTest::mouseDClick(osd->widget(), Qt::LeftButton, {}, QPoint(190, 180));
    QCOMPARE(created.count(), 1);
    QCOMPARE(emptied.count(), 0);
    QCOMPARE(c->polygon(),
        QPolygon(QVector<QPoint> { QPoint(200, 50), QPoint(300, 80), QPoint(280, 200), QPoint(190, 180) }));

    // Two points only: no area, so the new window reports itself empty.
    click(QPoint(20, 20));
    auto* thin = qobject_cast<kq::OnScreenPolygonControl*>(osd->rect_controls(host).value(0));
    QVERIFY(thin && thin != c);
    QSignalSpy thinEmptied(thin, &kq::OnScreenRectControl::emptied);
    click(QPoint(60, 20));
    QTest::mouseDClick(osd->widget(), Qt::LeftButton, {}, QPoint(60, 20));
    QCOMPARE(thinEmptied.count(), 1);
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << c));
}

void TestOnScreenDisplay::polygonVertexDrag()
{
    drawer->drawPolygons = true;
    QPolygon triangle(QVector<QPoint> { QPoint(100, 100), QPoint(200, 100), QPoint(150, 180) });
    kq::OnScreenRectControl* c = drawer->add(triangle.boundingRect(), triangle, nullptr);
    auto* poly = qobject_cast<kq::OnScreenPolygonControl*>(c);
    QVERIFY(poly);
    QCOMPARE(poly->rect(), QRect(QPoint(100, 100), QPoint(200, 180)));
    QSignalSpy changed(c, &kq::OnScreenControl::changed);
    click(QPoint(150, 130)); // select
    QCOMPARE(osd->current(), c);
    drag(QPoint(150, 180), QPoint(160, 250)); // the apex
    QCOMPARE(
        poly->polygon(), QPolygon(QVector<QPoint> { QPoint(100, 100), QPoint(200, 100), QPoint(160, 250) }));
    QCOMPARE(poly->rect(), QRect(QPoint(100, 100), QPoint(200, 250)));
    // Dragging inside moves the whole polygon.
    drag(QPoint(150, 130), QPoint(140, 120));
    QCOMPARE(
        poly->polygon(), QPolygon(QVector<QPoint> { QPoint(90, 90), QPoint(190, 90), QPoint(150, 240) }));
    QCOMPARE(poly->rect(), QRect(QPoint(90, 90), QPoint(190, 240)));
    QVERIFY(changed.count() >= 2);
    // Arrow keys move all vertices.
    QTest::keyClick(osd->widget(), Qt::Key_Right);
    QCOMPARE(
        poly->polygon(), QPolygon(QVector<QPoint> { QPoint(91, 90), QPoint(191, 90), QPoint(151, 240) }));
    QCOMPARE(poly->rect(), QRect(QPoint(91, 90), QPoint(191, 240)));
    // A press outside the triangle but inside its box is free image.
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    drawer->drawPolygons = false;
    press(QPoint(95, 230));
    QCOMPARE(pressed.count(), 1);
    release(QPoint(95, 230));
}

void TestOnScreenDisplay::pushControlClickErasesBuddy()
{
    QPointer<kq::OnScreenRectControl> c = draw(QRect(QPoint(50, 50), QPoint(200, 150)));
    QVERIFY(c);
    QPointer<kq::OnScreenPushControl> button
        = qobject_cast<kq::OnScreenPushControl*>(osd->controls().value(0));
    QVERIFY(button);
    QCOMPARE(button->buddy(), c.data());
    QVERIFY(button->isShown());
    // The right-top corner, moved by (-2, 2); the stand-in icon is 16 x 16.
    QCOMPARE(button->area(), QRect(200 - 16 + 1 - 2, 52, 16, 16));
    kq::OnScreenControl* const raw = c.data();
    QSignalSpy clicked(button, &kq::OnScreenPushControl::clicked);
    QSignalSpy deleted(c, &kq::OnScreenControl::deleted);

    // Pressed, then released away from it: no click.
    press(button->area().center());
    QVERIFY(button->modes().testFlag(kq::OnScreenControl::Pressed));
    move(QPoint(10, 10));
    QVERIFY(!button->modes().testFlag(kq::OnScreenControl::Pressed));
    release(QPoint(10, 10));
    QCOMPARE(clicked.count(), 0);
    QVERIFY(c);
    QCOMPARE(c->rect(), QRect(QPoint(50, 50), QPoint(200, 150))); // the window did not move

    click(button->area().center());
    QCOMPARE(clicked.count(), 1);
    QCOMPARE(controlArg(clicked.first().first()), raw);
    QCOMPARE(deleted.count(), 1);
    QVERIFY(osd->controls().isEmpty());
    flushDeletes();
    QVERIFY(!c);
    QVERIFY(!button);
}

void TestOnScreenDisplay::rectControlsOrderAndOwners()
{
    QObject other;
    kq::OnScreenRectControl* c1 = drawer->add(QRect(10, 10, 30, 30), QPolygon(), nullptr);
    kq::OnScreenRectControl* c2 = drawer->add(QRect(60, 10, 30, 30), QPolygon(), nullptr);
    auto* foreign = new kq::OnScreenRectControl(&other, osd->widget(), QRect(110, 10, 30, 30), Fill, Fill,
        kq::OnScreenColorRect::Outline, AllControlFlags);
    osd->push_back(QList<kq::OnScreenControl*>() << foreign, nullptr);
    kq::OnScreenRectControl* c3 = drawer->add(QRect(160, 10, 30, 30), QPolygon(), nullptr);
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << c3 << c2 << c1));
    QCOMPARE(osd->rect_controls(&other), QList<kq::OnScreenRectControl*>() << foreign);
    QCOMPARE(osd->rect_controls(nullptr).size(), 4);
    QCOMPARE(osd->controls().size(), 7); // three buttons
    // Pushing a held control again changes nothing.
    osd->push_back(QList<kq::OnScreenControl*>() << c1 << nullptr, nullptr);
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << c3 << c2 << c1));
    // Loaded windows are not selected.
    QVERIFY(!osd->rect_control(host));
    click(QPoint(120, 20));
    QCOMPARE(osd->current(), foreign);
    QVERIFY(!osd->rect_control(host));
    QCOMPARE(osd->rect_control(&other), foreign);
    // Erasing one keeps the order of the rest.
    osd->erase(c2);
    QCOMPARE(osd->rect_controls(host), (QList<kq::OnScreenRectControl*>() << c3 << c1));
    osd->erase(c2); // no longer held: ignored
    osd->clear(host);
    QVERIFY(osd->rect_controls(host).isEmpty());
    QCOMPARE(osd->controls(), QList<kq::OnScreenControl*>() << foreign);
    osd->clear(nullptr);
    QVERIFY(osd->controls().isEmpty());
    flushDeletes();
}

void TestOnScreenDisplay::onOffSwitch()
{
    kq::OnScreenRectControl* c = draw(QRect(QPoint(50, 50), QPoint(150, 150)));
    QVERIFY(c);
    osd->setCurrent(nullptr);
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    QSignalSpy raised(osd, &kq::OnScreenDisplay::raised);
    osd->enabled = false;
    osd->update();
    drag(QPoint(250, 200), QPoint(300, 250)); // free image
    drag(QPoint(100, 100), QPoint(120, 130)); // on the window
    QTest::keyClick(osd->widget(), Qt::Key_Delete);
    QCOMPARE(pressed.count(), 0);
    QCOMPARE(raised.count(), 0);
    QCOMPARE(osd->rect_controls(host).size(), 1);
    QCOMPARE(c->rect(), QRect(QPoint(50, 50), QPoint(150, 150)));
    auto* button = qobject_cast<kq::OnScreenPushControl*>(osd->controls().value(0));
    QVERIFY(button && !button->isShown());

    osd->enabled = true;
    QVERIFY(button->isShown());
    drag(QPoint(100, 100), QPoint(120, 130));
    QCOMPARE(raised.count(), 1);
    QCOMPARE(c->rect(), QRect(QPoint(70, 80), QPoint(170, 180)));
    drag(QPoint(250, 200), QPoint(300, 250));
    QCOMPARE(pressed.count(), 1);
    QCOMPARE(osd->rect_controls(host).size(), 2);
}

void TestOnScreenDisplay::disabledControlIgnoresInput()
{
    kq::OnScreenRectControl* c = draw(QRect(QPoint(50, 50), QPoint(150, 150)));
    QVERIFY(c && c->isActive());
    c->setEnabled(false);
    QVERIFY(!c->isEnabled());
    QVERIFY(!c->isActive());
    QVERIFY(!osd->current());
    auto* button = qobject_cast<kq::OnScreenPushControl*>(osd->controls().value(0));
    QVERIFY(button && !button->isShown());
    QSignalSpy pressed(osd, &kq::OnScreenDisplay::mousePressed);
    drag(QPoint(100, 100), QPoint(130, 130));
    // The press went to the free image: a new window was drawn over it.
    QCOMPARE(pressed.count(), 1);
    QCOMPARE(c->rect(), QRect(QPoint(50, 50), QPoint(150, 150)));
    QCOMPARE(osd->rect_controls(host).size(), 2);
    osd->setCurrent(c); // a disabled control cannot be selected
    QVERIFY(osd->current() != c);
}

void TestOnScreenDisplay::deleteKeyAndArrowNudge()
{
    kq::OnScreenRectControl* a = draw(QRect(QPoint(20, 20), QPoint(80, 80)));
    kq::OnScreenRectControl* b = draw(QRect(QPoint(120, 20), QPoint(180, 80)));
    QVERIFY(a && b);
    click(QPoint(50, 50));
    QCOMPARE(osd->current(), a);
    QSignalSpy changed(a, &kq::OnScreenControl::changed);
    QTest::keyClick(osd->widget(), Qt::Key_Right);
    QTest::keyClick(osd->widget(), Qt::Key_Right);
    QTest::keyClick(osd->widget(), Qt::Key_Down);
    QTest::keyClick(osd->widget(), Qt::Key_Left);
    QTest::keyClick(osd->widget(), Qt::Key_Up);
    QTest::keyClick(osd->widget(), Qt::Key_Up);
    QCOMPARE(a->rect(), QRect(QPoint(21, 19), QPoint(81, 79)));
    QCOMPARE(changed.count(), 6);
    QCOMPARE(b->rect(), QRect(QPoint(120, 20), QPoint(180, 80)));

    QSignalSpy deleted(a, &kq::OnScreenControl::deleted);
    QTest::keyClick(osd->widget(), Qt::Key_Delete);
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(osd->rect_controls(host), QList<kq::OnScreenRectControl*>() << b);
    QCOMPARE(osd->controls().size(), 2); // b and its button
    QVERIFY(!osd->current());
    // Nothing selected: keys do nothing.
    QTest::keyClick(osd->widget(), Qt::Key_Delete);
    QTest::keyClick(osd->widget(), Qt::Key_Left);
    QCOMPARE(osd->rect_controls(host), QList<kq::OnScreenRectControl*>() << b);
    QCOMPARE(b->rect(), QRect(QPoint(120, 20), QPoint(180, 80)));

    // Without the key flags the keys do nothing either.
    click(QPoint(150, 50));
    QCOMPARE(osd->current(), b);
    b->setControlFlags(kq::OnScreenControl::Selectable | kq::OnScreenControl::Movable);
    QTest::keyClick(osd->widget(), Qt::Key_Left);
    QTest::keyClick(osd->widget(), Qt::Key_Delete);
    QCOMPARE(osd->rect_controls(host), QList<kq::OnScreenRectControl*>() << b);
    QCOMPARE(b->rect(), QRect(QPoint(120, 20), QPoint(180, 80)));
}

void TestOnScreenDisplay::escapeCancelsDrawing()
{
    drawer->drawPolygons = true;
    click(QPoint(50, 50));
    auto* c = osd->rect_controls(host).value(0);
    QVERIFY(c);
    QSignalSpy emptied(c, &kq::OnScreenRectControl::emptied);
    click(QPoint(100, 50));
    QTest::keyClick(osd->widget(), Qt::Key_Escape);
    QCOMPARE(emptied.count(), 1);
    QVERIFY(osd->rect_controls(host).isEmpty());
}

void TestOnScreenDisplay::programmaticChangesDoNotEmit()
{
    kq::OnScreenRectControl* c = drawer->add(QRect(10, 10, 50, 50), QPolygon(), nullptr);
    QSignalSpy changed(c, &kq::OnScreenControl::changed);
    c->setRect(QRect(20, 20, 60, 60));
    c->setColor(Qt::red);
    QCOMPARE(c->rect(), QRect(20, 20, 60, 60));
    QCOMPARE(c->color(), QColor(Qt::red));
    QCOMPARE(changed.count(), 0);

    // A polygon control scales its polygon into a new rectangle.
    kq::OnScreenPolygonControl poly(host, osd->widget(),
        QVector<QPoint> { QPoint(0, 0), QPoint(10, 0), QPoint(0, 20) }, Fill,
        kq::OnScreenPolygon::PolygonFlags(0x1B), AllControlFlags);
    QCOMPARE(poly.rect(), QRect(0, 0, 11, 21));
    poly.setRect(QRect(100, 200, 21, 11));
    QCOMPARE(
        poly.polygon(), QPolygon(QVector<QPoint> { QPoint(100, 200), QPoint(120, 200), QPoint(100, 210) }));
    // The base's own setRect leaves the polygon.
    poly.kq::OnScreenRect::setRect(QRect());
    QCOMPARE(poly.polygon().size(), 3);
    QVERIFY(!poly.hasExtent());
    // An empty polygon control shows nothing and has a null rectangle.
    kq::OnScreenPolygonControl empty(host, osd->widget(), QVector<QPoint>(), Fill,
        kq::OnScreenPolygon::PolygonFlags(0x1B), AllControlFlags);
    QVERIFY(empty.rect().isNull());
    QVERIFY(!empty.hasExtent());
    QVERIFY(!empty.hitTest(QPoint(0, 0)));
    // The polygon colour is the one polygon controls use.
    poly.setColor(Qt::blue);
    QCOMPARE(poly.color(), QColor(Qt::blue));
    QCOMPARE(poly.kq::OnScreenPolygon::color(), QColor(Qt::blue));
}

void TestOnScreenDisplay::modesAndActive()
{
    kq::OnScreenRectControl c(
        host, osd->widget(), QRect(0, 0, 5, 5), Fill, Fill, kq::OnScreenColorRect::Outline, AllControlFlags);
    QCOMPARE(int(c.modes()), 0);
    c.setModes(kq::OnScreenControl::Modes(0x10 | 0x1));
    QVERIFY(c.isMoving());
    QVERIFY(!c.isActive());
    c.setActive(true);
    QCOMPARE(int(c.modes()), 0x13);
    QVERIFY(c.isActive());
    c.setActive(false);
    QCOMPARE(int(c.modes()), 0x11);
    QCOMPARE(int(kq::OnScreenControl::Active), 0x2);
    QCOMPARE(int(kq::OnScreenControl::Moving), 0x10);
    QCOMPARE(int(AllControlFlags),
        int(kq::OnScreenControl::Selectable | kq::OnScreenControl::Movable | kq::OnScreenControl::Resizable
            | kq::OnScreenControl::DeleteKey | kq::OnScreenControl::ArrowKeys));
    QCOMPARE(int(kq::OnScreenPolygon::PolygonFlags(0x1B)),
        int(kq::OnScreenPolygon::Closed | kq::OnScreenPolygon::Outline | kq::OnScreenPolygon::ClickToDraw
            | kq::OnScreenPolygon::VertexHandles));
}

void TestOnScreenDisplay::painting()
{
    host->setAutoFillBackground(true);
    QPalette pal = host->palette();
    pal.setColor(QPalette::Window, Qt::black);
    host->setPalette(pal);
    kq::OnScreenRectControl* r = draw(QRect(QPoint(40, 40), QPoint(160, 120)));
    QVERIFY(r);
    r->setColor(QColor(255, 0, 0, 128));
    drawer->drawPolygons = true;
    drawer->add(
        QRect(), QPolygon(QVector<QPoint> { QPoint(220, 60), QPoint(360, 90), QPoint(260, 250) }), nullptr);
    osd->setCurrent(r);

    const QImage image = host->grab().toImage();
    image.save(QDir::temp().filePath(QStringLiteral("tst_onscreendisplay.png")));
    // Outside every window: the black background.
    QCOMPARE(image.pixelColor(10, 280), QColor(Qt::black));
    // Inside the rectangle: half-transparent red over black.
    const QColor inside = image.pixelColor(70, 100);
    QVERIFY2(inside.red() > 100 && inside.red() < 160 && inside.green() == 0,
        qPrintable(inside.name(QColor::HexArgb)));
    // Its outline: opaque red (selected: two pixels wide).
    QCOMPARE(image.pixelColor(70, 40), QColor(Qt::red));
    QCOMPARE(image.pixelColor(70, 41), QColor(Qt::red));
    // A resize handle at the bottom-right corner: white inside.
    QCOMPARE(image.pixelColor(160, 120), QColor(Qt::white));
    // The delete button's stand-in icon at the top right.
    auto* button = qobject_cast<kq::OnScreenPushControl*>(osd->controls().value(2)); // newest first
    QVERIFY(button && button->buddy() == r);
    QCOMPARE(button->area(), QRect(160 - 16 + 1 - 2, 40 + 2, 16, 16));
    QCOMPARE(image.pixelColor(button->area().topLeft() + QPoint(1, 8)), QColor(230, 230, 230));
    QCOMPARE(image.pixelColor(button->area().topLeft()), QColor(Qt::black));
    // Inside the triangle: the fill colour over black.
    const QColor tri = image.pixelColor(270, 120);
    QVERIFY2(tri.green() > 20 && tri.green() < 80 && tri.red() == 0, qPrintable(tri.name()));
    // Just outside the triangle, inside its box.
    QCOMPARE(image.pixelColor(225, 200), QColor(Qt::black));
}

void TestOnScreenDisplay::picturesPaintAsDrawnAnew_data()
{
    QTest::addColumn<bool>("polygon");
    QTest::addColumn<int>("shapeFlags");
    QTest::addColumn<int>("modes");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QColor>("color");
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<QPolygon>("points");
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("opaque");

    const int outline = kq::OnScreenColorRect::Outline;
    const int polygonFlags = 0x1B;
    const int active = kq::OnScreenControl::Active;
    const QColor green(0, 200, 0, 60);
    const QRect r(20, 15, 120, 70);
    const QPolygon tri(QVector<QPoint> { QPoint(30, 20), QPoint(170, 50), QPoint(70, 160) });
    const QPolygon quad(
        QVector<QPoint> { QPoint(40, 30), QPoint(150, 35), QPoint(140, 120), QPoint(35, 100) });
    const QSize size(240, 180);
    QTest::newRow("rect") << false << outline << 0 << true << green << r << QPolygon() << QPoint() << size
                          << true;
    QTest::newRow("rect moved by the painter")
        << false << outline << 0 << true << green << r << QPolygon() << QPoint(7, -3) << size << true;
    QTest::newRow("rect selected") << false << outline << active << true << green << r << QPolygon()
                                   << QPoint() << size << true;
    QTest::newRow("rect under the mouse") << false << outline << int(kq::OnScreenControl::Hovered) << true
                                          << green << r << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect dragged") << false << outline << int(active | kq::OnScreenControl::Moving) << true
                                  << green << r << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect dashed") << false << int(outline | kq::OnScreenColorRect::Dashed) << active << true
                                 << green << r << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect without fill") << false << int(outline | kq::OnScreenColorRect::NoFill) << active
                                       << true << green << r << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect without outline")
        << false << 0 << 0 << true << green << r << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect disabled") << false << outline << active << false << green << r << QPolygon()
                                   << QPoint() << size << true;
    QTest::newRow("rect opaque") << false << outline << active << true << QColor(Qt::blue) << r << QPolygon()
                                 << QPoint() << size << true;
    QTest::newRow("rect 1 x 1") << false << outline << active << true << green << QRect(50, 50, 1, 1)
                                << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect 3 x 2") << false << outline << active << true << green << QRect(50, 50, 3, 2)
                                << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect 2 x 2") << false << outline << active << true << green << QRect(50, 50, 2, 2)
                                << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect 2 x 9") << false << outline << active << true << green << QRect(50, 50, 2, 9)
                                << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect 9 x 2 moved by the painter")
        << false << outline << active << true << green << QRect(50, 50, 9, 2) << QPolygon() << QPoint(3, 4)
        << size << true;
    QTest::newRow("rect 4 x 4 under the mouse")
        << false << outline << int(kq::OnScreenControl::Hovered) << true << green << QRect(50, 50, 4, 4)
        << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect with handles at the image's edge")
        << false << outline << active << true << green << QRect(4, 4, 60, 40) << QPolygon() << QPoint()
        << size << true;
    QTest::newRow("rect at the edge") << false << outline << active << true << green
                                      << QRect(-10, 150, 80, 60) << QPolygon() << QPoint() << size << true;
    QTest::newRow("rect over translucent pixels")
        << false << outline << 0 << true << green << r << QPolygon() << QPoint() << size << false;
    QTest::newRow("rect too large to keep")
        << false << outline << active << true << green << QRect(10, 10, 600, 500) << QPolygon() << QPoint()
        << QSize(640, 540) << true;
    QTest::newRow("polygon") << true << polygonFlags << 0 << true << green << QRect() << tri << QPoint()
                             << size << true;
    QTest::newRow("polygon moved by the painter")
        << true << polygonFlags << 0 << true << green << QRect() << quad << QPoint(-5, 9) << size << true;
    QTest::newRow("polygon selected")
        << true << polygonFlags << active << true << green << QRect() << quad << QPoint() << size << true;
    QTest::newRow("polygon under the mouse") << true << polygonFlags << int(kq::OnScreenControl::Hovered)
                                             << true << green << QRect() << tri << QPoint() << size << true;
    QTest::newRow("polygon dashed") << true << int(polygonFlags | kq::OnScreenPolygon::Dashed) << active
                                    << true << green << QRect() << tri << QPoint() << size << true;
    QTest::newRow("polygon open") << true << int(kq::OnScreenPolygon::Outline) << active << true << green
                                  << QRect() << quad << QPoint() << size << true;
    QTest::newRow("polygon without outline") << true << int(kq::OnScreenPolygon::Closed) << 0 << true << green
                                             << QRect() << quad << QPoint() << size << true;
    QTest::newRow("polygon closed by a copy of its first point")
        << true << polygonFlags << active << true << green << QRect()
        << QPolygon(QVector<QPoint>(quad) << quad.first()) << QPoint() << size << true;
    QTest::newRow("polygon over translucent pixels")
        << true << polygonFlags << active << true << green << QRect() << tri << QPoint() << size << false;
}

// A control keeps the picture it drew and draws it again; the pixels are
// those of drawing it anew, whatever it looks like and wherever it is drawn.
void TestOnScreenDisplay::picturesPaintAsDrawnAnew()
{
    QFETCH(bool, polygon);
    QFETCH(int, shapeFlags);
    QFETCH(int, modes);
    QFETCH(bool, enabled);
    QFETCH(QColor, color);
    QFETCH(QRect, rect);
    QFETCH(QPolygon, points);
    QFETCH(QPoint, offset);
    QFETCH(QSize, size);
    QFETCH(bool, opaque);

    std::unique_ptr<kq::OnScreenRectControl> control;
    if (polygon) {
        control.reset(new kq::OnScreenPolygonControl(
            nullptr, nullptr, points, color, kq::OnScreenPolygon::PolygonFlags(shapeFlags), AllControlFlags));
    } else {
        control.reset(new kq::OnScreenRectControl(nullptr, nullptr, rect, color, QColor(200, 0, 200, 90),
            kq::OnScreenColorRect::RectFlags(shapeFlags), AllControlFlags));
    }
    control->setEnabled(enabled);
    control->setModes(kq::OnScreenControl::Modes(modes));
    const QString problem = paintingProblem(*control, noise(size, 1, opaque), offset);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

// Whatever changes in a control, or in the painter, its next paint shows it:
// a kept picture is never drawn again once it no longer fits.
void TestOnScreenDisplay::picturesFollowEveryChange()
{
    const QImage background = noise(QSize(260, 200), 2, true);
    kq::OnScreenRectControl rect(nullptr, nullptr, QRect(20, 20, 100, 60), Fill, Fill,
        kq::OnScreenColorRect::Outline, AllControlFlags);
    kq::OnScreenPolygonControl polygon(nullptr, nullptr,
        QVector<QPoint> { QPoint(120, 40), QPoint(230, 60), QPoint(160, 170) }, Fill,
        kq::OnScreenPolygon::PolygonFlags(0x1B), AllControlFlags);
    struct Change {
        const char* what;
        std::function<void()> apply;
    };
    QPoint offset;
    QPainter::RenderHints hints;
    const QList<Change> changes {
        { "nothing", [] {} },
        { "colour", [&] { rect.setColor(QColor(255, 0, 0, 90)), polygon.setColor(QColor(0, 0, 255, 120)); } },
        { "rectangle moved", [&] { rect.setRect(QRect(30, 25, 100, 60)); } },
        { "rectangle resized", [&] { rect.setRect(QRect(30, 25, 140, 30)); } },
        { "polygon moved", [&] { polygon.setPolygon(polygon.polygon().translated(-12, 5)); } },
        { "polygon reshaped", [&] { polygon.setRect(QRect(100, 50, 80, 120)); } },
        { "selected", [&] { rect.setActive(true), polygon.setActive(true); } },
        { "under the mouse", [&] { rect.setModes(rect.modes() | kq::OnScreenControl::Hovered); } },
        { "dragged",
            [&] {
                rect.setDragColor(QColor(0, 255, 255, 40));
                rect.setModes(rect.modes() | kq::OnScreenControl::Moving);
                polygon.setModes(polygon.modes() | kq::OnScreenControl::Moving);
            } },
        { "dropped",
            [&] {
                rect.setModes(rect.modes() & ~kq::OnScreenControl::Modes(kq::OnScreenControl::Moving));
                polygon.setModes(polygon.modes() & ~kq::OnScreenControl::Modes(kq::OnScreenControl::Moving));
            } },
        { "disabled", [&] { rect.setEnabled(false), polygon.setEnabled(false); } },
        { "enabled and selected",
            [&] {
                rect.setEnabled(true), polygon.setEnabled(true);
                rect.setActive(true), polygon.setActive(true);
            } },
        { "flags",
            [&] {
                rect.setRectFlags(kq::OnScreenColorRect::Outline | kq::OnScreenColorRect::Dashed);
                polygon.setPolygonFlags(kq::OnScreenPolygon::Outline);
            } },
        { "painter moved", [&] { offset = QPoint(3, 4); } },
        { "antialiased painter", [&] { hints = QPainter::Antialiasing; } },
        { "plain painter again", [&] { hints = {}; } },
        { "handles off", [&] { rect.setControlFlags(kq::OnScreenControl::Selectable); } },
    };
    for (const Change& change : changes) {
        change.apply();
        for (const kq::OnScreenControl* control :
            { static_cast<kq::OnScreenControl*>(&rect), static_cast<kq::OnScreenControl*>(&polygon) }) {
            const QString problem = paintingProblem(*control, background, offset, hints);
            QVERIFY2(problem.isEmpty(),
                qPrintable(QStringLiteral("%1, %2: %3")
                               .arg(QLatin1String(change.what),
                                   control == &rect ? QStringLiteral("rectangle") : QStringLiteral("polygon"),
                                   problem)));
        }
    }
}

// rect_controls() and controls() answer from lists the display keeps: after
// any mix of adding, erasing, clearing, deleting and re-parenting they are
// what a walk over the held controls gives.
void TestOnScreenDisplay::listsFollowEveryChange()
{
    QObject ownerA, ownerB;
    const QList<QObject*> owners { host, &ownerA, &ownerB, nullptr };
    QList<QPointer<kq::OnScreenControl>> model; // held controls, oldest first
    QList<QPointer<kq::OnScreenControl>> made;
    QRandomGenerator random(7);
    const auto pick = [&](int n) { return int(random.bounded(quint32(n))); };
    const auto pickHeld = [&]() -> kq::OnScreenControl* {
        QList<kq::OnScreenControl*> held;
        for (kq::OnScreenControl* c : model) {
            if (c)
                held << c;
        }
        return held.isEmpty() ? nullptr : held.at(pick(held.size()));
    };
    // What erase(c) takes away: c and the controls riding on it, in turn.
    const auto modelErase = [&](kq::OnScreenControl* c) {
        QList<kq::OnScreenControl*> doomed { c };
        for (int i = 0; i < doomed.size(); ++i) {
            for (kq::OnScreenControl* r : model) {
                if (r && r->buddy() == doomed.at(i) && !doomed.contains(r))
                    doomed << r;
            }
        }
        for (kq::OnScreenControl* d : doomed)
            model.removeAll(d);
    };
    const auto newRect = [&](QObject* owner, bool polygon) -> kq::OnScreenRectControl* {
        const QRect r(pick(300), pick(200), 10 + pick(60), 10 + pick(60));
        if (polygon)
            return new kq::OnScreenPolygonControl(owner, osd->widget(),
                QVector<QPoint> { r.topLeft(), r.topRight(), r.bottomLeft() }, Fill,
                kq::OnScreenPolygon::PolygonFlags(0x1B), AllControlFlags);
        return new kq::OnScreenRectControl(
            owner, osd->widget(), r, Fill, Fill, kq::OnScreenColorRect::Outline, AllControlFlags);
    };
    QList<QPointer<kq::OnScreenControl>> erased;
    for (int step = 0; step < 800; ++step) {
        QString what;
        switch (pick(11)) {
        case 0:
        case 1:
        case 2: {
            QObject* owner = owners.at(pick(owners.size()));
            kq::OnScreenRectControl* c = newRect(owner, pick(2));
            auto* button = new kq::OnScreenPushControl(owner, osd->widget(),
                QStringLiteral(":/missing/on.png"), QStringLiteral(":/missing/pressed.png"),
                Qt::AlignRight | Qt::AlignTop, QPoint(-2, 2), c, AllControlFlags);
            made << c << button;
            osd->push_back(QList<kq::OnScreenControl*>() << c << button, nullptr);
            model << c << button;
            what = QStringLiteral("add a window");
            break;
        }
        case 3: {
            // Several at once: the last of them is the newest.
            QList<kq::OnScreenControl*> batch;
            for (int i = 0; i < 3; ++i) {
                batch << newRect(owners.at(pick(owners.size())), false);
                made << batch.last();
            }
            osd->push_back(batch, nullptr);
            for (kq::OnScreenControl* c : batch)
                model << c;
            what = QStringLiteral("add three");
            break;
        }
        case 4:
            if (kq::OnScreenControl* c = pickHeld()) {
                osd->erase(c);
                modelErase(c);
                erased << c;
                what = QStringLiteral("erase");
            }
            break;
        case 5:
            if (kq::OnScreenControl* c = pickHeld()) {
                delete c; // its riders stay, riding on nothing
                what = QStringLiteral("delete");
            }
            break;
        case 6:
            if (kq::OnScreenControl* c = pickHeld()) {
                c->setParent(owners.at(pick(owners.size())));
                what = QStringLiteral("re-parent");
            }
            break;
        case 7: {
            QObject* owner = owners.at(pick(owners.size()));
            const QList<QPointer<kq::OnScreenControl>> before = model;
            for (kq::OnScreenControl* c : before) {
                if (c && model.contains(c) && (!owner || c->parent() == owner))
                    modelErase(c);
            }
            osd->clear(owner);
            what = QStringLiteral("clear");
            break;
        }
        case 8:
            // An erased control not deleted yet can be pushed again.
            for (kq::OnScreenControl* c : erased) {
                if (c && !model.contains(c)) {
                    osd->push_back(QList<kq::OnScreenControl*>() << c, nullptr);
                    model << c;
                    what = QStringLiteral("push again");
                    break;
                }
            }
            break;
        case 9: {
            // Pushing a held control again changes nothing.
            if (kq::OnScreenControl* c = pickHeld()) {
                osd->push_back(QList<kq::OnScreenControl*>() << c << nullptr, nullptr);
                what = QStringLiteral("push a held one");
            }
            break;
        }
        default:
            flushDeletes();
            what = QStringLiteral("deletions");
            break;
        }
        QList<kq::OnScreenControl*> newestFirst;
        for (kq::OnScreenControl* c : model) {
            if (c)
                newestFirst.prepend(c);
        }
        QVERIFY2(osd->controls() == newestFirst,
            qPrintable(QStringLiteral("step %1 (%2): controls()").arg(step).arg(what)));
        for (QObject* owner : owners) {
            QList<kq::OnScreenRectControl*> expected;
            for (kq::OnScreenControl* c : newestFirst) {
                auto* r = qobject_cast<kq::OnScreenRectControl*>(c);
                if (r && (!owner || r->parent() == owner))
                    expected << r;
            }
            QVERIFY2(osd->rect_controls(owner) == expected,
                qPrintable(QStringLiteral("step %1 (%2): rect_controls of owner %3")
                               .arg(step)
                               .arg(what)
                               .arg(owners.indexOf(owner))));
        }
    }
    for (kq::OnScreenControl* c : made) {
        if (c && !c->parent())
            delete c;
    }
}

// One paint shows any number of changes, and a change is painted however
// the display was hidden or stopped from updating before.
void TestOnScreenDisplay::changesArePaintedAfterHiding()
{
    class PaintCounter : public QObject {
    public:
        int paints = 0;

    protected:
        bool eventFilter(QObject*, QEvent* event) override
        {
            if (event->type() == QEvent::Paint)
                ++paints;
            return false;
        }
    } counter;
    osd->widget()->installEventFilter(&counter);
    kq::OnScreenRectControl* c = drawer->add(QRect(20, 20, 60, 40), QPolygon(), nullptr);
    QTRY_VERIFY(counter.paints > 0);
    QCoreApplication::processEvents();

    counter.paints = 0;
    for (int i = 0; i < 50; ++i)
        c->setRect(QRect(20 + i, 20, 60, 40));
    QTRY_COMPARE(counter.paints, 1);
    QCoreApplication::processEvents();
    QCOMPARE(counter.paints, 1);

    // Changed, then hidden before the paint came.
    c->setRect(QRect(100, 100, 60, 40));
    host->hide();
    QCoreApplication::processEvents();
    host->show();
    QVERIFY(QTest::qWaitForWindowExposed(host));
    QCoreApplication::processEvents();
    counter.paints = 0;
    c->setRect(QRect(150, 120, 60, 40));
    QTRY_VERIFY(counter.paints > 0);

    // Changed while updates are off.
    host->setUpdatesEnabled(false);
    c->setColor(Qt::red);
    QCoreApplication::processEvents();
    counter.paints = 0;
    host->setUpdatesEnabled(true);
    QTRY_VERIFY(counter.paints > 0);
    QCoreApplication::processEvents();
    counter.paints = 0;
    c->setColor(Qt::blue);
    QTRY_VERIFY(counter.paints > 0);
    QCOMPARE(host->grab().toImage().pixelColor(170, 120), QColor(Qt::blue));
}

void TestOnScreenDisplay::checkedConnect()
{
    QBuffer log;
    kq::LogQt::setDevice(&log);
    QObject a, b;
    QVERIFY(kq::connect(&a, SIGNAL(objectNameChanged(QString)), &b, SLOT(deleteLater()), Qt::AutoConnection));
    QVERIFY(log.data().isEmpty());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("No such signal")));
    QVERIFY(!kq::connect(&a, SIGNAL(noSuchSignal()), &b, SLOT(deleteLater()), Qt::AutoConnection));
    QVERIFY(!kq::connect(nullptr, SIGNAL(destroyed()), &b, SLOT(deleteLater()), Qt::AutoConnection));
    kq::LogQt::setDevice(nullptr);
    const QList<QByteArray> lines = log.data().trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    QVERIFY2(lines.at(0).contains("kq::connect failed: QObject::noSuchSignal() -> QObject::deleteLater()"),
        lines.at(0).constData());
    QVERIFY2(lines.at(1).contains("(null)::destroyed()"), lines.at(1).constData());
}

QTEST_MAIN(TestOnScreenDisplay)
#include "tst_onscreendisplay.moc"
