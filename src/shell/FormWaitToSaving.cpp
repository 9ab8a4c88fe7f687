#include "shell/FormWaitToSaving.h"

#include "audio/Beep.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "config/PowerOff.h"
#include "shell/TranslateForm.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

FormWaitToSaving::FormWaitToSaving(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("FormWaitToSaving"));
    setModal(false);
    setWindowTitle(QStringLiteral("Tonaris 0% - "));
    auto *layout = new QVBoxLayout(this);
    Frame1 = new QGroupBox(QStringLiteral("Conversion Progress"), this);
    Frame1->setObjectName(QStringLiteral("Frame1"));
    auto *frameLayout = new QVBoxLayout(Frame1);
    Label1 = new QLabel(Frame1);
    Label1->setObjectName(QStringLiteral("Label1"));
    Label2 = new QLabel(Frame1);
    Label2->setObjectName(QStringLiteral("Label2"));
    frameLayout->addWidget(Label1);
    frameLayout->addWidget(Label2);
    layout->addWidget(Frame1);
    CheckShutdownAtEnd = new QCheckBox(QStringLiteral("When finish shutdown PC"), this);
    CheckShutdownAtEnd->setObjectName(QStringLiteral("CheckShutdownAtEnd"));
    layout->addWidget(CheckShutdownAtEnd);
    CommandAbort = new QPushButton(QStringLiteral("&Abort"), this);
    CommandAbort->setObjectName(QStringLiteral("CommandAbort"));
    CommandAbort->setAutoDefault(false);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(CommandAbort);
    layout->addLayout(buttons);
    setMinimumWidth(360);
    connect(CommandAbort, &QPushButton::clicked, this, &FormWaitToSaving::abortRequested);
    TranslateForm(this);
}

void FormWaitToSaving::AggiornaFormWaitToSaving(const QString &In_Messaggio1,
                                                const QString &In_Messaggio2,
                                                bool In_Messaggio2IsGrayed,
                                                int In_PercentualeDiAvanzamento)
{
    const QString percent = QString::number(In_PercentualeDiAvanzamento) + QLatin1Char('%');
    bool changed = false;
    const QString caption = QStringLiteral("Tonaris ") + percent + QStringLiteral(" - ") +
                            In_Messaggio1 + QLatin1Char(' ');
    if (windowTitle() != caption) {
        setWindowTitle(caption);
        changed = true;
    }
    if (Label1->text() != In_Messaggio1) {
        Label1->setText(In_Messaggio1);
        Label2->setEnabled(!In_Messaggio2IsGrayed); // gray is the text colour of disabled text
        changed = true;
    }
    const QString second = In_Messaggio2 + QLatin1Char(' ') + percent;
    if (Label2->text() != second) {
        Label2->setText(second);
        changed = true;
    }
    if (changed && isVisible())
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

bool FormWaitToSaving::shutdownAtEnd() const
{
    return CheckShutdownAtEnd->isChecked();
}

void FormWaitToSaving::clearShutdownAtEnd()
{
    CheckShutdownAtEnd->setChecked(false);
}

void FormWaitToSaving::closeEvent(QCloseEvent *event)
{
    // The close box is an abort; the save hides the window when it has ended.
    if (event->spontaneous()) {
        event->ignore();
        emit abortRequested();
        return;
    }
    QDialog::closeEvent(event);
}

void FormWaitToSaving::reject()
{
    emit abortRequested(); // Escape
}

void FormWaitToSaving::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::WindowStateChange && isMinimized() && parentWidget())
        parentWidget()->showMinimized();
    QDialog::changeEvent(event);
}

FormWaitToShutdown::FormWaitToShutdown(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("FormWaitToShutdown"));
    setWindowTitle(QStringLiteral("Tonaris Shutdown"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto *layout = new QVBoxLayout(this);
    LabelShutdown = new QLabel(QStringLiteral("System Shutdown in 60 sec"), this);
    LabelShutdown->setObjectName(QStringLiteral("LabelShutdown"));
    layout->addWidget(LabelShutdown);
    CommandAbort = new QPushButton(QStringLiteral("&Abort"), this);
    CommandAbort->setObjectName(QStringLiteral("CommandAbort"));
    layout->addWidget(CommandAbort);
    TimerShutdown = new QTimer(this);
    TimerShutdown->setObjectName(QStringLiteral("TimerShutdown"));
    TimerShutdown->setInterval(1000);
    connect(TimerShutdown, &QTimer::timeout, this, &FormWaitToShutdown::TimerShutdown_Timer);
    connect(CommandAbort, &QPushButton::clicked, this, &QDialog::reject);
    connect(this, &QDialog::finished, TimerShutdown, &QTimer::stop);
    TranslateForm(this);
    Beep(1000, 120);
    QTimer::singleShot(130, this, [] { Beep(1000, 120); });
    QTimer::singleShot(260, this, [] { Beep(1000, 120); });
    TimerShutdown->start();
}

void FormWaitToShutdown::TimerShutdown_Timer()
{
    if (ShutdownCountdown > 0)
        --ShutdownCountdown;
    LabelShutdown->setText(Translate(QStringLiteral("System Shutdown in ")) +
                           QString::number(ShutdownCountdown) + Translate(QStringLiteral(" sec")));
    if (ShutdownCountdown == 0) {
        TimerShutdown->stop();
        QString error;
        if (!PowerOff::instance()->powerOff(&error))
            Dialogs::instance()->message(
                this,
                Translate(QStringLiteral("The computer could not be turned off.")) +
                    QStringLiteral("\r\n") + error,
                Dialogs::Exclamation, QStringLiteral("Tonaris"));
        accept();
    }
}

} // namespace tonaris
