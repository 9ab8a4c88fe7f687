#include "voices/ExternalVoiceEngine.h"

#include "audio/AudioOutput.h"
#include "audio/WavReader.h"

#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <deque>

Q_LOGGING_CATEGORY(lcExternalEngine, "tonaris.voices.externalengine", QtWarningMsg)

namespace tonaris {

namespace {

struct Request
{
    int stream = 0;
    QString text;  // tags removed
    int voice = 0; // 0-based
    int speed = 0, pitch = 0;
    double gain = 1.0;
    QString fileName;   // "" for the device
    bool ready = false; // a sound file's samples, already in pcm
    QList<qint16> pcm;
};

constexpr qint64 WavHeaderBytes = 44;

QByteArray wavHeader(quint32 dataBytes)
{
    const PcmFormat f = EnginePcmFormat;
    QByteArray h(WavHeaderBytes, '\0');
    char *p = h.data();
    memcpy(p, "RIFF", 4);
    qToLittleEndian<quint32>(36 + dataBytes, p + 4);
    memcpy(p + 8, "WAVEfmt ", 8);
    qToLittleEndian<quint32>(16, p + 16);
    qToLittleEndian<quint16>(1, p + 20);
    qToLittleEndian<quint16>(quint16(f.channels), p + 22);
    qToLittleEndian<quint32>(quint32(f.sampleRate), p + 24);
    qToLittleEndian<quint32>(quint32(f.sampleRate * f.bytesPerFrame()), p + 28);
    qToLittleEndian<quint16>(quint16(f.bytesPerFrame()), p + 32);
    qToLittleEndian<quint16>(quint16(f.bitsPerSample), p + 34);
    memcpy(p + 36, "data", 4);
    qToLittleEndian<quint32>(dataBytes, p + 40);
    return h;
}

// Appends engine PCM to a WAV file of ours, keeping its sizes right; a missing or foreign file
// is started anew.
bool appendToWav(const QString &path, const QList<qint16> &pcm)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    if (file.size() < WavHeaderBytes || file.read(4) != "RIFF") {
        file.resize(0);
        file.write(wavHeader(0));
    }
    file.seek(file.size());
    QByteArray bytes(pcm.size() * qsizetype(sizeof(qint16)), Qt::Uninitialized);
    qToLittleEndian<qint16>(pcm.constData(), pcm.size(), bytes.data());
    if (file.write(bytes) != bytes.size())
        return false;
    const quint32 dataBytes = quint32(std::min<qint64>(file.size() - WavHeaderBytes, 0xFFFFFFD0));
    file.seek(0);
    return file.write(wavHeader(dataBytes)) == WavHeaderBytes && file.flush();
}

// Half the widest range symmetric about the default, as the sliders use it.
int halfRange(int min, int def, int max)
{
    return std::min(def - min, max - def);
}

} // namespace

struct ExternalVoiceEngine::Private
{
    ExternalVoiceEngine *q = nullptr;
    QList<ExternalVoice> voices;
    int selected = -1; // 0-based
    int speed = 0, pitch = 0;
    int volumeLeft = MaxVolume(), volumeRight = MaxVolume();
    QString fileName;
    int formatCode = 22;

    AudioOutput *output = nullptr;
    quint64 generation = 0;
    QTemporaryDir temp;
    std::deque<Request> queue;
    QPointer<QProcess> process; // the render under way
    Request current;
    int nextStream = 1;
    int nextFile = 1;

    const ExternalVoice *voice() const { return selected < 0 ? nullptr : &voices[selected]; }
    void startNext();
    void finished(QProcess *p, const QString &textFile, const QString &outFile);
    void deliver(const Request &r, QList<qint16> pcm);
    void fail(const Request &r, const QString &message);
    void waitUntilDone();
};

// Waits with the event loop running, so the program's end and the window are served.
void ExternalVoiceEngine::Private::waitUntilDone()
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (!q->Speaking())
            loop.quit();
    });
    poll.start(5);
    loop.exec();
}

