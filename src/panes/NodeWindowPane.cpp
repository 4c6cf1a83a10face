// The node window pane: a node's live video with editable windows over it,
// the mapping between pane pixels and image coordinates, and the polling of
// the node's deskew settings.
#include <ConfigDialogs/NodeWindowPane.h>

#include "PaneUndo_p.h"

#include <kq/Connect.h>
#include <kq/Property.h>

#include <QMouseEvent>

#include <algorithm>
#include <cmath>

namespace kqgui {

namespace {
    const kq::OnScreenControl::ControlFlags WindowControlFlags(kq::OnScreenControl::Selectable
        | kq::OnScreenControl::Movable | kq::OnScreenControl::Resizable | kq::OnScreenControl::DeleteKey
        | kq::OnScreenControl::ArrowKeys);
    const kq::OnScreenColorRect::RectFlags WindowRectFlags(kq::OnScreenColorRect::Outline);
    const kq::OnScreenPolygon::PolygonFlags WindowPolygonFlags(kq::OnScreenPolygon::Closed
        | kq::OnScreenPolygon::Outline | kq::OnScreenPolygon::ClickToDraw
        | kq::OnScreenPolygon::VertexHandles);

    // Equal up to a relative 1e-12: 0 equals only 0.
    bool nearlyEqual(double a, double b)
    {
        return std::abs(a - b) <= 1e-12 * std::min(std::abs(a), std::abs(b));
    }

    // The display selects windows by owner; asking does not change the pane.
    QObject* owner(const NodeWindowPane* pane) { return const_cast<NodeWindowPane*>(pane); }

