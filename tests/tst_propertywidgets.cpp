// Markers, highlighting, availability, the indeterminate state and value
// ranges of the property-widget binding functions.
#include <ConfigDialogs/PropertyWidgets.h>
#include <propertywidgets/PropertyWidgets_p.h>

#include "propertywidgets_testsupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QStringListModel>
#include <QTranslator>
#include <QtTest>

namespace {

// A catalogue standing in for the dialogs' translations: it knows a few
// texts, each under one context only, so a lookup under the wrong context
// shows.
class Catalogue : public QTranslator {
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char* /*disambiguation*/ = nullptr,
        int /*n*/ = -1) const override
    {
        const QByteArray c(context);
        const QByteArray s(source);
        if (c == "Statics" && s == "<Multiple Values>")
            return QStringLiteral("{mehrere S}");
        if (c == "Properties" && s == "<Multiple Values>")
            return QStringLiteral("{mehrere P}");
        if (c == "ConfigDialog" && s == pwtest::kNotAvailable.toLatin1())
            return QStringLiteral("{nicht verfuegbar}");
        if (c == "Statics" && s == "day")
            return QStringLiteral("Tag");
        if (c == "Statics" && s == "1.5")
            return QStringLiteral("{numbers are never looked up}");
        if (c == "Statics" && s == "gr\xc3\xbc\xc3\x9f")
            return QStringLiteral("greeting");
        return QString();
    }
};

// Translators as dialogs give them: a text for the values they know, an
// empty string for the others.
QString nightTranslator(const QString& value)
{
    return value == QLatin1String("night") ? QStringLiteral("Night mode") : QString();
}
QString emptyTranslator(const QString&) { return QString(); }
QString halfTranslator(double value) { return value == 0.5 ? QStringLiteral("half") : QString(); }
QString emptyNumberTranslator(double) { return QString(); }

QStringList rawValues(const QComboBox& box)
{
    QStringList values;
    for (int i = 0; i < box.count(); ++i)
        values << box.itemData(i, Qt::UserRole).toString();
    return values;
}

QStringList rawValues(const QListWidget& list)
{
    QStringList values;
    for (int row = 0; row < list.count(); ++row)
        values << kq::propertyValue(list.item(row));
    return values;
}

QListWidgetItem* addItem(QListWidget& list, const QString& value, bool enabled = true)
{
    kq::addValue(&list, value, enabled, -1);
    return list.item(list.count() - 1);
}

void setItemFont(QListWidgetItem* item, QFont::Weight weight, QFont::Style style)
{
    QFont font;
    font.setWeight(weight);
    font.setStyle(style);
    item->setData(Qt::FontRole, font);
}

} // namespace

class TestPropertyWidgets : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Highlighting and availability
    void highlightTwiceThenOffRestoresFirst();
    void highlightOffWithoutHighlightChangesNothing();
    void disableStoresEmptyTooltipAndEnableRestoresIt();
    void disableTwiceKeepsFirstTooltip();
    void enableWithoutDisableKeepsTooltip();
    void notAvailableTooltipIsTranslated();
    void comboEntryEnabledState_data();
    void comboEntryEnabledState();
    void comboEntryByValue();
    void comboWithForeignModel();
    void listItemEnabledStateKeepsOtherFlags();
    void listEnabledByRowAndValue();
    void markEnabledMarksOnlyActiveValues();
    void mergeMarkedEnabled_data();
    void mergeMarkedEnabled();
    void aeEntryKeepsFontThroughMarking();

    // Indeterminate state
    void indeterminateVariant_data();
    void indeterminateVariant();
    void indeterminateText_data();
    void indeterminateText();
    void emptyComboIsIndeterminate();
    void comboIndeterminateTwiceAddsOneMarker();
    void comboEntryWithoutDataServesAsMarker();
    void comboMarkerUsesPropertiesContext();
    void spinBoxIndeterminate();
    void doubleSpinBoxIndeterminate();
    void spinBoxAtMinimumWithOtherTextIsDeterminate();
    void spinBoxMarkerUsesStaticsContext();
    void lineEditTypedMarkerIsIndeterminate();
    void labelIndeterminate();
    void checkBoxIndeterminateUntilUserClicks();
    void listItemIndeterminateKeepsFlags();
    void listIndeterminateByValue();

    // Value ranges and translation
    void indexOfFindsFirst_data();
    void indexOfFindsFirst();
    void findItemFindsFirstByRawValue();
    void findClosestData_data();
    void findClosestData();
    void translateString_data();
    void translateString();
    void translateNumber_data();
    void translateNumber();
    void addListValueAlwaysAppends();
    void addListValueItemState();
    void addComboValues();
    void setValueRangeTwiceAddsNothing();
    void setValueRangeEnablesButNeverRemoves();
    void mergeComboRange_data();
    void mergeComboRange();
    void mergeComboRangeSkipsMarkerEntries();
    void mergeListRangeHidesUncommonButNotAE();
    void optionForwardersPassTheValues();
    void updatePortSpinBox_data();
    void updatePortSpinBox();
    void updatePortSpinBoxMergesSecondNode();
    void resetSpinBoxes();
    void resetRadioButton();
    void resetRadioButtonLeavesADisabledButtonDisabled();

    // Bad input
    void nullWidgetsAreHarmless();
};

// ---------------------------------------------------------------------------
// Highlighting and availability

void TestPropertyWidgets::highlightTwiceThenOffRestoresFirst()
{
    QLabel label(QStringLiteral("Zoom"));
    QFont original = label.font();
    original.setItalic(true);
    label.setFont(original);
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, Qt::darkGreen);
    label.setPalette(palette);
    const QFont fontBefore = label.font();
    const QPalette paletteBefore = label.palette();

    kq::highlight(&label, true);
    QCOMPARE(label.font().weight(), int(QFont::Bold));
    QVERIFY(label.font().italic());
    for (QPalette::ColorGroup group : { QPalette::Active, QPalette::Inactive, QPalette::Disabled }) {
        QCOMPARE(label.palette().brush(group, QPalette::WindowText).color(), QColor(Qt::red));
        QCOMPARE(label.palette().brush(group, QPalette::WindowText).style(), Qt::SolidPattern);
    }
    QCOMPARE(qvariant_cast<QFont>(label.property("old-font")), fontBefore);

    kq::highlight(&label, true);
    // The second highlight must not record the highlighted look.
    QCOMPARE(qvariant_cast<QFont>(label.property("old-font")), fontBefore);
    QCOMPARE(qvariant_cast<QPalette>(label.property("old-palette")).color(QPalette::WindowText),
        QColor(Qt::darkGreen));

    kq::highlight(&label, false);
    QCOMPARE(label.font(), fontBefore);
    QCOMPARE(label.palette().color(QPalette::WindowText), QColor(Qt::darkGreen));
    QVERIFY(label.palette() == paletteBefore);
    QVERIFY(!label.property("old-font").isValid());
    QVERIFY(!label.property("old-palette").isValid());
    QVERIFY(label.dynamicPropertyNames().isEmpty());
}

