#pragma once

#include <QDialog>

class QComboBox;
class QGroupBox;
class QPushButton;

namespace tonaris {

class SpeechRecognizer;

// The modal window of the recognition options: which installed model listens and to which
// audio input. OK hands both choices to the recogniser, for its next session; Cancel keeps
// the old ones. With nothing to choose from it closes at once.
class FormASROptions : public QDialog
{
    Q_OBJECT
public:
    FormASROptions(SpeechRecognizer *recognizer, QWidget *parent);

    // False when the lists were empty and the window has closed itself.
    bool loaded() const { return m_loaded; }

    void CommandOK_Click();
    void CommandCancel_Click();

private:
    void Form_Load();

    SpeechRecognizer *m_recognizer;
    bool m_loaded = false;
    QGroupBox *FrameRecognitionEngine = nullptr;
    QComboBox *ComboRecognitionEngine = nullptr;
    QGroupBox *FrameRecognitionAudioInput = nullptr;
    QComboBox *ComboRecognitionInputDevice = nullptr;
    QPushButton *CommandOK = nullptr;
    QPushButton *CommandCancel = nullptr;
};

} // namespace tonaris
