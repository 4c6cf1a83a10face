#include "VideoSource_p.h"

#include <QRegularExpression>
#include <QUrl>

namespace kq::video {

namespace {
    // Where the user information of a URL sits: [start, end) of the text
    // before the last '@' of the authority, or an empty range without one.
    struct UserInfo {
        int start = -1;
        int colon = -1; // the ':' before the password, or -1
        int end = -1;
    };

    UserInfo userInfo(const QString& source)
    {
        UserInfo info;
        const int scheme = source.indexOf(QLatin1String("://"));
        if (scheme <= 0)
            return info;
        const int authority = scheme + 3;
        // Passwords are often written into the URL as they are, '?' and '#'
        // included: the user information runs to the last '@' before the
        // path.
        const int slash = source.indexOf(QLatin1Char('/'), authority);
        const int authorityEnd = slash >= 0 ? slash : source.size();
        const int at = source.lastIndexOf(QLatin1Char('@'), authorityEnd - 1);
        if (at < authority)
            return info;
        info.start = authority;
        info.end = at;
        const int colon = source.indexOf(QLatin1Char(':'), authority);
        info.colon = colon >= 0 && colon < at ? colon : -1;
        return info;
    }

    QString password(const QString& source)
    {
        const UserInfo info = userInfo(source);
        if (info.colon < 0)
            return QString();
        return source.mid(info.colon + 1, info.end - info.colon - 1);
    }
}

QString withoutUserInfo(const QString& source, QString* user, QString* password)
{
    const UserInfo info = userInfo(source);
    if (info.start < 0) {
        *user = *password = QString();
        return source;
    }
    const int userEnd = info.colon >= 0 ? info.colon : info.end;
    *user = QUrl::fromPercentEncoding(source.mid(info.start, userEnd - info.start).toUtf8());
    *password = info.colon >= 0
        ? QUrl::fromPercentEncoding(source.mid(info.colon + 1, info.end - info.colon - 1).toUtf8())
        : QString();
    return source.left(info.start) + source.mid(info.end + 1);
}

bool isUrl(const QString& source)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    return scheme.match(source).hasMatch()
        && !source.startsWith(QLatin1String("file://"), Qt::CaseInsensitive);
}

bool isNetworkStream(const QString& source)
{
    static const QRegularExpression schemes(
        QStringLiteral("^(rtsps?|rtspt|https?)://"), QRegularExpression::CaseInsensitiveOption);
    return schemes.match(source).hasMatch();
}

QString redacted(const QString& source)
{
    const UserInfo info = userInfo(source);
    if (info.colon < 0)
        return source;
    QString result = source;
    result.replace(info.colon + 1, info.end - info.colon - 1, QStringLiteral("***"));
    return result;
}

QString withoutSecrets(const QString& text, const QString& source)
{
    QString result = text;
    // Any user:password@ in the text (GStreamer quotes URLs it was given).
    static const QRegularExpression credentials(QStringLiteral("(://[^/@\\s:]*:)[^/@\\s]*@"));
    result.replace(credentials, QStringLiteral("\\1***@"));
    const QString secret = password(source);
    if (!secret.isEmpty()) {
        const QString decoded = QUrl::fromPercentEncoding(secret.toUtf8());
        for (const QString& form : { secret, decoded, QString::fromUtf8(QUrl::toPercentEncoding(decoded)) }) {
            if (!form.isEmpty())
                result.replace(form, QStringLiteral("***"));
        }
    }
    return result;
}

} // namespace kq::video
