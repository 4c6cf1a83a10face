// Benchmarks of the library at dialog scale. Every case runs twice in the same
// process: the library's work, and a baseline doing the least that plain Qt
// widgets need for the same result. The table printed at the end gives both
// times and their ratio, for 100, 200 and 500 nodes where the case grows with
// the number of nodes.
#include <ConfigDialogs/ChangeTracker.h>
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/CoordinateSystem.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>
#include <kq/NodeWidget.h>

#include <benchmark/benchmark.h>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define CONFIGDIALOGS_BENCH_HAS_CALLGRIND 1
#else
#define CONFIGDIALOGS_BENCH_HAS_CALLGRIND 0
#endif

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>
#include <QListWidget>
#include <QMap>
#include <QRadioButton>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

// A case's work for one iteration, with the widgets and data it works on
// set up before.
using Iteration = std::function<void()>;

const auto kEventsId = static_cast<kq::EStringMultiOptionsProperty>(0x5001);
const auto kModeId = static_cast<kq::EStringOptionsProperty>(0x5002);
const auto kTargetsId = static_cast<kq::EStringListProperty>(0x5003);
// The single-value settings of the dialog case.
const auto kNameId = static_cast<kq::EStringProperty>(0x5004);
const auto kLedId = static_cast<kq::EBoolProperty>(0x5005);
const auto kLevelId = static_cast<kq::ELongProperty>(0x5006);
const auto kCodecId = static_cast<kq::EStringOptionsProperty>(0x5007);
const auto kRateId = static_cast<kq::EDoubleOptionsProperty>(0x5008);
const char* const kCodecs[] = { "h264", "h265", "mjpeg" };
const int kNodeCounts[] = { 100, 200, 500 };

// Deterministic, so every run measures the same data.
quint32 mix(quint32 a, quint32 b)
{
    quint32 h = a * 2654435761u ^ (b + 0x9e3779b9u + (a << 6) + (a >> 2));
    h ^= h >> 15;
    h *= 2246822519u;
    h ^= h >> 13;
    return h;
}

QString nodeId(int k) { return QStringLiteral("node-%1").arg(k, 4, 10, QLatin1Char('0')); }

// ---------------------------------------------------------------------------
// Data: one session per node in the node database, built once per node count.

// Event lists: 500 event values; every node offers 350 common ones and 50 of
// the other 150, and selects its own quarter of what it offers.
constexpr int kEventValues = 500;
constexpr int kCommonEvents = 350;
constexpr int kOwnEvents = 50;

// Combo boxes: 400 string values; every node offers 250 common ones and 50 of
// the other 150 and selects one of its own choosing.
constexpr int kModeValues = 400;
constexpr int kCommonModes = 250;
constexpr int kOwnModes = 50;

// IP/port lists: 20 entries per node, 10 shared by all and 10 of its own.
constexpr int kSharedTargets = 10;
constexpr int kOwnTargets = 10;

QString eventValue(int i) { return QStringLiteral("event-%1").arg(i, 3, 10, QLatin1Char('0')); }
QString modeValue(int i) { return QStringLiteral("mode-%1").arg(i, 3, 10, QLatin1Char('0')); }

QVector<int> ownPart(int k, int common, int total, int own)
{
    QVector<int> picked;
    const int rest = total - common;
    const int start = int(mix(k, 7) % quint32(rest));
    for (int j = 0; j < own; ++j)
        picked.append(common + (start + j) % rest);
    return picked;
}

