/// @file
/// Binding ordinary Qt widgets to node properties.
///
/// A dialog that edits one or several nodes binds each widget over one cycle:
/// reset...() empties the widget, one update...() call per node shows the first
/// node's value and merges every further node's value (differing values show as
/// `"<Multiple Values>"`, a partially checked box or a marker entry), and
/// setProperty() writes the user's choice back into each node's property. A
/// disabled or indeterminate widget writes nothing.
///
/// Everything a binding remembers about a widget is kept on the widget as Qt
/// dynamic properties (markers), readable by dialog code:
///
/// | Marker | Type | Meaning |
/// |---|---|---|
/// | "property-id" | int | the identifier of the property shown |
/// | "initialized" | bool | the widget already holds one node's value |
/// | "multiplier" | double | spin boxes: shown = value * multiplier (absent, 0 or less: 1.0) |
/// | "trns-helper" | quint64 | combo boxes, lists: the function giving a value's display text (0: none) |
/// | "true-value", "false-value" | QString | check boxes standing for a choice |
/// | "value" | QString | radio buttons: the choice the button stands for |
/// | "old-font", "old-palette", "old-tooltip" | | what highlight() and setEnabled(QWidget*, bool) restore |
///
/// A marker is removed by setting it to an invalid QVariant.
///
/// Combo-box entries and list items keep the raw property value under
/// Qt::UserRole and show a translated text; lookups, merges and write-backs
/// compare raw values exactly. A list item whose raw value is "AE" is never
/// disabled, hidden, written back or locked by these functions.
///
/// Every function accepts a null widget and then does nothing, answering
/// false, -1 or an empty value. A null property never crashes: update
/// functions disable the widget (with the tool tip "This feature is not
/// available for the connected camera."), write-backs answer false.
///
/// All functions run on the GUI thread.
#pragma once

#include <ConfigDialogs/configdialogs_export.h>

#include <kq/NodeConfigSession.h>
#include <kq/Property.h>
#include <kqm/Smart.h>

#include <QString>
#include <QVariant>
#include <QVector>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QRadioButton;
class QSpinBox;
class QWidget;

/// The client's property model and the functions binding widgets to it.
namespace kq {

/// Translators turn a raw value into its display text and answer an empty
/// string for a value they do not know (the catalogue or the number is used
/// then).
using StringTranslator = QString (*)(const QString&);
/// The numeric form: turns a number into its display text, empty when unknown.
using NumberTranslator = QString (*)(double);

/// @name Highlighting and availability
///@{

/// on: shows w in a bold font with red window text, remembering the font and
/// palette from before the first highlight ("old-font", "old-palette").
/// off: restores what was remembered and removes the markers; a widget never
/// highlighted is left alone.
CONFIGDIALOGS_EXPORT void highlight(QWidget* w, bool on);

/// Marks w as unavailable for the connected camera (enable false): saves its
/// tool tip once ("old-tooltip"), shows "This feature is not available for the
/// connected camera." and disables it. enable true restores the saved tool tip
/// (if any), removes the marker and enables it.
CONFIGDIALOGS_EXPORT void setEnabled(QWidget* w, bool enable);

/// Whether the item's flags contain Qt::ItemIsEnabled; false for null.
CONFIGDIALOGS_EXPORT bool isEnabled(const QListWidgetItem* item);
/// Sets or clears Qt::ItemIsEnabled, other flags kept; null does nothing.
CONFIGDIALOGS_EXPORT void setEnabled(QListWidgetItem* item, bool enable);
/// The enabled state of the item in that row; false for a row without item.
CONFIGDIALOGS_EXPORT bool isEnabled(const QListWidget* list, int row);
/// The enabled state of the first item holding value; false when none does.
CONFIGDIALOGS_EXPORT bool isEnabled(const QListWidget* list, const QString& value);
/// Enables or disables the first item holding value; an absent value does
/// nothing.
CONFIGDIALOGS_EXPORT void setEnabled(QListWidget* list, const QString& value, bool enable);

/// Enables or disables the combo-box entry at index. Nothing happens for a
/// negative index, an index without entry, or a model that is not a
/// QStandardItemModel.
CONFIGDIALOGS_EXPORT void setEnabled(QComboBox* box, int index, bool enable);
/// The same for the first entry whose raw value equals value (findData with
/// Qt's default flags, so a double also finds an equal 64-bit integer); an
/// absent value does nothing. An int argument picks the index form above:
/// pass a double to find a number.
CONFIGDIALOGS_EXPORT void setEnabled(QComboBox* box, double value, bool enable);
/// @overload
CONFIGDIALOGS_EXPORT void setEnabled(QComboBox* box, const QString& value, bool enable);
/// Whether the entry at index is enabled; false for a negative index, an index
/// without entry or a model that is not a QStandardItemModel.
CONFIGDIALOGS_EXPORT bool isEnabled(const QComboBox* box, int index);
/// Whether the first entry holding value is enabled; false when none does.
CONFIGDIALOGS_EXPORT bool isEnabled(const QComboBox* box, const QString& value);

/// Makes bold every item (except "AE") whose value is active on the node.
CONFIGDIALOGS_EXPORT void markEnabled(QListWidget* list, const QVector<QString>& enabled);
/// Folds a further node's active values into the marks of markEnabled: bold
/// stays for values active on every node, normal-weight italic marks values
/// active on some, plain those active on none. "AE" is left alone.
CONFIGDIALOGS_EXPORT void mergeMarkedEnabled(QListWidget* list, const QVector<QString>& enabled);

///@}

/// @name Indeterminate state
/// How a widget shows that the edited nodes differ: `"<Multiple Values>"`, a
/// partially checked box or a marker entry.
///@{

/// Whether the variant's type is invalid (the value of the combo-box marker
/// entry, or no value at all).
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QVariant& value);
/// Whether text is the translated `"<Multiple Values>"` (context "Statics").
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QString& text);

