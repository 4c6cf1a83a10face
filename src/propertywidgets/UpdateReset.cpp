// Session-bound update and reset: the first update after a reset shows a
// node's value, every further update merges the next node's value in.
#include "propertywidgets/PropertyWidgets_p.h"

#include <QCheckBox>
#include <QComboBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>

namespace kq {

namespace {
    // Labels and line edits: the first node's text is shown, a differing
    // later one makes the widget indeterminate.
    template <class Widget> void showText(Widget* widget, const QString& text)
    {
        if (isInitialized(widget)) {
            if (widget->text() != text)
                setIndeterminate(widget);
            return;
        }
        markInitialized(widget);
        widget->setText(text);
    }

    void showSpinBoxValue(
        QSpinBox* box, const kq::Property* property, double shown, bool hasRange, int minimum, int maximum)
    {
        if (isInitialized(box)) {
            if (double(box->value()) != shown)
                setIndeterminate(box);
            return;
        }
        storePropertyId(box, property);
        markInitialized(box);
        // A marker left from an earlier pass would hide a value at the minimum.
        box->setSpecialValueText(QString());
        if (hasRange)
            box->setRange(minimum, maximum);
        box->setValue(truncatedInt(shown));
    }

    void showCheckState(QCheckBox* box, Qt::CheckState state)
    {
        if (isInitialized(box)) {
            if (box->checkState() != state)
                setIndeterminate(box);
            return;
        }
        box->setTristate(state == Qt::PartiallyChecked);
        box->setCheckState(state);
        markInitialized(box);
    }

    // Closest is empty for string options, which only match exactly.
    template <class T, class... Closest>
    int updateOptionComboBox(QComboBox* box, const kq::TOptions<T>& option, Closest... closest)
    {
        if (!box)
            return -1;
        if (isInitialized(box)) {
            mergeValueRange(box, option);
            // A value that one node does not allow cannot be shown as common.
            if (!isEnabled(box, box->currentIndex())) {
                setIndeterminate(box);
                return -1;
            }
            return mergePropertyValue(box, option, closest...);
        }
        setValueRange(box, option);
        markInitialized(box);
        return setPropertyValue(box, option, closest...);
    }

    template <class Property, class... Closest>
    int updatePropertyComboBox(QComboBox* box, const Property* property, Closest... closest)
    {
        return bindProperty(box, property) ? updateComboBox(box, property->value(), closest...) : -1;
    }

