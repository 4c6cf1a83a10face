// Undo and redo of the window panes, selection and resizing from the
// keyboard, and editing a polygon's vertices, all driven by real mouse and
// key events on a pane's drawing widget.

// Mouse input goes through the window system layer, as a user's does.
#define QTEST_QPA_MOUSE_HANDLING

#include <ConfigDialogs/ChangeTracker.h>
#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <kq/MemoryConfigSession.h>

#include "panes_testsupport.h"

#include <QLineEdit>
#include <QRandomGenerator>
#include <QUndoStack>
#include <QVBoxLayout>
#include <QtTest>

#include <functional>

namespace {

// One window as the tests compare it: kind, image geometry, settings.
struct Window {
    bool polygon = false;
    QRectF rect;
    QPolygonF points;
    QList<QByteArray> names;
    QVariantList values;

    bool operator==(const Window& other) const
    {
        return polygon == other.polygon && rect == other.rect && points == other.points
            && names == other.names && values == other.values;
    }
};

using Windows = QVector<Window>;

Windows windowsOf(const kqgui::NodeWindowPane* pane)
{
    Windows windows;
    for (int i = 0; i < pane->count(); ++i) {
        Window w;
        if (const kqgui::ApplicationPolygon* p = pane->applicationPolygonAt(i)) {
            w.polygon = true;
            w.points = p->applicationPolygon;
        }
        w.rect = pane->applicationRectAt(i)->applicationRect;
        const QObject* control = pane->childAt(i);
        w.names = control->dynamicPropertyNames();
        for (const QByteArray& name : qAsConst(w.names))
            w.values << control->property(name.constData());
        windows << w;
    }
    return windows;
}

QString describe(const Windows& windows)
{
    QStringList parts;
    for (const Window& w : windows) {
        QString s = QStringLiteral("%1(%2,%3 %4x%5)")
                        .arg(w.polygon ? QStringLiteral("poly") : QStringLiteral("rect"))
                        .arg(w.rect.x())
                        .arg(w.rect.y())
                        .arg(w.rect.width())
                        .arg(w.rect.height());
        for (const QPointF& p : w.points)
            s += QStringLiteral(" %1;%2").arg(p.x()).arg(p.y());
        for (int k = 0; k < w.names.size(); ++k)
            s += QStringLiteral(" %1=%2").arg(QString::fromLatin1(w.names.at(k)), w.values.at(k).toString());
        parts << s;
    }
    return QStringLiteral("[") + parts.join(QStringLiteral(", ")) + QStringLiteral("]");
}

#define COMPARE_WINDOWS(actual, expected)                                                                    \
    do {                                                                                                     \
        const Windows a_ = (actual);                                                                         \
        const Windows e_ = (expected);                                                                       \
        QVERIFY2(a_ == e_, qPrintable(describe(a_) + QStringLiteral(" != ") + describe(e_)));                \
    } while (false)

kq::SDeskewParams lensCorrected()
{
    kq::SDeskewParams p;
    p.flags = kq::SDeskewParams::LensCorrection;
    p.lensStrength = -150;
    return p;
}

// The point in the middle of window i on screen.
QPoint centreOf(const kqgui::NodeWindowPane* pane, int index)
{
    return pane->childAt(index)->rect().center();
}

} // namespace

class TestPaneUndo : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void drawnRectangleIsOneStep();
    void dragIsOneStep();
    void resizeByHandleIsOneStep();
    void clickWithoutChangeIsNoStep();
    void deleteKeyRestoresWindowWithSettingsAndPlace();
    void deleteButtonRestoresWindow();
    void removeAllIsOneStep();
    void settersAreSteps();
    void exposureSetterIsStep();
    void drawnMotionWindowWithSettingsIsOneStep();
    void polygonVertexDragLensCorrected();
    void drawnPolygonLensCorrected();
    void escapeWhileDrawingIsNoStep();
    void undoWhileDrawingThenDraw();
    void nudgeIsStep();
    void undoRedoKeys();
    void loadingMakesNoSteps();
    void newNodeClearsHistory();
    void undoRestoresSelection();
    void undoToLoadedMeansNoChanges();

    void newWindowIsSelected();
    void tabCyclesSelection();
    void tabWithoutWindowsMovesFocus();
    void shiftArrowsResize();
    void shiftArrowsResizeBounded();
    void shiftArrowsResizePolygon();

    void doubleClickOnEdgeInsertsVertex();
    void rightClickRemovesVertex();
    void deleteRemovesSelectedVertex();
    void backspaceRemovesLastDrawnVertex();
    void rectangleHasNoVertexEditing();

    void randomStepsMatchReplay_data();
    void randomStepsMatchReplay();

private:
    // A lens-corrected pane with a triangle drawn by the user, selected.
    void drawTriangle();
    QWidget* widget() const { return pane->onScreenDisplay()->widget(); }
    void key(int k, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        QTest::keyClick(widget(), Qt::Key(k), modifiers);
    }

    kqgui::VideoMotionWindowPane* pane = nullptr;
    kqtest::PaneMouse* mouse = nullptr;
};