void ExternalVoiceEngine::Private::startNext()
{
    while (!process && !queue.empty()) {
        Request r = std::move(queue.front());
        queue.pop_front();
        if (r.ready || r.text.trimmed().isEmpty()) {
            deliver(r, std::move(r.pcm));
            continue;
        }
        if (!temp.isValid()) {
            fail(r, QStringLiteral("no temporary folder: ") + temp.errorString());
            continue;
        }
        const ExternalVoice &v = voices[r.voice];
        const int n = nextFile++;
        ExternalRenderValues values;
        values.textFile = temp.filePath(QStringLiteral("text-%1.txt").arg(n));
        values.outputFile = temp.filePath(QStringLiteral("speech-%1.wav").arg(n));
        values.speed = r.speed;
        values.pitch = r.pitch;
        const bool onStdin = v.textOnStandardInput();
        if (!onStdin) {
            QFile file(values.textFile);
            if (!file.open(QIODevice::WriteOnly) || file.write(r.text.toUtf8()) < 0) {
                fail(r, QStringLiteral("cannot write ") + values.textFile);
                continue;
            }
        }
        auto *p = new QProcess(q);
        p->setProgram(v.program);
        p->setArguments(ExternalVoices::fillArguments(v, values));
        p->setStandardOutputFile(QProcess::nullDevice());
        QObject::connect(p, &QProcess::finished, q,
                         [this, p, values] { finished(p, values.textFile, values.outputFile); });
        QObject::connect(p, &QProcess::errorOccurred, q,
                         [this, p, values](QProcess::ProcessError e) {
                             if (e == QProcess::FailedToStart)
                                 finished(p, values.textFile, values.outputFile);
                         });
        process = p;
        current = std::move(r);
        p->start();
        if (onStdin) {
            p->write(current.text.toUtf8());
            p->closeWriteChannel();
        }
    }
}

void ExternalVoiceEngine::Private::finished(QProcess *p, const QString &textFile,
                                            const QString &outFile)
{
    p->deleteLater();
    const bool ours = p == process;
    const bool ok = p->error() != QProcess::FailedToStart &&
                    p->exitStatus() == QProcess::NormalExit && p->exitCode() == 0;
    const QString errors = QString::fromLocal8Bit(p->readAllStandardError()).trimmed().right(300);
    QList<qint16> pcm;
    QString error;
    if (ours && ok)
        ReadWavAsEnginePcm(outFile, pcm, &error);
    QFile::remove(textFile);
    QFile::remove(outFile);
    if (!ours)
        return; // a reset dropped it
    process = nullptr;
    const Request r = std::move(current);
    if (!ok)
        fail(r, QStringLiteral("%1 failed: %2 %3").arg(p->program(), p->errorString(), errors));
    else if (!error.isEmpty())
        fail(r, QStringLiteral("%1 gave no sound: %2").arg(p->program(), error));
    else
        deliver(r, std::move(pcm));
    startNext();
}

void ExternalVoiceEngine::Private::fail(const Request &r, const QString &message)
{
    qCWarning(lcExternalEngine) << message;
    emit q->RenderFailed(message);
    deliver(r, {});
}

// Hands a rendered text to its destination. The end marker goes through the output in either
// case, so that AudioStop keeps the order of the texts and comes after what still sounds.
void ExternalVoiceEngine::Private::deliver(const Request &r, QList<qint16> pcm)
{
    if (r.gain < 1.0) {
        for (qint16 &s : pcm)
            s = qint16(std::lround(s * r.gain));
    }
    AudioMarker start, end;
    start.kind = AudioMarker::StartStream;
    start.streamNumber = end.streamNumber = r.stream;
    end.kind = AudioMarker::EndStream;
    if (!r.fileName.isEmpty()) {
        if (!appendToWav(r.fileName, pcm)) {
            qCWarning(lcExternalEngine) << "cannot write" << r.fileName;
            emit q->RenderFailed(QStringLiteral("cannot write ") + r.fileName);
        }
        output->write(generation, nullptr, 0, {start, end});
        return;
    }
    end.sample = pcm.size();
    output->write(generation, pcm.constData(), pcm.size(), {start, end});
}

