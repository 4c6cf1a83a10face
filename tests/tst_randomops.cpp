// Random operation sequences on the IP/port tree, checked after every step.
// Each sequence is seeded; a failure names its seed and step, and setting
// KQ_RANDOMOPS_SEED replays one seed alone. Under the sanitizer build the
// same sequences are checked for memory errors and leaks.
#include "ipporttree_testsupport.h"

#include <QApplication>
#include <QMap>
#include <QRandomGenerator>
#include <QTimer>
#include <QTreeWidgetItemIterator>
#include <QtTest>

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