void TestPaneUndo::init()
{
    pane = new kqgui::VideoMotionWindowPane;
    QVERIFY(kqtest::showPane(pane));
    pane->showOnScreenDisplay(true);
    mouse = new kqtest::PaneMouse(pane);
    QVERIFY(pane->undoStack());
    QCOMPARE(pane->undoStack()->count(), 0);
}

void TestPaneUndo::cleanup()
{
    delete mouse;
    delete pane;
    kqtest::flushDeletes();
}

void TestPaneUndo::drawnRectangleIsOneStep()
{
    const Windows before = windowsOf(pane);
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    QCOMPARE(pane->count(), 1);
    const Windows after = windowsOf(pane);
    QCOMPARE(pane->undoStack()->count(), 1);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->count(), 0);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
    QCOMPARE(pane->rectControlAt(0)->rect(), QRect(40, 40, 81, 61));
}

void TestPaneUndo::dragIsOneStep()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    mouse->drawRect(QPoint(200, 150), QPoint(260, 220));
    const Windows before = windowsOf(pane);
    const int steps = pane->undoStack()->count();
    // Window 1 (the first drawn), dragged with many moves.
    mouse->press(QPoint(80, 70));
    for (int i = 1; i <= 10; ++i)
        mouse->move(QPoint(80 + 3 * i, 70 + 2 * i));
    mouse->release(QPoint(110, 90));
    const Windows after = windowsOf(pane);
    QVERIFY(!(after == before));
    QCOMPARE(after.at(1).rect, QRectF(140, 120, 160, 120));
    QCOMPARE(pane->undoStack()->count(), steps + 1);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
}

void TestPaneUndo::resizeByHandleIsOneStep()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    const Windows before = windowsOf(pane);
    // The drawn window is selected, so its handles are live.
    QCOMPARE(pane->selected(), 0);
    const QPoint corner = pane->childAt(0)->rect().bottomRight();
    mouse->drag(corner, corner + QPoint(30, 20));
    const Windows after = windowsOf(pane);
    QCOMPARE(pane->childAt(0)->rect(), QRect(QPoint(40, 40), corner + QPoint(30, 20)));
    QCOMPARE(pane->undoStack()->count(), 2);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->childAt(0)->rect(), QRect(QPoint(40, 40), corner));
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
}

void TestPaneUndo::clickWithoutChangeIsNoStep()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    mouse->drawRect(QPoint(200, 150), QPoint(260, 220));
    QCOMPARE(pane->undoStack()->count(), 2);
    mouse->click(QPoint(80, 70)); // selects window 1, changes nothing
    QCOMPARE(pane->selected(), 1);
    key(Qt::Key_Tab);
    QCOMPARE(pane->undoStack()->count(), 2);
}

void TestPaneUndo::deleteKeyRestoresWindowWithSettingsAndPlace()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    mouse->drawRect(QPoint(100, 20), QPoint(140, 60));
    mouse->drawRect(QPoint(200, 20), QPoint(240, 60));
    pane->setSensitivity(1, 77);
    pane->setThreshold(1, 40, 90);
    pane->setReference(1, true);
    pane->setVMSet(1, kq::VMS_Set2);
    const Windows before = windowsOf(pane);
    const QColor colour = kqtest::windowColor(pane->childAt(1));
    mouse->click(QPoint(120, 40));
    QCOMPARE(pane->selected(), 1);
    key(Qt::Key_Delete);
    QCOMPARE(pane->count(), 2);
    const Windows after = windowsOf(pane);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->sensitivity(1), 77);
    QCOMPARE(pane->threshold(1), 40);
    QCOMPARE(pane->maxThreshold(1), 90);
    QVERIFY(pane->isReference(1));
    QCOMPARE(pane->vmSet(1), kq::VMS_Set2);
    QCOMPARE(kqtest::windowColor(pane->childAt(1)), colour);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
}

void TestPaneUndo::deleteButtonRestoresWindow()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    mouse->drawRect(QPoint(100, 100), QPoint(160, 160));
    const Windows before = windowsOf(pane);
    kq::OnScreenPushControl* button = kqtest::deleteButtonOf(pane, pane->childAt(1));
    QVERIFY(button);
    mouse->click(button->area().center());
    QCOMPARE(pane->count(), 1);
    const int steps = pane->undoStack()->count();
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QVERIFY(kqtest::deleteButtonOf(pane, pane->childAt(1)));
    QCOMPARE(pane->undoStack()->index(), steps - 1);
}

