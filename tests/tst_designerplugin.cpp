// The Qt Designer plugin, loaded from the build tree as Designer loads it:
// one collection with an entry per widget class, each entry making the real
// widget, and forms naming those classes loading through it.
#include <ConfigDialogs/ExposureWindowPane.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>

#include <QFile>
#include <QFileInfo>
#include <QPluginLoader>
#include <QUiLoader>
#include <QXmlStreamReader>
#include <QtTest>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <memory>

#include "ui_designerplugin_form.h"

namespace {

const QString kPluginFile = QStringLiteral(CONFIGDIALOGS_DESIGNER_PLUGIN);
const QStringList kClasses { QStringLiteral("kqgui::ExposureWindowPane"),
    QStringLiteral("kqgui::IpPortTreeWidget"), QStringLiteral("kqgui::VideoMotionWindowPane") };

// What a form's <customwidget> entry says about a class.
struct CustomWidgetXml {
    QString widgetClass;
    QString widgetName;
    QString declaredClass;
    QString extends;
    QString header;
    QString headerLocation;
};

CustomWidgetXml readDomXml(const QString& xml, QString* error)
{
    CustomWidgetXml result;
    QXmlStreamReader reader(xml);
    QString element;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            element = reader.name().toString();
            if (element == QLatin1String("widget") && result.widgetClass.isEmpty()) {
                result.widgetClass = reader.attributes().value(QLatin1String("class")).toString();
                result.widgetName = reader.attributes().value(QLatin1String("name")).toString();
            } else if (element == QLatin1String("header")) {
                result.headerLocation = reader.attributes().value(QLatin1String("location")).toString();
            }
        } else if (reader.isCharacters() && !reader.isWhitespace()) {
            if (element == QLatin1String("class"))
                result.declaredClass = reader.text().toString();
            else if (element == QLatin1String("extends"))
                result.extends = reader.text().toString();
            else if (element == QLatin1String("header"))
                result.header = reader.text().toString();
        } else if (reader.isEndElement()) {
            element.clear();
        }
    }
    if (reader.hasError())
        *error = reader.errorString();
    return result;
}

} // namespace

