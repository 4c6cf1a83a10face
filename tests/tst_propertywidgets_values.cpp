// Reading, writing and session-bound filling of bound widgets, and event
// lists: the value side of the property widgets, including the functions the
// shared library keeps to itself.

#include <ConfigDialogs/PropertyWidgets.h>
#include <propertywidgets/PropertyWidgets_p.h>

#include <kq/Log.h>
#include <kq/MemoryConfigSession.h>
#include <kq/Property.h>
#include <kqm/Smart.h>

#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFont>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>
#include <QtTest>

#include "propertywidgets_testsupport.h"

#include <memory>

namespace {

using namespace pwtest;

using LongOptionsInfo = kq::TOptionsInfo<kq::ELongOptionsProperty, kq::TOptions<int>>;
using StringOptionsInfo = kq::TOptionsInfo<kq::EStringOptionsProperty, kq::TOptions<QString>>;

// A property of kind P with a fresh info; extra arguments go to the info
// (the bounds of an integer property).
template <class P, class... InfoArgs>
std::unique_ptr<P> makeProperty(int id, const typename P::ValueType& value, InfoArgs... infoArgs)
{
    using Info = typename P::InfoType;
    return std::make_unique<P>(QSharedPointer<const Info>::create(id, QStringLiteral("Id%1").arg(id),
                                   QStringLiteral("Property %1").arg(id), false, infoArgs...),
        value);
}

template <class P, class... InfoArgs>
P* addProperty(
    kq::MemoryConfigSession* session, int id, const typename P::ValueType& value, InfoArgs... infoArgs)
{
    return static_cast<P*>(session->addProperty(makeProperty<P>(id, value, infoArgs...)));
}

kq::TOptions<int> intOptions(const QVector<int>& values, int selected)
{
    return kq::TOptions<int>(values, selected);
}

kq::TOptions<QString> stringOptions(const QString& values, int selected)
{
    return kq::TOptions<QString>(strings(values), selected);
}

// Captures the log lines written while it lives, at the given threshold.
class LogCapture {
public:
    explicit LogCapture(int threshold = kq::Log::Debug)
        : m_oldThreshold(kq::LogQt::logLevel())
    {
        m_buffer.open(QIODevice::WriteOnly | QIODevice::Text);
        kq::LogQt::setDevice(&m_buffer);
        kq::LogQt::setLogLevel(threshold);
    }
    ~LogCapture()
    {
        kq::LogQt::setDevice(nullptr);
        kq::LogQt::setLogLevel(m_oldThreshold);
    }

    // The level name and the text of each line, with the time stamp (a fixed
    // width) cut off: "WARNING possible values: ".
    QStringList lines() const
    {
        const QString pre = kq::LogQt::pre(kq::Log::Debug);
        const int stampWidth = pre.size() - pre.section(QLatin1Char(' '), 2).size();
        QStringList result;
        const QString text = QString::fromUtf8(m_buffer.data());
        const QStringList raw = text.split(QLatin1Char('\n'));
        for (int i = 0; i < raw.size(); ++i) {
            if (i == raw.size() - 1 && raw.at(i).isEmpty())
                break;
            result.append(raw.at(i).mid(stampWidth));
        }
        return result;
    }

    static QString tag(kq::Log::ELevel level) { return kq::LogQt::pre(level).section(QLatin1Char(' '), 2); }
    static QString debug(const QString& text) { return tag(kq::Log::Debug) + text; }
    static QString warning(const QString& text) { return tag(kq::Log::Warning) + text; }

private:
    QBuffer m_buffer;
    int m_oldThreshold;
};

// The warning lines of the option model when a value it does not list is
// selected: location and message, "possible values: ", one line per value.
QStringList notFoundWarning(const QString& type, const QString& value, const QStringList& possible)
{
    QStringList lines;
    lines << LogCapture::warning(QStringLiteral("../NodeDriverBase/include/NodeDriverBase/Options:165:"
                                                "void kq::TOptions<T>::setSelectedValue(const T&) [with T = ")
        + type + QStringLiteral("]setSelectedValue didn't find value ") + value
        + QStringLiteral(", automatically adding it. THIS MAY NOT BE WHAT YOU WANTED!"));
    lines << LogCapture::warning(QStringLiteral("possible values: "));
    for (const QString& v : possible)
        lines << LogCapture::warning(v);
    return lines;
}

QListWidgetItem* addItem(QListWidget* list, const QString& value, Qt::CheckState state, bool enabled = true)
{
    kq::addValue(list, value, enabled, -1);
    QListWidgetItem* item = list->item(list->count() - 1);
    item->setData(Qt::CheckStateRole, int(state));
    return item;
}

QFont itemFont(const QListWidgetItem* item) { return item->data(Qt::FontRole).value<QFont>(); }

void setItemWeight(QListWidgetItem* item, QFont::Weight weight, QFont::Style style = QFont::StyleNormal)
{
    QFont font = itemFont(item);
    font.setWeight(weight);
    font.setStyle(style);
    item->setData(Qt::FontRole, font);
}

int checkState(const QListWidgetItem* item) { return item->data(Qt::CheckStateRole).toInt(); }

// Whether a widget shows the indeterminate state as a whole; a list widget
// has it per item only.
template <class W> bool showsIndeterminate(const W* widget) { return kq::isIndeterminate(widget); }
bool showsIndeterminate(const QListWidget*) { return false; }

// ---------------------------------------------------------------------------
// Write-back fixtures: each binds one widget kind to one property kind. The
// widget is prepared to show a value that differs from the property's, so a
// write that goes through is always visible.

struct BoolComboFixture {
    using Widget = QComboBox;
    using Prop = kq::BoolProperty;
    static std::unique_ptr<Prop> makeProperty() { return ::makeProperty<Prop>(0x101, false); }
    static void show(Widget& w)
    {
        kq::resetComboBox(&w, QStringLiteral("On"), QStringLiteral("Off"));
        w.setCurrentIndex(0);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value(); }
    static QVariant shown() { return true; }
};

struct BoolCheckFixture {
    using Widget = QCheckBox;
    using Prop = kq::BoolProperty;
    static std::unique_ptr<Prop> makeProperty() { return ::makeProperty<Prop>(0x102, false); }
    static void show(Widget& w)
    {
        kq::resetCheckBox(&w);
        w.setChecked(true);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value(); }
    static QVariant shown() { return true; }
};

struct LongSpinFixture {
    using Widget = QSpinBox;
    using Prop = kq::LongProperty;
    static std::unique_ptr<Prop> makeProperty() { return ::makeProperty<Prop>(0x103, 3, 0, 100); }
    static void show(Widget& w) { kq::resetSpinBox(&w, 1.0, 0, 100, 7); }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value(); }
    static QVariant shown() { return 7; }
};

struct LineEditFixture {
    using Widget = QLineEdit;
    using Prop = kq::StringProperty;
    static std::unique_ptr<Prop> makeProperty() { return ::makeProperty<Prop>(0x104, QStringLiteral("old")); }
    static void show(Widget& w)
    {
        kq::resetLineEdit(&w);
        w.setText(QStringLiteral("new"));
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w)
    {
        kq::setProperty(p, &w);
        return -1; // this form answers nothing
    }
    static QVariant value(const Prop& p) { return p.value(); }
    static QVariant shown() { return QStringLiteral("new"); }
};

struct LongOptionSpinFixture {
    using Widget = QSpinBox;
    using Prop = kq::LongOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(0x105, intOptions({ 1, 5, 10 }, 0));
    }
    static void show(Widget& w) { kq::resetSpinBox(&w, 1.0, 0, 100, 5); }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value().getSelectedValue(); }
    static QVariant shown() { return 5; }
};

struct LongOptionComboFixture {
    using Widget = QComboBox;
    using Prop = kq::LongOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(0x106, intOptions({ 1, 5, 10 }, 0));
    }
    static void show(Widget& w)
    {
        kq::resetComboBox(&w, static_cast<QString (*)(double)>(nullptr));
        for (int v : { 1, 5, 10 })
            kq::addValue(&w, v, true);
        w.setCurrentIndex(1);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value().getSelectedValue(); }
    static QVariant shown() { return 5; }
};

struct DoubleOptionComboFixture {
    using Widget = QComboBox;
    using Prop = kq::DoubleOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(0x107, kq::TOptions<double>({ 0.5, 1.5 }, 0));
    }
    static void show(Widget& w)
    {
        kq::resetComboBox(&w, static_cast<QString (*)(double)>(nullptr));
        kq::addValue(&w, 0.5, true);
        kq::addValue(&w, 1.5, true);
        w.setCurrentIndex(1);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value().getSelectedValue(); }
    static QVariant shown() { return 1.5; }
};

struct StringOptionComboFixture {
    using Widget = QComboBox;
    using Prop = kq::StringOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(0x108, stringOptions(QStringLiteral("a,b"), 0));
    }
    static void show(Widget& w)
    {
        kq::resetComboBox(&w, static_cast<QString (*)(const QString&)>(nullptr));
        kq::addValue(&w, QStringLiteral("a"), true);
        kq::addValue(&w, QStringLiteral("b"), true);
        w.setCurrentIndex(1);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value().getSelectedValue(); }
    static QVariant shown() { return QStringLiteral("b"); }
};

// The session form of the string-option combo box: the property travels
// through a session that holds a copy of it (or lacks it, for a null
// property), found by the box's "property-id".
struct SessionComboFixture : StringOptionComboFixture {
    static int write(Prop* p, Widget& w)
    {
        const int id = 0x108;
        kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession);
        Prop* held = p ? addProperty<Prop>(session.get(), id, p->value()) : nullptr;
        w.setProperty("property-id", id);
        const bool result = kq::setProperty(kqm::smart<const kq::INodeConfigSession>(session), &w);
        if (held)
            p->setValue(held->value());
        return result;
    }
};

struct StringOptionCheckFixture {
    using Widget = QCheckBox;
    using Prop = kq::StringOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(0x109, stringOptions(QStringLiteral("off,on"), 0));
    }
    static void show(Widget& w)
    {
        kq::resetCheckBox(&w, QStringLiteral("off"), QStringLiteral("on"));
        w.setChecked(true);
    }
    static void makeIndeterminate(Widget& w) { kq::setIndeterminate(&w); }
    static int write(Prop* p, Widget& w) { return kq::setProperty(p, &w); }
    static QVariant value(const Prop& p) { return p.value().getSelectedValue(); }
    static QVariant shown() { return QStringLiteral("on"); }
};

// The option-value form of the same check box has no pointer to be null.
struct StringOptionValueCheckFixture : StringOptionCheckFixture {
    static int write(Prop* p, Widget& w) { return kq::setProperty(p->value(), &w); }
};

struct ListFixture {
    using Widget = QListWidget;
    using Prop = kq::StringMultiOptionsProperty;
    static std::unique_ptr<Prop> makeProperty()
    {
        return ::makeProperty<Prop>(
            0x10a, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b,c")), { 0 }));
    }
    static void show(Widget& w)
    {
        kq::resetListWidget(&w, nullptr);
        addItem(&w, QStringLiteral("a"), Qt::Unchecked);
        addItem(&w, QStringLiteral("b"), Qt::Checked);
        addItem(&w, QStringLiteral("c"), Qt::Unchecked);
    }
    static void makeIndeterminate(Widget&) { }
    static int write(Prop* p, Widget& w)
    {
        kq::setProperty(p, &w);
        return -1;
    }
    static QVariant value(const Prop& p) { return QStringList(p.value().getSelectedValues().toList()); }
    static QVariant shown() { return QStringList { QStringLiteral("b") }; }
};

struct ListValueFixture : ListFixture {
    static int write(Prop* p, Widget& w)
    {
        kq::setProperty(p->value(), &w);
        return -1;
    }
};

} // namespace

