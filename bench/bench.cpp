// Benchmarks of the library at dialog scale. Every case runs twice in the same
// process: the library's work, and a baseline doing the least that plain Qt
// widgets need for the same result. The table printed at the end gives both
// times and their ratio, for 100, 200 and 500 nodes where the case grows with
// the number of nodes.
#include <ConfigDialogs/IpPortTreeWidget.h>
#include <ConfigDialogs/PropertyWidgets.h>
#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/CoordinateSystem.h>
#include <kq/MemoryConfigSession.h>
#include <kq/NodeDB.h>
#include <kq/NodeWidget.h>

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QComboBox>
#include <QImage>
#include <QListWidget>
#include <QMap>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

const auto kEventsId = static_cast<kq::EStringMultiOptionsProperty>(0x5001);
const auto kModeId = static_cast<kq::EStringOptionsProperty>(0x5002);
const auto kTargetsId = static_cast<kq::EStringListProperty>(0x5003);
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

void listWork(benchmark::State& state)
{
    const QStringList& ids = nodes(int(state.range(0)));
    QListWidget list;
    for (auto _ : state) {
        kq::resetListWidget(&list, nullptr);
        for (const QString& id : ids)
            kq::updateListWidget(&list, session(id), kEventsId);
        for (const QString& id : ids)
            kq::setProperty(
                session(id)->property(kEventsId, kq::HasProperties::k_contextIndexDefault), &list);
        benchmark::DoNotOptimize(list.count());
    }
}

void listBaseline(benchmark::State& state)
{
    const int n = int(state.range(0));
    QListWidget list;
    for (auto _ : state) {
        list.clear();
        for (int i = 0; i < kEventValues; ++i) {
            auto* item = new QListWidgetItem(&list);
            item->setData(Qt::UserRole, eventValue(i));
            item->setData(Qt::DisplayRole, eventValue(i));
            item->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
            item->setCheckState(Qt::Unchecked);
        }
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < kEventValues; ++i)
                list.item(i)->setData(Qt::CheckStateRole, (mix(k, i) % 4 == 0) ? Qt::Checked : Qt::Unchecked);
        }
        benchmark::DoNotOptimize(list.count());
    }
}

// ---------------------------------------------------------------------------
// combo: string-option combo box over n nodes, then the write-back.

void comboWork(benchmark::State& state)
{
    const QStringList& ids = nodes(int(state.range(0)));
    QComboBox box;
    for (auto _ : state) {
        kq::resetComboBox(&box, kq::StringTranslator(nullptr));
        for (const QString& id : ids)
            kq::updateComboBox(&box, session(id), kModeId);
        for (const QString& id : ids)
            kq::setProperty(session(id), &box);
        benchmark::DoNotOptimize(box.count());
    }
}

void comboBaseline(benchmark::State& state)
{
    const int n = int(state.range(0));
    QComboBox box;
    for (auto _ : state) {
        box.clear();
        for (int i = 0; i < kModeValues; ++i)
            box.addItem(modeValue(i), modeValue(i));
        for (int k = 0; k < n; ++k)
            benchmark::DoNotOptimize(box.findData(modeValue(int(mix(k, 3) % kModeValues)), Qt::UserRole));
        benchmark::DoNotOptimize(box.count());
    }
}

// ---------------------------------------------------------------------------
// tree: IP/port lists over n nodes, then the write-back for each node.

kq::StringListProperty* targetsOf(const QString& id)
{
    return session(id)->property(kTargetsId, kq::HasProperties::k_contextIndexDefault);
}

void treeWork(benchmark::State& state)
{
    const QStringList& ids = nodes(int(state.range(0)));
    kqgui::IpPortTreeWidget tree;
    for (auto _ : state) {
        tree.reset();
        for (const QString& id : ids)
            tree.update(targetsOf(id), id);
        for (const QString& id : ids)
            tree.setConfigSessionProperty(targetsOf(id), id);
        benchmark::DoNotOptimize(tree.topLevelItemCount());
    }
}

