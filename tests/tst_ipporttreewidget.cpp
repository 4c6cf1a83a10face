#include <ConfigDialogs/IpPortTreeWidget.h>

#include <kq/IPAddress.h>
#include <kq/NodeDB.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTimer>
#include <QtTest>

#include "ModalBoxCloser.h"

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(QTreeWidgetItem*)

using kqgui::IpPortTreeWidget;
using ListProperty = IpPortTreeWidget::ListProperty;
using kqtest::ModalBoxCloser;

namespace {

const QString kAppName = QStringLiteral("IP port tree test");
const QString kBadAddress = QStringLiteral("You did not enter a valid IPv4 address.");
const QString kBadPort = QStringLiteral("You did not enter a valid port number!");
const QString kMasterTooltip
    = QStringLiteral("Use as port in: \"Velcor->Options->Tools->Alarm settings->Alarm messages\"");
const int kListId = 0x9000001;

std::unique_ptr<ListProperty> makeList(const QStringList& entries)
{
    auto info = QSharedPointer<const ListProperty::InfoType>::create(
        kListId, QStringLiteral("AlarmTargets"), QStringLiteral("Alarm targets"), false);
    return std::make_unique<ListProperty>(info, ListProperty::ValueType(entries.toVector()));
}

// Makes a node's list and loads it into the tree; the caller keeps the list.
std::unique_ptr<ListProperty> loadNode(
    IpPortTreeWidget& tree, const QString& nodeId, const QStringList& entries)
{
    auto property = makeList(entries);
    tree.update(property.get(), nodeId);
    return property;
}

QStringList listOf(const ListProperty& property) { return QStringList(property.value().toList()); }

// "address|port" as shown, top to bottom.
QStringList shownRows(const QTreeWidget& tree)
{
    QStringList rows;
    for (int i = 0; i < tree.topLevelItemCount(); ++i)
        rows << tree.topLevelItem(i)->text(0) + QLatin1Char('|') + tree.topLevelItem(i)->text(1);
    return rows;
}

// "address:port" as committed, top to bottom.
QStringList committedRows(const QTreeWidget& tree)
{
    QStringList rows;
    for (int i = 0; i < tree.topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = tree.topLevelItem(i);
        rows << row->data(0, Qt::UserRole).toString() + QLatin1Char(':')
                + QString::number(row->data(1, Qt::UserRole).toInt());
    }
    return rows;
}

QList<int> checkStates(const QTreeWidget& tree)
{
    QList<int> states;
    for (int i = 0; i < tree.topLevelItemCount(); ++i)
        states << tree.topLevelItem(i)->data(0, Qt::CheckStateRole).toInt();
    return states;
}

// What happened while the tree's context menu was up.
struct MenuRun {
    bool shown = false;
    QStringList texts;
    QVariantList data;
};

// Opens the tree's context menu at `pos` (viewport coordinates) with a real
// context-menu event. From a timer, clicks the action whose text is `choice`,
// or closes the menu with Escape when `choice` is empty.
MenuRun runContextMenu(IpPortTreeWidget& tree, const QPoint& pos, const QString& choice)
{
    MenuRun run;
    std::function<void()> poll = [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu) {
            QTimer::singleShot(0, &tree, poll);
            return;
        }
        run.shown = true;
        QAction* target = nullptr;
        for (QAction* action : menu->actions()) {
            run.texts << action->text();
            run.data << action->data();
            if (action->text() == choice)
                target = action;
        }
        if (target)
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(target).center());
        else
            QTest::keyClick(menu, Qt::Key_Escape);
    };
    QTimer::singleShot(0, &tree, poll);
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, tree.viewport()->mapToGlobal(pos));
    QApplication::sendEvent(tree.viewport(), &event);
    return run;
}

QPoint cellCenter(const QTreeWidget& tree, const QTreeWidgetItem* row, int column)
{
    const QRect rowRect = tree.visualItemRect(row);
    const QHeaderView* header = tree.header();
    return QPoint(
        header->sectionViewportPosition(column) + header->sectionSize(column) / 2, rowRect.center().y());
}

// Double-clicks a cell as the user would and returns the line edit that opens.
QLineEdit* openEditor(IpPortTreeWidget& tree, QTreeWidgetItem* row, int column)
{
    const QPoint pos = cellCenter(tree, row, column);
    // A double click is press, release, double-click, release.
    QTest::mouseClick(tree.viewport(), Qt::LeftButton, {}, pos);
    QTest::mouseDClick(tree.viewport(), Qt::LeftButton, {}, pos);
    QTest::mouseRelease(tree.viewport(), Qt::LeftButton, {}, pos);
    return tree.viewport()->findChild<QLineEdit*>();
}

} // namespace

