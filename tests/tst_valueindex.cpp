// Lookups by raw value follow every change other code makes to a list
// widget's or combo box's items, and answer exactly as a scan from the first
// entry (QComboBox::findData for combo boxes) would.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QApplication>
#include <QComboBox>
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
};

QTEST_MAIN(TestValueIndex)
#include "tst_valueindex.moc"
