#include "MainWindow.h"

#include "CameraProperties.h"
#include "CameraSettingsDialog.h"

#include <ConfigDialogs/NodeWindowPane.h>

#include <kq/NodeDB.h>

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QUndoGroup>
#include <QUndoStack>
#include <QVBoxLayout>

namespace demo {

namespace {

    // What the camera list shows: the camera's name setting, else the name
    // in the document, else its identifier.
    QString cameraTitle(const QString& nodeId)
    {
        kq::NodeDB* db = kq::NodeDB::getDB();
        const kqm::smart<kq::INodeConfigSession> session = db->session(nodeId);
        const kq::StringProperty* name
            = session->property(NameProperty, kq::HasProperties::k_contextIndexDefault);
        if (name && !name->value().isEmpty())
            return name->value();
        const QString documentName = db->node(nodeId)->name();
        return documentName.isEmpty() ? nodeId : documentName;
    }

    void warn(QWidget* parent, const QString& text)
    {
        QMessageBox::warning(parent, QCoreApplication::applicationName(), text);
    }

} // namespace

MainWindow::MainWindow(const CameraDocument& document, QWidget* parent)
    : QMainWindow(parent)
    , m_document(document)
{
    setWindowTitle(tr("Camera settings[*]"));

    m_cameras = new QListWidget;
    m_cameras->setObjectName(QStringLiteral("cameras"));
    m_cameras->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_saveButton = new QPushButton(tr("&Save"));
    m_saveButton->setObjectName(QStringLiteral("save"));
    connect(m_saveButton, &QPushButton::clicked, this, &MainWindow::save);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addWidget(new QLabel(tr("Cameras (Ctrl+click selects several):")));
    leftLayout->addWidget(m_cameras);
    leftLayout->addWidget(m_saveButton);

    m_settings = new CameraSettingsDialog;
    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(m_settings);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({ 220, 780 });
    splitter->setContentsMargins(6, 6, 6, 0);
    setCentralWidget(splitter);

    // QMenu::addAction(text, receiver, slot, shortcut) is deprecated in Qt 6;
    // an action connected by hand builds the same menu with Qt 5 and Qt 6.
    const auto addItem = [this](QMenu* menu, const QString& text, auto slot, QKeySequence::StandardKey key) {
        QAction* action = menu->addAction(text);
        action->setShortcut(key);
        connect(action, &QAction::triggered, this, slot);
    };
    QMenu* file = menuBar()->addMenu(tr("&File"));
    addItem(file, tr("&Open..."), &MainWindow::open, QKeySequence::Open);
    addItem(file, tr("&Save"), &MainWindow::save, QKeySequence::Save);
    file->addSeparator();
    addItem(file, tr("&Quit"), &QWidget::close, QKeySequence::Quit);

    // Edit > Undo and Redo act on the windows of the pane on screen, the
    // current tab's; on the other tabs they are disabled.
    auto* panes = new QUndoGroup(this);
    const QList<kqgui::NodeWindowPane*> windowPanes = m_settings->findChildren<kqgui::NodeWindowPane*>();
    for (kqgui::NodeWindowPane* pane : windowPanes)
        panes->addStack(pane->undoStack());
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    QAction* undo = panes->createUndoAction(edit, tr("&Undo"));
    undo->setObjectName(QStringLiteral("undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction* redo = panes->createRedoAction(edit, tr("&Redo"));
    redo->setObjectName(QStringLiteral("redo"));
    redo->setShortcuts(
        { QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_Y) });
    edit->addAction(undo);
    edit->addAction(redo);
    const auto followTab = [this, panes] {
        QWidget* page = m_settings->tabs()->currentWidget();
        auto* pane = page ? page->findChild<kqgui::NodeWindowPane*>() : nullptr;
        panes->setActiveStack(pane ? pane->undoStack() : nullptr);
    };
    connect(m_settings->tabs(), &QTabWidget::currentChanged, this, followTab);
    followTab();

    m_source = new QLabel;
    m_source->setObjectName(QStringLiteral("source"));
    statusBar()->addWidget(m_source, 1);

    connect(m_cameras, &QListWidget::itemSelectionChanged, this, &MainWindow::cameraSelectionChanged);
    connect(m_settings, &CameraSettingsDialog::applied, this, &MainWindow::refreshCameraNames);
    connect(m_settings, &CameraSettingsDialog::changesChanged, this, &QWidget::setWindowModified);

    fillCameraList();
    showSource();
}

MainWindow::~MainWindow() = default;

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!settleChanges()) {
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

bool MainWindow::settleChanges()
{
    if (!m_settings->hasChanges())
        return true;
    QMessageBox box(QMessageBox::Question, QCoreApplication::applicationName(),
        tr("The settings of the selected cameras have changes that are not applied."),
        QMessageBox::Apply | QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setInformativeText(tr("Apply them to the cameras, or discard them?"));
    box.setDefaultButton(QMessageBox::Apply);
    box.setEscapeButton(QMessageBox::Cancel);
    switch (box.exec()) {
    case QMessageBox::Apply:
        m_settings->apply();
        return true;
    case QMessageBox::Discard:
        m_settings->revert();
        return true;
    default:
        return false;
    }
}

void MainWindow::cameraSelectionChanged()
{
    if (m_markingSelection)
        return;
    const QStringList shown = m_settings->cameras();
    if (selectedCameras() == shown)
        return;
    if (!settleChanges()) {
        // Cancel: the settings still show the cameras they showed, with the
        // changes; so must the list.
        markSelected(shown);
        return;
    }
    m_settings->setCameras(selectedCameras());
}

void MainWindow::fillCameraList()
{
    m_cameras->clear();
    for (const QString& id : kq::NodeDB::getDB()->nodeIds()) {
        auto* item = new QListWidgetItem(cameraTitle(id), m_cameras);
        item->setData(Qt::UserRole, id);
        item->setToolTip(id);
    }
    if (m_cameras->count() > 0)
        m_cameras->setCurrentRow(0);
}

void MainWindow::refreshCameraNames()
{
    for (int row = 0; row < m_cameras->count(); ++row) {
        QListWidgetItem* item = m_cameras->item(row);
        item->setText(cameraTitle(item->data(Qt::UserRole).toString()));
    }
}

void MainWindow::showSource()
{
    const QString source = m_document.isBuiltIn() ? tr("the built-in cameras")
                                                  : QDir::toNativeSeparators(m_document.sourcePath());
    m_source->setText(
        tr("Loaded from %1; Save writes %2").arg(source, QDir::toNativeSeparators(m_document.savePath())));
}

void MainWindow::selectCameras(const QStringList& nodeIds)
{
    markSelected(nodeIds);
    cameraSelectionChanged();
}

void MainWindow::markSelected(const QStringList& nodeIds)
{
    // One selection change for the settings, not one per camera: each would
    // read every selected camera again.
    const QScopedValueRollback<bool> quiet(m_markingSelection, true);
    m_cameras->clearSelection();
    bool current = false;
    for (int row = 0; row < m_cameras->count(); ++row) {
        QListWidgetItem* item = m_cameras->item(row);
        if (!nodeIds.contains(item->data(Qt::UserRole).toString()))
            continue;
        if (!current) {
            m_cameras->setCurrentItem(item, QItemSelectionModel::Select);
            current = true;
        } else {
            item->setSelected(true);
        }
    }
}

QStringList MainWindow::selectedCameras() const
{
    // In list order, so that the first camera (whose windows are edited) is
    // the topmost selected one.
    QStringList ids;
    for (int row = 0; row < m_cameras->count(); ++row) {
        if (m_cameras->item(row)->isSelected())
            ids.append(m_cameras->item(row)->data(Qt::UserRole).toString());
    }
    return ids;
}

bool MainWindow::save()
{
    m_settings->apply();
    QString error;
    if (!m_document.save(&error)) {
        warn(this, error);
        return false;
    }
    statusBar()->showMessage(tr("Saved %1").arg(QDir::toNativeSeparators(m_document.savePath())), 5000);
    return true;
}

void MainWindow::open()
{
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Open cameras"), QString(), tr("Camera documents (*.json);;All files (*)"));
    if (!path.isEmpty())
        openFile(path);
}

bool MainWindow::openFile(const QString& path)
{
    if (!settleChanges())
        return false;
    QString error;
    if (!m_document.load(path, &error)) {
        warn(this, error);
        return false;
    }
    fillCameraList();
    showSource();
    return true;
}

} // namespace demo