class TestIpPortTreeWidget : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationName(kAppName);
        qRegisterMetaType<QTreeWidgetItem*>();
        QString error;
        QVERIFY2(
            kq::NodeDB::getDB()->loadJson(
                R"({ "nodes": [ { "id": "node-a" }, { "id": "node-b" }, { "id": "node-c" } ] })", &error),
            qPrintable(error));
        QVERIFY(!QFile::exists(QStringLiteral(":/core/velcor_logo.png")));
    }

    void init() { kq::IPAddress::setLocalAddressesOverride({}); }
    void cleanup() { kq::IPAddress::resetLocalAddressesOverride(); }

    // --- entries and the check after an edit ---

    void splitIpPort_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QStringList>("parts");

        QTest::newRow("colon") << "1.2.3.4:80" << QStringList { "1.2.3.4", "80" };
        QTest::newRow("encoded colon") << "1.2.3.4%3A80" << QStringList { "1.2.3.4", "80" };
        QTest::newRow("lower-case encoding is no separator")
            << "1.2.3.4%3a80" << QStringList { "1.2.3.4%3a80" };
        QTest::newRow("three parts") << "a:b:c" << QStringList { "a", "b", "c" };
        QTest::newRow("empty address") << ":80" << QStringList { "", "80" };
        QTest::newRow("empty port") << "1.2.3.4:" << QStringList { "1.2.3.4", "" };
        QTest::newRow("mixed separators") << "1%3A2:3" << QStringList { "1", "2", "3" };
        QTest::newRow("no separator") << "1.2.3.4" << QStringList { "1.2.3.4" };
        QTest::newRow("empty") << "" << QStringList { "" };
        QTest::newRow("blanks kept") << " 1.2.3.4 : 80 " << QStringList { " 1.2.3.4 ", " 80 " };
    }

    void splitIpPort()
    {
        QFETCH(QString, entry);
        QFETCH(QStringList, parts);

        const QString before = entry;
        QCOMPARE(IpPortTreeWidget::splitIpPort(entry), parts);
        QCOMPARE(entry, before);
    }

    void checkAfterEdit_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("warning"); // empty: accepted
        QTest::addColumn<QString>("committed");

        QTest::newRow("address plain") << 0 << "10.0.0.9"
                                       << ""
                                       << "10.0.0.9:80";
        QTest::newRow("address leading zeros") << 0 << "01.002.3.4"
                                               << ""
                                               << "01.002.3.4:80";
        QTest::newRow("address trailing blank") << 0 << "1.2.3.4 "
                                                << ""
                                                << "1.2.3.4 :80";
        QTest::newRow("address text after the match") << 0 << "10.0.0.1x"
                                                      << ""
                                                      << "10.0.0.1x:80";
        QTest::newRow("address 256 matches at 1") << 0 << "256.1.1.1" << kBadAddress << "10.0.0.1:80";
        QTest::newRow("address leading blank") << 0 << " 1.2.3.4" << kBadAddress << "10.0.0.1:80";
        QTest::newRow("address three octets") << 0 << "1.2.3" << kBadAddress << "10.0.0.1:80";
        QTest::newRow("address word") << 0 << "camera" << kBadAddress << "10.0.0.1:80";
        QTest::newRow("address empty") << 0 << "" << kBadAddress << "10.0.0.1:80";
        QTest::newRow("port 0") << 1 << "0"
                                << ""
                                << "10.0.0.1:0";
        QTest::newRow("port 65534") << 1 << "65534"
                                    << ""
                                    << "10.0.0.1:65534";
        QTest::newRow("port 8080") << 1 << "8080"
                                   << ""
                                   << "10.0.0.1:8080";
        QTest::newRow("port leading zeros") << 1 << "00081"
                                            << ""
                                            << "10.0.0.1:81";
        QTest::newRow("port 65535") << 1 << "65535" << kBadPort << "10.0.0.1:80";
        QTest::newRow("port 65536") << 1 << "65536" << kBadPort << "10.0.0.1:80";
        QTest::newRow("port -1") << 1 << "-1" << kBadPort << "10.0.0.1:80";
        QTest::newRow("port empty") << 1 << "" << kBadPort << "10.0.0.1:80";
        QTest::newRow("port word") << 1 << "http" << kBadPort << "10.0.0.1:80";
    }

    void checkAfterEdit()
    {
        QFETCH(int, column);
        QFETCH(QString, typed);
        QFETCH(QString, warning);
        QFETCH(QString, committed);

        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        QTreeWidgetItem* row = tree.topLevelItem(0);

        ModalBoxCloser closer(warning);
        row->setText(column, typed);
        QCOMPARE(closer.count, warning.isEmpty() ? 0 : 1);
        // A refused text stays on screen; only the committed values hold.
        QCOMPARE(row->text(column), typed);
        QCOMPARE(committedRows(tree), QStringList { committed });
        QCOMPARE(row->data(0, Qt::UserRole).userType(), int(QMetaType::QString));
        QCOMPARE(row->data(1, Qt::UserRole).userType(), int(QMetaType::Int));
    }
    void editCommitsBothCells()
    {
        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        QTreeWidgetItem* row = tree.topLevelItem(0);

        // A refused port leaves a valid address on screen uncommitted ...
        {
            ModalBoxCloser closer(kBadPort);
            tree.blockSignals(true);
            row->setText(0, QStringLiteral("10.0.0.5"));
            tree.blockSignals(false);
            row->setText(1, QStringLiteral("70000"));
            QCOMPARE(closer.count, 1);
        }
        QCOMPARE(committedRows(tree), QStringList { "10.0.0.1:80" });
        // ... until the port is fixed: then both cells are committed at once.
        ModalBoxCloser closer(kBadPort);
        row->setText(1, QStringLiteral("81"));
        QCOMPARE(closer.count, 0);
        QCOMPARE(committedRows(tree), QStringList { "10.0.0.5:81" });
    }

    void placeholderRowIsNotChecked_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("typed");

        QTest::newRow("bad address while port shows <Port>") << 0 << "not an address";
        QTest::newRow("good address while port shows <Port>") << 0 << "10.0.0.1";
        QTest::newRow("bad port while address shows <Ip>") << 1 << "99999";
        QTest::newRow("good port while address shows <Ip>") << 1 << "80";
    }

    void placeholderRowIsNotChecked()
    {
        QFETCH(int, column);
        QFETCH(QString, typed);

        IpPortTreeWidget tree;
        tree.insertItem();
        QVERIFY(!tree.signalsBlocked());
        QTreeWidgetItem* row = tree.topLevelItem(0);

        ModalBoxCloser closer(column == 0 ? kBadAddress : kBadPort);
        row->setText(column, typed);
        QCOMPARE(closer.count, 0);
        QVERIFY(!row->data(0, Qt::UserRole).isValid());
        QVERIFY(!row->data(1, Qt::UserRole).isValid());
    }

    void nullItemIsIgnored()
    {
        IpPortTreeWidget tree;
        ModalBoxCloser closer(kBadAddress);
        tree.wigdetItemChanged(nullptr, 0);
        tree.setItemEditable(nullptr, 0);
        QCOMPARE(closer.count, 0);
        QVERIFY(!tree.signalsBlocked());
    }

    void slotNamesArePublished()
    {
        const QMetaObject* meta = &IpPortTreeWidget::staticMetaObject;
        for (const char* slot :
            { "wigdetItemChanged(QTreeWidgetItem*,int)", "setItemEditable(QTreeWidgetItem*,int)",
                "insertItem()", "removeItem()", "upItem()", "downItem()", "reset()" })
            QVERIFY2(meta->indexOfSlot(slot) >= 0, slot);
        QVERIFY(meta->indexOfSignal("masterPortChanged()") >= 0);
        QCOMPARE(IpPortTreeWidget().headerItem()->text(0), QStringLiteral("Ip"));
        QCOMPARE(IpPortTreeWidget().headerItem()->text(1), QStringLiteral("Port"));
    }

    // --- the item editor ---

    void delegateEditors()
    {
        QStandardItemModel model(1, 4);
        model.setData(model.index(0, 0), QStringLiteral("10.0.0.1"));
        model.setData(model.index(0, 1), QStringLiteral("80"));
        model.setData(model.index(0, 2), QStringLiteral("text"));
        model.setData(model.index(0, 3), 5); // an int makes a spin box
        kqgui::myStyledItemDelegate delegate;
        QWidget parent;
        const QStyleOptionViewItem option;

        auto* address = qobject_cast<QLineEdit*>(delegate.createEditor(&parent, option, model.index(0, 0)));
        QVERIFY(address);
        auto* addressValidator = qobject_cast<const QRegularExpressionValidator*>(address->validator());
        QVERIFY(addressValidator);
        QCOMPARE(addressValidator->parent(), address);
        QCOMPARE(addressValidator->regularExpression().pattern(),
            QStringLiteral(
                R"((([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5])\.){3}([01]?[0-9]?[0-9]|2[0-4][0-9]|25[0-5]))"));
        QCOMPARE(addressValidator->regularExpression().patternOptions(), QRegularExpression::NoPatternOption);

        auto* port = qobject_cast<QLineEdit*>(delegate.createEditor(&parent, option, model.index(0, 1)));
        QVERIFY(port);
        auto* portValidator = qobject_cast<const QIntValidator*>(port->validator());
        QVERIFY(portValidator);
        QCOMPARE(portValidator->parent(), port);
        QCOMPARE(portValidator->bottom(), 1);
        QCOMPARE(portValidator->top(), 65536);

        auto* other = qobject_cast<QLineEdit*>(delegate.createEditor(&parent, option, model.index(0, 2)));
        QVERIFY(other);
        QVERIFY(!other->validator());

        QWidget* spin = delegate.createEditor(&parent, option, model.index(0, 3));
        QVERIFY(qobject_cast<QSpinBox*>(spin));
    }

    // What the address editor's validator answers, state and cursor, for
    // text that reaches it in one piece (pasted or set by a program).
    void addressValidatorStates_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("pos");

        const int acceptable = QValidator::Acceptable;
        const int intermediate = QValidator::Intermediate;
        const int invalid = QValidator::Invalid;
        QTest::newRow("empty") << "" << intermediate << 0;
        QTest::newRow("one digit") << "1" << intermediate << 1;
        QTest::newRow("one octet and dot") << "192." << intermediate << 4;
        QTest::newRow("three octets") << "10.0.0" << intermediate << 6;
        QTest::newRow("trailing dot") << "10.0.0." << intermediate << 7;
        QTest::newRow("complete") << "192.168.0.10" << acceptable << 12;
        QTest::newRow("leading zeros") << "001.002.003.004" << acceptable << 15;
        QTest::newRow("highest") << "255.255.255.255" << acceptable << 15;
        QTest::newRow("octet 256") << "256.1.1.1" << invalid << 9;
        QTest::newRow("four digits") << "1000.1.1.1" << invalid << 10;
        QTest::newRow("fifth octet") << "1.2.3.4.5" << invalid << 9;
        QTest::newRow("two dots") << "1..2.3" << invalid << 6;
        QTest::newRow("letter") << "10.0.0.a" << invalid << 8;
        QTest::newRow("leading blank") << " 10.0.0.1" << invalid << 9;
        QTest::newRow("trailing blank") << "10.0.0.1 " << invalid << 9;
        QTest::newRow("port attached") << "10.0.0.1:80" << invalid << 11;
    }

    void addressValidatorStates()
    {
        QFETCH(QString, text);
        QFETCH(int, state);
        QFETCH(int, pos);

        QStandardItemModel model(1, 1);
        kqgui::myStyledItemDelegate delegate;
        QWidget parent;
        auto* editor = qobject_cast<QLineEdit*>(delegate.createEditor(&parent, {}, model.index(0, 0)));
        QVERIFY(editor && editor->validator());
        QString input = text;
        int cursor = text.size();
        QCOMPARE(int(editor->validator()->validate(input, cursor)), state);
        QCOMPARE(cursor, pos);
        QCOMPARE(input, text);
    }

    void setItemEditableReplacesFlags()
    {
        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        QTreeWidgetItem* row = tree.topLevelItem(0);
        QVERIFY(row->flags() & Qt::ItemIsUserCheckable);
        QVERIFY(!(row->flags() & Qt::ItemIsEditable));

        tree.setItemEditable(row, 1);
        QCOMPARE(int(row->flags()), 0x23);
        QVERIFY(!tree.signalsBlocked());
        const QLineEdit* editor = tree.viewport()->findChild<QLineEdit*>();
        QVERIFY(editor);
        QVERIFY(!editor->isHidden());
        QCOMPARE(editor->text(), QStringLiteral("80"));
        QCOMPARE(row->checkState(0), Qt::Checked);
    }

    void editorValidators_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<bool>("acceptable");

        QTest::newRow("port 65536 taken") << 1 << "65536"
                                          << "65536" << true;
        QTest::newRow("port 1 taken") << 1 << "1"
                                      << "1" << true;
        QTest::newRow("port 0 not acceptable") << 1 << "0"
                                               << "0" << false;
        QTest::newRow("port 65537 not acceptable") << 1 << "65537"
                                                   << "65537" << false;
        QTest::newRow("port letters refused") << 1 << "8a0"
                                              << "80" << true;
        QTest::newRow("port minus refused") << 1 << "-5"
                                            << "5" << true;
        QTest::newRow("address taken") << 0 << "192.168.0.10"
                                       << "192.168.0.10" << true;
        QTest::newRow("address leading zeros taken") << 0 << "01.002.3.4"
                                                     << "01.002.3.4" << true;
        QTest::newRow("address letters refused") << 0 << "x10.0.0.1"
                                                 << "10.0.0.1" << true;
        QTest::newRow("octet 256 refused") << 0 << "256.1.1.1"
                                           << "25.1.1.1" << true;
        QTest::newRow("fifth octet refused") << 0 << "1.2.3.4.5"
                                             << "1.2.3.45" << true;
        QTest::newRow("unfinished address") << 0 << "10.0."
                                            << "10.0." << false;
    }

    void editorValidators()
    {
        QFETCH(int, column);
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        QFETCH(bool, acceptable);

        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QTreeWidgetItem* row = tree.topLevelItem(0);

        QLineEdit* editor = openEditor(tree, row, column);
        QVERIFY(editor);
        QCOMPARE(int(row->flags()), 0x23);
        QCOMPARE(editor->text(), row->text(column));
        editor->selectAll();
        QTest::keyClick(editor, Qt::Key_Delete);
        QTest::keyClicks(editor, typed);
        QCOMPARE(editor->text(), shown);
        QCOMPARE(editor->hasAcceptableInput(), acceptable);
    }

    void editorCommitsThroughCheck_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("warning"); // empty: none
        QTest::addColumn<QString>("committed");

        QTest::newRow("port 8080") << 1 << "8080"
                                   << ""
                                   << "10.0.0.1:8080";
        QTest::newRow("port 65536 passes the editor, not the check")
            << 1 << "65536" << kBadPort << "10.0.0.1:80";
        QTest::newRow("port 65535 passes the editor, not the check")
            << 1 << "65535" << kBadPort << "10.0.0.1:80";
        QTest::newRow("address") << 0 << "172.16.0.9"
                                 << ""
                                 << "172.16.0.9:80";
    }

    void editorCommitsThroughCheck()
    {
        QFETCH(int, column);
        QFETCH(QString, typed);
        QFETCH(QString, warning);
        QFETCH(QString, committed);

        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QTreeWidgetItem* row = tree.topLevelItem(0);

        QLineEdit* editor = openEditor(tree, row, column);
        QVERIFY(editor);
        editor->selectAll();
        QTest::keyClick(editor, Qt::Key_Delete);
        QTest::keyClicks(editor, typed);
        ModalBoxCloser closer(warning);
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(row->text(column), typed);
        QCOMPARE(closer.count, warning.isEmpty() ? 0 : 1);
        QCOMPARE(committedRows(tree), QStringList { committed });
    }

    void editorRefusesPortZero()
    {
        IpPortTreeWidget tree;
        const auto property = loadNode(tree, "node-a", { "10.0.0.1:80" });
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QTreeWidgetItem* row = tree.topLevelItem(0);

        const QPointer<QLineEdit> editor = openEditor(tree, row, 1);
        QVERIFY(editor);
        editor->selectAll();
        QTest::keyClick(editor, Qt::Key_Delete);
        QTest::keyClicks(editor, QStringLiteral("0"));
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents();
        // Return with a text the validator does not accept keeps the editor
        // open and the cell as it was.
        QVERIFY(editor);
        QVERIFY(editor->isVisible());
        QCOMPARE(editor->text(), QStringLiteral("0"));
        QCOMPARE(row->text(1), QStringLiteral("80"));
        QCOMPARE(committedRows(tree), QStringList { "10.0.0.1:80" });
    }

    void destroyWithOpenEditor()
    {
        auto tree = std::make_unique<IpPortTreeWidget>();
        const auto property = makeList({ "10.0.0.1:80" });
        tree->update(property.get(), "node-a");
        tree->setItemEditable(tree->topLevelItem(0), 0);
        QPointer<QLineEdit> editor = tree->viewport()->findChild<QLineEdit*>();
        QVERIFY(editor);
        tree = nullptr; // destroys the widget, its delegate first
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(editor.isNull());
    }

    // --- loading ---

    void loadOneNode_data()
    {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("committed");

        QTest::newRow("both separators")
            << QStringList { "10.0.0.1:80", "10.0.0.2%3A81" } << QStringList { "10.0.0.1|80", "10.0.0.2|81" }
            << QStringList { "10.0.0.1:80", "10.0.0.2:81" };
        QTest::newRow("same entry twice") << QStringList { "10.0.0.1:80", "10.0.0.1:80" }
                                          << QStringList { "10.0.0.1|80" } << QStringList { "10.0.0.1:80" };
        QTest::newRow("same entry, both separators")
            << QStringList { "10.0.0.1:80", "10.0.0.1%3A80" } << QStringList { "10.0.0.1|80" }
            << QStringList { "10.0.0.1:80" };
        QTest::newRow("not entries are skipped")
            << QStringList { "1.2.3.4%3a80", "a:b:c", "", "10.0.0.1", "10.0.0.1:80" }
            << QStringList { "10.0.0.1|80" } << QStringList { "10.0.0.1:80" };
        QTest::newRow("port text not a number")
            << QStringList { "10.0.0.1:http" } << QStringList { "10.0.0.1|0" }
            << QStringList { "10.0.0.1:0" };
        QTest::newRow("port with leading zeros")
            << QStringList { "10.0.0.1:0080" } << QStringList { "10.0.0.1|80" }
            << QStringList { "10.0.0.1:80" };
        QTest::newRow("address texts compare exactly")
            << QStringList { "010.0.0.1:80", "10.0.0.1:80" } << QStringList { "010.0.0.1|80", "10.0.0.1|80" }
            << QStringList { "010.0.0.1:80", "10.0.0.1:80" };
        QTest::newRow("empty address")
            << QStringList { ":80" } << QStringList { "|80" } << QStringList { ":80" };
        QTest::newRow("empty list") << QStringList {} << QStringList {} << QStringList {};
    }

    void loadOneNode()
    {
        QFETCH(QStringList, entries);
        QFETCH(QStringList, rows);
        QFETCH(QStringList, committed);

        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        QSignalSpy itemChanged(&tree, &QTreeWidget::itemChanged);
        QVERIFY(itemChanged.isValid());
        const auto property = makeList(entries);
        tree.update(property.get(), "node-a");

        QCOMPARE(shownRows(tree), rows);
        QCOMPARE(committedRows(tree), committed);
        // With one node every entry is common to all nodes.
        QCOMPARE(checkStates(tree), QList<int>(QVector<int>(rows.size(), Qt::Checked).toList()));
        QVERIFY(tree.isEnabled());
        QVERIFY(!tree.signalsBlocked());
        QCOMPARE(changed.count(), 0);
        QCOMPARE(itemChanged.count(), 0);
        for (int i = 0; i < tree.topLevelItemCount(); ++i) {
            QCOMPARE(tree.topLevelItem(i)->data(0, Qt::UserRole).userType(), int(QMetaType::QString));
            QCOMPARE(tree.topLevelItem(i)->data(1, Qt::UserRole).userType(), int(QMetaType::Int));
            QVERIFY(!(tree.topLevelItem(i)->flags() & Qt::ItemIsEditable));
        }
        QCOMPARE(tree.fetchPort(), 0);
    }

    void loadTwoNodes()
    {
        IpPortTreeWidget tree;
        const auto a = makeList({ "10.0.0.1:80" });
        const auto b = makeList({ "10.0.0.1:80", "10.0.0.3:90" });
        tree.update(a.get(), "node-a");
        tree.update(b.get(), "node-b");

        QCOMPARE(shownRows(tree), (QStringList { "10.0.0.1|80", "10.0.0.3|90" }));
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::PartiallyChecked }));
    }

    void updateRecomputesCoverage()
    {
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        tree.topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        tree.insertItem();
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Unchecked, Qt::Checked, Qt::Checked }));

        const auto b = loadNode(tree, "node-b", { "10.0.0.1:80" });
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::PartiallyChecked, Qt::PartiallyChecked }));

        // Loading a node again replaces its list; rows stay.
        const auto a2 = loadNode(tree, "node-a", { "10.0.0.2:81" });
        QCOMPARE(shownRows(tree), (QStringList { "10.0.0.1|80", "10.0.0.2|81", "<Ip>|<Port>" }));
        QCOMPARE(checkStates(tree),
            (QList<int> { Qt::PartiallyChecked, Qt::PartiallyChecked, Qt::PartiallyChecked }));
    }

    void masterFromLocalAddress_data()
    {
        QTest::addColumn<QStringList>("local");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<int>("masterRow"); // -1: none
        QTest::addColumn<int>("port");

        QTest::newRow("first created row that matches")
            << QStringList { "10.0.0.2" } << QStringList { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.2:82" } << 1
            << 81;
        QTest::newRow("several local addresses") << QStringList { "127.0.0.1", "10.0.0.3", "10.0.0.2" }
                                                 << QStringList { "10.0.0.3:90", "10.0.0.2:81" } << 0 << 90;
        QTest::newRow("leading zeros are the same address")
            << QStringList { "10.0.0.2" } << QStringList { "10.0.0.1:80", "010.000.0.2:81" } << 1 << 81;
        QTest::newRow("no local address") << QStringList {} << QStringList { "10.0.0.1:80" } << -1 << 0;
        QTest::newRow("not an address")
            << QStringList { "10.0.0.2" } << QStringList { "10.0.0.2x:80" } << -1 << 0;
    }

    void masterFromLocalAddress()
    {
        QFETCH(QStringList, local);
        QFETCH(QStringList, entries);
        QFETCH(int, masterRow);
        QFETCH(int, port);

        QList<kq::IPAddress> addresses;
        for (const QString& text : local)
            addresses << kq::IPAddress(text);
        kq::IPAddress::setLocalAddressesOverride(addresses);

        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        const auto property = makeList(entries);
        tree.update(property.get(), "node-a");

        QCOMPARE(changed.count(), 0);
        QCOMPARE(tree.fetchPort(), port);
        for (int i = 0; i < tree.topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = tree.topLevelItem(i);
            QCOMPARE(row->toolTip(1), i == masterRow ? kMasterTooltip : QString());
            const QVariant decoration = row->data(1, Qt::DecorationRole);
            if (i == masterRow) {
                // The logo is the client application's resource; without it
                // the icon is empty.
                QCOMPARE(decoration.userType(), int(QMetaType::QIcon));
                QVERIFY(decoration.value<QIcon>().isNull());
            } else {
                QVERIFY(!decoration.isValid());
            }
        }
    }

    void badUpdateDisables_data()
    {
        QTest::addColumn<QString>("nodeId");
        QTest::addColumn<bool>("nullProperty");

        QTest::newRow("empty node id") << "" << false;
        QTest::newRow("unknown node") << "no-such-node" << false;
        QTest::newRow("null property") << "node-b" << true;
    }

    void badUpdateDisables()
    {
        QFETCH(QString, nodeId);
        QFETCH(bool, nullProperty);

        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80" });
        const auto other = makeList({ "10.0.0.9:99" });
        tree.update(nullProperty ? nullptr : other.get(), nodeId);

        QVERIFY(!tree.isEnabled());
        QVERIFY(!tree.signalsBlocked());
        QCOMPARE(shownRows(tree), QStringList { "10.0.0.1|80" });
        QCOMPARE(checkStates(tree), QList<int> { Qt::Checked });

        // A good update does not re-enable; reset() does.
        tree.update(a.get(), "node-a");
        QVERIFY(!tree.isEnabled());
        tree.reset();
        QVERIFY(tree.isEnabled());
    }

    void emptyOverloadsDoNothing()
    {
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80" });
        const auto b = makeList({ "10.0.0.2:81" });
        tree.update(b.get());
        tree.update(QMap<QString, kqm::smart<kq::INodeConfigSession>> { { "node-b",
                        kq::NodeDB::getDB()->session("node-b") } },
            QStringList { "node-b" });
        tree.update(nullptr);
        QCOMPARE(shownRows(tree), QStringList { "10.0.0.1|80" });
        QCOMPARE(checkStates(tree), QList<int> { Qt::Checked });
        QVERIFY(tree.isEnabled());
        // The widget's own update() is still reachable.
        tree.update();
    }

    // --- writing back ---

    void writeBackTwoNodes_data()
    {
        QTest::addColumn<int>("userState"); // -1: as loaded
        QTest::addColumn<QStringList>("writtenA");
        QTest::addColumn<QStringList>("writtenB");

        QTest::newRow("as loaded") << -1 << QStringList { "10.0.0.1:80" }
                                   << QStringList { "10.0.0.1:80", "10.0.0.3:90" };
        QTest::newRow("checked") << int(Qt::Checked) << QStringList { "10.0.0.1:80", "10.0.0.3:90" }
                                 << QStringList { "10.0.0.1:80", "10.0.0.3:90" };
        QTest::newRow("cleared") << int(Qt::Unchecked) << QStringList { "10.0.0.1:80" }
                                 << QStringList { "10.0.0.1:80" };
    }

    void writeBackTwoNodes()
    {
        QFETCH(int, userState);
        QFETCH(QStringList, writtenA);
        QFETCH(QStringList, writtenB);

        IpPortTreeWidget tree;
        const auto a = makeList({ "10.0.0.1:80" });
        const auto b = makeList({ "10.0.0.1:80", "10.0.0.3:90" });
        tree.update(a.get(), "node-a");
        tree.update(b.get(), "node-b");
        if (userState >= 0)
            tree.topLevelItem(1)->setCheckState(0, Qt::CheckState(userState));

        QSignalSpy itemChanged(&tree, &QTreeWidget::itemChanged);
        QVERIFY(itemChanged.isValid());
        tree.setConfigSessionProperty(a.get(), "node-a");
        tree.setConfigSessionProperty(b.get(), "node-b");
        QCOMPARE(listOf(*a), writtenA);
        QCOMPARE(listOf(*b), writtenB);
        QCOMPARE(itemChanged.count(), 0);
    }

    void placeholderRowNeverWritten_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("address"); // typed into column 0 while the port still shows <Port>

        QTest::newRow("checked, both placeholders") << int(Qt::Checked) << "<Ip>";
        QTest::newRow("checked, port placeholder") << int(Qt::Checked) << "10.0.0.7";
        QTest::newRow("partially checked") << int(Qt::PartiallyChecked) << "10.0.0.1";
        QTest::newRow("unchecked") << int(Qt::Unchecked) << "10.0.0.7";
    }

    void placeholderRowNeverWritten()
    {
        QFETCH(int, state);
        QFETCH(QString, address);

        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80" });
        tree.insertItem();
        QTreeWidgetItem* row = tree.topLevelItem(1);
        row->setText(0, address);
        row->setCheckState(0, Qt::CheckState(state));

        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), QStringList { "10.0.0.1:80" });
    }

    void writesColonAndCommittedValues()
    {
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.2%3A81", "10.0.0.1:80" });
        {
            ModalBoxCloser closer(kBadAddress);
            tree.topLevelItem(1)->setText(0, QStringLiteral("300.0.0.1"));
            QCOMPARE(closer.count, 1);
        }
        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), (QStringList { "10.0.0.2:81", "10.0.0.1:80" }));
        QCOMPARE(tree.topLevelItem(1)->text(0), QStringLiteral("300.0.0.1"));
    }

    // Rows only some nodes hold stay partially checked, and are written in
    // one form whatever form their entry was loaded in: the committed
    // address, ":" and the port's decimal digits.
    void writeBackFormOfPartialRows_data()
    {
        QTest::addColumn<QString>("loaded");
        QTest::addColumn<QString>("written"); // empty: not written

        QTest::newRow("plain") << QStringLiteral("10.0.0.1:80") << QStringLiteral("10.0.0.1:80");
        QTest::newRow("encoded colon") << QStringLiteral("10.0.0.1%3A80") << QStringLiteral("10.0.0.1:80");
        QTest::newRow("leading zero") << QStringLiteral("10.0.0.1:080") << QStringLiteral("10.0.0.1:80");
        QTest::newRow("plus sign") << QStringLiteral("10.0.0.1:+81") << QStringLiteral("10.0.0.1:81");
        QTest::newRow("not a number") << QStringLiteral("10.0.0.1:http") << QStringLiteral("10.0.0.1:0");
        QTest::newRow("empty port") << QStringLiteral("10.0.0.1:") << QStringLiteral("10.0.0.1:0");
        QTest::newRow("zero") << QStringLiteral("10.0.0.1:0") << QStringLiteral("10.0.0.1:0");
        QTest::newRow("zeros") << QStringLiteral("10.0.0.1:000") << QStringLiteral("10.0.0.1:0");
        QTest::newRow("negative") << QStringLiteral("10.0.0.1:-5") << QStringLiteral("10.0.0.1:-5");
        QTest::newRow("ten digits") << QStringLiteral("10.0.0.1:0000000080") << QStringLiteral("10.0.0.1:80");
        QTest::newRow("empty address") << QStringLiteral(":80") << QStringLiteral(":80");
        QTest::newRow("placeholder address") << QStringLiteral("<Ip>:80") << QStringLiteral("");
    }

    void writeBackFormOfPartialRows()
    {
        QFETCH(QString, loaded);
        QFETCH(QString, written);

        // The row is made by the second load, partially checked, and keeps
        // that state.
        IpPortTreeWidget tree;
        const auto b = loadNode(tree, "node-b", { "10.9.9.9:9" });
        const auto a = loadNode(tree, "node-a", { loaded, "10.9.9.9:9" });
        QCOMPARE(tree.topLevelItem(0)->checkState(0), Qt::Checked);
        QCOMPARE(tree.topLevelItem(1)->checkState(0), Qt::PartiallyChecked);

        tree.setConfigSessionProperty(a.get(), "node-a");
        const QStringList expected
            = written.isEmpty() ? QStringList { "10.9.9.9:9" } : QStringList { "10.9.9.9:9", written };
        QCOMPARE(listOf(*a), expected);
        tree.setConfigSessionProperty(b.get(), "node-b");
        QCOMPARE(listOf(*b), QStringList { "10.9.9.9:9" });
    }

    void writingUnloadedNodeRemembersEmptyList()
    {
        IpPortTreeWidget tree;
        const auto a = makeList({ "10.0.0.1:80", "10.0.0.2:81" });
        const auto b = makeList({ "10.0.0.1:80" });
        tree.update(a.get(), "node-a");
        tree.update(b.get(), "node-b");
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::PartiallyChecked }));

        const auto c = makeList({ "junk" });
        tree.setConfigSessionProperty(c.get(), "node-c");
        QCOMPARE(listOf(*c), QStringList { "10.0.0.1:80" });

        // node-c now counts as a loaded node without entries.
        tree.update(a.get(), "node-a");
        QCOMPARE(checkStates(tree), (QList<int> { Qt::PartiallyChecked, Qt::PartiallyChecked }));
    }

    void emptyTreeWritesEmptyList()
    {
        IpPortTreeWidget tree;
        const auto a = makeList({ "10.0.0.1:80", "junk" });
        tree.setConfigSessionProperty(a.get(), "node-a");
        QVERIFY(a->value().isEmpty());
        tree.setConfigSessionProperty(nullptr, "node-a");
        QCOMPARE(tree.topLevelItemCount(), 0);
    }

    void writeBackFollowsCommittedEdits()
    {
        // The written text of a row follows its committed values, also after
        // the row has been written once.
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), (QStringList { "10.0.0.1:80", "10.0.0.2:81" }));

        tree.topLevelItem(0)->setText(0, QStringLiteral("10.0.0.5"));
        tree.topLevelItem(1)->setText(1, QStringLiteral("8081"));
        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), (QStringList { "10.0.0.5:80", "10.0.0.2:8081" }));

        // Now the first row holds an entry node-a's list does not: written
        // while checked, not once partially checked.
        tree.topLevelItem(0)->setCheckState(0, Qt::PartiallyChecked);
        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), QStringList { "10.0.0.2:8081" });
    }

    void loadFindsRowsOfTheSameLoad()
    {
        // Rows made earlier in the same update are found by later entries,
        // also across the row that becomes master in between.
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("127.0.0.1")) });
        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        const auto a = loadNode(tree, "node-a",
            { "10.0.0.1:80", "127.0.0.1:81", "10.0.0.1%3A80", "10.0.0.5:82", "127.0.0.1:81",
                "127.0.0.1:83" });
        QCOMPARE(
            shownRows(tree), (QStringList { "10.0.0.1|80", "127.0.0.1|81", "10.0.0.5|82", "127.0.0.1|83" }));
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::Checked, Qt::Checked, Qt::Checked }));
        QCOMPARE(tree.topLevelItem(1)->toolTip(1), kMasterTooltip);
        QCOMPARE(tree.fetchPort(), 81);
        QCOMPARE(changed.count(), 0);

        const auto b = loadNode(tree, "node-b", { "10.0.0.5:82", "10.0.0.6:84", "10.0.0.6:84" });
        QCOMPARE(shownRows(tree),
            (QStringList { "10.0.0.1|80", "127.0.0.1|81", "10.0.0.5|82", "127.0.0.1|83", "10.0.0.6|84" }));
        QCOMPARE(checkStates(tree),
            (QList<int> { Qt::PartiallyChecked, Qt::PartiallyChecked, Qt::Checked, Qt::PartiallyChecked,
                Qt::PartiallyChecked }));
    }

    void coverageWithRowsBelowRows()
    {
        // Dialog code may hang rows below a row. The load walks them too, and
        // checking a row whose children decide its state checks them.
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        QTreeWidgetItem* parent = tree.topLevelItem(0);
        parent->setFlags(parent->flags() | Qt::ItemIsAutoTristate);
        auto* child = new QTreeWidgetItem(QStringList { "10.0.0.3", "82" });
        child->setData(0, Qt::UserRole, QStringLiteral("10.0.0.3"));
        child->setData(1, Qt::UserRole, 82);
        child->setCheckState(0, Qt::Checked);
        parent->addChild(child);

        // node-b's 10.0.0.3:82 is the child's entry: no new row.
        const auto b = loadNode(tree, "node-b", { "10.0.0.1:80", "10.0.0.3:82" });
        QCOMPARE(tree.topLevelItemCount(), 2);
        QCOMPARE(parent->checkState(0), Qt::Checked);
        QCOMPARE(child->checkState(0), Qt::Checked);
        QCOMPARE(tree.topLevelItem(1)->checkState(0), Qt::PartiallyChecked);
        tree.setConfigSessionProperty(a.get(), "node-a");
        QCOMPARE(listOf(*a), (QStringList { "10.0.0.1:80", "10.0.0.3:82", "10.0.0.2:81" }));
        tree.setConfigSessionProperty(b.get(), "node-b");
        QCOMPARE(listOf(*b), (QStringList { "10.0.0.1:80", "10.0.0.3:82" }));

        // Only the child's entry common: the parent now shows its child's
        // state.
        const auto a2 = loadNode(tree, "node-a", { "10.0.0.3:82" });
        QCOMPARE(child->checkState(0), Qt::Checked);
        QCOMPARE(parent->checkState(0), Qt::Checked);
        child->setCheckState(0, Qt::Unchecked);
        QCOMPARE(parent->checkState(0), Qt::Unchecked);
        const auto a3 = loadNode(tree, "node-a", { "10.0.0.2:81" });
        QCOMPARE(child->checkState(0), Qt::PartiallyChecked);
        QCOMPARE(parent->checkState(0), Qt::PartiallyChecked);
        QCOMPARE(tree.topLevelItem(1)->checkState(0), Qt::PartiallyChecked);
    }

    void loadKeepsUnchangedRowsQuiet()
    {
        // A load that leaves a row's coverage as it was does not touch the
        // row; rows whose coverage changes are set once, to their final
        // state.
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        QSignalSpy changes(tree.model(), &QAbstractItemModel::dataChanged);
        const auto b = loadNode(tree, "node-b", { "10.0.0.1:80", "10.0.0.3:82" });
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::PartiallyChecked, Qt::PartiallyChecked }));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.at(0).at(0).value<QModelIndex>().row(), 1);
        QCOMPARE(changes.at(0).at(2).value<QVector<int>>(), QVector<int> { Qt::CheckStateRole });
    }

    // --- editing operations ---

    void insertOnce()
    {
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80" });

        tree.insertItem();
        QVERIFY(!tree.signalsBlocked());
        QCOMPARE(shownRows(tree), (QStringList { "10.0.0.1|80", "<Ip>|<Port>" }));
        QTreeWidgetItem* row = tree.topLevelItem(1);
        QCOMPARE(row->checkState(0), Qt::Checked);
        QVERIFY(!(row->flags() & Qt::ItemIsEditable));

        tree.insertItem();
        QCOMPARE(tree.topLevelItemCount(), 2);
        QVERIFY(tree.signalsBlocked());
    }

    void insertWhileHalfFilled()
    {
        IpPortTreeWidget tree;
        tree.insertItem();
        tree.topLevelItem(0)->setText(0, QStringLiteral("10.0.0.1"));
        tree.insertItem();
        QCOMPARE(shownRows(tree), QStringList { "10.0.0.1|<Port>" });
        QVERIFY(tree.signalsBlocked());
    }

    void removeKeepsMaster()
    {
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.2")) });
        IpPortTreeWidget tree;
        tree.setSelectionMode(QAbstractItemView::ExtendedSelection);
        const auto a
            = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.3:82", "10.0.0.4:83" });
        QCOMPARE(tree.fetchPort(), 81);

        // A row of the caller's own type tells whether the tree frees it.
        struct TrackedRow : QTreeWidgetItem {
            explicit TrackedRow(bool* deleted)
                : QTreeWidgetItem(QStringList { "10.0.0.5", "84" })
                , deleted(deleted)
            {
            }
            ~TrackedRow() override { *deleted = true; }
            bool* deleted;
        };
        bool trackedDeleted = false;
        tree.addTopLevelItem(new TrackedRow(&trackedDeleted));

        for (int i : { 0, 1, 2, 4 })
            tree.topLevelItem(i)->setSelected(true);
        tree.removeItem();
        QVERIFY(!tree.signalsBlocked());
        QCOMPARE(shownRows(tree), (QStringList { "10.0.0.2|81", "10.0.0.4|83" }));
        QVERIFY(trackedDeleted);
        QCOMPARE(tree.topLevelItem(0)->toolTip(1), kMasterTooltip);
        QCOMPARE(tree.fetchPort(), 81);

        tree.clearSelection();
        tree.removeItem();
        QCOMPARE(tree.topLevelItemCount(), 2);
        QVERIFY(!tree.signalsBlocked());
    }

    void moveRows_data()
    {
        QTest::addColumn<QList<int>>("selected"); // in selection order
        QTest::addColumn<bool>("up");
        QTest::addColumn<QStringList>("order");
        QTest::addColumn<bool>("leftBlocked");

        QTest::newRow("B up") << QList<int> { 1 } << true << QStringList { "B", "A", "C", "D" } << false;
        QTest::newRow("B down") << QList<int> { 1 } << false << QStringList { "A", "C", "B", "D" } << false;
        QTest::newRow("B and C up") << QList<int> { 1, 2 } << true << QStringList { "B", "C", "A", "D" }
                                    << false;
        QTest::newRow("B and C down")
            << QList<int> { 1, 2 } << false << QStringList { "A", "D", "B", "C" } << false;
        QTest::newRow("top up") << QList<int> { 0 } << true << QStringList { "A", "B", "C", "D" } << true;
        QTest::newRow("bottom down") << QList<int> { 3 } << false << QStringList { "A", "B", "C", "D" }
                                     << true;
        QTest::newRow("nothing up") << QList<int> {} << true << QStringList { "A", "B", "C", "D" } << true;
        QTest::newRow("nothing down") << QList<int> {} << false << QStringList { "A", "B", "C", "D" } << true;
        QTest::newRow("odd order down keeps every row")
            << QList<int> { 2, 0 } << false << QStringList { "B", "A", "C", "D" } << false;
    }

    void moveRows()
    {
        QFETCH(QList<int>, selected);
        QFETCH(bool, up);
        QFETCH(QStringList, order);
        QFETCH(bool, leftBlocked);

        IpPortTreeWidget tree;
        tree.setSelectionMode(QAbstractItemView::MultiSelection);
        for (const char* name : { "A", "B", "C", "D" })
            tree.addTopLevelItem(new QTreeWidgetItem(QStringList { QString::fromLatin1(name), "1" }));
        for (int i : selected)
            tree.setCurrentItem(tree.topLevelItem(i), 0, QItemSelectionModel::Select);
        QCOMPARE(tree.selectedItems().size(), selected.size());

        if (up)
            tree.upItem();
        else
            tree.downItem();

        QStringList now;
        for (int i = 0; i < tree.topLevelItemCount(); ++i)
            now << tree.topLevelItem(i)->text(0);
        QCOMPARE(now, order);
        QCOMPARE(tree.signalsBlocked(), leftBlocked);
    }

    void downScrollsToSelection()
    {
        IpPortTreeWidget tree;
        for (int i = 0; i < 40; ++i)
            tree.addTopLevelItem(
                new QTreeWidgetItem(QStringList { QStringLiteral("10.0.0.%1").arg(i), "80" }));
        tree.resize(200, 120);
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QTreeWidgetItem* row = tree.topLevelItem(30);
        row->setSelected(true);
        tree.scrollToTop();
        QVERIFY(tree.visualItemRect(row).top() > tree.viewport()->rect().bottom());

        tree.downItem();
        QCOMPARE(tree.indexOfTopLevelItem(row), 31);
        const QRect shown = tree.visualItemRect(row);
        QVERIFY(shown.top() >= 0);
        QVERIFY(shown.bottom() <= tree.viewport()->rect().bottom());
        QVERIFY(!tree.signalsBlocked());
    }

    void contextMenuChoosesMaster()
    {
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.1")) });
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81", "10.0.0.3:82" });
        tree.resize(300, 200);
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        QTreeWidgetItem* rowA = tree.topLevelItem(0);
        QTreeWidgetItem* rowB = tree.topLevelItem(1);
        QCOMPARE(tree.fetchPort(), 80);

        MenuRun run = runContextMenu(tree, tree.visualItemRect(rowB).center(), QStringLiteral("Master Port"));
        QVERIFY(run.shown);
        QCOMPARE(run.texts, QStringList { "Master Port" });
        QCOMPARE(run.data, QVariantList { QStringLiteral("MARK") });
        QCOMPARE(changed.count(), 1);
        QCOMPARE(tree.fetchPort(), 81);
        QCOMPARE(rowB->toolTip(1), kMasterTooltip);
        QCOMPARE(rowA->toolTip(1), QString());
        QCOMPARE(rowA->data(1, Qt::ToolTipRole), QVariant(QString()));
        const QIcon former = rowA->data(1, Qt::DecorationRole).value<QIcon>();
        QVERIFY(!former.isNull());
        QCOMPARE(former.availableSizes(), QList<QSize> { QSize(16, 16) });
        QCOMPARE(former.pixmap(16, 16).toImage().pixelColor(8, 8).alpha(), 0);
        QVERIFY(!tree.signalsBlocked());

        // Choosing it again on the same row announces nothing.
        runContextMenu(tree, tree.visualItemRect(rowB).center(), QStringLiteral("Master Port"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(tree.fetchPort(), 81);

        // Dismissed menu: nothing changes.
        run = runContextMenu(tree, tree.visualItemRect(tree.topLevelItem(2)).center(), QString());
        QVERIFY(run.shown);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(tree.fetchPort(), 81);

        // Over empty space the menu still comes up; choosing does nothing.
        const QPoint below(10, tree.visualItemRect(tree.topLevelItem(2)).bottom() + 30);
        QVERIFY(!tree.itemAt(below));
        run = runContextMenu(tree, below, QStringLiteral("Master Port"));
        QVERIFY(run.shown);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(tree.fetchPort(), 81);
        QCOMPARE(rowB->toolTip(1), kMasterTooltip);
        QVERIFY(!tree.signalsBlocked());
    }

    void masterFollowsEditedPort()
    {
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.1")) });
        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80" });
        tree.topLevelItem(0)->setText(1, QStringLiteral("8080"));
        QCOMPARE(tree.fetchPort(), 8080);
        QCOMPARE(changed.count(), 0);
        {
            ModalBoxCloser closer(kBadPort);
            tree.topLevelItem(0)->setText(1, QStringLiteral("65535"));
            QCOMPARE(closer.count, 1);
        }
        QCOMPARE(tree.fetchPort(), 8080);
    }

    void setAsMasterRejectsStrangers()
    {
        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        tree.setAsMaster(tree.topLevelItem(0));
        QCOMPARE(tree.fetchPort(), 80);
        QCOMPARE(changed.count(), 0);

        QTreeWidgetItem stranger(QStringList { "10.0.0.9", "99" });
        stranger.setData(1, Qt::UserRole, 99);
        tree.setAsMaster(&stranger);
        tree.setAsMaster(nullptr);
        QCOMPARE(tree.fetchPort(), 80);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(stranger.toolTip(1), QString());

        tree.setAsMaster(tree.topLevelItem(1));
        QCOMPARE(tree.fetchPort(), 81);
        QCOMPARE(changed.count(), 1);
    }

    void resetKeepsMasterPort()
    {
        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("10.0.0.1")) });
        IpPortTreeWidget tree;
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);
        const auto a = makeList({ "10.0.0.1:80", "10.0.0.2:81" });
        const auto b = makeList({ "10.0.0.2:81" });
        tree.update(a.get(), "node-a");
        tree.update(b.get(), "node-b");
        QCOMPARE(tree.fetchPort(), 80);

        tree.reset();
        QCOMPARE(tree.topLevelItemCount(), 0);
        QCOMPARE(tree.fetchPort(), 80);
        QVERIFY(tree.isEnabled());
        QVERIFY(!tree.signalsBlocked());

        // Everything loaded before is forgotten: one node, all rows checked;
        // the first master after reset() announces nothing.
        const auto c = loadNode(tree, "node-c", { "10.0.0.1:8000", "10.0.0.5:81" });
        QCOMPARE(checkStates(tree), (QList<int> { Qt::Checked, Qt::Checked }));
        QCOMPARE(tree.fetchPort(), 8000);
        QCOMPARE(changed.count(), 0);

        // Clearing the tree directly forgets the master as well.
        tree.clear();
        QCOMPARE(tree.fetchPort(), 8000);
        tree.update(a.get(), "node-a");
        QCOMPARE(tree.fetchPort(), 80);
        QCOMPARE(changed.count(), 0);
    }

    void resetWhileEditing()
    {
        IpPortTreeWidget tree;
        const auto a = loadNode(tree, "node-a", { "10.0.0.1:80", "10.0.0.2:81" });
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        tree.setItemEditable(tree.topLevelItem(1), 0);
        const QPointer<QLineEdit> editor = tree.viewport()->findChild<QLineEdit*>();
        QVERIFY(editor);

        tree.reset();
        QTRY_VERIFY(editor.isNull());
        QCOMPARE(tree.topLevelItemCount(), 0);
        QVERIFY(!tree.grab().isNull());

        const auto b = loadNode(tree, "node-b", { "10.0.0.3:82" });
        QCOMPARE(shownRows(tree), QStringList { "10.0.0.3|82" });
        QVERIFY(!tree.grab().isNull());
        // The view's layout follows the new rows: the address cell is where
        // the header says (the row's middle may fall in either column,
        // depending on the font's widths).
        QCOMPARE(tree.indexAt(cellCenter(tree, tree.topLevelItem(0), 0)).data().toString(),
            QStringLiteral("10.0.0.3"));
    }

    // --- a dialog's whole cycle over three nodes of the node database ---

    void threeNodesFromDatabase()
    {
        const QByteArray json = R"({ "nodes": [
            { "id": "cam-1", "name": "Entrance", "properties": [
                { "id": "0x9000001", "kind": "stringList", "idName": "AlarmTargets", "name": "Alarm targets",
                  "value": ["10.0.0.1:80", "192.168.1.5:8000", "10.0.0.3%3A90"] } ] },
            { "id": "cam-2", "name": "Yard", "properties": [
                { "id": "0x9000001", "kind": "stringList", "value": ["10.0.0.1:80", "192.168.1.5:8000"] } ] },
            { "id": "cam-3", "name": "Gate", "properties": [
                { "id": "0x9000001", "kind": "stringList", "value": ["192.168.1.5:8000", "10.0.0.7:554", "garbage"] } ] }
        ] })";
        kq::NodeDB* db = kq::NodeDB::getDB();
        QString error;
        QVERIFY2(db->loadJson(json, &error), qPrintable(error));
        const QStringList cams { "cam-1", "cam-2", "cam-3" };
        auto listProperty = [db](const QString& id) {
            return db->session(id)->property(
                static_cast<kq::EStringListProperty>(kListId), kq::HasProperties::k_contextIndexDefault);
        };
        for (const QString& id : cams)
            QVERIFY(listProperty(id));

        kq::IPAddress::setLocalAddressesOverride({ kq::IPAddress(QStringLiteral("192.168.1.5")) });
        IpPortTreeWidget tree;
        tree.resize(320, 240);
        tree.show();
        QVERIFY(QTest::qWaitForWindowExposed(&tree));
        QSignalSpy changed(&tree, &IpPortTreeWidget::masterPortChanged);

        tree.reset();
        for (const QString& id : cams)
            tree.update(listProperty(id), id);
        QCOMPARE(shownRows(tree),
            (QStringList { "10.0.0.1|80", "192.168.1.5|8000", "10.0.0.3|90", "10.0.0.7|554" }));
        QCOMPARE(checkStates(tree),
            (QList<int> { Qt::PartiallyChecked, Qt::Checked, Qt::PartiallyChecked, Qt::PartiallyChecked }));
        QCOMPARE(tree.fetchPort(), 8000);
        QCOMPARE(changed.count(), 0);

        // Check 10.0.0.3:90 and clear 10.0.0.7:554 with the space key.
        tree.setCurrentItem(tree.topLevelItem(2));
        QTest::keyClick(&tree, Qt::Key_Space);
        tree.setCurrentItem(tree.topLevelItem(3));
        QTest::keyClick(&tree, Qt::Key_Space);
        QTest::keyClick(&tree, Qt::Key_Space);
        QCOMPARE(checkStates(tree),
            (QList<int> { Qt::PartiallyChecked, Qt::Checked, Qt::Checked, Qt::Unchecked }));

        // Add a row and fill it through the editor.
        tree.insertItem();
        QTreeWidgetItem* added = tree.topLevelItem(4);
        QCOMPARE(shownRows(tree).last(), QStringLiteral("<Ip>|<Port>"));
        QPointer<QLineEdit> editor = openEditor(tree, added, 0);
        QVERIFY(editor);
        QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(editor, QStringLiteral("172.16.0.9"));
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(added->text(0), QStringLiteral("172.16.0.9"));
        QVERIFY(!added->data(0, Qt::UserRole).isValid()); // the port still shows <Port>
        QTRY_VERIFY(editor.isNull());
        editor = openEditor(tree, added, 1);
        QVERIFY(editor);
        QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(editor, QStringLiteral("9000"));
        {
            ModalBoxCloser closer(kBadPort);
            QTest::keyClick(editor, Qt::Key_Return);
            QTRY_COMPARE(added->data(1, Qt::UserRole), QVariant(9000));
            QCOMPARE(closer.count, 0);
        }
        QCOMPARE(added->data(0, Qt::UserRole), QVariant(QStringLiteral("172.16.0.9")));
        QCOMPARE(added->checkState(0), Qt::Checked);

        // Move it up twice.
        tree.setCurrentItem(added);
        QCOMPARE(tree.selectedItems(), QList<QTreeWidgetItem*> { added });
        tree.upItem();
        tree.upItem();
        QCOMPARE(tree.indexOfTopLevelItem(added), 2);

        // Make 10.0.0.1:80 the master.
        const MenuRun run
            = runContextMenu(tree, tree.visualItemRect(tree.topLevelItem(0)).center(), "Master Port");
        QVERIFY(run.shown);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(tree.fetchPort(), 80);

        for (const QString& id : cams)
            tree.setConfigSessionProperty(listProperty(id), id);
        QCOMPARE(listOf(*listProperty("cam-1")),
            (QStringList { "10.0.0.1:80", "192.168.1.5:8000", "172.16.0.9:9000", "10.0.0.3:90" }));
        QCOMPARE(listOf(*listProperty("cam-2")),
            (QStringList { "10.0.0.1:80", "192.168.1.5:8000", "172.16.0.9:9000", "10.0.0.3:90" }));
        QCOMPARE(listOf(*listProperty("cam-3")),
            (QStringList { "192.168.1.5:8000", "172.16.0.9:9000", "10.0.0.3:90" }));

        const QString picture = QDir(QCoreApplication::applicationDirPath()).filePath("ipporttreewidget.png");
        const QImage image = tree.grab().toImage();
        QCOMPARE(image.size(), tree.size() * tree.devicePixelRatioF());
        QVERIFY(image.save(picture));
    }
};

QTEST_MAIN(TestIpPortTreeWidget)
#include "tst_ipporttreewidget.moc"
