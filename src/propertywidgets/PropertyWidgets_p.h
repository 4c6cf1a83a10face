// Functions of the property-widget unit that the library keeps to itself.
// They carry no export macro: the shared library hides them, the static build
// used by the test suites reaches them.
#pragma once

#include <ConfigDialogs/PropertyWidgets.h>

#include <QFont>
#include <QListWidget>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>
#include <QVector>

namespace kq {

// The raw value of the combo-box entry that stands for "<Multiple Values>":
// an invalid QVariant, shared by the whole process.
extern const QVariant IDETERMINATE_VALUE;

// ---------------------------------------------------------------------------
// Marker names: the dynamic properties by which bound widgets remember their
// state, which dialog code may read too.

namespace markers {
    constexpr const char* PropertyId = "property-id";
    constexpr const char* Initialized = "initialized";
    constexpr const char* Multiplier = "multiplier";
    constexpr const char* TranslatorHelper = "trns-helper";
    constexpr const char* TrueValue = "true-value";
    constexpr const char* FalseValue = "false-value";
    constexpr const char* Value = "value";
    constexpr const char* OldFont = "old-font";
    constexpr const char* OldPalette = "old-palette";
    constexpr const char* OldTooltip = "old-tooltip";
} // namespace markers

// ---------------------------------------------------------------------------
// Helpers shared by the unit's sources

// "<Multiple Values>" translated in context "Statics".
QString multipleValuesText();
// The widget's "multiplier"; absent, zero or negative gives 1.0.
double multiplierOf(const QObject* widget);
// value truncated toward zero, clamped to the 32-bit range (NaN gives 0).
int truncatedInt(double value);
// Removes the markers "property-id" and "initialized".
void removeBindingMarkers(QObject* widget);
// Whether "initialized" is true.
bool isInitialized(const QObject* widget);
// Sets "initialized" to true.
void markInitialized(QObject* widget);
// Stores the property's identifier as "property-id".
void storePropertyId(QObject* widget, const kq::Property* property);
// The translator kept in the widget's "trns-helper" (null when absent), and
// storing one there as an unsigned 64-bit integer.
template <class Translator> Translator translatorOf(const QObject* widget)
{
    return reinterpret_cast<Translator>(quintptr(widget->property(markers::TranslatorHelper).toULongLong()));
}
template <class Translator> void storeTranslator(QObject* widget, Translator translator)
{
    widget->setProperty(markers::TranslatorHelper, quint64(reinterpret_cast<quintptr>(translator)));
}
// Whether the widget can show the property: a null widget cannot, and a null
// property disables the widget (with the "not available" tool tip).
bool requireProperty(QWidget* widget, const kq::Property* property);
// requireProperty(), then stores the property's identifier as "property-id".
bool bindProperty(QWidget* widget, const kq::Property* property);

// The session's typed property (read-only for string choices), or null when
// there is no session or no such property.
template <class Id>
auto propertyOf(const ConstNodeConfigSessionHandle& session, Id id)
    -> decltype(session->property(id, HasProperties::k_contextIndexDefault))
{
    return session.null() ? nullptr : session->property(id, HasProperties::k_contextIndexDefault);
}
// The same, asking the session first whether it has the property at all.
template <class Id>
auto offeredProperty(const ConstNodeConfigSessionHandle& session, Id id) -> decltype(propertyOf(session, id))
{
    if (session.null() || !session->hasProperty(id, HasProperties::k_contextIndexDefault))
        return nullptr;
    return propertyOf(session, id);
}

// Whether a vector holds a value, answered as QVector::contains (for strings:
// indexOf() >= 0) would answer; string vectors are put into a hash set once,
// so that each question costs a lookup instead of a scan.
template <class T> class Membership {
public:
    explicit Membership(const QVector<T>& values)
        : m_values(values)
    {
    }
    bool contains(const T& value) const { return m_values.contains(value); }

private:
    const QVector<T>& m_values;
};
template <> class Membership<QString> {
public:
    explicit Membership(const QVector<QString>& values)
        : m_values(values.cbegin(), values.cend())
    {
    }
    bool contains(const QString& value) const { return m_values.contains(value); }

private:
    QSet<QString> m_values;
};

// The raw value of the list's item in that row, as propertyValue() reads it,
// taken from the list's value index.
QString rawValueAt(const QListWidget* list, int row);

// Calls f(item, rawValue) for every item of the list except the one whose raw
// value is "AE", which the event functions never touch.
template <class F> void forEachItemExceptAE(QListWidget* list, F f)
{
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem* item = list->item(row);
        const QString value = rawValueAt(list, row);
        if (value != QLatin1String("AE"))
            f(item, value);
    }
}