class TestPropertyWidgetsValues : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    // Selecting and merging in combo boxes
    void selectDisabledEntry_data();
    void selectDisabledEntry();
    void selectValue_data();
    void selectValue();
    void selectOptionOutOfRangeLogs();
    void mergeDouble_data();
    void mergeDouble();
    void mergeString_data();
    void mergeString();
    void readCurrentEntry_data();
    void readCurrentEntry();

    // Multiple selection in list widgets
    void showAndMergeListSelection();
    void listWriteBack_data();
    void listWriteBack();

    // Write-back gates, one suite per widget/property pairing
    void gatesBoolCombo_data() { gateRows(true, true); }
    void gatesBoolCombo() { checkGates<BoolComboFixture>(); }
    void gatesBoolCheck_data() { gateRows(true, true); }
    void gatesBoolCheck() { checkGates<BoolCheckFixture>(); }
    void gatesLongSpin_data() { gateRows(true, true); }
    void gatesLongSpin() { checkGates<LongSpinFixture>(); }
    void gatesLineEdit_data() { gateRows(true, true); }
    void gatesLineEdit() { checkGates<LineEditFixture>(); }
    void gatesLongOptionSpin_data() { gateRows(true, true); }
    void gatesLongOptionSpin() { checkGates<LongOptionSpinFixture>(); }
    void gatesLongOptionCombo_data() { gateRows(true, true); }
    void gatesLongOptionCombo() { checkGates<LongOptionComboFixture>(); }
    void gatesDoubleOptionCombo_data() { gateRows(true, true); }
    void gatesDoubleOptionCombo() { checkGates<DoubleOptionComboFixture>(); }
    void gatesStringOptionCombo_data() { gateRows(true, true); }
    void gatesStringOptionCombo() { checkGates<StringOptionComboFixture>(); }
    void gatesSessionCombo_data() { gateRows(true, true); }
    void gatesSessionCombo() { checkGates<SessionComboFixture>(); }
    void gatesStringOptionCheck_data() { gateRows(true, true); }
    void gatesStringOptionCheck() { checkGates<StringOptionCheckFixture>(); }
    void gatesStringOptionValueCheck_data() { gateRows(false, true); }
    void gatesStringOptionValueCheck() { checkGates<StringOptionValueCheckFixture>(); }
    void gatesList_data() { gateRows(true, false); }
    void gatesList() { checkGates<ListFixture>(); }
    void gatesListValue_data() { gateRows(false, false); }
    void gatesListValue() { checkGates<ListValueFixture>(); }
    void gatesRadio_data();
    void gatesRadio();
    void sessionWriteBackBadPropertyId_data();
    void sessionWriteBackBadPropertyId();

    // Spin boxes and check boxes
    void spinBoxWriteBackMultiplier_data();
    void spinBoxWriteBackMultiplier();
    void spinBoxWriteBackUnlistedOptionLogs();
    void optionComboWriteBackUnlistedLogs_data();
    void optionComboWriteBackUnlistedLogs();
    void checkBoxStringWriteBack_data();
    void checkBoxStringWriteBack();

    // Session-bound update and reset
    void updateLabelTwice_data();
    void updateLabelTwice();
    void updateLabelThreeStrings();
    void updateLabelNullProperty();
    void updateLongSpinBox();
    void updateLongSpinBoxMerge_data();
    void updateLongSpinBoxMerge();
    void updateLongOptionSpinBox();
    void updateLongOptionSpinBoxOutOfRangeLogs();
    void updateComboBoxMergeDisablesCurrent();
    void updateComboBoxMerge_data();
    void updateComboBoxMerge();
    void updateBoolComboBox_data();
    void updateBoolComboBox();
    void updateStringCheckBox_data();
    void updateStringCheckBox();
    void updateBoolCheckBox_data();
    void updateBoolCheckBox();
    void updateProfilesCheckBox_data();
    void updateProfilesCheckBox();
    void updateRadioButton_data();
    void updateRadioButton();
    void updateLineEdit_data();
    void updateLineEdit();
    void updateListWidgetMerge();
    void sessionLabelTwoIdentifiers_data();
    void sessionLabelTwoIdentifiers();
    void sessionFormsMissingProperty_data();
    void sessionFormsMissingProperty();
    void nullWidgets();
    void nullPropertyForwarders();
    void propertyFormsNullProperty_data();
    void propertyFormsNullProperty();
    void resetCheckBoxArgumentOrder();
    void resetLabelEndsHighlight();
    void resetFunctionsForgetState_data();
    void resetFunctionsForgetState();

    // Event lists
    void eventListToolTips_data();
    void eventListToolTips();
    void disableEventItemsEmpty();
    void disableEventItemsConfigurable();
    void eventAeItemUntouched();
    void markEnabledEventsNeverFilled();
    void markEnabledEventsMissing_data();
    void markEnabledEventsMissing();
    void markEnabledEventsPresent_data();
    void markEnabledEventsPresent();
    void eventListFillAndMerge();
    void eventListSessionMissing();

private:
    static void gateRows(bool hasNull, bool hasIndeterminate);
    template <class F> static void checkGates();
};

void TestPropertyWidgetsValues::cleanup() { kq::LogQt::setDevice(nullptr); }

// ---------------------------------------------------------------------------
// Selecting and merging in combo boxes

void TestPropertyWidgetsValues::selectDisabledEntry_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("int") << QStringLiteral("int");
    QTest::newRow("double") << QStringLiteral("double");
    QTest::newRow("string") << QStringLiteral("string");
    QTest::newRow("int option") << QStringLiteral("int option");
    QTest::newRow("string option") << QStringLiteral("string option");
    QTest::newRow("bool") << QStringLiteral("bool");
}

void TestPropertyWidgetsValues::selectDisabledEntry()
{
    QFETCH(QString, kind);
    QComboBox box;
    if (kind == QLatin1String("bool")) {
        kq::resetComboBox(&box, QStringLiteral("On"), QStringLiteral("Off"));
    } else {
        for (int v : { 1, 5, 9 }) {
            if (kind == QLatin1String("double"))
                kq::addValue(&box, double(v), true);
            else if (kind.startsWith(QLatin1String("string")))
                kq::addValue(&box, QString::number(v), true);
            else
                kq::addValue(&box, v, true);
        }
    }
    box.setCurrentIndex(0);
    kq::setEnabled(&box, 1, false);
    QVERIFY(!kq::isEnabled(&box, 1));

    int result = 0;
    if (kind == QLatin1String("int"))
        result = kq::setPropertyValue(&box, 5, false);
    else if (kind == QLatin1String("double"))
        result = kq::setPropertyValue(&box, 5.0, false);
    else if (kind == QLatin1String("string"))
        result = kq::setPropertyValue(&box, QStringLiteral("5"));
    else if (kind == QLatin1String("int option"))
        result = kq::setPropertyValue(&box, intOptions({ 1, 5, 9 }, 1), false);
    else if (kind == QLatin1String("string option"))
        result = kq::setPropertyValue(&box, stringOptions(QStringLiteral("1,5,9"), 1));
    else
        result = kq::setPropertyValue(&box, false);
    QCOMPARE(result, -1);
    QCOMPARE(box.currentIndex(), 0);

    // The same value is chosen once its entry is enabled again.
    kq::setEnabled(&box, 1, true);
    if (kind == QLatin1String("int"))
        result = kq::setPropertyValue(&box, 5, false);
    else if (kind == QLatin1String("double"))
        result = kq::setPropertyValue(&box, 5.0, false);
    else if (kind == QLatin1String("string"))
        result = kq::setPropertyValue(&box, QStringLiteral("5"));
    else if (kind == QLatin1String("int option"))
        result = kq::setPropertyValue(&box, intOptions({ 1, 5, 9 }, 1), false);
    else if (kind == QLatin1String("string option"))
        result = kq::setPropertyValue(&box, stringOptions(QStringLiteral("1,5,9"), 1));
    else
        result = kq::setPropertyValue(&box, false);
    QCOMPARE(result, 1);
    QCOMPARE(box.currentIndex(), 1);
}

void TestPropertyWidgetsValues::selectValue_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<double>("value");
    QTest::addColumn<bool>("closest");
    QTest::addColumn<int>("expected");
    QTest::addColumn<int>("current");

    // Entries 5 and 10; the box shows entry 1 (10) before the call.
    QTest::newRow("int 7 closest") << "int" << 7.0 << true << 0 << 0;
    QTest::newRow("int 8 closest") << "int" << 8.0 << true << 1 << 1;
    QTest::newRow("int 7 exact") << "int" << 7.0 << false << -1 << 1;
    QTest::newRow("int 5 exact") << "int" << 5.0 << false << 0 << 0;
    QTest::newRow("int 100 closest") << "int" << 100.0 << true << 1 << 1;
    QTest::newRow("double 7 closest") << "double" << 7.0 << true << 0 << 0;
    QTest::newRow("double 5.5 exact") << "double" << 5.5 << false << -1 << 1;
    QTest::newRow("double 5 exact") << "double" << 5.0 << false << 0 << 0;
    QTest::newRow("int option 7 closest") << "int option" << 7.0 << true << 0 << 0;
    QTest::newRow("int option 7 exact") << "int option" << 7.0 << false << -1 << 1;
    QTest::newRow("double option 9.9 closest") << "double option" << 9.9 << true << 1 << 1;
    QTest::newRow("double option 9.9 exact") << "double option" << 9.9 << false << -1 << 1;
}

void TestPropertyWidgetsValues::selectValue()
{
    QFETCH(QString, kind);
    QFETCH(double, value);
    QFETCH(bool, closest);
    QFETCH(int, expected);
    QFETCH(int, current);

    QComboBox box;
    const bool doubles = kind.startsWith(QLatin1String("double"));
    for (int v : { 5, 10 }) {
        if (doubles)
            kq::addValue(&box, double(v), true);
        else
            kq::addValue(&box, v, true);
    }
    box.setCurrentIndex(1);

    int result = 0;
    if (kind == QLatin1String("int"))
        result = kq::setPropertyValue(&box, int(value), closest);
    else if (kind == QLatin1String("double"))
        result = kq::setPropertyValue(&box, value, closest);
    else if (kind == QLatin1String("int option"))
        result = kq::setPropertyValue(&box, intOptions({ 1, int(value) }, 1), closest);
    else
        result = kq::setPropertyValue(&box, kq::TOptions<double>({ value }, 0), closest);
    QCOMPARE(result, expected);
    QCOMPARE(box.currentIndex(), current);
}

void TestPropertyWidgetsValues::selectOptionOutOfRangeLogs()
{
    QComboBox box;
    kq::addValue(&box, 1, true);
    kq::addValue(&box, 2, true);
    box.setCurrentIndex(1);

    LogCapture log;
    // No selection: the option answers its empty value (0), which the box
    // does not hold.
    QCOMPARE(kq::setPropertyValue(&box, intOptions({ 1, 2 }, -1), false), -1);
    QCOMPARE(box.currentIndex(), 1);
    QCOMPARE(log.lines(),
        QStringList { LogCapture::debug(QStringLiteral("getSelectedValue -> returning empty value ")) });
}

void TestPropertyWidgetsValues::mergeDouble_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<bool>("closest");
    QTest::addColumn<int>("expected");
    QTest::addColumn<bool>("indeterminate");

    // The box holds 5.4 and 9 and shows 5.4.
    QTest::newRow("5.0 closest lands on 5.4") << 5.0 << true << 0 << false;
    QTest::newRow("5.9 closest lands on 5.4") << 5.9 << true << 0 << false;
    QTest::newRow("5.0 exact") << 5.0 << false << -1 << true;
    QTest::newRow("5.4 exact") << 5.4 << false << 0 << false;
    QTest::newRow("9 closest") << 9.0 << true << -1 << true;
    QTest::newRow("9 exact") << 9.0 << false << -1 << true;
}

void TestPropertyWidgetsValues::mergeDouble()
{
    QFETCH(double, value);
    QFETCH(bool, closest);
    QFETCH(int, expected);
    QFETCH(bool, indeterminate);

    QComboBox box;
    kq::addValue(&box, 5.4, true);
    kq::addValue(&box, 9.0, true);
    box.setCurrentIndex(0);

    QCOMPARE(kq::mergePropertyValue(&box, value, closest), expected);
    QCOMPARE(kq::isIndeterminate(&box), indeterminate);
    QCOMPARE(box.count(), indeterminate ? 4 : 2);
    if (!indeterminate)
        QCOMPARE(kq::doublePropertyValue(&box), 5.4);

    // The option forms compare the option's selected value the same way.
    QComboBox viaOption;
    kq::addValue(&viaOption, 5.4, true);
    kq::addValue(&viaOption, 9.0, true);
    viaOption.setCurrentIndex(0);
    QCOMPARE(kq::mergePropertyValue(&viaOption, kq::TOptions<double>({ 1.0, value }, 1), closest), expected);
    QCOMPARE(kq::isIndeterminate(&viaOption), indeterminate);
}

void TestPropertyWidgetsValues::mergeString_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("expected");

    // The box shows "auto" at index 1.
    QTest::newRow("equal") << "auto" << 1;
    QTest::newRow("other case") << "Auto" << -1;
    QTest::newRow("other value") << "manual" << -1;
    QTest::newRow("empty") << "" << -1;
}

