// The IP/port tree's column widths straight after update(): what Qt's own
// sizing (resizeColumnToContents() on both columns, the address column then
// 20 pixels wider) gives the same tree at that moment, read before any event
// or other call.
#include <ConfigDialogs/IpPortTreeWidget.h>

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QStyleFactory>
#include <QStyledItemDelegate>
#include <QtTest>

#include "ipporttree_testsupport.h"

#include <memory>
#include <utility>
#include <vector>

using kqgui::IpPortTreeWidget;
using Lists = std::vector<std::unique_ptr<IpPortTreeWidget::ListProperty>>;

namespace {

const int kNodes = 200;

QString nodeId(int k) { return QStringLiteral("columns-%1").arg(k); }

// Node k's list: an entry all nodes share, then `own` entries of its own
// whose addresses and ports differ in length from row to row, so that the
// widest cell of a column turns up anywhere.
QStringList entriesOf(int k, int own)
{
    QStringList entries { QStringLiteral("10.0.0.1:80") };
    for (int j = 0; j < own; ++j) {
        const int spread = (k * 37 + j * 11) % 250;
        entries.append(QStringLiteral("%1.%2.%3.%4:%5")
                           .arg(1 + spread % 3 * 90)
                           .arg(k % 250)
                           .arg(j * 40 % 250)
                           .arg(spread)
                           .arg(1 + (k * 131 + j * 977) % (spread % 4 == 0 ? 65000 : 900)));
    }
    return entries;
}

std::unique_ptr<IpPortTreeWidget::ListProperty> load(IpPortTreeWidget& tree, int k, int own)
{
    auto list = kqtest::makeTargets(entriesOf(k, own));
    tree.update(list.get(), nodeId(k));
    return list;
}

// Loads `nodes` nodes of six entries of their own, gives the address of
// `row` a font three times as large, the widest cell by far, and loads the
// first node again.
Lists loadWithWideRow(IpPortTreeWidget& tree, int nodes, int row)
{
    Lists lists;
    for (int k = 0; k < nodes; ++k)
        lists.push_back(load(tree, k, 6));
    QFont big = tree.font();
    big.setPointSize(big.pointSize() * 3);
    tree.topLevelItem(row)->setFont(0, big);
    lists.push_back(load(tree, 0, 6));
    return lists;
}

// Empty when the tree's widths are those Qt's sizing gives it now; else
// what differs. Leaves the tree sized by Qt.
QString differenceFromQt(QTreeWidget& tree)
{
    const int address = tree.columnWidth(0);
    const int port = tree.columnWidth(1);
    tree.resizeColumnToContents(0);
    tree.resizeColumnToContents(1);
    tree.setColumnWidth(0, tree.columnWidth(0) + 20);
    if (address == tree.columnWidth(0) && port == tree.columnWidth(1))
        return QString();
    return QStringLiteral("widths %1, %2 where Qt sizes %3, %4 (%5 rows)")
        .arg(address)
        .arg(port)
        .arg(tree.columnWidth(0))
        .arg(tree.columnWidth(1))
        .arg(tree.topLevelItemCount());
}

#define VERIFY_SIZED_AS_QT(tree)                                                                             \
    do {                                                                                                     \
        const QString difference = differenceFromQt(tree);                                                   \
        QVERIFY2(difference.isEmpty(), qPrintable(difference));                                              \
    } while (false)

// Sizes every cell its own way: wider than any text.
class WideDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override { return QSize(400, 30); }
};

// A subclass that sizes the columns itself.
class OwnSizingTree : public IpPortTreeWidget {
protected:
    int sizeHintForColumn(int column) const override { return 300 + column; }
};

