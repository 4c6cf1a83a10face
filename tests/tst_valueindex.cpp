// Lookups by raw value follow every change other code makes to a list
// widget's or combo box's items, and answer exactly as a scan from the first
// entry (QComboBox::findData for combo boxes) would. The IP/port tree sizes
// its columns as Qt's own sizing does once loading is over.
#include "propertywidgets/PropertyWidgets_p.h"

#include "ipporttree_testsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QListWidget>
#include <QRandomGenerator>
#include <QStandardItemModel>
#include <QtTest>

namespace {

// The first item whose raw value equals value, by a plain scan.
QListWidgetItem* scanList(const QListWidget& list, const QString& value)
{
    for (int row = 0; row < list.count(); ++row) {
        if (list.item(row)->data(Qt::UserRole).toString() == value)
            return list.item(row);
    }
    return nullptr;
}

QVariant randomRaw(QRandomGenerator& random)
{
    switch (random.bounded(6)) {
    case 0:
        return QVariant();
    case 1:
        return QVariant(qlonglong(random.bounded(4)));
    case 2:
        return QVariant(double(random.bounded(4)));
    default:
        return QVariant(QString::number(random.bounded(4)));
    }
}

} // namespace

class TestValueIndex : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listFollowsChangesByOtherCode()
    {
        QListWidget list;
        kq::resetListWidget(&list, nullptr);
        for (const char* value : { "a", "b", "c" })
            kq::addValue(&list, QString::fromLatin1(value), true, -1);
        QCOMPARE(kq::findItem(&list, QStringLiteral("b")), list.item(1));

        list.item(1)->setData(Qt::UserRole, QStringLiteral("z"));
        QCOMPARE(kq::findItem(&list, QStringLiteral("b")), nullptr);
        QCOMPARE(kq::findItem(&list, QStringLiteral("z")), list.item(1));

        // A duplicate inserted above: the first one wins.
        auto* top = new QListWidgetItem;
        top->setData(Qt::UserRole, QStringLiteral("c"));
        list.insertItem(0, top);
        QCOMPARE(kq::findItem(&list, QStringLiteral("c")), top);

        delete list.takeItem(0);
        QCOMPARE(kq::findItem(&list, QStringLiteral("c")), list.item(2));

        list.item(0)->setText(QStringLiteral("shown text only"));
        QCOMPARE(kq::findItem(&list, QStringLiteral("a")), list.item(0));

        list.sortItems(Qt::DescendingOrder);
        for (const char* value : { "a", "z", "c", "b" })
            QCOMPARE(
                kq::findItem(&list, QString::fromLatin1(value)), scanList(list, QString::fromLatin1(value)));

        list.clear();
        QCOMPARE(kq::findItem(&list, QStringLiteral("a")), nullptr);
    }

    void comboAnswersAsFindData()
    {
        // Entries of every kind, changed at random by other code; every
        // lookup is compared with QComboBox::findData.
        QRandomGenerator random(7);
        QComboBox box;
        for (int step = 0; step < 3000; ++step) {
            switch (random.bounded(8)) {
            case 0:
            case 1:
                box.insertItem(random.bounded(box.count() + 1), QStringLiteral("entry"), randomRaw(random));
                break;
            case 2:
                if (box.count() > 0)
                    box.removeItem(random.bounded(box.count()));
                break;
            case 3:
                if (box.count() > 0)
                    box.setItemData(random.bounded(box.count()), randomRaw(random), Qt::UserRole);
                break;
            case 4:
                box.model()->sort(0, random.bounded(2) ? Qt::AscendingOrder : Qt::DescendingOrder);
                break;
            case 5:
                if (random.bounded(20) == 0)
                    box.clear();
                break;
            case 6:
                kq::setIndeterminate(&box);
                break;
            default:
                kq::addValue(&box, QString::number(random.bounded(4)), random.bounded(2));
                break;
            }
            const QVariant raw = randomRaw(random);
            QVERIFY2(kq::findData(&box, raw) == box.findData(raw, Qt::UserRole),
                qPrintable(QStringLiteral("step %1, %2").arg(step).arg(raw.toString())));
        }
    }

    void comboStringLookupsAgreeWithFindData_data()
    {
        QTest::addColumn<QVariant>("entry");
        const QVariant entries[] = { QVariant(true), QVariant(false), QVariant(int(5)), QVariant(int(0)),
            QVariant(qlonglong(1)), QVariant(qlonglong(5)), QVariant(1.0), QVariant(5.0), QVariant() };
        const char* names[] = { "bool true", "bool false", "int 5", "int 0", "qlonglong 1", "qlonglong 5",
            "double 1.0", "double 5.0", "invalid" };
        for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
            QTest::newRow(names[i]) << entries[i];
    }

    void comboStringLookupsAgreeWithFindData()
    {
        // Every way the library finds an entry by a text answers as
        // QComboBox::findData with exact, case-sensitive matching, whatever
        // the entry holds; the texts include near misses that a conversion
        // the other way round would let through.
        QFETCH(QVariant, entry);
        const char* texts[] = { "abc", "true", "false", "1", "0", "", "05", "1.0", " 5", "5", "5.0" };
        for (int before = 0; before < 2; ++before) {
            QComboBox box;
            if (before)
                box.addItem(QStringLiteral("text"), QStringLiteral("other"));
            box.addItem(QStringLiteral("entry"), entry);
            for (const char* text : texts) {
                const QString value = QLatin1String(text);
                const int expected
                    = box.findData(QVariant(value), Qt::UserRole, Qt::MatchExactly | Qt::MatchCaseSensitive);
                const QByteArray what = QByteArray("text \"") + text + "\"";
                QVERIFY2(kq::findData(&box, QVariant(value)) == expected, what.constData());
                QVERIFY2(kq::isEnabled(&box, value) == (expected >= 0), what.constData());
            }
        }
    }

    void comboFollowsANewModel()
    {
        QComboBox box;
        box.addItem(QStringLiteral("one"), QStringLiteral("1"));
        QCOMPARE(kq::findData(&box, QStringLiteral("1")), 0);

        auto* model = new QStandardItemModel(&box);
        for (const char* value : { "2", "1" }) {
            auto* item = new QStandardItem(QString::fromLatin1(value));
            item->setData(QString::fromLatin1(value), Qt::UserRole);
            model->appendRow(item);
        }
        box.setModel(model);
        QCOMPARE(kq::findData(&box, QStringLiteral("1")), 1);
        QCOMPARE(kq::findData(&box, QStringLiteral("2")), 0);

        // A box showing a sub-tree or another column is scanned as Qt does.
        box.setModelColumn(0);
        model->item(0)->appendRow(new QStandardItem(QStringLiteral("child")));
        model->item(0)->child(0)->setData(QStringLiteral("1"), Qt::UserRole);
        box.setRootModelIndex(model->index(0, 0));
        QCOMPARE(kq::findData(&box, QStringLiteral("1")), box.findData(QStringLiteral("1"), Qt::UserRole));
    }

    void treeColumnsSizedAsQtSizesThem()
    {
        kqtest::insertNodes({ QStringLiteral("size-a"), QStringLiteral("size-b") });
        const auto list = &kqtest::makeTargets;

        kqgui::IpPortTreeWidget tree;
        const auto a = list({ QStringLiteral("10.0.0.1:80") });
        const auto b = list({ QStringLiteral("192.168.100.200:65000"), QStringLiteral("10.0.0.1:80") });
        tree.update(a.get(), QStringLiteral("size-a"));
        tree.update(b.get(), QStringLiteral("size-b"));
        QCoreApplication::processEvents();
        const int address = tree.columnWidth(0);
        const int port = tree.columnWidth(1);

        // Qt's own sizing of the same rows, done now (the port column is the
        // last one and stretches over what the address column leaves).
        tree.resizeColumnToContents(0);
        tree.resizeColumnToContents(1);
        tree.setColumnWidth(0, tree.columnWidth(0) + 20);
        QCOMPARE(address, tree.columnWidth(0));
        QCOMPARE(port, tree.columnWidth(1));
        QVERIFY(address > 20);

        // Any other call on the tree sizes first: a wider entry loaded, then
        // the write-back.
        const auto c = list({ QStringLiteral("192.168.100.200:65000"), QStringLiteral("255.255.255.255:1") });
        tree.update(c.get(), QStringLiteral("size-a"));
        const auto out = list({});
        tree.setConfigSessionProperty(out.get(), QStringLiteral("size-a"));
        const int after = tree.columnWidth(0);
        tree.resizeColumnToContents(0);
        QCOMPARE(after, tree.columnWidth(0) + 20);
    }

    // Cells that look alike are measured once per sizing pass; cells that
    // differ in any way that changes their size are still measured on their
    // own. The odd cell follows ordinary cells of the same text, the widest
    // text of the column, and is
    // wider than they are, so a memo that mixed them up would size the column
    // too narrow. Compared with Qt's own sizing, on the tree itself and on a
    // plain QTreeWidget holding copies of the rows.
    void treeSizingTellsLookalikeCellsApart_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("role");
        QTest::addColumn<QVariant>("value");

        QFont big = QApplication::font();
        big.setPointSize(big.pointSize() * 3);
        QFont spaced = QApplication::font();
        spaced.setLetterSpacing(QFont::AbsoluteSpacing, 12);
        QPixmap wide(48, 8);
        wide.fill(Qt::red);

        QTest::newRow("larger font") << 1 << int(Qt::FontRole) << QVariant(big);
        QTest::newRow("letter spacing") << 1 << int(Qt::FontRole) << QVariant(spaced);
        QTest::newRow("icon") << 1 << int(Qt::DecorationRole) << QVariant(QIcon(wide));
        QTest::newRow("check box") << 1 << int(Qt::CheckStateRole) << QVariant(int(Qt::Checked));
        QTest::newRow("size hint") << 1 << int(Qt::SizeHintRole) << QVariant(QSize(260, 20));
        QTest::newRow("address font") << 0 << int(Qt::FontRole) << QVariant(big);
    }

    void treeSizingTellsLookalikeCellsApart()
    {
        QFETCH(int, column);
        QFETCH(int, role);
        QFETCH(QVariant, value);

        kqgui::IpPortTreeWidget tree;
        auto lists = loadAlikeRows(tree);
        const int ordinary = qtWidth(tree, column);

        // Set behind the tree's back while its sizing is still pending.
        tree.topLevelItem(151)->setData(column, role, value);
        QCOMPARE(tree.topLevelItem(151)->text(1), QStringLiteral("8080"));
        const int expected = qtWidth(tree, column);
        QVERIFY2(expected > ordinary, "the odd cell is the widest of its column");

        QCoreApplication::processEvents();
        QCOMPARE(tree.columnWidth(column), expected);
    }

    // A later pass measures anew: nothing carries over from the last one.
    void treeSizingForgetsEarlierPasses()
    {
        kqgui::IpPortTreeWidget tree;
        auto lists = loadAlikeRows(tree);
        QCoreApplication::processEvents();
        const int before = tree.columnWidth(1);
        QCOMPARE(before, qtWidth(tree, 1));

        QFont larger = tree.font();
        larger.setPointSize(larger.pointSize() * 2);
        tree.setFont(larger);
        auto again = loadAlikeRows(tree);
        const int expected = qtWidth(tree, 1);
        QVERIFY(expected > before);
        QCoreApplication::processEvents();
        QCOMPARE(tree.columnWidth(1), expected);
        QCOMPARE(tree.columnWidth(0), qtWidth(tree, 0));
    }