void TestPropertyWidgets::highlightOffWithoutHighlightChangesNothing()
{
    QLabel label;
    QFont font = label.font();
    font.setPointSize(17);
    label.setFont(font);
    const QFont fontBefore = label.font();
    const QPalette paletteBefore = label.palette();

    kq::highlight(&label, false);

    QCOMPARE(label.font(), fontBefore);
    QVERIFY(label.palette() == paletteBefore);
    QVERIFY(label.dynamicPropertyNames().isEmpty());
}

void TestPropertyWidgets::disableStoresEmptyTooltipAndEnableRestoresIt()
{
    QLineEdit edit;
    QVERIFY(edit.toolTip().isEmpty());

    kq::setEnabled(&edit, false);
    QVERIFY(!edit.isEnabled());
    QCOMPARE(edit.toolTip(), pwtest::kNotAvailable);
    const QVariant saved = edit.property("old-tooltip");
    QVERIFY(saved.isValid());
    QCOMPARE(saved.toString(), QString());

    kq::setEnabled(&edit, true);
    QVERIFY(edit.isEnabled());
    QCOMPARE(edit.toolTip(), QString());
    QVERIFY(!edit.property("old-tooltip").isValid());
}

void TestPropertyWidgets::disableTwiceKeepsFirstTooltip()
{
    QSpinBox box;
    box.setToolTip(QStringLiteral("Frames per second"));

    kq::setEnabled(&box, false);
    kq::setEnabled(&box, false);
    QCOMPARE(box.property("old-tooltip").toString(), QStringLiteral("Frames per second"));
    QCOMPARE(box.toolTip(), pwtest::kNotAvailable);

    kq::setEnabled(&box, true);
    QCOMPARE(box.toolTip(), QStringLiteral("Frames per second"));
    QVERIFY(box.isEnabled());
}

void TestPropertyWidgets::enableWithoutDisableKeepsTooltip()
{
    QCheckBox box;
    box.setToolTip(QStringLiteral("Mirror the image"));
    box.setEnabled(false);

    kq::setEnabled(&box, true);

    QCOMPARE(box.toolTip(), QStringLiteral("Mirror the image"));
    QVERIFY(box.isEnabled());
    QVERIFY(!box.property("old-tooltip").isValid());
}

void TestPropertyWidgets::notAvailableTooltipIsTranslated()
{
    Catalogue catalogue;
    QCoreApplication::installTranslator(&catalogue);
    QLabel label;
    kq::setEnabled(&label, false);
    QCoreApplication::removeTranslator(&catalogue);
    QCOMPARE(label.toolTip(), QStringLiteral("{nicht verfuegbar}"));
}

void TestPropertyWidgets::comboEntryEnabledState_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("exists");
    QTest::newRow("first") << 0 << true;
    QTest::newRow("last") << 2 << true;
    QTest::newRow("minus one") << -1 << false;
    QTest::newRow("past the end") << 3 << false;
}

