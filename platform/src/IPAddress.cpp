#include <kq/IPAddress.h>

#include <QHostAddress>
#include <QMutex>
#include <QMutexLocker>
#include <QNetworkInterface>
#include <QVector>

#include <cstring>
#include <optional>

namespace kq {

namespace {

    // Four decimal octets of one to three digits, each at most 255. Written
    // by hand because QHostAddress also takes short and octal forms, which
    // would make "010.0.0.1" mean 8.0.0.1.
    bool parseDottedQuad(const QString& text, std::array<unsigned char, 16>* bytes)
    {
        const QStringList parts = text.split(QLatin1Char('.'), Qt::KeepEmptyParts);
        if (parts.size() != 4)
            return false;
        for (int i = 0; i < 4; ++i) {
            const QString& part = parts.at(i);
            if (part.isEmpty() || part.size() > 3)
                return false;
            int value = 0;
            for (const QChar c : part) {
                if (c < QLatin1Char('0') || c > QLatin1Char('9'))
                    return false;
                value = value * 10 + (c.unicode() - '0');
            }
            if (value > 255)
                return false;
            (*bytes)[i] = static_cast<unsigned char>(value);
        }
        return true;
    }

    struct LocalOverride {
        QMutex mutex;
        std::optional<QList<IPAddress>> addresses;
    };

    LocalOverride& localOverride()
    {
        static LocalOverride instance;
        return instance;
    }

} // namespace

IPAddress::IPAddress() = default;

IPAddress::IPAddress(const QString& text)
    : m_text(text)
{
    const QString trimmed = text.trimmed();
    if (parseDottedQuad(trimmed, &m_bytes)) {
        m_family = Family::IPv4;
        m_text
            = QStringLiteral("%1.%2.%3.%4").arg(m_bytes[0]).arg(m_bytes[1]).arg(m_bytes[2]).arg(m_bytes[3]);
        return;
    }
    m_bytes.fill(0);
    if (!trimmed.contains(QLatin1Char(':')))
        return;
    const QHostAddress host(trimmed);
    if (host.protocol() != QAbstractSocket::IPv6Protocol)
        return;
    const Q_IPV6ADDR v6 = host.toIPv6Address();
    static_assert(sizeof(v6.c) == 16, "an IPv6 address has 16 bytes");
    std::memcpy(m_bytes.data(), v6.c, 16);
    m_family = Family::IPv6;
    m_text = host.toString();
}

bool IPAddress::operator==(const IPAddress& other) const
{
    if (m_family != other.m_family)
        return false;
    if (m_family == Family::Invalid)
        return m_text == other.m_text;
    return m_bytes == other.m_bytes;
}

QList<IPAddress> IPAddress::enumLocalAddresses()
{
    {
        LocalOverride& o = localOverride();
        QMutexLocker lock(&o.mutex);
        if (o.addresses)
            return *o.addresses;
    }
    QList<IPAddress> result;
    const QList<QHostAddress> hosts = QNetworkInterface::allAddresses();
    for (const QHostAddress& host : hosts)
        result.append(IPAddress(host.toString()));
    return result;
}

void IPAddress::setLocalAddressesOverride(const QList<IPAddress>& addresses)
{
    LocalOverride& o = localOverride();
    QMutexLocker lock(&o.mutex);
    o.addresses = addresses;
}

void IPAddress::resetLocalAddressesOverride()
{
    LocalOverride& o = localOverride();
    QMutexLocker lock(&o.mutex);
    o.addresses.reset();
}

} // namespace kq