void TestPaneUndo::removeAllIsOneStep()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    mouse->drawRect(QPoint(100, 100), QPoint(160, 160));
    pane->setSensitivity(0, 5);
    const Windows before = windowsOf(pane);
    const int steps = pane->undoStack()->count();
    pane->removeAll();
    QCOMPARE(pane->count(), 0);
    QCOMPARE(pane->undoStack()->count(), steps + 1);
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QVERIFY(frames.count() >= 1);
    pane->undoStack()->redo();
    QCOMPARE(pane->count(), 0);
}

void TestPaneUndo::settersAreSteps()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    const std::vector<std::function<void()>> setters {
        [this] { pane->setSensitivity(0, 55); },
        [this] { pane->setThreshold(0, 60, 70); },
        [this] { pane->setVMSet(0, kq::VMS_Set2); },
        [this] { pane->setReference(0, true); },
    };
    for (const auto& set : setters) {
        const Windows before = windowsOf(pane);
        const QColor colour = kqtest::windowColor(pane->childAt(0));
        const int steps = pane->undoStack()->count();
        set();
        const Windows after = windowsOf(pane);
        QVERIFY(!(after == before));
        QCOMPARE(pane->undoStack()->count(), steps + 1);
        pane->undoStack()->undo();
        COMPARE_WINDOWS(windowsOf(pane), before);
        QCOMPARE(kqtest::windowColor(pane->childAt(0)), colour);
        pane->undoStack()->redo();
        COMPARE_WINDOWS(windowsOf(pane), after);
    }
    // Writing what is already there is no step.
    const int steps = pane->undoStack()->count();
    pane->setSensitivity(0, 55);
    pane->setSensitivity(3, 1); // out of range
    QCOMPARE(pane->undoStack()->count(), steps);
}

void TestPaneUndo::exposureSetterIsStep()
{
    kqgui::ExposureWindowPane exposure;
    QVERIFY(kqtest::showPane(&exposure));
    exposure.showOnScreenDisplay(true);
    kqtest::PaneMouse m(&exposure);
    m.drawRect(QPoint(20, 20), QPoint(60, 60));
    m.drawRect(QPoint(100, 100), QPoint(160, 160));
    QCOMPARE(exposure.undoStack()->count(), 2);
    const Windows before = windowsOf(&exposure);
    exposure.setExcluded(1, true);
    QCOMPARE(exposure.undoStack()->count(), 3);
    const Windows after = windowsOf(&exposure);
    exposure.undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(&exposure), before);
    QVERIFY(!exposure.isExcluded(1));
    QCOMPARE(kqtest::windowColor(exposure.childAt(1)), exposure.colorFor(1));
    exposure.undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(&exposure), after);
    QVERIFY(exposure.isExcluded(1));
    QCOMPARE(kqtest::windowColor(exposure.childAt(1)), kqtest::withAlpha(Qt::red, 20));
}

void TestPaneUndo::drawnMotionWindowWithSettingsIsOneStep()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    pane->setSensitivity(0, 42);
    const Windows before = windowsOf(pane);
    const int steps = pane->undoStack()->count();
    // The new window takes over the settings: still one step.
    mouse->drawRect(QPoint(100, 100), QPoint(160, 160));
    QCOMPARE(pane->sensitivity(0), 42);
    QCOMPARE(pane->undoStack()->count(), steps + 1);
    const Windows after = windowsOf(pane);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
}

void TestPaneUndo::polygonVertexDragLensCorrected()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    const QPolygon drawn(QVector<QPoint> { QPoint(60, 60), QPoint(220, 80), QPoint(140, 200) });
    mouse->drawPolygon(drawn);
    QCOMPARE(pane->count(), 1);
    QVERIFY(pane->isPoly(0));
    QCOMPARE(pane->selected(), 0);
    const Windows before = windowsOf(pane);
    const QPoint vertex = pane->polyControlAt(0)->polygon().at(1);
    mouse->press(vertex);
    for (int i = 1; i <= 5; ++i)
        mouse->move(vertex + QPoint(4 * i, 6 * i));
    mouse->release(vertex + QPoint(20, 30));
    QCOMPARE(pane->polyControlAt(0)->polygon().at(1), vertex + QPoint(20, 30));
    const Windows after = windowsOf(pane);
    QVERIFY(!(after == before));
    QCOMPARE(pane->undoStack()->count(), 2);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->polyControlAt(0)->deskewParams, lensCorrected());
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
}

void TestPaneUndo::drawnPolygonLensCorrected()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(220, 80), QPoint(140, 200) }));
    const Windows first = windowsOf(pane);
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(250, 150), QPoint(350, 160), QPoint(300, 260) }));
    QCOMPARE(pane->count(), 2);
    const Windows second = windowsOf(pane);
    QCOMPARE(pane->undoStack()->count(), 2);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), first);
    pane->undoStack()->undo();
    QCOMPARE(pane->count(), 0);
    pane->undoStack()->redo();
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), second);
}

