#include "session/BatchConversion.h"

#include "audio/Beep.h"
#include "audio/Mp3Encoder.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "documents/DocumentReaders.h"
#include "session/SaveToAudio.h"
#include "session/SpeechSession.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QScopedValueRollback>
#include <QTimer>

namespace tonaris {

namespace {
// How often the wait looks at the session; the save itself runs on the tick meanwhile.
constexpr int WaitPollMs = 20;
} // namespace

BatchConversion::BatchConversion(SpeechSession &session)
    : s(session)
{}

QString BatchConversion::OutputFileFor(const QString &documentPath)
{
    const QFileInfo info(documentPath);
    return QDir(info.absolutePath()).filePath(info.completeBaseName());
}

QString BatchConversion::SummaryText(int count)
{
    return QString::number(count) + QLatin1Char(' ') +
           MultiLang::Translate(QStringLiteral("Batch conversions accomplished."));
}

int BatchConversion::Run(const QStringList &files)
{
    if (m_running || s.SpeechState != SpeechSession::StateIdle ||
        s.SpeechRequest != SpeechSession::RequestNone)
        return 0;
    const QScopedValueRollback<bool> running(m_running, true);
    SaveToAudio &save = s.saver();
    Closing = false;
    m_outcome = Finished;
    Beep(4000, 100);

    int count = 0;
    for (const QString &path : files) {
        if (!QFileInfo::exists(path)) {
            m_outcome = MissingFile;
            return count;
        }
        QString text, error;
        ReadOptions options;
        options.idle = save.RunWithIdlePriority;
        if (!ReadDocument(path, text, error, options) || text.trimmed().isEmpty())
            continue; // nothing to say: no audio, no count

        save.BatchMode = 2;
        save.BatchOutputFile = OutputFileFor(path);
        // Whenever MP3 is possible it is taken, so that a batch never has a question to ask.
        save.BatchOutputFormat = Mp3Encoder::findLame(s.AppFolder).isEmpty() ? 1 : 0;
        save.ExitStatus = 0;
        s.SpeechText = text;
        s.SpeechRequest = SpeechSession::RequestSave;
        s.TimerSpeech_Timer();

        if (!waitForSave()) {
            m_outcome = Closed;
            if (s.SpeechState == SpeechSession::StateSaving) {
                s.AbortSaveToFile(); // the save sets BatchMode back when it takes the abort
                save.KillEncoders();
                s.SetTimerFast();
            } else {
                save.BatchMode = 0;
            }
            return count;
        }
        if (save.BatchMode == 0) { // the save took an abort
            m_outcome = Aborted;
            break;
        }
        save.BatchMode = 0;
        // A save that failed has told why; it is no conversion.
        if (save.ExitStatus == 0)
            ++count;
    }

    Beep(3000, 200);
    QTimer::singleShot(300, [] { Beep(3000, 200); });
    if (count > 0)
        Dialogs::instance()->message(nullptr, SummaryText(count), Dialogs::Information,
                                     QStringLiteral("Tonaris"));
    return count;
}

// Serves events until the save of the file has ended; false when the window closed first.
bool BatchConversion::waitForSave()
{
    auto done = [this] {
        return s.SpeechState == SpeechSession::StateIdle &&
               s.SpeechRequest == SpeechSession::RequestNone;
    };
    if (Closing)
        return false;
    if (done())
        return true;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(WaitPollMs);
    bool finished = false;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (Closing) {
            loop.quit();
        } else if (done()) {
            finished = true;
            loop.quit();
        }
    });
    poll.start();
    // The application quitting ends every event loop, this one too: that counts as closing.
    loop.exec();
    return finished && !Closing;
}

} // namespace tonaris
