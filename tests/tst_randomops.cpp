// Random operation sequences on the IP/port tree, checked after every step.
// Each sequence is seeded; a failure names its seed and step, and setting
// KQ_RANDOMOPS_SEED replays one seed alone. Under the sanitizer build the
// same sequences are checked for memory errors and leaks.
#define QTEST_QPA_MOUSE_HANDLING
#include <QtTest>

#include "ipporttree_testsupport.h"
#include "panes_testsupport.h"
#include "pixels_testsupport.h"

#include <ConfigDialogs/VideoMotionWindowPane.h>
#include <kq/CoordinateSystem.h>
#include <kq/NodeWidget.h>
#include <kq/OnScreenDisplay.h>

#include <QApplication>
#include <QMap>
#include <QPainter>
#include <QRandomGenerator>
#include <QTimer>
#include <QTreeWidgetItemIterator>

using kqgui::IpPortTreeWidget;
using Entry = IpPortTreeWidget::Entry;

namespace {

const QStringList kNodes { QStringLiteral("rnd-a"), QStringLiteral("rnd-b"), QStringLiteral("rnd-c") };

Entry committedEntry(const QTreeWidgetItem* row)
{
    return { row->data(0, Qt::UserRole).toString(), row->data(1, Qt::UserRole).toInt() };
}

bool hasPlaceholder(const QTreeWidgetItem* row)
{
    return row->text(0) == QLatin1String("<Ip>") || row->text(1) == QLatin1String("<Port>");
}

// Closes a warning box that an edit may open, from inside its event loop.
void closeWarningSoon()
{
    QTimer::singleShot(0, [] {
        if (QWidget* box = QApplication::activeModalWidget())
            box->close();
    });
}

class Sequence {
public:
    explicit Sequence(quint32 seed)
        : m_seed(seed)
        , m_random(seed)
    {
    }

    // Runs `steps` random operations; answers an empty string, or what went
    // wrong and where.
    QString run(int steps)
    {
        for (m_step = 0; m_step < steps; ++m_step) {
            operate();
            const QString problem = invariantProblem();
            if (!problem.isEmpty())
                return QStringLiteral("seed %1, step %2 (%3): %4")
                    .arg(m_seed)
                    .arg(m_step)
                    .arg(m_last, problem);
        }
        return QString();
    }

private:
    int pick(int n) { return n <= 0 ? 0 : int(m_random.bounded(quint32(n))); }

    QString randomAddress()
    {
        // A small pool, so that nodes share entries; 127.0.0.1 can become
        // the master row.
        static const QStringList pool { QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.2"),
            QStringLiteral("010.0.0.1"), QStringLiteral("127.0.0.1"), QStringLiteral("192.168.1.7"),
            QString() };
        return pool.at(pick(pool.size()));
    }

    QString randomEntryText()
    {
        switch (pick(8)) {
        case 0:
            return QStringLiteral("a:b:c");
        case 1:
            return randomAddress() + QStringLiteral("%3A") + QString::number(80 + pick(3));
        case 2:
            return randomAddress() + QStringLiteral(":x");
        default:
            return randomAddress() + QLatin1Char(':') + QString::number(80 + pick(3));
        }
    }

    QTreeWidgetItem* randomRow()
    {
        const int n = m_tree.topLevelItemCount();
        return n ? m_tree.topLevelItem(pick(n)) : nullptr;
    }

    void randomSelection()
    {
        m_tree.clearSelection();
        for (int i = 0; i < m_tree.topLevelItemCount(); ++i) {
            if (pick(3) == 0)
                m_tree.topLevelItem(i)->setSelected(true);
        }
    }

