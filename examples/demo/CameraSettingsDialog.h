// The settings of one or several cameras, in tabs: how a client dialog binds
// its widgets to the cameras' configuration sessions with ConfigDialogs.
//
// The cycle, for the cameras given to setCameras():
// - revert(): every widget is reset, then updated once per camera: the first
//   camera's value is shown, each further camera's value is merged in. Where
//   the cameras differ a widget shows "<Multiple Values>" (or a partially
//   checked box); where a camera lacks a property the widget is disabled with
//   the tool tip "This feature is not available for the connected camera.".
// - apply(): every widget writes its value back into each camera's session.
//   A widget that shows "<Multiple Values>" or is disabled writes nothing, so
//   each camera keeps its own value there. Then the widgets are read again.
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

public Q_SLOTS:
    // Writes every widget back into each camera's session, then reads them
    // again.
    void apply();
    // Shows the cameras' current settings, dropping changes not applied.
    void revert();

Q_SIGNALS:
    // After apply() wrote the cameras' sessions.
    void applied();

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
    void applyTo(const QString& nodeId);
    // The window panes show the first camera and its windows.
    void loadWindows();
    void storeWindows();
    void windowsChanged();
    void updateExposureButtons();
    void showMotionWindow();
    void changeMotionWindow();
    void updateNetworkButtons();
    void showMasterPort();

    QStringList m_nodeIds;
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
    // The user changed a window since the panes were loaded; only then does
    // apply() store them, so entries the panes could not show survive.
    bool m_windowsChanged = false;

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