kqm::smart<kq::MemoryConfigSession> makeSession(int k)
{
    kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession);

    kq::TMultiOptions<QString> events;
    for (int i = 0; i < kCommonEvents; ++i)
        events.values.append(eventValue(i));
    for (int i : ownPart(k, kCommonEvents, kEventValues, kOwnEvents))
        events.values.append(eventValue(i));
    for (int i = 0; i < events.values.size(); ++i) {
        if (mix(k, i) % 4 == 0)
            events.selectedIndices.append(i);
    }
    session->emplace<kq::StringMultiOptionsProperty>(
        QSharedPointer<const kq::StringMultiOptionsProperty::InfoType>::create(
            kEventsId, QStringLiteral("Events"), QStringLiteral("Events"), false),
        events);

    kq::TOptions<QString> modes;
    for (int i = 0; i < kCommonModes; ++i)
        modes.values.append(modeValue(i));
    for (int i : ownPart(k, kCommonModes, kModeValues, kOwnModes))
        modes.values.append(modeValue(i));
    modes.setSelectedIndex(int(mix(k, 3) % quint32(modes.values.size())));
    session->emplace<kq::StringOptionsProperty>(
        QSharedPointer<const kq::StringOptionsProperty::InfoType>::create(
            kModeId, QStringLiteral("Mode"), QStringLiteral("Mode"), false),
        modes);

    kq::TList<QString, kq::complexDelim> targets;
    for (int j = 0; j < kSharedTargets; ++j)
        targets.append(QStringLiteral("10.0.0.%1:%2").arg(j + 1).arg(8000 + j));
    for (int j = 0; j < kOwnTargets; ++j)
        targets.append(
            QStringLiteral("10.%1.%2.%3:%4").arg(1 + k / 250).arg(k % 250).arg(j + 1).arg(9000 + j));
    session->emplace<kq::StringListProperty>(
        QSharedPointer<const kq::StringListProperty::InfoType>::create(
            kTargetsId, QStringLiteral("Targets"), QStringLiteral("Targets"), false),
        targets);

    session->emplace<kq::StringProperty>(QSharedPointer<const kq::StringInfo>::create(
                                             kNameId, QStringLiteral("Name"), QStringLiteral("Name"), false),
        QStringLiteral("Camera %1").arg(k % 7));
    session->emplace<kq::BoolProperty>(QSharedPointer<const kq::BoolInfo>::create(
                                           kLedId, QStringLiteral("Led"), QStringLiteral("Led"), false),
        mix(k, 11) % 2 == 0);
    session->emplace<kq::LongProperty>(QSharedPointer<const kq::LongInfo>::create(kLevelId,
                                           QStringLiteral("Level"), QStringLiteral("Level"), false, 0, 100),
        qint32(mix(k, 13) % 3 * 10));
    kq::TOptions<QString> codecs;
    for (const char* codec : kCodecs)
        codecs.values.append(QLatin1String(codec));
    codecs.setSelectedIndex(int(mix(k, 17) % 3));
    session->emplace<kq::StringOptionsProperty>(
        QSharedPointer<const kq::StringOptionsProperty::InfoType>::create(
            kCodecId, QStringLiteral("Codec"), QStringLiteral("Codec"), false),
        codecs);
    kq::TOptions<double> rates({ 5.0, 10.0, 12.5, 25.0, 30.0 }, int(mix(k, 19) % 5));
    session->emplace<kq::DoubleOptionsProperty>(
        QSharedPointer<const kq::DoubleOptionsProperty::InfoType>::create(
            kRateId, QStringLiteral("Rate"), QStringLiteral("Rate"), false),
        rates);
    return session;
}

// The nodes "node-0000" .. for the largest count; smaller counts use a prefix.
const QStringList& nodes(int count)
{
    static QStringList ids;
    while (ids.size() < count) {
        const int k = ids.size();
        kq::NodeDB::getDB()->insert(nodeId(k), nodeId(k), makeSession(k));
        ids.append(nodeId(k));
    }
    static std::map<int, QStringList> prefixes;
    auto it = prefixes.find(count);
    if (it == prefixes.end())
        it = prefixes.emplace(count, ids.mid(0, count)).first;
    return it->second;
}

kqm::smart<kq::INodeConfigSession> session(const QString& id) { return kq::NodeDB::getDB()->session(id); }

// ---------------------------------------------------------------------------
// list: event list over n nodes, then the write-back for each node.

Iteration listWork(int n)
{
    const QStringList& ids = nodes(n);
    auto list = std::make_shared<QListWidget>();
    return [&ids, list] {
        kq::resetListWidget(list.get(), nullptr);
        for (const QString& id : ids)
            kq::updateListWidget(list.get(), session(id), kEventsId);
        for (const QString& id : ids)
            kq::setProperty(
                session(id)->property(kEventsId, kq::HasProperties::k_contextIndexDefault), list.get());
        benchmark::DoNotOptimize(list->count());
    };
}

