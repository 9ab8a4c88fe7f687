#pragma once

#include <QList>
#include <QString>

// Subtitles beside an audio file: one cue a spoken line, timed in the rendered audio. Written as
// SubRip (.srt) and as lyrics (.lrc), both UTF-8, for players and for audiobook apps.
namespace tonaris {

struct SubtitleCue
{
    qint64 startMs = 0;
    qint64 endMs = 0;
    QString text; // one line, tags removed
};

QString SrtText(const QList<SubtitleCue> &cues);
QString LrcText(const QList<SubtitleCue> &cues, const QString &title);
// The text of a line as a cue shows it: inline tags removed, blanks collapsed.
QString CueText(const QString &line);
// Writes <audio without extension>.srt and .lrc atomically; false with a message.
bool WriteSubtitleFiles(const QString &audioPath, const QList<SubtitleCue> &cues, QString *error);

} // namespace tonaris
