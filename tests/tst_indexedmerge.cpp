// Merging many nodes into a list widget or combo box goes through the
// widget's value index (a lookup per value instead of a scan per entry). These
// tests run the merges, the check-state updates and the write-back on widgets
// changed at random, side by side with plain scans written as directly as the
// rules read, and require the same entries, flags, visibility, check states
// and written selections after every step. The seed of a failing run is
// printed with the step.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QComboBox>
#include <QListWidget>
#include <QRandomGenerator>
#include <QSet>
#include <QStandardItemModel>
#include <QtTest>

#include <cmath>
#include <limits>

namespace {

// Texts of numbers too: a combo-box entry holding the number 1 is offered by
// the value "1".
const QStringList kAlphabet { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"),
    QStringLiteral("d"), QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("AE") };

QString randomValue(QRandomGenerator& random) { return kAlphabet.at(random.bounded(kAlphabet.size())); }

// 0..7 values, duplicates and "AE" allowed.
QVector<QString> randomValues(QRandomGenerator& random)
{
    QVector<QString> values;
    const int count = random.bounded(8);
    for (int i = 0; i < count; ++i)
        values.append(randomValue(random));
    return values;
}

// ---------------------------------------------------------------------------
// Plain scans

QString rawAt(const QListWidget& list, int row) { return list.item(row)->data(Qt::UserRole).toString(); }

QListWidgetItem* scanList(const QListWidget& list, const QString& value)
{
    for (int row = 0; row < list.count(); ++row) {
        if (rawAt(list, row) == value)
            return list.item(row);
    }
    return nullptr;
}

void scanMergeListRange(QListWidget& list, const QVector<QString>& values)
{
    for (int row = 0; row < list.count(); ++row) {
        QListWidgetItem* item = list.item(row);
        const QString value = rawAt(list, row);
        if (value == QLatin1String("AE") || values.contains(value))
            continue;
        if (item->flags().testFlag(Qt::ItemIsEnabled))
            item->setFlags(item->flags() & ~Qt::ItemIsEnabled);
        item->setHidden(true);
    }
    for (const QString& value : values) {
        if (!scanList(list, value)) {
            kq::addValue(&list, value, false, -1);
            scanList(list, value)->setHidden(true);
        }
    }
}

void scanSetListValue(QListWidget& list, const QVector<QString>& selected)
{
    for (int row = 0; row < list.count(); ++row)
        list.item(row)->setCheckState(selected.contains(rawAt(list, row)) ? Qt::Checked : Qt::Unchecked);
}

void scanMergeListValue(QListWidget& list, const QVector<QString>& selected)
{
    for (int row = 0; row < list.count(); ++row) {
        QListWidgetItem* item = list.item(row);
        const int state = selected.contains(rawAt(list, row)) ? Qt::Checked : Qt::Unchecked;
        if (item->data(Qt::CheckStateRole).toInt() == state)
            continue;
        if (!item->flags().testFlag(Qt::ItemIsAutoTristate))
            item->setFlags(item->flags() | Qt::ItemIsAutoTristate);
        item->setData(Qt::CheckStateRole, int(Qt::PartiallyChecked));
    }
}

// Values the list cannot show keep their membership; a checked value not
// selected is appended, an unchecked one loses its first selected occurrence;
// each kept value is then selected at its first position in the values
// (appended when missing).
void scanWriteBack(kq::TMultiOptions<QString>& option, const QListWidget& list)
{
    if (!list.isEnabled())
        return;
    QVector<QString> selected = option.getSelectedValues();
    QVector<bool> removed(selected.size(), false);
    for (int row = 0; row < list.count(); ++row) {
        const QListWidgetItem* item = list.item(row);
        const int state = item->data(Qt::CheckStateRole).toInt();
        const QString value = rawAt(list, row);
        if (!item->flags().testFlag(Qt::ItemIsEnabled) || state == Qt::PartiallyChecked
            || value == QLatin1String("AE"))
            continue;
        int live = -1;
        for (int i = 0; i < selected.size() && live < 0; ++i) {
            if (selected.at(i) == value && !removed.at(i))
                live = i;
        }
        if (state == Qt::Checked && live < 0) {
            selected.append(value);
            removed.append(false);
        } else if (state == Qt::Unchecked && live >= 0) {
            removed[live] = true;
        }
    }
    QVector<int> indices;
    for (int i = 0; i < selected.size(); ++i) {
        if (removed.at(i))
            continue;
        int at = option.values.indexOf(selected.at(i));
        if (at < 0) {
            at = option.values.size();
            option.values.append(selected.at(i));
        }
        indices.append(at);
    }
    option.selectedIndices = indices;
}

void scanMergeComboRange(QComboBox& box, const QVector<QString>& values)
{
    const int start = box.count() >= 2 && kq::isIndeterminate(box.itemData(0, Qt::UserRole)) ? 2 : 0;
    auto* model = qobject_cast<QStandardItemModel*>(box.model());
    for (int i = start; i < box.count(); ++i) {
        if (!values.contains(box.itemData(i, Qt::UserRole).toString()))
            model->item(i)->setEnabled(false);
    }
    for (const QString& value : values) {
        if (box.findData(value, Qt::UserRole) < 0)
            kq::addValue(&box, value, false);
    }
}

// ---------------------------------------------------------------------------
// Comparison

QString listState(const QListWidget& list)
{
    QStringList rows;
    for (int row = 0; row < list.count(); ++row) {
        const QListWidgetItem* item = list.item(row);
        const QVariant check = item->data(Qt::CheckStateRole);
        rows.append(QStringLiteral("%1|%2|%3|%4|%5")
                        .arg(rawAt(list, row), item->text())
                        .arg(int(item->flags()))
                        .arg(item->isHidden() ? 1 : 0)
                        .arg(check.isValid() ? check.toString() : QStringLiteral("-")));
    }
    return rows.join(QLatin1Char(' '));
}

QString comboState(const QComboBox& box)
{
    auto* model = qobject_cast<QStandardItemModel*>(box.model());
    QStringList rows;
    for (int i = 0; i < box.count(); ++i) {
        const QVariant raw = box.itemData(i, Qt::UserRole);
        rows.append(QStringLiteral("%1:%2|%3|%4")
                        .arg(QString::fromLatin1(raw.typeName() ? raw.typeName() : "-"), raw.toString(),
                            box.itemText(i))
                        .arg(int(model->item(i)->flags())));
    }
    return rows.join(QLatin1Char(' '));
}

QString optionState(const kq::TMultiOptions<QString>& option)
{
    QStringList values;
    for (const QString& value : option.values)
        values.append(value);
    QStringList indices;
    for (int i : option.selectedIndices)
        indices.append(QString::number(i));
    return values.join(QLatin1Char(',')) + QLatin1Char('/') + indices.join(QLatin1Char(','));
}

// The same change, made by other code, to both lists.
void disturbLists(QRandomGenerator& random, QListWidget& a, QListWidget& b)
{
    const int row = a.count() > 0 ? int(random.bounded(a.count())) : -1;
    switch (random.bounded(7)) {
    case 0: {
        const QString value = randomValue(random);
        const bool enabled = random.bounded(2);
        const int at = random.bounded(2) ? -1 : int(random.bounded(a.count() + 1));
        kq::addValue(&a, value, enabled, at);
        kq::addValue(&b, value, enabled, at);
        break;
    }
    case 1:
        if (row >= 0) {
            delete a.takeItem(row);
            delete b.takeItem(row);
        }
        break;
    case 2:
        if (row >= 0) {
            const QString value = randomValue(random);
            a.item(row)->setData(Qt::UserRole, value);
            b.item(row)->setData(Qt::UserRole, value);
        }
        break;
    case 3:
        if (row >= 0) {
            const auto state = Qt::CheckState(random.bounded(3));
            a.item(row)->setCheckState(state);
            b.item(row)->setCheckState(state);
        }
        break;
    case 4:
        if (row >= 0) {
            const bool enabled = random.bounded(2);
            kq::setEnabled(a.item(row), enabled);
            kq::setEnabled(b.item(row), enabled);
        }
        break;
    case 5:
        if (row >= 0) {
            const bool hidden = random.bounded(2);
            a.item(row)->setHidden(hidden);
            b.item(row)->setHidden(hidden);
        }
        break;
    default: {
        const bool ascending = random.bounded(2);
        a.sortItems(ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        b.sortItems(ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        break;
    }
    }
}

QVariant randomRaw(QRandomGenerator& random)
{
    switch (random.bounded(6)) {
    case 0:
        return QVariant();
    case 1:
        return QVariant(qlonglong(random.bounded(3)));
    case 2:
        return QVariant(double(random.bounded(3)));
    default:
        return QVariant(randomValue(random));
    }
}

void disturbCombos(QRandomGenerator& random, QComboBox& a, QComboBox& b)
{
    const int row = a.count() > 0 ? int(random.bounded(a.count())) : -1;
    switch (random.bounded(7)) {
    case 0: {
        // Entries the library would not make: numbers, nothing, a text
        // that reads as a number.
        const QVariant raw = random.bounded(3) ? randomRaw(random) : QVariant(QStringLiteral("1"));
        const int at = int(random.bounded(a.count() + 1));
        a.insertItem(at, QStringLiteral("other"), raw);
        b.insertItem(at, QStringLiteral("other"), raw);
        break;
    }
    case 1:
        if (row >= 0) {
            a.removeItem(row);
            b.removeItem(row);
        }
        break;
    case 2:
        if (row >= 0) {
            const QVariant raw = randomRaw(random);
            a.setItemData(row, raw, Qt::UserRole);
            b.setItemData(row, raw, Qt::UserRole);
        }
        break;
    case 3:
        if (row >= 0) {
            const bool enabled = random.bounded(2);
            kq::setEnabled(&a, row, enabled);
            kq::setEnabled(&b, row, enabled);
        }
        break;
    case 4:
        kq::setIndeterminate(&a);
        kq::setIndeterminate(&b);
        break;
    case 5: {
        const bool ascending = random.bounded(2);
        a.model()->sort(0, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        b.model()->sort(0, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        break;
    }
    default: {
        const QString value = randomValue(random);
        const bool enabled = random.bounded(2);
        kq::addValue(&a, value, enabled);
        kq::addValue(&b, value, enabled);
        break;
    }
    }
}

void addSeeds(std::initializer_list<quint32> seeds)
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed : seeds)
        QTest::addRow("seed %u", seed) << seed;
}

} // namespace

class TestIndexedMerge : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listMergesAnswerAsScans_data() { addSeeds({ 1u, 2u, 3u, 17u, 4242u }); }

    void listMergesAnswerAsScans()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        QListWidget indexed;
        QListWidget scanned;
        kq::resetListWidget(&indexed, nullptr);
        kq::resetListWidget(&scanned, nullptr);
        int merges = 0;
        int writes = 0;
        for (int step = 0; step < 2000; ++step) {
            const QVector<QString> values = randomValues(random);
            const int op = random.bounded(6);
            switch (op) {
            case 0:
                kq::mergeValueRange(&indexed, values);
                scanMergeListRange(scanned, values);
                ++merges;
                break;
            case 1:
                kq::setPropertyValue(&indexed, values);
                scanSetListValue(scanned, values);
                break;
            case 2:
                kq::mergePropertyValue(&indexed, values);
                scanMergeListValue(scanned, values);
                break;
            case 3: {
                // A node's option over the same values, written back.
                kq::TMultiOptions<QString> option;
                option.values = values + randomValues(random);
                for (int i = 0; i < option.values.size(); ++i) {
                    if (random.bounded(2))
                        option.selectedIndices.append(i);
                }
                if (random.bounded(4) == 0)
                    indexed.setEnabled(!indexed.isEnabled());
                scanned.setEnabled(indexed.isEnabled());
                kq::TMultiOptions<QString> fromIndexed = option;
                kq::TMultiOptions<QString> fromScan = option;
                kq::setProperty(fromIndexed, &indexed);
                scanWriteBack(fromScan, scanned);
                QVERIFY2(optionState(fromIndexed) == optionState(fromScan),
                    qPrintable(QStringLiteral("seed %1 step %2: wrote %3, scan wrote %4")
                                   .arg(seed)
                                   .arg(step)
                                   .arg(optionState(fromIndexed), optionState(fromScan))));
                ++writes;
                break;
            }
            default:
                disturbLists(random, indexed, scanned);
                break;
            }
            QVERIFY2(listState(indexed) == listState(scanned),
                qPrintable(QStringLiteral("seed %1 step %2 (operation %3):\n  %4\n  %5")
                               .arg(seed)
                               .arg(step)
                               .arg(op)
                               .arg(listState(indexed), listState(scanned))));
        }
        QVERIFY(merges > 100);
        QVERIFY(writes > 100);
        QVERIFY(indexed.count() > 0);
    }

