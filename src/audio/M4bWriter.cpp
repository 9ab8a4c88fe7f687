#include "audio/M4bWriter.h"

#include "audio/Mp3Encoder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>

namespace tonaris::M4bWriter {

namespace {

// Characters that mean something in ffmpeg's metadata file are escaped by a backslash.
QString escaped(const QString &value)
{
    QString out;
    for (const QChar c : value) {
        if (c == QLatin1Char('=') || c == QLatin1Char(';') || c == QLatin1Char('#') ||
            c == QLatin1Char('\\'))
            out += QLatin1Char('\\');
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            out += QLatin1Char(' ');
        else
            out += c;
    }
    return out;
}

QString tr(const char *text)
{
    return QCoreApplication::translate("M4bWriter", text);
}

} // namespace

QString ChapterMetadata(const QString &title, const QList<Part> &parts)
{
    QString out = QStringLiteral(";FFMETADATA1\ntitle=") + escaped(title) +
                  QStringLiteral("\nalbum=") + escaped(title) + QStringLiteral("\n");
    qint64 at = 0;
    for (const Part &part : parts) {
        out += QStringLiteral("[CHAPTER]\nTIMEBASE=1/1000\nSTART=%1\nEND=%2\ntitle=")
                   .arg(at)
                   .arg(at + part.durationMs) +
               escaped(part.title) + QLatin1Char('\n');
        at += part.durationMs;
    }
    return out;
}

QString FindFfmpeg(const QString &programFolder)
{
    const QString beside = QDir(programFolder).filePath(QStringLiteral("ffmpeg"));
    if (!programFolder.isEmpty() && QFileInfo(beside).isExecutable())
        return beside;
    return QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
}

bool Write(const QString &ffmpeg, const QList<Part> &parts, const QString &title,
           const QString &target, bool idlePriority, QString *error)
{
    const auto failed = [&](const QString &why) {
        if (error)
            *error = tr("Cannot write %1: %2").arg(target, why);
        return false;
    };
    if (parts.isEmpty())
        return failed(tr("nothing was rendered"));
    const QFileInfo info(target);
    const QString part =
        info.absolutePath() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".part");
    const QString metadata = part + QStringLiteral(".txt");
    {
        QSaveFile file(metadata);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(ChapterMetadata(title, parts).toUtf8()) < 0 || !file.commit())
            return failed(file.errorString());
    }
    // Names are arguments of their own, never read by a shell: "-i" then the path as it is.
    // A name starting with "-" is made a path, so ffmpeg never takes it for an option.
    const auto asPath = [](const QString &path) { return QFileInfo(path).absoluteFilePath(); };
    QStringList args = {QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"),
                        QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y")};
    QString inputs;
    for (int i = 0; i < parts.size(); ++i) {
        args << QStringLiteral("-i") << asPath(parts.at(i).wavPath);
        inputs += QStringLiteral("[%1:a]").arg(i);
    }
    args << QStringLiteral("-f") << QStringLiteral("ffmetadata") << QStringLiteral("-i")
         << asPath(metadata);
    args << QStringLiteral("-filter_complex")
         << inputs + QStringLiteral("concat=n=%1:v=0:a=1[book]").arg(parts.size())
         << QStringLiteral("-map") << QStringLiteral("[book]") << QStringLiteral("-map_metadata")
         << QString::number(parts.size()) << QStringLiteral("-map_chapters")
         << QString::number(parts.size()) << QStringLiteral("-c:a") << QStringLiteral("aac")
         << QStringLiteral("-b:a") << QStringLiteral("64k") << QStringLiteral("-f")
         << QStringLiteral("mp4") << QStringLiteral("-movflags") << QStringLiteral("+faststart")
         << asPath(part);

    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    QString program = ffmpeg;
    if (idlePriority && !QStandardPaths::findExecutable(QStringLiteral("nice")).isEmpty()) {
        args.prepend(program);
        args.prepend(QStringLiteral("19"));
        args.prepend(QStringLiteral("-n"));
        program = QStandardPaths::findExecutable(QStringLiteral("nice"));
    }
    process.start(program, args);
    const bool ran = process.waitForStarted(10000) && process.waitForFinished(-1);
    QFile::remove(metadata);
    if (!ran || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        QFile::remove(part);
        const QString said = QString::fromLocal8Bit(process.readAllStandardError()).trimmed();
        return failed(said.isEmpty() ? process.errorString()
                                     : said.section(QLatin1Char('\n'), 0, 0));
    }
    QString why;
    if (!ReplaceFile(part, target, &why)) {
        QFile::remove(part);
        return failed(why);
    }
    return true;
}

} // namespace tonaris::M4bWriter
