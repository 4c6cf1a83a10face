// Mouse input goes through the window system layer, as a user's does.
#define QTEST_QPA_MOUSE_HANDLING

#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <kq/MemoryConfigSession.h>
#include <kq/Records.h>

#include "panes_testsupport.h"
#include "pixels_testsupport.h"

#include <QImage>
#include <QRandomGenerator>
#include <QtTest>

#include <functional>

using kqtest::withAlpha;

class TestVideoMotionWindowPane : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void metaObjectName();
    void colorForSettings_data();
    void colorForSettings();
    void firstWindowGetsDefaults();
    void secondWindowTakesOverSettings();
    void takeOverReadsMaximumFirst();
    void setVMSetShorthands_data();
    void setVMSetShorthands();
    void setThresholdWritesBothAndRecolours();
    void zeroMinThresholdIsNearlyInvisible();
    void unsetSettingsReadZero();
    void outOfRangeIndexIgnored();
    void colorForOutOfRangeAndDisabled();
    void displayOffGreysWindows();
    void lensCorrectionDrawsPolygons();
    void renderSetsAndReference();
    void renderMatchesFreshPane();
    void manyWindowsKeepTheirOrder();

private:
    kqgui::VideoMotionWindowPane* pane = nullptr;
    kqtest::PaneMouse* mouse = nullptr;
};

void TestVideoMotionWindowPane::init()
{
    pane = new kqgui::VideoMotionWindowPane;
    QVERIFY(kqtest::showPane(pane));
    pane->showOnScreenDisplay(true);
    mouse = new kqtest::PaneMouse(pane);
}

void TestVideoMotionWindowPane::cleanup()
{
    delete mouse;
    delete pane;
    kqtest::flushDeletes();
}

void TestVideoMotionWindowPane::metaObjectName()
{
    QCOMPARE(pane->metaObject()->className(), "kqgui::VideoMotionWindowPane");
    QVERIFY(pane->qt_metacast("kqgui::VideoMotionWindowPane"));
    QVERIFY(pane->inherits("kqgui::NodeWindowPane"));
    QVERIFY(pane->metaObject()->indexOfSlot("newFrame(QMouseEvent*)") >= 0);
}

void TestVideoMotionWindowPane::colorForSettings_data()
{
    QTest::addColumn<int>("set");
    QTest::addColumn<int>("threshold");
    QTest::addColumn<bool>("reference");
    QTest::addColumn<QColor>("hue");
    QTest::addColumn<int>("alpha");
    QTest::newRow("set 2 reference") << 2 << 25 << true << QColor(Qt::green) << 62;
    QTest::newRow("set 2") << 2 << 10 << false << QColor(Qt::blue) << 25;
    QTest::newRow("set 1 reference") << 1 << 100 << true << QColor(Qt::yellow) << 250;
    QTest::newRow("set 1") << 1 << 25 << false << QColor(Qt::white) << 62;
    QTest::newRow("set 0 reference") << 0 << 1 << true << QColor(Qt::yellow) << 2;
    QTest::newRow("set 7") << 7 << 3 << false << QColor(Qt::white) << 7;
    QTest::newRow("threshold 0") << 1 << 0 << false << QColor(Qt::white) << 2;
    QTest::newRow("threshold negative") << 2 << -5 << false << QColor(Qt::blue) << 2;
    QTest::newRow("threshold 102") << 2 << 102 << false << QColor(Qt::blue) << 255;
}

void TestVideoMotionWindowPane::colorForSettings()
{
    QFETCH(int, set);
    QFETCH(int, threshold);
    QFETCH(bool, reference);
    QFETCH(QColor, hue);
    QFETCH(int, alpha);
    const QColor c
        = kqgui::VideoMotionWindowPane::colorFor(static_cast<kq::EVideoMotionSet>(set), threshold, reference);
    QCOMPARE(c, withAlpha(hue, alpha));
}