void TestPropertyWidgets::comboEntryEnabledState()
{
    QFETCH(int, index);
    QFETCH(bool, exists);
    QComboBox box;
    box.addItems({ QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c") });

    QCOMPARE(kq::isEnabled(&box, index), exists);
    kq::setEnabled(&box, index, false);
    QCOMPARE(kq::isEnabled(&box, index), false);
    auto* model = qobject_cast<QStandardItemModel*>(box.model());
    for (int i = 0; i < box.count(); ++i)
        QCOMPARE(model->item(i)->isEnabled(), i != index);
    kq::setEnabled(&box, index, true);
    QCOMPARE(kq::isEnabled(&box, index), exists);
}

void TestPropertyWidgets::comboEntryByValue()
{
    QComboBox box;
    box.addItem(QStringLiteral("Auto"), QStringLiteral("auto"));
    box.addItem(QStringLiteral("Two"), qlonglong(2));
    box.addItem(QStringLiteral("Half"), 0.5);

    QVERIFY(kq::isEnabled(&box, QStringLiteral("auto")));
    QVERIFY(!kq::isEnabled(&box, QStringLiteral("manual")));

    kq::setEnabled(&box, QStringLiteral("auto"), false);
    QVERIFY(!kq::isEnabled(&box, 0));
    QVERIFY(!kq::isEnabled(&box, QStringLiteral("auto")));

    // Numbers are found across types: a double 2.0 finds the 64-bit 2.
    kq::setEnabled(&box, 2.0, false);
    QVERIFY(!kq::isEnabled(&box, 1));
    kq::setEnabled(&box, 0.5, false);
    QVERIFY(!kq::isEnabled(&box, 2));

    // Absent values change nothing.
    kq::setEnabled(&box, QStringLiteral("manual"), true);
    kq::setEnabled(&box, 7.0, true);
    QVERIFY(!kq::isEnabled(&box, 0));
    QVERIFY(!kq::isEnabled(&box, 1));
    QVERIFY(!kq::isEnabled(&box, 2));
    QCOMPARE(box.count(), 3);
}

void TestPropertyWidgets::comboWithForeignModel()
{
    QComboBox box;
    QStringListModel model({ QStringLiteral("x"), QStringLiteral("y") });
    box.setModel(&model);
    QCOMPARE(box.count(), 2);

    kq::setEnabled(&box, 0, false);
    QVERIFY(model.flags(model.index(0, 0)).testFlag(Qt::ItemIsEnabled));
    QVERIFY(!kq::isEnabled(&box, 0));
}

void TestPropertyWidgets::listItemEnabledStateKeepsOtherFlags()
{
    QListWidget list;
    QListWidgetItem* item = addItem(list, QStringLiteral("motion"));
    item->setFlags(item->flags() | Qt::ItemIsEditable);
    const Qt::ItemFlags others = item->flags() & ~Qt::ItemIsEnabled;

    kq::setEnabled(item, false);
    QVERIFY(!kq::isEnabled(item));
    QCOMPARE(item->flags(), others);

    kq::setEnabled(item, true);
    QVERIFY(kq::isEnabled(item));
    QCOMPARE(item->flags(), others | Qt::ItemIsEnabled);
}

void TestPropertyWidgets::listEnabledByRowAndValue()
{
    QListWidget list;
    addItem(list, QStringLiteral("motion"));
    addItem(list, QStringLiteral("tamper"), false);

    QVERIFY(kq::isEnabled(&list, 0));
    QVERIFY(!kq::isEnabled(&list, 1));
    QVERIFY(!kq::isEnabled(&list, 2));
    QVERIFY(!kq::isEnabled(&list, -1));
    QVERIFY(kq::isEnabled(&list, QStringLiteral("motion")));
    QVERIFY(!kq::isEnabled(&list, QStringLiteral("tamper")));

    kq::setEnabled(&list, QStringLiteral("tamper"), true);
    QVERIFY(kq::isEnabled(&list, 1));
    kq::setEnabled(&list, QStringLiteral("motion"), false);
    QVERIFY(!kq::isEnabled(&list, 0));

    // A value the list does not hold is answered, not dereferenced.
    QVERIFY(!kq::isEnabled(&list, QStringLiteral("audio")));
    kq::setEnabled(&list, QStringLiteral("audio"), true);
    QCOMPARE(list.count(), 2);
}

void TestPropertyWidgets::markEnabledMarksOnlyActiveValues()
{
    QListWidget list;
    QListWidgetItem* motion = addItem(list, QStringLiteral("motion"));
    QListWidgetItem* tamper = addItem(list, QStringLiteral("tamper"));
    setItemFont(tamper, QFont::Normal, QFont::StyleItalic);

    kq::markEnabled(&list, { QStringLiteral("motion"), QStringLiteral("audio") });

    const QFont font = qvariant_cast<QFont>(motion->data(Qt::FontRole));
    QCOMPARE(font.weight(), int(QFont::Bold));
    QCOMPARE(font.style(), QFont::StyleNormal);
    const QFont untouched = qvariant_cast<QFont>(tamper->data(Qt::FontRole));
    QCOMPARE(untouched.weight(), int(QFont::Normal));
    QCOMPARE(untouched.style(), QFont::StyleItalic);
    QCOMPARE(list.count(), 2);
}

void TestPropertyWidgets::mergeMarkedEnabled_data()
{
    QTest::addColumn<int>("weight");
    QTest::addColumn<int>("style");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<bool>("activeOnSecond");
    QTest::addColumn<int>("expectedWeight");
    QTest::addColumn<int>("expectedStyle");

    const int bold = QFont::Bold, normal = QFont::Normal;
    const int upright = QFont::StyleNormal, italic = QFont::StyleItalic;
    QTest::newRow("bold, missing on second -> italic")
        << bold << upright << true << false << normal << italic;
    QTest::newRow("bold, present on second stays bold") << bold << upright << true << true << bold << upright;
    QTest::newRow("plain, present on second -> italic")
        << normal << upright << true << true << normal << italic;
    QTest::newRow("plain, missing on second stays plain")
        << normal << upright << true << false << normal << upright;
    QTest::newRow("italic, present stays italic") << normal << italic << true << true << normal << italic;
    QTest::newRow("italic, missing stays italic") << normal << italic << true << false << normal << italic;
    QTest::newRow("disabled bold -> plain") << bold << upright << false << true << normal << upright;
    QTest::newRow("disabled italic -> plain") << normal << italic << false << false << normal << upright;
}

void TestPropertyWidgets::mergeMarkedEnabled()
{
    QFETCH(int, weight);
    QFETCH(int, style);
    QFETCH(bool, enabled);
    QFETCH(bool, activeOnSecond);
    QFETCH(int, expectedWeight);
    QFETCH(int, expectedStyle);

    QListWidget list;
    QListWidgetItem* item = addItem(list, QStringLiteral("motion"), enabled);
    setItemFont(item, QFont::Weight(weight), QFont::Style(style));

    QVector<QString> second { QStringLiteral("tamper") };
    if (activeOnSecond)
        second << QStringLiteral("motion");
    kq::mergeMarkedEnabled(&list, second);

    const QFont font = qvariant_cast<QFont>(item->data(Qt::FontRole));
    QCOMPARE(font.weight(), expectedWeight);
    QCOMPARE(int(font.style()), expectedStyle);
}

void TestPropertyWidgets::aeEntryKeepsFontThroughMarking()
{
    QListWidget list;
    QListWidgetItem* ae = addItem(list, QStringLiteral("AE"));
    QListWidgetItem* other = addItem(list, QStringLiteral("motion"));
    QVERIFY(!ae->data(Qt::FontRole).isValid());

    kq::markEnabled(&list, { QStringLiteral("AE"), QStringLiteral("motion") });
    QVERIFY(!ae->data(Qt::FontRole).isValid());
    QCOMPARE(qvariant_cast<QFont>(other->data(Qt::FontRole)).weight(), int(QFont::Bold));

    kq::mergeMarkedEnabled(&list, {});
    QVERIFY(!ae->data(Qt::FontRole).isValid());
    QCOMPARE(qvariant_cast<QFont>(other->data(Qt::FontRole)).style(), QFont::StyleItalic);

    // Disabled, the entry is still not touched.
    setItemFont(ae, QFont::Bold, QFont::StyleNormal);
    kq::setEnabled(ae, false);
    kq::mergeMarkedEnabled(&list, {});
    QCOMPARE(qvariant_cast<QFont>(ae->data(Qt::FontRole)).weight(), int(QFont::Bold));
}

// ---------------------------------------------------------------------------
// Indeterminate state

void TestPropertyWidgets::indeterminateVariant_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("expected");
    QTest::newRow("invalid") << QVariant() << true;
    QTest::newRow("marker value") << kq::IDETERMINATE_VALUE << true;
    QTest::newRow("zero") << QVariant(0) << false;
    QTest::newRow("false") << QVariant(false) << false;
    QTest::newRow("empty string") << QVariant(QString()) << false;
    QTest::newRow("marker text") << QVariant(QStringLiteral("<Multiple Values>")) << false;
}

void TestPropertyWidgets::indeterminateVariant()
{
    QFETCH(QVariant, value);
    QFETCH(bool, expected);
    QCOMPARE(kq::isIndeterminate(value), expected);
}

void TestPropertyWidgets::indeterminateText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");
    QTest::newRow("marker") << QStringLiteral("<Multiple Values>") << true;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("other case") << QStringLiteral("<multiple values>") << false;
    QTest::newRow("trailing blank") << QStringLiteral("<Multiple Values> ") << false;
}

void TestPropertyWidgets::indeterminateText()
{
    QFETCH(QString, text);
    QFETCH(bool, expected);
    QCOMPARE(kq::isIndeterminate(text), expected);
}