void TestPaneUndo::escapeWhileDrawingIsNoStep()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->click(QPoint(60, 60));
    mouse->click(QPoint(160, 60));
    key(Qt::Key_Escape);
    kqtest::flushDeletes();
    QCOMPARE(pane->count(), 0);
    QCOMPARE(pane->undoStack()->count(), 0);
}

void TestPaneUndo::undoWhileDrawingThenDraw()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(220, 80), QPoint(140, 200) }));
    // A polygon half drawn when Undo comes from a menu: it goes with the
    // undone step.
    mouse->click(QPoint(250, 150));
    mouse->click(QPoint(350, 160));
    pane->undoStack()->undo();
    kqtest::flushDeletes();
    QCOMPARE(pane->count(), 0);
    // The next drawing is a step of its own.
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(250, 150), QPoint(350, 160), QPoint(300, 260) }));
    QCOMPARE(pane->count(), 1);
    const Windows drawn = windowsOf(pane);
    QCOMPARE(pane->undoStack()->count(), 1);
    QCOMPARE(pane->undoStack()->index(), 1);
    pane->undoStack()->undo();
    QCOMPARE(pane->count(), 0);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), drawn);
}

void TestPaneUndo::nudgeIsStep()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    const Windows before = windowsOf(pane);
    key(Qt::Key_Right);
    key(Qt::Key_Down);
    QCOMPARE(pane->childAt(0)->rect().topLeft(), QPoint(41, 41));
    QCOMPARE(pane->undoStack()->count(), 3);
    pane->undoStack()->undo();
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
}

void TestPaneUndo::undoRedoKeys()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    const Windows one = windowsOf(pane);
    mouse->drawRect(QPoint(200, 150), QPoint(260, 220));
    const Windows two = windowsOf(pane);
    key(Qt::Key_Z, Qt::ControlModifier);
    COMPARE_WINDOWS(windowsOf(pane), one);
    key(Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(pane->count(), 0);
    key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    COMPARE_WINDOWS(windowsOf(pane), one);
    key(Qt::Key_Y, Qt::ControlModifier);
    COMPARE_WINDOWS(windowsOf(pane), two);
    // Nothing left to redo.
    key(Qt::Key_Y, Qt::ControlModifier);
    COMPARE_WINDOWS(windowsOf(pane), two);
    QCOMPARE(pane->undoStack()->index(), 2);
}

void TestPaneUndo::loadingMakesNoSteps()
{
    QTemporaryDir dir;
    QVERIFY(kqtest::showBlackPicture(pane, dir));
    // A dialog's loading: windows without events, settings through setters.
    pane->addRect(QRect(20, 20, 200, 100), pane->colorFor(-1));
    pane->setThreshold(0, 30, 80);
    pane->setSensitivity(0, 10);
    pane->addPolygon(QPolygon(QRect(300, 300, 100, 100)), pane->colorFor(-1));
    pane->setVMSet(0, kq::VMS_Set2);
    pane->updateColors();
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->undoStack()->count(), 0);
    const Windows loaded = windowsOf(pane);
    // The user's first step is recorded, and undoing it gives the loaded
    // windows back.
    mouse->drawRect(QPoint(250, 20), QPoint(300, 80));
    QCOMPARE(pane->undoStack()->count(), 1);
    pane->setSensitivity(1, 11);
    QCOMPARE(pane->undoStack()->count(), 2);
    pane->undoStack()->undo();
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), loaded);
    QVERIFY(pane->undoStack()->isClean());
}

void TestPaneUndo::newNodeClearsHistory()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    QCOMPARE(pane->undoStack()->count(), 1);
    QTemporaryDir dir;
    QVERIFY(kqtest::showBlackPicture(pane, dir));
    QCOMPARE(pane->undoStack()->count(), 0);
    pane->removeAll();
    pane->addRect(QRect(10, 10, 50, 50), pane->colorFor(-1));
    pane->setSensitivity(0, 3);
    QCOMPARE(pane->undoStack()->count(), 0);
}

void TestPaneUndo::undoRestoresSelection()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    mouse->drawRect(QPoint(200, 150), QPoint(260, 220));
    mouse->click(QPoint(80, 70));
    QCOMPARE(pane->selected(), 1);
    key(Qt::Key_Left);
    QCOMPARE(pane->selected(), 1);
    mouse->click(QPoint(230, 180));
    QCOMPARE(pane->selected(), 0);
    QSignalSpy selections(pane, &kqgui::NodeWindowPane::selectionChanged);
    pane->undoStack()->undo();
    QCOMPARE(pane->selected(), 1);
    QVERIFY(selections.count() >= 1);
}

