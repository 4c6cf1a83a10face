// The exposure and motion windows of a camera, moved between the window panes
// and the node attributes that store them (see CameraSettingsDialog.h for the
// JSON shape).
#pragma once

#include <QVariantList>

namespace kqgui {
class ExposureWindowPane;
class VideoMotionWindowPane;
}

namespace demo {

// Replace the pane's windows by the stored ones, in order: stored window i
// becomes the pane's window i. An entry without a valid "rect" (four integers,
// right >= left, bottom >= top) or "polygon" (three or more [x, y] pairs) is
// skipped with a logged warning naming `camera`; missing settings take the
// values a newly drawn window gets.
void loadExposureWindows(kqgui::ExposureWindowPane* pane, const QVariantList& windows, const QString& camera);
void loadMotionWindows(
    kqgui::VideoMotionWindowPane* pane, const QVariantList& windows, const QString& camera);

// The pane's windows in the stored form, window 0 first. A window not drawn
// yet (no extent) is left out.
QVariantList exposureWindows(kqgui::ExposureWindowPane* pane);
QVariantList motionWindows(kqgui::VideoMotionWindowPane* pane);

} // namespace demo
