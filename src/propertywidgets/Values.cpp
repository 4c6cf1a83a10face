// Reading a widget's value, showing and merging a node's value, and writing
// the user's choice back into a property.
#include "propertywidgets/PropertyWidgets_p.h"
#include "propertywidgets/RowIndex_p.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHash>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>

namespace kq {

namespace {
    // Selects the entry at index unless there is none or it is disabled: a
    // value outside the node's allowed range is never shown as chosen.
    int selectEnabled(QComboBox* box, int index)
    {
        if (index < 0 || !isEnabled(box, index))
            return -1;
        box->setCurrentIndex(index);
        return index;
    }

    int selectRaw(QComboBox* box, const QVariant& raw)
    {
        return box ? selectEnabled(box, findData(box, raw)) : -1;
    }

    // A write-back needs a property, and a widget that is enabled and shows
    // one value.
    template <class Widget> bool canWrite(const kq::Property* property, const Widget* widget)
    {
        return property && widget && widget->isEnabled() && !isIndeterminate(widget);
    }

    int spinBoxValue(const QSpinBox* box) { return truncatedInt(box->value() / multiplierOf(box)); }

    // The writable string-choice property named by the widget's
    // "property-id"; null when the session lacks it or holds another kind.
    kq::StringOptionsProperty* boundStringOptions(
        const ConstNodeConfigSessionHandle& session, const QWidget* widget)
    {
        if (session.null() || !widget)
            return nullptr;
        return dynamic_cast<kq::StringOptionsProperty*>(session->property(
            widget->property(markers::PropertyId).toInt(), HasProperties::k_contextIndexDefault));
    }

    template <class Property, class Value> bool selectAccepted(Property* property, const Value& value)
    {
        property->value().setSelectedValue(value);
        return property->isValueAccepted();
    }
}

QVariant propertyValue(const QComboBox* box)
{
    return box ? box->itemData(box->currentIndex(), Qt::UserRole) : QVariant();
}

int longPropertyValue(const QComboBox* box) { return int(propertyValue(box).toLongLong()); }

double doublePropertyValue(const QComboBox* box) { return propertyValue(box).toDouble(); }

QString stringPropertyValue(const QComboBox* box) { return propertyValue(box).toString(); }

QString propertyValue(const QListWidgetItem* item)
{
    return item ? item->data(Qt::UserRole).toString() : QString();
}

void setPropertyValue(QListWidgetItem* item, const QString& value)
{
    if (item)
        item->setData(Qt::UserRole, value);
}

int setPropertyValue(QComboBox* box, int value, bool closest)
{
    if (!box)
        return -1;
    return closest ? selectEnabled(box, findClosestData(box, double(value)))
                   : selectRaw(box, qlonglong(value));
}

int setPropertyValue(QComboBox* box, double value, bool closest)
{
    if (!box)
        return -1;
    return closest ? selectEnabled(box, findClosestData(box, value)) : selectRaw(box, value);
}

int setPropertyValue(QComboBox* box, bool value) { return selectRaw(box, value); }

int setPropertyValue(QComboBox* box, const QString& value) { return selectRaw(box, value); }

int setPropertyValue(QComboBox* box, const kq::TOptions<int>& option, bool closest)
{
    return setPropertyValue(box, option.getSelectedValue(), closest);
}

int setPropertyValue(QComboBox* box, const kq::TOptions<double>& option, bool closest)
{
    return setPropertyValue(box, option.getSelectedValue(), closest);
}

int setPropertyValue(QComboBox* box, const kq::TOptions<QString>& option)
{
    return setPropertyValue(box, option.getSelectedValue());
}

int setPropertyValue(QComboBox* box, const kq::StringOptionsProperty* property)
{
    return property ? setPropertyValue(box, property->value()) : -1;
}

int mergePropertyValue(QComboBox* box, double value, bool closest)
{
    if (!box)
        return -1;
    if (doublePropertyValue(box) == value)
        return box->currentIndex();
    // Two values on the same nearest entry show as one.
    if (closest && findClosestData(box, value) == box->currentIndex())
        return box->currentIndex();
    setIndeterminate(box);
    return -1;
}

int mergePropertyValue(QComboBox* box, const kq::TOptions<double>& option, bool closest)
{
    return mergePropertyValue(box, option.getSelectedValue(), closest);
}

int mergePropertyValue(QComboBox* box, const kq::TOptions<int>& option, bool closest)
{
    return mergePropertyValue(box, double(option.getSelectedValue()), closest);
}

int mergePropertyValue(QComboBox* box, const QString& value)
{
    if (!box)
        return -1;
    if (stringPropertyValue(box) == value)
        return box->currentIndex();
    setIndeterminate(box);
    return -1;
}

int mergePropertyValue(QComboBox* box, const kq::TOptions<QString>& option)
{
    return mergePropertyValue(box, option.getSelectedValue());
}

int mergePropertyValue(QComboBox* box, const kq::StringOptionsProperty* property)
{
    return property ? mergePropertyValue(box, property->value()) : -1;
}

void setPropertyValue(QListWidget* list, const QVector<QString>& selected)
{
    if (!list)
        return;
    KeyedRows chosen(RowIndex::of(list), selected);
    for (int row = 0; row < list->count(); ++row)
        list->item(row)->setCheckState(chosen.contains(row) ? Qt::Checked : Qt::Unchecked);
}

void setPropertyValue(QListWidget* list, const kq::TMultiOptions<QString>& option)
{
    setPropertyValue(list, option.getSelectedValues());
}

void setPropertyValue(QListWidget* list, const kq::StringMultiOptionsProperty* property)
{
    if (property)
        setPropertyValue(list, property->value());
}

void mergePropertyValue(QListWidget* list, const QVector<QString>& selected)
{
    if (!list)
        return;
    KeyedRows chosen(RowIndex::of(list), selected);
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem* item = list->item(row);
        const int state = chosen.contains(row) ? Qt::Checked : Qt::Unchecked;
        if (item->data(Qt::CheckStateRole).toInt() != state)
            setIndeterminate(item);
    }
}