void treeBaseline(benchmark::State& state)
{
    const int n = int(state.range(0));
    QTreeWidget tree;
    tree.setColumnCount(2);
    for (auto _ : state) {
        tree.clear();
        auto addRow = [&](const QString& address, int port, Qt::CheckState check) {
            auto* row = new QTreeWidgetItem(QStringList { address, QString::number(port) });
            row->setData(0, Qt::UserRole, address);
            row->setData(1, Qt::UserRole, port);
            row->setCheckState(0, check);
            tree.addTopLevelItem(row);
        };
        for (int j = 0; j < kSharedTargets; ++j)
            addRow(QStringLiteral("10.0.0.%1").arg(j + 1), 8000 + j, Qt::Checked);
        for (int k = 0; k < n; ++k) {
            for (int j = 0; j < kOwnTargets; ++j)
                addRow(QStringLiteral("10.%1.%2.%3").arg(1 + k / 250).arg(k % 250).arg(j + 1), 9000 + j,
                    Qt::PartiallyChecked);
        }
        benchmark::DoNotOptimize(tree.topLevelItemCount());
    }
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

void paneWork(benchmark::State& state)
{
    const auto session = frameSession(false);
    kqgui::VideoMotionWindowPane pane;
    showFrame(pane, session);
    pane.setCoordinateSystem(session);
    for (int i = 0; i < kPaneWindows; ++i) {
        const int x = 20 + (i % 8) * 230, y = 20 + (i / 8) * 130;
        pane.addRect(QRect(x, y, 200, 100), Qt::white);
        pane.setThreshold(0, 10 + i, 100);
        pane.setVMSet(0, kq::EVideoMotionSet(1 + i % 2));
    }
    pane.showOnScreenDisplay(true);
    QImage image(pane.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        pane.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
}

void paneBaseline(benchmark::State& state)
{
    kq::NodeWidget widget(nullptr, kq::NodeWidget::ENodeViewMode(0), QColor(120, 120, 120));
    showFrame(widget, frameSession(false));
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        widget.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
}

// ---------------------------------------------------------------------------
// remap: resizing a pane with 1000 lens-corrected polygon windows (there and
// back), against mapping the same polygons with the coordinate system alone.

QPolygon remapPolygon(int i)
{
    const int x = 40 + (i % 40) * 45, y = 40 + (i / 40) * 40;
    return QPolygon({ QPoint(x, y), QPoint(x + 30, y + 5), QPoint(x + 25, y + 30), QPoint(x + 2, y + 25) });
}

void remapWork(benchmark::State& state)
{
    const auto session = frameSession(true);
    kqgui::VideoMotionWindowPane pane;
    showFrame(pane, session);
    pane.setCoordinateSystem(session);
    for (int i = 0; i < kRemapWindows; ++i)
        pane.addPolygon(remapPolygon(i), Qt::white);
    pane.show();
    for (auto _ : state) {
        pane.resize(1000, 600);
        pane.resize(1280, 720);
    }
    benchmark::DoNotOptimize(pane.count());
}

void remapBaseline(benchmark::State& state)
{
    const kq::SDeskewParams deskew = kq::NodeWidget::getDeskewParams(frameSession(true));
    kq::CoordinateSystem coordinates;
    coordinates.setApplicationRect(QRectF(0, 0, 1920, 1080));
    coordinates.setGridSnap(QRectF(0, 0, 1.0, 1.0));
    QVector<QPolygonF> polygons;
    for (int i = 0; i < kRemapWindows; ++i)
        polygons.append(QPolygonF(remapPolygon(i)));
    for (auto _ : state) {
        for (const QRect& screen : { QRect(0, 0, 1000, 600), QRect(0, 0, 1280, 720) }) {
            coordinates.setScreenRect(screen);
            for (const QPolygonF& polygon : qAsConst(polygons))
                benchmark::DoNotOptimize(coordinates.mapToScreen(polygon, deskew));
        }
    }
}

// ---------------------------------------------------------------------------
// The table of ratios.

struct Case {
    const char* name;
    void (*work)(benchmark::State&);
    void (*baseline)(benchmark::State&);
    double goal;
};

const Case kCases[] = {
    { "list", &listWork, &listBaseline, 3.0 },
    { "combo", &comboWork, &comboBaseline, 3.0 },
    { "tree", &treeWork, &treeBaseline, 3.0 },
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
                std::printf("| %s | %d | %.2f | %.2f | %.2f | %s%.1f | %.3f |\n", c.name, n, work, base,
                    work / base, "<= ", c.goal, work / n);
            }
        }
        for (const Case& c : kFixedCases) {
            const double work = time(c.name, "work", 0);
            const double base = time(c.name, "baseline", 0);
            if (work >= 0 && base >= 0)
                std::printf("| %s | - | %.2f | %.2f | %.2f | <= %.1f | - |\n", c.name, work, base,
                    work / base, c.goal);
        }
    }

private:
    double time(const char* name, const char* kind, int n) const
    {
        const auto it = m_ms.find(std::string(name) + "/" + kind + "/" + std::to_string(n));
        return it == m_ms.end() ? -1.0 : it->second;
    }
    std::map<std::string, double> m_ms;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    for (const Case& c : kCases) {
        for (int n : kNodeCounts) {
            for (const auto& kind :
                { std::make_pair("work", c.work), std::make_pair("baseline", c.baseline) }) {
                benchmark::RegisterBenchmark((std::string(c.name) + "/" + kind.first).c_str(), kind.second)
                    ->Arg(n)
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.3);
            }
        }
    }
    for (const Case& c : kFixedCases) {
        for (const auto& kind : { std::make_pair("work", c.work), std::make_pair("baseline", c.baseline) }) {
            benchmark::RegisterBenchmark((std::string(c.name) + "/" + kind.first).c_str(), kind.second)
                ->Arg(0)
                ->Unit(benchmark::kMillisecond)
                ->MinTime(0.3);
        }
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable();
    benchmark::Shutdown();
    return 0;
}