void TestVideoMotionWindowPane::firstWindowGetsDefaults()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->threshold(0), 25);
    QCOMPARE(pane->maxThreshold(0), 100);
    QCOMPARE(pane->sensitivity(0), 20);
    QVERIFY(!pane->isReference(0));
    QCOMPARE(pane->vmSet(0), kq::VMS_Set1);
    // Stored as the dynamic properties dialogs read.
    kq::OnScreenRectControl* c = pane->childAt(0);
    QCOMPARE(c->property("min-threshold"), QVariant(25));
    QCOMPARE(c->property("max-threshold"), QVariant(100));
    QCOMPARE(c->property("sensitivity"), QVariant(20));
    QCOMPARE(c->property("reference"), QVariant(false));
    QCOMPARE(c->property("vm-set"), QVariant(1));
    QCOMPARE(kqtest::windowColor(c), withAlpha(Qt::white, 62));
}

void TestVideoMotionWindowPane::secondWindowTakesOverSettings()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    pane->setThreshold(0, 40, 90);
    pane->setSensitivity(0, 7);
    pane->setReference(0, true);
    pane->setVMSet(0, kq::VMS_Set2);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::green, 100));

    mouse->drawRect(QPoint(200, 140), QPoint(300, 250));
    QCOMPARE(pane->count(), 2);
    // The new window is window 0 and goes on with window 1's settings.
    QCOMPARE(pane->threshold(0), 40);
    QCOMPARE(pane->maxThreshold(0), 90);
    QCOMPARE(pane->sensitivity(0), 7);
    QVERIFY(pane->isReference(0));
    QCOMPARE(pane->vmSet(0), kq::VMS_Set2);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::green, 100));

    // Changing the new one leaves the first as it was.
    pane->setThreshold(0, 10, 20);
    pane->setSensitivity(0, 1);
    pane->setReference(0, false);
    pane->setVMSet(0, kq::VMS_Set1);
    QCOMPARE(pane->threshold(1), 40);
    QCOMPARE(pane->maxThreshold(1), 90);
    QCOMPARE(pane->sensitivity(1), 7);
    QVERIFY(pane->isReference(1));
    QCOMPARE(pane->vmSet(1), kq::VMS_Set2);
    QCOMPARE(kqtest::windowColor(pane->childAt(1)), withAlpha(Qt::green, 100));
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::white, 25));
}

void TestVideoMotionWindowPane::takeOverReadsMaximumFirst()
{
    // A window loaded with only a maximum: the new one copies both values as
    // they read (minimum 0), so it shows at alpha 2.
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    pane->childAt(0)->setProperty("max-threshold", 77);
    mouse->drawRect(QPoint(200, 140), QPoint(300, 250));
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->threshold(0), 0);
    QCOMPARE(pane->maxThreshold(0), 77);
    QCOMPARE(pane->sensitivity(0), 0);
    QCOMPARE(pane->vmSet(0), kq::VMS_None);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::white, 2));
}

void TestVideoMotionWindowPane::setVMSetShorthands_data()
{
    QTest::addColumn<bool>("second");
    QTest::addColumn<bool>("b");
    QTest::addColumn<int>("set");
    QTest::newRow("set1 true") << false << true << 1;
    QTest::newRow("set1 false") << false << false << 2;
    QTest::newRow("set2 true") << true << true << 2;
    QTest::newRow("set2 false") << true << false << 1;
}

void TestVideoMotionWindowPane::setVMSetShorthands()
{
    QFETCH(bool, second);
    QFETCH(bool, b);
    QFETCH(int, set);
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    pane->setVMSet(0, kq::VMS_None);
    if (second)
        pane->setVMSet2(0, b);
    else
        pane->setVMSet1(0, b);
    QCOMPARE(int(pane->vmSet(0)), set);
}

void TestVideoMotionWindowPane::setThresholdWritesBothAndRecolours()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    pane->setReference(0, true);
    pane->setVMSet(0, kq::VMS_Set2);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::green, 62));
    // Set 2 with reference is green; setVMSet2(false) makes it set 1: yellow.
    pane->setVMSet2(0, false);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::yellow, 62));
    pane->setThreshold(0, 100, 120);
    QCOMPARE(pane->threshold(0), 100);
    QCOMPARE(pane->maxThreshold(0), 120);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::yellow, 250));
    // No range check: a threshold above 102 is handed on, and QColor clamps it.
    QTest::ignoreMessage(QtWarningMsg, "\"QColor::setAlpha\": invalid value 257");
    pane->setThreshold(0, 103, 200);
    QCOMPARE(pane->threshold(0), 103);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::yellow, 255));
}

