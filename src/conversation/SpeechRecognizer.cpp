#include "conversation/SpeechRecognizer.h"

#include "config/MultiLang.h"
#include "conversation/PocketDecoder.h"

#include <QAudioSource>
#include <QLoggingCategory>
#include <QMediaDevices>

#include <memory>

namespace tonaris {

Q_LOGGING_CATEGORY(lcRecognition, "tonaris.conversation", QtWarningMsg)

using MultiLang::Translate;

// Lives on the recogniser's thread: owns the audio input and the decoder. Every call arrives
// as a queued call from SpeechRecognizer; results leave as queued signals.
class RecognizerWorker : public QObject
{
    Q_OBJECT
public:
    // Opens the audio input for a new session; the decoder is kept while the model stays.
    void open(const AsrModel &model, const QAudioDevice &device, int session)
    {
        close();
        if (!m_decoder.isOpen() || m_decoder.model().name != model.name ||
            m_decoder.model().acousticModel != model.acousticModel) {
            if (!m_decoder.open(model)) {
                emit started(false, m_decoder.errorString(), session);
                return;
            }
        }
        QAudioFormat format;
        format.setSampleRate(16000);
        format.setChannelCount(1);
        format.setSampleFormat(QAudioFormat::Int16);
        m_source = std::make_unique<QAudioSource>(device, format);
        m_source->setBufferSize(16000 * 2 / 10); // 100 ms: results follow speech closely
        m_io = m_source->start();
        if (!m_io) {
            m_source.reset();
            emit started(false, device.description(), session);
            return;
        }
        connect(m_io, &QIODevice::readyRead, this, &RecognizerWorker::readAudio);
        m_session = session;
        m_flowing = false;
    }

    void listenWords(const QStringList &phrases, bool garbageOnly, int generation)
    {
        QStringList unknown;
        m_listening = m_decoder.setWords(phrases, garbageOnly, &unknown);
        m_generation = generation;
        m_decoder.restart();
        m_pending.clear();
        if (!unknown.isEmpty())
            emit unknownWords(unknown);
    }

    void listenDictation(int generation)
    {
        m_listening = m_decoder.setDictation();
        m_generation = generation;
        m_decoder.restart();
        m_pending.clear();
        if (!m_listening)
            emit started(false, m_decoder.errorString(), -1);
    }

    void pause()
    {
        m_listening = false;
        m_decoder.restart();
    }

    void resume(int generation)
    {
        m_generation = generation;
        m_listening = true;
        m_decoder.restart();
        m_pending.clear();
    }

    void close()
    {
        m_listening = false;
        if (m_source) {
            m_source->stop();
            m_source.reset();
        }
        m_io = nullptr;
        m_pending.clear();
        m_decoder.restart();
    }

signals:
    void started(bool ok, const QString &error, int session);
    void heard(const QString &phrase, int generation);
    void unknownWords(const QStringList &words);

private:
    void readAudio()
    {
        if (!m_io)
            return;
        const QByteArray data = m_io->readAll();
        if (!m_flowing && !data.isEmpty()) {
            // A sound server may take a while to deliver the first data of a new input.
            m_flowing = true;
            emit started(true, QString(), m_session);
        }
        if (!m_listening)
            return; // paused: what is heard meanwhile is dropped, never decoded later
        m_pending.append(data);
        // The decoder looks for the end of an utterance once a call: 100 ms pieces.
        constexpr qsizetype piece = 1600 * 2;
        qsizetype used = 0;
        while (m_pending.size() - used >= 2) {
            const qsizetype bytes = std::min(piece, (m_pending.size() - used) & ~qsizetype(1));
            const auto *samples =
                reinterpret_cast<const std::int16_t *>(m_pending.constData() + used);
            for (const QString &phrase : m_decoder.feed(samples, std::size_t(bytes / 2)))
                emit heard(phrase, m_generation);
            used += bytes;
        }
        m_pending.remove(0, used);
    }