void TestPropertyWidgetsValues::mergeString()
{
    QFETCH(QString, value);
    QFETCH(int, expected);

    for (int form = 0; form < 3; ++form) {
        QComboBox box;
        kq::addValue(&box, QStringLiteral("off"), true);
        kq::addValue(&box, QStringLiteral("auto"), true);
        box.setCurrentIndex(1);
        auto property = makeProperty<kq::StringOptionsProperty>(0x201, kq::TOptions<QString>({ value }, 0));
        int result = 0;
        if (form == 0)
            result = kq::mergePropertyValue(&box, value);
        else if (form == 1)
            result = kq::mergePropertyValue(&box, property->value());
        else
            result
                = kq::mergePropertyValue(&box, static_cast<const kq::StringOptionsProperty*>(property.get()));
        QCOMPARE(result, expected);
        QCOMPARE(kq::isIndeterminate(&box), expected < 0);
        QCOMPARE(box.currentIndex(), expected < 0 ? 0 : 1);
    }
}

void TestPropertyWidgetsValues::readCurrentEntry_data()
{
    QTest::addColumn<QVariant>("raw");
    QTest::addColumn<int>("asLong");
    QTest::addColumn<double>("asDouble");
    QTest::addColumn<QString>("asString");

    QTest::newRow("int") << QVariant(qlonglong(42)) << 42 << 42.0 << "42";
    QTest::newRow("64-bit integer truncated to 32 bits")
        << QVariant(qlonglong(0x100000005LL)) << 5 << 4294967301.0 << "4294967301";
    QTest::newRow("negative") << QVariant(qlonglong(-7)) << -7 << -7.0 << "-7";
    // QVariant's conversion of a double to an integer rounds.
    QTest::newRow("double") << QVariant(2.5) << 3 << 2.5 << "2.5";
    QTest::newRow("string") << QVariant(QStringLiteral("auto")) << 0 << 0.0 << "auto";
    QTest::newRow("marker entry") << QVariant() << 0 << 0.0 << "";
}

void TestPropertyWidgetsValues::readCurrentEntry()
{
    QFETCH(QVariant, raw);
    QFETCH(int, asLong);
    QFETCH(double, asDouble);
    QFETCH(QString, asString);

    QComboBox box;
    box.addItem(QStringLiteral("first"), QStringLiteral("x"));
    box.addItem(QStringLiteral("current"), raw);
    box.setCurrentIndex(1);
    QCOMPARE(kq::propertyValue(&box), raw);
    QCOMPARE(kq::longPropertyValue(&box), asLong);
    QCOMPARE(kq::doublePropertyValue(&box), asDouble);
    QCOMPARE(kq::stringPropertyValue(&box), asString);

    // A long option written back from this entry receives the truncated
    // number; nothing is written while the entry is the marker.
    auto option = makeProperty<kq::LongOptionsProperty>(0x1301, intOptions({ 0, asLong }, 0));
    QCOMPARE(kq::setProperty(option.get(), &box), raw.isValid());
    QCOMPARE(option->value().selectedIndex, raw.isValid() && asLong != 0 ? 1 : 0);
}

// ---------------------------------------------------------------------------
// Multiple selection in list widgets

void TestPropertyWidgetsValues::showAndMergeListSelection()
{
    QListWidget list;
    addItem(&list, QStringLiteral("a"), Qt::PartiallyChecked);
    addItem(&list, QStringLiteral("b"), Qt::PartiallyChecked, false);
    addItem(&list, QStringLiteral("c"), Qt::PartiallyChecked);

    // Every item gets its state, disabled ones included.
    kq::setPropertyValue(&list, strings(QStringLiteral("b,c")));
    QCOMPARE(checkState(list.item(0)), int(Qt::Unchecked));
    QCOMPARE(checkState(list.item(1)), int(Qt::Checked));
    QCOMPARE(checkState(list.item(2)), int(Qt::Checked));

    // A second node selecting a and c: a and b differ, c agrees.
    kq::mergePropertyValue(&list, strings(QStringLiteral("a,c")));
    QVERIFY(kq::isIndeterminate(list.item(0)));
    QVERIFY(kq::isIndeterminate(list.item(1)));
    QCOMPARE(checkState(list.item(2)), int(Qt::Checked));
    QVERIFY(list.item(0)->flags() & Qt::ItemIsEnabled);
    QVERIFY(!(list.item(1)->flags() & Qt::ItemIsEnabled));

    // The option and property forwarders read the option's selected values.
    QListWidget viaProperty;
    addItem(&viaProperty, QStringLiteral("a"), Qt::Unchecked);
    addItem(&viaProperty, QStringLiteral("b"), Qt::Unchecked);
    auto property = makeProperty<kq::StringMultiOptionsProperty>(
        0x202, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b")), { 1 }));
    kq::setPropertyValue(&viaProperty, static_cast<const kq::StringMultiOptionsProperty*>(property.get()));
    QCOMPARE(checkState(viaProperty.item(0)), int(Qt::Unchecked));
    QCOMPARE(checkState(viaProperty.item(1)), int(Qt::Checked));
    kq::mergePropertyValue(
        &viaProperty, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b")), { 0, 1 }));
    QVERIFY(kq::isIndeterminate(viaProperty.item(0)));
    QCOMPARE(checkState(viaProperty.item(1)), int(Qt::Checked));
}

void TestPropertyWidgetsValues::listWriteBack_data()
{
    // Item states, one character per item a, b, c, d, AE: 'x' checked, '-'
    // unchecked, '?' partially checked, 'X'/'_' checked/unchecked but
    // disabled.
    QTest::addColumn<QString>("states");
    QTest::addColumn<QString>("selectedBefore");
    QTest::addColumn<QString>("selectedAfter");

    QTest::newRow("checks append, unchecks remove") << "x--x-"
                                                    << "b,c"
                                                    << "a,d";
    QTest::newRow("partially checked keeps membership") << "x?-?-"
                                                        << "b,c"
                                                        << "b,a";
    QTest::newRow("partially checked keeps absence") << "??x?-"
                                                     << ""
                                                     << "c";
    QTest::newRow("disabled keeps membership") << "X_xx-"
                                               << "b"
                                               << "b,c,d";
    QTest::newRow("nothing changes") << "-xx--"
                                     << "c,b"
                                     << "c,b";
    QTest::newRow("checked AE is not added") << "----x"
                                             << ""
                                             << "";
    QTest::newRow("unchecked AE is not removed") << "-----"
                                                 << "AE,a"
                                                 << "AE";
    QTest::newRow("checked AE stays where it was") << "x---x"
                                                   << "b,AE"
                                                   << "AE,a";
}

void TestPropertyWidgetsValues::listWriteBack()
{
    QFETCH(QString, states);
    QFETCH(QString, selectedBefore);
    QFETCH(QString, selectedAfter);

    const QVector<QString> values = strings(QStringLiteral("a,b,c,d,AE"));
    QListWidget list;
    for (int i = 0; i < values.size(); ++i) {
        const QChar s = states.at(i);
        QListWidgetItem* item = addItem(&list, values.at(i),
            (s == QLatin1Char('x') || s == QLatin1Char('X')) ? Qt::Checked : Qt::Unchecked,
            s != QLatin1Char('X') && s != QLatin1Char('_'));
        if (s == QLatin1Char('?'))
            kq::setIndeterminate(item);
    }

    kq::TMultiOptions<QString> option(values);
    option.setSelectedValues(strings(selectedBefore));
    kq::setProperty(option, &list);
    QCOMPARE(option.getSelectedValues(), strings(selectedAfter));
    QCOMPARE(option.values, values);

    // The property form writes the same.
    auto property = makeProperty<kq::StringMultiOptionsProperty>(0x203, kq::TMultiOptions<QString>(values));
    property->value().setSelectedValues(strings(selectedBefore));
    kq::setProperty(property.get(), &list);
    QCOMPARE(property->value().getSelectedValues(), strings(selectedAfter));
}

// ---------------------------------------------------------------------------
// Write-back gates

void TestPropertyWidgetsValues::gateRows(bool hasNull, bool hasIndeterminate)
{
    QTest::addColumn<bool>("nullProperty");
    QTest::addColumn<bool>("disabled");
    QTest::addColumn<bool>("parentDisabled");
    QTest::addColumn<bool>("indeterminate");
    QTest::addColumn<bool>("written");

    QTest::newRow("open") << false << false << false << false << true;
    if (hasNull)
        QTest::newRow("null property") << true << false << false << false << false;
    QTest::newRow("disabled") << false << true << false << false << false;
    QTest::newRow("parent disabled") << false << false << true << false << false;
    if (hasIndeterminate) {
        QTest::newRow("indeterminate") << false << false << false << true << false;
        QTest::newRow("disabled and indeterminate") << false << true << false << true << false;
    }
    if (hasNull)
        QTest::newRow("null, disabled and indeterminate")
            << true << true << false << hasIndeterminate << false;
}

template <class F> void TestPropertyWidgetsValues::checkGates()
{
    QFETCH(bool, nullProperty);
    QFETCH(bool, disabled);
    QFETCH(bool, parentDisabled);
    QFETCH(bool, indeterminate);
    QFETCH(bool, written);

    QWidget parent;
    auto* widget = new typename F::Widget(&parent);
    F::show(*widget);
    if (indeterminate) {
        F::makeIndeterminate(*widget);
        QVERIFY(showsIndeterminate(widget));
    }
    if (disabled)
        widget->setEnabled(false);
    if (parentDisabled)
        parent.setEnabled(false);

    auto property = F::makeProperty();
    const QVariant before = F::value(*property);
    QVERIFY(before != F::shown());

    const int result = F::write(nullProperty ? nullptr : property.get(), *widget);
    if (result >= 0)
        QCOMPARE(result == 1, written);
    QCOMPARE(F::value(*property), written ? F::shown() : before);
}

void TestPropertyWidgetsValues::gatesRadio_data()
{
    QTest::addColumn<bool>("session");
    QTest::addColumn<bool>("nullProperty");
    QTest::addColumn<bool>("disabled");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("expected");
    QTest::addColumn<QString>("selectedAfter");

    for (bool session : { false, true }) {
        const char* form = session ? "session" : "property";
        QTest::addRow("%s: checked writes", form) << session << false << false << true << true << "b";
        QTest::addRow("%s: unchecked leaves the option", form)
            << session << false << false << false << true << "a";
        QTest::addRow("%s: null property", form) << session << true << false << true << false << "a";
        QTest::addRow("%s: disabled", form) << session << false << true << true << false << "a";
        QTest::addRow("%s: null and disabled", form) << session << true << true << true << false << "a";
    }
}

void TestPropertyWidgetsValues::gatesRadio()
{
    QFETCH(bool, session);
    QFETCH(bool, nullProperty);
    QFETCH(bool, disabled);
    QFETCH(bool, checked);
    QFETCH(bool, expected);
    QFETCH(QString, selectedAfter);

    const int id = 0x301;
    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    kq::StringOptionsProperty* property = nullProperty
        ? nullptr
        : addProperty<kq::StringOptionsProperty>(memory.get(), id, stringOptions(QStringLiteral("a,b"), 0));
    auto keep = makeProperty<kq::StringOptionsProperty>(id, stringOptions(QStringLiteral("a,b"), 0));

    QRadioButton button;
    kq::resetRadioButton(&button, QStringLiteral("b"));
    button.setProperty("property-id", id);
    button.setChecked(checked);
    button.setEnabled(!disabled);

    const bool result = session ? kq::setProperty(kqm::smart<const kq::INodeConfigSession>(memory), &button)
                                : kq::setProperty(property, &button);
    QCOMPARE(result, expected);
    const kq::StringOptionsProperty* target = property ? property : keep.get();
    QCOMPARE(target->value().getSelectedValue(), selectedAfter);
}

void TestPropertyWidgetsValues::sessionWriteBackBadPropertyId_data()
{
    QTest::addColumn<QVariant>("propertyId");
    QTest::addColumn<bool>("radio");

    for (bool radio : { false, true }) {
        const char* form = radio ? "radio" : "combo";
        QTest::addRow("%s: no property-id", form) << QVariant() << radio;
        QTest::addRow("%s: unknown property-id", form) << QVariant(0x9999) << radio;
        QTest::addRow("%s: property-id of an integer property", form) << QVariant(0x402) << radio;
        QTest::addRow("%s: property-id not a number", form) << QVariant(QStringLiteral("abc")) << radio;
    }
}

void TestPropertyWidgetsValues::sessionWriteBackBadPropertyId()
{
    QFETCH(QVariant, propertyId);
    QFETCH(bool, radio);

    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    auto* choice = addProperty<kq::StringOptionsProperty>(
        memory.get(), 0x401, stringOptions(QStringLiteral("a,b"), 0));
    auto* number = addProperty<kq::LongProperty>(memory.get(), 0x402, 3, 0, 10);
    const QByteArray before
        = QByteArray::number(number->value()) + choice->value().getSelectedValue().toUtf8();

    QComboBox box;
    kq::addValue(&box, QStringLiteral("a"), true);
    kq::addValue(&box, QStringLiteral("b"), true);
    box.setCurrentIndex(1);
    QRadioButton button;
    kq::resetRadioButton(&button, QStringLiteral("b"));
    button.setChecked(true);

    QObject* widget = radio ? static_cast<QObject*>(&button) : static_cast<QObject*>(&box);
    widget->setProperty("property-id", propertyId);
    const kqm::smart<const kq::INodeConfigSession> session(memory);
    const bool result = radio ? kq::setProperty(session, &button) : kq::setProperty(session, &box);
    QVERIFY(!result);
    QCOMPARE(QByteArray::number(number->value()) + choice->value().getSelectedValue().toUtf8(), before);
}

// ---------------------------------------------------------------------------
// Spin boxes and check boxes

void TestPropertyWidgetsValues::spinBoxWriteBackMultiplier_data()
{
    QTest::addColumn<QVariant>("multiplier");
    QTest::addColumn<int>("shown");
    QTest::addColumn<int>("written");

    QTest::newRow("10, showing 25") << QVariant(10.0) << 25 << 2;
    QTest::newRow("10, showing -25") << QVariant(10.0) << -25 << -2;
    QTest::newRow("2.5, showing 10") << QVariant(2.5) << 10 << 4;
    QTest::newRow("0.5, showing 3") << QVariant(0.5) << 3 << 6;
    QTest::newRow("absent counts as 1") << QVariant() << 25 << 25;
    QTest::newRow("0 counts as 1") << QVariant(0.0) << 25 << 25;
    QTest::newRow("negative counts as 1") << QVariant(-4.0) << 25 << 25;
}

void TestPropertyWidgetsValues::spinBoxWriteBackMultiplier()
{
    QFETCH(QVariant, multiplier);
    QFETCH(int, shown);
    QFETCH(int, written);

    QSpinBox box;
    box.setRange(-1000, 1000);
    box.setValue(shown);
    box.setProperty("multiplier", multiplier);

    auto number = makeProperty<kq::LongProperty>(0x501, 99, -1000, 1000);
    QVERIFY(kq::setProperty(number.get(), &box));
    QCOMPARE(number->value(), written);

    auto option = makeProperty<kq::LongOptionsProperty>(0x502, intOptions({ 99, written, 7 }, 0));
    QVERIFY(kq::setProperty(option.get(), &box));
    QCOMPARE(option->value().selectedIndex, 1);
    QCOMPARE(option->value().values, (QVector<int> { 99, written, 7 }));
}

void TestPropertyWidgetsValues::spinBoxWriteBackUnlistedOptionLogs()
{
    QSpinBox box;
    kq::resetSpinBox(&box, 10.0, 0, 1000, 25);
    auto option = makeProperty<kq::LongOptionsProperty>(0x503, intOptions({ 1, 5 }, 0));

    LogCapture log;
    QVERIFY(kq::setProperty(option.get(), &box));
    QCOMPARE(option->value().values, (QVector<int> { 1, 5, 2 }));
    QCOMPARE(option->value().selectedIndex, 2);
    QCOMPARE(log.lines(), notFoundWarning(QStringLiteral("int"), QStringLiteral("2"), { "1", "5" }));
}

void TestPropertyWidgetsValues::optionComboWriteBackUnlistedLogs_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("int") << "int";
    QTest::newRow("double") << "double";
    QTest::newRow("string") << "string";
}

void TestPropertyWidgetsValues::optionComboWriteBackUnlistedLogs()
{
    QFETCH(QString, kind);

    // The box offers a value this node does not list (another node's), and
    // the user chose it: the node's option gains it, with the model's
    // warning, and the property accepts its new selection.
    QComboBox box;
    LogCapture log;
    bool result = false;
    QStringList expected;
    if (kind == QLatin1String("int")) {
        kq::addValue(&box, 1, true);
        kq::addValue(&box, 3, true);
        box.setCurrentIndex(1);
        auto p = makeProperty<kq::LongOptionsProperty>(0x601, intOptions({ 1, 2 }, 0));
        result = kq::setProperty(p.get(), &box);
        QCOMPARE(p->value().values, (QVector<int> { 1, 2, 3 }));
        QCOMPARE(p->value().selectedIndex, 2);
        expected = notFoundWarning(QStringLiteral("int"), QStringLiteral("3"), { "1", "2" });
    } else if (kind == QLatin1String("double")) {
        kq::addValue(&box, 0.5, true);
        kq::addValue(&box, 2.5, true);
        box.setCurrentIndex(1);
        auto p = makeProperty<kq::DoubleOptionsProperty>(0x602, kq::TOptions<double>({ 0.5, 1.5 }, 0));
        result = kq::setProperty(p.get(), &box);
        QCOMPARE(p->value().values, (QVector<double> { 0.5, 1.5, 2.5 }));
        QCOMPARE(p->value().selectedIndex, 2);
        expected = notFoundWarning(QStringLiteral("double"), QStringLiteral("2.5"), { "0.5", "1.5" });
    } else {
        kq::addValue(&box, QStringLiteral("a"), true);
        kq::addValue(&box, QStringLiteral("c"), true);
        box.setCurrentIndex(1);
        auto p = makeProperty<kq::StringOptionsProperty>(0x603, stringOptions(QStringLiteral("a,b"), 0));
        result = kq::setProperty(p.get(), &box);
        QCOMPARE(p->value().values, strings(QStringLiteral("a,b,c")));
        QCOMPARE(p->value().selectedIndex, 2);
        expected = notFoundWarning(QStringLiteral("QString"), QStringLiteral("c"), { "a", "b" });
    }
    QVERIFY(result);
    QCOMPARE(log.lines(), expected);
}

void TestPropertyWidgetsValues::checkBoxStringWriteBack_data()
{
    QTest::addColumn<QVariant>("falseValue");
    QTest::addColumn<QVariant>("trueValue");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("expected");
    QTest::addColumn<QString>("selectedAfter");

    // The option lists off, on, auto and selects auto.
    QTest::newRow("false-value absent, unchecked")
        << QVariant() << QVariant(QStringLiteral("on")) << false << false << "auto";
    QTest::newRow("false-value absent, checked")
        << QVariant() << QVariant(QStringLiteral("on")) << true << true << "on";
    QTest::newRow("both absent, checked") << QVariant() << QVariant() << true << false << "auto";
    QTest::newRow("both absent, unchecked") << QVariant() << QVariant() << false << false << "auto";
    QTest::newRow("false-value empty, unchecked")
        << QVariant(QString()) << QVariant(QStringLiteral("on")) << false << false << "auto";
    QTest::newRow("unchecked writes false-value")
        << QVariant(QStringLiteral("off")) << QVariant(QStringLiteral("on")) << false << true << "off";
    QTest::newRow("checked writes true-value")
        << QVariant(QStringLiteral("off")) << QVariant(QStringLiteral("on")) << true << true << "on";
}

void TestPropertyWidgetsValues::checkBoxStringWriteBack()
{
    QFETCH(QVariant, falseValue);
    QFETCH(QVariant, trueValue);
    QFETCH(bool, checked);
    QFETCH(bool, expected);
    QFETCH(QString, selectedAfter);

    QCheckBox box;
    kq::resetCheckBox(&box);
    box.setProperty("false-value", falseValue);
    box.setProperty("true-value", trueValue);
    box.setChecked(checked);

    kq::TOptions<QString> option = stringOptions(QStringLiteral("off,on,auto"), 2);
    QCOMPARE(kq::setProperty(option, &box), expected);
    QCOMPARE(option.getSelectedValue(), selectedAfter);
    QCOMPARE(option.values, strings(QStringLiteral("off,on,auto")));

    auto property
        = makeProperty<kq::StringOptionsProperty>(0x701, stringOptions(QStringLiteral("off,on,auto"), 2));
    QCOMPARE(kq::setProperty(property.get(), &box), expected);
    QCOMPARE(property->value().getSelectedValue(), selectedAfter);
}

// ---------------------------------------------------------------------------
// Session-bound update and reset

void TestPropertyWidgetsValues::updateLabelTwice_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<bool>("indeterminate");

    QTest::newRow("a then b") << "a"
                              << "b" << true;
    QTest::newRow("a twice") << "a"
                             << "a" << false;
    QTest::newRow("a then A") << "a"
                              << "A" << true;
    QTest::newRow("empty twice") << ""
                                 << "" << false;
}

