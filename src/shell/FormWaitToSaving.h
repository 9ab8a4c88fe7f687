#pragma once

#include <QDialog>

class QCheckBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QTimer;

namespace tonaris {

// The progress window of a save to audio: what is being done, how far, an abort button and
// the choice to power the computer off at the end. Modeless; hidden between saves.
class FormWaitToSaving : public QDialog
{
    Q_OBJECT
public:
    explicit FormWaitToSaving(QWidget *parent);

    // The one way to update the window. Sets only what differs, so a call without a change is
    // cheap; a change lets pending window events run, so the window stays live.
    void AggiornaFormWaitToSaving(const QString &In_Messaggio1, const QString &In_Messaggio2,
                                  bool In_Messaggio2IsGrayed, int In_PercentualeDiAvanzamento);

    bool shutdownAtEnd() const;
    void clearShutdownAtEnd();

signals:
    // The abort button, or the window's close box.
    void abortRequested();

protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    void reject() override;

private:
    QGroupBox *Frame1 = nullptr;
    QLabel *Label1 = nullptr;
    QLabel *Label2 = nullptr;
    QCheckBox *CheckShutdownAtEnd = nullptr;
    QPushButton *CommandAbort = nullptr;
};

// The minute before the computer powers off, after a save that asked for it. Abort closes it
// and nothing further happens.
class FormWaitToShutdown : public QDialog
{
    Q_OBJECT
public:
    explicit FormWaitToShutdown(QWidget *parent);

    int ShutdownCountdown = 60;
    void TimerShutdown_Timer();

private:
    QLabel *LabelShutdown = nullptr;
    QPushButton *CommandAbort = nullptr;
    QTimer *TimerShutdown = nullptr;
};

} // namespace tonaris
