// Test support for the window panes: real mouse input on a pane's drawing
// widget, and lookups of a window's delete button and colour.
//
// Include after `#define QTEST_QPA_MOUSE_HANDLING` and <QtTest>: mouse input
// then goes through the window system layer as a user's does.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>

#include <kq/MemoryConfigSession.h>
#include <kq/OnScreenDisplay.h>
#include <kq/Property.h>

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

namespace kqtest {

inline QColor withAlpha(const QColor& color, int alpha)
{
    QColor c(color);
    c.setAlpha(alpha);
    return c;
}

// The colour a window is drawn with: its polygon's for a polygon window.
inline QColor windowColor(const kq::OnScreenRectControl* window)
{
    if (auto* polygon = dynamic_cast<const kq::OnScreenPolygonControl*>(window))
        return polygon->OnScreenPolygon::color();
    return window->OnScreenColorRect::color();
}

inline void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

// Drives a pane with the mouse on its on-screen display's drawing widget.
class PaneMouse {
public:
    explicit PaneMouse(kqgui::NodeWindowPane* pane)
        : pane(pane)
    {
    }

    QWidget* widget() const { return pane->onScreenDisplay()->widget(); }
    void press(const QPoint& p) const { QTest::mousePress(widget(), Qt::LeftButton, {}, p); }
    void move(const QPoint& p) const { QTest::mouseMove(widget(), p); }
    void release(const QPoint& p) const { QTest::mouseRelease(widget(), Qt::LeftButton, {}, p); }
    void click(const QPoint& p) const { QTest::mouseClick(widget(), Qt::LeftButton, {}, p); }
    void drag(const QPoint& from, const QPoint& to) const
    {
        press(from);
        move((from + to) / 2);
        move(to);
        release(to);
    }
    // Draws a rectangle window over the free image from one corner to the other.
    void drawRect(const QPoint& from, const QPoint& to) const { drag(from, to); }
    // Draws a polygon window by clicking its vertices and then the first
    // vertex again.
    void drawPolygon(const QPolygon& vertices) const
    {
        for (const QPoint& p : vertices)
            click(p);
        click(vertices.first());
    }

    kqgui::NodeWindowPane* pane;
};

// The delete button riding on window, or null.
inline kq::OnScreenPushControl* deleteButtonOf(
    const kqgui::NodeWindowPane* pane, const kq::OnScreenControl* window)
{
    const QList<kq::OnScreenControl*> controls = pane->onScreenDisplay()->controls();
    for (kq::OnScreenControl* control : controls) {
        auto* button = qobject_cast<kq::OnScreenPushControl*>(control);
        if (button && button->buddy() == window)
            return button;
    }
    return nullptr;
}

// Shows the pane at 400 x 300 pixels over an image of 800 x 600 units (two
// units per pixel), with no frame timer. False if it was never exposed.
inline bool showPane(kqgui::NodeWindowPane* pane)
{
    pane->setFrameRate(0);
    pane->resize(400, 300);
    pane->show();
    if (!QTest::qWaitForWindowExposed(pane))
        return false;
    pane->setCoordinateSystem(QRectF(0, 0, 800, 600), kq::SDeskewParams());
    return true;
}

// Shows a node whose video is the given still picture (of 800 x 600 units),
// written into dir. Returns the node's session, null if the picture can't be
// written.
inline kq::MemoryConfigSession* showPicture(
    kqgui::NodeWindowPane* pane, const QTemporaryDir& dir, const QImage& image, const QString& name)
{
    const QString picture = dir.filePath(name);
    if (!dir.isValid() || !image.save(picture))
        return nullptr;
    auto* memory = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
    memory->setAttribute(QStringLiteral("video"), picture);
    pane->setCoordinateSystem(kqm::smart<kq::INodeConfigSession>(memory));
    return memory;
}

// Shows a node whose video is a black 800 x 600 still picture written into
// dir, so that the windows' colours stand out. False if it can't be written.
inline bool showBlackPicture(kqgui::NodeWindowPane* pane, const QTemporaryDir& dir)
{
    QImage black(800, 600, QImage::Format_RGB32);
    black.fill(Qt::black);
    return showPicture(pane, dir, black, QStringLiteral("black.png")) != nullptr;
}

// An 800 x 600 picture with colours and stripes everywhere, over which any
// wrong blending of a window's colour shows.
inline QImage stripedPicture()
{
    QImage image(800, 600, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb((x * 7 + y) % 256, (y * 5) % 256, ((x / 9) % 2) ? 200 : (x + y) % 256));
    }
    return image;
}

// A string-choice property in a memory session.
inline kq::StringOptionsProperty* addStringOptions(
    kq::MemoryConfigSession* session, int id, const QVector<QString>& values, int selected)
{
    return session->emplace<kq::StringOptionsProperty>(
        QSharedPointer<const kq::StringOptionsProperty::InfoType>::create(
            id, QStringLiteral("Id%1").arg(id, 0, 16), QStringLiteral("Name"), false),
        kq::TOptions<QString>(values, selected));
}

} // namespace kqtest