void TestPropertyWidgetsValues::updateLabelTwice()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(bool, indeterminate);

    QLabel label;
    kq::resetLabel(&label);
    kq::updateLabel(&label, first);
    QCOMPARE(label.text(), first);
    kq::updateLabel(&label, second);
    QCOMPARE(kq::isIndeterminate(&label), indeterminate);
    QCOMPARE(label.text(), indeterminate ? staticsMarker() : first);

    // The property form behaves alike.
    QLabel viaProperty;
    kq::resetLabel(&viaProperty);
    auto a = makeProperty<kq::StringProperty>(0x801, first);
    auto b = makeProperty<kq::StringProperty>(0x801, second);
    kq::updateLabel(&viaProperty, static_cast<const kq::StringProperty*>(a.get()));
    kq::updateLabel(&viaProperty, static_cast<const kq::StringProperty*>(b.get()));
    QCOMPARE(viaProperty.text(), label.text());
}

void TestPropertyWidgetsValues::updateLabelThreeStrings()
{
    QLabel label;
    kq::resetLabel(&label);
    kq::updateLabel(&label, QStringLiteral("Zoom"), QStringLiteral("1"), QStringLiteral("4"));
    QCOMPARE(label.text(), QStringLiteral("Zoom: 1/4"));
    // A second node with the same pair keeps the text; another pair makes
    // the whole label indeterminate.
    kq::updateLabel(&label, QStringLiteral("Zoom"), QStringLiteral("1"), QStringLiteral("4"));
    QCOMPARE(label.text(), QStringLiteral("Zoom: 1/4"));
    kq::updateLabel(&label, QStringLiteral("Zoom"), QStringLiteral("2"), QStringLiteral("4"));
    QCOMPARE(label.text(), staticsMarker());
}

void TestPropertyWidgetsValues::updateLabelNullProperty()
{
    QLabel label;
    label.setToolTip(QStringLiteral("tip"));
    kq::resetLabel(&label);
    kq::updateLabel(&label, static_cast<const kq::StringProperty*>(nullptr));
    QVERIFY(!label.isEnabled());
    // Only the plain disabling: the tool tip stays and nothing is saved.
    QCOMPARE(label.toolTip(), QStringLiteral("tip"));
    QVERIFY(!label.property("old-tooltip").isValid());
}

