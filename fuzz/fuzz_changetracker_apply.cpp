// Change tracking's Apply and Revert over arbitrary per-node values. The
// input chooses 1 to 8 nodes, each with its own values for every widget kind
// the tracker follows (line edits, boolean combo box and check box, option
// combo boxes, option check box, spin boxes, radio buttons, the
// multiple-choice list and the IP/port tree), fills the test dialog of the
// change tracker suite (reset, one update per node), takes a snapshot, makes
// the user's edits the input chooses (or none) and then applies or reverts.
//
// Checked against a plain model of what the nodes must hold:
// - no edits: apply() writes nothing, every node byte-identical;
// - revert: the widgets show the snapshot again, nothing is written, and an
//   apply() afterwards writes nothing;
// - apply: every node's document equals its document before, with each
//   changed single-value widget written through the binding's setProperty
//   (as a dialog calling it by hand; applied here to a copy of the nodes),
//   the list's toggled items added to or removed from each node's own
//   selection, each deleted tree row's entries taken from every node, and
//   everything else byte-identical; a typed text, a spin box value and a
//   check box state reach every node as the user left them.
//
// Input: byte 0 the node count, then each node's values, then the mode
// (none, revert, apply) and the edits, one or two bytes each.
#include <QtTest>

#include "changetracker_testsupport.h"

#include <kq/Log.h>

#include <QApplication>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace cttest;

