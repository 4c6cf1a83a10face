// Bad input to the IP/port tree gets its documented answer and leaves every
// other piece of state as it was: the rows, their coverage, the master row
// and port, and what each node's list is written back as.
#include "LogCapture.h"
#include "ipporttree_testsupport.h"

#include <QApplication>
#include <QTreeWidgetItemIterator>
#include <QtTest>

using kqgui::IpPortTreeWidget;

namespace {

// Everything about the tree that its callers can see.
struct Snapshot {
    QStringList rows; // "address|port|check|tooltip"
    int port = 0;
    bool enabled = true;
    QMap<QString, QStringList> written;

    bool operator==(const Snapshot& o) const
    {
        return rows == o.rows && port == o.port && enabled == o.enabled && written == o.written;
    }
};

const QStringList kNodes { QStringLiteral("bad-a"), QStringLiteral("bad-b") };

Snapshot snapshot(IpPortTreeWidget& tree)
{
    Snapshot s;
    for (QTreeWidgetItemIterator it(&tree); *it; ++it) {
        s.rows.append(QStringLiteral("%1|%2|%3|%4")
                          .arg((*it)->text(0), (*it)->text(1))
                          .arg(int((*it)->checkState(0)))
                          .arg((*it)->data(1, Qt::ToolTipRole).toString()));
    }
    s.port = tree.fetchPort();
    s.enabled = tree.isEnabled();
    for (const QString& node : kNodes) {
        const auto list = kqtest::makeTargets({});
        tree.setConfigSessionProperty(list.get(), node);
        s.written.insert(node, QStringList(list->value().toList()));
    }
    return s;
}

} // namespace

class TestBadInput : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { kqtest::insertNodes(kNodes); }

    void badUpdateChangesNothingElse_data()
    {
        QTest::addColumn<QString>("nodeId");
        QTest::addColumn<bool>("nullProperty");
        QTest::newRow("empty node id") << QString() << false;
        QTest::newRow("unknown node") << QStringLiteral("bad-unknown") << false;
        QTest::newRow("null property") << QStringLiteral("bad-a") << true;
    }

    void badUpdateChangesNothingElse()
    {
        QFETCH(QString, nodeId);
        QFETCH(bool, nullProperty);

        IpPortTreeWidget tree;
        const auto a = kqtest::makeTargets({ QStringLiteral("127.0.0.1:81"), QStringLiteral("10.0.0.1:80") });
        const auto b = kqtest::makeTargets({ QStringLiteral("10.0.0.1:80"), QStringLiteral("10.0.0.3:90") });
        tree.update(a.get(), kNodes.at(0));
        tree.update(b.get(), kNodes.at(1));
        Snapshot before = snapshot(tree);
        QVERIFY(before.enabled);

        const auto other
            = kqtest::makeTargets({ QStringLiteral("10.0.0.9:99"), QStringLiteral("127.0.0.1:7") });
        QSignalSpy master(&tree, &IpPortTreeWidget::masterPortChanged);
        kqtest::LogCapture log;
        tree.update(nullProperty ? nullptr : other.get(), nodeId);

        // The answer: the tree is disabled, silently.
        QVERIFY(!tree.isEnabled());
        QCOMPARE(log.lines(), QStringList());
        QCOMPARE(master.count(), 0);
        QVERIFY(!tree.signalsBlocked());
        // Nothing else moved: rows, coverage, master, every node's write-back.
        before.enabled = false;
        QVERIFY(snapshot(tree) == before);
    }

    void nullWriteBackChangesNothing()
    {
        IpPortTreeWidget tree;
        const auto a = kqtest::makeTargets({ QStringLiteral("10.0.0.1:80") });
        tree.update(a.get(), kNodes.at(0));
        const Snapshot before = snapshot(tree);
        tree.setConfigSessionProperty(nullptr, kNodes.at(0));
        tree.setConfigSessionProperty(nullptr, QStringLiteral("bad-unknown"));
        QVERIFY(snapshot(tree) == before);
    }

    void malformedEntriesAreSkippedAlone()
    {
        // Entries that do not split into address and port are skipped
        // without a message; the well-formed ones load as if alone.
        IpPortTreeWidget plain;
        const auto good
            = kqtest::makeTargets({ QStringLiteral("10.0.0.1:80"), QStringLiteral("10.0.0.2%3A81") });
        plain.update(good.get(), kNodes.at(0));

        IpPortTreeWidget tree;
        const auto mixed = kqtest::makeTargets({ QStringLiteral("a:b:c"), QStringLiteral("10.0.0.1:80"),
            QString(), QStringLiteral("10.0.0.5%3a82"), QStringLiteral("10.0.0.2%3A81"),
            QStringLiteral("1:2:3:4"), QStringLiteral("no separator") });
        kqtest::LogCapture log;
        tree.update(mixed.get(), kNodes.at(0));
        QCOMPARE(log.lines(), QStringList());
        QVERIFY(QApplication::activeModalWidget() == nullptr);
        QVERIFY(tree.isEnabled());
        QVERIFY(snapshot(tree) == snapshot(plain));
        QCOMPARE(snapshot(tree).written.value(kNodes.at(0)),
            (QStringList { QStringLiteral("10.0.0.1:80"), QStringLiteral("10.0.0.2:81") }));
        // The property read is left as it was.
        QCOMPARE(mixed->value().size(), 7);
    }
};

QTEST_MAIN(TestBadInput)
#include "tst_badinput.moc"
