#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QPushButton;

namespace tonaris {

class Form1;
class LevelSlider;

// The modal window of the second voice for quoted passages: on or off, which voice, its speed and
// its pitch. It works on copies and hands them to the main window on OK; Cancel stores nothing.
// Picking a voice speaks its name in that voice; with verbose mode on, a key step of a slider
// speaks the number.
class FormQuotedTextOptions : public QDialog
{
    Q_OBJECT
public:
    explicit FormQuotedTextOptions(Form1 *owner);

    void CheckEnableVoiceForQuotedText_Click();
    void ComboVoci_Click();
    void CommandOK_Click();
    void CommandCancel_Click();

private:
    void Form_Load();
    void speakSample(const QString &text);

    Form1 *m_owner;
    int Updating = 0; // above 0 while the window sets the list itself: nothing is spoken
    QCheckBox *CheckEnableVoiceForQuotedText = nullptr;
    QGroupBox *FrameVoiceSelect = nullptr;
    QGroupBox *FrameSubVoiceSelect = nullptr;
    QComboBox *ComboVoci = nullptr;
    QGroupBox *FrameSpeed = nullptr;
    QGroupBox *FramePitch = nullptr;
    LevelSlider *PictureSpeedButton = nullptr;
    LevelSlider *PicturePitchButton = nullptr;
    QPushButton *CommandOK = nullptr;
    QPushButton *CommandCancel = nullptr;
};

} // namespace tonaris
