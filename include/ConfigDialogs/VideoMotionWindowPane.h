/// @file
/// A window pane for a camera's video-motion detection windows.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>
#include <ConfigDialogs/configdialogs_export.h>

#include <kq/Records.h>

namespace kqgui {

/// Each window carries, as dynamic properties on its control, a motion set
/// ("vm-set", int), a reference flag ("reference", bool), a sensitivity
/// ("sensitivity", int) and two thresholds ("min-threshold",
/// "max-threshold", int); a setting never set reads as 0 or false. The
/// colour shows the set and the reference flag, the opacity the lower
/// threshold. Values are not range-checked: the dialogs choose the ranges.
///
/// A press on the free image draws a new window (a polygon when the pane has
/// lens correction, a rectangle otherwise) that takes over the settings of
/// the previously newest window, or gets the defaults when it is the only
/// one: thresholds 25 and 100, sensitivity 20, no reference, set 1.
///
/// Setters ignore an index out of range; getters answer 0 or false for it.
class CONFIGDIALOGS_EXPORT VideoMotionWindowPane : public NodeWindowPane {
    Q_OBJECT
public:
    /// An empty pane (see NodeWindowPane).
    explicit VideoMotionWindowPane(QWidget* parent = nullptr);
    ~VideoMotionWindowPane() override;

    /// Each setter writes its setting on window i and recolours the window.
    ///@{
    void setReference(int index, bool reference);
    void setVMSet(int index, kq::EVideoMotionSet set);
    ///@}
    /// Set 1 when b is true, set 2 otherwise.
    void setVMSet1(int index, bool b);
    /// Set 2 when b is true, set 1 otherwise.
    void setVMSet2(int index, bool b);
    /// Writes "sensitivity".
    void setSensitivity(int index, int sensitivity);
    /// Writes "min-threshold", then "max-threshold".
    void setThreshold(int index, int minThreshold, int maxThreshold);

    /// The settings of window i: reference flag, motion set, sensitivity.
    ///@{
    bool isReference(int index) const;
    kq::EVideoMotionSet vmSet(int index) const;
    int sensitivity(int index) const;
    ///@}
    /// The lower threshold.
    int threshold(int index) const;
    /// The upper threshold.
    int maxThreshold(int index) const;

    /// Hue: set 2 green (reference) or blue; any other set yellow (reference)
    /// or white. Alpha: 2 for a threshold below 1, else threshold * 2.5
    /// truncated (10 -> 25, 25 -> 62, 100 -> 250). A threshold above 102 gives
    /// an alpha above 255, which QColor clamps to 255 with a warning.
    static QColor colorFor(kq::EVideoMotionSet set, int threshold, bool reference);
    /// Red with alpha 20 for an index out of range (a window being drawn);
    /// gray with alpha 1 for a disabled window; else the colour of its
    /// settings.
    QColor colorFor(int index) const override;

protected Q_SLOTS:
    /// Adds a window drawn by the press's gesture, with the settings of the
    /// previously newest window or the defaults.
    void newFrame(QMouseEvent* event) override;
};

} // namespace kqgui
