// Test support for the suites that drive the demo's main window.
#pragma once

#include "CameraDocument.h"
#include "MainWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QContextMenuEvent>
#include <QMenu>
#include <QTimer>
#include <QTreeWidget>
#include <QStringList>
#include <QStyle>
#include <QStyleOptionButton>
#include <QtTest>

#include <memory>

namespace demotest {

// Shows a main window over the cameras the node database holds (loaded from
// document) at the size the suites' mouse positions assume; answers whether
// the window system exposed it.
inline bool showMainWindow(std::unique_ptr<demo::MainWindow>& window, const demo::CameraDocument& document)
{
    window = std::make_unique<demo::MainWindow>(document);
    window->resize(1100, 720);
    window->show();
    return QTest::qWaitForWindowExposed(window.get());
}

// Opens the main window on the cameras the start-up rules choose, which must
// load without a problem.
inline void openMainWindow(std::unique_ptr<demo::MainWindow>& window)
{
    demo::CameraDocument document;
    QStringList problems;
    document.loadAtStart(QString(), &problems);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
    QVERIFY(showMainWindow(window, document));
}

// Clicks the box's indicator: a click beside its text hits nothing.
inline void clickCheckBox(QCheckBox* box)
{
    QStyleOptionButton option;
    option.initFrom(box);
    option.text = box->text();
    const QRect indicator = box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box);
    QTest::mouseClick(box, Qt::LeftButton, {}, indicator.center());
}

// Chooses "Master Port", the one action of the row's context menu; answers
// whether the menu came up.
inline bool chooseMasterRow(QTreeWidget* tree, QTreeWidgetItem* row)
{
    bool menuSeen = false;
    QObject guard;
    QTimer::singleShot(0, &guard, [&menuSeen] {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            menuSeen = true;
            QTest::keyClick(menu, Qt::Key_Down);
            QTest::keyClick(menu, Qt::Key_Return);
        }
    });
    tree->scrollToItem(row);
    const QPoint at = tree->visualItemRect(row).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, tree->viewport()->mapToGlobal(at));
    QApplication::sendEvent(tree->viewport(), &event);
    return menuSeen;
}

} // namespace demotest