ExternalVoiceEngine::ExternalVoiceEngine(const QList<ExternalVoice> &voices, QObject *parent)
    : SpeechEngine(parent)
    , d(std::make_unique<Private>())
{
    d->q = this;
    d->voices = voices;
    d->output = new AudioOutput(this);
    d->output->setDevice(QAudioDevice());
    d->generation = d->output->generation();
    Select(1);
    connect(d->output, &AudioOutput::markerReached, this, [this](const AudioMarker &m) {
        if (m.kind == AudioMarker::StartStream) {
            emit StartStream(m.streamNumber, 0);
        } else if (m.kind == AudioMarker::EndStream) {
            emit EndStream(m.streamNumber, m.sample);
            emit AudioStop();
        }
    });
    connect(d->output, &AudioOutput::audioLevel, this, [this](int level) {
        emit MouthLevel((level * 255 + 50) / 100);
        emit AudioLevel(d->nextStream - 1, 0, level);
    });
}

ExternalVoiceEngine::~ExternalVoiceEngine()
{
    // A program still rendering is killed, not left behind, and can call back no more.
    AudioReset();
    for (QProcess *p : findChildren<QProcess *>(Qt::FindDirectChildrenOnly)) {
        p->disconnect(this);
        delete p;
    }
}

const QList<ExternalVoice> &ExternalVoiceEngine::voices() const
{
    return d->voices;
}

int ExternalVoiceEngine::CountEngines() const
{
    return int(d->voices.size());
}

bool ExternalVoiceEngine::Select(int index)
{
    if (index < 1 || index > d->voices.size())
        return false;
    d->selected = index - 1;
    d->speed = d->voice()->speedDefault;
    d->pitch = d->voice()->pitchDefault;
    return true;
}

int ExternalVoiceEngine::SelectedIndex() const
{
    return d->selected + 1;
}

int ExternalVoiceEngine::SpeakText(const QString &text)
{
    Request r;
    r.stream = d->nextStream++;
    r.text = ExternalVoices::stripInlineTags(text);
    r.voice = std::max(d->selected, 0);
    r.speed = d->speed;
    r.pitch = d->pitch;
    r.gain = (d->volumeLeft + d->volumeRight) / (2.0 * MaxVolume());
    r.fileName = d->fileName;
    if (d->voices.isEmpty())
        r.text.clear(); // nothing can render it; its AudioStop still comes
    d->queue.push_back(std::move(r));
    d->startNext();
    return d->nextStream - 1;
}

bool ExternalVoiceEngine::Speaking() const
{
    return !d->queue.empty() || d->process || !d->output->isIdle();
}

void ExternalVoiceEngine::AudioPause()
{
    d->output->pause();
}

void ExternalVoiceEngine::AudioResume()
{
    d->output->resume();
}

bool ExternalVoiceEngine::AudioPaused() const
{
    return d->output->isPaused();
}

void ExternalVoiceEngine::AudioReset()
{
    d->queue.clear();
    if (QProcess *p = d->process) {
        d->process = nullptr;
        p->kill();
    }
    d->generation = d->output->purge();
}

int ExternalVoiceEngine::VolumeLeft() const
{
    return d->volumeLeft;
}

void ExternalVoiceEngine::SetVolumeLeft(int volume)
{
    d->volumeLeft = std::clamp(volume, MinVolume(), MaxVolume());
}

int ExternalVoiceEngine::VolumeRight() const
{
    return d->volumeRight;
}

void ExternalVoiceEngine::SetVolumeRight(int volume)
{
    d->volumeRight = std::clamp(volume, MinVolume(), MaxVolume());
}

int ExternalVoiceEngine::Speed() const
{
    return d->speed;
}

void ExternalVoiceEngine::SetSpeed(int speed)
{
    if (d->voice())
        d->speed = std::clamp(speed, MinSpeed(), MaxSpeed());
}

int ExternalVoiceEngine::MinSpeed() const
{
    return d->voice() ? d->voice()->speedMin : 0;
}

int ExternalVoiceEngine::MaxSpeed() const
{
    return d->voice() ? d->voice()->speedMax : 0;
}

int ExternalVoiceEngine::Pitch() const
{
    return d->pitch;
}

