#pragma once

#include "session/SpeechSession.h"

#include <QMainWindow>

class QCheckBox;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;

namespace tonaris {

class SpeechEngine;
class Text;

// The main window: the editor, the speech commands and the state display around one session.
class Form1 : public QMainWindow
{
    Q_OBJECT
public:
    // With no engines given, the window makes the built-in ones; tests may pass their own.
    explicit Form1(SpeechEngine *voice = nullptr, SpeechEngine *voiceOver = nullptr,
                   QWidget *parent = nullptr);
    ~Form1() override;

    SpeechSession &session() { return m_session; }
    Text *Text1 = nullptr;

    // False when no audio output exists: speaking aloud is then disabled.
    bool canSpeak() const { return m_canSpeak; }

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void buildWindow();
    void buildContextMenu();
    void fillVoices();
    void ComboVoci_Click();
    void onDisplayChanged(int display);
    void Text1_ContextMenu(bool &handled, const QPoint &globalPos);
    void translateCaptions();

    SpeechSession m_session;
    SpeechEngine *Voice = nullptr;
    SpeechEngine *VoiceOver = nullptr;
    bool m_canSpeak = true;

    QComboBox *ComboVoci = nullptr;
    QPushButton *CommandSpeech = nullptr;
    QPushButton *CommandPauseResume = nullptr;
    QPushButton *CommandSpeakFromThisLine = nullptr;
    QPushButton *CommandSpeakNextLine = nullptr;
    QPushButton *CommandSpeakPrevLine = nullptr;
    QPushButton *CommandSpeakCurrentLine = nullptr;
    QCheckBox *CheckTracking = nullptr;
    QLabel *StatusBar = nullptr;
    QLabel *StatusBarVoice = nullptr;
    QLabel *ImagePuntoSpento = nullptr;
    QLabel *ImagePuntoVerde = nullptr;
    QLabel *ImagePuntoRosso = nullptr;
    QMenu *MenuQuickVoiceSelect = nullptr;
};

} // namespace tonaris