    PocketDecoder m_decoder;
    std::unique_ptr<QAudioSource> m_source;
    QIODevice *m_io = nullptr;
    QByteArray m_pending;
    int m_generation = 0;
    int m_session = 0;
    bool m_listening = false;
    bool m_flowing = false;
};

SpeechRecognizer::SpeechRecognizer(QObject *parent)
    : QObject(parent)
    , m_worker(new RecognizerWorker)
{
    m_thread.setObjectName(QStringLiteral("recogniser"));
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    connect(m_worker, &RecognizerWorker::heard, this, &SpeechRecognizer::heard);
    connect(m_worker, &RecognizerWorker::started, this, &SpeechRecognizer::workerStarted);
    connect(m_worker, &RecognizerWorker::unknownWords, this, [this](const QStringList &words) {
        reportOnce(Translate(QStringLiteral("The recognizer does not know these words and "
                                            "cannot listen for them: %1"))
                       .arg(words.join(QStringLiteral(", "))));
    });
    m_thread.start();
}

SpeechRecognizer::~SpeechRecognizer()
{
    QMetaObject::invokeMethod(m_worker, &RecognizerWorker::close, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

void SpeechRecognizer::EnumerateRecognizers()
{
    m_models = FindAsrModels(m_roots);
    m_inputs = QMediaDevices::audioInputs();
    ASREngineNames.clear();
    for (const AsrModel &model : m_models)
        ASREngineNames.append(model.name + QStringLiteral(" (PocketSphinx)"));
    // Each input under its own name, so that two inputs can be told apart.
    ASRAudioInputNames.clear();
    for (const QAudioDevice &input : m_inputs)
        ASRAudioInputNames.append(input.description());
    RecognizerAvailable = !m_models.isEmpty() && !m_inputs.isEmpty();
}

AsrModel SpeechRecognizer::selectedModel() const
{
    return m_models.value(ASREngineIndex < m_models.size() ? ASREngineIndex : 0);
}

QAudioDevice SpeechRecognizer::selectedInput() const
{
    return m_inputs.value(ASRAudioInputIndex < m_inputs.size() ? ASRAudioInputIndex : 0);
}

void SpeechRecognizer::newSession()
{
    ++m_sessionsBuilt;
    const int session = ++m_session;
    ++m_generation;
    if (m_capturing) {
        m_capturing = false;
        emit capturingChanged(false);
    }
    QMetaObject::invokeMethod(m_worker,
                              [worker = m_worker, model = selectedModel(), input = selectedInput(),
                               session] { worker->open(model, input, session); });
}

int SpeechRecognizer::StartRecognition(const QStringList &Words)
{
    if (!RecognizerAvailable) {
        reportOnce(Translate(QStringLiteral(
            "You must install a recognition model (the package pocketsphinx-en-us) and have "
            "an audio input to use Recognition's KeyWords.")));
        return 0;
    }
    if (RecognizerState == 0 || RecognizerActive != 0)
        newSession();
    RecognizerOtherWords = 0;
    m_phrases.clear();
    for (const QString &word : Words) {
        const QString phrase = PocketDecoder::normalizePhrase(word);
        if (phrase == QLatin1String("other_words"))
            RecognizerOtherWords = 1;
        else if (!phrase.isEmpty() && !m_phrases.contains(phrase))
            m_phrases.append(phrase); // an element of blanks alone can never be heard
    }
    if (m_phrases.isEmpty() && RecognizerOtherWords == 0) {
        // Nothing to listen for: a script would wait for ever.
        PauseRecognition();
        return 0;
    }
    const int generation = ++m_generation;
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker, phrases = m_phrases, garbage = RecognizerOtherWords == 1,
                   generation] { worker->listenWords(phrases, garbage, generation); });
    RecognizerActive = 0;
    RecognizerState = 1;
    return 1;
}

bool SpeechRecognizer::StartDictation()
{
    if (!RecognizerAvailable || selectedModel().languageModel.isEmpty())
        return false;
    StopRecognition();
    newSession();
    const int generation = ++m_generation;
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker, generation] { worker->listenDictation(generation); });
    RecognizerActive = 1;
    RecognizerState = 1;
    return true;
}

void SpeechRecognizer::PauseRecognition()
{
    if (RecognizerState == 0)
        return;
    ++m_generation;
    QMetaObject::invokeMethod(m_worker, &RecognizerWorker::pause);
    RecognizerState = 2;
}

void SpeechRecognizer::ResumeDictation()
{
    if (RecognizerState == 0)
        return;
    const int generation = ++m_generation;
    QMetaObject::invokeMethod(m_worker,
                              [worker = m_worker, generation] { worker->resume(generation); });
    RecognizerState = 1;
}

void SpeechRecognizer::StopRecognition()
{
    if (RecognizerState == 0)
        return;
    ++m_generation;
    ++m_session;
    QMetaObject::invokeMethod(m_worker, &RecognizerWorker::close);
    RecognizerState = 0;
    if (m_capturing) {
        m_capturing = false;
        emit capturingChanged(false);
    }
}

void SpeechRecognizer::GetASROptions(QStringList &Out_EngineNames, int &Out_EngineIndex,
                                     QStringList &Out_DeviceNames, int &Out_DeviceIndex) const
{
    Out_EngineNames = ASREngineNames;
    Out_EngineIndex = ASREngineIndex;
    Out_DeviceNames = ASRAudioInputNames;
    Out_DeviceIndex = ASRAudioInputIndex;
}

void SpeechRecognizer::SetASROptions(int In_ASREngineIndex, int In_ASRAudioDeviceIndex)
{
    ASREngineIndex =
        In_ASREngineIndex >= 0 && In_ASREngineIndex < ASREngineNames.size() ? In_ASREngineIndex : 0;
    ASRAudioInputIndex =
        In_ASRAudioDeviceIndex >= 0 && In_ASRAudioDeviceIndex < ASRAudioInputNames.size()
            ? In_ASRAudioDeviceIndex
            : 0;
}

void SpeechRecognizer::workerStarted(bool ok, const QString &error, int session)
{
    if (session != -1 && session != m_session)
        return; // an older session
    if (ok) {
        m_capturing = true;
        emit capturingChanged(true);
        return;
    }
    reportOnce(session == -1
                   ? Translate(error)
                   : Translate(QStringLiteral("Recognition cannot listen to %1.")).arg(error));
    StopRecognition();
    emit sessionFailed();
}

void SpeechRecognizer::heard(const QString &phrase, int generation)
{
    qCDebug(lcRecognition) << "heard" << phrase << generation << m_generation;
    if (generation != m_generation || RecognizerState != 1 || phrase.isEmpty())
        return;
    if (RecognizerActive == 1) {
        emit ASR_Recognition(phrase);
        return;
    }
    const QString listed = PocketDecoder::listedPhrase(phrase, m_phrases);
    if (!listed.isEmpty())
        emit ASR_Recognition(listed);
    else
        emit ASR_FalseRecognition();
}

void SpeechRecognizer::reportOnce(const QString &message)
{
    if (m_reported.contains(message))
        return;
    m_reported.append(message);
    emit problem(message);
}

} // namespace tonaris

#include "SpeechRecognizer.moc"
