#include <kq/Connect.h>
#include <kq/Log.h>

#include <QMetaObject>
#include <QObject>

namespace kq {

namespace {
    // "Class::signature" for the log line, with the SIGNAL()/SLOT() code digit
    // stripped.
    QString describe(const QObject* object, const char* member)
    {
        const QString cls
            = object ? QString::fromLatin1(object->metaObject()->className()) : QStringLiteral("(null)");
        QString name = member ? QString::fromLatin1(member) : QStringLiteral("(null)");
        if (member && (name.startsWith(QLatin1Char('1')) || name.startsWith(QLatin1Char('2'))))
            name.remove(0, 1);
        return cls + QStringLiteral("::") + name;
    }
}

bool connect(const QObject* sender, const char* signal, const QObject* receiver, const char* method,
    Qt::ConnectionType type)
{
    if (sender && signal && receiver && method && QObject::connect(sender, signal, receiver, method, type))
        return true;
    logLine(
        Log::Warning, "kq::connect failed: ", describe(sender, signal), " -> ", describe(receiver, method));
    return false;
}

} // namespace kq