    void setWindowColor(kq::OnScreenRectControl* window, const QColor& color)
    {
        if (auto* polygon = qobject_cast<kq::OnScreenPolygonControl*>(window))
            polygon->OnScreenPolygon::setColor(color);
        else if (window)
            window->OnScreenColorRect::setColor(color);
    }
}

NodeWindowPane::NodeWindowPane(QWidget* parent)
    : kq::NodeWidget(parent, kq::NodeWidget::NVM_Fit, QColor(120, 120, 120, 255))
    , m_coordinateSystem(new kq::CoordinateSystem(this))
    , m_osd(new kq::OnScreenDisplay(this))
{
    qRegisterMetaType<kqm::smart<kq::INodeConfigSession>>("kqm::smart<kq::INodeConfigSession>");

    setAttribute(Qt::WA_MouseTracking);
    setOnScreenDisplay(m_osd);
    setEnableStepPTZ(false, false);
    clearOnScreenDisplay();

    m_coordinateSystem->setGridSnap(QRectF(0, 0, 1.0, 1.0));

    // On a pane the mouse edits windows and never steers the camera.
    setDisplayFlag(kq::NodeWidget::DF_Caption, false);
    setEnableStepPTZ(false, false);
    setEnableContinuousPTZ(false, false);

    // A zoom or frame-size change only makes the pane look at the deskew
    // settings again; the screen rectangle follows the pane's size alone.
    kq::connect(this, SIGNAL(zoomChanged(kq::NodeID, int, int, int)), this, SLOT(updateCoordinateSystem()));
    kq::connect(this, SIGNAL(frameSizeChanged(kq::NodeID, QSize)), this, SLOT(updateCoordinateSystem()));
    m_timer.setParent(this);
    m_timer.setObjectName(QStringLiteral("deskewPollTimer"));
    kq::connect(&m_timer, SIGNAL(timeout()), this, SLOT(updateCoordinateSystem()));
    m_timer.setSingleShot(false);
    m_timer.start(1000);

    // Last: it listens to the display set up above.
    new PaneUndoHistory(this);
}

NodeWindowPane::~NodeWindowPane() = default;

bool NodeWindowPane::hasLensCorrection() const { return m_deskewParams.hasLensCorrection(); }

void NodeWindowPane::setCoordinateSystem(const QRectF& rect, const kq::SDeskewParams& deskew)
{
    m_session.clear();
    if (PaneUndoHistory* history = PaneUndoHistory::of(this))
        history->reset();
    m_coordinateSystem->setApplicationRect(rect);
    m_coordinateSystem->setScreenRect(this->rect());
    m_deskewParams = deskew;
}

void NodeWindowPane::setCoordinateSystem(kqm::smart<kq::INodeConfigSession> session)
{
    m_session = session;
    if (PaneUndoHistory* history = PaneUndoHistory::of(this))
        history->reset();
    m_coordinateSystem->setApplicationRect(session.null() ? QRectF() : session->imageRect());
    m_coordinateSystem->setScreenRect(rect());
    m_deskewParams = getDeskewParams(session);
    // Last: showing the node may announce a new frame size, which polls the
    // deskew settings just adopted and so changes nothing.
    setSession(session);
}

PaneRectControl* NodeWindowPane::addRect(const QRect& rect, const QColor& color, QMouseEvent* event)
{
    // right - left and bottom - top, so that applRect() gives rect back.
    const QRectF applicationRect(
        rect.left(), rect.top(), rect.right() - rect.left(), rect.bottom() - rect.top());
    auto* control = new PaneRectControl(this, m_osd->widget(), applicationRect, m_coordinateSystem, color,
        WindowRectFlags, WindowControlFlags);
    addWindow(control, event);
    return control;
}

PanePolygonControl* NodeWindowPane::addPolygon(
    const QPolygon& polygon, const QColor& color, QMouseEvent* event)
{
    auto* control = new PanePolygonControl(this, m_osd->widget(), QPolygonF(polygon), m_coordinateSystem,
        m_deskewParams, color, WindowPolygonFlags, WindowControlFlags);
    addWindow(control, event);
    return control;
}

void NodeWindowPane::addWindow(kq::OnScreenRectControl* control, QMouseEvent* event)
{
    // The control bounded itself to the image on screen when it was made;
    // the pane's own rect() would let it be dragged into the letterbox, off
    // the image.
    auto* button = new kq::OnScreenPushControl(this, m_osd->widget(), QStringLiteral(":/Icons/delete_on.png"),
        QStringLiteral(":/Icons/delete_pr.png"), Qt::AlignRight | Qt::AlignTop, QPoint(-2, 2), control,
        WindowControlFlags);
    kq::connect(control, SIGNAL(emptied(kq::OnScreenControl*)), m_osd, SLOT(erase(kq::OnScreenControl*)));
    kq::connect(button, SIGNAL(clicked(kq::OnScreenControl*)), m_osd, SLOT(erase(kq::OnScreenControl*)));
    m_osd->push_back(QList<kq::OnScreenControl*>() << control << button, event);
    kq::connect(control, SIGNAL(created(QRect)), this, SIGNAL(frameChanged()));
    kq::connect(control, SIGNAL(changed()), this, SIGNAL(frameChanged()));
    kq::connect(control, SIGNAL(deleted()), this, SIGNAL(frameChanged()));
}

namespace {
    // The application geometry of a window. The pane's own two window classes
    // are found through their meta-objects, much faster than the cross-cast
    // from the display's class to ApplicationRect, which re-mapping every
    // window on each resize would otherwise do once per window.
    ApplicationRect* applicationGeometry(kq::OnScreenRectControl* control)
    {
        if (auto* polygon = qobject_cast<PanePolygonControl*>(control))
            return polygon;
        if (auto* rect = qobject_cast<PaneRectControl*>(control))
            return rect;
        return dynamic_cast<ApplicationRect*>(control);
    }
}

int NodeWindowPane::count() const { return m_osd->rect_controls(owner(this)).size(); }

kq::OnScreenRectControl* NodeWindowPane::childAt(int index) const
{
    return m_osd->rect_controls(owner(this)).value(index);
}

PaneRectControl* NodeWindowPane::rectControlAt(int index) const
{
    return dynamic_cast<PaneRectControl*>(childAt(index));
}

PanePolygonControl* NodeWindowPane::polyControlAt(int index) const
{
    return dynamic_cast<PanePolygonControl*>(childAt(index));
}

ApplicationRect* NodeWindowPane::applicationRectAt(int index) const
{
    return applicationGeometry(childAt(index));
}

ApplicationPolygon* NodeWindowPane::applicationPolygonAt(int index) const
{
    return dynamic_cast<ApplicationPolygon*>(childAt(index));
}

bool NodeWindowPane::isPoly(int index) const { return polyControlAt(index) != nullptr; }

int NodeWindowPane::selected() const
{
    kq::OnScreenRectControl* current = m_osd->rect_control(owner(this));
    return current ? m_osd->rect_controls(owner(this)).indexOf(current) : -1;
}

int NodeWindowPane::find(const QRectF& rect) const
{
    const int n = count();
    for (int i = 0; i < n; ++i) {
        const ApplicationRect* window = applicationRectAt(i);
        if (!window)
            continue;
        const QRectF& r = window->applicationRect;
        if (nearlyEqual(r.x(), rect.x()) && nearlyEqual(r.y(), rect.y())
            && nearlyEqual(r.width(), rect.width()) && nearlyEqual(r.height(), rect.height()))
            return i;
    }
    return -1;
}

void NodeWindowPane::removeAll()
{
    const PaneUndoStep step(this);
    m_osd->clear(this);
}

QUndoStack* NodeWindowPane::undoStack() const
{
    PaneUndoHistory* history = PaneUndoHistory::of(this);
    return history ? history->stack() : nullptr;
}

void NodeWindowPane::updateColor(int index)
{
    kq::OnScreenRectControl* window = childAt(index);
    if (window)
        setWindowColor(window, colorFor(index));
}

void NodeWindowPane::updateColors()
{
    for (int i = count() - 1; i >= 0; --i)
        updateColor(i);
}

void NodeWindowPane::showOnScreenDisplay(bool on)
{
    m_osd->enabled = on;
    m_osd->update();
    const int n = count();
    for (int i = 0; i < n; ++i) {
        kq::OnScreenRectControl* window = childAt(i);
        window->setEnabled(on);
        QColor grey(Qt::gray);
        grey.setAlpha(20);
        setWindowColor(window, on ? colorFor(i) : grey);
    }
    // Disconnect first, so that switching on twice connects once.
    disconnect(m_osd, SIGNAL(mousePressed(QMouseEvent*)), this, SLOT(newFrame(QMouseEvent*)));
    disconnect(m_osd, SIGNAL(raised(kq::OnScreenControl*)), this, SIGNAL(selectionChanged()));
    if (on) {
        kq::connect(m_osd, SIGNAL(mousePressed(QMouseEvent*)), this, SLOT(newFrame(QMouseEvent*)));
        kq::connect(m_osd, SIGNAL(raised(kq::OnScreenControl*)), this, SIGNAL(selectionChanged()));
    }
}

void NodeWindowPane::updateCoordinateSystem()
{
    if (m_session.null())
        return;
    const kq::SDeskewParams params = getDeskewParams(m_session);
    if (!(params != m_deskewParams))
        return;
    // Only lens correction changes how windows map; other changes wait
    // until it is on.
    if (!params.hasLensCorrection())
        return;
    m_deskewParams = params;
    // Taken once for the loop (asking for window i alone copies the list each
    // time). Mapping emits nothing, so no window goes away meanwhile.
    const QList<kq::OnScreenRectControl*> windows = m_osd->rect_controls(this);
    for (int i = windows.size() - 1; i >= 0; --i) {
        if (ApplicationRect* window = applicationGeometry(windows.at(i)))
            window->updateGeometry(m_coordinateSystem, &m_deskewParams);
    }

    if (kq::StringOptionsProperty* mode
        = m_session->property(kq::SOP_DeskewMode, kq::HasProperties::k_contextIndexDefault)) {
        if (mode->value().getSelectedValue() != params.mode) {
            mode->value().setSelectedValue(params.mode);
            mode->announceChange();
            Q_EMIT displayChanged(m_session);
        }
    }
    if (kq::StringOptionsProperty* view
        = m_session->property(kq::SOP_DeskewView, kq::HasProperties::k_contextIndexDefault)) {
        if (view->value().selectedIndex != params.view) {
            view->value().setSelectedIndex(params.view);
            view->announceChange();
            Q_EMIT displayChanged(m_session);
        }
    }
}

void NodeWindowPane::resizeEvent(QResizeEvent* event)
{
    kq::NodeWidget::resizeEvent(event);
    m_coordinateSystem->setScreenRect(rect());
    const QList<kq::OnScreenRectControl*> windows = m_osd->rect_controls(this);
    for (kq::OnScreenRectControl* control : windows) {
        if (ApplicationRect* window = applicationGeometry(control))
            window->updateGeometry(m_coordinateSystem, nullptr);
    }
}

} // namespace kqgui