// The baselines get their texts and states made beforehand, as the work
// finds them made in the sessions: formatting them is no part of filling a
// widget, and doing it inside the iteration would flatter the ratio.
Iteration listBaseline(int n)
{
    QStringList values;
    for (int i = 0; i < kEventValues; ++i)
        values.append(eventValue(i));
    QVector<Qt::CheckState> states; // node after node, one per value
    for (int k = 0; k < n; ++k) {
        for (int i = 0; i < kEventValues; ++i)
            states.append((mix(k, i) % 4 == 0) ? Qt::Checked : Qt::Unchecked);
    }
    auto widget = std::make_shared<QListWidget>();
    return [n, widget, values, states] {
        QListWidget& list = *widget;
        list.clear();
        // Each item is set up before it joins the list, so that setting it
        // up announces nothing to the list's model.
        for (const QString& value : values) {
            auto* item = new QListWidgetItem;
            item->setData(Qt::UserRole, value);
            item->setData(Qt::DisplayRole, value);
            item->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
            item->setCheckState(Qt::Unchecked);
            list.addItem(item);
        }
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < kEventValues; ++i)
                list.item(i)->setData(Qt::CheckStateRole, states.at(k * kEventValues + i));
        }
        benchmark::DoNotOptimize(list.count());
    };
}

// ---------------------------------------------------------------------------
// combo: string-option combo box over n nodes, then the write-back.

Iteration comboWork(int n)
{
    const QStringList& ids = nodes(n);
    auto widget = std::make_shared<QComboBox>();
    return [&ids, widget] {
        QComboBox& box = *widget;
        kq::resetComboBox(&box, kq::StringTranslator(nullptr));
        for (const QString& id : ids)
            kq::updateComboBox(&box, session(id), kModeId);
        for (const QString& id : ids)
            kq::setProperty(session(id), &box);
        benchmark::DoNotOptimize(box.count());
    };
}

Iteration comboBaseline(int n)
{
    QStringList values;
    for (int i = 0; i < kModeValues; ++i)
        values.append(modeValue(i));
    QStringList selected; // one per node
    for (int k = 0; k < n; ++k)
        selected.append(modeValue(int(mix(k, 3) % kModeValues)));
    auto widget = std::make_shared<QComboBox>();
    return [widget, values, selected] {
        QComboBox& box = *widget;
        box.clear();
        // The items go into the box's model in one batch, each set up
        // before it joins.
        QList<QStandardItem*> items;
        items.reserve(values.size());
        for (const QString& value : values) {
            auto* item = new QStandardItem(value);
            item->setData(value, Qt::UserRole);
            items.append(item);
        }
        static_cast<QStandardItemModel*>(box.model())->invisibleRootItem()->appendRows(items);
        for (const QString& value : selected)
            benchmark::DoNotOptimize(box.findData(value, Qt::UserRole));
        benchmark::DoNotOptimize(box.count());
    };
}

// ---------------------------------------------------------------------------
// tree: IP/port lists over n nodes, then the write-back for each node.

kq::StringListProperty* targetsOf(const QString& id)
{
    return session(id)->property(kTargetsId, kq::HasProperties::k_contextIndexDefault);
}

Iteration treeWork(int n)
{
    const QStringList& ids = nodes(n);
    auto widget = std::make_shared<kqgui::IpPortTreeWidget>();
    return [&ids, widget] {
        kqgui::IpPortTreeWidget& tree = *widget;
        tree.reset();
        for (const QString& id : ids)
            tree.update(targetsOf(id), id);
        for (const QString& id : ids)
            tree.setConfigSessionProperty(targetsOf(id), id);
        benchmark::DoNotOptimize(tree.topLevelItemCount());
    };
}

// The union of the rows, as the tree shows them after loading n nodes.
struct TreeRow {
    QString address;
    QString portText;
    int port;
    Qt::CheckState check;
};

