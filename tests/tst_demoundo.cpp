// The demo's Edit > Undo and Redo: they follow the tab on screen, take back
// what the user drew on a pane, and start empty for each camera shown.

#include "CameraDocument.h"
#include "CameraSettingsDialog.h"
#include "MainWindow.h"

#include <ConfigDialogs/NodeWindowPane.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/OnScreenDisplay.h>

#include <QAction>
#include <QFile>
#include <QListWidget>
#include <QStandardPaths>
#include <QTabWidget>
#include <QUndoStack>
#include <QtTest>

#include <memory>

#include "demo_testsupport.h"

namespace {

// Each window's kind and image rectangle, newest first.
QList<QRectF> windowsOf(const kqgui::NodeWindowPane* pane)
{
    QList<QRectF> rects;
    for (int i = 0; i < pane->count(); ++i)
        rects << pane->applicationRectAt(i)->applicationRect;
    return rects;
}

} // namespace

class TestDemoUndo : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void actionsFollowTheTab();
    void undoTakesBackADrawnWindow();
    void anotherCameraStartsEmpty();
    void keysOnThePaneUndoOnce();

private:
    kqgui::NodeWindowPane* pane(const char* name) const
    {
        return m_window->findChild<kqgui::NodeWindowPane*>(QLatin1String(name));
    }
    QAction* action(const char* name) const { return m_window->findChild<QAction*>(QLatin1String(name)); }
    // Draws a window by dragging over the middle of pane's picture.
    static void drawOn(kqgui::NodeWindowPane* pane)
    {
        QWidget* widget = pane->onScreenDisplay()->widget();
        const QPoint from(widget->width() / 3, widget->height() / 3);
        const QPoint to(widget->width() / 2, widget->height() / 2);
        QTest::mousePress(widget, Qt::LeftButton, {}, from);
        QTest::mouseMove(widget, (from + to) / 2);
        QTest::mouseMove(widget, to);
        QTest::mouseRelease(widget, Qt::LeftButton, {}, to);
    }

    std::unique_ptr<demo::MainWindow> m_window;
};

void TestDemoUndo::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QFile::remove(demo::CameraDocument::userDataPath());
}

void TestDemoUndo::init()
{
    demotest::openMainWindow(m_window);
    if (QTest::currentTestFailed())
        return;
    m_window->selectCameras(QStringList { QStringLiteral("cam-entrance") });
    QVERIFY(pane("exposurePane"));
    QVERIFY(pane("motionPane"));
    QVERIFY(action("undo"));
    QVERIFY(action("redo"));
}

void TestDemoUndo::cleanup()
{
    m_window.reset();
    QFile::remove(demo::CameraDocument::userDataPath());
}

void TestDemoUndo::actionsFollowTheTab()
{
    demo::CameraSettingsDialog* settings = m_window->settings();
    QVERIFY(settings->showTab(QStringLiteral("Exposure")));
    kqgui::NodeWindowPane* exposure = pane("exposurePane");
    // Loading the camera's windows made no step.
    QCOMPARE(exposure->undoStack()->count(), 0);
    QVERIFY(!action("undo")->isEnabled());
    drawOn(exposure);
    QCOMPARE(exposure->undoStack()->count(), 1);
    QVERIFY(action("undo")->isEnabled());
    QVERIFY(!action("redo")->isEnabled());
    // The motion pane has nothing to undo; the general tab has no pane.
    QVERIFY(settings->showTab(QStringLiteral("Motion")));
    QCOMPARE(pane("motionPane")->undoStack()->count(), 0);
    QVERIFY(!action("undo")->isEnabled());
    QVERIFY(settings->showTab(QStringLiteral("General")));
    QVERIFY(!action("undo")->isEnabled());
    QVERIFY(!action("redo")->isEnabled());
    QVERIFY(settings->showTab(QStringLiteral("Exposure")));
    QVERIFY(action("undo")->isEnabled());
}

void TestDemoUndo::undoTakesBackADrawnWindow()
{
    demo::CameraSettingsDialog* settings = m_window->settings();
    QVERIFY(settings->showTab(QStringLiteral("Motion")));
    kqgui::NodeWindowPane* motion = pane("motionPane");
    const QList<QRectF> loaded = windowsOf(motion);
    QVERIFY(!settings->hasChanges());
    drawOn(motion);
    const QList<QRectF> drawn = windowsOf(motion);
    QVERIFY(drawn != loaded);
    QTRY_VERIFY(settings->hasChanges());
    QTRY_VERIFY(m_window->isWindowModified());
    action("undo")->trigger();
    QCOMPARE(windowsOf(motion), loaded);
    // Back to what the camera holds: nothing left to apply.
    QTRY_VERIFY(!settings->hasChanges());
    QTRY_VERIFY(!m_window->isWindowModified());
    QVERIFY(action("redo")->isEnabled());
    action("redo")->trigger();
    QCOMPARE(windowsOf(motion), drawn);
    QTRY_VERIFY(settings->hasChanges());
}

void TestDemoUndo::anotherCameraStartsEmpty()
{
    demo::CameraSettingsDialog* settings = m_window->settings();
    QVERIFY(settings->showTab(QStringLiteral("Exposure")));
    kqgui::NodeWindowPane* exposure = pane("exposurePane");
    drawOn(exposure);
    QCOMPARE(exposure->undoStack()->count(), 1);
    // Applying shows the cameras again: a new history.
    settings->apply();
    QVERIFY(!settings->hasChanges());
    QCOMPARE(exposure->undoStack()->count(), 0);
    // Drawn and taken back: a step to redo, but nothing to apply, so that
    // showing another camera asks nothing.
    drawOn(exposure);
    action("undo")->trigger();
    QTRY_VERIFY(!settings->hasChanges());
    QVERIFY(action("redo")->isEnabled());
    m_window->selectCameras(QStringList { QStringLiteral("cam-gate") });
    QCOMPARE(m_window->selectedCameras(), QStringList { QStringLiteral("cam-gate") });
    QCOMPARE(exposure->undoStack()->count(), 0);
    QVERIFY(!action("undo")->isEnabled());
    QVERIFY(!action("redo")->isEnabled());
}

void TestDemoUndo::keysOnThePaneUndoOnce()
{
    demo::CameraSettingsDialog* settings = m_window->settings();
    QVERIFY(settings->showTab(QStringLiteral("Motion")));
    auto* motion = m_window->findChild<kqgui::VideoMotionWindowPane*>(QStringLiteral("motionPane"));
    QVERIFY(motion);
    drawOn(motion);
    motion->setSensitivity(0, 77);
    QCOMPARE(motion->undoStack()->count(), 2);
    QWidget* widget = motion->onScreenDisplay()->widget();
    widget->setFocus();
    QVERIFY(widget->hasFocus());
    // The pane takes the key before the Edit menu's shortcut: one step back.
    QTest::keyClick(widget, Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(motion->undoStack()->index(), 1);
    QTest::keyClick(widget, Qt::Key_Y, Qt::ControlModifier);
    QCOMPARE(motion->undoStack()->index(), 2);
    // Elsewhere in the window the menu's shortcut undoes the pane on screen.
    m_window->cameraList()->setFocus();
    QTest::keyClick(m_window->cameraList(), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(motion->undoStack()->index(), 1);
}

QTEST_MAIN(TestDemoUndo)
#include "tst_demoundo.moc"
