#include "voices/EspeakEngine.h"

#include "audio/AudioOutput.h"
#include "voices/VoiceCatalogue.h"

#include <espeak-ng/speak_lib.h>

#include <QLoggingCategory>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <mutex>

Q_LOGGING_CATEGORY(lcEspeak, "tonaris.voices.espeak", QtWarningMsg)

namespace tonaris {

namespace {

std::mutex &espeakLock()
{
    static std::mutex lock;
    return lock;
}

// Starts espeak-ng once per process; callers hold espeakLock().
bool ensureInitialised()
{
    static int rate = 0;
    static bool tried = false;
    if (!tried) {
        tried = true;
        // espeak-ng opens a test stream on the sound server even when it only hands samples
        // back. A process that renders to files only gives it no server to find, so that it
        // never opens a sound device.
        const bool probeHidden = !AudioOutput::devicesWanted();
        const QByteArray server = qgetenv("PULSE_SERVER");
        const bool serverSet = qEnvironmentVariableIsSet("PULSE_SERVER");
        if (probeHidden)
            qputenv("PULSE_SERVER", "unix:/nonexistent/tonaris-renders-to-files");
        // 40 ms callback blocks keep the first sound of a line close to the command.
        rate = espeak_Initialize(AUDIO_OUTPUT_SYNCHRONOUS, 40, nullptr, espeakINITIALIZE_DONT_EXIT);
        if (probeHidden && serverSet)
            qputenv("PULSE_SERVER", server);
        else if (probeHidden)
            qunsetenv("PULSE_SERVER");
        if (rate != EnginePcmFormat.sampleRate)
            qCWarning(lcEspeak) << "espeak-ng did not start, sample rate" << rate;
    }
    return rate == EnginePcmFormat.sampleRate;
}

// What the synthesis callback needs; the callback runs on the thread that called espeak_Synth.
struct RenderContext
{
    ThreadedEngine::RenderSink *sink = nullptr;
    const QList<int> *codePointToIndex = nullptr; // synthesised code point -> index into text
    const QList<int> *spokenToText = nullptr;     // spelling: spoken index -> text index
    bool stopped = false;
};
thread_local RenderContext *current = nullptr;

int synthCallback(short *wav, int count, espeak_EVENT *events)
{
    RenderContext *ctx = current;
    if (!ctx)
        return 1;
    for (espeak_EVENT *e = events; e && e->type != espeakEVENT_LIST_TERMINATED; ++e) {
        if (e->type != espeakEVENT_WORD || (e->text_position == 0 && e->length == 0))
            continue;
        const QList<int> &map = *ctx->codePointToIndex;
        const int first = e->text_position - 1;
        const int last = first + std::max(e->length, 1) - 1;
        if (first < 0 || first >= map.size())
            continue;
        int begin = map[first];
        int end = map[std::min<qsizetype>(last, map.size() - 1)];
        if (ctx->spokenToText) {
            begin = ctx->spokenToText->value(begin, begin);
            end = ctx->spokenToText->value(end, end);
        }
        const qint64 sample =
            static_cast<qint64>(e->audio_position) * EnginePcmFormat.sampleRate / 1000;
        ctx->sink->word(begin, end - begin + 1, sample);
    }
    if (wav && count > 0 && !ctx->sink->pcm(wav, count)) {
        ctx->stopped = true;
        return 1;
    }
    return ctx->sink->cancelled() ? 1 : 0;
}

int wordsPerMinute(int rate)
{
    const double wpm = espeakRATE_NORMAL * std::pow(3.0, std::clamp(rate, -10, 10) / 10.0);
    return std::clamp(static_cast<int>(std::lround(wpm)), espeakRATE_MINIMUM, espeakRATE_MAXIMUM);
}

// "abc" spoken letter by letter: "a b c", with the way back to the letters.
QString spelled(const QString &text, QList<int> &spokenToText)
{
    QString out;
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).isSpace())
            continue;
        if (!out.isEmpty()) {
            out += QLatin1Char(' ');
            spokenToText.append(i);
        }
        out += text.at(i);
        spokenToText.append(i);
    }
    return out;
}

} // namespace

EspeakEngine::EspeakEngine(QObject *parent)
    : ThreadedEngine(parent)
{
    startWorker();
}

EspeakEngine::~EspeakEngine()
{
    stopWorker();
}

bool EspeakEngine::available()
{
    std::lock_guard lock(espeakLock());
    return ensureInitialised();
}

QString EspeakEngine::defaultVoiceId() const
{
    return QStringLiteral("en-gb"); // what espeak-ng itself speaks with when asked for "en"
}