/// Makes the box tristate and partially checked.
CONFIGDIALOGS_EXPORT void setIndeterminate(QCheckBox* box);
/// Whether the box is partially checked; false for null.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QCheckBox* box);

/// Adds Qt::ItemIsAutoTristate (other flags kept) and checks the item
/// partially.
CONFIGDIALOGS_EXPORT void setIndeterminate(QListWidgetItem* item);
/// Whether the item's check state is Qt::PartiallyChecked; false for null.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QListWidgetItem* item);
/// The same for the first item holding value; an absent value does nothing
/// (set) or answers false (is).
CONFIGDIALOGS_EXPORT void setIndeterminate(QListWidget* list, const QString& value);
/// Whether the first item holding value is partially checked; false when none
/// does.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QListWidget* list, const QString& value);

/// Selects the marker entry `"<Multiple Values>"` (context "Properties"),
/// inserting it above a separator at the top when the box has no entry without
/// raw value yet. Calling it again adds nothing.
CONFIGDIALOGS_EXPORT void setIndeterminate(QComboBox* box);
/// Whether the current entry has no raw value: the marker entry, a separator,
/// or no current entry at all (an empty box). False for null.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QComboBox* box);

/// Shows `"<Multiple Values>"` as the special value text at the minimum.
CONFIGDIALOGS_EXPORT void setIndeterminate(QSpinBox* box);
/// Whether the box shows the marker: its value is the minimum and its special
/// value text is the translated marker.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QSpinBox* box);
/// As for QSpinBox.
CONFIGDIALOGS_EXPORT void setIndeterminate(QDoubleSpinBox* box);
/// As for QSpinBox.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QDoubleSpinBox* box);

/// Shows `"<Multiple Values>"` as the text; a text typed by hand that equals it
/// counts as indeterminate too.
CONFIGDIALOGS_EXPORT void setIndeterminate(QLineEdit* edit);
/// Whether the text is the translated marker.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QLineEdit* edit);
/// Shows `"<Multiple Values>"` as the text.
CONFIGDIALOGS_EXPORT void setIndeterminate(QLabel* label);
/// Whether the text is the translated marker.
CONFIGDIALOGS_EXPORT bool isIndeterminate(const QLabel* label);

///@}

/// @name Value ranges
///@{

/// The first item (scanning rows from 0) whose raw value equals value, or null.
CONFIGDIALOGS_EXPORT QListWidgetItem* findItem(const QListWidget* list, const QString& value);
/// @overload
CONFIGDIALOGS_EXPORT QListWidgetItem* findItem(QListWidget* list, const QString& value);

