// The node window pane: a node's live video with editable windows over it,
// the mapping between pane pixels and image coordinates, and the polling of
// the node's deskew settings.
#include <ConfigDialogs/NodeWindowPane.h>

#include "NodeWindowPane_p.h"
#include "PaneUndo_p.h"

#include <kq/Connect.h>
#include <kq/Property.h>

#include <QMouseEvent>
#include <QRegion>
#include <QTimer>

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
    , d(new NodeWindowPanePrivate)
{
    d->coordinateSystem = new kq::CoordinateSystem(this);
    d->osd = new kq::OnScreenDisplay(this);
    qRegisterMetaType<kqm::smart<kq::INodeConfigSession>>("kqm::smart<kq::INodeConfigSession>");

    setAttribute(Qt::WA_MouseTracking);
    setOnScreenDisplay(d->osd);
    setEnableStepPTZ(false, false);
    clearOnScreenDisplay();

    d->coordinateSystem->setGridSnap(QRectF(0, 0, 1.0, 1.0));

    // On a pane the mouse edits windows and never steers the camera.
    setDisplayFlag(kq::NodeWidget::DF_Caption, false);
    setEnableStepPTZ(false, false);
    setEnableContinuousPTZ(false, false);

    // A zoom or frame-size change only makes the pane look at the deskew
    // settings again; the screen rectangle follows the pane's size alone.
    kq::connect(this, SIGNAL(zoomChanged(kq::NodeID, int, int, int)), this, SLOT(updateCoordinateSystem()));
    kq::connect(this, SIGNAL(frameSizeChanged(kq::NodeID, QSize)), this, SLOT(updateCoordinateSystem()));
    d->deskewPollTimer = new QTimer(this);
    d->deskewPollTimer->setObjectName(QStringLiteral("deskewPollTimer"));
    kq::connect(d->deskewPollTimer, SIGNAL(timeout()), this, SLOT(updateCoordinateSystem()));
    d->deskewPollTimer->setSingleShot(false);
    d->deskewPollTimer->start(1000);

    // Last: it listens to the display set up above.
    d->history = new PaneUndoHistory(this);
}

NodeWindowPane::~NodeWindowPane()
{
    // The history goes before the state it looks the pane up through; the
    // other children (the display and its windows) hold nothing of d.
    PaneUndoHistory* history = d->history;
    d->history = nullptr;
    delete history;
}

kq::CoordinateSystem* NodeWindowPane::coordinateSystem() const { return d->coordinateSystem; }

bool NodeWindowPane::hasLensCorrection() const { return d->deskewParams.hasLensCorrection(); }

void NodeWindowPane::setCoordinateSystem(const QRectF& rect, const kq::SDeskewParams& deskew)
{
    d->session.clear();
    if (PaneUndoHistory* history = d->history)
        history->reset();
    d->coordinateSystem->setApplicationRect(rect);
    d->coordinateSystem->setScreenRect(this->rect());
    d->deskewParams = deskew;
}

void NodeWindowPane::setCoordinateSystem(kqm::smart<kq::INodeConfigSession> session)
{
    d->session = session;
    if (PaneUndoHistory* history = d->history)
        history->reset();
    d->coordinateSystem->setApplicationRect(session.null() ? QRectF() : session->imageRect());
    d->coordinateSystem->setScreenRect(rect());
    d->deskewParams = getDeskewParams(session);
    // Last: showing the node may announce a new frame size, which polls the
    // deskew settings just adopted and so changes nothing.
    setSession(session);
}

PaneRectControl* NodeWindowPane::addRect(const QRect& rect, const QColor& color, QMouseEvent* event)
{
    // right - left and bottom - top, so that applRect() gives rect back.
    const QRectF applicationRect(
        rect.left(), rect.top(), rect.right() - rect.left(), rect.bottom() - rect.top());
    auto* control = new PaneRectControl(this, d->osd->widget(), applicationRect, d->coordinateSystem, color,
        WindowRectFlags, WindowControlFlags);
    addWindow(control, event);
    return control;
}

PanePolygonControl* NodeWindowPane::addPolygon(
    const QPolygon& polygon, const QColor& color, QMouseEvent* event)
{
    auto* control = new PanePolygonControl(this, d->osd->widget(), QPolygonF(polygon), d->coordinateSystem,
        d->deskewParams, color, WindowPolygonFlags, WindowControlFlags);
    addWindow(control, event);
    return control;
}

