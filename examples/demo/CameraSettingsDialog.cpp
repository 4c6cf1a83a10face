#include "CameraSettingsDialog.h"

#include "CameraProperties.h"
#include "WindowAttributes.h"

#include <ConfigDialogs/ChangeTracker.h>
#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/NodeDB.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

namespace demo {

namespace {

    const int kContext = kq::HasProperties::k_contextIndexDefault;

    // The compression level (0..10) is shown in percent.
    const double kCompressionPercentPerLevel = 10.0;

    kqm::smart<kq::INodeConfigSession> sessionOf(const QString& nodeId)
    {
        return kq::NodeDB::getDB()->session(nodeId);
    }

    // A per-node attribute of the camera document holding a list of strings.
    QVector<QString> stringsAttribute(const QString& nodeId, const QString& key)
    {
        QVector<QString> result;
        const kqm::smart<const kq::Node> node = kq::NodeDB::getDB()->node(nodeId);
        if (node.null())
            return result;
        for (const QVariant& v : node->session()->attribute(key).toList())
            result.append(v.toString());
        return result;
    }

    // Display texts of raw values, translated in the dialog's context.
    struct DisplayText {
        const char* value;
        const char* text;
    };
    const DisplayText kResolutions[] = {
        { "640x480", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "VGA (640 × 480)") },
        { "1280x720", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "720p (1280 × 720)") },
        { "1280x960", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "960p (1280 × 960)") },
        { "1920x1080", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "1080p (1920 × 1080)") },
        { "2560x1440", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "1440p (2560 × 1440)") },
    };
    const DisplayText kEvents[] = {
        { "motion", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Motion detection") },
        { "tamper", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Tampering") },
        { "input1", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Digital input 1") },
        { "input2", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Digital input 2") },
        { "output1", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Relay output 1") },
        { "audio", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Audio detection") },
    };
    const DisplayText kCodecs[] = {
        { "h264", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "H.264") },
        { "h265", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "H.265") },
        { "mjpeg", QT_TRANSLATE_NOOP("demo::CameraSettingsDialog", "Motion JPEG") },
    };

    // The translators the binding calls: an empty text for a value they don't
    // know makes it show the raw value.
    template <size_t N> QString displayText(const DisplayText (&table)[N], const QString& value)
    {
        for (const DisplayText& entry : table) {
            if (value == QLatin1String(entry.value))
                return CameraSettingsDialog::tr(entry.text);
        }
        return QString();
    }
    QString resolutionText(const QString& value) { return displayText(kResolutions, value); }
    QString eventText(const QString& value) { return displayText(kEvents, value); }
    QString frameRateText(double fps) { return CameraSettingsDialog::tr("%1 fps").arg(fps); }

    // The raw value a codec button stands for (kept by the binding as "value").
    QString codecValue(const QRadioButton* button) { return button->property("value").toString(); }

    // Widgets carry object names, so that tests and style sheets find them.
    template <class W> W* withName(W* widget, const char* name)
    {
        widget->setObjectName(QLatin1String(name));
        return widget;
    }

    // The master row carries a tool tip on its port cell.
    bool hasMasterRow(const QTreeWidget* tree)
    {
        for (int i = 0; i < tree->topLevelItemCount(); ++i) {
            if (!tree->topLevelItem(i)->data(1, Qt::ToolTipRole).toString().isEmpty())
                return true;
        }
        return false;
    }

    // A spin box over the values of a choice the cameras offer (the key frame
    // interval): the arrows step from one offered value to the next, and a
    // number typed in goes to the closest offered value when editing ends.
    // Written back, a value a camera does not offer would be added to that
    // camera's choices.
    class OfferedValuesSpinBox : public QSpinBox {
    public:
        OfferedValuesSpinBox() { connect(this, &QSpinBox::editingFinished, this, &OfferedValuesSpinBox::snap); }

        // The first camera's values replace those offered; each further
        // camera keeps only those it offers too.
        void offer(const kq::LongOptionsProperty* property, bool first)
        {
            QVector<int> values = property ? property->value().values : QVector<int>();
            std::sort(values.begin(), values.end());
            if (first) {
                m_offered = values;
                return;
            }
            m_offered.erase(std::remove_if(m_offered.begin(), m_offered.end(),
                                [&](int v) { return !values.contains(v); }),
                m_offered.end());
        }

        void stepBy(int steps) override
        {
            int shown = value();
            for (; steps > 0; --steps) {
                const auto next = std::upper_bound(m_offered.cbegin(), m_offered.cend(), shown);
                if (next != m_offered.cend())
                    shown = *next;
            }
            for (; steps < 0; ++steps) {
                const auto next = std::lower_bound(m_offered.cbegin(), m_offered.cend(), shown);
                if (next != m_offered.cbegin())
                    shown = *(next - 1);
            }
            setValue(shown);
        }

        // A typed value becomes the closest one offered: when editing ends,
        // and before Apply writes it (Apply taken by its shortcut leaves
        // the focus, and the editing, where they were).
        void snap()
        {
            // An offered value, or "<Multiple Values>", stays as it is: only
            // what was typed is moved.
            if (m_offered.isEmpty() || m_offered.contains(value()) || kq::isIndeterminate(this))
                return;
            const int typed = value();
            int closest = m_offered.first();
            for (int v : qAsConst(m_offered)) {
                if (std::abs(v - typed) < std::abs(closest - typed))
                    closest = v;
            }
            setValue(closest);
        }

    private:
        QVector<int> m_offered; // ascending
    };

} // namespace

CameraSettingsDialog::CameraSettingsDialog(QWidget* parent)
    : QWidget(parent)
{
    m_tabs = withName(new QTabWidget(this), "tabs");
    m_tabs->addTab(createGeneralTab(), tr("&General"));
    m_tabs->addTab(createVideoTab(), tr("&Video"));
    m_tabs->addTab(createExposureTab(), tr("E&xposure"));
    m_tabs->addTab(createMotionTab(), tr("&Motion"));
    m_tabs->addTab(createEventsTab(), tr("Even&ts"));
    m_tabs->addTab(createNetworkTab(), tr("&Network"));

    auto* buttons = new QDialogButtonBox(this);
    m_applyButton = withName(buttons->addButton(QDialogButtonBox::Apply), "apply");
    m_revertButton = withName(buttons->addButton(QDialogButtonBox::Reset), "revert");
    m_revertButton->setText(tr("&Revert"));
    connect(m_applyButton, &QPushButton::clicked, this, &CameraSettingsDialog::apply);
    connect(m_revertButton, &QPushButton::clicked, this, &CameraSettingsDialog::revert);

    m_tracker = new kqgui::ChangeTracker(this);
    trackWidgets();
    connect(m_tracker, &kqgui::ChangeTracker::hasChangesChanged, this, &CameraSettingsDialog::showChanges);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tabs);
    layout->addWidget(buttons);

    setCameras(QStringList());
}

CameraSettingsDialog::~CameraSettingsDialog() = default;

void CameraSettingsDialog::trackWidgets()
{
    m_tracker->track(m_name, NameProperty);
    m_tracker->track(m_statusLed, StatusLedProperty);
    m_tracker->track(m_mirror, MirrorProperty);
    m_tracker->track(m_wideDynamicRange, WideDynamicRangeProperty);

    m_tracker->track(m_resolution, ResolutionProperty);
    m_tracker->track(m_frameRate, FrameRateProperty);
    m_tracker->track(m_compression, CompressionProperty);
    m_tracker->track(m_keyFrameInterval, KeyFrameIntervalProperty);
    for (QRadioButton* button : qAsConst(m_codecButtons))
        m_tracker->track(button, CodecProperty);
    m_tracker->track(m_httpPort, HttpPortProperty);

    m_tracker->track(m_events, EventsProperty);
    m_tracker->track(m_receivers, AlarmReceiversProperty);

    // The window setting controls under the motion pane edit the pane's
    // windows; the pane is what changes, so they are not tracked themselves.
    // The tracker watches each window's settings (its dynamic properties), so
    // an edit there needs no refresh().
    m_tracker->track(m_exposurePane, [this] { storeExposureWindows(); });
    m_tracker->track(m_motionPane, [this] { storeMotionWindows(); });
}

QWidget* CameraSettingsDialog::createGeneralTab()
{
    auto* page = new QWidget;
    m_name = withName(new QLineEdit, "name");
    m_modelFirmware = withName(new QLabel, "modelFirmware");
    m_modelFirmware->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_statusLed = withName(new QCheckBox(tr("Status LED lit")), "statusLed");
    m_mirror = withName(new QComboBox, "mirror");
    m_wideDynamicRange = withName(new QCheckBox(tr("Wide dynamic range")), "wideDynamicRange");

    auto* form = new QFormLayout(page);
    form->addRow(tr("Camera:"), m_modelFirmware);
    form->addRow(tr("Nam&e:"), m_name);
    form->addRow(tr("&Image:"), m_mirror);
    form->addRow(QString(), m_statusLed);
    form->addRow(QString(), m_wideDynamicRange);
    return page;
}

QWidget* CameraSettingsDialog::createVideoTab()
{
    auto* page = new QWidget;
    m_resolution = withName(new QComboBox, "resolution");
    m_frameRate = withName(new QComboBox, "frameRate");
    m_compression = withName(new QSpinBox, "compression");
    m_compression->setSuffix(tr(" %"));
    m_compression->setSingleStep(int(kCompressionPercentPerLevel));
    m_keyFrameInterval = withName(new OfferedValuesSpinBox, "keyFrameInterval");
    m_keyFrameInterval->setSuffix(tr(" frames"));
    m_httpPort = withName(new QSpinBox, "httpPort");

    auto* codecBox = new QGroupBox(tr("Codec"));
    auto* codecLayout = new QHBoxLayout(codecBox);
    for (const DisplayText& codec : kCodecs) {
        auto* button = new QRadioButton(tr(codec.text));
        kq::resetRadioButton(button, QLatin1String(codec.value));
        button->setObjectName(QStringLiteral("codec-%1").arg(QLatin1String(codec.value)));
        // The binding switches auto-exclusivity off to show cameras that
        // disagree (no button checked); a choice by the user makes the group
        // exclusive again.
        connect(button, &QRadioButton::clicked, this, [this, button](bool checked) {
            if (!checked)
                return;
            for (QRadioButton* other : qAsConst(m_codecButtons)) {
                if (other != button)
                    other->setChecked(false);
                other->setAutoExclusive(true);
            }
        });
        codecLayout->addWidget(button);
        m_codecButtons.append(button);
    }
    codecLayout->addStretch();

    auto* form = new QFormLayout(page);
    form->addRow(tr("Reso&lution:"), m_resolution);
    form->addRow(tr("Frame rat&e:"), m_frameRate);
    form->addRow(tr("&Compression:"), m_compression);
    form->addRow(tr("&Key frame every:"), m_keyFrameInterval);
    form->addRow(codecBox);
    form->addRow(tr("&HTTP port:"), m_httpPort);
    return page;
}

QWidget* CameraSettingsDialog::createExposureTab()
{
    auto* page = new QWidget;
    m_exposureCamera = withName(new QLabel, "exposureCamera");
    m_exposureCamera->setWordWrap(true);
    m_exposurePane = withName(new kqgui::ExposureWindowPane(page), "exposurePane");
    m_exposurePane->setMinimumSize(320, 180);
    m_exclude = withName(new QPushButton(tr("&Exclude")), "exclude");
    m_exclude->setToolTip(tr("Leave the selected window out of the exposure measurement"));
    m_include = withName(new QPushButton(tr("&Include")), "include");
    m_include->setToolTip(tr("Measure the exposure in the selected window"));
    m_removeExposureWindows = withName(new QPushButton(tr("Remove a&ll")), "removeExposureWindows");

    auto mark = [this](bool excluded) {
        return [this, excluded] {
            const int i = m_exposurePane->selected();
            if (i < 0)
                return;
            m_exposurePane->setExcluded(i, excluded);
            windowsChanged();
        };
    };
    connect(m_exclude, &QPushButton::clicked, this, mark(true));
    connect(m_include, &QPushButton::clicked, this, mark(false));
    connect(
        m_removeExposureWindows, &QPushButton::clicked, m_exposurePane, &kqgui::NodeWindowPane::removeAll);
    connect(
        m_exposurePane, &kqgui::NodeWindowPane::frameChanged, this, &CameraSettingsDialog::windowsChanged);
    connect(m_exposurePane, &kqgui::NodeWindowPane::selectionChanged, this,
        &CameraSettingsDialog::updateExposureButtons);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_exclude);
    buttons->addWidget(m_include);
    buttons->addStretch();
    buttons->addWidget(m_removeExposureWindows);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(m_exposureCamera);
    layout->addWidget(m_exposurePane, 1);
    layout->addLayout(buttons);
    return page;
}

QWidget* CameraSettingsDialog::createMotionTab()
{
    auto* page = new QWidget;
    m_motionCamera = withName(new QLabel, "motionCamera");
    m_motionCamera->setWordWrap(true);
    m_motionPane = withName(new kqgui::VideoMotionWindowPane(page), "motionPane");
    m_motionPane->setMinimumSize(320, 180);

    auto percent = [](const char* name) {
        auto* box = withName(new QSpinBox, name);
        box->setRange(0, 100);
        return box;
    };
    m_sensitivity = percent("sensitivity");
    m_minThreshold = percent("minThreshold");
    m_maxThreshold = percent("maxThreshold");
    m_reference = withName(new QCheckBox(tr("Referen&ce window")), "reference");
    m_motionSet = withName(new QComboBox, "motionSet");
    m_motionSet->addItem(tr("Set 1"), int(kq::VMS_Set1));
    m_motionSet->addItem(tr("Set 2"), int(kq::VMS_Set2));
    m_removeMotionWindows = withName(new QPushButton(tr("Remove a&ll")), "removeMotionWindows");

    for (QSpinBox* box : { m_sensitivity, m_minThreshold, m_maxThreshold })
        connect(box, QOverload<int>::of(&QSpinBox::valueChanged), this,
            &CameraSettingsDialog::changeMotionWindow);
    connect(m_reference, &QCheckBox::toggled, this, &CameraSettingsDialog::changeMotionWindow);
    connect(m_motionSet, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
        &CameraSettingsDialog::changeMotionWindow);
    connect(m_removeMotionWindows, &QPushButton::clicked, m_motionPane, &kqgui::NodeWindowPane::removeAll);
    connect(m_motionPane, &kqgui::NodeWindowPane::frameChanged, this, &CameraSettingsDialog::windowsChanged);
    connect(m_motionPane, &kqgui::NodeWindowPane::selectionChanged, this,
        &CameraSettingsDialog::showMotionWindow);

    // The selected window's settings under the picture, which gets the width.
    auto* settings = new QGridLayout;
    auto addSetting = [settings](int row, int column, const QString& label, QWidget* field) {
        auto* buddy = new QLabel(label);
        buddy->setBuddy(field);
        settings->addWidget(buddy, row, 2 * column);
        settings->addWidget(field, row, 2 * column + 1);
    };
    addSetting(0, 0, tr("Sens&itivity:"), m_sensitivity);
    addSetting(0, 1, tr("Lower t&hreshold:"), m_minThreshold);
    addSetting(0, 2, tr("&Upper threshold:"), m_maxThreshold);
    addSetting(1, 0, tr("Motion s&et:"), m_motionSet);
    settings->addWidget(m_reference, 1, 2, 1, 2);
    settings->setColumnStretch(6, 1);
    settings->addWidget(m_removeMotionWindows, 1, 7);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(m_motionCamera);
    layout->addWidget(m_motionPane, 1);
    layout->addLayout(settings);
    return page;
}

QWidget* CameraSettingsDialog::createEventsTab()
{
    auto* page = new QWidget;
    m_events = withName(new QListWidget, "events");
    auto* hint = new QLabel(tr("Checked events are those the client reacts to. <b>Bold</b>: enabled on "
                               "the camera; <i>italic</i>: enabled on some of the selected cameras."));
    hint->setWordWrap(true);

    auto* layout = new QVBoxLayout(page);
    layout->addWidget(hint);
    layout->addWidget(m_events);
    return page;
}

QWidget* CameraSettingsDialog::createNetworkTab()
{
    auto* page = new QWidget;
    m_receivers = withName(new kqgui::IpPortTreeWidget, "receivers");
    m_receivers->setRootIsDecorated(false);
    m_receivers->setColumnWidth(0, 220);

    m_addReceiver = withName(new QPushButton(tr("A&dd")), "addReceiver");
    m_removeReceiver = withName(new QPushButton(tr("R&emove")), "removeReceiver");
    m_upReceiver = withName(new QPushButton(tr("&Up")), "upReceiver");
    m_downReceiver = withName(new QPushButton(tr("Do&wn")), "downReceiver");
    m_masterPort = withName(new QLabel, "masterPort");
    m_masterPort->setWordWrap(true);

    // Each action runs with the tree's signals blocked and restores them
    // afterwards, except when it has nothing to do (then they stay blocked).
    // The buttons are only enabled where the action has something to do.
    connect(m_addReceiver, &QPushButton::clicked, this, [this] {
        m_receivers->insertItem();
        updateNetworkButtons();
    });
    connect(m_removeReceiver, &QPushButton::clicked, this, [this] {
        m_receivers->removeItem();
        updateNetworkButtons();
    });
    connect(m_upReceiver, &QPushButton::clicked, this, [this] {
        m_receivers->upItem();
        updateNetworkButtons();
    });
    connect(m_downReceiver, &QPushButton::clicked, this, [this] {
        m_receivers->downItem();
        updateNetworkButtons();
    });
    connect(
        m_receivers, &QTreeWidget::itemSelectionChanged, this, &CameraSettingsDialog::updateNetworkButtons);
    connect(m_receivers, &QTreeWidget::itemChanged, this, &CameraSettingsDialog::updateNetworkButtons);
    // masterPortChanged() tells of a move from one master row to another
    // only: the first master row chosen, and a port committed on the master
    // row, change the rows' data with the tree's signals blocked. The model
    // still tells; queued, so that the label reads the tree once it is done.
    connect(m_receivers, &kqgui::IpPortTreeWidget::masterPortChanged, this,
        &CameraSettingsDialog::showMasterPort);
    connect(m_receivers->model(), &QAbstractItemModel::dataChanged, this, &CameraSettingsDialog::showMasterPort,
        Qt::QueuedConnection);

    auto* side = new QVBoxLayout;
    side->addWidget(m_addReceiver);
    side->addWidget(m_removeReceiver);
    side->addWidget(m_upReceiver);
    side->addWidget(m_downReceiver);
    side->addSpacing(12);
    side->addWidget(m_masterPort);
    side->addStretch();

    auto* hint = new QLabel(tr("Where the cameras send alarm messages. Double-click a cell to edit it; "
                               "right-click a row to use its port as the master port."));
    hint->setWordWrap(true);
    auto* row = new QHBoxLayout;
    row->addWidget(m_receivers, 1);
    row->addLayout(side);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(hint);
    layout->addLayout(row);
    return page;
}

void CameraSettingsDialog::setCameras(const QStringList& nodeIds)
{
    m_nodeIds.clear();
    for (const QString& id : nodeIds) {
        if (!sessionOf(id).null())
            m_nodeIds.append(id);
    }
    m_tabs->setEnabled(!m_nodeIds.isEmpty());
    revert();
}

bool CameraSettingsDialog::showTab(const QString& name)
{
    for (int i = 0; i < m_tabs->count(); ++i) {
        if (m_tabs->tabText(i).remove(QLatin1Char('&')).compare(name, Qt::CaseInsensitive) == 0) {
            m_tabs->setCurrentIndex(i);
            return true;
        }
    }
    return false;
}

bool CameraSettingsDialog::hasChanges() const { return m_tracker->hasChanges(); }

void CameraSettingsDialog::revert()
{
    // The cameras are read again rather than the widgets put back, so that
    // the dialog also shows what changed in the sessions meanwhile.
    m_filling = true;
    resetWidgets();
    for (const QString& id : qAsConst(m_nodeIds))
        updateWidgets(id);
    finishUpdate();
    loadWindows();
    m_filling = false;
    m_tracker->snapshot(m_nodeIds);
    showChanges(m_tracker->hasChanges());
}

void CameraSettingsDialog::apply()
{
    static_cast<OfferedValuesSpinBox*>(m_keyFrameInterval)->snap();
    m_tracker->apply();
    Q_EMIT applied();
    revert();
}

void CameraSettingsDialog::showChanges(bool changes)
{
    m_applyButton->setEnabled(changes);
    m_revertButton->setEnabled(changes);
    // Nothing to announce while the widgets are being filled: the snapshot
    // that follows decides.
    if (!m_filling && changes != m_changesShown) {
        m_changesShown = changes;
        Q_EMIT changesChanged(changes);
    }
}

void CameraSettingsDialog::resetWidgets()
{
    kq::resetLineEdit(m_name);
    kq::resetLabel(m_modelFirmware);
    kq::resetCheckBox(m_statusLed);
    kq::resetComboBox(m_mirror, tr("Mirrored"), tr("Normal"));
    kq::resetCheckBox(m_wideDynamicRange, QStringLiteral("off"), QStringLiteral("on"));

    kq::resetComboBox(m_resolution, &resolutionText);
    kq::resetComboBox(m_frameRate, &frameRateText);
    kq::resetSpinBox(m_compression, kCompressionPercentPerLevel, 0, 100, 0);
    kq::resetSpinBox(m_keyFrameInterval, 1.0, 0, 0, 0);
    for (QRadioButton* button : qAsConst(m_codecButtons))
        kq::resetRadioButton(button, codecValue(button));
    kq::resetSpinBox(m_httpPort, 1.0, 1, 65535, 1);
    // Spin boxes and radio buttons keep their enabled state through a reset:
    // a setting or codec the last cameras lacked may be offered by the next.
    for (QWidget* w : std::initializer_list<QWidget*> { m_compression, m_keyFrameInterval, m_httpPort })
        kq::setEnabled(w, true);
    for (QRadioButton* button : qAsConst(m_codecButtons))
        kq::setEnabled(button, true);

    kq::resetListWidget(m_events, &eventText);
    m_enabledEvents.clear();
    m_configurableEvents.clear();

    m_receivers->reset();
}

void CameraSettingsDialog::updateWidgets(const QString& nodeId)
{
    const kqm::smart<kq::INodeConfigSession> session = sessionOf(nodeId);
    const bool first = nodeId == m_nodeIds.first();

    kq::updateLineEdit(m_name, session, NameProperty);
    kq::updateLabel(m_modelFirmware, tr("Model/firmware"), session, ModelProperty, FirmwareProperty);
    kq::updateCheckBox(m_statusLed, session, StatusLedProperty);
    kq::updateComboBox(m_mirror, session, MirrorProperty);
    kq::updateCheckBox(m_wideDynamicRange, session, WideDynamicRangeProperty);

    kq::updateComboBox(m_resolution, session, ResolutionProperty);
    kq::updateComboBox(m_frameRate, session, FrameRateProperty, true);
    kq::updateSpinBox(m_compression, session, CompressionProperty);
    kq::updateSpinBox(m_keyFrameInterval, session, KeyFrameIntervalProperty, true);
    static_cast<OfferedValuesSpinBox*>(m_keyFrameInterval)
        ->offer(session->property(KeyFrameIntervalProperty, kContext), first);
    for (QRadioButton* button : qAsConst(m_codecButtons)) {
        kq::updateRadioButton(button, session, CodecProperty);
        // A codec some camera doesn't offer can't be chosen for all of them.
        const kq::StringOptionsProperty* codec = session->property(CodecProperty, kContext);
        if (codec && !codec->value().values.contains(codecValue(button)))
            kq::setEnabled(button, false);
    }
    if (const kq::LongProperty* port = session->property(HttpPortProperty, kContext))
        kq::updatePortSpinBox(m_httpPort, port->value());
    else
        kq::setEnabled(m_httpPort, false);

    const QVector<QString> enabled = stringsAttribute(nodeId, EnabledEventsAttribute);
    kq::updateEventListWidget(m_events, session, EventsProperty, enabled);
    for (const QString& event : enabled) {
        if (!m_enabledEvents.contains(event))
            m_enabledEvents.append(event);
    }
    const QVector<QString> configurable = stringsAttribute(nodeId, ConfigurableEventsAttribute);
    if (first) {
        m_configurableEvents = configurable;
    } else {
        m_configurableEvents.erase(std::remove_if(m_configurableEvents.begin(), m_configurableEvents.end(),
                                       [&](const QString& e) { return !configurable.contains(e); }),
            m_configurableEvents.end());
    }

    m_receivers->update(session->property(AlarmReceiversProperty, kContext), nodeId);
}

void CameraSettingsDialog::finishUpdate()
{
    kq::markEnabledEvents(m_events, m_enabledEvents);
    kq::disableEventListWidgetItems(m_events, m_configurableEvents);
    showMasterPort();
    updateNetworkButtons();
}

void CameraSettingsDialog::loadWindows()
{
    const QString camera = m_nodeIds.value(0);
    const kqm::smart<const kq::Node> node = kq::NodeDB::getDB()->node(camera);
    const QString title = node.null() ? QString() : node->name();
    // The video and the image coordinates of the windows.
    m_exposurePane->setCoordinateSystem(sessionOf(camera));
    m_motionPane->setCoordinateSystem(sessionOf(camera));
    const QString caption = m_nodeIds.size() > 1
        ? tr("Windows of %1, the first of the selected cameras. Drag on the picture to draw a window, click "
             "one to select it; its delete button removes it.")
        : tr("Windows of %1. Drag on the picture to draw a window, click one to select it; its delete "
             "button removes it.");
    m_exposureCamera->setText(caption.arg(title.isEmpty() ? camera : title));
    m_motionCamera->setText(m_exposureCamera->text());

    const QVariantMap attributes = node.null() ? QVariantMap() : node->session()->attributes();
    loadExposureWindows(m_exposurePane, attributes.value(ExposureWindowsAttribute).toList(), camera);
    loadMotionWindows(m_motionPane, attributes.value(MotionWindowsAttribute).toList(), camera);
    m_exposurePane->showOnScreenDisplay(!node.null());
    m_motionPane->showOnScreenDisplay(!node.null());
    updateExposureButtons();
    showMotionWindow();
}

// The tracker stores a pane only when its windows changed, so stored entries
// the panes could not show survive an Apply of other settings.
void CameraSettingsDialog::storeExposureWindows()
{
    const kqm::smart<const kq::Node> node = kq::NodeDB::getDB()->node(m_nodeIds.value(0));
    if (!node.null())
        node->session()->setAttribute(ExposureWindowsAttribute, exposureWindows(m_exposurePane));
}

void CameraSettingsDialog::storeMotionWindows()
{
    const kqm::smart<const kq::Node> node = kq::NodeDB::getDB()->node(m_nodeIds.value(0));
    if (!node.null())
        node->session()->setAttribute(MotionWindowsAttribute, motionWindows(m_motionPane));
}

void CameraSettingsDialog::windowsChanged()
{
    updateExposureButtons();
    showMotionWindow();
}

void CameraSettingsDialog::updateExposureButtons()
{
    const int i = m_exposurePane->selected();
    m_exclude->setEnabled(i >= 0 && !m_exposurePane->isExcluded(i));
    m_include->setEnabled(i >= 0 && m_exposurePane->isExcluded(i));
    m_removeExposureWindows->setEnabled(m_exposurePane->count() > 0);
}

void CameraSettingsDialog::showMotionWindow()
{
    const int i = m_motionPane->selected();
    const QList<QWidget*> controls { m_sensitivity, m_minThreshold, m_maxThreshold, m_reference,
        m_motionSet };
    for (QWidget* control : controls) {
        control->setEnabled(i >= 0);
        control->blockSignals(true);
    }
    m_sensitivity->setValue(i >= 0 ? m_motionPane->sensitivity(i) : 0);
    m_minThreshold->setValue(i >= 0 ? m_motionPane->threshold(i) : 0);
    m_maxThreshold->setValue(i >= 0 ? m_motionPane->maxThreshold(i) : 0);
    m_reference->setChecked(i >= 0 && m_motionPane->isReference(i));
    m_motionSet->setCurrentIndex(i >= 0 ? m_motionSet->findData(int(m_motionPane->vmSet(i))) : -1);
    for (QWidget* control : controls)
        control->blockSignals(false);
    m_removeMotionWindows->setEnabled(m_motionPane->count() > 0);
}

void CameraSettingsDialog::changeMotionWindow()
{
    const int i = m_motionPane->selected();
    if (i < 0)
        return;
    m_motionPane->setSensitivity(i, m_sensitivity->value());
    m_motionPane->setThreshold(i, m_minThreshold->value(), m_maxThreshold->value());
    m_motionPane->setReference(i, m_reference->isChecked());
    m_motionPane->setVMSet(i, kq::EVideoMotionSet(m_motionSet->currentData().toInt()));
}

void CameraSettingsDialog::updateNetworkButtons()
{
    const QList<QTreeWidgetItem*> selected = m_receivers->selectedItems();
    const int rows = m_receivers->topLevelItemCount();
    bool unfilledRow = false;
    for (int i = 0; i < rows; ++i) {
        const QTreeWidgetItem* row = m_receivers->topLevelItem(i);
        unfilledRow
            = unfilledRow || row->text(0) == QLatin1String("<Ip>") || row->text(1) == QLatin1String("<Port>");
    }
    const bool editable = m_receivers->isEnabled();
    m_addReceiver->setEnabled(editable && !unfilledRow);
    m_removeReceiver->setEnabled(editable && !selected.isEmpty());
    m_upReceiver->setEnabled(
        editable && !selected.isEmpty() && m_receivers->indexOfTopLevelItem(selected.first()) > 0);
    m_downReceiver->setEnabled(
        editable && !selected.isEmpty() && m_receivers->indexOfTopLevelItem(selected.last()) < rows - 1);
}

void CameraSettingsDialog::showMasterPort()
{
    // fetchPort() keeps the last master's port through a reset.
    const int port = hasMasterRow(m_receivers) ? m_receivers->fetchPort() : 0;
    m_masterPort->setText(port > 0 ? tr("Master port: %1").arg(port) : tr("Master port: none"));
}

} // namespace demo
