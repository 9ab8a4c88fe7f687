#include "session/Subtitles.h"

#include "config/MultiLang.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

namespace tonaris {

namespace {

QString clock(qint64 ms, bool srt)
{
    ms = std::max<qint64>(0, ms);
    const qint64 hours = ms / 3600000, minutes = ms / 60000 % 60, seconds = ms / 1000 % 60;
    if (srt)
        return QStringLiteral("%1:%2:%3,%4")
            .arg(hours, 2, 10, QLatin1Char('0'))
            .arg(minutes, 2, 10, QLatin1Char('0'))
            .arg(seconds, 2, 10, QLatin1Char('0'))
            .arg(ms % 1000, 3, 10, QLatin1Char('0'));
    // Lyrics count minutes past the hour on.
    return QStringLiteral("[%1:%2.%3]")
        .arg(ms / 60000, 2, 10, QLatin1Char('0'))
        .arg(seconds, 2, 10, QLatin1Char('0'))
        .arg(ms % 1000 / 10, 2, 10, QLatin1Char('0'));
}

bool writeAtomically(const QString &path, const QString &text, QString *error)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit())
        return true;
    if (error)
        *error = MultiLang::Translate(QStringLiteral("Cannot write %1.")).arg(path) +
                 QLatin1Char(' ') + file.errorString();
    return false;
}

} // namespace

QString CueText(const QString &line)
{
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    return QString(line).remove(tag).simplified();
}

QString SrtText(const QList<SubtitleCue> &cues)
{
    QString out;
    int number = 0;
    for (const SubtitleCue &cue : cues)
        out += QString::number(++number) + QLatin1String("\r\n") + clock(cue.startMs, true) +
               QLatin1String(" --> ") + clock(cue.endMs, true) + QLatin1String("\r\n") + cue.text +
               QLatin1String("\r\n\r\n");
    return out;
}

QString LrcText(const QList<SubtitleCue> &cues, const QString &title)
{
    QString out = QLatin1String("[ti:") + title + QLatin1String("]\r\n");
    for (const SubtitleCue &cue : cues)
        out += clock(cue.startMs, false) + cue.text + QLatin1String("\r\n");
    return out;
}

bool WriteSubtitleFiles(const QString &audioPath, const QList<SubtitleCue> &cues, QString *error)
{
    const QFileInfo audio(audioPath);
    const QString base = audio.absolutePath() + QLatin1Char('/') + audio.completeBaseName();
    return writeAtomically(base + QLatin1String(".srt"), SrtText(cues), error) &&
           writeAtomically(base + QLatin1String(".lrc"), LrcText(cues, audio.completeBaseName()),
                           error);
}

} // namespace tonaris
