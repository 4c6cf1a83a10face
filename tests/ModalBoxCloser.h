// Test support: answers the warning boxes a widget opens.
#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

namespace kqtest {

// Closes every modal message box that comes up while it lives by clicking
// its Ok button, from a timer that keeps looking until one is up, and checks
// there that the box is titled with the application name, shows
// `expectedText`, with Ok as its only button.
class ModalBoxCloser : public QObject {
public:
    explicit ModalBoxCloser(const QString& expectedText)
        : m_expectedText(expectedText)
    {
        arm();
    }

    int count = 0;
    QString title;
    QString text;

private:
    void arm()
    {
        QTimer::singleShot(0, this, [this] { poll(); });
    }
    void poll()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            arm();
            return;
        }
        ++count;
        title = box->windowTitle();
        text = box->text();
        const QMessageBox::StandardButtons buttons = box->standardButtons();
        box->button(QMessageBox::Ok)->click();
        arm();
        QCOMPARE(title, QCoreApplication::applicationName());
        QCOMPARE(text, m_expectedText);
        QCOMPARE(buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    }

    QString m_expectedText;
};

} // namespace kqtest