void TestVideoMotionWindowPane::zeroMinThresholdIsNearlyInvisible()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    pane->setVMSet(0, kq::VMS_Set2);
    pane->setThreshold(0, 0, 100);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::blue, 2));
}

void TestVideoMotionWindowPane::unsetSettingsReadZero()
{
    // Loaded with addRect: nothing set yet.
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    QCOMPARE(pane->threshold(0), 0);
    QCOMPARE(pane->maxThreshold(0), 0);
    QCOMPARE(pane->sensitivity(0), 0);
    QVERIFY(!pane->isReference(0));
    QCOMPARE(pane->vmSet(0), kq::VMS_None);
    QCOMPARE(pane->colorFor(0), withAlpha(Qt::white, 2));
}

void TestVideoMotionWindowPane::outOfRangeIndexIgnored()
{
    pane->addRect(QRect(10, 10, 50, 50), Qt::black);
    for (int bad : { -1, 1, 50 }) {
        pane->setReference(bad, true);
        pane->setVMSet(bad, kq::VMS_Set2);
        pane->setVMSet1(bad, true);
        pane->setVMSet2(bad, true);
        pane->setSensitivity(bad, 9);
        pane->setThreshold(bad, 9, 9);
        QVERIFY(!pane->isReference(bad));
        QCOMPARE(pane->vmSet(bad), kq::VMS_None);
        QCOMPARE(pane->sensitivity(bad), 0);
        QCOMPARE(pane->threshold(bad), 0);
        QCOMPARE(pane->maxThreshold(bad), 0);
    }
    QVERIFY(pane->childAt(0)->dynamicPropertyNames().isEmpty());
    QCOMPARE(pane->rectControlAt(0)->color(), QColor(Qt::black));
}

void TestVideoMotionWindowPane::colorForOutOfRangeAndDisabled()
{
    QCOMPARE(pane->colorFor(-1), withAlpha(Qt::red, 20));
    QCOMPARE(pane->colorFor(0), withAlpha(Qt::red, 20));
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    QCOMPARE(pane->colorFor(1), withAlpha(Qt::red, 20));
    QCOMPARE(pane->colorFor(0), withAlpha(Qt::white, 62));
    pane->childAt(0)->setEnabled(false);
    QCOMPARE(pane->colorFor(0), withAlpha(Qt::gray, 1));
}

void TestVideoMotionWindowPane::displayOffGreysWindows()
{
    mouse->drawRect(QPoint(50, 40), QPoint(150, 100));
    mouse->drawRect(QPoint(200, 140), QPoint(300, 250));
    pane->setVMSet(1, kq::VMS_Set2);
    pane->showOnScreenDisplay(false);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::gray, 20));
    QCOMPARE(kqtest::windowColor(pane->childAt(1)), withAlpha(Qt::gray, 20));
    // Asked directly, a disabled window answers almost invisible.
    QCOMPARE(pane->colorFor(0), withAlpha(Qt::gray, 1));
    // A setter recolours with that colour.
    pane->setSensitivity(0, 3);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::gray, 1));
    mouse->drawRect(QPoint(250, 20), QPoint(350, 80));
    QCOMPARE(pane->count(), 2);
    pane->showOnScreenDisplay(true);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::white, 62));
    QCOMPARE(kqtest::windowColor(pane->childAt(1)), withAlpha(Qt::blue, 62));
}