void TestPropertyWidgetsValues::updateLongSpinBox()
{
    QSpinBox box;
    kq::resetSpinBox(&box, 10.0, -5, 5, 0);
    auto property = makeProperty<kq::LongProperty>(0x901, 7, 0, 100);
    QCOMPARE(kq::updateSpinBox(&box, property.get()), -1);
    QCOMPARE(box.minimum(), 0);
    QCOMPARE(box.maximum(), 100);
    QCOMPARE(box.value(), 70);
    QCOMPARE(box.specialValueText(), QString());
    QCOMPARE(box.property("property-id").toInt(), 0x901);
    QVERIFY(box.property("initialized").toBool());
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgetsValues::updateLongSpinBoxMerge_data()
{
    QTest::addColumn<int>("second");
    QTest::addColumn<bool>("indeterminate");

    QTest::newRow("equal") << 7 << false;
    QTest::newRow("different") << 8 << true;
}

void TestPropertyWidgetsValues::updateLongSpinBoxMerge()
{
    QFETCH(int, second);
    QFETCH(bool, indeterminate);

    QSpinBox box;
    kq::resetSpinBox(&box, 10.0, 0, 100, 0);
    auto a = makeProperty<kq::LongProperty>(0x902, 7, 0, 100);
    auto b = makeProperty<kq::LongProperty>(0x902, second, 0, 100);
    kq::updateSpinBox(&box, a.get());
    QCOMPARE(kq::updateSpinBox(&box, b.get()), -1);
    QCOMPARE(kq::isIndeterminate(&box), indeterminate);
    QCOMPARE(box.value(), indeterminate ? 0 : 70);

    // A new pass clears the marker, so the minimum shows as a number again.
    kq::resetSpinBox(&box, 10.0, 0, 100, 0);
    auto zero = makeProperty<kq::LongProperty>(0x902, 0, 0, 100);
    kq::updateSpinBox(&box, zero.get());
    QCOMPARE(box.value(), 0);
    QVERIFY(!kq::isIndeterminate(&box));
}

void TestPropertyWidgetsValues::updateLongOptionSpinBox()
{
    QSpinBox box;
    kq::resetSpinBox(&box, 2.0, 0, 0, 0);
    auto property = makeProperty<kq::LongOptionsProperty>(0xa01, intOptions({ 1, 5, 10 }, 1));
    kq::updateSpinBox(&box, property.get(), false);
    QCOMPARE(box.minimum(), 2);
    QCOMPARE(box.maximum(), 20);
    QCOMPARE(box.value(), 10);
    QCOMPARE(box.property("property-id").toInt(), 0xa01);

    // The range follows the list order, not the smallest and largest value.
    QSpinBox reversed;
    kq::resetSpinBox(&reversed, 1.0, 0, 0, 0);
    auto descending = makeProperty<kq::LongOptionsProperty>(0xa02, intOptions({ 10, 1, 30 }, 0));
    kq::updateSpinBox(&reversed, descending.get(), true);
    QCOMPARE(reversed.minimum(), 10);
    QCOMPARE(reversed.maximum(), 30);
    QCOMPARE(reversed.value(), 10);

    // A second node with another selection makes the box indeterminate.
    auto other = makeProperty<kq::LongOptionsProperty>(0xa01, intOptions({ 1, 5, 10 }, 2));
    kq::updateSpinBox(&box, other.get(), false);
    QVERIFY(kq::isIndeterminate(&box));
}

void TestPropertyWidgetsValues::updateLongOptionSpinBoxOutOfRangeLogs()
{
    QSpinBox box;
    kq::resetSpinBox(&box, 1.0, 0, 0, 0);
    auto property = makeProperty<kq::LongOptionsProperty>(0xa03, intOptions({ 3, 9 }, 5));
    LogCapture log;
    kq::updateSpinBox(&box, property.get(), false);
    QCOMPARE(log.lines(),
        QStringList { LogCapture::debug(QStringLiteral("getSelectedValue -> returning empty value ")) });
    // The empty value (0) lies below the range and is shown as its minimum.
    QCOMPARE(box.minimum(), 3);
    QCOMPARE(box.value(), 3);
}

void TestPropertyWidgetsValues::updateComboBoxMergeDisablesCurrent()
{
    QComboBox box;
    kq::resetComboBox(&box, static_cast<QString (*)(double)>(nullptr));
    QCOMPARE(kq::updateComboBox(&box, intOptions({ 1, 2, 3 }, 2), false), 2);
    QVERIFY(box.property("initialized").toBool());
    QCOMPARE(kq::updateComboBox(&box, intOptions({ 1, 2 }, 1), false), -1);
    QVERIFY(kq::isIndeterminate(&box));
    QCOMPARE(box.currentIndex(), 0);
    // Marker, separator, then 1, 2 and the disabled 3.
    QCOMPARE(box.count(), 5);
    QVERIFY(kq::isEnabled(&box, 2));
    QVERIFY(kq::isEnabled(&box, 3));
    QVERIFY(!kq::isEnabled(&box, 4));
    QCOMPARE(box.itemData(4, Qt::UserRole).toLongLong(), 3LL);
}

void TestPropertyWidgetsValues::updateComboBoxMerge_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("secondValues");
    QTest::addColumn<int>("secondSelected");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QString>("enabledAfter");

    // The first node lists 1, 2, 3 and selects 2.
    for (const char* kind : { "int", "double", "string" }) {
        QTest::addRow("%s: same", kind) << kind << "1,2,3" << 1 << 1 << "111";
        QTest::addRow("%s: other selection", kind) << kind << "1,2,3" << 2 << -1 << "111";
        QTest::addRow("%s: fewer values, same selection", kind) << kind << "2,3" << 0 << 1 << "011";
        QTest::addRow("%s: extra value, same selection", kind) << kind << "1,2,3,4" << 1 << 1 << "1110";
        QTest::addRow("%s: current no longer allowed", kind) << kind << "1,3" << 1 << -1 << "101";
    }
}

void TestPropertyWidgetsValues::updateComboBoxMerge()
{
    QFETCH(QString, kind);
    QFETCH(QString, secondValues);
    QFETCH(int, secondSelected);
    QFETCH(int, expected);
    QFETCH(QString, enabledAfter);

    QComboBox box;
    const QVector<QString> second = strings(secondValues);
    auto update = [&](const QVector<QString>& values, int selected) {
        if (kind == QLatin1String("string"))
            return kq::updateComboBox(&box, kq::TOptions<QString>(values, selected));
        if (kind == QLatin1String("double")) {
            QVector<double> numbers;
            for (const QString& v : values)
                numbers.append(v.toDouble());
            return kq::updateComboBox(&box, kq::TOptions<double>(numbers, selected), false);
        }
        QVector<int> numbers;
        for (const QString& v : values)
            numbers.append(v.toInt());
        return kq::updateComboBox(&box, kq::TOptions<int>(numbers, selected), false);
    };
    QCOMPARE(update(strings(QStringLiteral("1,2,3")), 1), 1);
    QCOMPARE(update(second, secondSelected), expected);
    QCOMPARE(kq::isIndeterminate(&box), expected < 0);

    const int offset = expected < 0 ? 2 : 0;
    QCOMPARE(box.count(), offset + enabledAfter.size());
    for (int i = 0; i < enabledAfter.size(); ++i)
        QCOMPARE(kq::isEnabled(&box, offset + i), enabledAfter.at(i) == QLatin1Char('1'));
}

void TestPropertyWidgetsValues::updateBoolComboBox_data()
{
    QTest::addColumn<QString>("values");
    QTest::addColumn<int>("current");
    QTest::addColumn<bool>("indeterminate");

    QTest::newRow("true") << "1" << 0 << false;
    QTest::newRow("false") << "0" << 1 << false;
    QTest::newRow("true, true") << "11" << 0 << false;
    QTest::newRow("false, false, false") << "000" << 1 << false;
    QTest::newRow("true, false") << "10" << 0 << true;
    QTest::newRow("false, true, false") << "010" << 0 << true;
}

void TestPropertyWidgetsValues::updateBoolComboBox()
{
    QFETCH(QString, values);
    QFETCH(int, current);
    QFETCH(bool, indeterminate);

    const int id = 0xb01;
    QComboBox box;
    kq::resetComboBox(&box, QStringLiteral("Yes"), QStringLiteral("No"));
    QCOMPARE(box.count(), 2);
    QCOMPARE(box.itemText(0), QStringLiteral("Yes"));
    QCOMPARE(box.itemData(0, Qt::UserRole), QVariant(true));
    QCOMPARE(box.itemData(1, Qt::UserRole), QVariant(false));
    for (const QChar v : values) {
        kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
        addProperty<kq::BoolProperty>(memory.get(), id, v == QLatin1Char('1'));
        QCOMPARE(
            kq::updateComboBox(&box, kqm::smart<const kq::INodeConfigSession>(memory), kq::EBoolProperty(id)),
            -1);
    }
    QCOMPARE(box.property("property-id").toInt(), id);
    QCOMPARE(kq::isIndeterminate(&box), indeterminate);
    if (!indeterminate) {
        QCOMPARE(box.currentIndex(), current);
        QCOMPARE(box.count(), 2);
    }
}

void TestPropertyWidgetsValues::updateStringCheckBox_data()
{
    QTest::addColumn<QString>("falseValue");
    QTest::addColumn<QString>("trueValue");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("tristate");

    QTest::newRow("auto with off/on is unchecked") << "off"
                                                   << "on"
                                                   << "auto" << int(Qt::Unchecked) << false;
    QTest::newRow("on with off/on") << "off"
                                    << "on"
                                    << "on" << int(Qt::Checked) << false;
    QTest::newRow("off with off/on") << "off"
                                     << "on"
                                     << "off" << int(Qt::Unchecked) << false;
    QTest::newRow("no texts: partially checked") << ""
                                                 << ""
                                                 << "auto" << int(Qt::PartiallyChecked) << true;
    QTest::newRow("only off, other value is checked") << "off"
                                                      << ""
                                                      << "auto" << int(Qt::Checked) << false;
    QTest::newRow("only off, off") << "off"
                                   << ""
                                   << "off" << int(Qt::Unchecked) << false;
    QTest::newRow("only on, other value") << ""
                                          << "on"
                                          << "auto" << int(Qt::Unchecked) << false;
    QTest::newRow("true text has the last word") << "x"
                                                 << "x"
                                                 << "x" << int(Qt::Checked) << false;
}

void TestPropertyWidgetsValues::updateStringCheckBox()
{
    QFETCH(QString, falseValue);
    QFETCH(QString, trueValue);
    QFETCH(QString, selected);
    QFETCH(int, state);
    QFETCH(bool, tristate);

    QCheckBox box;
    kq::resetCheckBox(&box, falseValue, trueValue);
    auto property = makeProperty<kq::StringOptionsProperty>(
        0xc01, kq::TOptions<QString>({ QStringLiteral("off"), QStringLiteral("on"), selected }, 2));
    kq::updateCheckBox(&box, static_cast<const kq::StringOptionsProperty*>(property.get()));
    QCOMPARE(int(box.checkState()), state);
    QCOMPARE(box.isTristate(), tristate);
    QCOMPARE(box.property("property-id").toInt(), 0xc01);
    QVERIFY(box.property("initialized").toBool());

    // A second node with the same value keeps the state.
    kq::updateCheckBox(&box, static_cast<const kq::StringOptionsProperty*>(property.get()));
    QCOMPARE(int(box.checkState()), state);
}

void TestPropertyWidgetsValues::updateBoolCheckBox_data()
{
    QTest::addColumn<QString>("values");
    QTest::addColumn<int>("state");

    QTest::newRow("true") << "1" << int(Qt::Checked);
    QTest::newRow("false") << "0" << int(Qt::Unchecked);
    QTest::newRow("true, true") << "11" << int(Qt::Checked);
    QTest::newRow("true, false") << "10" << int(Qt::PartiallyChecked);
    QTest::newRow("false, true, true") << "011" << int(Qt::PartiallyChecked);
}

void TestPropertyWidgetsValues::updateBoolCheckBox()
{
    QFETCH(QString, values);
    QFETCH(int, state);

    QCheckBox box;
    box.setTristate(true);
    box.setCheckState(Qt::PartiallyChecked);
    kq::resetCheckBox(&box);
    QVERIFY(!box.isTristate());
    QCOMPARE(box.checkState(), Qt::Unchecked);
    for (const QChar v : values) {
        auto property = makeProperty<kq::BoolProperty>(0xc02, v == QLatin1Char('1'));
        kq::updateCheckBox(&box, static_cast<const kq::BoolProperty*>(property.get()));
    }
    QCOMPARE(int(box.checkState()), state);
    QCOMPARE(kq::isIndeterminate(&box), state == int(Qt::PartiallyChecked));
    QCOMPARE(box.property("property-id").toInt(), 0xc02);
}

void TestPropertyWidgetsValues::updateProfilesCheckBox_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("state");

    QTest::newRow("no profiles") << QStringList() << int(Qt::PartiallyChecked);
    QTest::newRow("one matching") << QStringList { "night", "day" } << int(Qt::Checked);
    QTest::newRow("none matching") << QStringList { "night", "dusk" } << int(Qt::Unchecked);
}

