// Uses the installed library the way a dialog does and reports what it saw;
// exits non-zero when anything is off.
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/Translations.h>
#include <ConfigDialogs/Version.h>
#include <kq/NodeDB.h>

#include <QApplication>
#include <QByteArray>
#include <QLineEdit>
#include <QLocale>
#include <QPluginLoader>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    int failures = 0;
    auto check = [&failures](bool ok, const char* what) {
        std::printf("%s: %s\n", ok ? "ok" : "FAILED", what);
        failures += ok ? 0 : 1;
    };

    check(std::strcmp(ConfigDialogs::version(), CONFIGDIALOGS_VERSION_STRING) == 0,
        "library version matches headers");

#ifdef CONSUMER_EXPECTED_QT_MAJOR
    check(QString::fromLatin1(qVersion())
              .startsWith(QString::number(CONSUMER_EXPECTED_QT_MAJOR) + QLatin1Char('.')),
        "runs with the Qt major version the package names");
#endif

    kq::NodeDB* db = kq::NodeDB::getDB();
    QString error;
    const bool loaded = db->loadJson(R"({ "nodes": [ { "id": "cam-1", "properties": [
        { "id": "0x1002", "kind": "long", "value": 7, "min": 0, "max": 100 } ] } ] })",
        &error);
    check(loaded, "node database loads a document");
    kqm::smart<const kq::INodeConfigSession> session = db->session(QStringLiteral("cam-1"));
    check(!session.null()
            && session->property(kq::ELongProperty(0x1002), kq::HasProperties::k_contextIndexDefault),
        "session answers a typed property");

    QLineEdit edit;
    check(ConfigDialogs::installTranslator(QLocale(QLocale::German, QLocale::Germany)),
        "German catalogue installs from the library");
    kq::setIndeterminate(&edit);
    check(edit.text() == QStringLiteral("<Mehrere Werte>"), "indeterminate marker shows in German");

    // Given the installed Designer plugin's path: it loads (finding the
    // library beside it) and offers the widget collection.
    if (argc > 1) {
        QPluginLoader plugin(QString::fromLocal8Bit(argv[1]));
        check(plugin.load() && plugin.instance(), "Designer plugin loads from the install");
        check(plugin.metaData().value(QStringLiteral("IID")).toString()
                == QStringLiteral("org.qt-project.Qt.QDesignerCustomWidgetCollectionInterface"),
            "Designer plugin is a widget collection");
    }

    std::printf("consumer: %s\n", failures == 0 ? "all checks passed" : "some checks FAILED");
    return failures == 0 ? 0 : 1;
}
