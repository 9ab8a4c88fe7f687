#pragma once

#include <QGroupBox>
#include <QIcon>

#include <functional>

class QPushButton;
class QTimer;

namespace tonaris {

class AudioRecorder;

// The frame "Record from Microphone": record a voice note, hear it, and insert it into the text
// as a #PLAY line, so that a script mixes recorded sound with speech. Three picture buttons
// drive the recorder; the inner frame's caption says what the focused button will do. Without
// any microphone the record button is disabled and its tool tip says why.
class FrameRecord : public QGroupBox
{
    Q_OBJECT
public:
    // What the frame needs of its window; any may be left empty.
    struct Host
    {
        // The selected line of the audio format list ("44 kHz 16 Bit Stereo").
        std::function<QString()> formatCaption;
        // The folder of the last audio file, where the recording is proposed to go.
        std::function<QString()> audioFolder;
        // Puts text at the editor's caret.
        std::function<void(const QString &text)> insertText;
        // Shows the recorder's state ("Recording 3 sec.") in the window's status line.
        std::function<void(const QString &text)> showStatus;
    };

    explicit FrameRecord(QWidget *parent = nullptr);
    ~FrameRecord() override;
    void setHost(Host host) { m_host = std::move(host); }

    AudioRecorder *recorder() const { return AudioRecorder1; }

    // 0 idle, 1 recording; 1 while the recording is being played back.
    int RecorderRecording = 0;
    int RecorderPlaying = 0;
    int RecorderSeconds = 0;
    quint8 RecorderBlink = 0;

    void CommandRec_Click();
    void CommandPlayRec_Click();
    void CommandInsertRec_Click();
    void TimerRecord_Timer();
    // A playback that has ended by itself gives the play button back.
    void RecorderPlaybackWatch();

    // The button pictures: 0 and 1 recording (alternating), 2 record at rest, 3 play at rest,
    // 4 playing, 5 insert.
    static QIcon ImageSymbol(int index);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QString action(QPushButton *button) const;
    void refresh();
    void showCaption(QPushButton *button);
    void status(const QString &text);

    QGroupBox *FrameCommandsRec = nullptr;
    QPushButton *CommandRec = nullptr;
    QPushButton *CommandPlayRec = nullptr;
    QPushButton *CommandInsertRec = nullptr;
    QTimer *TimerRecord = nullptr;
    AudioRecorder *AudioRecorder1 = nullptr;
    Host m_host;
    QString m_lastFolder; // of the last recording saved
};

} // namespace tonaris