QVector<TreeRow> treeRows(int n)
{
    QVector<TreeRow> rows;
    for (int j = 0; j < kSharedTargets; ++j)
        rows.append(
            { QStringLiteral("10.0.0.%1").arg(j + 1), QString::number(8000 + j), 8000 + j, Qt::Checked });
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < kOwnTargets; ++j)
            rows.append({ QStringLiteral("10.%1.%2.%3").arg(1 + k / 250).arg(k % 250).arg(j + 1),
                QString::number(9000 + j), 9000 + j, Qt::PartiallyChecked });
    }
    return rows;
}

// Added in one batch, the cheapest way plain Qt has to fill a tree.
void fillTree(QTreeWidget& tree, const QVector<TreeRow>& rows)
{
    tree.clear();
    QList<QTreeWidgetItem*> items;
    items.reserve(rows.size());
    for (const TreeRow& row : rows) {
        auto* item = new QTreeWidgetItem(QStringList { row.address, row.portText });
        item->setData(0, Qt::UserRole, row.address);
        item->setData(1, Qt::UserRole, row.port);
        item->setCheckState(0, row.check);
        items.append(item);
    }
    tree.addTopLevelItems(items);
}

// The same rows with the columns sized once, as the tree sizes them after
// every load (Qt's sizing to contents, the address column 20 pixels wider):
// plain Qt's cheapest way to the tree's whole result.
Iteration treeBaseline(int n)
{
    auto widget = std::make_shared<QTreeWidget>();
    widget->setColumnCount(2);
    return [widget, rows = treeRows(n)] {
        QTreeWidget& tree = *widget;
        fillTree(tree, rows);
        tree.resizeColumnToContents(0);
        tree.resizeColumnToContents(1);
        tree.setColumnWidth(0, tree.columnWidth(0) + 20);
        benchmark::DoNotOptimize(tree.columnWidth(0));
    };
}

// ---------------------------------------------------------------------------
// pane: repaint of a video-motion pane showing 64 windows over a 1920 x 1080
// frame, against the same frame painted by the live-video widget alone.

constexpr int kPaneWindows = 64;
constexpr int kRemapWindows = 1000;

kqm::smart<kq::MemoryConfigSession> frameSession(bool lensCorrection)
{
    kqm::smart<kq::MemoryConfigSession> session(new kq::MemoryConfigSession(QRectF(0, 0, 1920, 1080)));
    if (lensCorrection)
        session->setAttribute(QStringLiteral("deskew"),
            QVariantMap {
                { QStringLiteral("lensCorrection"), true }, { QStringLiteral("lensStrength"), -100 } });
    return session;
}

void showFrame(kq::NodeWidget& widget, const kqm::smart<kq::MemoryConfigSession>& session)
{
    widget.setSession(session);
    widget.setFrameRate(0);
    widget.resize(1280, 720);
    widget.advanceFrame();
}

Iteration paneWork(int)
{
    const auto session = frameSession(false);
    auto widget = std::make_shared<kqgui::VideoMotionWindowPane>();
    kqgui::VideoMotionWindowPane& pane = *widget;
    showFrame(pane, session);
    pane.setCoordinateSystem(session);
    for (int i = 0; i < kPaneWindows; ++i) {
        const int x = 20 + (i % 8) * 230, y = 20 + (i / 8) * 130;
        pane.addRect(QRect(x, y, 200, 100), Qt::white);
        pane.setThreshold(0, 10 + i, 100);
        pane.setVMSet(0, kq::EVideoMotionSet(1 + i % 2));
    }
    pane.showOnScreenDisplay(true);
    auto image = std::make_shared<QImage>(pane.size(), QImage::Format_ARGB32_Premultiplied);
    return [widget, image] {
        widget->render(image.get());
        benchmark::DoNotOptimize(image->constBits());
    };
}

Iteration paneBaseline(int)
{
    auto widget
        = std::make_shared<kq::NodeWidget>(nullptr, kq::NodeWidget::ENodeViewMode(0), QColor(120, 120, 120));
    showFrame(*widget, frameSession(false));
    auto image = std::make_shared<QImage>(widget->size(), QImage::Format_ARGB32_Premultiplied);
    return [widget, image] {
        widget->render(image.get());
        benchmark::DoNotOptimize(image->constBits());
    };
}