/// Appends a checkable, 19 pixel high item holding value and showing its
/// translation (the list's "trns-helper", else the "Statics" catalogue),
/// enabled or not. The item always goes to the end, whatever row says.
CONFIGDIALOGS_EXPORT void addValue(QListWidget* list, const QString& value, bool enabled, int row);
/// Appends an entry holding value (int values are stored as qlonglong) and
/// showing its translation (the box's "trns-helper"; strings fall back to the
/// "Statics" catalogue, numbers to QString::number(value, 'g', 6)), enabled or
/// not.
CONFIGDIALOGS_EXPORT void addValue(QComboBox* box, const QString& value, bool enabled);
/// @overload
CONFIGDIALOGS_EXPORT void addValue(QComboBox* box, int value, bool enabled);
/// @overload
CONFIGDIALOGS_EXPORT void addValue(QComboBox* box, double value, bool enabled);

/// Prepares a spin box for a new pass: removes "property-id" and
/// "initialized", stores "multiplier", sets the range and the value.
CONFIGDIALOGS_EXPORT void resetSpinBox(QSpinBox* box, double multiplier, int minimum, int maximum, int value);
/// @overload
CONFIGDIALOGS_EXPORT void resetSpinBox(
    QDoubleSpinBox* box, double multiplier, int minimum, int maximum, int value);

/// Shows a port number (times the box's multiplier). The first call after a
/// reset shows it and answers 1; a further call turns the box indeterminate
/// when the number differs and answers -1. A null box answers -1.
CONFIGDIALOGS_EXPORT int updatePortSpinBox(QSpinBox* box, int port);

/// Prepares a radio button for a new pass: removes "initialized" and
/// "property-id", stores the choice it stands for as "value", enables it
/// again (restoring a saved tool tip), switches auto-exclusivity off and
/// unchecks it.
CONFIGDIALOGS_EXPORT void resetRadioButton(QRadioButton* button, const QString& value);

///@}

/// @name Reading widget values
///@{

/// The raw value of the current entry; invalid when nothing is current.
CONFIGDIALOGS_EXPORT QVariant propertyValue(const QComboBox* box);
/// That value as a 32-bit integer (truncated from 64 bits), a double, a string.
CONFIGDIALOGS_EXPORT int longPropertyValue(const QComboBox* box);
/// The current entry's raw value as a double (0 when nothing is current).
CONFIGDIALOGS_EXPORT double doublePropertyValue(const QComboBox* box);
/// The current entry's raw value as a string (empty when nothing is current).
CONFIGDIALOGS_EXPORT QString stringPropertyValue(const QComboBox* box);
/// The item's raw value; empty for null.
CONFIGDIALOGS_EXPORT QString propertyValue(const QListWidgetItem* item);

///@}

/// @name Writing widget values back
/// Each answers false and writes nothing when the property is null, the widget
/// is disabled or (except radio buttons) indeterminate.
///@{

/// The current entry's raw value as bool (boxes from the three-argument
/// resetComboBox).
CONFIGDIALOGS_EXPORT bool setProperty(kq::BoolProperty* property, const QComboBox* box);
/// Whether the box is checked.
CONFIGDIALOGS_EXPORT bool setProperty(kq::BoolProperty* property, const QCheckBox* box);
/// The number shown divided by the box's multiplier, truncated.
CONFIGDIALOGS_EXPORT bool setProperty(kq::LongProperty* property, const QSpinBox* box);
/// The text; nothing is written for a null property, a disabled or an
/// indeterminate line edit.
CONFIGDIALOGS_EXPORT void setProperty(kq::StringProperty* property, const QLineEdit* edit);
/// Selects the number shown divided by the multiplier, appending it to the
/// option's values (with a logged warning) when the option lacks it.
CONFIGDIALOGS_EXPORT bool setProperty(kq::LongOptionsProperty* property, const QSpinBox* box);
/// Select the current entry's raw value in the option (appending it, with a
/// logged warning, when the option lacks it) and answer whether the property
/// accepts its new value.
CONFIGDIALOGS_EXPORT bool setProperty(kq::LongOptionsProperty* property, const QComboBox* box);
/// @overload
CONFIGDIALOGS_EXPORT bool setProperty(kq::DoubleOptionsProperty* property, const QComboBox* box);
/// @overload
CONFIGDIALOGS_EXPORT bool setProperty(kq::StringOptionsProperty* property, const QComboBox* box);
/// Finds the string-choice property by the box's "property-id" in the session
/// and writes it as above. False when the session is null, lacks the property
/// or holds a property of another kind under that identifier.
CONFIGDIALOGS_EXPORT bool setProperty(ConstNodeConfigSessionHandle session, const QComboBox* box);
/// A checked button selects its "value" in the option; an unchecked one writes
/// nothing and answers true (another button of the group writes).
CONFIGDIALOGS_EXPORT bool setProperty(kq::StringOptionsProperty* property, const QRadioButton* button);
/// Finds the property by the button's "property-id", as the combo-box form.
CONFIGDIALOGS_EXPORT bool setProperty(ConstNodeConfigSessionHandle session, const QRadioButton* button);
/// Selects "true-value" when checked, else "false-value"; an empty one answers
/// false and writes nothing.
CONFIGDIALOGS_EXPORT bool setProperty(kq::StringOptionsProperty* property, const QCheckBox* box);
/// Updates the selection from the check states of the enabled, determinate
/// items other than "AE"; other values keep their membership. A null property
/// or a disabled list writes nothing.
CONFIGDIALOGS_EXPORT void setProperty(kq::StringMultiOptionsProperty* property, const QListWidget* list);

