#include "shell/FrameRecord.h"

#include "audio/AudioOutput.h"
#include "audio/AudioRecorder.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"

#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QMediaDevices>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

namespace {
const char *const Pictures[] = {"recording-lit", "recording-dim", "record",
                                "play",          "playing",       "insert"};
} // namespace

QIcon FrameRecord::ImageSymbol(int index)
{
    static QIcon icons[std::size(Pictures)];
    if (index < 0 || index >= int(std::size(Pictures)))
        return {};
    if (icons[index].isNull())
        icons[index] =
            QIcon(QStringLiteral(":/recorder/%1.svg").arg(QLatin1String(Pictures[index])));
    return icons[index];
}

FrameRecord::FrameRecord(QWidget *parent)
    : QGroupBox(QStringLiteral("Record from Microphone"), parent)
{
    setObjectName(QStringLiteral("FrameRecord"));
    auto *layout = new QVBoxLayout(this);
    FrameCommandsRec = new QGroupBox(QStringLiteral("Start Record"), this);
    FrameCommandsRec->setObjectName(QStringLiteral("FrameCommandsRec"));
    FrameCommandsRec->setFlat(true);
    layout->addWidget(FrameCommandsRec);
    auto *row = new QHBoxLayout(FrameCommandsRec);
    auto button = [&](const char *name) {
        auto *b = new QPushButton(FrameCommandsRec);
        b->setObjectName(QLatin1String(name));
        b->setIconSize(QSize(24, 24));
        b->installEventFilter(this);
        row->addWidget(b);
        return b;
    };
    CommandRec = button("CommandRec");
    CommandPlayRec = button("CommandPlayRec");
    CommandInsertRec = button("CommandInsertRec");
    CommandPlayRec->setEnabled(false);
    CommandInsertRec->setEnabled(false);

    TimerRecord = new QTimer(this);
    TimerRecord->setObjectName(QStringLiteral("TimerRecord"));
    TimerRecord->setInterval(1000);
    AudioRecorder1 = new AudioRecorder(this);
    AudioRecorder1->setObjectName(QStringLiteral("AudioRecorder1"));

    connect(CommandRec, &QPushButton::clicked, this, &FrameRecord::CommandRec_Click);
    connect(CommandPlayRec, &QPushButton::clicked, this, &FrameRecord::CommandPlayRec_Click);
    connect(CommandInsertRec, &QPushButton::clicked, this, &FrameRecord::CommandInsertRec_Click);
    connect(TimerRecord, &QTimer::timeout, this, &FrameRecord::TimerRecord_Timer);
    connect(AudioRecorder1, &AudioRecorder::statusChanged, this, [this](int status) {
        if (RecorderRecording == 1 && status != AudioRecorder::Recording)
            CommandRec_Click(); // the microphone went away: what was heard is kept
        RecorderPlaybackWatch();
    });
    // A run that only renders to files opens no connection to the sound server.
    if (AudioOutput::devicesWanted()) {
        auto *devices = new QMediaDevices(this);
        connect(devices, &QMediaDevices::audioInputsChanged, this, &FrameRecord::refresh);
    }
    refresh();
}

FrameRecord::~FrameRecord() = default;

void FrameRecord::status(const QString &text)
{
    if (m_host.showStatus)
        m_host.showStatus(text);
}

// What the button will do, in the window's language.
QString FrameRecord::action(QPushButton *button) const
{
    const char *text = button == CommandInsertRec ? "Insert Recorded"
                       : button == CommandPlayRec
                           ? (RecorderPlaying == 1 ? "Stop Play" : "Play Recorded")
                           : (RecorderRecording == 1 ? "Stop Recording" : "Start Recording");
    return Translate(QLatin1String(text));
}

// The pictures of the state, and each button named by its action for the screen reader and the
// tool tip. Without any microphone the record button is off, and its tool tip says why.
void FrameRecord::refresh()
{
    CommandRec->setIcon(ImageSymbol(RecorderRecording == 0 ? 2 : RecorderBlink ? 1 : 0));
    CommandPlayRec->setIcon(ImageSymbol(RecorderPlaying == 1 ? 4 : 3));
    CommandInsertRec->setIcon(ImageSymbol(5));
    for (QPushButton *b : {CommandRec, CommandPlayRec, CommandInsertRec}) {
        b->setAccessibleName(action(b));
        b->setToolTip(action(b));
    }
    const bool microphone = AudioRecorder::anyInputDevice();
    if (RecorderRecording == 0)
        CommandRec->setEnabled(microphone);
    if (!microphone)
        CommandRec->setToolTip(Translate(QStringLiteral("No microphone is available.")));
}

// The inner frame's caption tells what the focused button, else the one pressed, will do.
void FrameRecord::showCaption(QPushButton *button)
{
    refresh();
    for (QPushButton *b : {CommandRec, CommandPlayRec, CommandInsertRec})
        if (b->hasFocus())
            button = b;
    FrameCommandsRec->setTitle(action(button));
}

bool FrameRecord::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::FocusIn)
        if (auto *b = qobject_cast<QPushButton *>(watched))
            FrameCommandsRec->setTitle(action(b));
    return QGroupBox::eventFilter(watched, event);
}

void FrameRecord::showEvent(QShowEvent *event)
{
    refresh(); // the language is loaded by now
    QGroupBox::showEvent(event);
}

