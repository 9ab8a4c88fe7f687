#include "TestSupport.h"

#include "audio/AudioOutput.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <cmath>
#include <cstring>

namespace tonaris::test {

namespace {
QTemporaryDir *privateHome = nullptr;
}

void isolateEnvironment()
{
    static QTemporaryDir home;
    privateHome = &home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    QStandardPaths::setTestModeEnabled(true);
}

QString corpusFile(const QString &name)
{
    const QString path = QStringLiteral(TONARIS_SHARED_DIR "/corpus/") + name;
    return QFileInfo::exists(path) ? path : QString();
}

QString writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QByteArray toneWav(int rate, int channels, int bits, int ms, double hz, bool isFloat)
{
    QByteArray data;
    const int bytes = bits / 8;
    for (qint64 i = 0; i < qint64(rate) * ms / 1000; ++i) {
        const double v = 0.5 * std::sin(2 * M_PI * hz * double(i) / rate);
        qint64 s = bits == 8 ? 128 + std::lround(v * 127)
                             : std::llround(v * double((qint64(1) << (bits - 1)) - 1));
        if (isFloat) {
            const float f = float(v);
            std::memcpy(&s, &f, 4);
        }
        for (int c = 0; c < channels; ++c)
            for (int b = 0; b < bytes; ++b)
                data += char((s >> (8 * b)) & 0xFF);
    }
    QByteArray h("RIFF....WAVEfmt ");
    auto put = [&](quint32 x, int size) {
        for (int b = 0; b < size; ++b)
            h += char((x >> (8 * b)) & 0xFF);
    };
    put(16, 4), put(isFloat ? 3 : 1, 2), put(quint32(channels), 2), put(quint32(rate), 4);
    put(quint32(rate * channels * bytes), 4), put(quint32(channels * bytes), 2),
        put(quint32(bits), 2);
    h += "data";
    put(quint32(data.size()), 4);
    qToLittleEndian<quint32>(quint32(h.size() + data.size() - 8), h.data() + 4);
    return h + data;
}

bool SayIntoMicrophone(const QString &text)
{
    QTemporaryDir dir;
    const QString speech = dir.filePath(QStringLiteral("speech.wav"));
    const QString noise = dir.filePath(QStringLiteral("noise.wav"));
    const QString room = dir.filePath(QStringLiteral("room.wav"));
    auto run = [](const char *program, const QStringList &arguments) {
        return QProcess::execute(QLatin1String(program), arguments) == 0;
    };
    using L = QLatin1String;
    return run("espeak-ng", {L("-v"), L("en-us"), L("-w"), speech, text}) &&
           run("sox", {speech, room, L("pad"), L("1"), L("0")}) &&
           run("sox", {L("-n"), L("-r"), L("22050"), L("-c"), L("1"), L("-b"), L("16"), noise,
                       L("synth"), L("4"), L("whitenoise"), L("vol"), L("0.002"), L("fade"), L("1"),
                       L("4"), L("0")}) &&
           run("sox", {L("-m"), L("-v"), L("1"), room, L("-v"), L("1"), noise, speech}) &&
           run("paplay", {speech});
}

void leaveProcess(int status)
{
    if (privateHome)
        privateHome->remove();
    ExitWithoutAudioTeardown(status);
}

} // namespace tonaris::test
