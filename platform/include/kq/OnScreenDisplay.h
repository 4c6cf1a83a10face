// The on-screen display: interactive rectangles, polygons and icon buttons
// drawn over a widget (typically a NodeWidget's live video), which the user
// draws, selects, moves, resizes and deletes with the mouse and keyboard.
//
// Coordinates are pixels of the display's drawing widget, which covers the
// widget the display was created with, so they are that widget's pixels too.
//
// Signals are emitted for user actions only: setRect(), setPolygon() and the
// other programmatic setters repaint but never emit changed().
#pragma once

#include <kq/kqplatform_export.h>

#include <QColor>
#include <QFlags>
#include <QList>
#include <QObject>
#include <QPixmap>
#include <QPoint>
#include <QPointer>
#include <QPolygon>
#include <QRect>
#include <QRegion>

#include <memory>

class QEvent;
class QKeyEvent;
class QMouseEvent;
class QPainter;
class QWidget;

namespace kq {

class OnScreenDisplay;
class OnScreenDisplayPrivate;
struct OnScreenPicture;

// A rectangle of a control, in widget pixels.
class KQPLATFORM_EXPORT OnScreenRect {
public:
    explicit OnScreenRect(const QRect& rect = QRect());
    virtual ~OnScreenRect();

    // Sets the rectangle; a control repaints. Emits nothing.
    virtual void setRect(const QRect& rect);
    QRect rect() const { return m_rect; }

protected:
    // Called after a visible attribute changed; controls repaint there.
    virtual void appearanceChanged() { }

    QRect m_rect;
};

// A rectangle with a fill colour and drawing flags.
class KQPLATFORM_EXPORT OnScreenColorRect : public OnScreenRect {
public:
    enum RectFlag {
        NoFill = 0x1, // draw no fill, only the outline (if any)
        Outline = 0x2, // draw an outline in the fill colour made opaque
        Dashed = 0x4, // the outline is dashed
    };
    Q_DECLARE_FLAGS(RectFlags, RectFlag)

    // color: the fill; dragColor: the fill while the control is being drawn,
    // moved or resized (pass the same colour for no change).
    OnScreenColorRect(const QRect& rect, const QColor& color, const QColor& dragColor, RectFlags flags);

    void setColor(const QColor& color);
    QColor color() const { return m_color; }
    void setDragColor(const QColor& color);
    QColor dragColor() const { return m_dragColor; }
    void setRectFlags(RectFlags flags);
    RectFlags rectFlags() const { return m_rectFlags; }

private:
    QColor m_color;
    QColor m_dragColor;
    RectFlags m_rectFlags;
};

// A polygon with its colour and drawing flags, in widget pixels.
class KQPLATFORM_EXPORT OnScreenPolygon {
public:
    enum PolygonFlag {
        Closed = 0x1, // closed and filled; otherwise drawn as an open line
        Outline = 0x2, // draw the outline in the colour made opaque
        Dashed = 0x4, // the outline is dashed
        ClickToDraw = 0x8, // drawing: each click adds a vertex; a double click,
                           // or a click on the first vertex, closes the polygon.
                           // Without it, dragging draws a rectangle whose four
                           // corners become the polygon.
        VertexHandles = 0x10, // the active polygon shows its vertices as handles
    };
    Q_DECLARE_FLAGS(PolygonFlags, PolygonFlag)

    OnScreenPolygon(const QPolygon& polygon, const QColor& color, PolygonFlags flags);
    virtual ~OnScreenPolygon();

    // Sets the polygon; a control repaints. Emits nothing. The control's
    // rectangle is not changed (the owner sets it with setRect).
    void setPolygon(const QPolygon& polygon);
    // The same, taking the points over from polygon.
    void setPolygon(QPolygon&& polygon);
    QPolygon polygon() const { return m_polygon; }
    void setColor(const QColor& color);
    QColor color() const { return m_color; }
    void setPolygonFlags(PolygonFlags flags);
    PolygonFlags polygonFlags() const { return m_polygonFlags; }

protected:
    virtual void polygonAppearanceChanged() { }

    QPolygon m_polygon;

private:
    QColor m_color;
    PolygonFlags m_polygonFlags;
};

// Base of everything the display holds. The control's QObject parent is its
// owner (OnScreenDisplay::clear, rect_controls and rect_control select by it).
class KQPLATFORM_EXPORT OnScreenControl : public QObject {
    Q_OBJECT
public:
    enum ControlFlag {
        Selectable = 0x1, // a press selects (activates) and raises the control
        Movable = 0x2, // dragging the control moves it
        Resizable = 0x8, // handles resize it: corners and edge middles of a
                         // rectangle, the vertices of a polygon
        DeleteKey = 0x100, // the Delete key erases it while it is selected
        ArrowKeys = 0x200, // arrow keys move it by one pixel while selected
    };
    Q_DECLARE_FLAGS(ControlFlags, ControlFlag)