void mergePropertyValue(QListWidget* list, const kq::TMultiOptions<QString>& option)
{
    mergePropertyValue(list, option.getSelectedValues());
}

void mergePropertyValue(QListWidget* list, const kq::StringMultiOptionsProperty* property)
{
    if (property)
        mergePropertyValue(list, property->value());
}

bool setProperty(kq::BoolProperty* property, const QComboBox* box)
{
    if (!canWrite(property, box))
        return false;
    property->setValue(propertyValue(box).toBool());
    return true;
}

bool setProperty(kq::BoolProperty* property, const QCheckBox* box)
{
    if (!canWrite(property, box))
        return false;
    property->setValue(box->isChecked());
    return true;
}

bool setProperty(kq::LongProperty* property, const QSpinBox* box)
{
    if (!canWrite(property, box))
        return false;
    property->setValue(spinBoxValue(box));
    return true;
}

void setProperty(kq::StringProperty* property, const QLineEdit* edit)
{
    if (canWrite(property, edit))
        property->setValue(edit->text());
}

bool setProperty(kq::LongOptionsProperty* property, const QSpinBox* box)
{
    if (!canWrite(property, box))
        return false;
    property->value().setSelectedValue(spinBoxValue(box));
    return true;
}

bool setProperty(kq::LongOptionsProperty* property, const QComboBox* box)
{
    return canWrite(property, box) && selectAccepted(property, longPropertyValue(box));
}

bool setProperty(kq::DoubleOptionsProperty* property, const QComboBox* box)
{
    return canWrite(property, box) && selectAccepted(property, doublePropertyValue(box));
}

bool setProperty(kq::StringOptionsProperty* property, const QComboBox* box)
{
    return canWrite(property, box) && selectAccepted(property, stringPropertyValue(box));
}

bool setProperty(ConstNodeConfigSessionHandle session, const QComboBox* box)
{
    return setProperty(boundStringOptions(session, box), box);
}

bool setProperty(kq::StringOptionsProperty* property, const QRadioButton* button)
{
    // Radio buttons have no indeterminate form, so only the first two gates
    // apply.
    if (!property || !button || !button->isEnabled())
        return false;
    // Only the checked button of a group writes the choice.
    if (button->isChecked())
        property->value().setSelectedValue(button->property(markers::Value).toString());
    return true;
}

bool setProperty(ConstNodeConfigSessionHandle session, const QRadioButton* button)
{
    return setProperty(boundStringOptions(session, button), button);
}

bool setProperty(kq::TOptions<QString>& option, const QCheckBox* box)
{
    if (!box || !box->isEnabled() || isIndeterminate(box))
        return false;
    const QString value
        = box->property(box->isChecked() ? markers::TrueValue : markers::FalseValue).toString();
    if (value.isEmpty())
        return false;
    option.setSelectedValue(value);
    return true;
}

bool setProperty(kq::StringOptionsProperty* property, const QCheckBox* box)
{
    return property && setProperty(property->value(), box);
}

void setProperty(kq::TMultiOptions<QString>& option, const QListWidget* list)
{
    if (!list || !list->isEnabled())
        return;
    // Values the list cannot show (disabled, indeterminate, "AE") keep the
    // membership they had. A checked value not yet selected is appended; an
    // unchecked one loses its first selected occurrence.
    QVector<QString> selected = option.getSelectedValues();
    QVector<bool> removed(selected.size(), false);
    // Where each value is still selected, first occurrence first.
    // (positions still selected, and how many of them are taken already)
    QHash<QString, QPair<QVector<int>, int>> positions;
    positions.reserve(selected.size());
    for (int i = 0; i < selected.size(); ++i)
        positions[selected.at(i)].first.append(i);
    RowIndex* const index = RowIndex::of(list);
    for (int row = 0; row < list->count(); ++row) {
        const QListWidgetItem* item = list->item(row);
        if (!isEnabled(item))
            continue;
        const int state = item->data(Qt::CheckStateRole).toInt();
        if (state == Qt::PartiallyChecked)
            continue;
        const QString& value = index->key(row);
        if (value == QLatin1String("AE"))
            continue;
        auto at = positions.find(value);
        const bool held = at != positions.end() && at->second < at->first.size();
        if (state == Qt::Checked && !held) {
            if (at == positions.end())
                at = positions.insert(value, {});
            at->first.append(selected.size());
            selected.append(value);
            removed.append(false);
        } else if (state == Qt::Unchecked && held) {
            removed[at->first.at(at->second++)] = true;
        }
    }
    QVector<QString> kept;
    kept.reserve(selected.size());
    for (int i = 0; i < selected.size(); ++i) {
        if (!removed.at(i))
            kept.append(selected.at(i));
    }
    option.setSelectedValues(kept);
}

void setProperty(kq::StringMultiOptionsProperty* property, const QListWidget* list)
{
    if (property)
        setProperty(property->value(), list);
}

} // namespace kq