///@}

/// @name Session-bound update and reset
/// The first update after a reset shows the node's value and sets
/// "initialized"; every further update merges the next node's value. A
/// property the session lacks (or a null property or session) disables the
/// widget with the "not available" tool tip; functions answering int then
/// answer -1.
///@{

/// Shows text; a further, different text makes the label indeterminate.
CONFIGDIALOGS_EXPORT void updateLabel(QLabel* label, const QString& text);
/// Shows the property's string; null disables the label (QWidget::setEnabled,
/// the tool tip is left alone).
CONFIGDIALOGS_EXPORT void updateLabel(QLabel* label, const kq::StringProperty* property);
/// Shows "title: a/b".
CONFIGDIALOGS_EXPORT void updateLabel(
    QLabel* label, const QString& title, const QString& a, const QString& b);
/// Shows the session's string property `id` as updateLabel(QLabel*, const QString&)
/// does.
CONFIGDIALOGS_EXPORT void updateLabel(
    QLabel* label, ConstNodeConfigSessionHandle session, kq::EStringProperty id);
/// Shows "title: a/b" with the values of the two properties; disables the label
/// when either is missing.
CONFIGDIALOGS_EXPORT void updateLabel(QLabel* label, const QString& title,
    ConstNodeConfigSessionHandle session, kq::EStringProperty a, kq::EStringProperty b);

/// Shows the session's string property `id`; a further node with another
/// string makes the line edit indeterminate.
CONFIGDIALOGS_EXPORT void updateLineEdit(
    QLineEdit* edit, ConstNodeConfigSessionHandle session, kq::EStringProperty id);

/// Shows value * multiplier with the property's bounds as the range (not
/// multiplied) and stores "property-id". Always answers -1.
CONFIGDIALOGS_EXPORT int updateSpinBox(QSpinBox* box, kq::LongProperty* property);
/// Shows the selected value * multiplier, the range being the first and the
/// last permitted value * multiplier. The bool is accepted and not used.
CONFIGDIALOGS_EXPORT void updateSpinBox(QSpinBox* box, kq::LongOptionsProperty* property, bool closest);
/// The session's long property `id`, shown as
/// updateSpinBox(QSpinBox*, kq::LongProperty*) does; always answers -1.
CONFIGDIALOGS_EXPORT int updateSpinBox(
    QSpinBox* box, ConstNodeConfigSessionHandle session, kq::ELongProperty id);
/// Always answers -1.
CONFIGDIALOGS_EXPORT int updateSpinBox(
    QSpinBox* box, ConstNodeConfigSessionHandle session, kq::ELongOptionsProperty id, bool closest);

/// Checked when any profile's text (kq::Profile::text, walked in key order)
/// equals the box's "true-value"; partially checked when there are no profiles.
CONFIGDIALOGS_EXPORT void updateCheckBox(QCheckBox* box, const kq::ProfilesProperty* property);
/// Checked for true, unchecked for false; a further node that differs makes
/// the box partially checked.
CONFIGDIALOGS_EXPORT void updateCheckBox(
    QCheckBox* box, ConstNodeConfigSessionHandle session, kq::EBoolProperty id);
/// Checked for the box's "true-value", unchecked for its "false-value" (see
/// resetCheckBox); partially checked when both are empty.
CONFIGDIALOGS_EXPORT void updateCheckBox(
    QCheckBox* box, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id);