    enum Mode {
        Hovered = 0x1, // the mouse is over it
        Active = 0x2, // selected: the display's current control
        Resizing = 0x4, // a handle is being dragged
        Creating = 0x8, // being drawn by the gesture that created it
        Moving = 0x10, // being dragged
        Pressed = 0x20, // a push control held down
    };
    Q_DECLARE_FLAGS(Modes, Mode)

    // widget: the display's drawing widget (OnScreenDisplay::widget()).
    OnScreenControl(QObject* parent, QWidget* widget, ControlFlags flags);
    ~OnScreenControl() override;

    QWidget* widget() const;
    // The display holding the control; null before push_back and after erase.
    OnScreenDisplay* display() const;

    ControlFlags controlFlags() const { return m_controlFlags; }
    void setControlFlags(ControlFlags flags) { m_controlFlags = flags; }

    // A disabled control is still painted but takes no input; disabling the
    // selected control deselects it.
    virtual void setEnabled(bool enabled);
    virtual bool isEnabled() const { return m_enabled; }

    Modes modes() const { return m_modes; }
    virtual void setModes(Modes modes);
    bool isActive() const { return m_modes.testFlag(Active); }
    void setActive(bool active) { setModes(active ? (m_modes | Active) : (m_modes & ~Modes(Active))); }
    bool isMoving() const { return m_modes.testFlag(Moving); }

    // The control this one rides on (push controls); null for others.
    virtual OnScreenControl* buddy() const { return nullptr; }

    // The pixels the control paints (for repainting and hit-testing).
    virtual QRect area() const = 0;
    virtual void paint(QPainter& painter) const = 0;
    // Whether a press at pos (widget pixels) belongs to this control.
    virtual bool hitTest(const QPoint& pos) const = 0;

    // Movement bounds: while `bounded` is set and `bounds` is not empty,
    // drawing, resizing and nudging keep the control inside the bounding
    // rectangle of `bounds`, and a move that would leave the region itself is
    // cut short (for a rectangular region: stopped at its edge).
    bool bounded = false;
    QRegion bounds;

Q_SIGNALS:
    // The user changed the control's geometry.
    void changed();
    // The display erased the control; it is deleted later.
    void deleted();

protected:
    friend class OnScreenDisplay;
    friend class OnScreenDisplayPrivate;

    // Input, delivered by the display only while display and control are
    // enabled. Positions are widget pixels.
    virtual Qt::CursorShape cursorAt(const QPoint& pos) const;
    // A press on the control; true when the control takes the drag that follows.
    virtual bool mousePress(QMouseEvent* event);
    virtual void mouseMove(QMouseEvent* event);
    virtual void mouseRelease(QMouseEvent* event);
    // The drawing gesture started by OnScreenDisplay::push_back with a press.
    // beginDrawing answers whether the control can be drawn; the others
    // answer whether the gesture goes on.
    virtual bool beginDrawing(const QPoint& pos);
    virtual bool drawPress(const QPoint& pos);
    virtual void drawMove(const QPoint& pos);
    virtual bool drawRelease(const QPoint& pos);
    virtual bool drawDoubleClick(const QPoint& pos);
    // Ends the gesture now (Escape, erase): the control reports emptied.
    virtual void cancelDrawing();
    // Moves by delta within the bounds; true if it moved.
    virtual bool nudge(const QPoint& delta);

    // Asks for a repaint of the drawing widget. While the control is held by
    // a display whose drawing widget it is drawn on, requests made before
    // that widget's next paint event ask once.
    void repaint();
    // pos clamped into the bounds' bounding rectangle (pos itself if unbounded).
    QPoint boundedPoint(const QPoint& pos) const;
    // Whether rect lies inside the bounds (always, if unbounded).
    bool withinBounds(const QRect& rect) const;
    // rect moved by the largest part of delta that keeps it within the bounds.
    QRect boundedTranslation(const QRect& rect, const QPoint& delta) const;
    bool isBounded() const { return bounded && !bounds.isEmpty(); }

private:
    QPointer<QWidget> m_widget;
    QPointer<OnScreenDisplay> m_display;
    ControlFlags m_controlFlags;
    Modes m_modes;
    bool m_enabled = true;
};

// An interactive rectangle.
class KQPLATFORM_EXPORT OnScreenRectControl : public OnScreenControl, public OnScreenColorRect {
    Q_OBJECT
public:
    OnScreenRectControl(QObject* parent, QWidget* widget, const QRect& rect, const QColor& color,
        const QColor& dragColor, RectFlags rectFlags, ControlFlags controlFlags);
    ~OnScreenRectControl() override;