// ---------------------------------------------------------------------------
// remap: resizing a pane with 1000 lens-corrected polygon windows (there and
// back), against mapping the same polygons with the coordinate system alone.

QPolygon remapPolygon(int i)
{
    const int x = 40 + (i % 40) * 45, y = 40 + (i / 40) * 40;
    return QPolygon({ QPoint(x, y), QPoint(x + 30, y + 5), QPoint(x + 25, y + 30), QPoint(x + 2, y + 25) });
}

Iteration remapWork(int)
{
    const auto session = frameSession(true);
    auto widget = std::make_shared<kqgui::VideoMotionWindowPane>();
    kqgui::VideoMotionWindowPane& pane = *widget;
    showFrame(pane, session);
    pane.setCoordinateSystem(session);
    for (int i = 0; i < kRemapWindows; ++i)
        pane.addPolygon(remapPolygon(i), Qt::white);
    pane.show();
    return [widget] {
        widget->resize(1000, 600);
        widget->resize(1280, 720);
        benchmark::DoNotOptimize(widget->count());
    };
}

Iteration remapBaseline(int)
{
    const kq::SDeskewParams deskew = kq::NodeWidget::getDeskewParams(frameSession(true));
    auto coordinates = std::make_shared<kq::CoordinateSystem>();
    coordinates->setApplicationRect(QRectF(0, 0, 1920, 1080));
    coordinates->setGridSnap(QRectF(0, 0, 1.0, 1.0));
    QVector<QPolygonF> polygons;
    for (int i = 0; i < kRemapWindows; ++i)
        polygons.append(QPolygonF(remapPolygon(i)));
    return [deskew, coordinates, polygons] {
        for (const QRect& screen : { QRect(0, 0, 1000, 600), QRect(0, 0, 1280, 720) }) {
            coordinates->setScreenRect(screen);
            for (const QPolygonF& polygon : polygons)
                benchmark::DoNotOptimize(coordinates->mapToScreen(polygon, deskew));
        }
    };
}

// ---------------------------------------------------------------------------
// dialog: a dialog with every kind of bound widget over n nodes. The work is
// the update cycle, a snapshot and an Apply without edits through the change
// tracker; the baseline is the plain cycle, which writes every widget back to
// every node.

struct Dialog {
    Dialog()
    {
        for (const char* codec : kCodecs) {
            auto* button = new QRadioButton;
            kq::resetRadioButton(button, QLatin1String(codec));
            codecs.emplace_back(button);
        }
    }

    void update(const QStringList& ids)
    {
        kq::resetLineEdit(&name);
        kq::resetCheckBox(&led);
        kq::resetSpinBox(&level, 1.0, 0, 100, 0);
        kq::resetComboBox(&rate, kq::NumberTranslator(nullptr));
        for (const auto& button : codecs)
            kq::resetRadioButton(button.get(), button->property("value").toString());
        kq::resetComboBox(&mode, kq::StringTranslator(nullptr));
        kq::resetListWidget(&events, nullptr);
        tree.reset();
        for (const QString& id : ids) {
            const kqm::smart<kq::INodeConfigSession> s = session(id);
            kq::updateLineEdit(&name, s, kNameId);
            kq::updateCheckBox(&led, s, kLedId);
            kq::updateSpinBox(&level, s, kLevelId);
            kq::updateComboBox(&rate, s, kRateId, false);
            for (const auto& button : codecs)
                kq::updateRadioButton(button.get(), s, kCodecId);
            kq::updateComboBox(&mode, s, kModeId);
            kq::updateListWidget(&events, s, kEventsId);
            tree.update(targetsOf(id), id);
        }
    }