void ExternalVoiceEngine::SetPitch(int pitch)
{
    if (d->voice())
        d->pitch = std::clamp(pitch, MinPitch(), MaxPitch());
}

int ExternalVoiceEngine::MinPitch() const
{
    return d->voice() ? d->voice()->pitchMin : 0;
}

int ExternalVoiceEngine::MaxPitch() const
{
    return d->voice() ? d->voice()->pitchMax : 0;
}

QString ExternalVoiceEngine::FileName() const
{
    return d->fileName;
}

bool ExternalVoiceEngine::SetFileName(const QString &path)
{
    if (!path.isEmpty()) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(wavHeader(0)) != WavHeaderBytes)
            return false;
    }
    d->fileName = path;
    return true;
}

AudioOutput *ExternalVoiceEngine::output() const
{
    return d->output;
}

int ExternalVoiceEngine::Speak(const QString &text, int flags)
{
    if (flags & SVSFPurgeBeforeSpeak)
        AudioReset();
    const int stream = SpeakText(text);
    if (!(flags & SVSFlagsAsync))
        d->waitUntilDone();
    return stream;
}

int ExternalVoiceEngine::SpeakStream(const QString &wavPath, int flags)
{
    Request r;
    QString error;
    if (!ReadWavAsEnginePcm(wavPath, r.pcm, &error)) {
        qCWarning(lcExternalEngine) << "cannot play" << wavPath << error;
        return 0;
    }
    r.ready = true;
    r.stream = d->nextStream++;
    r.fileName = d->fileName;
    const int stream = r.stream;
    d->queue.push_back(std::move(r));
    d->startNext();
    if (!(flags & SVSFlagsAsync))
        d->waitUntilDone();
    return stream;
}

void ExternalVoiceEngine::Pause()
{
    AudioPause();
}

void ExternalVoiceEngine::Resume()
{
    AudioResume();
}

int ExternalVoiceEngine::RunningState() const
{
    return Speaking() ? SRSEIsSpeaking : SRSEDone;
}

int ExternalVoiceEngine::Volume() const
{
    return int(std::lround((d->volumeLeft + d->volumeRight) * 50.0 / MaxVolume()));
}

void ExternalVoiceEngine::SetVolume(int volume)
{
    const int v = int(std::lround(std::clamp(volume, 0, 100) * MaxVolume() / 100.0));
    SetVolumeLeft(v);
    SetVolumeRight(v);
}

int ExternalVoiceEngine::Rate() const
{
    const ExternalVoice *v = d->voice();
    const int half = v ? halfRange(v->speedMin, v->speedDefault, v->speedMax) : 0;
    if (half <= 0)
        return 0;
    return std::clamp(int(std::lround((d->speed - v->speedDefault) * 10.0 / half)), -10, 10);
}

void ExternalVoiceEngine::SetRate(int rate)
{
    if (const ExternalVoice *v = d->voice()) {
        const int half = halfRange(v->speedMin, v->speedDefault, v->speedMax);
        SetSpeed(v->speedDefault + int(std::lround(std::clamp(rate, -10, 10) * half / 10.0)));
    }
}

QList<VoiceInfo> ExternalVoiceEngine::GetVoices() const
{
    QList<VoiceInfo> out;
    for (const ExternalVoice &v : d->voices)
        out.append(v.info);
    return out;
}

QString ExternalVoiceEngine::CurrentVoiceId() const
{
    return d->voice() ? d->voice()->info.id : QString();
}

bool ExternalVoiceEngine::SetVoiceById(const QString &id)
{
    for (int i = 0; i < d->voices.size(); ++i)
        if (d->voices[i].info.id == id)
            return Select(i + 1);
    return false;
}

int ExternalVoiceEngine::AudioFormatType() const
{
    return d->formatCode;
}

void ExternalVoiceEngine::SetAudioFormatType(int code)
{
    PcmFormat format;
    if (!PcmFormatFromCode(code, format))
        return;
    d->formatCode = code;
    d->output->setFormat(format);
}

bool ExternalVoiceEngine::HasAudioOutput() const
{
    return AudioOutput::anyOutputDevice();
}

} // namespace tonaris