    // Whether the control has a shape on screen (a valid rectangle; a polygon
    // control also needs at least two points).
    virtual bool hasExtent() const;

    // Moves the bottom-right corner by delta, as a user's key does: within
    // the bounds, never narrower or lower than MinimumExtent pixels by it
    // (a control already smaller is not shrunk), a polygon scaled into the
    // new rectangle. Emits changed() and answers true if the rectangle
    // changed.
    bool growBy(const QPoint& delta);
    // Smallest width and height growBy() shrinks a control to, in pixels.
    static constexpr int MinimumExtent = 3;

    QRect area() const override;
    // Draws the fill, the outline and, while selected, the resize handles.
    // On a raster painter that maps to whole device pixels (an integer
    // translation at most), at full opacity, with source-over composition,
    // without a clip of its own and without antialiasing, a control that
    // lies within the device and the region being painted keeps what it drew
    // as an image and draws that image again while its rectangle, colours,
    // flags, modes and the painter's render hints stay the same: the pixels
    // are the same as drawing anew, the 1-pixel outlines (slow in the raster
    // engine) are not stroked again. A control larger than 512 x 512 pixels
    // (with its handles) is always drawn anew. Solid opaque outlines and the
    // handles are filled rather than stroked wherever that gives the same
    // pixels (on such a painter, at least 2 x 2, within the device).
    void paint(QPainter& painter) const override;
    bool hitTest(const QPoint& pos) const override;

    // Size of a resize handle, in pixels.
    static constexpr int HandleSize = 7;

Q_SIGNALS:
    // The drawing gesture ended with a rectangle of extent (the new rect()).
    void created(QRect rect);
    // The drawing gesture ended without extent (or was cancelled); the
    // control is useless and its owner normally erases it.
    void emptied(kq::OnScreenControl* control);

protected:
    void appearanceChanged() override;
    Qt::CursorShape cursorAt(const QPoint& pos) const override;
    bool mousePress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void mouseRelease(QMouseEvent* event) override;
    bool beginDrawing(const QPoint& pos) override;
    bool drawPress(const QPoint& pos) override;
    void drawMove(const QPoint& pos) override;
    bool drawRelease(const QPoint& pos) override;
    void cancelDrawing() override;
    bool nudge(const QPoint& delta) override;

    // Ends a drawing gesture: created(rect()) when the control has extent,
    // emptied(this) otherwise.
    void finishDrawing(bool hasExtent);
    // The handle under pos: -1 none; 0..7 clockwise from the top-left corner.
    virtual int handleAt(const QPoint& pos) const;
    // Where a handle is.
    virtual QPoint handlePoint(int handle) const;
    // Drags a handle to pos; true if the geometry changed.
    virtual bool dragHandle(int handle, const QPoint& pos);
    // Moves the geometry by delta (no bounds check).
    virtual void translate(const QPoint& delta);
    QVector<QPoint> handlePositions() const;
    QColor currentFill(const QColor& normal) const;

    // What paint() drew last, reused while everything it was drawn from stays
    // the same (see paint()).
    mutable std::unique_ptr<OnScreenPicture> m_picture;

    QPoint m_anchor; // press position of the current gesture
    QRect m_startRect; // rect() when the current drag began
    QPoint m_grabOffset; // from the dragged handle to the press position
    int m_handle = -1; // handle being dragged
};

// An interactive polygon; its rect() is the polygon's bounding box.
class KQPLATFORM_EXPORT OnScreenPolygonControl : public OnScreenRectControl, public OnScreenPolygon {
    Q_OBJECT
public:
    OnScreenPolygonControl(QObject* parent, QWidget* widget, const QVector<QPoint>& polygon,
        const QColor& color, PolygonFlags polygonFlags, ControlFlags controlFlags);
    ~OnScreenPolygonControl() override;

    using OnScreenPolygon::color;
    using OnScreenPolygon::setColor;

    // With a polygon of at least three points and a valid rect that differs
    // from the polygon's bounding box, the polygon is scaled and moved into
    // rect; otherwise only the rectangle is set.
    void setRect(const QRect& rect) override;

    bool hasExtent() const override;
    QRect area() const override;