void TestVideoMotionWindowPane::lensCorrectionDrawsPolygons()
{
    kq::SDeskewParams lens;
    lens.flags = kq::SDeskewParams::LensCorrection;
    lens.lensStrength = -120;
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lens);
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(40, 40), QPoint(200, 60), QPoint(100, 150) }));
    pane->setVMSet(0, kq::VMS_Set2);
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(240, 140), QPoint(380, 160), QPoint(300, 280) }));
    QCOMPARE(pane->count(), 2);
    QVERIFY(pane->isPoly(0));
    QVERIFY(pane->isPoly(1));
    QCOMPARE(pane->vmSet(0), kq::VMS_Set2);
    QCOMPARE(pane->threshold(0), 25);
    QCOMPARE(kqtest::windowColor(pane->childAt(0)), withAlpha(Qt::blue, 62));
}

void TestVideoMotionWindowPane::renderSetsAndReference()
{
    QTemporaryDir dir;
    QVERIFY(kqtest::showBlackPicture(pane, dir));

    mouse->drawRect(QPoint(30, 30), QPoint(130, 130));
    pane->setThreshold(0, 100, 100); // opaque-ish white
    mouse->drawRect(QPoint(200, 150), QPoint(350, 270));
    pane->setVMSet(0, kq::VMS_Set2);
    pane->setReference(0, true); // green
    pane->onScreenDisplay()->setCurrent(nullptr); // no handles
    const QImage image = pane->grab().toImage();
    image.save(QDir::temp().filePath(QStringLiteral("tst_videomotionwindowpane.png")));

    QCOMPARE(image.pixelColor(180, 20), QColor(Qt::black));
    const QColor white = image.pixelColor(80, 80);
    QVERIFY2(white.red() > 230 && white.green() > 230 && white.blue() > 230, qPrintable(white.name()));
    const QColor green = image.pixelColor(275, 210);
    QVERIFY2(green.green() > 230 && green.red() == 0 && green.blue() == 0, qPrintable(green.name()));
    QCOMPARE(image.pixelColor(200, 210), QColor(Qt::green));
}

