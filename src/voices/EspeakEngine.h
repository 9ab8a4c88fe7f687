#pragma once

#include "voices/ThreadedEngine.h"

namespace tonaris {

// The built-in engine: espeak-ng in this process. espeak-ng keeps all its state in globals, so
// every call into it, from any engine object, holds one process-wide lock.
class EspeakEngine : public ThreadedEngine
{
    Q_OBJECT
public:
    explicit EspeakEngine(QObject *parent = nullptr);
    ~EspeakEngine() override;

    // False when espeak-ng could not start (no data installed).
    static bool available();
    // Renders on the calling thread, as the engine's own thread does; for the render helpers,
    // which have no engine object.
    static bool RenderPiece(const QString &text, const RenderParams &params, RenderSink &sink);

protected:
    bool rendersInHelpers() const override { return true; }
    bool renderText(const QString &text, const RenderParams &params, RenderSink &sink) override;
    QList<VoiceInfo> listVoices() const override;
    QString defaultVoiceId() const override;
};

} // namespace tonaris