    // Editing single vertices, as the display does for the user. Only a
    // drawn, selected polygon with the flag Resizable is edited; each edit
    // emits changed(). Vertices stay within the bounds.
    //
    // The vertex whose handle is at pos, -1 if none.
    int vertexAt(const QPoint& pos) const;
    // The edge passing within a handle's reach of pos, -1 if none; edge i
    // runs from vertex i to the next (the last one back to the first).
    int edgeAt(const QPoint& pos) const;
    // Inserts a vertex on the edge near pos, at the edge's point nearest to
    // it; answers the new vertex's index, -1 if no edge is near.
    int insertVertex(const QPoint& pos);
    // Removes vertex index while at least three stay; true if removed.
    bool removeVertex(int index);
    // While the user draws the polygon by clicks: removes the last vertex
    // placed after the first one; true if one was removed.
    bool removeLastDrawnVertex();

    // Draws the polygon (filled when Closed, outlined with Outline) and,
    // while selected, its vertex handles; kept as an image between paints as
    // OnScreenRectControl::paint() says (any antialiasing hint of the
    // painter aside: polygons are always drawn without). While being drawn
    // by the user it is drawn anew each time.
    void paint(QPainter& painter) const override;
    bool hitTest(const QPoint& pos) const override;

protected:
    void polygonAppearanceChanged() override;
    void cancelDrawing() override;
    Qt::CursorShape cursorAt(const QPoint& pos) const override;
    bool beginDrawing(const QPoint& pos) override;
    bool drawPress(const QPoint& pos) override;
    void drawMove(const QPoint& pos) override;
    bool drawRelease(const QPoint& pos) override;
    bool drawDoubleClick(const QPoint& pos) override;
    int handleAt(const QPoint& pos) const override;
    QPoint handlePoint(int handle) const override;
    bool dragHandle(int handle, const QPoint& pos) override;
    void translate(const QPoint& delta) override;

private:
    bool closeDrawing();
    bool hasShape() const;
    // Takes over the user's edit of the vertices (without a closing copy;
    // closedCopy puts one back) and reports it with changed().
    void setEditedVertices(QPolygon vertices, bool closedCopy);

    QPoint m_cursor; // rubber-band end while drawing by clicks
};

// A small icon button riding on a buddy control.
class KQPLATFORM_EXPORT OnScreenPushControl : public OnScreenControl {
    Q_OBJECT
public:
    // icon / pressedIcon: image files (resource paths allowed), read once per
    // process and path (later changes to a file are not seen); an icon that
    // cannot be loaded is drawn as a 16 x 16 box with a cross. corner: the
    // buddy corner the icon's same corner is placed at (horizontal: left,
    // right or centre; vertical: top, bottom or centre; none given: left,
    // top), moved by offset. Without a buddy (or once it is deleted) the
    // button is never shown.
    // The button is shown only while its buddy has extent, is enabled and is
    // not being drawn, and while the display is enabled.
    OnScreenPushControl(QObject* parent, QWidget* widget, const QString& icon, const QString& pressedIcon,
        Qt::Alignment corner, const QPoint& offset, OnScreenControl* buddy, ControlFlags flags);
    ~OnScreenPushControl() override;

    OnScreenControl* buddy() const override;
    bool isShown() const;

    QRect area() const override;
    void paint(QPainter& painter) const override;
    bool hitTest(const QPoint& pos) const override;

Q_SIGNALS:
    // Pressed and released over the button: reports the buddy.
    void clicked(kq::OnScreenControl* buddy);

protected:
    Qt::CursorShape cursorAt(const QPoint& pos) const override;
    bool mousePress(QMouseEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void mouseRelease(QMouseEvent* event) override;

private:
    QPixmap m_icon;
    QPixmap m_pressedIcon;
    Qt::Alignment m_corner;
    QPoint m_offset;
    QPointer<OnScreenControl> m_buddy;
};

// Holds, paints and feeds input to controls over a widget.
//
// A control with a buddy (a push control) is never selected or raised by a
// press; it goes up and down with its buddy.
//
// Controls are listed in the order they were pushed, newest first; painting
// and hit-testing follow a separate stacking order in which a raised control
// (and the controls riding on it) comes to the top.
//
// Input on the drawing widget (only while `enabled`):
// - a left press on a control selects and raises it (signal raised) and
//   starts moving it, or resizing it from a handle; a press on a push control
//   clicks it on release;
// - a left press on the free image (or on a disabled control) emits
//   mousePressed; a receiver may answer with push_back(controls, event) to
//   let the user draw the first of those controls with that same gesture;
// - Delete erases the selected control (flag DeleteKey); arrow keys move it by
//   one pixel (flag ArrowKeys), Shift with an arrow key moves its
//   bottom-right corner by one pixel (flags ArrowKeys and Resizable; see
//   OnScreenRectControl::growBy); Escape cancels a drawing gesture. Tab and
//   Shift+Tab select the next and the previous rectangle or polygon control
//   (in the order of rect_controls(nullptr), wrapping around) while there are
//   any; otherwise they move the keyboard focus as usual. The drawing widget
//   takes the keyboard focus when clicked.
// - vertices of the selected polygon control (flag Resizable): a left press
//   on a vertex's handle selects that vertex (drawn as a black handle) until
//   another press or selection; Delete then removes that vertex instead of
//   erasing the control; a right press on a vertex removes it; a double
//   click on an edge inserts a vertex there (a press within a handle's reach
//   of an edge counts as a press on the polygon). A polygon keeps at least
//   three vertices. While a polygon is drawn by clicks, Backspace removes the
//   last vertex placed.
// Mouse events the display does not use go on to the widget it covers.
class KQPLATFORM_EXPORT OnScreenDisplay : public QObject {
    Q_OBJECT
public:
    // Creates the drawing widget as a child covering `widget`, which also
    // becomes the display's QObject parent. A null widget gives a display
    // with no drawing widget that only keeps lists.
    explicit OnScreenDisplay(QWidget* widget);
    ~OnScreenDisplay() override;

