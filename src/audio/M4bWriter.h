#pragma once

#include <QList>
#include <QString>

// An audiobook in one .m4b file (AAC in MP4) with a chapter per part, made by ffmpeg from the
// WAV files of the parts. The chapter marks, the book's title and the chapter titles travel in
// a metadata file ffmpeg reads beside the audio. The target appears only when complete.
// Blocks until ffmpeg ends: run it on a worker thread.
namespace tonaris::M4bWriter {

struct Part
{
    QString wavPath;
    qint64 durationMs = 0;
    QString title;
};

// ffmpeg's metadata file for these parts: the title, then one chapter a part.
QString ChapterMetadata(const QString &title, const QList<Part> &parts);

// The ffmpeg beside the program first, then the one on PATH; "" when there is none.
QString FindFfmpeg(const QString &programFolder);

// Encodes the parts, in order, into `target`; false with a message (the parts stay).
bool Write(const QString &ffmpeg, const QList<Part> &parts, const QString &title,
           const QString &target, bool idlePriority, QString *error);

} // namespace tonaris::M4bWriter
