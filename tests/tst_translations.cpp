// The library's German catalogue, installed with
// ConfigDialogs::installTranslator(), reaching the texts the binding
// functions and the IP/port tree show.
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/Translations.h>

#include <kq/NodeDB.h>

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>
#include <QtTest>

#include "ModalBoxCloser.h"

namespace {

const QString kGermanMarker = QStringLiteral("<Mehrere Werte>");
const QString kEnglishMarker = QStringLiteral("<Multiple Values>");
const QString kGermanNotAvailable
    = QString::fromUtf8("Diese Funktion ist f\xc3\xbcr die angeschlossene Kamera nicht verf\xc3\xbcgbar.");

// Two cameras that differ in every property the suite binds; cam-2 lacks
// the event list.
const char* const kDocument = R"({ "nodes": [
 { "id": "cam-1", "properties": [
  { "id": "0x1001", "kind": "string", "idName": "Name", "value": "Entrance" },
  { "id": "0x2001", "kind": "long", "idName": "Brightness", "value": 50, "min": 0, "max": 100 },
  { "id": "0x6001", "kind": "stringOptions", "idName": "ExposureMode", "values": ["auto", "manual"], "selected": 0 },
  { "id": "0x7002", "kind": "stringMultiOptions", "idName": "Events", "values": ["motion", "tamper"], "selected": [0] },
  { "id": "0x9001", "kind": "stringList", "idName": "AlarmTargets", "value": ["10.0.0.1:80"] } ] },
 { "id": "cam-2", "properties": [
  { "id": "0x1001", "kind": "string", "idName": "Name", "value": "Lobby" },
  { "id": "0x2001", "kind": "long", "idName": "Brightness", "value": 70, "min": 0, "max": 100 },
  { "id": "0x6001", "kind": "stringOptions", "idName": "ExposureMode", "values": ["auto", "manual"], "selected": 1 } ] } ] })";

kqm::smart<const kq::INodeConfigSession> session(const char* node)
{
    return kq::NodeDB::getDB()->session(QString::fromLatin1(node));
}

} // namespace

