// The audiobook target: the volumes of the save become the chapters of one .m4b file.
#include "session/SaveToAudio.h"

#include "config/KelPathManager.h"
#include "config/MultiLang.h"
#include "session/SpeechSession.h"

#include <QFile>
#include <QFileInfo>

namespace tonaris {

using MultiLang::Translate;

bool SaveToAudio::startM4b(QString &wanted)
{
    m_m4bParts.clear();
    m_m4b = KelPathManager::GetExtension(AudioFilePath).toLower() == QLatin1String(".m4b");
    if (!m_m4b)
        return true;
    m_ffmpeg = M4bWriter::FindFfmpeg(s.AppFolder);
    if (m_ffmpeg.isEmpty()) {
        fail(Translate(QStringLiteral(
            "If you want to save audiobooks (.m4b) you need to install the ''ffmpeg'' package.")));
        return false;
    }
    AudioFileType = FileTypeWav;
    wanted = QStringLiteral(".m4b");
    return true;
}

bool SaveToAudio::keepForM4b(const QString &wav, qint64 bytes)
{
    if (!m_m4b)
        return false;
    const qint64 perSecond = qint64(m_format.sampleRate) * m_format.bytesPerFrame();
    m_m4bParts.append({wav, perSecond > 0 ? bytes * 1000 / perSecond : 0, m_chapterTitle});
    return true;
}

void SaveToAudio::finishM4b()
{
    if (!m_m4b || m_m4bParts.isEmpty())
        return;
    const QList<M4bWriter::Part> parts = std::exchange(m_m4bParts, {});
    inBackground(parts.first().wavPath, [parts, ffmpeg = m_ffmpeg, title = VolumeTitle,
                                         target = AudioFilePath, idle = RunWithIdlePriority] {
        QString error;
        if (M4bWriter::Write(ffmpeg, parts, title, target, idle, &error)) {
            for (const M4bWriter::Part &part : parts)
                QFile::remove(part.wavPath);
        } else {
            QStringList kept;
            for (const M4bWriter::Part &part : parts)
                kept << part.wavPath;
            error += QStringLiteral("\r\n") + Translate(QStringLiteral("The audio stays in %1."))
                                                  .arg(kept.join(QStringLiteral(", ")));
        }
        return error;
    });
}

} // namespace tonaris
