// The exposure window pane: windows that the camera's exposure control
// measures (green) or leaves out (red).
#include <ConfigDialogs/ExposureWindowPane.h>

#include "PaneUndo_p.h"
#include "WindowSettings_p.h"

namespace kqgui {

namespace {
    const char* const Excluded = "excluded";
}

ExposureWindowPane::ExposureWindowPane(QWidget* parent)
    : NodeWindowPane(parent)
{
}

ExposureWindowPane::~ExposureWindowPane() = default;

void ExposureWindowPane::setExcluded(int index, bool excluded)
{
    const PaneUndoStep step(this);
    setWindowSetting(this, index, Excluded, excluded);
    updateColor(index);
}

bool ExposureWindowPane::isExcluded(int index) const { return windowSetting(this, index, Excluded).toBool(); }

QColor ExposureWindowPane::colorFor(int index) const
{
    QColor color = index >= 0 && index < count() && isExcluded(index) ? QColor(Qt::red) : QColor(Qt::green);
    color.setAlpha(20);
    return color;
}

int ExposureWindowPane::find(const kq::ExposureWindow& window) const
{
    const QRect r = window.getCoords();
    const int index = find(QRectF(r.left(), r.top(), r.right() - r.left() + 1, r.bottom() - r.top() + 1));
    if (index == -1 || isExcluded(index) != window.isExcluded())
        return -1;
    return index;
}

void ExposureWindowPane::newFrame(QMouseEvent* event)
{
    // Every new window starts included.
    addDrawnWindow(this, colorFor(-1), event);
}

} // namespace kqgui