void TestPaneUndo::undoToLoadedMeansNoChanges()
{
    pane->addRect(QRect(20, 20, 200, 100), pane->colorFor(-1));
    pane->setSensitivity(0, 33);
    pane->addPolygon(QPolygon(QRect(300, 300, 100, 100)), pane->colorFor(-1));
    pane->setThreshold(0, 12, 60);
    QCOMPARE(pane->undoStack()->count(), 0);
    kqgui::ChangeTracker tracker;
    QVERIFY(tracker.track(pane, [] {}));
    tracker.snapshot(QStringList());
    QVERIFY(!tracker.hasChanges());
    const Windows loaded = windowsOf(pane);

    mouse->drawRect(QPoint(250, 20), QPoint(300, 80));
    mouse->drag(QPoint(60, 30), QPoint(70, 50));
    pane->setSensitivity(0, 90);
    key(Qt::Key_Delete);
    QVERIFY(tracker.hasChanges());
    while (pane->undoStack()->canUndo())
        pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), loaded);
    QVERIFY(!tracker.hasChanges());

    // Reverting through the tracker is one step, which can be undone.
    pane->undoStack()->redo();
    pane->undoStack()->redo();
    const Windows edited = windowsOf(pane);
    QVERIFY(tracker.hasChanges());
    tracker.revert();
    COMPARE_WINDOWS(windowsOf(pane), loaded);
    QVERIFY(!tracker.hasChanges());
    QCOMPARE(pane->undoStack()->count(), 3);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), edited);
    QVERIFY(tracker.hasChanges());
}

void TestPaneUndo::newWindowIsSelected()
{
    QSignalSpy selections(pane, &kqgui::NodeWindowPane::selectionChanged);
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(selections.count(), 1);
    mouse->drawRect(QPoint(200, 150), QPoint(260, 220));
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(pane->childAt(0)->rect(), QRect(QPoint(200, 150), QPoint(260, 220)));
    QCOMPARE(selections.count(), 2);
}

void TestPaneUndo::tabCyclesSelection()
{
    mouse->drawRect(QPoint(20, 20), QPoint(60, 60));
    mouse->drawRect(QPoint(100, 20), QPoint(140, 60));
    mouse->drawRect(QPoint(200, 20), QPoint(240, 60));
    QCOMPARE(pane->selected(), 0);
    widget()->setFocus();
    QSignalSpy selections(pane, &kqgui::NodeWindowPane::selectionChanged);
    key(Qt::Key_Tab);
    QCOMPARE(pane->selected(), 1);
    key(Qt::Key_Tab);
    QCOMPARE(pane->selected(), 2);
    key(Qt::Key_Tab);
    QCOMPARE(pane->selected(), 0);
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(pane->selected(), 2);
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(pane->selected(), 1);
    QCOMPARE(selections.count(), 5);
    // The focus stayed on the pane.
    QVERIFY(widget()->hasFocus());
    QCOMPARE(pane->undoStack()->count(), 3);
}

void TestPaneUndo::tabWithoutWindowsMovesFocus()
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* vm = new kqgui::VideoMotionWindowPane;
    vm->setFrameRate(0);
    vm->setMinimumSize(200, 150);
    auto* after = new QLineEdit;
    layout->addWidget(vm);
    layout->addWidget(after);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QWidget* overlay = vm->onScreenDisplay()->widget();
    overlay->setFocus();
    QVERIFY(overlay->hasFocus());
    QTest::keyClick(overlay, Qt::Key_Tab);
    QVERIFY(!overlay->hasFocus());
}

void TestPaneUndo::shiftArrowsResize()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    const Windows before = windowsOf(pane);
    key(Qt::Key_Right, Qt::ShiftModifier);
    key(Qt::Key_Down, Qt::ShiftModifier);
    key(Qt::Key_Down, Qt::ShiftModifier);
    QCOMPARE(pane->childAt(0)->rect(), QRect(QPoint(40, 40), QPoint(121, 102)));
    // Two image units a pixel: one pixel wider, two lower.
    QCOMPARE(pane->applicationRectAt(0)->applicationRect, before.at(0).rect.adjusted(0, 0, 2, 4));
    key(Qt::Key_Left, Qt::ShiftModifier);
    key(Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(pane->childAt(0)->rect(), QRect(QPoint(40, 40), QPoint(120, 101)));
    QCOMPARE(pane->undoStack()->count(), 6);
    for (int i = 0; i < 5; ++i)
        pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
}

void TestPaneUndo::shiftArrowsResizeBounded()
{
    mouse->drawRect(QPoint(380, 280), QPoint(390, 285));
    // Shrinking stops at the minimum extent.
    for (int i = 0; i < 20; ++i) {
        key(Qt::Key_Left, Qt::ShiftModifier);
        key(Qt::Key_Up, Qt::ShiftModifier);
    }
    QCOMPARE(pane->childAt(0)->rect().size(),
        QSize(kq::OnScreenRectControl::MinimumExtent, kq::OnScreenRectControl::MinimumExtent));
    // Growing stops at the image's edge.
    for (int i = 0; i < 40; ++i) {
        key(Qt::Key_Right, Qt::ShiftModifier);
        key(Qt::Key_Down, Qt::ShiftModifier);
    }
    QCOMPARE(pane->childAt(0)->rect().bottomRight(), QPoint(399, 299));
    QCOMPARE(pane->childAt(0)->rect().topLeft(), QPoint(380, 280));
}

