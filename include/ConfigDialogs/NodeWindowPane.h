/// @file
/// Window panes over a node's live video: editable rectangle and polygon
/// windows drawn over the camera's image, kept in image ("application")
/// coordinates and in widget ("screen") pixels at the same time.
#pragma once

#include <ConfigDialogs/configdialogs_export.h>

#include <kq/CoordinateSystem.h>
#include <kq/NodeConfigSession.h>
#include <kq/NodeWidget.h>
#include <kq/OnScreenDisplay.h>
#include <kqm/Smart.h>

#include <QColor>
#include <QMetaType>
#include <QPolygon>
#include <QPolygonF>
#include <QRect>
#include <QRectF>
#include <QTimer>

class QMouseEvent;
class QResizeEvent;
class QUndoStack;

namespace kqgui {

/// The application geometry of one window: the window in the camera image's
/// coordinates, and the mapping that puts it on screen.
class CONFIGDIALOGS_EXPORT ApplicationRect {
public:
    /// Keeps the coordinate system (not owned, may be null) and the window's
    /// application rectangle; maps nothing.
    ApplicationRect(kq::CoordinateSystem* coordinateSystem, const QRectF& applicationRect);
    virtual ~ApplicationRect();

    /// Gives the window a new application rectangle and maps it to the screen.
    virtual void setGeometry(const QRectF& rect) = 0;
    /// Maps the application geometry to the screen again. A non-null
    /// coordinate system replaces the stored one; a non-null deskew record
    /// replaces the stored settings (polygons only; rectangles ignore it).
    virtual void updateGeometry(kq::CoordinateSystem* coordinateSystem, kq::SDeskewParams* deskew) = 0;

    /// Not owned: the pane owns it and outlives its windows. While null, the
    /// window keeps its screen geometry and reads nothing back.
    kq::CoordinateSystem* coordinateSystem;
    /// The window in application coordinates; for a polygon its bounding box.
    QRectF applicationRect;
};

/// The application geometry of a polygon window, with the deskew settings
/// its polygon is mapped through.
class CONFIGDIALOGS_EXPORT ApplicationPolygon : public ApplicationRect {
public:
    /// Keeps the coordinate system, the polygon and the deskew settings; the
    /// application rectangle is the polygon's bounding box.
    ApplicationPolygon(kq::CoordinateSystem* coordinateSystem, const QPolygonF& applicationPolygon,
        const kq::SDeskewParams& deskewParams);
    ~ApplicationPolygon() override;

    /// Scales polygon about the origin and moves it so that its bounding box
    /// becomes target, keeping its shape. A polygon whose bounding box has no
    /// width or height gets infinite or undefined coordinates (not a crash):
    /// callers pass polygons with extent.
    static void scaleBoundingRect(QPolygonF& polygon, const QRectF& target);

    /// The deskew and lens-correction settings the polygon is mapped through.
    kq::SDeskewParams deskewParams;
    /// The window in application coordinates.
    QPolygonF applicationPolygon;
};

/// A rectangular window: an on-screen rectangle whose application rectangle
/// follows every user edit (signals created and changed) and which is put on
/// screen from its application rectangle by setGeometry/updateGeometry. The
/// control is bounded to the coordinate system's screenRect() on every
/// updateGeometry.
class CONFIGDIALOGS_EXPORT PaneRectControl : public kq::OnScreenRectControl, public ApplicationRect {
    Q_OBJECT
public:
    /// parent: the owner (the pane); widget: the display's drawing widget.
    /// The colour is used both as fill and as fill while dragged.
    PaneRectControl(QObject* parent, QWidget* widget, const QRectF& applicationRect,
        kq::CoordinateSystem* coordinateSystem, const QColor& color,
        kq::OnScreenColorRect::RectFlags rectFlags, kq::OnScreenControl::ControlFlags controlFlags);
    ~PaneRectControl() override;

    /// The application rectangle in whole units, each edge truncated toward
    /// zero: left = x, top = y, right = x + width, bottom = y + height (no
    /// minus one), so (10.7, 20.2, 100.6, 50.5) gives left 10, top 20,
    /// right 111, bottom 70.
    QRect applRect() const;