// The columns `column` and "nodes", and a data row per case with a few
// rows, and another with 1200 rows (past the thousand Qt's sizing looks at).
template <class Case>
void addRowsSmallAndLarge(const char* column, const std::vector<std::pair<const char*, Case>>& cases)
{
    QTest::addColumn<Case>(column);
    QTest::addColumn<int>("nodes");
    for (const auto& c : cases) {
        QTest::newRow(c.first) << c.second << 4;
        QTest::newRow(qPrintable(QStringLiteral("%1, 1200 rows").arg(QLatin1String(c.first))))
            << c.second << kNodes;
    }
}

enum class Change { Font, StyleSheet, IconSize, Indentation, Undecorated, Style, RightToLeft, WordWrap };
enum class Extra { HiddenRow, SpannedRow, PersistentEditor, IndexWidget, RowDelegate, ColumnDelegate };

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Extra)

class TestIpPortTreeColumns : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStringList ids;
        for (int k = 0; k <= kNodes; ++k)
            ids.append(nodeId(k));
        kqtest::insertNodes(ids);
    }

    // Every few nodes (and after the last one) the widths are compared with
    // Qt's sizing; the rows run past the thousand Qt's sizing looks at.
    void sizedAsQtAfterUpdate_data()
    {
        QTest::addColumn<int>("nodes");
        QTest::addColumn<int>("own"); // entries of each node's own
        QTest::addColumn<QSize>("size"); // invalid: as constructed
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("headerHidden");
        QTest::addColumn<int>("precision"); // QHeaderView::resizeContentsPrecision()
        QTest::addColumn<int>("scroll"); // after half the nodes: 0 none, 1 halfway, 2 to the bottom
        QTest::addColumn<int>("step"); // compared after every step-th node

        const QSize none;
        const QSize small(420, 300);
        QTest::newRow("1 node") << 1 << 3 << none << false << false << 1000 << 0 << 1;
        QTest::newRow("2 nodes") << 2 << 3 << none << false << false << 1000 << 0 << 1;
        QTest::newRow("2 nodes shown") << 2 << 3 << small << true << false << 1000 << 0 << 1;
        QTest::newRow("200 nodes") << kNodes << 6 << none << false << false << 1000 << 0 << 13;
        QTest::newRow("200 nodes shown") << kNodes << 6 << small << true << false << 1000 << 0 << 13;
        QTest::newRow("200 nodes, header hidden") << kNodes << 6 << small << true << true << 1000 << 0 << 13;
        QTest::newRow("166 nodes: 997 to 1003 rows") << 167 << 6 << none << false << false << 1000 << 0 << 1;
        QTest::newRow("taller than its rows")
            << kNodes << 6 << QSize(400, 40000) << false << false << 1000 << 0 << 13;
        QTest::newRow("scrolled halfway") << kNodes << 6 << small << true << false << 1000 << 1 << 13;
        QTest::newRow("scrolled to the bottom") << kNodes << 6 << small << true << false << 1000 << 2 << 13;
        QTest::newRow("precision 10") << 20 << 3 << small << true << false << 10 << 0 << 1;
        QTest::newRow("precision 10, scrolled") << 20 << 3 << small << true << false << 10 << 1 << 1;
        QTest::newRow("precision 0") << 40 << 3 << small << true << false << 0 << 0 << 1;
        QTest::newRow("every row") << kNodes << 6 << small << true << false << -1 << 0 << 29;
    }

    void sizedAsQtAfterUpdate()
    {
        QFETCH(int, nodes);
        QFETCH(int, own);
        QFETCH(QSize, size);
        QFETCH(bool, shown);
        QFETCH(bool, headerHidden);
        QFETCH(int, precision);
        QFETCH(int, scroll);
        QFETCH(int, step);

        IpPortTreeWidget tree;
        if (size.isValid())
            tree.resize(size);
        tree.header()->setResizeContentsPrecision(precision);
        tree.setHeaderHidden(headerHidden);
        if (shown) {
            tree.show();
            QVERIFY(QTest::qWaitForWindowExposed(&tree));
        }
        Lists lists;
        for (int k = 0; k < nodes; ++k) {
            if (scroll && k == nodes / 2) {
                QCoreApplication::processEvents();
                QScrollBar* bar = tree.verticalScrollBar();
                bar->setValue(scroll == 1 ? bar->maximum() / 2 : bar->maximum());
                QVERIFY(bar->value() > 0);
            }
            lists.push_back(load(tree, k, own));
            if (k % step == 0 || k == nodes - 1)
                VERIFY_SIZED_AS_QT(tree);
        }
        QCOMPARE(tree.topLevelItemCount(), 1 + nodes * own);
    }

    // The tree resized while not shown, between loads that add rows and
    // loads that add none: the port column, stretched over what the
    // address column leaves, follows the header's width as Qt lays it out.
    void resizedWhileNotShown()
    {
        IpPortTreeWidget tree;
        Lists lists;
        for (int k = 0; k < 4; ++k)
            lists.push_back(load(tree, k, 6));
        VERIFY_SIZED_AS_QT(tree);
        for (const QSize& size : { QSize(900, 300), QSize(300, 900), QSize(500, 40) }) {
            tree.resize(size);
            lists.push_back(load(tree, 0, 6));
            VERIFY_SIZED_AS_QT(tree);
            tree.resize(size + QSize(37, 11));
            lists.push_back(load(tree, 0, 6));
            lists.push_back(load(tree, 10 + size.width() / 100, 6));
            VERIFY_SIZED_AS_QT(tree);
            lists.push_back(load(tree, 20 + size.width() / 100, 6));
            VERIFY_SIZED_AS_QT(tree);
        }
    }

    // A tree that has never held rows: the header alone decides.
    void sizedAsQtWithoutRows()
    {
        IpPortTreeWidget tree;
        auto list = kqtest::makeTargets({});
        tree.update(list.get(), nodeId(0));
        QCOMPARE(tree.topLevelItemCount(), 0);
        VERIFY_SIZED_AS_QT(tree);
        tree.setHeaderHidden(true);
        tree.update(list.get(), nodeId(0));
        VERIFY_SIZED_AS_QT(tree);
    }

    // A cell made wider behind the tree's back after it was measured: the
    // next update() measures that row again. The odd cell has the text of
    // many others, the widest of its column, so a measurement kept for its
    // look-alikes would size the column too narrow.
    void widerCellAfterLoad_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("role");
        QTest::addColumn<QVariant>("value");

        QFont big = QApplication::font();
        big.setPointSize(big.pointSize() * 3);
        QFont spaced = QApplication::font();
        spaced.setLetterSpacing(QFont::AbsoluteSpacing, 12);
        QPixmap wide(48, 8);
        wide.fill(Qt::red);

        QTest::newRow("larger font") << 1 << int(Qt::FontRole) << QVariant(big);
        QTest::newRow("letter spacing") << 1 << int(Qt::FontRole) << QVariant(spaced);
        QTest::newRow("icon") << 1 << int(Qt::DecorationRole) << QVariant(QIcon(wide));
        QTest::newRow("check box") << 1 << int(Qt::CheckStateRole) << QVariant(int(Qt::Checked));
        QTest::newRow("size hint") << 1 << int(Qt::SizeHintRole) << QVariant(QSize(260, 20));
        QTest::newRow("address font") << 0 << int(Qt::FontRole) << QVariant(big);
        QTest::newRow("address icon") << 0 << int(Qt::DecorationRole) << QVariant(QIcon(wide));
    }

    void widerCellAfterLoad()
    {
        QFETCH(int, column);
        QFETCH(int, role);
        QFETCH(QVariant, value);

        IpPortTreeWidget tree;
        tree.header()->setStretchLastSection(false);
        Lists lists;
        for (int k = 0; k < 6; ++k)
            lists.push_back(load(tree, k, 30));
        const int ordinary = tree.columnWidth(column);
        VERIFY_SIZED_AS_QT(tree);

        // Two rows with the column's widest text; the second gets the odd
        // look. The tree's own checks of an edit stay out of this.
        const QSignalBlocker blocker(&tree);
        const QString widest = column == 0 ? QStringLiteral("255.255.255.255") : QStringLiteral("65534");
        tree.topLevelItem(150)->setText(column, widest);
        QTreeWidgetItem* odd = tree.topLevelItem(151);
        odd->setText(column, widest);
        lists.push_back(load(tree, 6, 30));
        const int plain = tree.columnWidth(column);
        VERIFY_SIZED_AS_QT(tree);

        odd->setData(column, role, value);
        lists.push_back(load(tree, 7, 30));
        QVERIFY2(
            tree.columnWidth(column) > qMax(ordinary, plain), "the odd cell is the widest of its column");
        VERIFY_SIZED_AS_QT(tree);
    }

    // Rows loaded already wide (an icon on the master row's port, a larger
    // font on the tree) are measured as Qt measures them.
    void wideRowsWhenLoaded()
    {
        IpPortTreeWidget tree;
        QFont big = tree.font();
        big.setPointSize(big.pointSize() * 2);
        tree.setFont(big);
        Lists lists;
        for (int k = 0; k < 3; ++k) {
            lists.push_back(load(tree, k, 4));
            VERIFY_SIZED_AS_QT(tree);
        }
        QPixmap logo(40, 40);
        logo.fill(Qt::blue);
        tree.setAsMaster(tree.topLevelItem(2));
        tree.topLevelItem(2)->setData(1, Qt::DecorationRole, QIcon(logo));
        tree.setIconSize(QSize(40, 40));
        lists.push_back(load(tree, 3, 4));
        VERIFY_SIZED_AS_QT(tree);
    }

    // The widest row removed, or moved out of the rows Qt's sizing looks
    // at: the width shrinks to what is left.
    void widestRowGone_data()
    {
        QTest::addColumn<int>("nodes");
        QTest::addColumn<bool>("move");

        QTest::newRow("removed") << 3 << false;
        QTest::newRow("removed, 1200 rows") << kNodes << false;
        QTest::newRow("moved past the rows measured") << kNodes << true;
    }

    void widestRowGone()
    {
        QFETCH(int, nodes);
        QFETCH(bool, move);

        IpPortTreeWidget tree;
        Lists lists = loadWithWideRow(tree, nodes, 2);
        QTreeWidgetItem* widest = tree.topLevelItem(2);
        const int before = tree.columnWidth(0);
        VERIFY_SIZED_AS_QT(tree);

        if (move) {
            tree.addTopLevelItem(tree.takeTopLevelItem(tree.indexOfTopLevelItem(widest)));
        } else {
            tree.clearSelection();
            widest->setSelected(true);
            tree.removeItem();
            QCOMPARE(tree.topLevelItemCount(), 1 + nodes * 6 - 1);
        }
        lists.push_back(load(tree, 1, 6));
        QVERIFY(tree.columnWidth(0) < before);
        VERIFY_SIZED_AS_QT(tree);
    }

    // The tree's look changed between two loads.
    void lookChanged_data()
    {
        addRowsSmallAndLarge<Change>("change",
            { { "larger font", Change::Font }, { "style sheet", Change::StyleSheet },
                { "icon size", Change::IconSize }, { "indentation", Change::Indentation },
                { "root undecorated", Change::Undecorated }, { "another style", Change::Style },
                { "right to left", Change::RightToLeft }, { "word wrap", Change::WordWrap } });
    }

    void lookChanged()
    {
        QFETCH(Change, change);
        QFETCH(int, nodes);

        std::unique_ptr<QStyle> style; // outlives the tree
        IpPortTreeWidget tree;
        tree.resize(300, 200);
        QPixmap icon(16, 16);
        icon.fill(Qt::green);
        Lists lists;
        for (int k = 0; k < nodes; ++k)
            lists.push_back(load(tree, k, 6));
        for (int row : { 0, 5 })
            tree.topLevelItem(row)->setIcon(0, QIcon(icon));
        lists.push_back(load(tree, 0, 6));
        VERIFY_SIZED_AS_QT(tree);

        switch (change) {
        case Change::Font: {
            QFont larger = tree.font();
            larger.setPointSize(larger.pointSize() * 2);
            tree.setFont(larger);
            break;
        }
        case Change::StyleSheet:
            tree.setStyleSheet(QStringLiteral("QTreeView::item { padding: 0 17px; }"));
            break;
        case Change::IconSize:
            tree.setIconSize(QSize(48, 48));
            break;
        case Change::Indentation:
            tree.setIndentation(60);
            break;
        case Change::Undecorated:
            tree.setRootIsDecorated(false);
            break;
        case Change::Style:
            style.reset(QStyleFactory::create(QStringLiteral("Windows")));
            QVERIFY(style);
            tree.setStyle(style.get());
            break;
        case Change::RightToLeft:
            tree.setLayoutDirection(Qt::RightToLeft);
            break;
        case Change::WordWrap:
            tree.setWordWrap(true);
            break;
        }
        lists.push_back(load(tree, 1, 6));
        VERIFY_SIZED_AS_QT(tree);
        lists.push_back(load(tree, 2, 6));
        VERIFY_SIZED_AS_QT(tree);
    }

    // What the view keeps beside the model: hidden and spanned rows,
    // editors kept open, delegates of a row or column.
    void viewState_data()
    {
        addRowsSmallAndLarge<Extra>("extra",
            { { "hidden row", Extra::HiddenRow }, { "spanned row", Extra::SpannedRow },
                { "persistent editor", Extra::PersistentEditor }, { "index widget", Extra::IndexWidget },
                { "row delegate", Extra::RowDelegate }, { "column delegate", Extra::ColumnDelegate } });
    }

    void viewState()
    {
        QFETCH(Extra, extra);
        QFETCH(int, nodes);

        WideDelegate wide; // outlives the tree
        IpPortTreeWidget tree;
        Lists lists = loadWithWideRow(tree, nodes, 3);
        QTreeWidgetItem* row = tree.topLevelItem(3);
        VERIFY_SIZED_AS_QT(tree);

        auto* label = new QLabel(QStringLiteral("a label wider than any address in the tree"));
        switch (extra) {
        case Extra::HiddenRow:
            row->setHidden(true);
            break;
        case Extra::SpannedRow:
            row->setFirstColumnSpanned(true);
            break;
        case Extra::PersistentEditor:
            tree.openPersistentEditor(tree.topLevelItem(4), 1);
            break;
        case Extra::IndexWidget:
            tree.setItemWidget(tree.topLevelItem(4), 1, label);
            label = nullptr;
            break;
        case Extra::RowDelegate:
            // For the row the next load adds: a delegate set on a row already
            // measured is noticed only when that row is measured again.
            tree.setItemDelegateForRow(tree.topLevelItemCount(), &wide);
            break;
        case Extra::ColumnDelegate:
            tree.setItemDelegateForColumn(1, &wide);
            break;
        }
        delete label;
        lists.push_back(load(tree, nodes, 6));
        VERIFY_SIZED_AS_QT(tree);
        tree.setItemDelegateForRow(tree.topLevelItemCount() - 6, nullptr);
        tree.setItemDelegateForColumn(1, nullptr);
        lists.push_back(load(tree, 2, 6));
        VERIFY_SIZED_AS_QT(tree);
    }

    // A subclass's own sizing is what Qt's sizing asks.
    void subclassSizesItsOwnWay()
    {
        OwnSizingTree tree;
        auto list = load(tree, 0, 3);
        QCOMPARE(tree.columnWidth(0), 320);
        VERIFY_SIZED_AS_QT(tree);
        tree.header()->setStretchLastSection(false);
        tree.update(list.get(), nodeId(0));
        QCOMPARE(tree.columnWidth(1), 301);
    }
};

QTEST_MAIN(TestIpPortTreeColumns)
#include "tst_ipporttreecolumns.moc"