void TestPropertyWidgetsValues::updateProfilesCheckBox()
{
    QFETCH(QStringList, texts);
    QFETCH(int, state);

    QCheckBox box;
    kq::resetCheckBox(&box, QString(), QStringLiteral("day"));
    kq::Profiles profiles;
    for (int i = 0; i < texts.size(); ++i)
        profiles.insert(QStringLiteral("p%1").arg(i), kq::Profile(texts.at(i)));
    auto property = makeProperty<kq::ProfilesProperty>(0xc03, profiles);
    kq::updateCheckBox(&box, static_cast<const kq::ProfilesProperty*>(property.get()));
    QCOMPARE(int(box.checkState()), state);
    QCOMPARE(box.isTristate(), state == int(Qt::PartiallyChecked));
    QCOMPARE(box.property("property-id").toInt(), 0xc03);
}

void TestPropertyWidgetsValues::updateRadioButton_data()
{
    QTest::addColumn<QString>("selections");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("autoExclusive");

    // The button stands for "b".
    QTest::newRow("b") << "b" << true << true;
    QTest::newRow("a") << "a" << false << true;
    QTest::newRow("b, b") << "bb" << true << true;
    QTest::newRow("a, a") << "aa" << false << true;
    QTest::newRow("b, a") << "ba" << false << false;
    QTest::newRow("a, b") << "ab" << false << false;
    QTest::newRow("a, b, a") << "aba" << false << false;
}

void TestPropertyWidgetsValues::updateRadioButton()
{
    QFETCH(QString, selections);
    QFETCH(bool, checked);
    QFETCH(bool, autoExclusive);

    QRadioButton button;
    kq::resetRadioButton(&button, QStringLiteral("b"));
    QVERIFY(!button.autoExclusive());
    QVERIFY(!button.isChecked());
    QCOMPARE(button.property("value").toString(), QStringLiteral("b"));
    for (const QChar s : selections) {
        auto property = makeProperty<kq::StringOptionsProperty>(0xd01,
            kq::TOptions<QString>(
                { QStringLiteral("a"), QStringLiteral("b") }, s == QLatin1Char('a') ? 0 : 1));
        kq::updateRadioButton(&button, static_cast<const kq::StringOptionsProperty*>(property.get()));
    }
    QCOMPARE(button.isChecked(), checked);
    QCOMPARE(button.autoExclusive(), autoExclusive);
    QCOMPARE(button.property("property-id").toInt(), 0xd01);
}

void TestPropertyWidgetsValues::updateLineEdit_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("shown");

    QTest::newRow("one") << QStringList { "cam" } << "cam";
    QTest::newRow("equal") << QStringList { "cam", "cam", "cam" } << "cam";
    QTest::newRow("differing") << QStringList { "cam", "cam", "door" } << staticsMarker();
}

void TestPropertyWidgetsValues::updateLineEdit()
{
    QFETCH(QStringList, texts);
    QFETCH(QString, shown);

    QLineEdit edit;
    kq::resetLineEdit(&edit);
    for (const QString& t : texts) {
        auto property = makeProperty<kq::StringProperty>(0xd02, t);
        kq::updateLineEdit(&edit, static_cast<const kq::StringProperty*>(property.get()));
    }
    QCOMPARE(edit.text(), shown);
    QCOMPARE(kq::isIndeterminate(&edit), shown == staticsMarker());
    // Line edits are written back through their property, not an id.
    QVERIFY(!edit.property("property-id").isValid());
}