    void operate()
    {
        // Any change to a row's data can reach the check after an edit, which
        // may warn about the row's texts.
        closeWarningSoon();
        switch (pick(11)) {
        case 0:
        case 1: {
            const QString node = kNodes.at(pick(kNodes.size()));
            QStringList texts;
            for (int i = pick(6); i > 0; --i)
                texts.append(randomEntryText());
            m_last = QStringLiteral("update %1 with [%2]").arg(node, texts.join(QLatin1Char(' ')));
            const auto list = kqtest::makeTargets(texts);
            m_tree.update(list.get(), node);
            remember(node, texts);
            break;
        }
        case 2: {
            QTreeWidgetItem* row = randomRow();
            if (!row)
                break;
            const int column = pick(2);
            QString text;
            if (column == 0)
                text = pick(5) == 0 ? QStringLiteral("999.1.1.1") : randomAddress();
            else
                text = pick(5) == 0 ? QStringLiteral("70000") : QString::number(80 + pick(3));
            m_last = QStringLiteral("edit row %1 column %2 to '%3'")
                         .arg(m_tree.indexOfTopLevelItem(row))
                         .arg(column)
                         .arg(text);
            row->setText(column, text);
            break;
        }
        case 3:
            m_last = QStringLiteral("insert");
            m_tree.insertItem();
            break;
        case 4:
            randomSelection();
            m_last = QStringLiteral("remove %1 rows").arg(m_tree.selectedItems().size());
            m_tree.removeItem();
            break;
        case 5:
            randomSelection();
            m_last = QStringLiteral("up");
            m_tree.upItem();
            break;
        case 6:
            randomSelection();
            m_last = QStringLiteral("down");
            m_tree.downItem();
            break;
        case 7:
            if (QTreeWidgetItem* row = randomRow()) {
                m_last = QStringLiteral("master row %1").arg(m_tree.indexOfTopLevelItem(row));
                m_tree.setAsMaster(row);
            }
            break;
        case 8:
            if (QTreeWidgetItem* row = randomRow()) {
                m_last = QStringLiteral("check row %1").arg(m_tree.indexOfTopLevelItem(row));
                row->setCheckState(0, Qt::CheckState(pick(3)));
            }
            break;
        case 9:
            if (pick(4) == 0) {
                m_last = QStringLiteral("reset");
                m_tree.reset();
                m_loaded.clear();
            }
            break;
        default: {
            const QString node
                = pick(4) == 0 ? QStringLiteral("rnd-never-loaded") : kNodes.at(pick(kNodes.size()));
            m_last = QStringLiteral("write back %1").arg(node);
            writeBack(node);
            break;
        }
        }
    }

    void remember(const QString& node, const QStringList& texts)
    {
        QList<Entry> entries;
        for (QString text : texts) {
            const QStringList parts = IpPortTreeWidget::splitIpPort(text);
            if (parts.size() == 2)
                entries.append(Entry(parts.at(0), parts.at(1).toInt(nullptr, 10)));
        }
        m_loaded.insert(node, entries);
        m_checkLoad = true;
    }

    // The write-back compared with a plain walk over the rows.
    void writeBack(const QString& node)
    {
        QStringList expected;
        for (QTreeWidgetItemIterator it(&m_tree); *it; ++it) {
            const QTreeWidgetItem* row = *it;
            if (hasPlaceholder(row))
                continue;
            const Entry entry = committedEntry(row);
            const int state = row->data(0, Qt::CheckStateRole).toInt();
            if (state == Qt::Checked || (state == Qt::PartiallyChecked && m_loaded[node].contains(entry)))
                expected.append(entry.first + QLatin1Char(':') + QString::number(entry.second));
        }
        const auto list = kqtest::makeTargets({ QStringLiteral("old:1") });
        m_tree.setConfigSessionProperty(list.get(), node);
        m_written = QStringList(list->value().toList());
        m_expectedWritten = expected;
        m_checkWrite = true;
    }