// Whether the item's font (Qt::FontRole; a default font when it holds none)
// is bold, and that font.
QFont itemFont(const QListWidgetItem* item);
bool isBold(const QFont& font);

// ---------------------------------------------------------------------------
// Lookup and translation

// Position of the first element equal to value (exact, case-sensitive), or -1.
int indexOf(const QVector<QString>& values, const QString& value);
// The entry whose raw value (Qt::UserRole) equals raw by QVariant equality:
// the answer of QComboBox::findData(raw, Qt::UserRole), found through the
// box's value index when raw is a string. -1 for none or a null box.
int findData(const QComboBox* box, const QVariant& raw);
// Index of the entry whose numeric raw value is nearest to value, distances
// truncated to whole units, the first entry winning a tie; -1 when no entry
// holds a number.
int findClosestData(QComboBox* box, double value);

// The translator's text for value, or, when there is no translator or it
// answers empty, the value looked up in the catalogue under context.
QString translatePropertyValue(const QString& value, StringTranslator translator, const char* context);
// The translator's text for value, or QString::number(value, 'g', 6); context
// is not used (numbers are never looked up).
QString translatePropertyValue(double value, NumberTranslator translator, const char* context);

// ---------------------------------------------------------------------------
// Value ranges: set enables (or adds) every value, merge disables entries that
// the vector lacks and adds its new values disabled (hidden in lists).

void setValueRange(QListWidget* list, const QVector<QString>& values);
void setValueRange(QComboBox* box, const QVector<QString>& values);
void setValueRange(QComboBox* box, const QVector<int>& values);
void setValueRange(QComboBox* box, const QVector<double>& values);
void mergeValueRange(QListWidget* list, const QVector<QString>& values);
void mergeValueRange(QComboBox* box, const QVector<QString>& values);
void mergeValueRange(QComboBox* box, const QVector<int>& values);
void mergeValueRange(QComboBox* box, const QVector<double>& values);

// Forwarders passing on the option's permitted values (a null property does
// nothing).
void setValueRange(QListWidget* list, const kq::TMultiOptions<QString>& option);
void setValueRange(QListWidget* list, const kq::StringMultiOptionsProperty* property);
void mergeValueRange(QListWidget* list, const kq::TMultiOptions<QString>& option);
void mergeValueRange(QListWidget* list, const kq::StringMultiOptionsProperty* property);
void setValueRange(QComboBox* box, const kq::TOptions<QString>& option);
void setValueRange(QComboBox* box, const kq::StringOptionsProperty* property);
void mergeValueRange(QComboBox* box, const kq::TOptions<QString>& option);
void mergeValueRange(QComboBox* box, const kq::StringOptionsProperty* property);
void setValueRange(QComboBox* box, const kq::TOptions<int>& option);
void mergeValueRange(QComboBox* box, const kq::TOptions<int>& option);
void setValueRange(QComboBox* box, const kq::TOptions<double>& option);
void mergeValueRange(QComboBox* box, const kq::TOptions<double>& option);

// ---------------------------------------------------------------------------
// Showing and merging values

// Stores the item's raw value (Qt::UserRole, as a QString).
void setPropertyValue(QListWidgetItem* item, const QString& value);

