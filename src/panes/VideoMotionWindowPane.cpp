// The video-motion window pane: detection windows whose colour shows their
// motion set and reference flag and whose opacity shows their lower
// threshold.
#include <ConfigDialogs/VideoMotionWindowPane.h>

#include "PaneUndo_p.h"
#include "WindowSettings_p.h"

namespace kqgui {

namespace {
    const char* const Reference = "reference";
    const char* const VMSet = "vm-set";
    const char* const Sensitivity = "sensitivity";
    const char* const MinThreshold = "min-threshold";
    const char* const MaxThreshold = "max-threshold";
}

VideoMotionWindowPane::VideoMotionWindowPane(QWidget* parent)
    : NodeWindowPane(parent)
{
}

VideoMotionWindowPane::~VideoMotionWindowPane() = default;

void VideoMotionWindowPane::setReference(int index, bool reference)
{
    const PaneUndoStep step(this);
    setWindowSetting(this, index, Reference, reference);
    updateColor(index);
}

void VideoMotionWindowPane::setVMSet(int index, kq::EVideoMotionSet set)
{
    const PaneUndoStep step(this);
    setWindowSetting(this, index, VMSet, static_cast<int>(set));
    updateColor(index);
}

void VideoMotionWindowPane::setVMSet1(int index, bool b) { setVMSet(index, b ? kq::VMS_Set1 : kq::VMS_Set2); }

void VideoMotionWindowPane::setVMSet2(int index, bool b) { setVMSet(index, b ? kq::VMS_Set2 : kq::VMS_Set1); }

void VideoMotionWindowPane::setSensitivity(int index, int sensitivity)
{
    const PaneUndoStep step(this);
    setWindowSetting(this, index, Sensitivity, sensitivity);
    updateColor(index);
}

void VideoMotionWindowPane::setThreshold(int index, int minThreshold, int maxThreshold)
{
    const PaneUndoStep step(this);
    setWindowSetting(this, index, MinThreshold, minThreshold);
    setWindowSetting(this, index, MaxThreshold, maxThreshold);
    updateColor(index);
}

bool VideoMotionWindowPane::isReference(int index) const
{
    return windowSetting(this, index, Reference).toBool();
}

kq::EVideoMotionSet VideoMotionWindowPane::vmSet(int index) const
{
    return static_cast<kq::EVideoMotionSet>(windowSetting(this, index, VMSet).toInt());
}

int VideoMotionWindowPane::sensitivity(int index) const
{
    return windowSetting(this, index, Sensitivity).toInt();
}

int VideoMotionWindowPane::threshold(int index) const
{
    return windowSetting(this, index, MinThreshold).toInt();
}

int VideoMotionWindowPane::maxThreshold(int index) const
{
    return windowSetting(this, index, MaxThreshold).toInt();
}

QColor VideoMotionWindowPane::colorFor(kq::EVideoMotionSet set, int threshold, bool reference)
{
    QColor color;
    if (set == kq::VMS_Set2)
        color = reference ? QColor(Qt::green) : QColor(Qt::blue);
    else
        color = reference ? QColor(Qt::yellow) : QColor(Qt::white);
    color.setAlpha(threshold < 1 ? 2 : static_cast<int>(threshold * 2.5));
    return color;
}

QColor VideoMotionWindowPane::colorFor(int index) const
{
    QColor color;
    if (index < 0 || index >= count()) {
        color = Qt::red;
        color.setAlpha(20);
    } else if (!childAt(index)->isEnabled()) {
        color = Qt::gray;
        color.setAlpha(1);
    } else {
        color = colorFor(vmSet(index), threshold(index), isReference(index));
    }
    return color;
}

void VideoMotionWindowPane::newFrame(QMouseEvent* event)
{
    addDrawnWindow(this, colorFor(-1), event);
    if (count() > 1) {
        // The new window (0) goes on with the settings of the one drawn
        // before it (1).
        const int maxThreshold = this->maxThreshold(1);
        setThreshold(0, threshold(1), maxThreshold);
        setSensitivity(0, sensitivity(1));
        setReference(0, isReference(1));
        setVMSet(0, vmSet(1));
    } else {
        setThreshold(0, 25, 100);
        setSensitivity(0, 20);
        setReference(0, false);
        setVMSet(0, kq::VMS_Set1);
    }
}

} // namespace kqgui