namespace {

struct Input {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
    // A number below n from the next byte; 0 once the input is used up.
    int pick(int n)
    {
        if (n <= 1 || pos >= size)
            return 0;
        return data[pos++] % n;
    }
};

QStringList gTrail;

void check(bool ok, const char* what, const QString& detail = QString())
{
    if (ok)
        return;
    std::fprintf(stderr, "broken: %s\n%s\nsteps: %s\n", what, qPrintable(detail),
        qPrintable(gTrail.join(QLatin1String("; "))));
    std::abort();
}

// The dialog parts the target drives (see Dialog::kinds()).
const QStringList& driven()
{
    static const QStringList kinds { "line edit", "bool combo box", "long option combo box",
        "double option combo box", "string option combo box", "bool check box", "string option check box",
        "long spin box", "long option spin box", "radio buttons", "list widget", "ip/port tree" };
    return kinds;
}

QString nameText(int k)
{
    static const QStringList texts { "", "Camera", "Camera 2", QStringLiteral("Entr\u00e9e"), " spaced ", "x" };
    // A node may even be named like the marker the dialog shows.
    return k < texts.size() ? texts.at(k) : markerText();
}

QJsonObject randomNode(int i, Input& in)
{
    QJsonArray p;
    p.append(withValue(property(PName, "Name", "string"), nameText(in.pick(7))));
    p.append(withValue(property(PLocation, "Location", "string"), nameText(in.pick(7))));
    p.append(withValue(property(PFlip, "Flip", "bool"), in.pick(2) == 1));
    p.append(withValue(property(PMirror, "Mirror", "bool"), in.pick(2) == 1));
    static const int gains[] { 0, 1, 50, 999, 1000 };
    QJsonObject gain = withValue(property(PGain, "Gain", "long"), gains[in.pick(5)]);
    gain.insert(QStringLiteral("min"), 0);
    gain.insert(QStringLiteral("max"), 1000);
    p.append(gain);
    p.append(withOptions(property(PFrameRate, "FrameRate", "longOptions"), QJsonArray { 5, 10, 15, 25 }, in.pick(5) - 1));
    const bool longer = in.pick(2) == 1;
    p.append(withOptions(property(PResolution, "Resolution", "longOptions"),
        longer ? QJsonArray { 10, 20, 30, 40 } : QJsonArray { 10, 20, 30 }, in.pick(longer ? 5 : 4) - 1));
    p.append(withOptions(property(PGamma, "Gamma", "doubleOptions"), QJsonArray { 0.5, 1.0, 1.5, 2.2 }, in.pick(5) - 1));
    p.append(withOptions(property(PExposure, "Exposure", "stringOptions"), QJsonArray { "auto", "manual", "night" },
        in.pick(4) - 1));
    p.append(withOptions(property(PWdr, "Wdr", "stringOptions"), QJsonArray { "off", "on" }, in.pick(3) - 1));
    p.append(withOptions(property(PDayNight, "DayNight", "stringOptions"), QJsonArray { "day", "night", "auto" },
        in.pick(4) - 1));

    // Some of the stream values in the node's own order, a selection with
    // repeats.
    QStringList own;
    QVector<int> selected;
    randomOption({ "h264", "mjpeg", "h265", "AE", "vp8" }, [&](int n) { return in.pick(n); }, &own, &selected);
    p.append(multiOptions(PStreams, "Streams", own, selected));

    static const QStringList entries { "10.0.0.1:80", "10.0.0.1%3A80", "10.0.0.2:81", "10.0.0.3:82", "no entry" };
    QStringList list;
    const int length = in.pick(5);
    for (int k = 0; k < length; ++k)
        list << entries.at(in.pick(entries.size()));
    p.append(stringList(PTargets, "Targets", list));
    return QJsonObject { { "id", nodeId(i) }, { "name", nodeId(i) }, { "properties", p } };
}

// What the user can change of each single-value widget, to tell which ones
// the edits changed.
QStringList singleValueState(const Dialog& d)
{
    QStringList s { d.name->text(), d.location->text() };
    for (const QComboBox* box : { d.flip, d.resolution, d.gamma, d.exposure })
        s << QString::number(box->currentIndex());
    for (const QCheckBox* box : { d.mirror, d.wdr })
        s << QString::number(box->checkState());
    for (const QSpinBox* box : { d.gain, d.frameRate })
        s << box->text();
    for (const QRadioButton* button : d.dayNight)
        s << QString::number(button->isChecked());
    return s;
}

using Rows = QList<QPair<QString, int>>;

// Makes the edits the input chooses, noting the tree rows deleted; false
// when it chose none.
bool edit(Dialog& d, Input& in, Rows* deletedRows)
{
    const int count = in.pick(8);
    for (int e = 0; e < count; ++e) {
        switch (in.pick(9)) {
        case 0: {
            QLineEdit* target = in.pick(2) ? d.location : d.name;
            // What a user types (QTest types ASCII only).
            static const QStringList typed { "Camera", "Camera 2", "x", "Hall 7" };
            const QString text = typed.at(in.pick(typed.size()));
            gTrail << QStringLiteral("type '%1' in %2").arg(text, target == d.name ? "name" : "location");
            typeReplacing(target, text);
            check(target->text() == text, "a typed text is not what the line edit shows", target->text());
            break;
        }
        case 1: {
            QComboBox* boxes[] { d.flip, d.resolution, d.gamma, d.exposure };
            const int which = in.pick(4);
            QComboBox* box = boxes[which];
            const int index = in.pick(box->count() + 1) - 1;
            gTrail << QStringLiteral("choose entry %1 of combo box %2").arg(index).arg(which);
            box->setCurrentIndex(index);
            break;
        }
        case 2: {
            QCheckBox* box = in.pick(2) ? d.wdr : d.mirror;
            gTrail << QStringLiteral("click check box %1").arg(box->text());
            box->click();
            break;
        }
        case 3: {
            QSpinBox* box = in.pick(2) ? d.frameRate : d.gain;
            const int value = box->minimum() + in.pick(box->maximum() - box->minimum() + 1);
            gTrail << QStringLiteral("type %1 in spin box %2").arg(value).arg(box == d.gain ? "gain" : "frame rate");
            typeReplacing(box, QString::number(value));
            break;
        }
        case 4: {
            QRadioButton* button = d.dayNight.at(in.pick(d.dayNight.size()));
            gTrail << QStringLiteral("click radio button %1").arg(button->text());
            button->click();
            break;
        }
        case 5:
        case 6: {
            if (d.streams->count() == 0)
                break;
            QListWidgetItem* item = d.streams->item(in.pick(d.streams->count()));
            gTrail << QStringLiteral("toggle list item %1").arg(kq::propertyValue(item));
            toggleItem(d.streams, item);
            break;
        }
        case 7: {
            if (d.targets->topLevelItemCount() == 0)
                break;
            QTreeWidgetItem* row = d.targets->topLevelItem(in.pick(d.targets->topLevelItemCount()));
            const QString address = row->data(0, Qt::UserRole).toString();
            const int port = row->data(1, Qt::UserRole).toInt();
            const int rows = d.targets->topLevelItemCount();
            selectOnly(d.targets, row);
            d.targets->removeItem();
            // The master row stays.
            if (d.targets->topLevelItemCount() < rows) {
                gTrail << QStringLiteral("delete row %1:%2").arg(address).arg(port);
                deletedRows->append(qMakePair(address, port));
            }
            break;
        }
        default:
            gTrail << QStringLiteral("nothing");
            break;
        }
    }
    return count > 0;
}

// The document the nodes must hold after apply(): `before` with each changed
// single-value widget written through its binding, and the list's toggles.
QByteArray expectedAfterApply(Dialog& d, const QByteArray& before, const QStringList& ids,
    const QStringList& shown, const QStringList& now, const QMap<QString, int>& listShown, const Rows& deletedRows)
{
    kq::NodeDB copy;
    check(copy.loadJson(before), "the document before does not load");
    auto changed = [&](int k) { return shown.at(k) != now.at(k); };
    QStringList checkedValues, uncheckedValues;
    toggledItems(d.streams, listShown, &checkedValues, &uncheckedValues);
    for (const QString& id : ids) {
        const kqm::smart<kq::INodeConfigSession> s = copy.session(id);
        if (changed(0))
            kq::setProperty(s->property(kq::EStringProperty(PName), kContext), d.name);
        if (changed(1))
            kq::setProperty(s->property(kq::EStringProperty(PLocation), kContext), d.location);
        if (changed(2))
            kq::setProperty(s->property(kq::EBoolProperty(PFlip), kContext), d.flip);
        if (changed(3))
            kq::setProperty(s->property(kq::ELongOptionsProperty(PResolution), kContext), d.resolution);
        if (changed(4))
            kq::setProperty(s->property(kq::EDoubleOptionsProperty(PGamma), kContext), d.gamma);
        if (changed(5))
            kq::setProperty(s->property(kq::EStringOptionsProperty(PExposure), kContext), d.exposure);
        if (changed(6))
            kq::setProperty(s->property(kq::EBoolProperty(PMirror), kContext), d.mirror);
        if (changed(7))
            kq::setProperty(s->property(kq::EStringOptionsProperty(PWdr), kContext), d.wdr);
        if (changed(8))
            kq::setProperty(s->property(kq::ELongProperty(PGain), kContext), d.gain);
        if (changed(9))
            kq::setProperty(s->property(kq::ELongOptionsProperty(PFrameRate), kContext), d.frameRate);
        if (changed(10) || changed(11) || changed(12)) {
            for (QRadioButton* button : d.dayNight)
                kq::setProperty(s->property(kq::EStringOptionsProperty(PDayNight), kContext), button);
        }
        kq::StringMultiOptionsProperty* streams = s->property(kq::EStringMultiOptionsProperty(PStreams), kContext);
        kq::TMultiOptions<QString> option = streams->value();
        option.selectedIndices = toggledSelection(option.values, option.selectedIndices, checkedValues, uncheckedValues);
        streams->setValue(option);
        // A deleted row takes every equal entry away from each node.
        kq::StringListProperty* targets = s->property(kq::EStringListProperty(PTargets), kContext);
        QVector<QString> entries;
        for (const QString& text : targets->value()) {
            bool deleted = false;
            for (const auto& row : deletedRows)
                deleted = deleted || sameEntry(text, row.first, row.second);
            if (!deleted)
                entries << text;
        }
        targets->setValue(kq::StringListProperty::InfoType::ValueType(entries));
    }
    return copy.toJson();
}

void runOne(Input& in)
{
    // A dialog of its own for each input: nothing carries over from one
    // input to the next, so every finding replays from its input alone.
    Dialog d;
    for (const QString& kind : driven())
        check(d.track(kind), "a widget was refused");
    gTrail.clear();

    const int count = 1 + in.pick(8);
    QJsonArray nodes;
    for (int i = 0; i < count; ++i)
        nodes.append(randomNode(i, in));
    db()->clear();
    check(db()->loadJson(QJsonDocument(QJsonObject { { "nodes", nodes } }).toJson()), "the nodes do not load");
    const QStringList ids = nodeIds(count);
    for (const QString& kind : driven())
        d.fill(ids, kind);
    d.tracker->snapshot(ids);
    QCoreApplication::processEvents();
    check(!d.tracker->hasChanges(), "changes right after the snapshot");

    const QByteArray before = db()->toJson();
    const QStringList state = d.state();
    const QStringList shown = singleValueState(d);
    QMap<QString, int> listShown;
    for (int k = 0; k < d.streams->count(); ++k)
        listShown.insert(kq::propertyValue(d.streams->item(k)), d.streams->item(k)->checkState());

    const int mode = in.pick(3);
    Rows deletedRows;
    const bool edited = mode != 0 && edit(d, in, &deletedRows);
    QCoreApplication::processEvents();
    if (!edited) {
        gTrail << QStringLiteral("apply without edits");
        check(d.tracker->apply() == 0, "apply() without edits wrote nodes");
        check(db()->toJson() == before, "apply() without edits changed a node");
        return;
    }
    if (mode == 1) {
        gTrail << QStringLiteral("revert");
        d.tracker->revert();
        QCoreApplication::processEvents();
        check(d.state() == state, "revert() did not restore the snapshot",
            QStringLiteral("snapshot:\n%1\nnow:\n%2").arg(state.join('\n'), d.state().join('\n')));
        check(!d.tracker->hasChanges(), "changes after revert()");
        check(db()->toJson() == before, "revert() changed a node");
        check(d.tracker->apply() == 0 && db()->toJson() == before, "apply() after revert() wrote");
        return;
    }
    gTrail << QStringLiteral("apply");
    const QStringList now = singleValueState(d);
    const QByteArray expected = expectedAfterApply(d, before, ids, shown, now, listShown, deletedRows);
    d.tracker->apply();
    const QByteArray after = db()->toJson();
    if (after != expected) {
        const QMap<QString, QJsonObject> want = nodeObjectsOf(expected);
        const QMap<QString, QJsonObject> got = nodeObjectsOf(after);
        QString detail;
        for (const QString& id : ids) {
            const QMap<QString, QJsonObject> w = propertiesOf(want.value(id));
            const QMap<QString, QJsonObject> g = propertiesOf(got.value(id));
            for (auto it = w.begin(); it != w.end(); ++it) {
                if (g.value(it.key()) != it.value())
                    detail += QStringLiteral("%1 %2: expected %3, holds %4\n")
                                  .arg(id, it.key(), jsonText(it.value()), jsonText(g.value(it.key())));
            }
        }
        check(false, "apply() wrote something else than the model", detail);
    }
    // What the user typed, clicked and entered reached every node.
    for (const QString& id : ids) {
        const kqm::smart<kq::INodeConfigSession> s = db()->session(id);
        if (shown.at(0) != now.at(0) && !kq::isIndeterminate(d.name))
            check(s->property(kq::EStringProperty(PName), kContext)->value() == d.name->text(), "a typed name is lost");
        if (shown.at(6) != now.at(6) && d.mirror->checkState() != Qt::PartiallyChecked)
            check(s->property(kq::EBoolProperty(PMirror), kContext)->value() == d.mirror->isChecked(),
                "a check box state is lost");
        if (shown.at(8) != now.at(8) && !kq::isIndeterminate(d.gain))
            check(s->property(kq::ELongProperty(PGain), kContext)->value() == d.gain->value(), "a gain is lost");
    }
    check(!d.tracker->hasChanges(), "changes right after apply()");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_changetracker_apply";
    static char* argv[] = { name, nullptr };
    static QApplication* app = [] {
        auto* application = new QApplication(argc, argv);
        // Nodes that lack nothing log nothing worth reading at this rate.
        kq::LogQt::setLogLevel(100);
        return application;
    }();
    Q_UNUSED(app)
    Input in { data, size };
    runOne(in);
    // There is no event loop here to delete what was left for later (item
    // editors closed by typing, for instance): it goes with its input.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