    void setGeometry(const QRectF& rect) override;
    void updateGeometry(kq::CoordinateSystem* coordinateSystem, kq::SDeskewParams* deskew) override;

protected Q_SLOTS:
    /// Reads the on-screen rectangle back into applicationRect, its corners
    /// put onto the image's pixels (the coordinate system's
    /// applicationRect(), right and bottom at most its last pixel) when there
    /// is an image.
    void onChanged();
};

/// A polygon window, mapped through the deskew and lens-correction settings
/// in deskewParams. Created with an empty polygon it has no extent on screen
/// (null rect()) until the user draws it.
class CONFIGDIALOGS_EXPORT PanePolygonControl : public kq::OnScreenPolygonControl, public ApplicationPolygon {
    Q_OBJECT
public:
    /// parent: the owner (the pane); widget: the display's drawing widget.
    /// The polygon is mapped to the screen at once; an empty one leaves the
    /// window without extent.
    PanePolygonControl(QObject* parent, QWidget* widget, const QPolygonF& applicationPolygon,
        kq::CoordinateSystem* coordinateSystem, const kq::SDeskewParams& deskewParams, const QColor& color,
        kq::OnScreenPolygon::PolygonFlags polygonFlags, kq::OnScreenControl::ControlFlags controlFlags);
    ~PanePolygonControl() override;

    /// The application polygon, each point rounded to the nearest integer.
    QPolygon applPolygon() const;

    /// Scales the application polygon into rect (scaleBoundingRect) and maps
    /// it to the screen. applicationRect keeps the old bounding box until the
    /// next user edit reads the polygon back.
    void setGeometry(const QRectF& rect) override;
    void updateGeometry(kq::CoordinateSystem* coordinateSystem, kq::SDeskewParams* deskew) override;

protected Q_SLOTS:
    /// Reads the on-screen polygon back into applicationPolygon and its
    /// bounding box into applicationRect. Points that the lens model maps
    /// off the image are put onto its pixels, as for a rectangle, and the
    /// polygon is then mapped to the screen again.
    void onChanged();
};

/// A node's live video with editable windows over it (abstract: the concrete
/// panes choose the windows' colours and what a press on the free image
/// creates).
///
/// Windows are the display's rectangle and polygon controls owned by the
/// pane, newest first: window 0 is the one added last. Each window has a
/// delete button (":/Icons/delete_on.png", pressed ":/Icons/delete_pr.png")
/// at its top-right corner. The mouse edits windows; it never steers the
/// camera. A newly drawn window is selected. On the drawing widget, Tab and
/// Shift+Tab select the next and previous window, arrows move the selected
/// one by a pixel, Shift+arrows move its bottom-right corner, Delete erases
/// it; a polygon's vertices are inserted by a double click on an edge and
/// removed by a right click or by Delete once pressed (see
/// kq::OnScreenDisplay). Every such edit can be undone (undoStack()).
///
/// Index arguments: an index outside 0 .. count() - 1 yields null, false, -1
/// or nothing, as each accessor says; nothing crashes.
///
/// A repeating 1000 ms timer (child QTimer named "deskewPollTimer"), zoom
/// changes and frame-size changes run updateCoordinateSystem(), which adopts
/// the session's deskew settings when they changed and include lens
/// correction.
class CONFIGDIALOGS_EXPORT NodeWindowPane : public kq::NodeWidget {
    Q_OBJECT
public:
    /// A pane without session or windows, its video fitted to the pane, the
    /// camera not steerable from it.
    explicit NodeWindowPane(QWidget* parent = nullptr);
    ~NodeWindowPane() override;

    /// The mapping between image and screen coordinates, owned by the pane;
    /// never null.
    kq::CoordinateSystem* coordinateSystem() const { return m_coordinateSystem; }
    /// Whether the adopted deskew settings include lens correction (then new
    /// windows are polygons).
    bool hasLensCorrection() const;

    /// Fixed geometry without a session: the pane lets go of its session, the
    /// image is rect, the screen is the pane's rect() and the deskew settings
    /// are deskew. Existing windows are not re-mapped; the video is left as it
    /// is. The undo history is emptied and the pane loads (see undoStack()).
    void setCoordinateSystem(const QRectF& rect, const kq::SDeskewParams& deskew);
    /// Geometry of a node: the image is the session's imageRect(), the screen
    /// is the pane's rect(), the deskew settings are the node's, and the pane
    /// shows the node's video. Existing windows are not re-mapped. A null
    /// handle gives an empty image rectangle (the identity mapping), default
    /// deskew settings and the video of no node. The undo history is emptied
    /// and the pane loads (see undoStack()).
    void setCoordinateSystem(kqm::smart<kq::INodeConfigSession> session);