namespace {
// One step of a user's editing session on a pane; the same steps give two
// panes the same windows.
using Step = std::function<void(kqgui::VideoMotionWindowPane*, kqtest::PaneMouse&, kq::MemoryConfigSession*)>;

void setLens(kqgui::VideoMotionWindowPane* pane, kq::MemoryConfigSession* session, int strength)
{
    session->setAttribute(QStringLiteral("deskew"),
        QVariantMap {
            { QStringLiteral("lensCorrection"), true }, { QStringLiteral("lensStrength"), strength } });
    QMetaObject::invokeMethod(pane, "updateCoordinateSystem");
}

QList<Step> editingSteps()
{
    using Pane = kqgui::VideoMotionWindowPane;
    using Session = kq::MemoryConfigSession;
    return {
        [](Pane* p, kqtest::PaneMouse&, Session*) {
            // Stored windows, overlapping, in both sets and many opacities,
            // over the upper part of the image.
            for (int i = 0; i < 8; ++i) {
                p->addRect(QRect(30 + (i % 4) * 120, 40 + (i / 4) * 120, 160, 140), Qt::white);
                p->setThreshold(0, 8 + i * 11, 100);
                p->setVMSet(0, kq::EVideoMotionSet(1 + i % 2));
                p->setReference(0, i % 3 == 0);
            }
        },
        [](Pane*, kqtest::PaneMouse& m, Session*) { m.drawRect(QPoint(60, 200), QPoint(160, 260)); },
        [](Pane* p, kqtest::PaneMouse& m, Session*) { m.click(p->childAt(5)->rect().center()); },
        [](Pane* p, kqtest::PaneMouse& m, Session*) {
            const QPoint from = p->childAt(5)->rect().center();
            m.drag(from, from + QPoint(23, -17));
        },
        [](Pane* p, kqtest::PaneMouse& m, Session*) { m.move(p->childAt(7)->rect().center()); },
        [](Pane*, kqtest::PaneMouse& m, Session*) { m.move(QPoint(350, 280)); },
        [](Pane* p, kqtest::PaneMouse&, Session*) {
            p->applicationRectAt(3)->setGeometry(QRectF(300, 250, 260, 90));
        },
        [](Pane* p, kqtest::PaneMouse&, Session*) {
            p->setThreshold(2, 90, 100);
            p->setVMSet2(4, true);
            p->setReference(7, true);
        },
        [](Pane* p, kqtest::PaneMouse& m, Session*) {
            kq::OnScreenPushControl* button = kqtest::deleteButtonOf(p, p->childAt(p->selected()));
            m.click(button->area().center());
        },
        [](Pane* p, kqtest::PaneMouse& m, Session*) {
            m.click(p->childAt(1)->rect().center());
            QTest::keyClick(m.widget(), Qt::Key_Right);
            QTest::keyClick(m.widget(), Qt::Key_Down);
        },
        [](Pane*, kqtest::PaneMouse& m, Session*) { QTest::keyClick(m.widget(), Qt::Key_Delete); },
        [](Pane* p, kqtest::PaneMouse&, Session*) { p->resize(520, 330); },
        [](Pane* p, kqtest::PaneMouse&, Session* s) { setLens(p, s, -100); },
        [](Pane* p, kqtest::PaneMouse& m, Session*) {
            p->addPolygon(QPolygon(QVector<QPoint> {
                              QPoint(100, 60), QPoint(420, 100), QPoint(360, 400), QPoint(80, 330) }),
                Qt::white);
            p->setThreshold(0, 70, 100);
            m.drawPolygon(QPolygon(QVector<QPoint> { QPoint(300, 190), QPoint(420, 210), QPoint(380, 300) }));
        },
        [](Pane* p, kqtest::PaneMouse& m, Session*) { m.move(p->childAt(0)->rect().center()); },
        [](Pane*, kqtest::PaneMouse& m, Session*) { m.move(QPoint(300, 320)); },
        [](Pane* p, kqtest::PaneMouse&, Session* s) { setLens(p, s, -140); },
        [](Pane* p, kqtest::PaneMouse&, Session*) { p->resize(400, 300); },
        [](Pane* p, kqtest::PaneMouse&, Session*) { p->showOnScreenDisplay(false); },
        [](Pane* p, kqtest::PaneMouse&, Session*) { p->showOnScreenDisplay(true); },
        [](Pane* p, kqtest::PaneMouse& m, Session*) {
            m.click(p->childAt(2)->rect().center());
            p->setSensitivity(2, 5);
            p->setThreshold(2, 0, 100);
        },
    };
}
}

// A pane paints each window from a picture it keeps while the window looks
// the same. Rendered after every step of an editing session, it shows
// exactly what a new pane that went through the same steps unseen shows when
// rendered once: no picture outlives a change.
void TestVideoMotionWindowPane::renderMatchesFreshPane()
{
    QTemporaryDir dir;
    const QImage picture = kqtest::stripedPicture();
    kq::MemoryConfigSession* session = kqtest::showPicture(pane, dir, picture, QStringLiteral("video.png"));
    QVERIFY(session);
    const QList<Step> steps = editingSteps();
    for (int i = 0; i < steps.size(); ++i) {
        steps.at(i)(pane, *mouse, session);
        QCoreApplication::processEvents();
        kqtest::flushDeletes();
        const QImage seen = pane->grab().toImage();

        kqgui::VideoMotionWindowPane fresh;
        QVERIFY(kqtest::showPane(&fresh));
        fresh.showOnScreenDisplay(true);
        kq::MemoryConfigSession* freshSession
            = kqtest::showPicture(&fresh, dir, picture, QStringLiteral("video.png"));
        QVERIFY(freshSession);
        kqtest::PaneMouse freshMouse(&fresh);
        // Unseen: not painted until all steps are done.
        fresh.setUpdatesEnabled(false);
        for (int k = 0; k <= i; ++k) {
            steps.at(k)(&fresh, freshMouse, freshSession);
            QCoreApplication::processEvents();
            kqtest::flushDeletes();
        }
        fresh.setUpdatesEnabled(true);
        QCOMPARE(fresh.count(), pane->count());
        QCOMPARE(fresh.selected(), pane->selected());
        const QImage unseen = fresh.grab().toImage();
        const QString problem = kqtest::pixelDifference(seen, unseen, QStringLiteral("on the fresh pane"));
        QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("after step %1: %2").arg(i).arg(problem)));
        if (i == 0) {
            // The windows are in the picture: without them it is another.
            fresh.removeAll();
            kqtest::flushDeletes();
            QVERIFY(fresh.grab().toImage() != unseen);
        }
    }
    // 8 stored, 1 drawn, 2 deleted, 2 polygons.
    QCOMPARE(pane->count(), 9);
    QVERIFY(pane->isPoly(0));
    QVERIFY(pane->isPoly(1));
    QVERIFY(pane->selected() >= 0);
    pane->grab().save(QDir::temp().filePath(QStringLiteral("tst_videomotionwindowpane_edited.png")));
}