void NodeWindowPane::addWindow(kq::OnScreenRectControl* control, QMouseEvent* event)
{
    control->bounded = true;
    control->bounds = QRegion(rect());
    auto* button = new kq::OnScreenPushControl(this, d->osd->widget(),
        QStringLiteral(":/Icons/delete_on.png"), QStringLiteral(":/Icons/delete_pr.png"),
        Qt::AlignRight | Qt::AlignTop, QPoint(-2, 2), control, WindowControlFlags);
    kq::connect(control, SIGNAL(emptied(kq::OnScreenControl*)), d->osd, SLOT(erase(kq::OnScreenControl*)));
    kq::connect(button, SIGNAL(clicked(kq::OnScreenControl*)), d->osd, SLOT(erase(kq::OnScreenControl*)));
    d->osd->push_back(QList<kq::OnScreenControl*>() << control << button, event);
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

int NodeWindowPane::count() const { return d->osd->rect_controls(owner(this)).size(); }

kq::OnScreenRectControl* NodeWindowPane::childAt(int index) const
{
    return d->osd->rect_controls(owner(this)).value(index);
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
    kq::OnScreenRectControl* current = d->osd->rect_control(owner(this));
    return current ? d->osd->rect_controls(owner(this)).indexOf(current) : -1;
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
    d->osd->clear(this);
}

QUndoStack* NodeWindowPane::undoStack() const
{
    PaneUndoHistory* history = d->history;
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
    d->osd->enabled = on;
    d->osd->update();
    const int n = count();
    for (int i = 0; i < n; ++i) {
        kq::OnScreenRectControl* window = childAt(i);
        window->setEnabled(on);
        QColor grey(Qt::gray);
        grey.setAlpha(20);
        setWindowColor(window, on ? colorFor(i) : grey);
    }
    // Disconnect first, so that switching on twice connects once.
    disconnect(d->osd, SIGNAL(mousePressed(QMouseEvent*)), this, SLOT(newFrame(QMouseEvent*)));
    disconnect(d->osd, SIGNAL(raised(kq::OnScreenControl*)), this, SIGNAL(selectionChanged()));
    if (on) {
        kq::connect(d->osd, SIGNAL(mousePressed(QMouseEvent*)), this, SLOT(newFrame(QMouseEvent*)));
        kq::connect(d->osd, SIGNAL(raised(kq::OnScreenControl*)), this, SIGNAL(selectionChanged()));
    }
}

void NodeWindowPane::updateCoordinateSystem()
{
    if (d->session.null())
        return;
    const kq::SDeskewParams params = getDeskewParams(d->session);
    if (!(params != d->deskewParams))
        return;
    // Only lens correction changes how windows map; other changes wait
    // until it is on.
    if (!params.hasLensCorrection())
        return;
    d->deskewParams = params;
    // Taken once for the loop (asking for window i alone copies the list each
    // time). Mapping emits nothing, so no window goes away meanwhile.
    const QList<kq::OnScreenRectControl*> windows = d->osd->rect_controls(this);
    for (int i = windows.size() - 1; i >= 0; --i) {
        if (ApplicationRect* window = applicationGeometry(windows.at(i)))
            window->updateGeometry(d->coordinateSystem, &d->deskewParams);
    }

    if (kq::StringOptionsProperty* mode
        = d->session->property(kq::SOP_DeskewMode, kq::HasProperties::k_contextIndexDefault)) {
        if (mode->value().getSelectedValue() != params.mode) {
            mode->value().setSelectedValue(params.mode);
            mode->announceChange();
            Q_EMIT displayChanged(d->session);
        }
    }
    if (kq::StringOptionsProperty* view
        = d->session->property(kq::SOP_DeskewView, kq::HasProperties::k_contextIndexDefault)) {
        if (view->value().selectedIndex != params.view) {
            view->value().setSelectedIndex(params.view);
            view->announceChange();
            Q_EMIT displayChanged(d->session);
        }
    }
}

void NodeWindowPane::resizeEvent(QResizeEvent* event)
{
    kq::NodeWidget::resizeEvent(event);
    d->coordinateSystem->setScreenRect(rect());
    const QList<kq::OnScreenRectControl*> windows = d->osd->rect_controls(this);
    for (kq::OnScreenRectControl* control : windows) {
        if (ApplicationRect* window = applicationGeometry(control))
            window->updateGeometry(d->coordinateSystem, nullptr);
    }
}

} // namespace kqgui
