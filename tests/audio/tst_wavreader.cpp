#include "TestSupport.h"
#include "audio/WavReader.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>

using namespace tonaris;

namespace {
QByteArray le32(quint32 v)
{
    QByteArray b(4, 0);
    qToLittleEndian(v, b.data());
    return b;
}
QByteArray le16(quint16 v)
{
    QByteArray b(2, 0);
    qToLittleEndian(v, b.data());
    return b;
}

// A WAV of a 440 Hz tone lasting half a second, in the given layout.
QByteArray wav(int rate, int channels, int bits, bool isFloat = false,
               quint32 dataSize = 0xFFFFFFFEu, bool extraChunk = false)
{
    QByteArray data;
    const int frames = rate / 2;
    for (int i = 0; i < frames; ++i) {
        const double v = 0.5 * std::sin(2 * M_PI * 440 * i / rate);
        for (int c = 0; c < channels; ++c) {
            if (isFloat) {
                QByteArray f(4, 0);
                qToLittleEndian(float(v), f.data());
                data += f;
            } else if (bits == 8) {
                data += char(uchar(128 + std::lround(v * 127)));
            } else {
                const qint32 s = qint32(std::llround(v * double((qint64(1) << (bits - 1)) - 1)));
                for (int b = 0; b < bits / 8; ++b)
                    data += char((s >> (8 * b)) & 0xFF);
            }
        }
    }
    const int align = channels * bits / 8;
    QByteArray fmt = le16(isFloat ? 3 : 1) + le16(quint16(channels)) + le32(quint32(rate)) +
                     le32(quint32(rate * align)) + le16(quint16(align)) + le16(quint16(bits));
    QByteArray body = "WAVEfmt " + le32(16) + fmt;
    if (extraChunk)
        body += "LIST" + le32(5) + QByteArray("hello", 5) + '\0';
    body += "data" + le32(dataSize == 0xFFFFFFFEu ? quint32(data.size()) : dataSize) + data;
    return "RIFF" + le32(quint32(body.size())) + body;
}

int crossings(const QList<qint16> &s)
{
    int n = 0;
    for (qsizetype i = 1; i < s.size(); ++i)
        n += (s[i - 1] < 0) != (s[i] < 0);
    return n;
}
} // namespace

class TestWavReader : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void readsAsEnginePcm_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("expectedMs");
        const QByteArray good = wav(22050, 1, 16);
        QTest::newRow("engine format") << good << 500;
        QTest::newRow("8 bit stereo 11 kHz") << wav(11025, 2, 8) << 500;
        QTest::newRow("24 bit 48 kHz") << wav(48000, 1, 24) << 500;
        QTest::newRow("32 bit 44 kHz stereo") << wav(44100, 2, 32) << 500;
        QTest::newRow("float 16 kHz") << wav(16000, 1, 32, true) << 500;
        QTest::newRow("unknown chunk before data")
            << wav(8000, 1, 16, false, 0xFFFFFFFEu, true) << 500;
        QTest::newRow("streamed, size 0") << wav(22050, 1, 16, false, 0) << 500;
        QTest::newRow("streamed, size -1") << wav(22050, 1, 16, false, 0xFFFFFFFFu) << 500;
        QTest::newRow("truncated") << good.left(44 + 11025) << 250;
    }
    void readsAsEnginePcm()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, expectedMs);
        const QString path = m_dir.filePath(QStringLiteral("in.wav"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(file) == file.size());
        f.close();
        QList<qint16> pcm;
        QString error;
        QVERIFY2(ReadWavAsEnginePcm(path, pcm, &error), qPrintable(error));
        const double ms = pcm.size() * 1000.0 / 22050;
        QVERIFY2(qAbs(ms - expectedMs) < 15, qPrintable(QString::number(ms)));
        const double hz = crossings(pcm) / 2.0 / (ms / 1000.0);
        QVERIFY2(qAbs(hz - 440) < 10, qPrintable(QString::number(hz)));
    }

    void rejectsGarbage_data()
    {
        QTest::addColumn<QByteArray>("file");
        const QByteArray good = wav(22050, 1, 16);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("Hello, this is not a sound file at all.");
        QTest::newRow("header only") << good.left(12);
        QTest::newRow("no data chunk") << good.left(36);
        QTest::newRow("data before fmt") << QByteArray("RIFF\x10\0\0\0WAVEdata\0\0\0\0", 20);
        QTest::newRow("12 bit") << QByteArray(good).replace(34, 2, le16(12));
        QTest::newRow("6 channels") << QByteArray(good).replace(22, 2, le16(6));
        QTest::newRow("compressed") << QByteArray(good).replace(20, 2, le16(0x55));
        QTest::newRow("huge chunk") << good.left(36) + "junk" + le32(0xFFFFFFF0u);
    }
    void rejectsGarbage()
    {
        QFETCH(QByteArray, file);
        const QString path = m_dir.filePath(QStringLiteral("bad.wav"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(file);
        f.close();
        QList<qint16> pcm;
        QString error;
        QVERIFY(!ReadWavAsEnginePcm(path, pcm, &error));
        QVERIFY(!error.isEmpty());
    }

private:
    QTemporaryDir m_dir;
};

TONARIS_TEST_GUILESS_MAIN(TestWavReader)
#include "tst_wavreader.moc"
