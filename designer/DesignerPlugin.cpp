#include "DesignerPlugin.h"

#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <QIcon>

namespace kqdesigner {

WidgetEntry::WidgetEntry(const QString& className, const QString& baseClass, const QString& header,
    const QString& objectName, const QString& description, Factory factory, QObject* parent)
    : QObject(parent)
    , m_className(className)
    , m_baseClass(baseClass)
    , m_header(header)
    , m_objectName(objectName)
    , m_description(description)
    , m_factory(std::move(factory))
{
}

QString WidgetEntry::name() const { return m_className; }

QString WidgetEntry::group() const { return QStringLiteral("Configuration Dialogs"); }

QString WidgetEntry::toolTip() const { return m_description; }

QString WidgetEntry::whatsThis() const { return m_description; }

QString WidgetEntry::includeFile() const { return m_header; }

QIcon WidgetEntry::icon() const { return QIcon(); }

bool WidgetEntry::isContainer() const { return false; }

QWidget* WidgetEntry::createWidget(QWidget* parent) { return m_factory(parent); }

bool WidgetEntry::isInitialized() const { return m_initialized; }

void WidgetEntry::initialize(QDesignerFormEditorInterface*) { m_initialized = true; }

QString WidgetEntry::domXml() const
{
    // The header is included with angle brackets, as an installed header.
    return QStringLiteral("<ui language=\"c++\">\n"
                          " <widget class=\"%1\" name=\"%2\"/>\n"
                          " <customwidgets>\n"
                          "  <customwidget>\n"
                          "   <class>%1</class>\n"
                          "   <extends>%3</extends>\n"
                          "   <header location=\"global\">%4</header>\n"
                          "  </customwidget>\n"
                          " </customwidgets>\n"
                          "</ui>\n")
        .arg(m_className, m_objectName, m_baseClass, m_header);
}

WidgetCollection::WidgetCollection(QObject* parent)
    : QObject(parent)
{
    m_entries.append(new WidgetEntry(
        QStringLiteral("kqgui::IpPortTreeWidget"), QStringLiteral("QTreeWidget"),
        QStringLiteral("ConfigDialogs/IpPortTreeWidget.h"), QStringLiteral("ipPortTree"),
        QStringLiteral("Editable list of IP:port entries merged over several cameras, with a master port"),
        [](QWidget* parent) { return new kqgui::IpPortTreeWidget(parent); }, this));
    // The panes derive from the platform's video widget, which Designer does
    // not know; it edits them as plain widgets.
    m_entries.append(new WidgetEntry(
        QStringLiteral("kqgui::ExposureWindowPane"), QStringLiteral("QWidget"),
        QStringLiteral("ConfigDialogs/ExposureWindowPane.h"), QStringLiteral("exposurePane"),
        QStringLiteral("Live image with the windows the camera's exposure control measures or excludes"),
        [](QWidget* parent) { return new kqgui::ExposureWindowPane(parent); }, this));
    m_entries.append(new WidgetEntry(
        QStringLiteral("kqgui::VideoMotionWindowPane"), QStringLiteral("QWidget"),
        QStringLiteral("ConfigDialogs/VideoMotionWindowPane.h"), QStringLiteral("videoMotionPane"),
        QStringLiteral("Live image with the camera's video-motion detection windows"),
        [](QWidget* parent) { return new kqgui::VideoMotionWindowPane(parent); }, this));
}

QList<QDesignerCustomWidgetInterface*> WidgetCollection::customWidgets() const { return m_entries; }

} // namespace kqdesigner
