#include <ConfigDialogs/Translations.h>

#include <QCoreApplication>
#include <QPointer>
#include <QTranslator>

// The catalogues' resource is registered by a static initialiser in the
// shared library; a static build may drop that object file, so it is
// registered here as well (registering twice is harmless). Q_INIT_RESOURCE
// must be used outside any namespace.
static void registerTranslationResource() { Q_INIT_RESOURCE(configdialogs_i18n); }

namespace ConfigDialogs {

namespace {
    const char kResourceDir[] = ":/i18n";
    const char kFilePrefix[] = "configdialogs";

    // The translator installTranslator() put in place, owned by the
    // application object (so it goes away with it).
    QPointer<QTranslator>& installed()
    {
        static QPointer<QTranslator> translator;
        return translator;
    }
}

QString translationPath(const QString& language)
{
    return QStringLiteral("%1/%2_%3.qm")
        .arg(QLatin1String(kResourceDir), QLatin1String(kFilePrefix), language);
}

bool installTranslator(const QLocale& locale)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return false;
    registerTranslationResource();

    if (QTranslator* previous = installed().data()) {
        QCoreApplication::removeTranslator(previous);
        delete previous;
    }
    auto* translator = new QTranslator(app);
    if (!translator->load(
            locale, QLatin1String(kFilePrefix), QStringLiteral("_"), QLatin1String(kResourceDir))) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    installed() = translator;
    return true;
}

} // namespace ConfigDialogs