    void writeBackTakesOccurrencesInTurn()
    {
        // Two rows of one value, both cleared, take both selected
        // occurrences away, first one first; a checked row of a value
        // selected twice adds nothing.
        QListWidget list;
        kq::resetListWidget(&list, nullptr);
        for (const char* value : { "v", "w", "v", "w" }) {
            auto* item = new QListWidgetItem(QString::fromLatin1(value), &list);
            item->setData(Qt::UserRole, QString::fromLatin1(value));
            item->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
        }
        list.item(0)->setCheckState(Qt::Unchecked);
        list.item(1)->setCheckState(Qt::Checked);
        list.item(2)->setCheckState(Qt::Unchecked);
        list.item(3)->setCheckState(Qt::Checked);

        kq::TMultiOptions<QString> option;
        option.values = { QStringLiteral("v"), QStringLiteral("w"), QStringLiteral("v") };
        option.selectedIndices = { 0, 2, 1, 1 };
        kq::TMultiOptions<QString> scanned = option;
        kq::setProperty(option, &list);
        scanWriteBack(scanned, list);
        QCOMPARE(optionState(option), optionState(scanned));
        QCOMPARE(option.selectedIndices, QVector<int>({ 1, 1 }));

        // Only one row cleared: the first occurrence goes.
        list.item(2)->setCheckState(Qt::Checked);
        option.selectedIndices = { 2, 0, 1 };
        kq::setProperty(option, &list);
        QCOMPARE(option.selectedIndices, QVector<int>({ 0, 1 }));
    }