void TestPaneUndo::shiftArrowsResizePolygon()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(220, 80), QPoint(140, 200) }));
    const Windows before = windowsOf(pane);
    const QRect box = pane->childAt(0)->rect();
    for (int i = 0; i < 10; ++i)
        key(Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(pane->childAt(0)->rect(), box.adjusted(0, 0, 10, 0));
    QCOMPARE(pane->polyControlAt(0)->polygon().boundingRect(), box.adjusted(0, 0, 10, 0));
    QCOMPARE(pane->undoStack()->count(), 11);
    for (int i = 0; i < 10; ++i)
        pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
}

void TestPaneUndo::drawTriangle()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->drawPolygon(QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(220, 80), QPoint(140, 200) }));
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(pane->undoStack()->count(), 1);
}

void TestPaneUndo::doubleClickOnEdgeInsertsVertex()
{
    drawTriangle();
    const Windows before = windowsOf(pane);
    QSignalSpy frames(pane, &kqgui::NodeWindowPane::frameChanged);
    // On the edge from (60, 60) to (220, 80), a pixel below the line.
    QTest::mouseDClick(widget(), Qt::LeftButton, {}, QPoint(140, 71));
    kqgui::PanePolygonControl* c = pane->polyControlAt(0);
    QCOMPARE(c->polygon(),
        QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(140, 70), QPoint(220, 80), QPoint(140, 200) }));
    QCOMPARE(c->applicationPolygon.size(), 4);
    QCOMPARE(
        c->applicationPolygon, pane->coordinateSystem()->mapToApplication(c->polygon(), lensCorrected()));
    QVERIFY(frames.count() >= 1);
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->undoStack()->count(), 2);
    const Windows after = windowsOf(pane);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->polyControlAt(0)->applicationPolygon.size(), 3);
    pane->undoStack()->redo();
    COMPARE_WINDOWS(windowsOf(pane), after);
    // Far from every edge a double click inserts nothing.
    pane->onScreenDisplay()->setCurrent(pane->childAt(0));
    QTest::mouseDClick(widget(), Qt::LeftButton, {}, QPoint(140, 120));
    QCOMPARE(pane->polyControlAt(0)->polygon().size(), 4);
    QCOMPARE(pane->undoStack()->count(), 2);
}

void TestPaneUndo::rightClickRemovesVertex()
{
    drawTriangle();
    QTest::mouseDClick(widget(), Qt::LeftButton, {}, QPoint(140, 71));
    QCOMPARE(pane->polyControlAt(0)->polygon().size(), 4);
    const Windows four = windowsOf(pane);
    QTest::mouseClick(widget(), Qt::RightButton, {}, QPoint(220, 80));
    QCOMPARE(pane->polyControlAt(0)->polygon(),
        QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(140, 70), QPoint(140, 200) }));
    QCOMPARE(pane->polyControlAt(0)->applicationPolygon.size(), 3);
    const Windows three = windowsOf(pane);
    QCOMPARE(pane->undoStack()->count(), 3);
    // Never below three vertices.
    QTest::mouseClick(widget(), Qt::RightButton, {}, QPoint(60, 60));
    COMPARE_WINDOWS(windowsOf(pane), three);
    QCOMPARE(pane->undoStack()->count(), 3);
    // A right click off the vertices changes nothing either.
    QTest::mouseClick(widget(), Qt::RightButton, {}, QPoint(120, 110));
    COMPARE_WINDOWS(windowsOf(pane), three);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), four);
}

void TestPaneUndo::deleteRemovesSelectedVertex()
{
    drawTriangle();
    QTest::mouseDClick(widget(), Qt::LeftButton, {}, QPoint(140, 71));
    const Windows four = windowsOf(pane);
    // A press on a vertex's handle selects the vertex: its handle turns black.
    const QPoint vertex(220, 80);
    QCOMPARE(pane->grab().toImage().pixelColor(vertex), QColor(Qt::white));
    mouse->click(vertex);
    QCOMPARE(pane->grab().toImage().pixelColor(vertex), QColor(Qt::black));
    QCOMPARE(pane->undoStack()->count(), 2);
    key(Qt::Key_Delete);
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->polyControlAt(0)->polygon(),
        QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(140, 70), QPoint(140, 200) }));
    QCOMPARE(pane->undoStack()->count(), 3);
    pane->undoStack()->undo();
    COMPARE_WINDOWS(windowsOf(pane), four);
    // On a triangle, Delete with a vertex selected keeps both the vertex and
    // the window.
    pane->undoStack()->redo();
    pane->onScreenDisplay()->setCurrent(pane->childAt(0));
    mouse->click(QPoint(60, 60));
    key(Qt::Key_Delete);
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->polyControlAt(0)->polygon().size(), 3);
    // Without a selected vertex, Delete erases the window as before.
    mouse->click(QPoint(125, 110));
    QCOMPARE(pane->selected(), 0);
    QCOMPARE(pane->grab().toImage().pixelColor(QPoint(60, 60)), QColor(Qt::white));
    key(Qt::Key_Delete);
    QCOMPARE(pane->count(), 0);
    QCOMPARE(pane->undoStack()->count(), 4);
}

