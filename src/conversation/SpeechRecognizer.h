#pragma once

#include "conversation/AsrModels.h"

#include <QAudioDevice>
#include <QObject>
#include <QStringList>
#include <QThread>

namespace tonaris {

class RecognizerWorker;

// The recognition service: word lists for the script keywords and free dictation, on one
// installed model and one audio input. Listening runs on a worker thread of its own, which
// captures 16 kHz mono and decodes; nothing here waits for it. What it hears comes back to the
// user-interface thread as queued events: ASR_Recognition for a listed phrase (or any phrase in
// dictation), ASR_FalseRecognition for speech that is none of the listed phrases. A result
// that arrives after the session was paused, stopped or given new words is dropped.
//
// The public state keeps the window's long-standing names. All functions run on the
// user-interface thread.
class SpeechRecognizer : public QObject
{
    Q_OBJECT
public:
    explicit SpeechRecognizer(QObject *parent = nullptr);
    ~SpeechRecognizer() override;

    // Where models are looked for; tests point it elsewhere before EnumerateRecognizers.
    void setModelRoots(const QStringList &roots) { m_roots = roots; }
    // Lists the models and the audio inputs; RecognizerAvailable when both exist.
    void EnumerateRecognizers();

    // Listens for the words of a script: 1 when listening has begun. Elements are compared
    // lower-cased and trimmed; "other_words" in any case asks for false recognitions to be
    // answered, and adds no word; empty elements are skipped. A session that is paused
    // between two word lists is reused and only its grammar replaced. 0 when no recogniser
    // exists (told once a run through problem) or the list names nothing to listen for.
    int StartRecognition(const QStringList &Words);
    // Free dictation in a new session; false when no recogniser or no language model exists.
    bool StartDictation();
    void PauseRecognition();
    void ResumeDictation();
    // Ends any session and releases the audio input.
    void StopRecognition();

    void GetASROptions(QStringList &Out_EngineNames, int &Out_EngineIndex,
                       QStringList &Out_DeviceNames, int &Out_DeviceIndex) const;
    // Takes effect at the next session; an index outside its list means the first entry.
    void SetASROptions(int In_ASREngineIndex, int In_ASRAudioDeviceIndex);

    bool RecognizerAvailable = false;
    int RecognizerState = 0;  // 0 stopped, 1 listening, 2 paused
    int RecognizerActive = 0; // 1 dictation, 0 word list
    int RecognizerOtherWords = 0;
    QStringList ASREngineNames;
    int ASREngineIndex = 0;
    QStringList ASRAudioInputNames;
    int ASRAudioInputIndex = 0;

    // Audio is arriving from the input into a ready decoder (tests wait for it before they
    // speak).
    bool isCapturing() const { return m_capturing; }
    // How many sessions (audio input plus decoder state) were built so far.
    int sessionsBuilt() const { return m_sessionsBuilt; }

signals:
    void ASR_Recognition(const QString &text);
    void ASR_FalseRecognition();
    // Something the user should be told: no recogniser, unknown words, a failed input.
    void problem(const QString &message);
    // A session ended on its own (its input or model failed): RecognizerState is 0 again.
    void sessionFailed();
    void capturingChanged(bool capturing);

private:
    void newSession();
    void heard(const QString &phrase, int generation);
    void workerStarted(bool ok, const QString &error, int session);
    void reportOnce(const QString &message);
    AsrModel selectedModel() const;
    QAudioDevice selectedInput() const;

    QStringList m_roots = AsrModelRoots();
    QList<AsrModel> m_models;
    QList<QAudioDevice> m_inputs;
    QStringList m_phrases;
    QStringList m_reported;
    QThread m_thread;
    RecognizerWorker *m_worker = nullptr;
    int m_generation = 0;
    int m_session = 0;
    int m_sessionsBuilt = 0;
    bool m_capturing = false;
};

} // namespace tonaris