    // Writes every widget into the given sessions, one per node of ids.
    void writeBack(const QStringList& ids, const std::vector<kqm::smart<kq::MemoryConfigSession>>& into)
    {
        const int context = kq::HasProperties::k_contextIndexDefault;
        for (int k = 0; k < ids.size(); ++k) {
            kq::MemoryConfigSession* s = into.at(size_t(k)).get();
            kq::setProperty(s->property(kNameId, context), &name);
            kq::setProperty(s->property(kLedId, context), &led);
            kq::setProperty(s->property(kLevelId, context), &level);
            kq::setProperty(s->property(kRateId, context), &rate);
            for (const auto& button : codecs)
                kq::setProperty(s->property(kCodecId, context), button.get());
            kq::setProperty(s->property(kModeId, context), &mode);
            kq::setProperty(s->property(kEventsId, context), &events);
            tree.setConfigSessionProperty(s->property(kTargetsId, context), ids.at(k));
        }
    }

    void track(kqgui::ChangeTracker& tracker)
    {
        tracker.track(&name, kNameId);
        tracker.track(&led, kLedId);
        tracker.track(&level, kLevelId);
        tracker.track(&rate, kRateId);
        for (const auto& button : codecs)
            tracker.track(button.get(), kCodecId);
        tracker.track(&mode, kModeId);
        tracker.track(&events, kEventsId);
        tracker.track(&tree, kTargetsId);
    }

    QLineEdit name;
    QCheckBox led;
    QSpinBox level;
    QComboBox rate;
    std::vector<std::unique_ptr<QRadioButton>> codecs;
    QComboBox mode;
    QListWidget events;
    kqgui::IpPortTreeWidget tree;
};

Iteration dialogWork(int n)
{
    const QStringList& ids = nodes(n);
    auto dialog = std::make_shared<Dialog>();
    auto tracker = std::make_shared<kqgui::ChangeTracker>();
    dialog->track(*tracker);
    return [&ids, dialog, tracker] {
        dialog->update(ids);
        tracker->snapshot(ids);
        benchmark::DoNotOptimize(tracker->apply());
    };
}

// The baseline writes into sessions of its own, made like the nodes' ones:
// writing the merged widgets into the nodes would change the data every
// later case reads. Its first iteration brings them to what every further
// one writes again.
Iteration dialogBaseline(int n)
{
    const QStringList& ids = nodes(n);
    auto dialog = std::make_shared<Dialog>();
    std::vector<kqm::smart<kq::MemoryConfigSession>> copies;
    for (int k = 0; k < n; ++k)
        copies.push_back(makeSession(k));
    return [&ids, dialog, copies] {
        dialog->update(ids);
        dialog->writeBack(ids, copies);
    };
}

// ---------------------------------------------------------------------------
// The table of ratios.

struct Case {
    const char* name;
    Iteration (*work)(int nodes);
    Iteration (*baseline)(int nodes);
    double goal; // 0: shown for comparison, no goal
};

const Case kCases[] = {
    { "list", &listWork, &listBaseline, 3.0 },
    { "combo", &comboWork, &comboBaseline, 3.0 },
    { "tree", &treeWork, &treeBaseline, 1.3 },
    { "dialog", &dialogWork, &dialogBaseline, 1.5 },
};

// Cases that do not grow with the number of nodes.
const Case kFixedCases[] = {
    { "pane", &paneWork, &paneBaseline, 1.3 },
    { "remap", &remapWork, &remapBaseline, 1.5 },
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            // With --benchmark_repetitions the fastest repetition counts: on a
            // shared machine the slower ones measure the neighbours.
            const std::string key = run.run_name.function_name + "/" + run.run_name.args;
            const double ms = run.GetAdjustedCPUTime();
            const auto it = m_ms.find(key);
            m_ms[key] = it == m_ms.end() ? ms : std::min(it->second, ms);
        }
    }

    void printTable() const
    {
        // CPU time of the process: both sides run on one thread, and the
        // machines this runs on are often shared.
        std::printf(
            "\n| case | nodes | work (ms CPU) | baseline (ms CPU) | ratio | goal | work per node (ms) |\n");
        std::printf("|---|---|---|---|---|---|---|\n");
        for (const Case& c : kCases) {
            for (int n : kNodeCounts) {
                const double work = time(c.name, "work", n);
                const double base = time(c.name, "baseline", n);
                if (work < 0 || base < 0)
                    continue;
                std::printf("| %s | %d | %.2f | %.2f | %.2f | %s | %.3f |\n", c.name, n, work, base,
                    work / base, goalText(c.goal).c_str(), work / n);
            }
        }
        for (const Case& c : kFixedCases) {
            const double work = time(c.name, "work", 0);
            const double base = time(c.name, "baseline", 0);
            if (work >= 0 && base >= 0)
                std::printf("| %s | - | %.2f | %.2f | %.2f | %s | - |\n", c.name, work, base, work / base,
                    goalText(c.goal).c_str());
        }
    }