    void slotsChangingRowsDuringALoop_data()
    {
        QTest::addColumn<QString>("operation");
        for (const char* name : { "setValueRange", "mergeValueRange", "setPropertyValue",
                 "mergePropertyValue", "setProperty", "updateEventListWidget", "markEnabledEvents",
                 "disableEventListWidgetItems", "mergeMarkedEnabled", "comboMergeValueRange" })
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void slotsChangingRowsDuringALoop()
    {
        // A slot connected to the widget inserts a row at the top and deletes
        // the last row (never the row being changed) on the first changes the
        // loop makes. Every loop re-reads the rows as it goes: nothing
        // crashes or throws, and rows that were there all along get what
        // the operation gives them.
        QFETCH(QString, operation);
        const QVector<QString> values { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"),
            QStringLiteral("d"), QStringLiteral("e"), QStringLiteral("f") };
        const QVector<QString> selected { QStringLiteral("b"), QStringLiteral("d"), QStringLiteral("x") };
        const QVector<QString> offered { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("d") };

        if (operation == QLatin1String("comboMergeValueRange")) {
            QComboBox box;
            kq::resetComboBox(&box, kq::StringTranslator(nullptr));
            kq::setValueRange(&box, values);
            int actions = 0;
            connect(box.model(), &QAbstractItemModel::dataChanged, &box, [&box, &actions] {
                if (actions >= 3)
                    return;
                ++actions;
                box.insertItem(0, QStringLiteral("new"), QStringLiteral("new-%1").arg(actions));
                box.removeItem(box.count() - 1);
            });
            try {
                kq::mergeValueRange(&box, offered);
            } catch (...) {
                QFAIL("mergeValueRange threw");
            }
            QVERIFY(actions > 0);
            for (int i = 0; i < box.count(); ++i) {
                const QString value = box.itemData(i, Qt::UserRole).toString();
                if (values.contains(value))
                    QCOMPARE(kq::isEnabled(&box, i), offered.contains(value));
            }
            return;
        }

        QListWidget list;
        kq::resetListWidget(&list, nullptr);
        kq::setValueRange(&list, values);
        list.setProperty("initialized", true);
        for (int row = 0; row < list.count(); ++row)
            list.item(row)->setCheckState(row % 2 ? Qt::Checked : Qt::Unchecked);
        QSet<QListWidgetItem*> original;
        for (int row = 0; row < list.count(); ++row)
            original.insert(list.item(row));

        int actions = 0;
        connect(
            &list, &QListWidget::itemChanged, &list, [&list, &actions, &original](QListWidgetItem* changed) {
                if (actions >= 3)
                    return;
                ++actions;
                auto* added = new QListWidgetItem(QStringLiteral("new"));
                added->setData(Qt::UserRole, QStringLiteral("new-%1").arg(actions));
                added->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
                list.insertItem(0, added);
                QListWidgetItem* last = list.item(list.count() - 1);
                if (last != changed) {
                    original.remove(last);
                    delete list.takeItem(list.count() - 1);
                }
            });

        kq::TMultiOptions<QString> option(values, { 1, 3 });
        QVector<QString> enabled { QStringLiteral("b") };
        try {
            if (operation == QLatin1String("setValueRange"))
                kq::setValueRange(&list, offered);
            else if (operation == QLatin1String("mergeValueRange"))
                kq::mergeValueRange(&list, offered);
            else if (operation == QLatin1String("setPropertyValue"))
                kq::setPropertyValue(&list, selected);
            else if (operation == QLatin1String("mergePropertyValue"))
                kq::mergePropertyValue(&list, selected);
            else if (operation == QLatin1String("setProperty"))
                kq::setProperty(option, &list);
            else if (operation == QLatin1String("updateEventListWidget"))
                kq::updateEventListWidget(&list, option, enabled);
            else if (operation == QLatin1String("markEnabledEvents"))
                kq::markEnabledEvents(&list, enabled);
            else if (operation == QLatin1String("disableEventListWidgetItems"))
                kq::disableEventListWidgetItems(&list, offered);
            else if (operation == QLatin1String("mergeMarkedEnabled"))
                kq::mergeMarkedEnabled(&list, enabled);
        } catch (...) {
            QFAIL("the operation threw");
        }

        // What the simple operations give every row that stayed.
        for (int row = 0; row < list.count(); ++row) {
            QListWidgetItem* item = list.item(row);
            if (!original.contains(item))
                continue;
            const QString value = item->data(Qt::UserRole).toString();
            if (operation == QLatin1String("setPropertyValue"))
                QCOMPARE(item->checkState(), selected.contains(value) ? Qt::Checked : Qt::Unchecked);
            else if (operation == QLatin1String("mergeValueRange")
                || operation == QLatin1String("disableEventListWidgetItems"))
                QCOMPARE(kq::isEnabled(item), offered.contains(value));
        }
    }

    void comboMergeAnswersAsScan_data() { addSeeds({ 5u, 6u, 7u, 99u, 31337u }); }

    void comboMergeAnswersAsScan()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        QComboBox indexed;
        QComboBox scanned;
        int merges = 0;
        int foreignSeen = 0;
        for (int step = 0; step < 2000; ++step) {
            if (random.bounded(2)) {
                const QVector<QString> values = randomValues(random);
                kq::mergeValueRange(&indexed, values);
                scanMergeComboRange(scanned, values);
                ++merges;
            } else {
                disturbCombos(random, indexed, scanned);
            }
            for (int i = 0; i < indexed.count(); ++i) {
                if (indexed.itemData(i, Qt::UserRole).userType() != QMetaType::QString) {
                    ++foreignSeen;
                    break;
                }
            }
            QVERIFY2(comboState(indexed) == comboState(scanned),
                qPrintable(QStringLiteral("seed %1 step %2:\n  %3\n  %4")
                               .arg(seed)
                               .arg(step)
                               .arg(comboState(indexed), comboState(scanned))));
            if (random.bounded(50) == 0) {
                indexed.clear();
                scanned.clear();
            }
        }
        QVERIFY(merges > 500);
        // The runs must have met entries that are not strings.
        QVERIFY(foreignSeen > 100);
    }