    // The widget the controls are drawn on and receive input from.
    QWidget* widget() const;

    // The on/off switch: off, presses on the free image emit nothing and
    // controls take no input; controls are still painted, push controls not.
    bool enabled = true;

    // Adds the controls (null entries are skipped; a control already held is
    // not added twice) as the newest, on top. When event is a mouse press
    // (or the second press of a double click) and the display is enabled, the first control is drawn by the
    // gesture that press began (see OnScreenControl::beginDrawing) and is selected when the gesture ends with
    // a shape; any other event, or null, just adds. Adding takes the same time however many controls are
    // held.
    void push_back(QList<kq::OnScreenControl*> controls, QEvent* event);
    // Erases every control whose QObject parent is owner (every control if
    // owner is null), as erase() does, oldest first.
    void clear(QObject* owner);
    // The rectangle and polygon controls of owner (of every owner if null),
    // newest first. The lists are kept between calls and shared with the
    // caller, so asking again costs no walk over the controls; they follow
    // every push_back, erase, deletion and change of a held control's
    // QObject parent.
    QList<kq::OnScreenRectControl*> rect_controls(QObject* owner) const;
    // The selected control if it is a rectangle or polygon control of owner
    // (any owner if null); null otherwise.
    kq::OnScreenRectControl* rect_control(QObject* owner) const;
    // Every control, newest first.
    QList<kq::OnScreenControl*> controls() const;

    // The selected control, or null.
    kq::OnScreenControl* current() const;
    // Selects and raises control and emits raised; null deselects (no
    // signal). Selecting the selected control again does nothing; a control
    // the display does not hold, a disabled one or one with a buddy is ignored.
    void setCurrent(kq::OnScreenControl* control);
    // Raises control and the controls riding on it to the top (a control the
    // display does not hold is ignored).
    void raise(kq::OnScreenControl* control);

    // Repaints the drawing widget.
    void update();

public Q_SLOTS:
    // Removes control and the controls riding on it; each emits deleted()
    // and is deleted later. A control the display does not hold is ignored.
    void erase(kq::OnScreenControl* control);

Q_SIGNALS:
    void mousePressed(QMouseEvent* event);
    void raised(kq::OnScreenControl* control);
    // A user's input on the drawing widget while the display is enabled: a
    // press, double click or key starts it, before the display handles it;
    // it is finished once the display has handled the event that ends it
    // (the press or key itself, the release ending a drag, the last event of
    // a drawing gesture). Every change the input made lies between the two.
    void inputStarted();
    void inputFinished();

private:
    friend class OnScreenDisplayPrivate;
    friend class OnScreenControl;
    // A held control is being deleted without having been erased.
    void controlDestroyed(kq::OnScreenControl* control);

    std::unique_ptr<OnScreenDisplayPrivate> d;
};

} // namespace kq

Q_DECLARE_OPERATORS_FOR_FLAGS(kq::OnScreenColorRect::RectFlags)
Q_DECLARE_OPERATORS_FOR_FLAGS(kq::OnScreenPolygon::PolygonFlags)
Q_DECLARE_OPERATORS_FOR_FLAGS(kq::OnScreenControl::ControlFlags)
Q_DECLARE_OPERATORS_FOR_FLAGS(kq::OnScreenControl::Modes)