void TestPropertyWidgetsValues::updateListWidgetMerge()
{
    QListWidget list;
    kq::resetListWidget(&list, nullptr);
    kq::updateListWidget(&list, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b,c,AE")), { 0, 3 }));
    QCOMPARE(list.count(), 4);
    QCOMPARE(checkState(list.item(0)), int(Qt::Checked));
    QCOMPARE(checkState(list.item(1)), int(Qt::Unchecked));

    // The second node lacks c and AE, adds d and selects b too.
    kq::updateListWidget(&list, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b,d")), { 0, 1 }));
    QCOMPARE(list.count(), 5);
    QCOMPARE(checkState(list.item(0)), int(Qt::Checked));
    QVERIFY(kq::isIndeterminate(list.item(1)));
    QVERIFY(list.item(2)->isHidden());
    QVERIFY(!kq::isEnabled(list.item(2)));
    QVERIFY(!list.item(3)->isHidden());
    QVERIFY(kq::isEnabled(list.item(3)));
    QCOMPARE(kq::propertyValue(list.item(4)), QStringLiteral("d"));
    QVERIFY(list.item(4)->isHidden());
    QVERIFY(!kq::isEnabled(list.item(4)));
}

void TestPropertyWidgetsValues::sessionLabelTwoIdentifiers_data()
{
    QTest::addColumn<bool>("hasA");
    QTest::addColumn<bool>("hasB");

    QTest::newRow("both") << true << true;
    QTest::newRow("first missing") << false << true;
    QTest::newRow("second missing") << true << false;
    QTest::newRow("both missing") << false << false;
}

void TestPropertyWidgetsValues::sessionLabelTwoIdentifiers()
{
    QFETCH(bool, hasA);
    QFETCH(bool, hasB);

    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    if (hasA)
        addProperty<kq::StringProperty>(memory.get(), 0xe01, QStringLiteral("1"));
    if (hasB)
        addProperty<kq::StringProperty>(memory.get(), 0xe02, QStringLiteral("4"));

    QLabel label;
    label.setToolTip(QStringLiteral("zoom"));
    kq::resetLabel(&label);
    kq::updateLabel(&label, QStringLiteral("Zoom"), kqm::smart<const kq::INodeConfigSession>(memory),
        kq::EStringProperty(0xe01), kq::EStringProperty(0xe02));
    const bool available = hasA && hasB;
    QCOMPARE(label.isEnabled(), available);
    QCOMPARE(label.toolTip(), available ? QStringLiteral("zoom") : kNotAvailable);
    if (available)
        QCOMPARE(label.text(), QStringLiteral("Zoom: 1/4"));

    // The next reset restores the tool tip and enables the label again.
    kq::resetLabel(&label);
    QVERIFY(label.isEnabled());
    QCOMPARE(label.toolTip(), QStringLiteral("zoom"));
    QVERIFY(!label.property("old-tooltip").isValid());
}

void TestPropertyWidgetsValues::sessionFormsMissingProperty_data()
{
    QTest::addColumn<QString>("form");
    QTest::addColumn<bool>("nullSession");
    for (const char* form : { "label", "title label", "line edit", "long spin box", "long option spin box",
             "bool combo box", "long option combo box", "double option combo box", "string option combo box",
             "bool check box", "string option check box", "radio button", "list widget", "event list" }) {
        QTest::addRow("%s, missing property", form) << QString::fromLatin1(form) << false;
        QTest::addRow("%s, null session", form) << QString::fromLatin1(form) << true;
    }
}

void TestPropertyWidgetsValues::sessionFormsMissingProperty()
{
    QFETCH(QString, form);
    QFETCH(bool, nullSession);

    // The session holds a property, just not under the identifier asked for.
    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    addProperty<kq::StringProperty>(memory.get(), 1, QStringLiteral("x"));
    const kqm::smart<const kq::INodeConfigSession> session = nullSession
        ? kqm::smart<const kq::INodeConfigSession>()
        : kqm::smart<const kq::INodeConfigSession>(memory);
    const int id = 0xf01;

    QLabel label;
    QLineEdit edit;
    QSpinBox spin;
    QComboBox combo;
    QCheckBox check;
    QRadioButton radio;
    QListWidget list;
    QWidget* widget = nullptr;
    int result = -1;
    if (form == QLatin1String("label")) {
        kq::resetLabel(&label);
        widget = &label;
        kq::updateLabel(&label, session, kq::EStringProperty(id));
    } else if (form == QLatin1String("title label")) {
        kq::resetLabel(&label);
        widget = &label;
        kq::updateLabel(
            &label, QStringLiteral("Zoom"), session, kq::EStringProperty(1), kq::EStringProperty(id));
    } else if (form == QLatin1String("line edit")) {
        kq::resetLineEdit(&edit);
        widget = &edit;
        kq::updateLineEdit(&edit, session, kq::EStringProperty(id));
    } else if (form == QLatin1String("long spin box")) {
        kq::resetSpinBox(&spin, 1.0, 0, 10, 5);
        widget = &spin;
        result = kq::updateSpinBox(&spin, session, kq::ELongProperty(id));
    } else if (form == QLatin1String("long option spin box")) {
        kq::resetSpinBox(&spin, 1.0, 0, 10, 5);
        widget = &spin;
        result = kq::updateSpinBox(&spin, session, kq::ELongOptionsProperty(id), false);
    } else if (form == QLatin1String("bool combo box")) {
        kq::resetComboBox(&combo, QStringLiteral("On"), QStringLiteral("Off"));
        widget = &combo;
        result = kq::updateComboBox(&combo, session, kq::EBoolProperty(id));
    } else if (form == QLatin1String("long option combo box")) {
        kq::resetComboBox(&combo, static_cast<QString (*)(double)>(nullptr));
        widget = &combo;
        result = kq::updateComboBox(&combo, session, kq::ELongOptionsProperty(id), true);
    } else if (form == QLatin1String("double option combo box")) {
        kq::resetComboBox(&combo, static_cast<QString (*)(double)>(nullptr));
        widget = &combo;
        result = kq::updateComboBox(&combo, session, kq::EDoubleOptionsProperty(id), false);
    } else if (form == QLatin1String("string option combo box")) {
        kq::resetComboBox(&combo, static_cast<QString (*)(const QString&)>(nullptr));
        widget = &combo;
        result = kq::updateComboBox(&combo, session, kq::EStringOptionsProperty(id));
    } else if (form == QLatin1String("bool check box")) {
        kq::resetCheckBox(&check);
        widget = &check;
        kq::updateCheckBox(&check, session, kq::EBoolProperty(id));
    } else if (form == QLatin1String("string option check box")) {
        kq::resetCheckBox(&check, QStringLiteral("off"), QStringLiteral("on"));
        widget = &check;
        kq::updateCheckBox(&check, session, kq::EStringOptionsProperty(id));
    } else if (form == QLatin1String("radio button")) {
        kq::resetRadioButton(&radio, QStringLiteral("a"));
        widget = &radio;
        kq::updateRadioButton(&radio, session, kq::EStringOptionsProperty(id));
    } else if (form == QLatin1String("list widget")) {
        kq::resetListWidget(&list, nullptr);
        widget = &list;
        kq::updateListWidget(&list, session, kq::EStringMultiOptionsProperty(id));
    } else {
        kq::resetListWidget(&list, nullptr);
        widget = &list;
        kq::updateEventListWidget(&list, session, kq::EStringMultiOptionsProperty(id), QVector<QString>());
    }
    QCOMPARE(result, -1);
    QVERIFY(!widget->isEnabled());
    QCOMPARE(widget->toolTip(), kNotAvailable);
}

void TestPropertyWidgetsValues::nullWidgets()
{
    // Every function accepts a null widget: readers answer empty values,
    // selectors -1, write-backs false, and nothing is written.
    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    auto* number = addProperty<kq::LongProperty>(memory.get(), 0x1201, 3, 0, 10);
    auto* text = addProperty<kq::StringProperty>(memory.get(), 0x1202, QStringLiteral("t"));
    auto* flag = addProperty<kq::BoolProperty>(memory.get(), 0x1203, true);
    auto* choice = addProperty<kq::StringOptionsProperty>(
        memory.get(), 0x1204, stringOptions(QStringLiteral("a,b"), 1));
    auto* numbers = addProperty<kq::LongOptionsProperty>(memory.get(), 0x1205, intOptions({ 1, 2 }, 1));
    auto* reals
        = addProperty<kq::DoubleOptionsProperty>(memory.get(), 0x1206, kq::TOptions<double>({ 0.5 }, 0));
    auto* multi = addProperty<kq::StringMultiOptionsProperty>(
        memory.get(), 0x1207, kq::TMultiOptions<QString>(strings(QStringLiteral("a,b")), { 1 }));
    const kqm::smart<const kq::INodeConfigSession> session(memory);

    QComboBox* noCombo = nullptr;
    QSpinBox* noSpin = nullptr;
    QCheckBox* noCheck = nullptr;
    QLineEdit* noEdit = nullptr;
    QLabel* noLabel = nullptr;
    QListWidget* noList = nullptr;
    QRadioButton* noRadio = nullptr;
    const QListWidgetItem* noItem = nullptr;

    QVERIFY(!kq::propertyValue(noCombo).isValid());
    QCOMPARE(kq::longPropertyValue(noCombo), 0);
    QCOMPARE(kq::doublePropertyValue(noCombo), 0.0);
    QCOMPARE(kq::stringPropertyValue(noCombo), QString());
    QCOMPARE(kq::propertyValue(noItem), QString());

    QCOMPARE(kq::setPropertyValue(noCombo, 1, false), -1);
    QCOMPARE(kq::setPropertyValue(noCombo, 1.0, true), -1);
    QCOMPARE(kq::setPropertyValue(noCombo, true), -1);
    QCOMPARE(kq::setPropertyValue(noCombo, QStringLiteral("a")), -1);
    QCOMPARE(kq::mergePropertyValue(noCombo, 1.0, false), -1);
    QCOMPARE(kq::mergePropertyValue(noCombo, QStringLiteral("a")), -1);
    QCOMPARE(kq::updateComboBox(noCombo, intOptions({ 1 }, 0), false), -1);
    QCOMPARE(kq::updateComboBox(noCombo, session, kq::EStringOptionsProperty(0x1204)), -1);
    QCOMPARE(kq::updateComboBox(noCombo, session, kq::EBoolProperty(0x1203)), -1);
    QCOMPARE(kq::updateSpinBox(noSpin, session, kq::ELongProperty(0x1201)), -1);
    QCOMPARE(kq::updateSpinBox(noSpin, session, kq::ELongOptionsProperty(0x1205), false), -1);

    QVERIFY(!kq::setProperty(number, noSpin));
    QVERIFY(!kq::setProperty(numbers, noSpin));
    QVERIFY(!kq::setProperty(numbers, noCombo));
    QVERIFY(!kq::setProperty(reals, noCombo));
    QVERIFY(!kq::setProperty(choice, noCombo));
    QVERIFY(!kq::setProperty(session, noCombo));
    QVERIFY(!kq::setProperty(flag, noCombo));
    QVERIFY(!kq::setProperty(flag, noCheck));
    QVERIFY(!kq::setProperty(choice, noCheck));
    QVERIFY(!kq::setProperty(choice->value(), noCheck));
    QVERIFY(!kq::setProperty(choice, noRadio));
    QVERIFY(!kq::setProperty(session, noRadio));
    kq::setProperty(text, noEdit);
    kq::setProperty(multi, noList);
    kq::setProperty(multi->value(), noList);

    kq::updateLabel(noLabel, session, kq::EStringProperty(0x1202));
    kq::updateLineEdit(noEdit, session, kq::EStringProperty(0x1202));
    kq::updateCheckBox(noCheck, session, kq::EBoolProperty(0x1203));
    kq::updateCheckBox(noCheck, session, kq::EStringOptionsProperty(0x1204));
    kq::updateRadioButton(noRadio, session, kq::EStringOptionsProperty(0x1204));
    kq::updateListWidget(noList, session, kq::EStringMultiOptionsProperty(0x1207));
    kq::updateEventListWidget(
        noList, session, kq::EStringMultiOptionsProperty(0x1207), strings(QStringLiteral("a")));
    QVector<QString> enabledEvents = strings(QStringLiteral("a"));
    kq::markEnabledEvents(noList, enabledEvents);
    kq::disableEventListWidgetItems(noList, enabledEvents);
    kq::setListToolTip(noList);
    kq::resetLabel(noLabel);
    kq::resetLineEdit(noEdit);
    kq::resetListWidget(noList, nullptr);
    kq::resetComboBox(noCombo, QStringLiteral("On"), QStringLiteral("Off"));
    kq::resetCheckBox(noCheck, QStringLiteral("off"), QStringLiteral("on"));

    // Nothing was written.
    QCOMPARE(number->value(), 3);
    QCOMPARE(text->value(), QStringLiteral("t"));
    QCOMPARE(flag->value(), true);
    QCOMPARE(choice->value().selectedIndex, 1);
    QCOMPARE(choice->value().values, strings(QStringLiteral("a,b")));
    QCOMPARE(numbers->value().selectedIndex, 1);
    QCOMPARE(reals->value().selectedIndex, 0);
    QCOMPARE(multi->value().selectedIndices, QVector<int> { 1 });
}

void TestPropertyWidgetsValues::nullPropertyForwarders()
{
    QComboBox box;
    kq::addValue(&box, QStringLiteral("a"), true);
    kq::addValue(&box, QStringLiteral("b"), true);
    box.setCurrentIndex(1);
    const kq::StringOptionsProperty* none = nullptr;
    QCOMPARE(kq::setPropertyValue(&box, none), -1);
    QCOMPARE(kq::mergePropertyValue(&box, none), -1);
    kq::setValueRange(&box, none);
    kq::mergeValueRange(&box, none);
    QCOMPARE(box.count(), 2);
    QCOMPARE(box.currentIndex(), 1);
    QVERIFY(kq::isEnabled(&box, 0));
    QVERIFY(!kq::isIndeterminate(&box));

    QListWidget list;
    QListWidgetItem* item = addItem(&list, QStringLiteral("a"), Qt::Checked);
    const kq::StringMultiOptionsProperty* noMulti = nullptr;
    kq::setValueRange(&list, noMulti);
    kq::mergeValueRange(&list, noMulti);
    kq::setPropertyValue(&list, noMulti);
    kq::mergePropertyValue(&list, noMulti);
    QCOMPARE(list.count(), 1);
    QCOMPARE(checkState(item), int(Qt::Checked));
    QVERIFY(kq::isEnabled(item));
    QVERIFY(!item->isHidden());

    // The line edit's property form disables the edit for a null property.
    QLineEdit edit;
    kq::updateLineEdit(&edit, static_cast<const kq::StringProperty*>(nullptr));
    QVERIFY(!edit.isEnabled());
    QCOMPARE(edit.toolTip(), kNotAvailable);
}

void TestPropertyWidgetsValues::propertyFormsNullProperty_data()
{
    QTest::addColumn<QString>("form");
    for (const char* form : { "long spin box", "long option spin box", "string option combo box",
             "long option combo box", "double option combo box", "bool check box", "string option check box",
             "profiles check box", "radio button", "event list" })
        QTest::newRow(form) << QString::fromLatin1(form);
}

void TestPropertyWidgetsValues::propertyFormsNullProperty()
{
    QFETCH(QString, form);

    QSpinBox spin;
    QComboBox combo;
    QCheckBox check;
    QRadioButton radio;
    QListWidget list;
    QWidget* widget = nullptr;
    int result = -1;
    if (form == QLatin1String("long spin box")) {
        widget = &spin;
        result = kq::updateSpinBox(&spin, static_cast<kq::LongProperty*>(nullptr));
    } else if (form == QLatin1String("long option spin box")) {
        widget = &spin;
        kq::updateSpinBox(&spin, static_cast<kq::LongOptionsProperty*>(nullptr), false);
    } else if (form == QLatin1String("string option combo box")) {
        widget = &combo;
        result = kq::updateComboBox(&combo, static_cast<const kq::StringOptionsProperty*>(nullptr));
    } else if (form == QLatin1String("long option combo box")) {
        widget = &combo;
        result = kq::updateComboBox(&combo, static_cast<const kq::LongOptionsProperty*>(nullptr), false);
    } else if (form == QLatin1String("double option combo box")) {
        widget = &combo;
        result = kq::updateComboBox(&combo, static_cast<const kq::DoubleOptionsProperty*>(nullptr), false);
    } else if (form == QLatin1String("bool check box")) {
        widget = &check;
        kq::updateCheckBox(&check, static_cast<const kq::BoolProperty*>(nullptr));
    } else if (form == QLatin1String("string option check box")) {
        widget = &check;
        kq::updateCheckBox(&check, static_cast<const kq::StringOptionsProperty*>(nullptr));
    } else if (form == QLatin1String("profiles check box")) {
        widget = &check;
        kq::updateCheckBox(&check, static_cast<const kq::ProfilesProperty*>(nullptr));
    } else if (form == QLatin1String("radio button")) {
        widget = &radio;
        kq::updateRadioButton(&radio, static_cast<const kq::StringOptionsProperty*>(nullptr));
    } else {
        widget = &list;
        kq::updateEventListWidget(
            &list, static_cast<const kq::StringMultiOptionsProperty*>(nullptr), QVector<QString>());
    }
    QCOMPARE(result, -1);
    QVERIFY(!widget->isEnabled());
    QCOMPARE(widget->toolTip(), kNotAvailable);
    QVERIFY(!widget->property("initialized").isValid());
}

void TestPropertyWidgetsValues::resetCheckBoxArgumentOrder()
{
    QCheckBox box;
    kq::resetCheckBox(&box, QStringLiteral("off"), QStringLiteral("on"));
    QCOMPARE(box.property("false-value").toString(), QStringLiteral("off"));
    QCOMPARE(box.property("true-value").toString(), QStringLiteral("on"));
    QCOMPARE(box.checkState(), Qt::Unchecked);
    QVERIFY(!box.isTristate());
}

void TestPropertyWidgetsValues::resetLabelEndsHighlight()
{
    QLabel label;
    const QFont font = label.font();
    const QPalette palette = label.palette();
    kq::highlight(&label, true);
    QVERIFY(label.font().bold());
    kq::resetLabel(&label);
    QCOMPARE(label.font(), font);
    QCOMPARE(label.palette(), palette);
    QVERIFY(!label.property("old-font").isValid());
    QVERIFY(!label.property("old-palette").isValid());
}

void TestPropertyWidgetsValues::resetFunctionsForgetState_data()
{
    QTest::addColumn<QString>("form");
    for (const char* form :
        { "label", "line edit", "list widget", "combo box (numbers)", "combo box (strings)",
            "combo box (bool)", "check box", "check box (strings)", "spin box", "radio button" })
        QTest::newRow(form) << QString::fromLatin1(form);
}

void TestPropertyWidgetsValues::resetFunctionsForgetState()
{
    QFETCH(QString, form);

    QLabel label;
    QLineEdit edit;
    QListWidget list;
    QComboBox combo;
    QCheckBox check;
    QSpinBox spin;
    QRadioButton radio;
    QWidget* widgets[] = { &label, &edit, &list, &combo, &check, &spin, &radio };
    for (QWidget* w : widgets) {
        w->setToolTip(QStringLiteral("own tip"));
        kq::setEnabled(w, false);
        w->setProperty("property-id", 42);
        w->setProperty("initialized", true);
    }
    label.setText(QStringLiteral("text"));
    edit.setText(QStringLiteral("text"));
    kq::addValue(&list, QStringLiteral("x"), true, -1);
    kq::addValue(&combo, QStringLiteral("x"), true);

    // Spin boxes and radio buttons are enabled by the dialog, not reset.
    QWidget* widget = nullptr;
    bool enables = true;
    if (form == QLatin1String("label")) {
        widget = &label;
        kq::resetLabel(&label);
        QCOMPARE(label.text(), QString());
    } else if (form == QLatin1String("line edit")) {
        widget = &edit;
        kq::resetLineEdit(&edit);
        QCOMPARE(edit.text(), QString());
    } else if (form == QLatin1String("list widget")) {
        widget = &list;
        kq::resetListWidget(&list, nullptr);
        QCOMPARE(list.count(), 0);
        QCOMPARE(list.property("trns-helper").toULongLong(), 0ULL);
    } else if (form == QLatin1String("combo box (numbers)")) {
        widget = &combo;
        kq::resetComboBox(&combo, static_cast<QString (*)(double)>(nullptr));
        QCOMPARE(combo.count(), 0);
    } else if (form == QLatin1String("combo box (strings)")) {
        widget = &combo;
        kq::resetComboBox(&combo, static_cast<QString (*)(const QString&)>(nullptr));
        QCOMPARE(combo.count(), 0);
    } else if (form == QLatin1String("combo box (bool)")) {
        widget = &combo;
        kq::resetComboBox(&combo, QStringLiteral("On"), QStringLiteral("Off"));
        QCOMPARE(combo.count(), 2);
    } else if (form == QLatin1String("check box")) {
        widget = &check;
        kq::resetCheckBox(&check);
    } else if (form == QLatin1String("check box (strings)")) {
        widget = &check;
        kq::resetCheckBox(&check, QStringLiteral("0"), QStringLiteral("1"));
    } else if (form == QLatin1String("spin box")) {
        widget = &spin;
        enables = false;
        kq::resetSpinBox(&spin, 1.0, 0, 10, 3);
        QCOMPARE(spin.value(), 3);
    } else {
        widget = &radio;
        enables = false;
        kq::resetRadioButton(&radio, QStringLiteral("v"));
    }
    QVERIFY(!widget->property("property-id").isValid());
    QVERIFY(!widget->property("initialized").isValid());
    if (enables) {
        QVERIFY(widget->isEnabled());
        QCOMPARE(widget->toolTip(), QStringLiteral("own tip"));
        QVERIFY(!widget->property("old-tooltip").isValid());
    }
}

// ---------------------------------------------------------------------------
// Event lists

void TestPropertyWidgetsValues::eventListToolTips_data()
{
    QTest::addColumn<int>("weight");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("toolTip");

    QTest::newRow("bold, checked") << int(QFont::Bold) << int(Qt::Checked) << kDeselectNote;
    QTest::newRow("bold, unchecked") << int(QFont::Bold) << int(Qt::Unchecked) << "old";
    QTest::newRow("bold, partially checked") << int(QFont::Bold) << int(Qt::PartiallyChecked) << "old";
    QTest::newRow("normal, unchecked") << int(QFont::Normal) << int(Qt::Unchecked) << kSelectWarning;
    QTest::newRow("normal, partially checked")
        << int(QFont::Normal) << int(Qt::PartiallyChecked) << kSelectWarning;
    QTest::newRow("normal, checked") << int(QFont::Normal) << int(Qt::Checked) << "old";
    QTest::newRow("demi-bold counts as bold") << int(QFont::DemiBold) << int(Qt::Checked) << kDeselectNote;
}

void TestPropertyWidgetsValues::eventListToolTips()
{
    QFETCH(int, weight);
    QFETCH(int, state);
    QFETCH(QString, toolTip);

    QListWidget list;
    QListWidgetItem* item = addItem(&list, QStringLiteral("motion"), Qt::CheckState(state));
    item->setData(Qt::ToolTipRole, QStringLiteral("old"));
    setItemWeight(item, QFont::Weight(weight));
    kq::setListToolTip(&list);
    QCOMPARE(item->data(Qt::ToolTipRole).toString(), toolTip);
}

void TestPropertyWidgetsValues::disableEventItemsEmpty()
{
    QListWidget list;
    addItem(&list, QStringLiteral("motion"), Qt::Checked);
    QListWidgetItem* ae = addItem(&list, QStringLiteral("AE"), Qt::Checked);
    addItem(&list, QStringLiteral("tamper"), Qt::Unchecked, false);
    ae->setData(Qt::ToolTipRole, QStringLiteral("ae tip"));
    const Qt::ItemFlags aeFlags = ae->flags();

    kq::disableEventListWidgetItems(&list, QVector<QString>());
    for (int row : { 0, 2 }) {
        QVERIFY(!kq::isEnabled(list.item(row)));
        QVERIFY(list.item(row)->flags() & Qt::ItemIsUserCheckable);
        QCOMPARE(list.item(row)->data(Qt::ToolTipRole).toString(), kNotConfigurable);
    }
    QCOMPARE(ae->flags(), aeFlags);
    QCOMPARE(ae->data(Qt::ToolTipRole).toString(), QStringLiteral("ae tip"));
    // Check states are not touched.
    QCOMPARE(checkState(list.item(0)), int(Qt::Checked));
}

void TestPropertyWidgetsValues::disableEventItemsConfigurable()
{
    QListWidget list;
    addItem(&list, QStringLiteral("motion"), Qt::Unchecked, false);
    addItem(&list, QStringLiteral("tamper"), Qt::Unchecked);
    addItem(&list, QStringLiteral("audio"), Qt::Unchecked);
    list.item(0)->setData(Qt::ToolTipRole, QStringLiteral("t0"));

    kq::disableEventListWidgetItems(&list, strings(QStringLiteral("motion,audio")));
    // A configurable item always ends enabled, even one disabled before.
    QVERIFY(kq::isEnabled(list.item(0)));
    QCOMPARE(list.item(0)->data(Qt::ToolTipRole).toString(), QStringLiteral("t0"));
    QVERIFY(!kq::isEnabled(list.item(1)));
    QCOMPARE(list.item(1)->data(Qt::ToolTipRole).toString(), kNotConfigurable);
    QVERIFY(kq::isEnabled(list.item(2)));
    QVERIFY(!list.item(2)->data(Qt::ToolTipRole).isValid());
}

void TestPropertyWidgetsValues::eventAeItemUntouched()
{
    QListWidget list;
    kq::resetListWidget(&list, nullptr);
    kq::updateEventListWidget(&list, kq::TMultiOptions<QString>(strings(QStringLiteral("AE,motion")), { 0 }),
        strings(QStringLiteral("motion")));
    QListWidgetItem* ae = kq::findItem(&list, QStringLiteral("AE"));
    QVERIFY(ae);
    ae->setData(Qt::ToolTipRole, QStringLiteral("ae tip"));
    setItemWeight(ae, QFont::Bold);
    const Qt::ItemFlags flags = ae->flags();
    const QFont font = itemFont(ae);
    const int state = checkState(ae);

    QVector<QString> none;
    kq::markEnabledEvents(&list, none);
    kq::disableEventListWidgetItems(&list, none);
    QCOMPARE(ae->flags(), flags);
    QCOMPARE(ae->data(Qt::ToolTipRole).toString(), QStringLiteral("ae tip"));
    QCOMPARE(itemFont(ae), font);
    QCOMPARE(checkState(ae), state);
    // The other item was affected, so the calls did run.
    QVERIFY(!kq::isEnabled(kq::findItem(&list, QStringLiteral("motion"))));
}

void TestPropertyWidgetsValues::markEnabledEventsNeverFilled()
{
    QListWidget list;
    QListWidgetItem* item = addItem(&list, QStringLiteral("motion"), Qt::Checked);
    setItemWeight(item, QFont::Bold);
    QVector<QString> none;
    kq::markEnabledEvents(&list, none);
    QCOMPARE(checkState(item), int(Qt::Checked));
    QCOMPARE(itemFont(item).weight(), int(QFont::Bold));

    // Once the list counts as filled, the same call takes effect.
    list.setProperty("initialized", true);
    kq::markEnabledEvents(&list, none);
    QCOMPARE(checkState(item), int(Qt::Unchecked));
    QCOMPARE(itemFont(item).weight(), int(QFont::Normal));
}

void TestPropertyWidgetsValues::markEnabledEventsMissing_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("stateAfter");

    QTest::newRow("enabled, checked") << true << int(Qt::Checked) << int(Qt::Unchecked);
    QTest::newRow("enabled, partially checked") << true << int(Qt::PartiallyChecked) << int(Qt::Unchecked);
    QTest::newRow("enabled, unchecked") << true << int(Qt::Unchecked) << int(Qt::Unchecked);
    QTest::newRow("disabled, checked") << false << int(Qt::Checked) << int(Qt::Checked);
    QTest::newRow("disabled, partially checked")
        << false << int(Qt::PartiallyChecked) << int(Qt::PartiallyChecked);
}

void TestPropertyWidgetsValues::markEnabledEventsMissing()
{
    QFETCH(bool, enabled);
    QFETCH(int, state);
    QFETCH(int, stateAfter);

    QListWidget list;
    list.setProperty("initialized", true);
    QListWidgetItem* item = addItem(&list, QStringLiteral("motion"), Qt::CheckState(state), enabled);
    setItemWeight(item, QFont::Bold);
    QListWidgetItem* other = addItem(&list, QStringLiteral("audio"), Qt::Checked);

    QVector<QString> enabledEvents = strings(QStringLiteral("audio"));
    kq::markEnabledEvents(&list, enabledEvents);
    QCOMPARE(checkState(item), stateAfter);
    QCOMPARE(itemFont(item).weight(), int(QFont::Normal));
    QCOMPARE(checkState(other), int(Qt::Checked));
    QCOMPARE(itemFont(other).weight(), int(QFont::Bold));
    QCOMPARE(enabledEvents, strings(QStringLiteral("audio")));
}

void TestPropertyWidgetsValues::markEnabledEventsPresent_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("weightAfter");

    QTest::newRow("checked becomes bold") << int(Qt::Checked) << int(QFont::Bold);
    QTest::newRow("unchecked stays normal") << int(Qt::Unchecked) << int(QFont::Normal);
    QTest::newRow("partially checked stays normal") << int(Qt::PartiallyChecked) << int(QFont::Normal);
}