    void selectingValuesAnswersAsScan()
    {
        // Each wanted value at its first position, missing ones appended once;
        // a value unequal to itself is never found and appended every time.
        QRandomGenerator random(11);
        for (int round = 0; round < 500; ++round) {
            kq::TMultiOptions<QString> option;
            option.values = randomValues(random);
            const QVector<QString> wanted = randomValues(random);
            kq::TMultiOptions<QString> expected = option;
            for (const QString& value : wanted) {
                int at = expected.values.indexOf(value);
                if (at < 0) {
                    at = expected.values.size();
                    expected.values.append(value);
                }
                expected.selectedIndices.append(at);
            }
            option.setSelectedValues(wanted);
            QCOMPARE(optionState(option), optionState(expected));
        }

        kq::TMultiOptions<double> numbers;
        numbers.values = { 1.0, 2.0, 1.0 };
        const double nan = std::numeric_limits<double>::quiet_NaN();
        numbers.setSelectedValues({ 1.0, nan, 3.0, nan, 3.0 });
        QCOMPARE(numbers.selectedIndices, QVector<int>({ 0, 3, 4, 5, 4 }));
        QCOMPARE(numbers.values.size(), 6);
        QVERIFY(std::isnan(numbers.values.at(3)));
        QCOMPARE(numbers.values.at(4), 3.0);
        QVERIFY(std::isnan(numbers.values.at(5)));
    }
};

QTEST_MAIN(TestIndexedMerge)
#include "tst_indexedmerge.moc"