void FrameRecord::CommandRec_Click()
{
    AudioRecorder &rec = *AudioRecorder1;
    if (RecorderRecording == 0) {
        CommandPlayRec->setEnabled(false);
        CommandInsertRec->setEnabled(false);
        RecorderPlaying = 0; // the new recording ends the playback of the old
        status(Translate(QStringLiteral("Recording")) + QStringLiteral(" 0 ") +
               Translate(QStringLiteral("sec")));
        RecorderSeconds = 0;
        RecorderBlink = 0;
        TimerRecord->start();
        TimerRecord_Timer();
        RecorderRecording = 1;
        showCaption(CommandRec);
        const PcmFormat format = AudioRecorder::FormatFromCaption(
            m_host.formatCaption ? m_host.formatCaption() : QString());
        rec.OpenRecorder();
        rec.SetAudioFormat(format.bitsPerSample, format.sampleRate, format.channels);
        if (!rec.StartRecord()) {
            TimerRecord->stop();
            RecorderRecording = 0;
            rec.CloseRecorder();
            showCaption(CommandRec);
            status(QString());
            Dialogs::instance()->message(
                this, Translate(QStringLiteral("The microphone cannot be opened.")),
                Dialogs::Exclamation, QStringLiteral("Tonaris"));
        }
        return;
    }
    CommandPlayRec->setEnabled(true);
    CommandInsertRec->setEnabled(true);
    RecorderRecording = 0;
    status(Translate(QStringLiteral("Recorded")) + QLatin1Char(' ') +
           QString::number(RecorderSeconds) + QLatin1Char(' ') + Translate(QStringLiteral("sec.")));
    TimerRecord->stop();
    rec.StopRecord();
    showCaption(CommandRec);
}

void FrameRecord::TimerRecord_Timer()
{
    status(Translate(QStringLiteral("Recording")) + QLatin1Char(' ') +
           QString::number(RecorderSeconds) + QLatin1Char(' ') + Translate(QStringLiteral("sec.")));
    RecorderBlink = RecorderBlink != 0 && RecorderSeconds != 0 ? 0 : 1;
    CommandRec->setIcon(ImageSymbol(RecorderBlink ? 1 : 0)); // picture 1 when set, else 0
    ++RecorderSeconds;
}

void FrameRecord::CommandPlayRec_Click()
{
    AudioRecorder &rec = *AudioRecorder1;
    const int state = rec.GetStatus();
    if (state == AudioRecorder::Stopped) {
        if (!rec.PlayRecorded())
            return;
        RecorderPlaying = 1;
        showCaption(CommandPlayRec);
    } else if (RecorderPlaying == 1 && state == AudioRecorder::Playing) {
        rec.StopPlayRecorded();
        RecorderPlaying = 0;
        showCaption(CommandPlayRec);
    }
}

void FrameRecord::RecorderPlaybackWatch()
{
    if (RecorderPlaying == 1 && AudioRecorder1->GetStatus() == AudioRecorder::Stopped) {
        RecorderPlaying = 0;
        showCaption(CommandPlayRec);
    }
}

void FrameRecord::CommandInsertRec_Click()
{
    AudioRecorder &rec = *AudioRecorder1;
    if (rec.GetStatus() != AudioRecorder::Stopped)
        return;
    QString folder = m_lastFolder;
    if (folder.isEmpty() && m_host.audioFolder)
        folder = m_host.audioFolder();
    if (folder.isEmpty())
        folder = QDir::homePath();
    QString path = Dialogs::instance()->saveFileName(
        this, Translate(QStringLiteral("Save Recorded Wav as...")),
        Translate(QStringLiteral("Wav File (*.wav)")) + QStringLiteral(";;") +
            Translate(QStringLiteral("All files (*)")),
        QDir(folder).filePath(QStringLiteral("Recorded")));
    if (path.isEmpty())
        return;
    if (QFileInfo(path).suffix().isEmpty())
        path += QStringLiteral(".wav");
    path = QFileInfo(path).absoluteFilePath();
    // The old file is replaced only once the new one is complete.
    if (QFileInfo::exists(path)) {
        const int answer = Dialogs::instance()->choose(
            this,
            path + QLatin1Char(' ') + Translate(QStringLiteral("already exists.")) +
                QStringLiteral("\r\n") + Translate(QStringLiteral("Do you want to replace it?")),
            {Translate(QStringLiteral("&Yes")), Translate(QStringLiteral("&No"))},
            Translate(QStringLiteral("Save Recorded wav File as")));
        if (answer != 0)
            return;
    }
    QString error;
    if (!rec.SaveRecordedAs(path, &error)) {
        // The recording stays, to be saved elsewhere.
        Dialogs::instance()->message(
            this,
            Translate(QStringLiteral("The recording could not be saved as %1: %2"))
                .arg(path, error),
            Dialogs::Exclamation, QStringLiteral("Tonaris"));
        return;
    }
    m_lastFolder = QFileInfo(path).absolutePath();
    if (m_host.insertText)
        m_host.insertText(QStringLiteral("#PLAY \"") + path + QStringLiteral("\"\r\n"));
    rec.CloseRecorder();
    RecorderRecording = 0;
    CommandPlayRec->setEnabled(false);
    CommandInsertRec->setEnabled(false);
}

} // namespace tonaris
