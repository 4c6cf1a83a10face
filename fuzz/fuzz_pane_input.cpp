// Arbitrary sequences of mouse and key input on a video-motion pane, over its
// windows and the free picture, with and without lens correction: presses,
// moves, releases and double clicks anywhere (also outside the picture and
// the pane), Delete, Escape, Backspace, Tab and the arrows with and without
// Shift, Ctrl+Z and Ctrl+Y, undo and redo as from a menu, settings changed,
// all windows removed and the pane resized now and then. After every event
// the pane must hold together: every window is there with finite image
// coordinates, and every delete button rides on a window of the pane.
// (Where windows may lie is the pane's own rule: a window being drawn is
// bounded by the pane's rectangle, so one drawn from the letterbox bars
// reaches beyond the picture; moves and resizes keep to the picture.)
//
// Input: the first byte chooses lens correction; then each event takes four
// bytes: the kind, x, y and a modifier byte.
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/CoordinateSystem.h>
#include <kq/MemoryConfigSession.h>
#include <kq/OnScreenDisplay.h>

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QSet>
#include <QUndoStack>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool ok, const char* what)
{
    if (ok)
        return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

const QRectF kImage(0, 0, 1920, 1080);

bool finite(const QRectF& r)
{
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width())
        && std::isfinite(r.height());
}

// The pane's invariants (see the top of the file).
void checkPane(kqgui::VideoMotionWindowPane& pane)
{
    for (int i = 0; i < pane.count(); ++i) {
        kq::OnScreenRectControl* window = pane.childAt(i);
        check(window != nullptr, "a window of the pane is null");
        const kqgui::ApplicationRect* geometry = pane.applicationRectAt(i);
        check(geometry != nullptr, "a window has no application geometry");
        check(finite(geometry->applicationRect), "a window's image geometry is not finite");
        if (const kqgui::ApplicationPolygon* polygon = pane.applicationPolygonAt(i)) {
            for (const QPointF& p : polygon->applicationPolygon)
                check(std::isfinite(p.x()) && std::isfinite(p.y()), "a polygon vertex is not finite");
        }
    }
    QSet<kq::OnScreenControl*> windows;
    for (int i = 0; i < pane.count(); ++i)
        windows.insert(pane.childAt(i));
    for (kq::OnScreenControl* control : pane.onScreenDisplay()->controls()) {
        if (control->buddy())
            check(windows.contains(control->buddy()), "a delete button rides on no window of the pane");
    }
}

void sendMouse(QWidget* target, QEvent::Type type, const QPoint& pos, Qt::MouseButton button,
    Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers)
{
    const QPointF local(pos);
    QMouseEvent event(type, local, QPointF(target->mapToGlobal(pos)), button, buttons, modifiers);
    QApplication::sendEvent(target, &event);
}

void sendKey(QWidget* target, int key, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent press(QEvent::KeyPress, key, modifiers);
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, modifiers);
    QApplication::sendEvent(target, &release);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_pane_input";
    static char* argv[] = { name, nullptr };
    static QApplication* app = new QApplication(argc, argv);
    Q_UNUSED(app)

    if (size < 1)
        return 0;
    kq::SDeskewParams deskew;
    if (data[0] & 1) {
        deskew.flags |= kq::SDeskewParams::LensCorrection;
        deskew.lensStrength = -60 + data[0] % 121;
    }
    kqgui::VideoMotionWindowPane pane;
    pane.resize(320, 200);
    pane.setCoordinateSystem(kImage, deskew);
    // Two stored windows to start from.
    if (deskew.hasLensCorrection()) {
        pane.addPolygon(QPolygon({ QPoint(100, 100), QPoint(600, 120), QPoint(400, 500) }), QColor());
        pane.addPolygon(QPolygon({ QPoint(900, 600), QPoint(1500, 650), QPoint(1200, 1000) }), QColor());
    } else {
        pane.addRect(QRect(100, 100, 500, 400), QColor());
        pane.addRect(QRect(900, 600, 600, 300), QColor());
    }
    QWidget* target = pane.onScreenDisplay()->widget();
    Qt::MouseButtons held;

    for (size_t at = 1; at + 4 <= size; at += 4) {
        const uint8_t kind = data[at];
        // Positions reach a little beyond the pane on every side.
        const QPoint pos(int(data[at + 1]) * 360 / 255 - 20, int(data[at + 2]) * 240 / 255 - 20);
        const Qt::KeyboardModifiers modifiers = (data[at + 3] & 1 ? Qt::ShiftModifier : Qt::NoModifier)
            | (data[at + 3] & 2 ? Qt::ControlModifier : Qt::NoModifier);
        const Qt::MouseButton button = data[at + 3] & 4 ? Qt::RightButton : Qt::LeftButton;
        switch (kind % 12) {
        case 0:
        case 1:
            held |= button;
            sendMouse(target, QEvent::MouseButtonPress, pos, button, held, modifiers);
            break;
        case 2:
        case 3:
        case 4:
            sendMouse(target, QEvent::MouseMove, pos, Qt::NoButton, held, modifiers);
            break;
        case 5:
        case 6:
            held &= ~Qt::MouseButtons(button);
            sendMouse(target, QEvent::MouseButtonRelease, pos, button, held, modifiers);
            break;
        case 7:
            sendMouse(target, QEvent::MouseButtonDblClick, pos, button, held | button, modifiers);
            break;
        case 8: {
            const int keys[] = { Qt::Key_Delete, Qt::Key_Escape, Qt::Key_Backspace, Qt::Key_Tab, Qt::Key_Left,
                Qt::Key_Right, Qt::Key_Up, Qt::Key_Down };
            sendKey(target, keys[data[at + 1] % 8], modifiers);
            break;
        }
        case 9:
            if (data[at + 1] < 32)
                pane.resize(120 + data[at + 2], 80 + data[at + 3]);
            break;
        case 10:
            if (data[at + 1] < 16)
                pane.removeAll();
            else if (data[at + 1] < 64) // undo, also in the middle of a gesture
                sendKey(target, Qt::Key_Z, Qt::ControlModifier);
            else if (data[at + 1] < 96)
                sendKey(target, Qt::Key_Y, Qt::ControlModifier);
            else if (data[at + 1] < 112) // from a menu, whatever the mouse is doing
                pane.undoStack()->undo();
            else if (data[at + 1] < 128)
                pane.undoStack()->redo();
            break;
        default:
            if (pane.count() > 0) {
                const int i = data[at + 1] % pane.count();
                pane.setSensitivity(i, data[at + 2] % 101);
            }
            break;
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        checkPane(pane);
    }
    return 0;
}