private:
    // Six nodes of 31 entries: one shared, the rest their own, with ports
    // 80 and 8080 repeated over the rows. Leaves the sizing pending.
    static std::vector<std::unique_ptr<kqgui::IpPortTreeWidget::ListProperty>> loadAlikeRows(
        kqgui::IpPortTreeWidget& tree)
    {
        QStringList ids;
        for (int n = 0; n < 6; ++n)
            ids.append(QStringLiteral("alike-%1").arg(n));
        kqtest::insertNodes(ids);
        tree.resize(320, 200);
        // The port column keeps the width sized for it.
        tree.header()->setStretchLastSection(false);
        std::vector<std::unique_ptr<kqgui::IpPortTreeWidget::ListProperty>> lists;
        for (int n = 0; n < ids.size(); ++n) {
            QStringList entries { QStringLiteral("10.0.0.1:80") };
            for (int j = 0; j < 30; ++j)
                entries.append(QStringLiteral("10.%1.0.%2:%3").arg(n).arg(j + 1).arg(j % 3 ? 80 : 8080));
            lists.push_back(kqtest::makeTargets(entries));
            tree.update(lists.back().get(), ids.at(n));
        }
        if (tree.topLevelItemCount() != 1 + 6 * 30)
            qFatal("loadAlikeRows: %d rows", tree.topLevelItemCount());
        return lists;
    }

    // The width Qt's own sizing gives the column of a plain QTreeWidget with
    // copies of the tree's rows, its font, size and header (20 pixels more
    // for the address column, as the tree widens it).
    static int qtWidth(const QTreeWidget& tree, int column)
    {
        QTreeWidget plain;
        plain.resize(tree.size());
        plain.setFont(tree.font());
        plain.header()->setStretchLastSection(tree.header()->stretchLastSection());
        plain.setHeaderLabels({ tree.headerItem()->text(0), tree.headerItem()->text(1) });
        for (int row = 0; row < tree.topLevelItemCount(); ++row)
            plain.addTopLevelItem(tree.topLevelItem(row)->clone());
        plain.resizeColumnToContents(column);
        return plain.columnWidth(column) + (column == 0 ? 20 : 0);
    }
};

QTEST_MAIN(TestValueIndex)
#include "tst_valueindex.moc"