void TestPropertyWidgetsValues::markEnabledEventsPresent()
{
    QFETCH(int, state);
    QFETCH(int, weightAfter);

    QListWidget list;
    list.setProperty("initialized", true);
    QListWidgetItem* item = addItem(&list, QStringLiteral("motion"), Qt::CheckState(state));
    setItemWeight(item, QFont::Normal);
    QVector<QString> enabledEvents = strings(QStringLiteral("motion"));
    kq::markEnabledEvents(&list, enabledEvents);
    QCOMPARE(itemFont(item).weight(), weightAfter);
    QCOMPARE(checkState(item), state);
}

void TestPropertyWidgetsValues::eventListFillAndMerge()
{
    QListWidget list;
    kq::resetListWidget(&list, nullptr);
    // First camera: four events, motion and audio selected, motion and
    // tamper active.
    kq::updateEventListWidget(&list,
        kq::TMultiOptions<QString>(strings(QStringLiteral("motion,tamper,audio,io")), { 0, 2 }),
        strings(QStringLiteral("motion,tamper")));
    QVERIFY(list.property("initialized").toBool());
    QListWidgetItem* motion = kq::findItem(&list, QStringLiteral("motion"));
    QListWidgetItem* tamper = kq::findItem(&list, QStringLiteral("tamper"));
    QListWidgetItem* audio = kq::findItem(&list, QStringLiteral("audio"));
    QListWidgetItem* io = kq::findItem(&list, QStringLiteral("io"));
    QVERIFY(motion && tamper && audio && io);
    QCOMPARE(itemFont(motion).weight(), int(QFont::Bold));
    QCOMPARE(itemFont(tamper).weight(), int(QFont::Bold));
    QVERIFY(itemFont(audio).weight() <= int(QFont::Normal));
    QCOMPARE(checkState(motion), int(Qt::Checked));
    QCOMPARE(checkState(audio), int(Qt::Checked));
    QCOMPARE(motion->data(Qt::ToolTipRole).toString(), kDeselectNote);
    QVERIFY(!tamper->data(Qt::ToolTipRole).isValid());
    QVERIFY(!audio->data(Qt::ToolTipRole).isValid());
    QCOMPARE(io->data(Qt::ToolTipRole).toString(), kSelectWarning);

    // Second camera: the same events and selection, only motion active.
    kq::updateEventListWidget(&list,
        kq::TMultiOptions<QString>(strings(QStringLiteral("motion,tamper,audio,io")), { 0, 2 }),
        strings(QStringLiteral("motion")));
    // Active on both: bold, kept checked.
    QCOMPARE(itemFont(motion).weight(), int(QFont::Bold));
    QCOMPARE(checkState(motion), int(Qt::Checked));
    // Active on one: normal-weight italic, unchecked.
    QCOMPARE(itemFont(tamper).weight(), int(QFont::Normal));
    QCOMPARE(itemFont(tamper).style(), QFont::StyleItalic);
    QCOMPARE(checkState(tamper), int(Qt::Unchecked));
    // Active on none: plain, and unchecked even though both select it.
    QCOMPARE(itemFont(audio).style(), QFont::StyleNormal);
    QCOMPARE(checkState(audio), int(Qt::Unchecked));
}

void TestPropertyWidgetsValues::eventListSessionMissing()
{
    kqm::smart<kq::MemoryConfigSession> memory(new kq::MemoryConfigSession);
    addProperty<kq::StringMultiOptionsProperty>(
        memory.get(), 0x1101, kq::TMultiOptions<QString>(strings(QStringLiteral("motion")), { 0 }));
    const kqm::smart<const kq::INodeConfigSession> session(memory);

    QListWidget list;
    kq::resetListWidget(&list, nullptr);
    kq::updateEventListWidget(
        &list, session, kq::EStringMultiOptionsProperty(0x1101), strings(QStringLiteral("motion")));
    QVERIFY(list.isEnabled());
    QCOMPARE(list.count(), 1);
    QCOMPARE(list.property("property-id").toInt(), 0x1101);

    kq::updateEventListWidget(
        &list, session, kq::EStringMultiOptionsProperty(0x1102), strings(QStringLiteral("motion")));
    QVERIFY(!list.isEnabled());
    QCOMPARE(list.toolTip(), kNotAvailable);
}

QTEST_MAIN(TestPropertyWidgetsValues)
#include "tst_propertywidgets_values.moc"