    /// Adds a rectangle window whose application rectangle is (left, top,
    /// right - left, bottom - top), so that applRect() gives rect back. With a
    /// mouse press event the user draws the window with that press's gesture;
    /// with null (stored windows) it is just added. Returns the new window,
    /// which is window 0.
    PaneRectControl* addRect(const QRect& rect, const QColor& color, QMouseEvent* event = nullptr);
    /// The same for a polygon window, mapped with the pane's deskew settings.
    PanePolygonControl* addPolygon(
        const QPolygon& polygon, const QColor& color, QMouseEvent* event = nullptr);

    /// The number of windows.
    int count() const;
    /// Window i, whatever its kind; null for an index out of range.
    kq::OnScreenRectControl* childAt(int index) const;
    using QWidget::childAt;
    /// Window i if it is of that kind; null if it is not or if i is out of
    /// range. applicationRectAt yields polygon windows too.
    ///@{
    PaneRectControl* rectControlAt(int index) const;
    PanePolygonControl* polyControlAt(int index) const;
    ApplicationRect* applicationRectAt(int index) const;
    ApplicationPolygon* applicationPolygonAt(int index) const;
    ///@}
    /// Whether window i is a polygon (false out of range).
    bool isPoly(int index) const;
    /// The index of the selected window, -1 if none is selected.
    int selected() const;
    /// The first window whose application rectangle equals rect, -1 if none.
    /// Coordinates are compared with a relative tolerance of 1e-12 (so 0
    /// equals only 0).
    int find(const QRectF& rect) const;
    /// Erases every window with its delete button (one undo step).
    void removeAll();

    /// The pane's undo history, owned by the pane (null only while the pane
    /// is being destroyed), for a dialog's Undo and Redo actions. Ctrl+Z
    /// undoes, Ctrl+Shift+Z and Ctrl+Y redo while the pane's drawing widget
    /// has the keyboard focus.
    ///
    /// Each user step is one command: a gesture on the drawing widget (a
    /// drag, a drawn window, a key), a setting written through a setter of a
    /// concrete pane, removeAll(). A step that leaves the windows as they were
    /// is not recorded. Undo and redo put the windows back exactly: their
    /// order, kind, image geometry and settings, and the selection.
    ///
    /// Loading is not a step: from construction and from each
    /// setCoordinateSystem() (which also empties the history) until the
    /// user's first press or key on the drawing widget, windows added and
    /// settings written are the node's stored state. Windows added with
    /// addRect or addPolygon without an event are never a step.
    QUndoStack* undoStack() const;

    /// The colour window i should have; an index out of range answers the
    /// colour of a window being drawn.
    virtual QColor colorFor(int index) const = 0;
    /// Gives window i the colour colorFor(i) (nothing if out of range).
    void updateColor(int index);
    /// Gives every window its colour.
    void updateColors();

    /// Switches editing on or off. Off: windows are greyed (gray, alpha 20)
    /// and take no input, a press on the free image adds nothing and selecting
    /// reports nothing. On: windows get their colours back and edits resume.
    void showOnScreenDisplay(bool on);

Q_SIGNALS:
    /// A window was drawn, changed or deleted by the user.
    void frameChanged();
    /// The user selected a window.
    void selectionChanged();
    /// The pane wrote the node's view mode or view into the session.
    void displayChanged(kqm::smart<kq::INodeConfigSession> session);

protected Q_SLOTS:
    /// A press on the free image while editing is on: the concrete pane adds
    /// a window drawn by that press's gesture.
    virtual void newFrame(QMouseEvent* event) = 0;
    /// Adopts the session's deskew settings if they changed and include lens
    /// correction: re-maps every window and mirrors the view mode
    /// (kq::SOP_DeskewMode) and view (kq::SOP_DeskewView) into the session's
    /// properties where present, emitting displayChanged for each property
    /// it changed. Nothing without a session.
    virtual void updateCoordinateSystem();

protected:
    /// Re-fits the screen rectangle to the pane and re-maps every window.
    void resizeEvent(QResizeEvent* event) override;

private:
    void addWindow(kq::OnScreenRectControl* control, QMouseEvent* event);

    kq::CoordinateSystem* m_coordinateSystem;
    kq::SDeskewParams m_deskewParams;
    kqm::smart<kq::INodeConfigSession> m_session;
    QTimer m_timer;
    kq::OnScreenDisplay* m_osd;
};

} // namespace kqgui

Q_DECLARE_METATYPE(kqm::smart<kq::INodeConfigSession>)
