// A network address (IPv4 or IPv6) read from text, and the addresses of this
// computer's network interfaces.
#pragma once

#include <kq/kqplatform_export.h>

#include <QList>
#include <QString>

#include <array>

namespace kq {

class KQPLATFORM_EXPORT IPAddress {
public:
    // The empty address: not valid, toString() is empty.
    IPAddress();

    // Reads an address from text. Surrounding white space is ignored.
    // Accepted forms:
    //  - IPv4 as four dot-separated decimal octets 0..255, each of one to
    //    three digits; leading zeros are decimal, so "010.0.0.1" is 10.0.0.1.
    //    Short forms ("10.1"), hexadecimal or octal octets and single numbers
    //    are not accepted.
    //  - IPv6 in any standard text form, with an optional zone ("%eth0").
    // Anything else (including the empty text) makes an address that is not
    // valid; it keeps the text it was given, so toString() returns that text
    // unchanged.
    explicit IPAddress(const QString& text);

    bool isValid() const { return m_family != Family::Invalid; }
    bool isIPv4() const { return m_family == Family::IPv4; }
    bool isIPv6() const { return m_family == Family::IPv6; }

    // A valid address in its canonical form ("10.0.0.1", "fe80::1%eth0");
    // for an address that is not valid, the text it was made from.
    QString toString() const { return m_text; }

    // Valid addresses compare by value: same family and same bits. The IPv6
    // zone is not part of the value, and an IPv4 address never equals an
    // IPv6 one (not even its IPv4-mapped form ::ffff:a.b.c.d).
    // An address that is not valid equals only another address that is not
    // valid made from the identical text (so == stays an equivalence and
    // lists of addresses can be searched); it never equals a valid address.
    bool operator==(const IPAddress& other) const;
    bool operator!=(const IPAddress& other) const { return !(*this == other); }

    // The addresses of this computer's network interfaces (loopback
    // included), as the operating system reports them; empty when it
    // reports none.
    static QList<IPAddress> enumLocalAddresses();

    // Test hook, not for application code: while an override is set,
    // enumLocalAddresses() returns exactly the given list (which may be empty)
    // instead of asking the operating system. resetLocalAddressesOverride()
    // goes back to the real interfaces. Thread-safe.
    static void setLocalAddressesOverride(const QList<IPAddress>& addresses);
    static void resetLocalAddressesOverride();

private:
    enum class Family : unsigned char { Invalid, IPv4, IPv6 };

    Family m_family = Family::Invalid;
    // IPv4 in the first four bytes, IPv6 in all sixteen, network byte order.
    std::array<unsigned char, 16> m_bytes {};
    QString m_text;
};

} // namespace kq