    QString invariantProblem()
    {
        // The master row is a row of the tree or none, and fetchPort() gives
        // its committed port.
        int marked = 0;
        for (int i = 0; i < m_tree.topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = m_tree.topLevelItem(i);
            if (row->data(1, Qt::ToolTipRole).toString().isEmpty())
                continue;
            ++marked;
            if (m_tree.fetchPort() != row->data(1, Qt::UserRole).toInt())
                return QStringLiteral("fetchPort() %1 but the master row's port is %2")
                    .arg(m_tree.fetchPort())
                    .arg(row->data(1, Qt::UserRole).toInt());
        }
        if (marked > 1)
            return QStringLiteral("%1 rows marked as master").arg(marked);

        if (m_checkWrite) {
            m_checkWrite = false;
            if (m_written != m_expectedWritten)
                return QStringLiteral("wrote [%1], expected [%2]")
                    .arg(m_written.join(QLatin1Char(' ')), m_expectedWritten.join(QLatin1Char(' ')));
            for (QString entry : m_written) {
                const QStringList parts = IpPortTreeWidget::splitIpPort(entry);
                if (parts.size() != 2 || QString::number(parts.at(1).toInt()) != parts.at(1))
                    return QStringLiteral("wrote the malformed entry '%1'").arg(entry);
            }
        }

        // After a load, the coverage follows from the loaded lists alone: the
        // first row of an entry every loaded node holds is checked, every
        // other row partially checked.
        if (m_checkLoad && m_tree.isEnabled()) {
            m_checkLoad = false;
            QSet<Entry> seen;
            for (QTreeWidgetItemIterator it(&m_tree); *it; ++it) {
                const Entry entry = committedEntry(*it);
                bool common = !m_loaded.isEmpty();
                for (const QList<Entry>& entries : qAsConst(m_loaded))
                    common = common && entries.contains(entry);
                const Qt::CheckState expected
                    = common && !seen.contains(entry) ? Qt::Checked : Qt::PartiallyChecked;
                seen.insert(entry);
                if ((*it)->checkState(0) != expected)
                    return QStringLiteral("row %1 (%2:%3) is %4, expected %5")
                        .arg(m_tree.indexOfTopLevelItem(*it))
                        .arg(entry.first)
                        .arg(entry.second)
                        .arg(int((*it)->checkState(0)))
                        .arg(int(expected));
            }
        }
        return QString();
    }

    quint32 m_seed;
    QRandomGenerator m_random;
    int m_step = 0;
    QString m_last;
    IpPortTreeWidget m_tree;
    // The lists loaded per node since the last reset, as the tree remembers
    // them (a write-back for a node never loaded remembers an empty list
    // when a row is partially checked).
    QMap<QString, QList<Entry>> m_loaded;
    bool m_checkLoad = false;
    bool m_checkWrite = false;
    QStringList m_written;
    QStringList m_expectedWritten;
};

// Random operations on a video-motion pane: windows added, selected, moved,
// resized and deleted, the camera's lens correction changed, the pane
// resized. After every step each window's screen geometry is what the
// coordinate system makes of its application geometry (to a pixel or two of
// rounding and grid snap), the pane's windows are the display's rectangle
// controls of the pane, newest first, and the pane rendered as usual (each
// window drawing the picture it keeps of itself while it looks the same)
// shows what drawing every window anew shows.
class PaneSequence {
public:
    PaneSequence(quint32 seed, const QString& video)
        : m_seed(seed)
        , m_random(seed)
        , m_mouse(&m_pane)
        , m_video(video)
    {
    }

    QString run(int steps)
    {
        if (!kqtest::showPane(&m_pane))
            return QStringLiteral("the pane was never shown");
        m_session = new kq::MemoryConfigSession(QRectF(0, 0, 800, 600));
        // A still picture: the video is the same in every rendering.
        m_session->setAttribute(QStringLiteral("video"), m_video);
        m_pane.setCoordinateSystem(kqm::smart<kq::INodeConfigSession>(m_session));
        m_pane.showOnScreenDisplay(true);
        for (int step = 0; step < steps; ++step) {
            operate();
            // Window-system events (a top-level pane's resize among them)
            // arrive through the event loop, as they would for a user.
            QCoreApplication::processEvents();
            kqtest::flushDeletes();
            QString problem = invariantProblem();
            if (problem.isEmpty())
                problem = pictureProblem();
            if (!problem.isEmpty())
                return QStringLiteral("seed %1, step %2 (%3): %4").arg(m_seed).arg(step).arg(m_last, problem);
        }
        m_pane.removeAll();
        kqtest::flushDeletes();
        return m_pane.count() == 0 ? QString()
                                   : QStringLiteral("seed %1: windows left after removeAll()").arg(m_seed);
    }

private:
    int pick(int n) { return n <= 0 ? 0 : int(m_random.bounded(quint32(n))); }

