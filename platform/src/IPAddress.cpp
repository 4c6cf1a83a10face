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
    // would make "010.0.0.1" mean 8.0.0.1. Reads the characters in place: the
    // tree builds an address for every row it loads, so this stays free of
    // allocations. `canonical` tells whether the text is already the
    // canonical form (no leading zeros).
    bool parseDottedQuad(QStringView text, std::array<unsigned char, 16>* bytes, bool* canonical)
    {
        *canonical = true;
        int octet = 0;
        int digits = 0;
        int value = 0;
        for (const QChar c : text) {
            if (c == QLatin1Char('.')) {
                if (digits == 0 || octet == 3)
                    return false;
                (*bytes)[octet++] = static_cast<unsigned char>(value);
                digits = 0;
                value = 0;
                continue;
            }
            if (c < QLatin1Char('0') || c > QLatin1Char('9') || digits == 3)
                return false;
            if (digits == 1 && value == 0)
                *canonical = false;
            value = value * 10 + (c.unicode() - '0');
            if (value > 255)
                return false;
            ++digits;
        }
        if (digits == 0 || octet != 3)
            return false;
        (*bytes)[3] = static_cast<unsigned char>(value);
        return true;
    }

    // The text between leading and trailing white space (QChar::isSpace, as
    // QString::trimmed() takes it).
    QStringView trimmedView(const QString& text)
    {
        QStringView view(text);
        int begin = 0;
        int end = view.size();
        while (begin < end && view.at(begin).isSpace())
            ++begin;
        while (end > begin && view.at(end - 1).isSpace())
            --end;
        return view.mid(begin, end - begin);
    }

    QString dottedQuadText(const std::array<unsigned char, 16>& bytes)
    {
        char buffer[16];
        int length = 0;
        for (int i = 0; i < 4; ++i) {
            if (i > 0)
                buffer[length++] = '.';
            const int value = bytes[i];
            if (value >= 100)
                buffer[length++] = char('0' + value / 100);
            if (value >= 10)
                buffer[length++] = char('0' + value / 10 % 10);
            buffer[length++] = char('0' + value % 10);
        }
        return QString::fromLatin1(buffer, length);
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
    const QStringView trimmed = trimmedView(text);
    bool canonical = false;
    if (parseDottedQuad(trimmed, &m_bytes, &canonical)) {
        m_family = Family::IPv4;
        // The common case, a canonical text without blanks, keeps the text
        // as given.
        if (!canonical || trimmed.size() != text.size())
            m_text = dottedQuadText(m_bytes);
        return;
    }
    m_bytes.fill(0);
    if (!trimmed.contains(QLatin1Char(':')))
        return;
    const QHostAddress host(trimmed.toString());
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
