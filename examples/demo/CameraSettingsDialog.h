// The settings of one or several cameras, in tabs: how a client dialog binds
// its widgets to the cameras' configuration sessions with ConfigDialogs.
//
// The cycle, for the cameras given to setCameras():
// - revert(): every widget is reset, then updated once per camera: the first
//   camera's value is shown, each further camera's value is merged in. Where
//   the cameras differ a widget shows "<Multiple Values>" (or a partially
//   checked box); where a camera lacks a property the widget is disabled with
//   the tool tip "This feature is not available for the connected camera.".
// - apply(): only what the user changed since the widgets were filled is
//   written, by a kqgui::ChangeTracker. A widget that shows "<Multiple
//   Values>" or is disabled writes nothing, so each camera keeps its own value
//   there; the events list and the alarm receivers write the items the user
//   toggled, added, removed or moved, each camera keeping its other entries.
//   Then the widgets are read again.
// Apply and Revert are enabled only while there are changes not applied.
//
// The exposure and motion windows are edited for the first camera only. They
// are kept in its session as attributes (keys of the node in the camera
// document), one JSON object per window:
//   "exposureWindows": [ { "rect": [left, top, right, bottom],
//                          "excluded": false } ]
//   "motionWindows":   [ { "rect": [left, top, right, bottom], "set": 1,
//                          "reference": false, "sensitivity": 20,
//                          "minThreshold": 25, "maxThreshold": 100 } ]
// Rectangles are in the camera image's pixels, right and bottom inclusive (as
// QRect). "set" is the motion set, 1 or 2. A window of a camera with lens
// correction may carry "polygon": [[x, y], ...] instead of "rect".
#pragma once

#include <QStringList>
#include <QVector>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QSpinBox;
class QTabWidget;

namespace kqgui {
class ChangeTracker;
class ExposureWindowPane;
class IpPortTreeWidget;
class VideoMotionWindowPane;
}

namespace demo {

class CameraSettingsDialog : public QWidget {
    Q_OBJECT
public:
    explicit CameraSettingsDialog(QWidget* parent = nullptr);
    ~CameraSettingsDialog() override;

    // The node identifiers (of kq::NodeDB::getDB()) being edited, in order;
    // unknown identifiers are skipped. No camera disables the tabs.
    void setCameras(const QStringList& nodeIds);
    QStringList cameras() const { return m_nodeIds; }

    QTabWidget* tabs() const { return m_tabs; }
    // Makes the tab whose title (without '&') equals name, compared without
    // case, current; false when there is none.
    bool showTab(const QString& name);

    // Whether the user changed something that is not applied yet.
    bool hasChanges() const;

public Q_SLOTS:
    // Writes what the user changed into the cameras' sessions, then reads
    // them again.
    void apply();
    // Shows the cameras' current settings, dropping changes not applied.
    void revert();

Q_SIGNALS:
    // After apply() wrote the cameras' sessions.
    void applied();
    // hasChanges() flipped.
    void changesChanged(bool hasChanges);

private:
    QWidget* createGeneralTab();
    QWidget* createVideoTab();
    QWidget* createExposureTab();
    QWidget* createMotionTab();
    QWidget* createEventsTab();
    QWidget* createNetworkTab();

    void resetWidgets();
    void updateWidgets(const QString& nodeId);
    // The steps that need every camera at once.
    void finishUpdate();
    void trackWidgets();
    void showChanges(bool changes);
    // The window panes show the first camera and its windows.
    void loadWindows();
    void storeExposureWindows();
    void storeMotionWindows();
    void windowsChanged();
    void updateExposureButtons();
    void showMotionWindow();
    void changeMotionWindow();
    void updateNetworkButtons();
    void showMasterPort();

    QStringList m_nodeIds;
    kqgui::ChangeTracker* m_tracker = nullptr;
    // While the widgets are filled from the cameras.
    bool m_filling = false;
    // What changesChanged() announced last.
    bool m_changesShown = false;
    QTabWidget* m_tabs = nullptr;
    QPushButton* m_applyButton = nullptr;
    QPushButton* m_revertButton = nullptr;

    // General
    QLineEdit* m_name = nullptr;
    QLabel* m_modelFirmware = nullptr;
    QCheckBox* m_statusLed = nullptr;
    QComboBox* m_mirror = nullptr;
    QCheckBox* m_wideDynamicRange = nullptr;

    // Video
    QComboBox* m_resolution = nullptr;
    QComboBox* m_frameRate = nullptr;
    QSpinBox* m_compression = nullptr;
    QSpinBox* m_keyFrameInterval = nullptr;
    QVector<QRadioButton*> m_codecButtons;
    QSpinBox* m_httpPort = nullptr;

    // Exposure and motion windows of the first camera
    QLabel* m_exposureCamera = nullptr;
    kqgui::ExposureWindowPane* m_exposurePane = nullptr;
    QPushButton* m_exclude = nullptr;
    QPushButton* m_include = nullptr;
    QPushButton* m_removeExposureWindows = nullptr;
    QLabel* m_motionCamera = nullptr;
    kqgui::VideoMotionWindowPane* m_motionPane = nullptr;
    QSpinBox* m_sensitivity = nullptr;
    QSpinBox* m_minThreshold = nullptr;
    QSpinBox* m_maxThreshold = nullptr;
    QCheckBox* m_reference = nullptr;
    QComboBox* m_motionSet = nullptr;
    QPushButton* m_removeMotionWindows = nullptr;

    // Events
    QListWidget* m_events = nullptr;
    QVector<QString> m_enabledEvents; // on any of the cameras
    QVector<QString> m_configurableEvents; // on all of the cameras

    // Network
    kqgui::IpPortTreeWidget* m_receivers = nullptr;
    QPushButton* m_addReceiver = nullptr;
    QPushButton* m_removeReceiver = nullptr;
    QPushButton* m_upReceiver = nullptr;
    QPushButton* m_downReceiver = nullptr;
    QLabel* m_masterPort = nullptr;
};

} // namespace demo
