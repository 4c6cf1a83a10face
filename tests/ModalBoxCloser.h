// Test support: answers the message boxes a widget opens.
#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

namespace kqtest {

// Answers every modal message box that comes up while it lives by clicking
// its `answer` button (a box without one is rejected), from a timer that
// keeps looking until one is up, and remembers what the last box showed.
class ModalBoxAnswerer : public QObject {
public:
    explicit ModalBoxAnswerer(QMessageBox::StandardButton answer)
        : m_answer(answer)
    {
        arm();
    }

    int count = 0;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;

protected:
    // After each box was answered; what the box showed is in the members.
    virtual void answered() { }

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
        buttons = box->standardButtons();
        if (QAbstractButton* button = box->button(m_answer))
            button->click();
        else
            box->reject();
        arm();
        answered();
    }

    QMessageBox::StandardButton m_answer;
};

// Closes the warning boxes a widget opens with Ok, and checks there that
// each is titled with the application name, shows `expectedText`, with Ok
// as its only button.
class ModalBoxCloser : public ModalBoxAnswerer {
public:
    explicit ModalBoxCloser(const QString& expectedText)
        : ModalBoxAnswerer(QMessageBox::Ok)
        , m_expectedText(expectedText)
    {
    }

protected:
    void answered() override
    {
        QCOMPARE(title, QCoreApplication::applicationName());
        QCOMPARE(text, m_expectedText);
        QCOMPARE(buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    }

private:
    QString m_expectedText;
};

} // namespace kqtest
