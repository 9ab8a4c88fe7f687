// Speaking what is copied: with "Get Clipboard" on, each new text on the clipboard is spoken
// within a second, whatever program copied it. It never enters the editor and never starts a
// program.
#include "shell/Form1.h"

#include "shell/ClipboardWatch.h"

#include <QCheckBox>

namespace tonaris {

void Form1::clipboardLook()
{
    if (!CheckGetClipboard->isChecked() || m_session.SpeechState == SpeechSession::StateSaving)
        return;
    if (++ClipboardTicks < 10)
        return;
    ClipboardTicks = 0;
    const QString text = Clipboard->text();
    if (text == LastClipboardText)
        return;
    if (m_session.SpeechState == SpeechSession::StateSpeaking) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
    // Paused or listening: the text waits for a later look.
    if (m_session.SpeechState != SpeechSession::StateIdle)
        return;
    LastClipboardText = text;
    if (text.isEmpty())
        return;
    m_session.SpeakLooseText(text);
    m_session.SpeechFromClipboard = true; // a copied text never starts a program
}

} // namespace tonaris