    template <class Widget, class Translator>
    void resetTranslatedWidget(Widget* widget, Translator translator)
    {
        if (!widget)
            return;
        widget->clear();
        setEnabled(widget, true);
        removeBindingMarkers(widget);
        storeTranslator(widget, translator);
    }
}

void updateLabel(QLabel* label, const QString& text)
{
    if (label)
        showText(label, text);
}

void updateLabel(QLabel* label, const kq::StringProperty* property)
{
    if (!label)
        return;
    if (!property) {
        label->setEnabled(false);
        return;
    }
    updateLabel(label, property->value());
}

void updateLabel(QLabel* label, const QString& title, const QString& a, const QString& b)
{
    updateLabel(label, QString(QStringLiteral("%1: %2/%3")).arg(title).arg(a).arg(b));
}

void updateLabel(QLabel* label, ConstNodeConfigSessionHandle session, kq::EStringProperty id)
{
    const kq::StringProperty* property = offeredProperty(session, id);
    if (requireProperty(label, property))
        updateLabel(label, property);
}

void updateLabel(QLabel* label, const QString& title, ConstNodeConfigSessionHandle session,
    kq::EStringProperty a, kq::EStringProperty b)
{
    const kq::StringProperty* first = offeredProperty(session, a);
    const kq::StringProperty* second = first ? offeredProperty(session, b) : nullptr;
    if (requireProperty(label, second))
        updateLabel(label, title, first->value(), second->value());
}

void updateLineEdit(QLineEdit* edit, const kq::StringProperty* property)
{
    if (requireProperty(edit, property))
        showText(edit, property->value());
}

void updateLineEdit(QLineEdit* edit, ConstNodeConfigSessionHandle session, kq::EStringProperty id)
{
    const kq::StringProperty* property = offeredProperty(session, id);
    if (requireProperty(edit, property))
        updateLineEdit(edit, property);
}

int updateSpinBox(QSpinBox* box, kq::LongProperty* property)
{
    if (!requireProperty(box, property))
        return -1;
    // The bounds are applied as they are while the value is scaled.
    const kq::LongInfo* info = property->typedInfo();
    showSpinBoxValue(box, property, property->value() * multiplierOf(box), true, info->min, info->max);
    return -1;
}

void updateSpinBox(QSpinBox* box, kq::LongOptionsProperty* property, bool /*closest*/)
{
    if (!requireProperty(box, property))
        return;
    const double multiplier = multiplierOf(box);
    const kq::TOptions<int>& option = property->value();
    // The range runs from the first to the last permitted value in list
    // order; an option without values leaves the range alone.
    const bool hasRange = !option.values.isEmpty();
    showSpinBoxValue(box, property, option.getSelectedValue() * multiplier, hasRange,
        hasRange ? truncatedInt(option.values.first() * multiplier) : 0,
        hasRange ? truncatedInt(option.values.last() * multiplier) : 0);
}

int updateSpinBox(QSpinBox* box, ConstNodeConfigSessionHandle session, kq::ELongProperty id)
{
    return updateSpinBox(box, propertyOf(session, id));
}

int updateSpinBox(
    QSpinBox* box, ConstNodeConfigSessionHandle session, kq::ELongOptionsProperty id, bool closest)
{
    updateSpinBox(box, propertyOf(session, id), closest);
    return -1;
}

void updateCheckBox(QCheckBox* box, const kq::BoolProperty* property)
{
    if (bindProperty(box, property))
        showCheckState(box, property->value() ? Qt::Checked : Qt::Unchecked);
}

void updateCheckBox(QCheckBox* box, const kq::StringOptionsProperty* property)
{
    if (!bindProperty(box, property))
        return;
    const QString falseValue = box->property(markers::FalseValue).toString();
    const QString trueValue = box->property(markers::TrueValue).toString();
    const QString selected = property->value().getSelectedValue();
    Qt::CheckState state = Qt::PartiallyChecked;
    if (!falseValue.isEmpty())
        state = selected == falseValue ? Qt::Unchecked : Qt::Checked;
    // The true value has the last word.
    if (!trueValue.isEmpty())
        state = selected == trueValue ? Qt::Checked : Qt::Unchecked;
    showCheckState(box, state);
}

void updateCheckBox(QCheckBox* box, const kq::ProfilesProperty* property)
{
    if (!bindProperty(box, property))
        return;
    const QString trueValue = box->property(markers::TrueValue).toString();
    const kq::Profiles& profiles = property->value();
    Qt::CheckState state = profiles.isEmpty() ? Qt::PartiallyChecked : Qt::Unchecked;
    for (const kq::Profile& profile : profiles) {
        if (profile.text == trueValue) {
            state = Qt::Checked;
            break;
        }
    }
    showCheckState(box, state);
}

void updateCheckBox(QCheckBox* box, ConstNodeConfigSessionHandle session, kq::EBoolProperty id)
{
    const auto* property = offeredProperty(session, id);
    if (requireProperty(box, property))
        updateCheckBox(box, property);
}

void updateCheckBox(QCheckBox* box, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id)
{
    const auto* property = offeredProperty(session, id);
    if (requireProperty(box, property))
        updateCheckBox(box, property);
}

int updateComboBox(QComboBox* box, const kq::TOptions<int>& option, bool closest)
{
    return updateOptionComboBox(box, option, closest);
}

int updateComboBox(QComboBox* box, const kq::TOptions<double>& option, bool closest)
{
    return updateOptionComboBox(box, option, closest);
}

int updateComboBox(QComboBox* box, const kq::TOptions<QString>& option)
{
    return updateOptionComboBox(box, option);
}

int updateComboBox(QComboBox* box, const kq::LongOptionsProperty* property, bool closest)
{
    return updatePropertyComboBox(box, property, closest);
}

int updateComboBox(QComboBox* box, const kq::DoubleOptionsProperty* property, bool closest)
{
    return updatePropertyComboBox(box, property, closest);
}

int updateComboBox(QComboBox* box, const kq::StringOptionsProperty* property)
{
    return updatePropertyComboBox(box, property);
}

int updateComboBox(QComboBox* box, ConstNodeConfigSessionHandle session, kq::EBoolProperty id)
{
    const kq::BoolProperty* property = propertyOf(session, id);
    if (!bindProperty(box, property))
        return -1;
    if (isInitialized(box)) {
        if (propertyValue(box).toBool() != property->value())
            setIndeterminate(box);
    } else {
        markInitialized(box);
        setPropertyValue(box, property->value());
    }
    return -1;
}

int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::ELongOptionsProperty id, bool closest)
{
    const auto* property = offeredProperty(session, id);
    return requireProperty(box, property) ? updateComboBox(box, property, closest) : -1;
}