void TestPaneUndo::backspaceRemovesLastDrawnVertex()
{
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), lensCorrected());
    mouse->click(QPoint(60, 60));
    mouse->click(QPoint(160, 60));
    mouse->click(QPoint(200, 150));
    key(Qt::Key_Backspace);
    mouse->click(QPoint(60, 160));
    mouse->click(QPoint(60, 60));
    QCOMPARE(pane->count(), 1);
    QCOMPARE(pane->polyControlAt(0)->polygon(),
        QPolygon(QVector<QPoint> { QPoint(60, 60), QPoint(160, 60), QPoint(60, 160) }));
    QCOMPARE(pane->undoStack()->count(), 1);
    // The first vertex stays: Backspace stops there, Escape cancels.
    mouse->click(QPoint(250, 200));
    mouse->click(QPoint(300, 200));
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    key(Qt::Key_Backspace);
    mouse->click(QPoint(300, 260));
    mouse->click(QPoint(350, 200));
    mouse->click(QPoint(250, 200));
    QCOMPARE(pane->count(), 2);
    QCOMPARE(pane->polyControlAt(0)->polygon(),
        QPolygon(QVector<QPoint> { QPoint(250, 200), QPoint(300, 260), QPoint(350, 200) }));
    QCOMPARE(pane->undoStack()->count(), 2);
    pane->undoStack()->undo();
    QCOMPARE(pane->count(), 1);
}

void TestPaneUndo::rectangleHasNoVertexEditing()
{
    mouse->drawRect(QPoint(40, 40), QPoint(120, 100));
    const Windows before = windowsOf(pane);
    QTest::mouseDClick(widget(), Qt::LeftButton, {}, QPoint(80, 40));
    QTest::mouseClick(widget(), Qt::RightButton, {}, QPoint(40, 40));
    COMPARE_WINDOWS(windowsOf(pane), before);
    QCOMPARE(pane->undoStack()->count(), 1);
}

namespace {

// One random user step on a pane, described by numbers so that the same
// step can be taken again on another pane in the same state.
struct Step {
    int kind = 0;
    int a = 0, b = 0, c = 0, d = 0;
};

// Whether any control of the pane (window, handle or delete button) covers pos.
bool covered(const kqgui::NodeWindowPane* pane, const QPoint& pos)
{
    const QList<kq::OnScreenControl*> controls = pane->onScreenDisplay()->controls();
    for (const kq::OnScreenControl* control : controls) {
        if (control->area().adjusted(-2, -2, 2, 2).contains(pos))
            return true;
    }
    return false;
}

// Takes step on pane, as one user input on its drawing widget or one call
// of a setter. A window a step works on is selected (and so raised) first,
// without user input, so that the same step on the same windows does the
// same whatever came before.
void takeStep(kqgui::VideoMotionWindowPane* pane, const kqtest::PaneMouse& mouse, const Step& step)
{
    QWidget* widget = pane->onScreenDisplay()->widget();
    const int n = pane->count();
    const int index = n > 0 ? step.a % n : -1;
    // Selected afresh, which also forgets a selected vertex.
    pane->onScreenDisplay()->setCurrent(nullptr);
    if (index >= 0)
        pane->onScreenDisplay()->setCurrent(pane->childAt(index));
    const QPolygon vertices
        = index >= 0 && pane->isPoly(index) ? pane->polyControlAt(index)->polygon() : QPolygon();
    switch (step.kind) {
    case 0: { // draw a window on the free image
        const QPoint from(step.a, step.b);
        const QPoint to = from + QPoint(step.c, step.d);
        if (covered(pane, from))
            break;
        if (pane->hasLensCorrection())
            mouse.drawPolygon(QPolygon(QVector<QPoint> { from, QPoint(to.x(), from.y()), to }));
        else
            mouse.drawRect(from, to);
        break;
    }
    case 1: // drag a window (or its handle, when it is small)
        if (n > 0) {
            const QPoint from = centreOf(pane, index);
            mouse.drag(from, from + QPoint(step.c - 30, step.d - 30));
        }
        break;
    case 2: // nudge
        if (n > 0)
            QTest::keyClick(widget, step.b % 2 ? Qt::Key_Left : Qt::Key_Down);
        break;
    case 3: // delete
        if (n > 0)
            QTest::keyClick(widget, Qt::Key_Delete);
        break;
    case 4: // settings
        if (n > 0)
            pane->setSensitivity(index, step.b);
        break;
    case 5:
        if (n > 0)
            pane->setThreshold(index, step.b % 50, 50 + step.c);
        break;
    case 6:
        if (n > 0)
            pane->setVMSet(index, step.b % 2 ? kq::VMS_Set1 : kq::VMS_Set2);
        break;
    case 7: // grow or shrink with the keyboard
        if (n > 0) {
            static const Qt::Key keys[] = { Qt::Key_Right, Qt::Key_Up, Qt::Key_Left, Qt::Key_Down };
            QTest::keyClick(widget, keys[step.b % 4], Qt::ShiftModifier);
        }
        break;
    case 8: // insert a vertex in the middle of an edge
        if (!vertices.isEmpty()) {
            const int edge = step.b % vertices.size();
            const QPoint middle = (vertices.at(edge) + vertices.at((edge + 1) % vertices.size())) / 2;
            QTest::mouseDClick(widget, Qt::LeftButton, {}, middle);
        }
        break;
    case 9: // remove a vertex: a right click, or a press and Delete
        if (!vertices.isEmpty()) {
            const QPoint vertex = vertices.at(step.b % vertices.size());
            if (step.c % 2) {
                QTest::mouseClick(widget, Qt::RightButton, {}, vertex);
            } else {
                mouse.click(vertex);
                QTest::keyClick(widget, Qt::Key_Delete);
            }
        }
        break;
    default:
        pane->removeAll();
        break;
    }
    // A click that began drawing a polygon (say, the second half of a double
    // click after the first erased the window) leaves it to the user's next
    // clicks: the step ends with Escape, which cancels it.
    QTest::keyClick(widget, Qt::Key_Escape);
    kqtest::flushDeletes();
}

} // namespace

