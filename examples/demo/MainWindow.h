// The demo's main window: the cameras on the left (several may be selected),
// their settings on the right, and the File menu to open and save camera
// documents. The title carries "*" while the settings have changes not
// applied; selecting other cameras, opening another document or closing the
// window then asks whether to apply them, discard them or stay.
#pragma once

#include "CameraDocument.h"

#include <QMainWindow>
#include <QStringList>

class QLabel;
class QListWidget;
class QPushButton;

namespace demo {

class CameraSettingsDialog;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    // The node database already holds the cameras of `document`.
    explicit MainWindow(const CameraDocument& document, QWidget* parent = nullptr);
    ~MainWindow() override;

    CameraSettingsDialog* settings() const { return m_settings; }
    QListWidget* cameraList() const { return m_cameras; }
    const CameraDocument& document() const { return m_document; }

    // Selects the cameras with those identifiers (unknown ones are skipped);
    // the settings then show them (after the question about changes not
    // applied, which may keep the cameras shown).
    void selectCameras(const QStringList& nodeIds);
    QStringList selectedCameras() const;

public Q_SLOTS:
    // Applies the settings shown, then writes every camera to the document's
    // save path. A failure shows a warning box; answers whether it saved.
    bool save();
    // Asks for a camera document and opens it.
    void open();
    // Replaces the cameras by the document at path; a bad document shows a
    // warning box and keeps the cameras shown. Changes not applied are asked
    // about first; Cancel opens nothing. Answers whether it loaded.
    bool openFile(const QString& path);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // Asks what to do with the settings' changes not applied (if any) and
    // does it: Apply applies, Discard drops them. Answers whether to go on;
    // false for Cancel.
    bool settleChanges();
    void cameraSelectionChanged();
    // Selects exactly those cameras in the list without telling the settings.
    void markSelected(const QStringList& nodeIds);
    void fillCameraList();
    void refreshCameraNames();
    void showSource();

    CameraDocument m_document;
    QListWidget* m_cameras = nullptr;
    CameraSettingsDialog* m_settings = nullptr;
    QPushButton* m_saveButton = nullptr;
    QLabel* m_source = nullptr;
    // Set while markSelected() changes the list's selection.
    bool m_markingSelection = false;
};

} // namespace demo
