#pragma once

#include <QString>
#include <QStringList>

namespace tonaris {

class SpeechSession;

// Turns many documents into audio files, one after the other. Each document is read as Open
// reads it, handed to the speech loop as a save with BatchMode 2, and becomes an MP3 of its own
// name beside it (a WAV when lame is missing), with the voice, format and audio-book options of
// the moment. Existing targets are replaced without a question and the single saves give no
// beeps; the batch sounds one tone at its start and two at its end, then tells how many files
// it converted. Unreadable and empty documents are passed over; a file that no longer exists
// ends the batch at once, without tones or summary.
//
// Run() waits for each save in a nested event loop, so the window, the tick and the progress
// window (with its abort) stay live. UI thread only.
class BatchConversion
{
public:
    enum Outcome {
        Finished,    // every file was tried
        Aborted,     // the user aborted a save: the rest is left
        MissingFile, // a listed file was gone
        Closed,      // the window closed
    };

    explicit BatchConversion(SpeechSession &session);

    // Set when the window closes; the batch stops at its next look, silently, and the save under
    // way is aborted.
    bool Closing = false;

    // Converts the files in the given order and returns how many were converted. Does nothing
    // while the session is busy.
    int Run(const QStringList &files);
    Outcome outcome() const { return m_outcome; }
    bool isRunning() const { return m_running; }

    // The target of a document: its path without the extension.
    static QString OutputFileFor(const QString &documentPath);
    static QString SummaryText(int count);

private:
    bool waitForSave();

    SpeechSession &s;
    Outcome m_outcome = Finished;
    bool m_running = false;
};

} // namespace tonaris