void TestPropertyWidgets::emptyComboIsIndeterminate()
{
    QComboBox box;
    QCOMPARE(box.currentIndex(), -1);
    QVERIFY(kq::isIndeterminate(&box));

    box.addItem(QStringLiteral("One"), qlonglong(1));
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::comboIndeterminateTwiceAddsOneMarker()
{
    QComboBox box;
    kq::addValue(&box, 1, true);
    kq::addValue(&box, 2, true);
    box.setCurrentIndex(1);

    kq::setIndeterminate(&box);
    box.setCurrentIndex(3);
    QVERIFY(!kq::isIndeterminate(&box));
    kq::setIndeterminate(&box);

    QCOMPARE(box.count(), 4);
    QCOMPARE(box.currentIndex(), 0);
    QVERIFY(kq::isIndeterminate(&box));
    QCOMPARE(box.itemText(0), QStringLiteral("<Multiple Values>"));
    QVERIFY(!box.itemData(0, Qt::UserRole).isValid());
    // The separator below the marker.
    QCOMPARE(box.itemData(1, Qt::AccessibleDescriptionRole).toString(), QStringLiteral("separator"));
    QCOMPARE(box.itemData(2, Qt::UserRole), QVariant(qlonglong(1)));
    QCOMPARE(box.itemData(3, Qt::UserRole), QVariant(qlonglong(2)));
}

void TestPropertyWidgets::comboEntryWithoutDataServesAsMarker()
{
    QComboBox box;
    box.addItem(QStringLiteral("(none)"));
    box.addItem(QStringLiteral("One"), qlonglong(1));
    box.setCurrentIndex(1);

    kq::setIndeterminate(&box);

    QCOMPARE(box.count(), 2);
    QCOMPARE(box.currentIndex(), 0);
    QVERIFY(kq::isIndeterminate(&box));
}

void TestPropertyWidgets::comboMarkerUsesPropertiesContext()
{
    Catalogue catalogue;
    QCoreApplication::installTranslator(&catalogue);
    QComboBox box;
    kq::addValue(&box, QStringLiteral("auto"), true);
    kq::setIndeterminate(&box);
    QLineEdit edit;
    kq::setIndeterminate(&edit);
    QCoreApplication::removeTranslator(&catalogue);

    QCOMPARE(box.itemText(0), QStringLiteral("{mehrere P}"));
    QCOMPARE(edit.text(), QStringLiteral("{mehrere S}"));
}

void TestPropertyWidgets::spinBoxIndeterminate()
{
    QSpinBox box;
    box.setRange(0, 100);
    box.setValue(42);
    QVERIFY(!kq::isIndeterminate(&box));

    kq::setIndeterminate(&box);
    QCOMPARE(box.value(), 0);
    QCOMPARE(box.specialValueText(), QStringLiteral("<Multiple Values>"));
    QCOMPARE(box.text(), QStringLiteral("<Multiple Values>"));
    QVERIFY(kq::isIndeterminate(&box));

    // A value away from the minimum is a value again.
    box.setValue(5);
    QVERIFY(!kq::isIndeterminate(&box));
    box.setValue(0);
    QVERIFY(kq::isIndeterminate(&box));

    box.setSpecialValueText(QString());
    QCOMPARE(box.value(), 0);
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::doubleSpinBoxIndeterminate()
{
    QDoubleSpinBox box;
    box.setRange(-2.5, 10.0);
    box.setValue(1.25);

    kq::setIndeterminate(&box);
    QCOMPARE(box.value(), -2.5);
    QVERIFY(kq::isIndeterminate(&box));

    box.setSpecialValueText(QString());
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::spinBoxAtMinimumWithOtherTextIsDeterminate()
{
    QSpinBox box;
    box.setRange(0, 10);
    box.setSpecialValueText(QStringLiteral("Off"));
    box.setValue(0);
    QVERIFY(!kq::isIndeterminate(&box));

    QDoubleSpinBox real;
    real.setSpecialValueText(QStringLiteral("Off"));
    real.setValue(real.minimum());
    QVERIFY(!kq::isIndeterminate(&real));
}

void TestPropertyWidgets::spinBoxMarkerUsesStaticsContext()
{
    Catalogue catalogue;
    QCoreApplication::installTranslator(&catalogue);
    QSpinBox box;
    kq::setIndeterminate(&box);
    const bool indeterminateTranslated = kq::isIndeterminate(&box);
    QCoreApplication::removeTranslator(&catalogue);

    QCOMPARE(box.specialValueText(), QStringLiteral("{mehrere S}"));
    QVERIFY(indeterminateTranslated);
    // Without the catalogue the translated marker is no longer the marker.
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::lineEditTypedMarkerIsIndeterminate()
{
    QLineEdit edit;
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QTest::keyClicks(&edit, QStringLiteral("<Multiple Values"));
    QVERIFY(!kq::isIndeterminate(&edit));
    QTest::keyClicks(&edit, QStringLiteral(">"));
    QCOMPARE(edit.text(), QStringLiteral("<Multiple Values>"));
    QVERIFY(kq::isIndeterminate(&edit));

    edit.clear();
    kq::setIndeterminate(&edit);
    QCOMPARE(edit.text(), QStringLiteral("<Multiple Values>"));
    QVERIFY(kq::isIndeterminate(&edit));
}

void TestPropertyWidgets::labelIndeterminate()
{
    QLabel label(QStringLiteral("Zoom: 1/4"));
    QVERIFY(!kq::isIndeterminate(&label));
    kq::setIndeterminate(&label);
    QCOMPARE(label.text(), QStringLiteral("<Multiple Values>"));
    QVERIFY(kq::isIndeterminate(&label));
}

void TestPropertyWidgets::checkBoxIndeterminateUntilUserClicks()
{
    QCheckBox box(QStringLiteral("Mirror"));
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QVERIFY(!box.isTristate());

    kq::setIndeterminate(&box);
    QVERIFY(box.isTristate());
    QCOMPARE(box.checkState(), Qt::PartiallyChecked);
    QVERIFY(kq::isIndeterminate(&box));

    // A click moves a partially checked box on to checked.
    QTest::mouseClick(&box, Qt::LeftButton, {}, box.rect().center());
    QCOMPARE(box.checkState(), Qt::Checked);
    QVERIFY(!kq::isIndeterminate(&box));

    kq::setIndeterminate(&box);
    box.setCheckState(Qt::Unchecked);
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::listItemIndeterminateKeepsFlags()
{
    QListWidget list;
    QListWidgetItem* item = addItem(list, QStringLiteral("motion"));
    item->setCheckState(Qt::Checked);
    QVERIFY(!kq::isIndeterminate(item));

    kq::setIndeterminate(item);

    QVERIFY(item->flags().testFlag(Qt::ItemIsEnabled));
    QVERIFY(item->flags().testFlag(Qt::ItemIsUserCheckable));
    QVERIFY(item->flags().testFlag(Qt::ItemIsAutoTristate));
    QVERIFY(!item->flags().testFlag(Qt::ItemIsSelectable));
    QCOMPARE(item->checkState(), Qt::PartiallyChecked);
    QVERIFY(kq::isIndeterminate(item));

    item->setCheckState(Qt::Unchecked);
    QVERIFY(!kq::isIndeterminate(item));
}

void TestPropertyWidgets::listIndeterminateByValue()
{
    QListWidget list;
    addItem(list, QStringLiteral("motion"))->setCheckState(Qt::Checked);
    addItem(list, QStringLiteral("tamper"))->setCheckState(Qt::Unchecked);

    kq::setIndeterminate(&list, QStringLiteral("tamper"));
    QVERIFY(kq::isIndeterminate(&list, QStringLiteral("tamper")));
    QVERIFY(!kq::isIndeterminate(&list, QStringLiteral("motion")));
    QCOMPARE(list.item(1)->checkState(), Qt::PartiallyChecked);

    // Absent values: nothing happens, the answer is false.
    kq::setIndeterminate(&list, QStringLiteral("audio"));
    QVERIFY(!kq::isIndeterminate(&list, QStringLiteral("audio")));
    QCOMPARE(list.count(), 2);
}

// ---------------------------------------------------------------------------
// Value ranges and translation

void TestPropertyWidgets::indexOfFindsFirst_data()
{
    QTest::addColumn<QVector<QString>>("values");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("expected");
    const QVector<QString> values { QStringLiteral("a"), QStringLiteral("B"), QStringLiteral("a") };
    QTest::newRow("first of two") << values << QStringLiteral("a") << 0;
    QTest::newRow("middle") << values << QStringLiteral("B") << 1;
    QTest::newRow("case matters") << values << QStringLiteral("b") << -1;
    QTest::newRow("absent") << values << QStringLiteral("c") << -1;
    QTest::newRow("empty vector") << QVector<QString>() << QStringLiteral("a") << -1;
}

void TestPropertyWidgets::indexOfFindsFirst()
{
    QFETCH(QVector<QString>, values);
    QFETCH(QString, value);
    QFETCH(int, expected);
    QCOMPARE(kq::indexOf(values, value), expected);
}

void TestPropertyWidgets::findItemFindsFirstByRawValue()
{
    QListWidget list;
    kq::resetListWidget(&list, &nightTranslator);
    addItem(list, QStringLiteral("day"));
    QListWidgetItem* night = addItem(list, QStringLiteral("night"));
    addItem(list, QStringLiteral("night"));

    QCOMPARE(kq::findItem(&list, QStringLiteral("night")), night);
    const QListWidget& constList = list;
    QCOMPARE(kq::findItem(&constList, QStringLiteral("night")), night);
    // The display text is not the raw value.
    QCOMPARE(kq::findItem(&list, QStringLiteral("Night mode")), nullptr);
    QCOMPARE(kq::findItem(&list, QStringLiteral("dusk")), nullptr);
    QCOMPARE(kq::findItem(static_cast<QListWidget*>(nullptr), QStringLiteral("day")), nullptr);
}

void TestPropertyWidgets::findClosestData_data()
{
    QTest::addColumn<QVariantList>("entries");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("expected");

    QTest::newRow("tie goes to the first")
        << QVariantList { qlonglong(10), qlonglong(20), qlonglong(30) } << 25.0 << 1;
    QTest::newRow("distances truncate to 0") << QVariantList { 1.2, 1.9 } << 1.5 << 0;
    QTest::newRow("nearer below") << QVariantList { qlonglong(5), qlonglong(10) } << 7.0 << 0;
    QTest::newRow("nearer above") << QVariantList { qlonglong(5), qlonglong(10) } << 8.0 << 1;
    QTest::newRow("exact") << QVariantList { 0.5, 2.0, 4.0 } << 4.0 << 2;
    QTest::newRow("text skipped") << QVariantList { QStringLiteral("abc"), qlonglong(100) } << 0.0 << 1;
    QTest::newRow("only texts") << QVariantList { QStringLiteral("abc"), QStringLiteral("auto") } << 3.0
                                << -1;
    QTest::newRow("no data skipped") << QVariantList { QVariant(), qlonglong(3) } << 0.0 << 1;
    QTest::newRow("numeric text counts") << QVariantList { QStringLiteral("12"), qlonglong(40) } << 20.0 << 0;
    QTest::newRow("empty box") << QVariantList {} << 1.0 << -1;
}

void TestPropertyWidgets::findClosestData()
{
    QFETCH(QVariantList, entries);
    QFETCH(double, value);
    QFETCH(int, expected);
    QComboBox box;
    for (const QVariant& entry : entries)
        box.addItem(entry.toString(), entry);
    QCOMPARE(kq::findClosestData(&box, value), expected);
}

void TestPropertyWidgets::translateString_data()
{
    QTest::addColumn<bool>("withTranslator");
    QTest::addColumn<bool>("emptyAnswer");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("translator knows it")
        << true << false << QStringLiteral("night") << QStringLiteral("Night mode");
    QTest::newRow("translator does not, catalogue does")
        << true << false << QStringLiteral("day") << QStringLiteral("Tag");
    QTest::newRow("empty translator falls back")
        << true << true << QStringLiteral("day") << QStringLiteral("Tag");
    QTest::newRow("no translator") << false << false << QStringLiteral("day") << QStringLiteral("Tag");
    QTest::newRow("unknown everywhere") << false << false << QStringLiteral("dusk") << QStringLiteral("dusk");
    QTest::newRow("non-ASCII source text")
        << false << false << QString::fromUtf8("gr\xc3\xbc\xc3\x9f") << QStringLiteral("greeting");
    QTest::newRow("non-ASCII unknown")
        << true << true << QString::fromUtf8("\xc3\xa9t\xc3\xa9") << QString::fromUtf8("\xc3\xa9t\xc3\xa9");
}

void TestPropertyWidgets::translateString()
{
    QFETCH(bool, withTranslator);
    QFETCH(bool, emptyAnswer);
    QFETCH(QString, value);
    QFETCH(QString, expected);
    const kq::StringTranslator translator
        = withTranslator ? (emptyAnswer ? &emptyTranslator : &nightTranslator) : nullptr;
    Catalogue catalogue;
    QCoreApplication::installTranslator(&catalogue);
    const QString text = kq::translatePropertyValue(value, translator, "Statics");
    const QString otherContext = kq::translatePropertyValue(value, translator, "Properties");
    QCoreApplication::removeTranslator(&catalogue);
    QCOMPARE(text, expected);
    // The catalogue is asked under the given context only.
    if (expected == QLatin1String("Tag"))
        QCOMPARE(otherContext, value);
}

void TestPropertyWidgets::translateNumber_data()
{
    QTest::addColumn<int>("translatorKind"); // 0 none, 1 knows 0.5, 2 always empty
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("translator knows it") << 1 << 0.5 << QStringLiteral("half");
    QTest::newRow("translator does not") << 1 << 1.5 << QStringLiteral("1.5");
    QTest::newRow("empty translator falls back") << 2 << 0.5 << QStringLiteral("0.5");
    QTest::newRow("no translator") << 0 << 2.0 << QStringLiteral("2");
    QTest::newRow("six significant digits") << 0 << 3.14159265 << QStringLiteral("3.14159");
    QTest::newRow("large numbers in exponent form") << 0 << 12345678.0 << QStringLiteral("1.23457e+07");
}

void TestPropertyWidgets::translateNumber()
{
    QFETCH(int, translatorKind);
    QFETCH(double, value);
    QFETCH(QString, expected);
    const kq::NumberTranslator translators[] = { nullptr, &halfTranslator, &emptyNumberTranslator };
    Catalogue catalogue;
    QCoreApplication::installTranslator(&catalogue);
    // The catalogue knows "1.5" under "Statics": numbers must not be looked up.
    const QString text = kq::translatePropertyValue(value, translators[translatorKind], "Statics");
    QCoreApplication::removeTranslator(&catalogue);
    QCOMPARE(text, expected);
}

void TestPropertyWidgets::addListValueAlwaysAppends()
{
    QListWidget list;
    addItem(list, QStringLiteral("a"));
    addItem(list, QStringLiteral("b"));
    addItem(list, QStringLiteral("c"));

    kq::addValue(&list, QStringLiteral("new"), true, 0);
    kq::addValue(&list, QStringLiteral("newer"), true, 2);

    QCOMPARE(rawValues(list),
        QStringList({ QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("new"),
            QStringLiteral("newer") }));
}

void TestPropertyWidgets::addListValueItemState()
{
    QListWidget list;
    kq::resetListWidget(&list, &nightTranslator);
    kq::addValue(&list, QStringLiteral("night"), true, -1);
    kq::addValue(&list, QStringLiteral("day"), false, -1);

    QListWidgetItem* night = list.item(0);
    QListWidgetItem* day = list.item(1);
    QCOMPARE(night->type(), int(QListWidgetItem::Type));
    QCOMPARE(night->data(Qt::UserRole), QVariant(QStringLiteral("night")));
    QCOMPARE(night->data(Qt::UserRole).userType(), int(QMetaType::QString));
    QCOMPARE(night->text(), QStringLiteral("Night mode"));
    QCOMPARE(day->text(), QStringLiteral("day"));
    QCOMPARE(night->data(Qt::SizeHintRole).toSize(), QSize(list.sizeHint().width(), 19));
    QCOMPARE(int(night->flags()), int(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled));
    QCOMPARE(int(day->flags()), int(Qt::ItemIsUserCheckable));
    QVERIFY(!night->data(Qt::CheckStateRole).isValid());
}

void TestPropertyWidgets::addComboValues()
{
    QComboBox box;
    kq::resetComboBox(&box, &halfTranslator);
    QCOMPARE(box.property("trns-helper").toULongLong(), quint64(reinterpret_cast<quintptr>(&halfTranslator)));
    kq::addValue(&box, 0.5, true);
    kq::addValue(&box, 2, false);
    kq::addValue(&box, 0.25, true);

    QCOMPARE(box.count(), 3);
    QCOMPARE(box.itemText(0), QStringLiteral("half"));
    QCOMPARE(box.itemData(0).userType(), int(QMetaType::Double));
    QCOMPARE(box.itemText(1), QStringLiteral("2"));
    QCOMPARE(box.itemData(1).userType(), int(QMetaType::LongLong));
    QCOMPARE(box.itemData(1).toLongLong(), 2);
    QCOMPARE(box.itemText(2), QStringLiteral("0.25"));
    QVERIFY(kq::isEnabled(&box, 0));
    QVERIFY(!kq::isEnabled(&box, 1));
    QVERIFY(box.itemIcon(0).isNull());

    QComboBox strings;
    kq::resetComboBox(&strings, &nightTranslator);
    kq::addValue(&strings, QStringLiteral("night"), true);
    kq::addValue(&strings, QStringLiteral("day"), true);
    QCOMPARE(strings.itemText(0), QStringLiteral("Night mode"));
    QCOMPARE(strings.itemData(0).userType(), int(QMetaType::QString));
    QCOMPARE(strings.itemText(1), QStringLiteral("day"));

    // A box that never had a translator shows the catalogue or the value.
    QComboBox plain;
    kq::addValue(&plain, QStringLiteral("night"), true);
    QCOMPARE(plain.itemText(0), QStringLiteral("night"));
}

void TestPropertyWidgets::setValueRangeTwiceAddsNothing()
{
    const QVector<QString> strings { QStringLiteral("auto"), QStringLiteral("on"), QStringLiteral("off") };
    const QVector<int> ints { 1, 2, 3 };
    const QVector<double> doubles { 0.5, 1.0, 2.5 };

    QListWidget list;
    QComboBox stringBox, intBox, doubleBox;
    for (int pass = 0; pass < 2; ++pass) {
        kq::setValueRange(&list, strings);
        kq::setValueRange(&stringBox, strings);
        kq::setValueRange(&intBox, ints);
        kq::setValueRange(&doubleBox, doubles);
    }

    QCOMPARE(list.count(), 3);
    QCOMPARE(stringBox.count(), 3);
    QCOMPARE(intBox.count(), 3);
    QCOMPARE(doubleBox.count(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(kq::isEnabled(&list, i));
        QVERIFY(kq::isEnabled(&stringBox, i));
        QVERIFY(kq::isEnabled(&intBox, i));
        QVERIFY(kq::isEnabled(&doubleBox, i));
    }
    QCOMPARE(rawValues(list),
        QStringList({ QStringLiteral("auto"), QStringLiteral("on"), QStringLiteral("off") }));
    QCOMPARE(intBox.itemData(2), QVariant(qlonglong(3)));
    QCOMPARE(doubleBox.itemData(2), QVariant(2.5));
}

void TestPropertyWidgets::setValueRangeEnablesButNeverRemoves()
{
    QComboBox box;
    kq::addValue(&box, 1, false);
    kq::addValue(&box, 9, true);
    QListWidget list;
    QListWidgetItem* hidden = addItem(list, QStringLiteral("a"), false);
    hidden->setHidden(true);
    addItem(list, QStringLiteral("z"));

    kq::setValueRange(&box, QVector<int> { 1, 2 });
    kq::setValueRange(&list, QVector<QString> { QStringLiteral("a"), QStringLiteral("b") });

    QCOMPARE(box.count(), 3);
    QVERIFY(kq::isEnabled(&box, 0));
    QVERIFY(kq::isEnabled(&box, 1)); // 9 is not in the range, yet stays enabled
    QCOMPARE(box.itemData(2), QVariant(qlonglong(2)));
    QCOMPARE(rawValues(list), QStringList({ QStringLiteral("a"), QStringLiteral("z"), QStringLiteral("b") }));
    QVERIFY(kq::isEnabled(hidden));
    QVERIFY(hidden->isHidden());
}

void TestPropertyWidgets::mergeComboRange_data()
{
    QTest::addColumn<int>("kind"); // 0 strings, 1 ints, 2 doubles
    QTest::newRow("strings") << 0;
    QTest::newRow("ints") << 1;
    QTest::newRow("doubles") << 2;
}

void TestPropertyWidgets::mergeComboRange()
{
    QFETCH(int, kind);
    QComboBox box;
    // First node allows a, b, c; the second b, c, d (as three value types).
    switch (kind) {
    case 0:
        kq::setValueRange(
            &box, QVector<QString> { QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3") });
        kq::mergeValueRange(
            &box, QVector<QString> { QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4") });
        break;
    case 1:
        kq::setValueRange(&box, QVector<int> { 1, 2, 3 });
        kq::mergeValueRange(&box, QVector<int> { 2, 3, 4 });
        break;
    default:
        kq::setValueRange(&box, QVector<double> { 1.0, 2.0, 3.0 });
        kq::mergeValueRange(&box, QVector<double> { 2.0, 3.0, 4.0 });
        break;
    }

    QCOMPARE(rawValues(box),
        QStringList({ QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4") }));
    QVERIFY(!kq::isEnabled(&box, 0));
    QVERIFY(kq::isEnabled(&box, 1));
    QVERIFY(kq::isEnabled(&box, 2));
    QVERIFY(!kq::isEnabled(&box, 3));

    // A third node allowing 1 again does not re-enable it.
    switch (kind) {
    case 0:
        kq::mergeValueRange(&box, QVector<QString> { QStringLiteral("1"), QStringLiteral("2") });
        break;
    case 1:
        kq::mergeValueRange(&box, QVector<int> { 1, 2 });
        break;
    default:
        kq::mergeValueRange(&box, QVector<double> { 1.0, 2.0 });
        break;
    }
    QCOMPARE(box.count(), 4);
    QVERIFY(!kq::isEnabled(&box, 0));
    QVERIFY(kq::isEnabled(&box, 1));
    QVERIFY(!kq::isEnabled(&box, 2));
}

void TestPropertyWidgets::mergeComboRangeSkipsMarkerEntries()
{
    QComboBox box;
    kq::setValueRange(&box, QVector<double> { 0.5, 1.5 });
    kq::setIndeterminate(&box);
    QCOMPARE(box.count(), 4);
    // Qt inserts the separator disabled; enabled here, it shows whether the
    // merge touches it (its missing value reads as 0.0, not in the range).
    QVERIFY(kq::isEnabled(&box, 0));
    kq::setEnabled(&box, 1, true);

    kq::mergeValueRange(&box, QVector<double> { 1.5 });

    QVERIFY(kq::isEnabled(&box, 0));
    QVERIFY(kq::isEnabled(&box, 1));
    QVERIFY(!kq::isEnabled(&box, 2));
    QVERIFY(kq::isEnabled(&box, 3));
    QCOMPARE(box.currentIndex(), 0);

    // Doubles compare exactly: 1.5000001 is a new, disabled value.
    kq::mergeValueRange(&box, QVector<double> { 1.5000001 });
    QCOMPARE(box.count(), 5);
    QVERIFY(!kq::isEnabled(&box, 3));
    QVERIFY(!kq::isEnabled(&box, 4));
    QVERIFY(kq::isEnabled(&box, 0));
    QVERIFY(kq::isEnabled(&box, 1));
}

void TestPropertyWidgets::mergeListRangeHidesUncommonButNotAE()
{
    QListWidget list;
    kq::setValueRange(
        &list, QVector<QString> { QStringLiteral("AE"), QStringLiteral("motion"), QStringLiteral("tamper") });

    kq::mergeValueRange(&list, QVector<QString> { QStringLiteral("motion"), QStringLiteral("audio") });

    QCOMPARE(rawValues(list),
        QStringList({ QStringLiteral("AE"), QStringLiteral("motion"), QStringLiteral("tamper"),
            QStringLiteral("audio") }));
    QListWidgetItem* ae = list.item(0);
    QVERIFY(kq::isEnabled(ae));
    QVERIFY(!ae->isHidden());
    QVERIFY(kq::isEnabled(list.item(1)));
    QVERIFY(!list.item(1)->isHidden());
    QVERIFY(!kq::isEnabled(list.item(2)));
    QVERIFY(list.item(2)->isHidden());
    QVERIFY(!kq::isEnabled(list.item(3)));
    QVERIFY(list.item(3)->isHidden());

    // Even a node without "AE" leaves it alone.
    kq::mergeValueRange(&list, QVector<QString> {});
    QVERIFY(kq::isEnabled(ae));
    QVERIFY(!ae->isHidden());
    QVERIFY(list.item(1)->isHidden());
}

void TestPropertyWidgets::optionForwardersPassTheValues()
{
    QComboBox intBox;
    kq::setValueRange(&intBox, kq::TOptions<int>({ 4, 8 }, 1));
    kq::mergeValueRange(&intBox, kq::TOptions<int>({ 8, 16 }, 0));
    QCOMPARE(
        rawValues(intBox), QStringList({ QStringLiteral("4"), QStringLiteral("8"), QStringLiteral("16") }));
    QVERIFY(!kq::isEnabled(&intBox, 0));
    QVERIFY(kq::isEnabled(&intBox, 1));
    QVERIFY(!kq::isEnabled(&intBox, 2));

    QComboBox doubleBox;
    kq::setValueRange(&doubleBox, kq::TOptions<double>({ 0.5 }));
    kq::mergeValueRange(&doubleBox, kq::TOptions<double>({ 0.75 }));
    QCOMPARE(doubleBox.count(), 2);
    QVERIFY(!kq::isEnabled(&doubleBox, 0));

    kq::StringOptionsProperty stringProperty(
        QSharedPointer<const kq::TOptionsInfo<kq::EStringOptionsProperty, kq::TOptions<QString>>>::create(
            0x7001, QStringLiteral("Mode"), QStringLiteral("Mode"), false),
        kq::TOptions<QString>({ QStringLiteral("auto"), QStringLiteral("manual") }, 0));
    QComboBox stringBox;
    kq::setValueRange(&stringBox, &stringProperty);
    kq::mergeValueRange(&stringBox, kq::TOptions<QString>({ QStringLiteral("manual") }));
    QCOMPARE(rawValues(stringBox), QStringList({ QStringLiteral("auto"), QStringLiteral("manual") }));
    QVERIFY(!kq::isEnabled(&stringBox, 0));
    kq::mergeValueRange(&stringBox, static_cast<const kq::StringOptionsProperty*>(nullptr));
    QCOMPARE(stringBox.count(), 2);

    kq::StringMultiOptionsProperty multiProperty(
        QSharedPointer<const kq::TMultiOptionsInfo<kq::EStringMultiOptionsProperty,
            kq::TMultiOptions<QString>>>::create(0x7002, QStringLiteral("Events"), QStringLiteral("Events"),
            false),
        kq::TMultiOptions<QString>({ QStringLiteral("motion"), QStringLiteral("tamper") }));
    QListWidget list;
    kq::setValueRange(&list, &multiProperty);
    kq::mergeValueRange(&list, kq::TMultiOptions<QString>({ QStringLiteral("motion") }));
    QCOMPARE(rawValues(list), QStringList({ QStringLiteral("motion"), QStringLiteral("tamper") }));
    QVERIFY(list.item(1)->isHidden());
    kq::mergeValueRange(&list, &multiProperty);
    QCOMPARE(list.count(), 2);
}

void TestPropertyWidgets::updatePortSpinBox_data()
{
    QTest::addColumn<QVariant>("multiplier");
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("shown");
    QTest::newRow("no multiplier") << QVariant() << 80 << 80;
    QTest::newRow("multiplier 2") << QVariant(2.0) << 80 << 160;
    QTest::newRow("multiplier 0 counts as 1") << QVariant(0.0) << 554 << 554;
    QTest::newRow("negative counts as 1") << QVariant(-3.0) << 554 << 554;
    QTest::newRow("truncated toward zero") << QVariant(0.5) << 81 << 40;
}

void TestPropertyWidgets::updatePortSpinBox()
{
    QFETCH(QVariant, multiplier);
    QFETCH(int, port);
    QFETCH(int, shown);
    QSpinBox box;
    box.setRange(0, 65535);
    box.setProperty("multiplier", multiplier);
    kq::setIndeterminate(&box);

    QCOMPARE(kq::updatePortSpinBox(&box, port), 1);

    QCOMPARE(box.value(), shown);
    QVERIFY(box.property("initialized").toBool());
    QCOMPARE(box.specialValueText(), QString());
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgets::updatePortSpinBoxMergesSecondNode()
{
    QSpinBox box;
    box.setRange(0, 65535);
    kq::resetSpinBox(&box, 2.0, 0, 65535, 0);

    QCOMPARE(kq::updatePortSpinBox(&box, 80), 1);
    QCOMPARE(kq::updatePortSpinBox(&box, 80), -1);
    QCOMPARE(box.value(), 160);
    QVERIFY(!kq::isIndeterminate(&box));

    QCOMPARE(kq::updatePortSpinBox(&box, 81), -1);
    QVERIFY(kq::isIndeterminate(&box));
    QCOMPARE(box.value(), 0);
}

void TestPropertyWidgets::resetSpinBoxes()
{
    QSpinBox box;
    box.setProperty("property-id", 12);
    box.setProperty("initialized", true);
    kq::resetSpinBox(&box, 10.0, -5, 50, 20);
    QVERIFY(!box.property("property-id").isValid());
    QVERIFY(!box.property("initialized").isValid());
    QCOMPARE(box.property("multiplier"), QVariant(10.0));
    QCOMPARE(box.minimum(), -5);
    QCOMPARE(box.maximum(), 50);
    QCOMPARE(box.value(), 20);

    QDoubleSpinBox real;
    real.setProperty("initialized", true);
    kq::resetSpinBox(&real, 0.5, 1, 3, 2);
    QVERIFY(!real.property("initialized").isValid());
    QCOMPARE(real.property("multiplier").toDouble(), 0.5);
    QCOMPARE(real.minimum(), 1.0);
    QCOMPARE(real.maximum(), 3.0);
    QCOMPARE(real.value(), 2.0);
}

void TestPropertyWidgets::resetRadioButton()
{
    QWidget group;
    auto* day = new QRadioButton(QStringLiteral("Day"), &group);
    auto* night = new QRadioButton(QStringLiteral("Night"), &group);
    day->setChecked(true);
    day->setProperty("initialized", true);
    day->setProperty("property-id", 7);

    kq::resetRadioButton(day, QStringLiteral("day"));
    kq::resetRadioButton(night, QStringLiteral("night"));

    QCOMPARE(day->property("value"), QVariant(QStringLiteral("day")));
    QCOMPARE(night->property("value"), QVariant(QStringLiteral("night")));
    QVERIFY(!day->property("initialized").isValid());
    QVERIFY(!day->property("property-id").isValid());
    QVERIFY(!day->autoExclusive());
    QVERIFY(!day->isChecked());
    QVERIFY(!night->isChecked());
}

// Unlike the widgets' reset functions, resetRadioButton only prepares the
// button's choice: a dialog that disabled it for a camera enables it again
// itself (the demo does, for its codec buttons).
void TestPropertyWidgets::resetRadioButtonLeavesADisabledButtonDisabled()
{
    QRadioButton button(QStringLiteral("H.265"));
    button.setToolTip(QStringLiteral("High efficiency"));
    kq::setEnabled(&button, false);
    QVERIFY(!button.isEnabled());

    kq::resetRadioButton(&button, QStringLiteral("h265"));

    QVERIFY(!button.isEnabled());
    QCOMPARE(button.property("value").toString(), QStringLiteral("h265"));
}

// ---------------------------------------------------------------------------
// Bad input

void TestPropertyWidgets::nullWidgetsAreHarmless()
{
    QWidget* widget = nullptr;
    QComboBox* box = nullptr;
    QListWidget* list = nullptr;
    QListWidgetItem* item = nullptr;
    QSpinBox* spin = nullptr;

    kq::highlight(widget, true);
    kq::setEnabled(widget, false);
    kq::setEnabled(item, true);
    kq::setEnabled(box, 0, false);
    kq::setEnabled(box, 1.0, false);
    kq::setEnabled(box, QStringLiteral("a"), false);
    kq::setEnabled(list, QStringLiteral("a"), false);
    QVERIFY(!kq::isEnabled(item));
    QVERIFY(!kq::isEnabled(box, 0));
    QVERIFY(!kq::isEnabled(box, QStringLiteral("a")));
    QVERIFY(!kq::isEnabled(list, 0));
    QVERIFY(!kq::isEnabled(list, QStringLiteral("a")));
    kq::markEnabled(list, { QStringLiteral("a") });
    kq::mergeMarkedEnabled(list, { QStringLiteral("a") });

    kq::setIndeterminate(box);
    kq::setIndeterminate(spin);
    kq::setIndeterminate(item);
    kq::setIndeterminate(static_cast<QCheckBox*>(nullptr));
    kq::setIndeterminate(static_cast<QLineEdit*>(nullptr));
    kq::setIndeterminate(static_cast<QLabel*>(nullptr));
    kq::setIndeterminate(static_cast<QDoubleSpinBox*>(nullptr));
    QVERIFY(!kq::isIndeterminate(box));
    QVERIFY(!kq::isIndeterminate(spin));
    QVERIFY(!kq::isIndeterminate(item));
    QVERIFY(!kq::isIndeterminate(list, QStringLiteral("a")));
    QVERIFY(!kq::isIndeterminate(static_cast<const QCheckBox*>(nullptr)));
    QVERIFY(!kq::isIndeterminate(static_cast<const QLineEdit*>(nullptr)));

    kq::addValue(list, QStringLiteral("a"), true, -1);
    kq::addValue(box, QStringLiteral("a"), true);
    kq::addValue(box, 1, true);
    kq::addValue(box, 1.0, true);
    kq::setValueRange(box, QVector<int> { 1 });
    kq::mergeValueRange(box, QVector<double> { 1.0 });
    kq::setValueRange(list, QVector<QString> { QStringLiteral("a") });
    kq::mergeValueRange(list, QVector<QString> { QStringLiteral("a") });
    QCOMPARE(kq::findClosestData(box, 1.0), -1);
    QCOMPARE(kq::updatePortSpinBox(spin, 80), -1);
    kq::resetSpinBox(spin, 1.0, 0, 1, 0);
    kq::resetSpinBox(static_cast<QDoubleSpinBox*>(nullptr), 1.0, 0, 1, 0);
    kq::resetRadioButton(nullptr, QStringLiteral("a"));
    QCOMPARE(kq::propertyValue(item), QString());
}

QTEST_MAIN(TestPropertyWidgets)
#include "tst_propertywidgets.moc"
