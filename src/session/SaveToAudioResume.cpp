// Resuming a long save cut short (a crash, a kill, a power cut): a journal in the folder of the
// volumes notes the text's fingerprint and where each volume begins. Volume targets appear only
// when complete, so the volumes present in an unbroken run from the first are done; the next
// save of the same text to the same target goes on from the volume after them.
#include "session/SaveToAudio.h"

#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "session/SpeechSession.h"
#include "voices/SpeechEngine.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace tonaris {

using MultiLang::Translate;

namespace {

const QString JournalName = QStringLiteral(".tonaris-resume");

} // namespace

QString SaveToAudio::resumeFingerprint() const
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const QString &line : std::as_const(s.SpeechLines))
        hash.addData((line + QLatin1Char('\n')).toUtf8());
    const SpeechEngine *voice = s.voice();
    const QString settings =
        QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8")
            .arg(SplitSizeIndex)
            .arg(AudioFileType)
            .arg(QFileInfo(AudioFilePath).fileName(), voice ? voice->CurrentVoiceId() : QString())
            .arg(voice ? voice->AudioFormatType() : 0)
            .arg(int(SpeakVolumeTitleAndVolumeNumber) * 2 + int(SpeakVolumeNumberAndVolumeTitle))
            .arg(int(AddInitialAndFinalSilence))
            .arg(Mp3Quality);
    hash.addData(settings.toUtf8());
    return QString::fromLatin1(hash.result().toHex());
}

bool SaveToAudio::offerResume(const QString &folder)
{
    m_resume = {};
    m_resumeJournal = QDir(folder).filePath(JournalName);
    QFile journal(m_resumeJournal);
    if (!QFileInfo(folder).isDir() || !journal.open(QIODevice::ReadOnly))
        return false;
    const QStringList lines = QString::fromUtf8(journal.readAll()).split(QLatin1Char('\n'));
    if (lines.value(0) != QLatin1String("fingerprint ") + resumeFingerprint())
        return false;
    // Where each volume begins, and its title: "volume <n> <line> <title>".
    QHash<int, std::pair<int, QString>> starts;
    for (const QString &line : lines) {
        const QStringList f = line.split(QLatin1Char(' '));
        if (f.size() >= 3 && f.at(0) == QLatin1String("volume"))
            starts.insert(f.at(1).toInt(), {f.at(2).toInt(), line.section(QLatin1Char(' '), 3)});
    }
    const QString name = QFileInfo(AudioFilePath).fileName();
    int done = 0;
    while (QFileInfo::exists(VolumePath(folder, done + 1, name)))
        ++done;
    while (done > 0 && !starts.contains(done + 1))
        --done;
    const auto next = starts.value(done + 1);
    if (done == 0 || next.first <= 0 || next.first > s.SpeechLineCount)
        return false;
    if (!s.HiddenMode && BatchMode != 2) {
        const int answer = Dialogs::instance()->choose(
            nullptr,
            Translate(QStringLiteral("A save of this text to %1 was cut short after volume %2."))
                    .arg(QDir::toNativeSeparators(folder))
                    .arg(done) +
                QStringLiteral("\r\n") +
                Translate(QStringLiteral("Do you want to continue it from volume %1?"))
                    .arg(done + 1),
            {Translate(QStringLiteral("&Continue")), Translate(QStringLiteral("&Start over"))},
            QStringLiteral("Tonaris"));
        if (answer != 0) {
            // Starting over: the old volumes and the journal go, the folder stays.
            for (int n = 1; QFileInfo::exists(VolumePath(folder, n, name)); ++n)
                QFile::remove(VolumePath(folder, n, name));
            QFile::remove(m_resumeJournal);
            m_resume.startOver = true;
            return true;
        }
    }
    m_resume.volume = done + 1;
    m_resume.line = next.first;
    m_resume.title = next.second;
    return true;
}

void SaveToAudio::applyResume()
{
    if (m_resumeJournal.isEmpty())
        return;
    if (m_resume.volume > 1) {
        // The voices chosen by the skipped lines still hold.
        for (int i = 0; i < m_resume.line; ++i)
            if (s.SpeechLines.at(i).trimmed().startsWith(QLatin1String("#VOICE"),
                                                         Qt::CaseInsensitive))
                s.InterpretKeywordLine(s.SpeechLines.at(i));
        s.SpeechLineIndex = m_resume.line;
        AudioVolumeNumber = m_resume.volume;
        return;
    }
    QSaveFile journal(m_resumeJournal);
    if (journal.open(QIODevice::WriteOnly)) {
        journal.write(
            (QLatin1String("fingerprint ") + resumeFingerprint() + QLatin1Char('\n')).toUtf8());
        journal.commit();
    }
}

void SaveToAudio::journalVolume(const QString &title)
{
    if (m_resumeJournal.isEmpty())
        return;
    QFile journal(m_resumeJournal);
    if (journal.open(QIODevice::Append)) {
        journal.write(QStringLiteral("volume %1 %2 %3\n")
                          .arg(AudioVolumeNumber)
                          .arg(s.SpeechLineIndex)
                          .arg(QString(title).replace(QLatin1Char('\n'), QLatin1Char(' ')))
                          .toUtf8());
        journal.flush();
    }
}

void SaveToAudio::finishResume()
{
    // An orderly end, finished or stopped by the user, leaves nothing to resume; a failed write
    // (a full disk) may be resumed once there is room.
    if (!m_resumeJournal.isEmpty() && !m_failed)
        QFile::remove(m_resumeJournal);
    m_resumeJournal.clear();
    m_resume = {};
}

} // namespace tonaris
