// The subtitles of a save: each spoken line's place in the file, as the engine reports it once
// the line is rendered, becomes a cue of the file it went into.
#include "session/SaveToAudio.h"

#include "session/SpeechSession.h"
#include "session/Subtitles.h"
#include "voices/SpeechEngine.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace tonaris {

void SaveToAudio::startSubtitles()
{
    disconnect(m_cueConnection);
    m_cueLines.clear();
    m_cues.clear();
    m_cueTargets.clear();
    if (!WriteSubtitles || external() || m_m4b || !s.voice())
        return;
    m_cueConnection = connect(
        s.voice(), &SpeechEngine::OutputWritten, this,
        [this](int stream, qint64 start, qint64 end) {
            const auto line = m_cueLines.constFind(stream);
            if (line == m_cueLines.cend() || end <= start)
                return;
            const double perMs = line->bytesPerSecond / 1000.0;
            m_cues[line->target].append({qint64(start / perMs), qint64(end / perMs), line->text});
            m_cueLines.erase(line);
        });
}

void SaveToAudio::noteCue(int stream, const QString &line)
{
    if (!m_cueConnection || stream <= 0)
        return;
    const QString text = CueText(line);
    if (text.isEmpty())
        return;
    const QString target = splitting() ? VolumePath(AudioFileFolder, AudioVolumeNumber,
                                                    QFileInfo(AudioFilePath).fileName())
                                       : AudioFilePath;
    if (!m_cueTargets.contains(target))
        m_cueTargets.append(target);
    m_cueLines.insert(stream, {target, m_format.sampleRate * m_format.bytesPerFrame(), text});
}

void SaveToAudio::finishSubtitles()
{
    if (!m_cueConnection)
        return;
    // The engine's last reports may still wait in the queue.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    disconnect(m_cueConnection);
    m_cueConnection = {};
    for (const QString &target : std::as_const(m_cueTargets)) {
        QString error;
        if (!WriteSubtitleFiles(target, m_cues.value(target), &error))
            m_errors.append(error);
    }
    m_cueLines.clear();
    m_cues.clear();
    m_cueTargets.clear();
}

} // namespace tonaris