    kq::OnScreenRectControl* randomWindow()
    {
        const int n = m_pane.count();
        return n ? m_pane.childAt(pick(n)) : nullptr;
    }

    void operate()
    {
        switch (pick(9)) {
        case 0: {
            const QRect r(pick(700), pick(500), 10 + pick(90), 10 + pick(90));
            m_last = QStringLiteral("add rect");
            m_pane.addRect(r, Qt::white);
            break;
        }
        case 1: {
            const int x = pick(700), y = pick(500);
            m_last = QStringLiteral("add polygon");
            m_pane.addPolygon(QPolygon({ QPoint(x, y), QPoint(x + 10 + pick(80), y + pick(20)),
                                  QPoint(x + pick(40), y + 10 + pick(80)) }),
                Qt::white);
            break;
        }
        case 2:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("select");
                m_mouse.click(window->rect().center());
            }
            break;
        case 3:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("move");
                const QPoint from = window->rect().center();
                m_mouse.drag(from, from + QPoint(pick(81) - 40, pick(81) - 40));
            }
            break;
        case 4:
            if (m_pane.count() > 0) {
                const int i = pick(m_pane.count());
                m_last = QStringLiteral("resize window %1").arg(i);
                m_pane.applicationRectAt(i)->setGeometry(
                    QRectF(pick(600), pick(400), 20 + pick(150), 20 + pick(150)));
            }
            break;
        case 5:
            if (kq::OnScreenRectControl* window = randomWindow()) {
                m_last = QStringLiteral("delete");
                kq::OnScreenPushControl* button = kqtest::deleteButtonOf(&m_pane, window);
                if (button && button->isShown())
                    m_mouse.click(button->area().center());
            }
            break;
        case 6: {
            static const int strengths[] = { -50, -100, -150 };
            const int strength = strengths[pick(3)];
            m_last = QStringLiteral("lens strength %1").arg(strength);
            m_session->setAttribute(QStringLiteral("deskew"),
                QVariantMap { { QStringLiteral("lensCorrection"), true },
                    { QStringLiteral("lensStrength"), strength } });
            QMetaObject::invokeMethod(&m_pane, "updateCoordinateSystem");
            break;
        }
        case 7: {
            const QSize size(200 + pick(400), 150 + pick(300));
            m_last = QStringLiteral("resize pane to %1x%2").arg(size.width()).arg(size.height());
            m_pane.resize(size);
            break;
        }
        default:
            m_last = QStringLiteral("display switched");
            m_pane.showOnScreenDisplay(pick(4) != 0);
            break;
        }
    }

    static bool near(const QPoint& a, const QPoint& b) { return (a - b).manhattanLength() <= 4; }

    // The pane rendered as usual and rendered through a painter that clips
    // (to the whole picture), which has every window draw itself anew.
    QString pictureProblem()
    {
        QImage usual(m_pane.size(), QImage::Format_ARGB32_Premultiplied);
        usual.fill(Qt::transparent);
        m_pane.render(&usual);
        QImage anew(m_pane.size(), QImage::Format_ARGB32_Premultiplied);
        anew.fill(Qt::transparent);
        QPainter painter(&anew);
        painter.setClipRect(anew.rect());
        m_pane.render(&painter);
        painter.end();
        return kqtest::pixelDifference(usual, anew, QStringLiteral("drawn anew"));
    }

    QString invariantProblem()
    {
        const kq::CoordinateSystem* cs = m_pane.coordinateSystem();
        // The image keeps its aspect ratio inside the pane.
        if (!m_pane.rect().contains(cs->screenRect()))
            return QStringLiteral("screen rectangle outside the pane");
        const int n = m_pane.count();
        if (m_pane.selected() < -1 || m_pane.selected() >= n)
            return QStringLiteral("selected() %1 with %2 windows").arg(m_pane.selected()).arg(n);
        QList<kq::OnScreenRectControl*> walked;
        for (kq::OnScreenControl* control : m_pane.onScreenDisplay()->controls()) {
            auto* window = qobject_cast<kq::OnScreenRectControl*>(control);
            if (window && window->parent() == &m_pane)
                walked << window;
        }
        if (walked.size() != n)
            return QStringLiteral("%1 windows, %2 rectangle controls of the pane").arg(n).arg(walked.size());
        for (int i = 0; i < n; ++i) {
            if (m_pane.childAt(i) != walked.at(i))
                return QStringLiteral("window %1 is not the display's rectangle control %1").arg(i);
        }
        for (int i = 0; i < n; ++i) {
            if (!m_pane.applicationRectAt(i))
                return QStringLiteral("window %1 has no application geometry").arg(i);
            if (kqgui::PanePolygonControl* polygon = m_pane.polyControlAt(i)) {
                const QPolygon screen = polygon->polygon();
                if (polygon->applicationPolygon.isEmpty() || screen.isEmpty())
                    continue; // being drawn
                const QPolygon expected = cs->mapToScreen(polygon->applicationPolygon, polygon->deskewParams);
                if (expected.size() != screen.size())
                    return QStringLiteral("polygon %1 has %2 points on screen, %3 mapped")
                        .arg(i)
                        .arg(screen.size())
                        .arg(expected.size());
                for (int k = 0; k < screen.size(); ++k) {
                    if (!near(screen.at(k), expected.at(k)))
                        return QStringLiteral("polygon %1 point %2 at (%3,%4) on screen, (%5,%6) mapped")
                            .arg(i)
                            .arg(k)
                            .arg(screen.at(k).x())
                            .arg(screen.at(k).y())
                            .arg(expected.at(k).x())
                            .arg(expected.at(k).y());
                }
            } else if (kqgui::PaneRectControl* rect = m_pane.rectControlAt(i)) {
                const QRect screen = rect->rect();
                if (screen.isNull() || rect->applicationRect.isNull())
                    continue; // being drawn
                const QRect expected = cs->mapToScreen(rect->applicationRect);
                if (!near(screen.topLeft(), expected.topLeft())
                    || !near(screen.bottomRight(), expected.bottomRight()))
                    return QStringLiteral("rect %1 at (%2,%3 %4x%5) on screen, (%6,%7 %8x%9) mapped")
                        .arg(i)
                        .arg(screen.x())
                        .arg(screen.y())
                        .arg(screen.width())
                        .arg(screen.height())
                        .arg(expected.x())
                        .arg(expected.y())
                        .arg(expected.width())
                        .arg(expected.height());
            } else {
                return QStringLiteral("window %1 is of no known kind").arg(i);
            }
        }
        return QString();
    }

    quint32 m_seed;
    QRandomGenerator m_random;
    kqgui::VideoMotionWindowPane m_pane;
    kqtest::PaneMouse m_mouse;
    kq::MemoryConfigSession* m_session = nullptr;
    QString m_last;
    QString m_video;
};

} // namespace

class TestRandomOps : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { kqtest::insertNodes(kNodes); }

    void ipPortTree_data()
    {
        QTest::addColumn<quint32>("seed");
        bool ok = false;
        const quint32 chosen = qEnvironmentVariable("KQ_RANDOMOPS_SEED").toUInt(&ok);
        if (ok) {
            QTest::addRow("seed %u", chosen) << chosen;
            return;
        }
        for (quint32 seed = 1; seed <= 24; ++seed)
            QTest::addRow("seed %u", seed) << seed;
    }

    void paneWindows_data() { ipPortTree_data(); }

    void paneWindows()
    {
        QFETCH(quint32, seed);
        QTemporaryDir dir;
        const QString video = dir.filePath(QStringLiteral("video.png"));
        QVERIFY(dir.isValid() && kqtest::stripedPicture().save(video));
        PaneSequence sequence(seed, video);
        const QString problem = sequence.run(120);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }

    void ipPortTree()
    {
        QFETCH(quint32, seed);
        Sequence sequence(seed);
        const QString problem = sequence.run(250);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }
};

QTEST_MAIN(TestRandomOps)
#include "tst_randomops.moc"