// Select the entry holding value (or, with closest, the nearest numeric
// entry). Answer its index, or -1 leaving the current entry as it was when no
// entry holds the value or that entry is disabled.
int setPropertyValue(QComboBox* box, int value, bool closest);
int setPropertyValue(QComboBox* box, double value, bool closest);
int setPropertyValue(QComboBox* box, bool value);
int setPropertyValue(QComboBox* box, const QString& value);
// A string literal would silently pick the bool form; pass a QString.
int setPropertyValue(QComboBox* box, const char* value) = delete;
// The option's selected value, as the forms above; a null property gives -1.
int setPropertyValue(QComboBox* box, const kq::TOptions<int>& option, bool closest);
int setPropertyValue(QComboBox* box, const kq::TOptions<double>& option, bool closest);
int setPropertyValue(QComboBox* box, const kq::TOptions<QString>& option);
int setPropertyValue(QComboBox* box, const kq::StringOptionsProperty* property);

// Compare a further node's value with the current entry: equal (or, with
// closest, on the same nearest entry) answers the current index, otherwise
// the box becomes indeterminate and -1 is answered. A null property gives -1.
int mergePropertyValue(QComboBox* box, double value, bool closest);
int mergePropertyValue(QComboBox* box, const kq::TOptions<double>& option, bool closest);
int mergePropertyValue(QComboBox* box, const kq::TOptions<int>& option, bool closest);
int mergePropertyValue(QComboBox* box, const QString& value);
int mergePropertyValue(QComboBox* box, const kq::TOptions<QString>& option);
int mergePropertyValue(QComboBox* box, const kq::StringOptionsProperty* property);

// Check exactly the items whose raw value is selected (every item is set).
void setPropertyValue(QListWidget* list, const QVector<QString>& selected);
void setPropertyValue(QListWidget* list, const kq::TMultiOptions<QString>& option);
void setPropertyValue(QListWidget* list, const kq::StringMultiOptionsProperty* property);
// Make partially checked every item whose check state differs from what the
// further node's selection gives.
void mergePropertyValue(QListWidget* list, const QVector<QString>& selected);
void mergePropertyValue(QListWidget* list, const kq::TMultiOptions<QString>& option);
void mergePropertyValue(QListWidget* list, const kq::StringMultiOptionsProperty* property);

// Writes the check states of the enabled, determinate items other than "AE"
// into the selection; a disabled list writes nothing.
void setProperty(kq::TMultiOptions<QString>& option, const QListWidget* list);
// Selects "true-value" or "false-value" per the check state; false (nothing
// written) for a disabled or indeterminate box or an empty choice value.
bool setProperty(kq::TOptions<QString>& option, const QCheckBox* box);

// ---------------------------------------------------------------------------
// Update forms the session forms reach their behaviour through

// Shows the string (a null property disables the line edit).
void updateLineEdit(QLineEdit* edit, const kq::StringProperty* property);
void updateListWidget(QListWidget* list, const kq::TMultiOptions<QString>& option);
// Stores "property-id"; null disables the list.
void updateListWidget(QListWidget* list, const kq::StringMultiOptionsProperty* property);
// Store "property-id"; null disables the box.
void updateCheckBox(QCheckBox* box, const kq::BoolProperty* property);
void updateCheckBox(QCheckBox* box, const kq::StringOptionsProperty* property);
// First node: set the range and select the value; further node: merge the
// range and the value. Answer the current index or -1.
int updateComboBox(QComboBox* box, const kq::TOptions<int>& option, bool closest);
int updateComboBox(QComboBox* box, const kq::TOptions<double>& option, bool closest);
int updateComboBox(QComboBox* box, const kq::TOptions<QString>& option);
// Store "property-id" and call the option form; null disables and gives -1.
int updateComboBox(QComboBox* box, const kq::LongOptionsProperty* property, bool closest);
int updateComboBox(QComboBox* box, const kq::DoubleOptionsProperty* property, bool closest);

// ---------------------------------------------------------------------------
// Event lists

// Warns by tool tip where a click would change the camera.
void setListToolTip(QListWidget* list);
void updateEventListWidget(
    QListWidget* list, const kq::TMultiOptions<QString>& option, const QVector<QString>& enabledEvents);
// Stores "property-id"; null disables the list.
void updateEventListWidget(
    QListWidget* list, const kq::StringMultiOptionsProperty* property, const QVector<QString>& enabledEvents);

} // namespace kq