void TestPaneUndo::randomStepsMatchReplay_data()
{
    QTest::addColumn<bool>("lens");
    QTest::newRow("rectangles") << false;
    QTest::newRow("lens-corrected polygons") << true;
}

void TestPaneUndo::randomStepsMatchReplay()
{
    QFETCH(bool, lens);
    const kq::SDeskewParams deskew = lens ? lensCorrected() : kq::SDeskewParams();
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), deskew);
    QRandomGenerator random(19);
    // states[i] is the pane after the i-th kept step; steps[i - 1] took it there.
    QVector<Windows> states { windowsOf(pane) };
    QVector<Step> steps;
    int position = 0;
    int lastKind = -1;
    for (int i = 0; i < 200; ++i) {
        const int choice = random.bounded(100);
        if (choice < 20) {
            pane->undoStack()->undo();
            if (position > 0)
                --position;
        } else if (choice < 30) {
            QTest::keyClick(widget(), Qt::Key_Y, Qt::ControlModifier);
            if (position < states.size() - 1)
                ++position;
        } else {
            Step step;
            // Drawing, dragging, nudging, deleting, settings, resizing,
            // vertices (polygons only), removing all.
            static const int weights[] = { 20, 15, 8, 8, 8, 6, 6, 10, 9, 8, 2 };
            int pick = random.bounded(100);
            step.kind = 0;
            while (pick >= weights[step.kind]) {
                pick -= weights[step.kind];
                ++step.kind;
            }
            step.a = random.bounded(340);
            step.b = random.bounded(250);
            step.c = random.bounded(10, 60);
            step.d = random.bounded(10, 50);
            lastKind = step.kind;
            takeStep(pane, *mouse, step);
            const Windows now = windowsOf(pane);
            if (!(now == states.at(position))) {
                states.resize(position + 1);
                steps.resize(position);
                states << now;
                steps << step;
                ++position;
            }
        }
        kqtest::flushDeletes();
        QVERIFY2(pane->undoStack()->index() == position,
            qPrintable(QStringLiteral("after %1 actions, the last a step of kind %2: index %3, expected %4")
                           .arg(i + 1)
                           .arg(lastKind)
                           .arg(pane->undoStack()->index())
                           .arg(position)));
        QCOMPARE(pane->undoStack()->count(), states.size() - 1);
        COMPARE_WINDOWS(windowsOf(pane), states.at(position));
    }
    QVERIFY(states.size() > 20);
    QVERIFY(position > 5);

    // The kept steps, taken again on a fresh pane, give the same windows.
    kqgui::VideoMotionWindowPane fresh;
    QVERIFY(kqtest::showPane(&fresh));
    fresh.setCoordinateSystem(QRectF(0, 0, 800, 600), deskew);
    fresh.showOnScreenDisplay(true);
    kqtest::PaneMouse freshMouse(&fresh);
    for (int i = 0; i < position; ++i) {
        takeStep(&fresh, freshMouse, steps.at(i));
        COMPARE_WINDOWS(windowsOf(&fresh), states.at(i + 1));
    }
    COMPARE_WINDOWS(windowsOf(&fresh), windowsOf(pane));
}

QTEST_MAIN(TestPaneUndo)
#include "tst_paneundo.moc"