class TestTranslations : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationName(QStringLiteral("Translation test"));
        QString error;
        QVERIFY2(kq::NodeDB::getDB()->loadJson(kDocument, &error), qPrintable(error));
    }

    void init() { QVERIFY(ConfigDialogs::installTranslator(QLocale(QLocale::German, QLocale::Germany))); }

    // Back to the source texts after each case.
    void cleanup() { QVERIFY(!ConfigDialogs::installTranslator(QLocale(QLocale::English))); }

    void catalogueIsEmbedded()
    {
        QCOMPARE(ConfigDialogs::translationPath(QStringLiteral("de")),
            QStringLiteral(":/i18n/configdialogs_de.qm"));
        QVERIFY(QFile::exists(ConfigDialogs::translationPath(QStringLiteral("de"))));
        QVERIFY(!QFile::exists(ConfigDialogs::translationPath(QStringLiteral("fr"))));
    }

    void localesChooseTheCatalogue_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("marker");

        QTest::newRow("de") << QLocale(QLocale::German) << true << kGermanMarker;
        QTest::newRow("de_AT falls back to de")
            << QLocale(QLocale::German, QLocale::Austria) << true << kGermanMarker;
        QTest::newRow("de_CH falls back to de")
            << QLocale(QLocale::German, QLocale::Switzerland) << true << kGermanMarker;
        QTest::newRow("fr: none, source texts") << QLocale(QLocale::French) << false << kEnglishMarker;
        QTest::newRow("C: none, source texts") << QLocale::c() << false << kEnglishMarker;
    }

    void localesChooseTheCatalogue()
    {
        QFETCH(QLocale, locale);
        QFETCH(bool, found);
        QFETCH(QString, marker);

        // A locale without a catalogue also removes the German one from init().
        QCOMPARE(ConfigDialogs::installTranslator(locale), found);
        QCOMPARE(QCoreApplication::translate("Statics", "<Multiple Values>"), marker);
        QCOMPARE(QCoreApplication::translate("Properties", "<Multiple Values>"), marker);
    }

    void installingTwiceKeepsOneCatalogue()
    {
        QVERIFY(ConfigDialogs::installTranslator(QLocale(QLocale::German)));
        QCOMPARE(QCoreApplication::translate("Statics", "<Multiple Values>"), kGermanMarker);
        // One removal must bring back the source texts: the second call
        // replaced the first translator instead of stacking another.
        QVERIFY(!ConfigDialogs::installTranslator(QLocale(QLocale::English)));
        QCOMPARE(QCoreApplication::translate("Statics", "<Multiple Values>"), kEnglishMarker);
    }

    // --- "<Multiple Values>" through the binding functions ---

    void spinBoxMarkerInStatics()
    {
        QSpinBox box;
        kq::updateSpinBox(&box, session("cam-1"), kq::ELongProperty(0x2001));
        kq::updateSpinBox(&box, session("cam-2"), kq::ELongProperty(0x2001));
        QCOMPARE(box.specialValueText(), kGermanMarker);
        QCOMPARE(box.text(), kGermanMarker);
        QVERIFY(kq::isIndeterminate(&box));
    }

    void lineEditMarkerInStatics()
    {
        QLineEdit edit;
        kq::resetLineEdit(&edit);
        kq::updateLineEdit(&edit, session("cam-1"), kq::EStringProperty(0x1001));
        kq::updateLineEdit(&edit, session("cam-2"), kq::EStringProperty(0x1001));
        QCOMPARE(edit.text(), kGermanMarker);
        QVERIFY(kq::isIndeterminate(&edit));
        // Only the text of the installed language marks the state.
        QVERIFY(kq::isIndeterminate(kGermanMarker));
        QVERIFY(!kq::isIndeterminate(kEnglishMarker));
    }

    void comboBoxMarkerInProperties()
    {
        QComboBox box;
        kq::resetComboBox(&box, kq::StringTranslator(nullptr));
        kq::updateComboBox(&box, session("cam-1"), kq::EStringOptionsProperty(0x6001));
        kq::updateComboBox(&box, session("cam-2"), kq::EStringOptionsProperty(0x6001));
        QCOMPARE(box.currentIndex(), 0);
        QCOMPARE(box.itemText(0), kGermanMarker);
        QVERIFY(kq::isIndeterminate(&box));
    }

    // --- tool tips ---

    void notAvailableInConfigDialog()
    {
        QListWidget list;
        list.setToolTip(QStringLiteral("before"));
        kq::resetListWidget(&list, nullptr);
        kq::updateEventListWidget(&list, session("cam-2"), kq::EStringMultiOptionsProperty(0x7002), {});
        QVERIFY(!list.isEnabled());
        QCOMPARE(list.toolTip(), kGermanNotAvailable);
        kq::resetListWidget(&list, nullptr);
        QCOMPARE(list.toolTip(), QStringLiteral("before"));
    }

    void eventListToolTipsInStatics()
    {
        QListWidget list;
        kq::resetListWidget(&list, nullptr);
        kq::updateEventListWidget(
            &list, session("cam-1"), kq::EStringMultiOptionsProperty(0x7002), { QStringLiteral("motion") });
        // motion: enabled on the camera and selected; tamper: neither.
        QCOMPARE(kq::findItem(&list, QStringLiteral("motion"))->toolTip(),
            QString::fromUtf8(
                "Das Abw\xc3\xa4hlen dieses Ereignisses deaktiviert das zugeh\xc3\xb6rige Ereignis nicht."));
        QCOMPARE(kq::findItem(&list, QStringLiteral("tamper"))->toolTip(),
            QString::fromUtf8(
                "Achtung: Wenn Sie dieses Ereignis ausw\xc3\xa4hlen, wird das zugeh\xc3\xb6rige Ereignis "
                "auf der Kamera bzw. den Kameras aktiviert!"));

        kq::disableEventListWidgetItems(&list, { QStringLiteral("motion") });
        QCOMPARE(kq::findItem(&list, QStringLiteral("tamper"))->toolTip(),
            QString::fromUtf8("Achtung: Eintrag nicht konfigurierbar. Bitte konfigurieren Sie die Kamera "
                              "\xc3\xbc"
                              "ber den Browser!"));
    }

    // --- the IP/port tree ---

    void treeHeaderAndMasterTooltip()
    {
        kqgui::IpPortTreeWidget tree;
        QCOMPARE(tree.headerItem()->text(0), QStringLiteral("IP"));
        QCOMPARE(tree.headerItem()->text(1), QStringLiteral("Port"));

        auto* list = session("cam-1")->property(
            kq::EStringListProperty(0x9001), kq::HasProperties::k_contextIndexDefault);
        QVERIFY(list);
        tree.update(list, QStringLiteral("cam-1"));
        QCOMPARE(tree.topLevelItemCount(), 1);
        tree.setAsMaster(tree.topLevelItem(0));
        QCOMPARE(tree.topLevelItem(0)->toolTip(1),
            QStringLiteral("Diesen Port verwenden in: "
                           "\"Velcor->Optionen->Werkzeuge->Alarmeinstellungen->Alarmmeldungen\""));
    }

    void treeWarnings_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("warning");

        QTest::newRow("address") << 0 << "camera"
                                 << QString::fromUtf8(
                                        "Sie haben keine g\xc3\xbcltige IPv4-Adresse eingegeben.");
        QTest::newRow("port") << 1 << "65535"
                              << QString::fromUtf8("Sie haben keine g\xc3\xbcltige Portnummer eingegeben!");
    }

    void treeWarnings()
    {
        QFETCH(int, column);
        QFETCH(QString, typed);
        QFETCH(QString, warning);

        kqgui::IpPortTreeWidget tree;
        auto* list = session("cam-1")->property(
            kq::EStringListProperty(0x9001), kq::HasProperties::k_contextIndexDefault);
        tree.update(list, QStringLiteral("cam-1"));
        kqtest::ModalBoxCloser closer(warning);
        tree.topLevelItem(0)->setText(column, typed);
        QCOMPARE(closer.count, 1);
    }
};

QTEST_MAIN(TestTranslations)
#include "tst_translations.moc"