// Every language is offered twice, as "<language>, male" and "<language>, female", the second
// through the female variant "+f3", so that gender-dependent features find voices of both.
// espeak_SetVoiceByName finds a voice by its file name (a tag such as "fr-fr" for the file "fr"
// is not found), so ids are file names where the tag would not do. The tag stays the id where it
// is the file name, and for "en-gb": that is the default voice, and the engine's fallback "en"
// reaches the same file.
QList<VoiceInfo> EspeakEngine::listVoices() const
{
    std::lock_guard lock(espeakLock());
    QList<VoiceInfo> out;
    if (!ensureInitialised())
        return out;
    QSet<QString> usedIds;
    for (const espeak_VOICE **v = espeak_ListVoices(nullptr); v && *v; ++v) {
        const espeak_VOICE *voice = *v;
        const QString identifier = QString::fromUtf8(voice->identifier);
        if (identifier.startsWith(QLatin1String("mb/")) || !voice->languages ||
            !voice->languages[0])
            continue; // MBROLA voices need data of their own
        const QString tag = QString::fromUtf8(voice->languages + 1); // after the priority byte
        const QString file = identifier.section(QLatin1Char('/'), -1).toLower();
        QString baseId = tag == file || file == QLatin1String("en") ? tag : file;
        if (usedIds.contains(baseId))
            baseId = file; // two voices of one language ("yue")
        const QString language =
            QString::fromUtf8(voice->name).replace(QLatin1Char('_'), QLatin1Char(' ')).trimmed();
        const bool female = voice->gender == 2;
        for (const bool asFemale : {false, true}) {
            VoiceInfo info;
            info.languageTag = tag;
            info.language = LanguageCodeFromTag(tag);
            info.vendor = QStringLiteral("eSpeak NG");
            info.gender = asFemale ? QStringLiteral("FEMALE") : QStringLiteral("MALE");
            if (asFemale == female)
                info.id = baseId;
            else
                info.id = file + (asFemale ? QLatin1String("+f3") : QLatin1String("+m3"));
            info.name = language + (asFemale ? QLatin1String(", female") : QLatin1String(", male"));
            info.description = QStringLiteral("%1 (espeak-ng %2%3)")
                                   .arg(info.name, identifier,
                                        info.id.contains(QLatin1Char('+'))
                                            ? info.id.mid(info.id.indexOf(QLatin1Char('+')))
                                            : QString());
            usedIds.insert(info.id);
            out.append(info);
        }
    }
    std::sort(out.begin(), out.end(),
              [](const VoiceInfo &a, const VoiceInfo &b) { return a.name < b.name; });
    return out;
}

bool EspeakEngine::renderText(const QString &text, const RenderParams &params, RenderSink &sink)
{
    return RenderPiece(text, params, sink);
}

bool EspeakEngine::RenderPiece(const QString &text, const RenderParams &params, RenderSink &sink)
{
    QList<int> spokenToText;
    const QString spoken = params.spell ? spelled(text, spokenToText) : text;

    // espeak-ng counts code points; map them back to indices of the string.
    QList<int> codePointToIndex;
    codePointToIndex.reserve(spoken.size());
    for (int i = 0; i < spoken.size(); ++i) {
        codePointToIndex.append(i);
        if (spoken.at(i).isHighSurrogate() && i + 1 < spoken.size())
            ++i;
    }
    const QByteArray utf8 = spoken.toUtf8();

    std::lock_guard lock(espeakLock());
    if (!ensureInitialised())
        return false;
    // Loading a voice reads its files; a save renders thousands of lines with one voice.
    static QString loadedVoice;
    if (params.voiceId != loadedVoice) {
        if (espeak_SetVoiceByName(params.voiceId.toUtf8().constData()) != EE_OK)
            espeak_SetVoiceByName("en");
        loadedVoice = params.voiceId;
    }
    const int rate = params.emphasis ? params.rate - 1 : params.rate;
    const int volume = params.emphasis ? std::min(100, params.volume * 6 / 5) : params.volume;
    const int pitch = std::clamp(50 + params.pitch * 5 + (params.emphasis ? 8 : 0), 0, 100);
    espeak_SetParameter(espeakRATE, wordsPerMinute(rate), 0);
    espeak_SetParameter(espeakVOLUME, std::clamp(volume, 0, 100), 0);
    espeak_SetParameter(espeakPITCH, pitch, 0);
    espeak_SetSynthCallback(synthCallback);

    RenderContext ctx;
    ctx.sink = &sink;
    ctx.codePointToIndex = &codePointToIndex;
    ctx.spokenToText = params.spell ? &spokenToText : nullptr;
    current = &ctx;
    const espeak_ERROR result =
        espeak_Synth(utf8.constData(), static_cast<size_t>(utf8.size()) + 1, 0, POS_CHARACTER, 0,
                     espeakCHARS_UTF8, nullptr, nullptr);
    current = nullptr;
    return result == EE_OK || ctx.stopped;
}

} // namespace tonaris
