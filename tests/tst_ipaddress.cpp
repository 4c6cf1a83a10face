#include <kq/IPAddress.h>

#include <QtTest>

using kq::IPAddress;

class TestIPAddress : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { IPAddress::resetLocalAddressesOverride(); }

    void defaultIsEmpty()
    {
        const IPAddress none;
        QVERIFY(!none.isValid());
        QVERIFY(!none.isIPv4());
        QVERIFY(!none.isIPv6());
        QCOMPARE(none.toString(), QString());
    }

    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("family"); // 0 not valid, 4, 6
        QTest::addColumn<QString>("canonical");

        QTest::newRow("ipv4") << "10.0.0.1" << 4 << "10.0.0.1";
        QTest::newRow("ipv4 bounds") << "0.0.0.0" << 4 << "0.0.0.0";
        QTest::newRow("ipv4 broadcast") << "255.255.255.255" << 4 << "255.255.255.255";
        QTest::newRow("leading zeros are decimal") << "010.000.0.09" << 4 << "10.0.0.9";
        QTest::newRow("surrounding blanks") << " 192.168.1.5\t" << 4 << "192.168.1.5";
        QTest::newRow("octet 256") << "256.0.0.1" << 0 << "256.0.0.1";
        QTest::newRow("four digits") << "0010.0.0.1" << 0 << "0010.0.0.1";
        QTest::newRow("three octets") << "10.0.1" << 0 << "10.0.1";
        QTest::newRow("five octets") << "1.2.3.4.5" << 0 << "1.2.3.4.5";
        QTest::newRow("empty octet") << "1..2.3" << 0 << "1..2.3";
        QTest::newRow("hex octet") << "0x0a.0.0.1" << 0 << "0x0a.0.0.1";
        QTest::newRow("single number") << "167772161" << 0 << "167772161";
        QTest::newRow("signed octet") << "+1.2.3.4" << 0 << "+1.2.3.4";
        QTest::newRow("with port") << "1.2.3.4:80" << 0 << "1.2.3.4:80";
        QTest::newRow("trailing text") << "10.0.0.1x" << 0 << "10.0.0.1x";
        QTest::newRow("word") << "camera" << 0 << "camera";
        QTest::newRow("empty") << "" << 0 << "";
        QTest::newRow("zero octets with leading zeros") << "00.000.0.00" << 4 << "0.0.0.0";
        QTest::newRow("leading zero in the last octet") << "1.2.3.04" << 4 << "1.2.3.4";
        QTest::newRow("three-digit octets kept") << "100.200.250.199" << 4 << "100.200.250.199";
        QTest::newRow("line break around") << "\n10.0.0.1\r\n" << 4 << "10.0.0.1";
        QTest::newRow("trailing dot") << "1.2.3.4." << 0 << "1.2.3.4.";
        QTest::newRow("leading dot") << ".1.2.3" << 0 << ".1.2.3";
        QTest::newRow("blank inside") << "1.2 .3.4" << 0 << "1.2 .3.4";
        QTest::newRow("octet 300 in the middle") << "1.300.3.4" << 0 << "1.300.3.4";
        QTest::newRow("arabic-indic digit")
            << QString::fromUtf8("1.2.3.\xd9\xa1") << 0 << QString::fromUtf8("1.2.3.\xd9\xa1");
        QTest::newRow("full-width digit")
            << QString::fromUtf8("1.2.3.\xef\xbc\x91") << 0 << QString::fromUtf8("1.2.3.\xef\xbc\x91");
        QTest::newRow("invalid keeps its blanks") << " 1.2.3 " << 0 << " 1.2.3 ";
        QTest::newRow("ipv6 loopback") << "::1" << 6 << "::1";
        QTest::newRow("ipv6 long form") << "0:0:0:0:0:0:0:1" << 6 << "::1";
        QTest::newRow("ipv6 upper case") << "2001:DB8::1" << 6 << "2001:db8::1";
        QTest::newRow("ipv6 zone") << "fe80::1%eth0" << 6 << "fe80::1%eth0";
        QTest::newRow("ipv4-mapped ipv6") << "::ffff:10.0.0.1" << 6 << "::ffff:10.0.0.1";
        QTest::newRow("ipv6 broken") << "2001:db8:::1" << 0 << "2001:db8:::1";
    }

    void parse()
    {
        QFETCH(QString, text);
        QFETCH(int, family);
        QFETCH(QString, canonical);

        const IPAddress address(text);
        QCOMPARE(address.isValid(), family != 0);
        QCOMPARE(address.isIPv4(), family == 4);
        QCOMPARE(address.isIPv6(), family == 6);
        QCOMPARE(address.toString(), canonical);
    }

    void equality_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<bool>("equal");

        QTest::newRow("same text") << "10.0.0.1"
                                   << "10.0.0.1" << true;
        QTest::newRow("leading zeros") << "010.0.0.001"
                                       << "10.0.0.1" << true;
        QTest::newRow("blanks") << " 10.0.0.1"
                                << "10.0.0.1" << true;
        QTest::newRow("other address") << "10.0.0.1"
                                       << "10.0.0.2" << false;
        QTest::newRow("ipv6 forms") << "::1"
                                    << "0:0:0:0:0:0:0:1" << true;
        QTest::newRow("ipv6 zone ignored") << "fe80::1%eth0"
                                           << "fe80::1" << true;
        QTest::newRow("ipv4 vs mapped ipv6") << "10.0.0.1"
                                             << "::ffff:10.0.0.1" << false;
        QTest::newRow("ipv4 vs ipv6 loopback") << "127.0.0.1"
                                               << "::1" << false;
        QTest::newRow("invalid same text") << "300.1.1.1"
                                           << "300.1.1.1" << true;
        QTest::newRow("invalid other text") << "camera-1"
                                            << "camera-2" << false;
        QTest::newRow("invalid texts differ in blanks") << "camera"
                                                        << " camera" << false;
        QTest::newRow("invalid vs valid") << "10.0.0.1x"
                                          << "10.0.0.1" << false;
        QTest::newRow("empty vs zero address") << ""
                                               << "0.0.0.0" << false;
        QTest::newRow("zeros vs zero address") << "000.00.0.000"
                                               << "0.0.0.0" << true;
        QTest::newRow("octets differ in the last place") << "10.0.0.1"
                                                         << "10.0.0.10" << false;
    }

    void equality()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(bool, equal);

        const IPAddress x(a);
        const IPAddress y(b);
        QCOMPARE(x == y, equal);
        QCOMPARE(y == x, equal);
        QCOMPARE(x != y, !equal);
        QVERIFY(x == x);
        QVERIFY(y == y);
    }

    void emptyTextEqualsDefault()
    {
        QVERIFY(IPAddress(QString()) == IPAddress());
        QVERIFY(IPAddress(QStringLiteral("")) == IPAddress());
        QVERIFY(IPAddress(QStringLiteral("0.0.0.0")) != IPAddress());
    }

    void listSearch()
    {
        const QList<IPAddress> list { IPAddress(QStringLiteral("10.0.0.2")),
            IPAddress(QStringLiteral("bogus")) };
        QVERIFY(list.contains(IPAddress(QStringLiteral("010.0.0.2"))));
        QVERIFY(list.contains(IPAddress(QStringLiteral("bogus"))));
        QVERIFY(!list.contains(IPAddress(QStringLiteral("10.0.0.3"))));
    }

    void overrideHook()
    {
        const QList<IPAddress> chosen { IPAddress(QStringLiteral("10.0.0.2")),
            IPAddress(QStringLiteral("::1")) };
        IPAddress::setLocalAddressesOverride(chosen);
        QCOMPARE(IPAddress::enumLocalAddresses(), chosen);

        IPAddress::setLocalAddressesOverride({});
        QVERIFY(IPAddress::enumLocalAddresses().isEmpty());

        IPAddress::resetLocalAddressesOverride();
        QVERIFY(IPAddress::enumLocalAddresses().contains(IPAddress(QStringLiteral("127.0.0.1"))));
    }

    void realEnumeration()
    {
        const QList<IPAddress> local = IPAddress::enumLocalAddresses();
        QVERIFY(!local.isEmpty());
        QVERIFY2(
            local.contains(IPAddress(QStringLiteral("127.0.0.1"))), "the IPv4 loopback address is local");
        for (const IPAddress& address : local)
            QVERIFY2(address.isValid(), qPrintable(address.toString()));
        QVERIFY(!local.contains(IPAddress(QStringLiteral("203.0.113.77"))));
    }
};

QTEST_MAIN(TestIPAddress)
#include "tst_ipaddress.moc"