/// Fills the box with the option's permitted values (merging them for a further
/// node, disabling those not common) and selects the selected value. Answers
/// the current index, or -1 when nothing could be selected or the box became
/// indeterminate. Stores "property-id".
CONFIGDIALOGS_EXPORT int updateComboBox(QComboBox* box, const kq::StringOptionsProperty* property);
/// Selects the boolean's entry in a box prepared by the three-argument
/// resetComboBox. Always answers -1.
CONFIGDIALOGS_EXPORT int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::EBoolProperty id);
/// closest: select (and compare by) the nearest entry, whole units apart.
CONFIGDIALOGS_EXPORT int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::ELongOptionsProperty id, bool closest);
/// @overload
CONFIGDIALOGS_EXPORT int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::EDoubleOptionsProperty id, bool closest);
/// The session's string-choice property `id`, shown as
/// updateComboBox(QComboBox*, const kq::StringOptionsProperty*) does.
CONFIGDIALOGS_EXPORT int updateComboBox(
    QComboBox* box, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id);

/// Checks the button when its "value" is the selected value. A further node
/// that disagrees unchecks the whole group (auto-exclusivity off).
CONFIGDIALOGS_EXPORT void updateRadioButton(QRadioButton* button, const kq::StringOptionsProperty* property);
/// The session's string-choice property `id`, as the form above.
CONFIGDIALOGS_EXPORT void updateRadioButton(
    QRadioButton* button, ConstNodeConfigSessionHandle session, kq::EStringOptionsProperty id);

/// Fills the list with the permitted values as checkable items (a further node
/// hides and disables values not common) and checks the selected ones.
CONFIGDIALOGS_EXPORT void updateListWidget(
    QListWidget* list, ConstNodeConfigSessionHandle session, kq::EStringMultiOptionsProperty id);

/// The reset functions empty the widget, enable it again (restoring a saved
/// tool tip) and remove "property-id" and "initialized". resetLabel() also
/// ends a highlight.
CONFIGDIALOGS_EXPORT void resetLabel(QLabel* label);
/// Empties the line edit as the reset functions do.
CONFIGDIALOGS_EXPORT void resetLineEdit(QLineEdit* edit);
/// The translator (may be null) is stored as "trns-helper". For no translator
/// pass a typed null, e.g. kq::StringTranslator(), so the overload is clear.
CONFIGDIALOGS_EXPORT void resetListWidget(QListWidget* list, StringTranslator translator);
/// Empties the box as the reset functions do and stores the translator for
/// numeric values (may be null) as "trns-helper".
CONFIGDIALOGS_EXPORT void resetComboBox(QComboBox* box, NumberTranslator translator);
/// The same with a translator for string values.
CONFIGDIALOGS_EXPORT void resetComboBox(QComboBox* box, StringTranslator translator);
/// Fills the box with two entries for a boolean: trueText (raw true), then
/// falseText (raw false).
CONFIGDIALOGS_EXPORT void resetComboBox(QComboBox* box, const QString& trueText, const QString& falseText);
/// Unchecks the box and makes it two-state.
CONFIGDIALOGS_EXPORT void resetCheckBox(QCheckBox* box);
/// As above, then stores the choice values the box stands for. Note the order:
/// the value for unchecked comes first.
CONFIGDIALOGS_EXPORT void resetCheckBox(QCheckBox* box, const QString& falseValue, const QString& trueValue);

///@}

/// @name Event lists
/// A list of camera events: checked items are the events the client reacts
/// to, a bold font marks events enabled on the camera (italic: on some of the
/// edited cameras), and tool tips warn where a click changes the camera.
///@{

/// Fills the list for one more node (see updateListWidget) with the events
/// enabled on that node. A missing property disables the list.
CONFIGDIALOGS_EXPORT void updateEventListWidget(QListWidget* list, ConstNodeConfigSessionHandle session,
    kq::EStringMultiOptionsProperty id, const QVector<QString>& enabledEvents);
/// After a fill: makes checked events that are enabled bold; events not
/// enabled lose the bold font and, when their item is enabled, their check.
/// Does nothing for a list not filled since its reset. The vector is only read.
CONFIGDIALOGS_EXPORT void markEnabledEvents(QListWidget* list, QVector<QString>& enabledEvents);
/// Disables every event (except "AE") not in configurable and gives it the tool
/// tip "Caution: Item not configurable. Please configure camera via browser!";
/// configurable events end enabled.
CONFIGDIALOGS_EXPORT void disableEventListWidgetItems(
    QListWidget* list, const QVector<QString>& configurable);

///@}

} // namespace kq