private:
    static std::string goalText(double goal)
    {
        char text[32];
        std::snprintf(text, sizeof text, "<= %.1f", goal);
        return goal > 0 ? text : "-";
    }
    double time(const char* name, const char* kind, int n) const
    {
        const auto it = m_ms.find(std::string(name) + "/" + kind + "/" + std::to_string(n));
        return it == m_ms.end() ? -1.0 : it->second;
    }
    std::map<std::string, double> m_ms;
};

// Runs one case under Google Benchmark: the set-up once, then iterations.
void measure(benchmark::State& state, Iteration (*make)(int))
{
    const Iteration once = make(int(state.range(0)));
    for (auto _ : state)
        once();
}

// All cases as (name, nodes, work or baseline) in the order of the table.
template <class Visit> void forEachRun(Visit visit)
{
    for (const Case& c : kCases) {
        for (int n : kNodeCounts) {
            visit(c.name, n, "work", c.work);
            visit(c.name, n, "baseline", c.baseline);
        }
    }
    for (const Case& c : kFixedCases) {
        visit(c.name, 0, "work", c.work);
        visit(c.name, 0, "baseline", c.baseline);
    }
}

// The number of iterations counted per case in --instructions mode.
constexpr int kCountedIterations = 3;

// --instructions [part of a case name]: under callgrind (valgrind --tool=callgrind
// --collect-atstart=no), runs each case once to warm caches, then
// kCountedIterations times with collection on, and has callgrind write one
// profile per case named "case/kind/nodes". scripts/bench-instructions.sh
// runs this and prints the table of instruction counts, which unlike times
// do not depend on what else runs on the machine.
int countInstructions(const std::string& filter)
{
#if CONFIGDIALOGS_BENCH_HAS_CALLGRIND
    if (!RUNNING_ON_VALGRIND) {
        std::fprintf(stderr,
            "--instructions counts under callgrind: run scripts/bench-instructions.sh, or\n"
            "valgrind --tool=callgrind --collect-atstart=no configdialogs_bench --instructions\n");
        return 2;
    }
    forEachRun([&filter](const char* name, int n, const char* kind, Iteration (*make)(int)) {
        const std::string label = std::string(name) + "/" + kind + "/" + std::to_string(n);
        if (label.find(filter) == std::string::npos)
            return;
        const Iteration once = make(n);
        once();
        CALLGRIND_ZERO_STATS;
        CALLGRIND_TOGGLE_COLLECT;
        for (int i = 0; i < kCountedIterations; ++i)
            once();
        CALLGRIND_TOGGLE_COLLECT;
        CALLGRIND_DUMP_STATS_AT(label.c_str());
        std::printf("counted %s\n", label.c_str());
    });
    return 0;
#else
    std::fprintf(stderr, "--instructions needs valgrind's headers (Debian: valgrind) at build time\n");
    return 2;
#endif
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc >= 2 && std::strcmp(argv[1], "--instructions") == 0)
        return countInstructions(argc >= 3 ? argv[2] : "");

    benchmark::Initialize(&argc, argv);
    forEachRun([](const char* name, int n, const char* kind, Iteration (*make)(int)) {
        benchmark::RegisterBenchmark((std::string(name) + "/" + kind).c_str(),
            [make](benchmark::State& state) { measure(state, make); })
            ->Arg(n)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.3);
    });
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable();
    benchmark::Shutdown();
    return 0;
}
