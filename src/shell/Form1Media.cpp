// The reader as the desktop's media player: media keys and the sound menu play and pause,
// stop, and move by lines, as F4, F5, Esc, F6 and F8 do.
#include "shell/Form1.h"

#include "audio/AudioOutput.h"
#include "shell/MediaControls.h"

namespace tonaris {

void Form1::setupMediaControls()
{
    // A render to a file plays nothing: it stays off the sound menu.
    if (!AudioOutput::devicesWanted())
        return;
    auto running = [this] {
        const int state = m_session.SpeechState;
        return state == SpeechSession::StateSpeaking || state == SpeechSession::StatePaused ||
               state == SpeechSession::StatePausedRecognizing ||
               state == SpeechSession::StateRecognizing;
    };
    auto paused = [this] {
        return m_session.SpeechState == SpeechSession::StatePaused ||
               m_session.SpeechState == SpeechSession::StatePausedRecognizing;
    };
    MediaCommands commands;
    commands.playPause = [this, running] {
        if (running())
            m_session.CommandPauseResume_Click();
        else if (m_session.SpeechState == SpeechSession::StateIdle)
            m_session.CommandSpeech_Click();
    };
    commands.play = [this, paused] {
        if (paused())
            m_session.CommandPauseResume_Click();
        else if (m_session.SpeechState == SpeechSession::StateIdle)
            m_session.CommandSpeech_Click();
    };
    commands.pause = [this, paused, running] {
        if (running() && !paused())
            m_session.CommandPauseResume_Click();
    };
    commands.stop = [this] { stopReading(); };
    commands.next = [this] { m_session.CommandSpeakNextLine_Click(); };
    commands.previous = [this] { m_session.CommandSpeakPrevLine_Click(); };
    commands.raise = [this] {
        showNormal();
        raise();
        activateWindow();
    };
    commands.quit = [this] { close(); };
    commands.status = [this, running, paused] {
        if (paused())
            return int(MediaControls::Paused);
        return running() ? int(MediaControls::Playing) : int(MediaControls::Stopped);
    };
    commands.line = [this, running] {
        const int index = m_session.SpeechLineIndex;
        return running() && index >= 1 && index <= m_session.SpeechLines.size() ? index : 0;
    };
    commands.title = [this, line = commands.line] {
        const int index = line();
        return index > 0 ? m_session.SpeechLines.at(index - 1).trimmed() : QString();
    };
    Media = new MediaControls(std::move(commands), this);
}

} // namespace tonaris
