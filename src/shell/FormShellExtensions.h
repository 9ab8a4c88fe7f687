#pragma once

#include <QDialog>

class QCheckBox;
class QPushButton;

namespace tonaris {

// Turns the four file-manager verbs on and off for the six kinds of document. The boxes show
// the state of "txt"; OK writes or removes each verb for all six.
class FormShellExtensions : public QDialog
{
    Q_OBJECT
public:
    // The verbs run `program` (this executable when empty).
    explicit FormShellExtensions(QWidget *parent, const QString &program = QString());

    void CommandOK_Click();
    void CommandCancel_Click();

private:
    void Form_Load();

    QString m_program;
    QCheckBox *CheckOpen = nullptr;
    QCheckBox *CheckSpeak = nullptr;
    QCheckBox *CheckWav = nullptr;
    QCheckBox *CheckMp3 = nullptr;
    QPushButton *CommandOK = nullptr;
    QPushButton *CommandCancel = nullptr;
};

} // namespace tonaris
