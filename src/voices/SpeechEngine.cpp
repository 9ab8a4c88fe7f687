#include "voices/SpeechEngine.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace tonaris {

bool SpeechEngine::OpenOutputFile(const QString &, QString *error)
{
    if (error)
        *error = QCoreApplication::translate("SpeechEngine", "This voice cannot write a file.");
    return false;
}

bool SpeechEngine::CloseOutputFile(QString *)
{
    return true;
}

bool SpeechEngine::WaitUntilDone(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (RunningState() != SRSEDone) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(1);
    }
    return true;
}

} // namespace tonaris