// Many windows loaded one by one, then erased in every way a user can and
// added again, stay in order (newest first), each with its own settings.
void TestVideoMotionWindowPane::manyWindowsKeepTheirOrder()
{
    QList<int> model; // each window's sensitivity, newest first
    const auto add = [&](int i) {
        const QRect r(10 + (i * 37) % 700, 10 + (i * 53) % 520, 40, 30);
        if (i % 3 == 0)
            pane->addPolygon(QPolygon(r.adjusted(0, 0, -1, -1), true), Qt::white);
        else
            pane->addRect(r, Qt::white);
        pane->setThreshold(0, 10 + i % 80, 1000 + i);
        pane->setSensitivity(0, i);
        model.prepend(i);
    };
    const auto orderProblem = [&]() -> QString {
        if (pane->count() != model.size())
            return QStringLiteral("%1 windows, %2 expected").arg(pane->count()).arg(model.size());
        for (int k = 0; k < model.size(); ++k) {
            if (pane->sensitivity(k) != model.at(k) || pane->maxThreshold(k) != 1000 + model.at(k))
                return QStringLiteral("window %1 has sensitivity %2, %3 expected")
                    .arg(k)
                    .arg(pane->sensitivity(k))
                    .arg(model.at(k));
        }
        if (pane->onScreenDisplay()->controls().size() != 2 * model.size())
            return QStringLiteral("%1 controls for %2 windows")
                .arg(pane->onScreenDisplay()->controls().size())
                .arg(model.size());
        return QString();
    };
    for (int i = 0; i < 400; ++i)
        add(i);
    QString problem = orderProblem();
    QVERIFY2(problem.isEmpty(), qPrintable(problem));

    QRandomGenerator random(11);
    for (int step = 0; step < 150; ++step) {
        const int k = int(random.bounded(quint32(model.size())));
        kq::OnScreenRectControl* window = pane->childAt(k);
        switch (step % 4) {
        case 0: // its delete button
            kqtest::deleteButtonOf(pane, window)->clicked(window);
            break;
        case 1: // selected, then the Delete key
            pane->onScreenDisplay()->setCurrent(window);
            QCOMPARE(pane->selected(), k);
            QTest::keyClick(mouse->widget(), Qt::Key_Delete);
            break;
        case 2: // the display erases it
            pane->onScreenDisplay()->erase(window);
            break;
        default: // deleted outright
            delete window;
            kq::OnScreenPushControl* orphan = nullptr;
            for (kq::OnScreenControl* c : pane->onScreenDisplay()->controls()) {
                auto* button = qobject_cast<kq::OnScreenPushControl*>(c);
                if (button && !button->buddy())
                    orphan = button;
            }
            QVERIFY(orphan);
            pane->onScreenDisplay()->erase(orphan);
            break;
        }
        model.removeAt(k);
        if (step % 10 == 0)
            kqtest::flushDeletes();
        if (step % 5 == 0)
            add(400 + step);
        problem = orderProblem();
        QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("step %1: %2").arg(step).arg(problem)));
    }
    pane->removeAll();
    kqtest::flushDeletes();
    QCOMPARE(pane->count(), 0);
    QVERIFY(pane->onScreenDisplay()->controls().isEmpty());
}

QTEST_MAIN(TestVideoMotionWindowPane)
#include "tst_videomotionwindowpane.moc"
