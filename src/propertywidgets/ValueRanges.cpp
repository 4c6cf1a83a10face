// Value ranges of combo boxes and list widgets, display translation, and the
// preparation of spin boxes and radio buttons.
#include "propertywidgets/PropertyWidgets_p.h"
#include "propertywidgets/RowIndex_p.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QIcon>
#include <QListWidget>
#include <QRadioButton>
#include <QSet>
#include <QSize>
#include <QSpinBox>

#include <cmath>
#include <memory>

namespace kq {

namespace {
    // Raw values as combo-box entries store them: integers as 64 bits.
    QVariant rawValue(const QString& value) { return value; }
    QVariant rawValue(int value) { return qlonglong(value); }
    QVariant rawValue(double value) { return value; }

    void readRaw(const QVariant& data, QString& value) { value = data.toString(); }
    void readRaw(const QVariant& data, int& value) { value = int(data.toLongLong()); }
    void readRaw(const QVariant& data, double& value) { value = data.toDouble(); }

    // Enabling an entry found by value goes through the by-value forms, which
    // compare numbers as doubles.
    void enableEntry(QComboBox* box, const QString& value) { setEnabled(box, value, true); }
    void enableEntry(QComboBox* box, double value) { setEnabled(box, value, true); }

    void addComboEntry(QComboBox* box, const QVariant& raw, const QString& text, bool enabled)
    {
        box->insertItem(box->count(), QIcon(), text, raw);
        setEnabled(box, box->count() - 1, enabled);
    }

    template <class T> void setComboRange(QComboBox* box, const QVector<T>& values)
    {
        if (!box)
            return;
        for (const T& value : values) {
            if (findData(box, rawValue(value)) >= 0)
                enableEntry(box, value);
            else
                addValue(box, value, true);
        }
    }

    // findData for a string through the box's index: entries holding a
    // string compare as strings; any other entry as QComboBox::findData
    // compares it, the searched text on the left of QVariant's ==. The order
    // matters on Qt 5, where == converts its right side to the left side's
    // type: the entry's number or boolean becomes text, so "5" finds 5 but
    // "05" does not, and "abc" finds no boolean. (An entry holding nothing
    // never equals a string.)
    int findString(const QComboBox* box, RowIndex* index, const QString& value)
    {
        const int candidate = index->first(value);
        const QVariant searched(value);
        for (int row : index->foreignRows()) {
            if (candidate >= 0 && row > candidate)
                break;
            if (!index->holdsNothing(row) && searched == box->itemData(row, Qt::UserRole))
                return row;
        }
        return candidate;
    }

    // The first entry that can hold a node's value: the "<Multiple Values>"
    // entry and the separator below it hold none.
    int firstValueEntry(const QComboBox* box)
    {
        return box->count() >= 2 && isIndeterminate(box->itemData(0, Qt::UserRole)) ? 2 : 0;
    }

    template <class T> void mergeComboRange(QComboBox* box, const QVector<T>& values)
    {
        if (!box)
            return;
        const Membership<T> offered(values);
        for (int i = firstValueEntry(box); i < box->count(); ++i) {
            T value;
            readRaw(box->itemData(i, Qt::UserRole), value);
            if (!offered.contains(value))
                setEnabled(box, i, false);
        }
        for (const T& value : values) {
            if (findData(box, rawValue(value)) < 0)
                addValue(box, value, false);
        }
    }

    // Strings go through the box's index: a lookup per value rather than per
    // entry. Entries holding something else than a string (rare) are read
    // and compared one by one as the generic form does.
    void mergeComboRange(QComboBox* box, const QVector<QString>& values)
    {
        if (!box)
            return;
        RowIndex* const index = RowIndex::of(box);
        if (!index) {
            // A box showing another column or a sub-tree of its model.
            mergeComboRange<QString>(box, values);
            return;
        }
        QVector<QString> missing;
        KeyedRows offered(index, values, &missing);
        std::unique_ptr<Membership<QString>> foreignOffered;
        for (int i = firstValueEntry(box); i < box->count(); ++i) {
            if (offered.contains(i))
                continue;
            if (!index->keyed(i)) {
                if (!foreignOffered)
                    foreignOffered = std::make_unique<Membership<QString>>(values);
                if (foreignOffered->contains(box->itemData(i, Qt::UserRole).toString()))
                    continue;
            }
            setEnabled(box, i, false);
        }
        // Only values no string entry held can be new; a foreign entry equal
        // to one, or a value listed twice, adds nothing.
        for (const QString& value : qAsConst(missing)) {
            if (findData(box, value) < 0)
                addValue(box, value, false);
        }
    }

