// The Qt Designer plugin: one entry per widget class of the library that a
// dialog can place with Designer, gathered in one collection.
#pragma once

#include <QObject>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <functional>

namespace kqdesigner {

// One widget class as Designer's widget box offers it.
class WidgetEntry : public QObject, public QDesignerCustomWidgetInterface {
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)
public:
    using Factory = std::function<QWidget*(QWidget* parent)>;

    // `className` with its namespace, the base class Designer edits it as,
    // the public header (included as <header>), the object name new
    // instances get, a one-line description, and the function that makes one.
    WidgetEntry(const QString& className, const QString& baseClass, const QString& header,
        const QString& objectName, const QString& description, Factory factory, QObject* parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override;
    QWidget* createWidget(QWidget* parent) override;
    bool isInitialized() const override;
    void initialize(QDesignerFormEditorInterface* core) override;
    QString domXml() const override;

private:
    QString m_className;
    QString m_baseClass;
    QString m_header;
    QString m_objectName;
    QString m_description;
    Factory m_factory;
    bool m_initialized = false;
};

// The plugin's root object: the entries for all of the library's widgets.
class WidgetCollection : public QObject, public QDesignerCustomWidgetCollectionInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface")
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)
public:
    explicit WidgetCollection(QObject* parent = nullptr);

    QList<QDesignerCustomWidgetInterface*> customWidgets() const override;

private:
    QList<QDesignerCustomWidgetInterface*> m_entries;
};

} // namespace kqdesigner