class TestDesignerPlugin : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_loader.setFileName(kPluginFile);
        QVERIFY2(m_loader.load(), qPrintable(m_loader.errorString()));
        QCOMPARE(m_loader.metaData().value(QLatin1String("IID")).toString(),
            QStringLiteral("org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface"));
        m_collection = qobject_cast<QDesignerCustomWidgetCollectionInterface*>(m_loader.instance());
        QVERIFY(m_collection);
    }

    void oneEntryPerWidget()
    {
        QStringList names;
        for (const QDesignerCustomWidgetInterface* entry : m_collection->customWidgets())
            names << entry->name();
        names.sort();
        QCOMPARE(names, kClasses);
    }

    void entries_data()
    {
        QTest::addColumn<QString>("className");
        QTest::addColumn<QString>("baseClass");
        QTest::addColumn<QString>("header");

        QTest::newRow("IP/port tree") << "kqgui::IpPortTreeWidget"
                                      << "QTreeWidget"
                                      << "ConfigDialogs/IpPortTreeWidget.h";
        QTest::newRow("exposure window pane") << "kqgui::ExposureWindowPane"
                                              << "QWidget"
                                              << "ConfigDialogs/ExposureWindowPane.h";
        QTest::newRow("video-motion window pane") << "kqgui::VideoMotionWindowPane"
                                                  << "QWidget"
                                                  << "ConfigDialogs/VideoMotionWindowPane.h";
    }

    void entries()
    {
        QFETCH(QString, className);
        QFETCH(QString, baseClass);
        QFETCH(QString, header);

        QDesignerCustomWidgetInterface* entry = find(className);
        QVERIFY(entry);
        QCOMPARE(entry->includeFile(), header);
        QVERIFY(QFileInfo::exists(QStringLiteral(CONFIGDIALOGS_SOURCE_DIR "/include/") + header));
        QVERIFY(!entry->isContainer());
        QVERIFY(!entry->group().isEmpty());
        QVERIFY(!entry->toolTip().isEmpty());

        QString error;
        const CustomWidgetXml xml = readDomXml(entry->domXml(), &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QCOMPARE(xml.widgetClass, className);
        QVERIFY(!xml.widgetName.isEmpty());
        QCOMPARE(xml.declaredClass, className);
        QCOMPARE(xml.extends, baseClass);
        QCOMPARE(xml.header, header);
        QCOMPARE(xml.headerLocation, QStringLiteral("global"));

        entry->initialize(nullptr);
        QVERIFY(entry->isInitialized());

        QWidget parent;
        QWidget* widget = entry->createWidget(&parent);
        QVERIFY(widget);
        QCOMPARE(widget->parentWidget(), &parent);
        QCOMPARE(QString::fromLatin1(widget->metaObject()->className()), className);
        QVERIFY(widget->inherits(baseClass.toLatin1().constData()));
    }

    // The widgets made through the plugin are the library's own classes and
    // work.
    void treeFromPluginWorks()
    {
        QWidget parent;
        auto* tree = qobject_cast<kqgui::IpPortTreeWidget*>(
            find(QStringLiteral("kqgui::IpPortTreeWidget"))->createWidget(&parent));
        QVERIFY(tree);
        QCOMPARE(tree->columnCount(), 2);
        tree->insertItem();
        QCOMPARE(tree->topLevelItemCount(), 1);
        QCOMPARE(tree->topLevelItem(0)->text(0), QStringLiteral("<Ip>"));
    }

    void panesFromPluginWork()
    {
        QWidget parent;
        auto* exposure = qobject_cast<kqgui::ExposureWindowPane*>(
            find(QStringLiteral("kqgui::ExposureWindowPane"))->createWidget(&parent));
        QVERIFY(exposure);
        QCOMPARE(exposure->count(), 0);
        exposure->addRect(QRect(10, 10, 40, 30), exposure->colorFor(0));
        QCOMPARE(exposure->count(), 1);
        QVERIFY(!exposure->isExcluded(0));

        auto* motion = qobject_cast<kqgui::VideoMotionWindowPane*>(
            find(QStringLiteral("kqgui::VideoMotionWindowPane"))->createWidget(&parent));
        QVERIFY(motion);
        QCOMPARE(motion->count(), 0);
        motion->addRect(QRect(10, 10, 40, 30), motion->colorFor(0));
        motion->setSensitivity(0, 42);
        QCOMPARE(motion->sensitivity(0), 42);
    }

    // Designer's form loader finds the classes in the plugin and builds a
    // form made with Designer that names them.
    void formLoaderUsesThePlugin()
    {
        QUiLoader loader;
        loader.clearPluginPaths();
        loader.addPluginPath(QFileInfo(kPluginFile).absolutePath());
        for (const QString& name : kClasses)
            QVERIFY2(loader.availableWidgets().contains(name), qPrintable(name));

        QFile form(QStringLiteral(CONFIGDIALOGS_DESIGNER_FORM));
        QVERIFY(form.open(QIODevice::ReadOnly));
        std::unique_ptr<QWidget> dialog(loader.load(&form));
        QVERIFY2(dialog, qPrintable(loader.errorString()));
        auto* tree = dialog->findChild<kqgui::IpPortTreeWidget*>(QStringLiteral("alarmTargets"));
        QVERIFY(tree);
        QCOMPARE(tree->headerItem()->text(0), QStringLiteral("Ip"));
        QVERIFY(dialog->findChild<kqgui::ExposureWindowPane*>(QStringLiteral("exposureWindows")));
        QVERIFY(dialog->findChild<kqgui::VideoMotionWindowPane*>(QStringLiteral("motionWindows")));
    }

    // The same form compiled by uic: the generated code includes the public
    // headers and makes the library's classes.
    void uicFormMakesTheWidgets()
    {
        QWidget dialog;
        Ui::CameraDialog ui;
        ui.setupUi(&dialog);
        QVERIFY(qobject_cast<kqgui::IpPortTreeWidget*>(ui.alarmTargets));
        QCOMPARE(ui.alarmTargets->parentWidget(), &dialog);
        QVERIFY(qobject_cast<kqgui::ExposureWindowPane*>(ui.exposureWindows));
        QVERIFY(qobject_cast<kqgui::VideoMotionWindowPane*>(ui.motionWindows));
    }

    void cleanupTestCase()
    {
        // The collection belongs to the loader; unloading frees it.
        m_collection = nullptr;
        m_loader.unload();
    }

private:
    QDesignerCustomWidgetInterface* find(const QString& className) const
    {
        for (QDesignerCustomWidgetInterface* entry : m_collection->customWidgets()) {
            if (entry->name() == className)
                return entry;
        }
        return nullptr;
    }

    QPluginLoader m_loader;
    QDesignerCustomWidgetCollectionInterface* m_collection = nullptr;
};

QTEST_MAIN(TestDesignerPlugin)
#include "tst_designerplugin.moc"