int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::EDoubleOptionsProperty id, bool closest)
{
    const auto* property = offeredProperty(session, id);
    return requireProperty(box, property) ? updateComboBox(box, property, closest) : -1;
}

int updateComboBox(QComboBox* box, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id)
{
    const kq::StringOptionsProperty* property = offeredProperty(session, id);
    return requireProperty(box, property) ? updateComboBox(box, property) : -1;
}

void updateRadioButton(QRadioButton* button, const kq::StringOptionsProperty* property)
{
    if (!bindProperty(button, property))
        return;
    const bool checked = button->property(markers::Value).toString() == property->value().getSelectedValue();
    if (!isInitialized(button)) {
        button->setAutoExclusive(true);
        button->setChecked(checked);
        markInitialized(button);
    } else if (button->isChecked() != checked) {
        // The nodes disagree: show the whole group unchecked.
        button->setAutoExclusive(false);
        button->setChecked(false);
    }
}

void updateRadioButton(
    QRadioButton* button, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id)
{
    updateRadioButton(button, propertyOf(session, id));
}

void updateListWidget(QListWidget* list, const kq::TMultiOptions<QString>& option)
{
    if (!list)
        return;
    if (isInitialized(list)) {
        mergeValueRange(list, option);
        mergePropertyValue(list, option);
        return;
    }
    setValueRange(list, option);
    markInitialized(list);
    setPropertyValue(list, option);
}

void updateListWidget(QListWidget* list, const kq::StringMultiOptionsProperty* property)
{
    if (bindProperty(list, property))
        updateListWidget(list, property->value());
}

void updateListWidget(
    QListWidget* list, ConstNodeConfigSessionHandle session, kq::EStringMultiOptionsProperty id)
{
    const kq::StringMultiOptionsProperty* property = offeredProperty(session, id);
    if (requireProperty(list, property))
        updateListWidget(list, property);
}

void resetLabel(QLabel* label)
{
    if (!label)
        return;
    label->clear();
    setEnabled(label, true);
    highlight(label, false);
    removeBindingMarkers(label);
}

void resetLineEdit(QLineEdit* edit)
{
    if (!edit)
        return;
    edit->clear();
    setEnabled(edit, true);
    removeBindingMarkers(edit);
}

void resetListWidget(QListWidget* list, StringTranslator translator)
{
    resetTranslatedWidget(list, translator);
}

void resetComboBox(QComboBox* box, NumberTranslator translator) { resetTranslatedWidget(box, translator); }

void resetComboBox(QComboBox* box, StringTranslator translator) { resetTranslatedWidget(box, translator); }

void resetComboBox(QComboBox* box, const QString& trueText, const QString& falseText)
{
    if (!box)
        return;
    box->clear();
    setEnabled(box, true);
    box->addItem(QIcon(), trueText, true);
    box->addItem(QIcon(), falseText, false);
    removeBindingMarkers(box);
}

void resetCheckBox(QCheckBox* box)
{
    if (!box)
        return;
    box->setTristate(false);
    box->setCheckState(Qt::Unchecked);
    setEnabled(box, true);
    removeBindingMarkers(box);
}

void resetCheckBox(QCheckBox* box, const QString& falseValue, const QString& trueValue)
{
    if (!box)
        return;
    resetCheckBox(box);
    box->setProperty(markers::FalseValue, falseValue);
    box->setProperty(markers::TrueValue, trueValue);
}

} // namespace kq
