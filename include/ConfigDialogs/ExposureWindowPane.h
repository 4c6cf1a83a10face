/// @file
/// A window pane for the windows in which a camera's exposure control measures
/// the image.
#pragma once

#include <ConfigDialogs/NodeWindowPane.h>
#include <ConfigDialogs/configdialogs_export.h>

#include <kq/Records.h>

namespace kqgui {

/// Each window is measured (included) or excluded from measurement, kept as
/// the dynamic property "excluded" (bool) on its control; a window never set
/// counts as included. Included windows are green, excluded ones red, both
/// with alpha 20. A press on the free image draws a new, included window: a
/// polygon when the pane has lens correction, a rectangle otherwise.
class CONFIGDIALOGS_EXPORT ExposureWindowPane : public NodeWindowPane {
    Q_OBJECT
public:
    /// An empty pane (see NodeWindowPane).
    explicit ExposureWindowPane(QWidget* parent = nullptr);
    ~ExposureWindowPane() override;

    /// Marks window i excluded or included and recolours it. An index out of
    /// range is ignored.
    void setExcluded(int index, bool excluded);
    /// Whether window i is excluded; false for an index out of range.
    bool isExcluded(int index) const;

    /// Red with alpha 20 for an excluded window; green with alpha 20 for an
    /// included one and for an index out of range (a window being drawn).
    QColor colorFor(int index) const override;

    using NodeWindowPane::find;
    /// The window matching a stored record: the record's rectangle, counted
    /// inclusively (width = right - left + 1), must equal the window's
    /// application rectangle (see NodeWindowPane::find) and the excluded flags
    /// must agree; -1 otherwise. A window just added with addRect from the
    /// same rectangle is one unit narrower and lower and does not match until
    /// its geometry is rewritten (a user edit or setGeometry).
    int find(const kq::ExposureWindow& window) const;

protected Q_SLOTS:
    /// Adds an included window drawn by the press's gesture.
    void newFrame(QMouseEvent* event) override;
};

} // namespace kqgui