    // Hiding a hidden row would still lay the whole list out again.
    void hide(QListWidget* list, int row)
    {
        if (!list->isRowHidden(row))
            list->setRowHidden(row, true);
    }
    void hide(QListWidgetItem* item)
    {
        if (QListWidget* list = item ? item->listWidget() : nullptr)
            hide(list, list->row(item));
    }

    template <class SpinBox>
    void resetAnySpinBox(SpinBox* box, double multiplier, int minimum, int maximum, int value)
    {
        if (!box)
            return;
        removeBindingMarkers(box);
        box->setProperty(markers::Multiplier, multiplier);
        box->setRange(minimum, maximum);
        box->setValue(value);
    }
}

int indexOf(const QVector<QString>& values, const QString& value) { return values.indexOf(value); }

int findData(const QComboBox* box, const QVariant& raw)
{
    if (!box)
        return -1;
    RowIndex* const index = raw.userType() == QMetaType::QString ? RowIndex::of(box) : nullptr;
    return index ? findString(box, index, raw.toString()) : box->findData(raw, Qt::UserRole);
}

QString rawValueAt(const QListWidget* list, int row) { return RowIndex::of(list)->key(row); }

QListWidgetItem* findItem(const QListWidget* list, const QString& value)
{
    if (!list)
        return nullptr;
    const int row = RowIndex::of(list)->first(value);
    return row < 0 ? nullptr : list->item(row);
}

QListWidgetItem* findItem(QListWidget* list, const QString& value)
{
    return findItem(static_cast<const QListWidget*>(list), value);
}

int findClosestData(QComboBox* box, double value)
{
    if (!box)
        return -1;
    double best = 2147483647.0;
    int result = -1;
    for (int index = 0; index < box->count(); ++index) {
        // Only entries that really hold a number count; a text converts to
        // double by type but not by value.
        bool numeric = false;
        const double data = box->itemData(index, Qt::UserRole).toDouble(&numeric);
        if (!numeric)
            continue;
        // Whole units only: entries less than one unit away are all at 0.
        const double distance = std::fabs(double(truncatedInt(data - value)));
        if (best > distance) {
            best = distance;
            result = index;
        }
    }
    return result;
}

QString translatePropertyValue(const QString& value, StringTranslator translator, const char* context)
{
    if (translator) {
        const QString text = translator(value);
        if (!text.isEmpty())
            return text;
    }
    return QCoreApplication::translate(context, value.toUtf8().constData());
}

QString translatePropertyValue(double value, NumberTranslator translator, const char* /*context*/)
{
    if (translator) {
        const QString text = translator(value);
        if (!text.isEmpty())
            return text;
    }
    return QString::number(value, 'g', 6);
}

void addValue(QListWidget* list, const QString& value, bool enabled, int row)
{
    if (!list)
        return;
    const auto translator = translatorOf<StringTranslator>(list);
    // Constructed with its view, the item is appended at once; the insertItem
    // below then leaves it there, so every entry ends up last.
    auto* item = new QListWidgetItem(list, QListWidgetItem::Type);
    setPropertyValue(item, value);
    item->setData(Qt::DisplayRole, translatePropertyValue(value, translator, "Statics"));
    item->setData(Qt::SizeHintRole, QSize(list->sizeHint().width(), 19));
    // Never selectable: the check state is the selection.
    item->setFlags(enabled ? Qt::ItemIsUserCheckable | Qt::ItemIsEnabled : Qt::ItemIsUserCheckable);
    list->insertItem(row < 0 ? list->count() : row, item);
}

void addValue(QComboBox* box, const QString& value, bool enabled)
{
    if (box)
        addComboEntry(box, rawValue(value),
            translatePropertyValue(value, translatorOf<StringTranslator>(box), "Statics"), enabled);
}

void addValue(QComboBox* box, int value, bool enabled)
{
    if (box)
        addComboEntry(box, rawValue(value),
            translatePropertyValue(double(value), translatorOf<NumberTranslator>(box), "Statics"), enabled);
}

void addValue(QComboBox* box, double value, bool enabled)
{
    if (box)
        addComboEntry(box, rawValue(value),
            translatePropertyValue(value, translatorOf<NumberTranslator>(box), "Statics"), enabled);
}

void setValueRange(QListWidget* list, const QVector<QString>& values)
{
    if (!list)
        return;
    for (const QString& value : values) {
        if (findItem(list, value))
            setEnabled(list, value, true);
        else
            addValue(list, value, true, -1);
    }
}

void setValueRange(QComboBox* box, const QVector<QString>& values) { setComboRange(box, values); }

void setValueRange(QComboBox* box, const QVector<int>& values) { setComboRange(box, values); }

void setValueRange(QComboBox* box, const QVector<double>& values) { setComboRange(box, values); }

void mergeValueRange(QListWidget* list, const QVector<QString>& values)
{
    if (!list)
        return;
    RowIndex* const index = RowIndex::of(list);
    QVector<QString> missing;
    KeyedRows offered(index, values, &missing);
    for (int row = 0; row < list->count(); ++row) {
        if (offered.contains(row) || index->key(row) == QLatin1String("AE"))
            continue;
        setEnabled(list->item(row), false);
        hide(list, row);
    }
    // Only values no row held can be new; a value listed twice is added once.
    for (const QString& value : qAsConst(missing)) {
        if (!findItem(list, value)) {
            addValue(list, value, false, -1);
            hide(findItem(list, value));
        }
    }
}

void mergeValueRange(QComboBox* box, const QVector<QString>& values) { mergeComboRange(box, values); }

void mergeValueRange(QComboBox* box, const QVector<int>& values) { mergeComboRange(box, values); }

void mergeValueRange(QComboBox* box, const QVector<double>& values) { mergeComboRange(box, values); }

void setValueRange(QListWidget* list, const kq::TMultiOptions<QString>& option)
{
    setValueRange(list, option.values);
}

void setValueRange(QListWidget* list, const kq::StringMultiOptionsProperty* property)
{
    if (property)
        setValueRange(list, property->value());
}

void mergeValueRange(QListWidget* list, const kq::TMultiOptions<QString>& option)
{
    mergeValueRange(list, option.values);
}

void mergeValueRange(QListWidget* list, const kq::StringMultiOptionsProperty* property)
{
    if (property)
        mergeValueRange(list, property->value());
}

void setValueRange(QComboBox* box, const kq::TOptions<QString>& option) { setValueRange(box, option.values); }

void setValueRange(QComboBox* box, const kq::StringOptionsProperty* property)
{
    if (property)
        setValueRange(box, property->value());
}

void mergeValueRange(QComboBox* box, const kq::TOptions<QString>& option)
{
    mergeValueRange(box, option.values);
}

void mergeValueRange(QComboBox* box, const kq::StringOptionsProperty* property)
{
    if (property)
        mergeValueRange(box, property->value());
}

void setValueRange(QComboBox* box, const kq::TOptions<int>& option) { setValueRange(box, option.values); }

void mergeValueRange(QComboBox* box, const kq::TOptions<int>& option) { mergeValueRange(box, option.values); }

void setValueRange(QComboBox* box, const kq::TOptions<double>& option) { setValueRange(box, option.values); }

void mergeValueRange(QComboBox* box, const kq::TOptions<double>& option)
{
    mergeValueRange(box, option.values);
}

void resetSpinBox(QSpinBox* box, double multiplier, int minimum, int maximum, int value)
{
    resetAnySpinBox(box, multiplier, minimum, maximum, value);
}

void resetSpinBox(QDoubleSpinBox* box, double multiplier, int minimum, int maximum, int value)
{
    resetAnySpinBox(box, multiplier, minimum, maximum, value);
}

int updatePortSpinBox(QSpinBox* box, int port)
{
    if (!box)
        return -1;
    const double shown = port * multiplierOf(box);
    if (!isInitialized(box)) {
        markInitialized(box);
        box->setSpecialValueText(QString());
        box->setValue(truncatedInt(shown));
        return 1;
    }
    if (double(box->value()) != shown)
        setIndeterminate(box);
    return -1;
}

void resetRadioButton(QRadioButton* button, const QString& value)
{
    if (!button)
        return;
    removeBindingMarkers(button);
    button->setProperty(markers::Value, value);
    // A choice the last cameras lacked may be offered by the next ones.
    setEnabled(button, true);
    // Off, so that every button of a group can be shown unchecked.
    button->setAutoExclusive(false);
    button->setChecked(false);
}

} // namespace kq
