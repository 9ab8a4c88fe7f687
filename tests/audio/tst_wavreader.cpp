#include "TestSupport.h"
#include "audio/WavReader.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;
using test::toneWav;

namespace {
// `bytes` little-endian bytes of `value` in place of those at `at`.
QByteArray patched(QByteArray file, int at, quint32 value, int bytes = 2)
{
    for (int b = 0; b < bytes; ++b)
        file[at + b] = char((value >> (8 * b)) & 0xFF);
    return file;
}
} // namespace

class TestWavReader : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void readsAsEnginePcm_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("expectedMs");
        const QByteArray good = toneWav(22050, 1, 16, 500);
        QTest::newRow("engine format") << good << 500;
        QTest::newRow("8 bit stereo 11 kHz") << toneWav(11025, 2, 8, 500) << 500;
        QTest::newRow("24 bit 48 kHz") << toneWav(48000, 1, 24, 500) << 500;
        QTest::newRow("32 bit 44 kHz stereo") << toneWav(44100, 2, 32, 500) << 500;
        QTest::newRow("float 16 kHz") << toneWav(16000, 1, 32, 500, 440, true) << 500;
        const QByteArray at8k = toneWav(8000, 1, 16, 500);
        QTest::newRow("unknown chunk before data")
            << patched(at8k.left(36) + QByteArray("LIST\5\0\0\0hello\0", 14) + at8k.mid(36), 4,
                       quint32(at8k.size() + 14 - 8), 4)
            << 500;
        QTest::newRow("streamed, size 0") << patched(good, 40, 0, 4) << 500;
        QTest::newRow("streamed, size -1") << patched(good, 40, 0xFFFFFFFFu, 4) << 500;
        QTest::newRow("truncated") << good.left(44 + 11025) << 250;
    }
    void readsAsEnginePcm()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, expectedMs);
        const QString path = test::writeFile(m_dir.filePath(QStringLiteral("in.wav")), file);
        QList<qint16> pcm;
        QString error;
        QVERIFY2(ReadWavAsEnginePcm(path, pcm, &error), qPrintable(error));
        const double ms = pcm.size() * 1000.0 / 22050;
        QVERIFY2(qAbs(ms - expectedMs) < 15, qPrintable(QString::number(ms)));
        int crossings = 0; // a tone read with the wrong sample layout loses its pitch
        for (qsizetype i = 1; i < pcm.size(); ++i)
            crossings += (pcm[i - 1] < 0) != (pcm[i] < 0);
        const double hz = crossings / 2.0 / (ms / 1000.0);
        QVERIFY2(qAbs(hz - 440) < 10, qPrintable(QString::number(hz)));
    }

    void rejectsGarbage_data()
    {
        QTest::addColumn<QByteArray>("file");
        const QByteArray good = toneWav(22050, 1, 16, 500);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("Hello, this is not a sound file at all.");
        QTest::newRow("header only") << good.left(12);
        QTest::newRow("no data chunk") << good.left(36);
        QTest::newRow("data before fmt") << QByteArray("RIFF\x10\0\0\0WAVEdata\0\0\0\0", 20);
        QTest::newRow("12 bit") << patched(good, 34, 12);
        QTest::newRow("6 channels") << patched(good, 22, 6);
        QTest::newRow("compressed") << patched(good, 20, 0x55);
        QTest::newRow("huge chunk") << patched(good.left(36) + "junk....", 40, 0xFFFFFFF0u, 4);
    }
    void rejectsGarbage()
    {
        QFETCH(QByteArray, file);
        const QString path = test::writeFile(m_dir.filePath(QStringLiteral("bad.wav")), file);
        QList<qint16> pcm;
        QString error;
        QVERIFY(!ReadWavAsEnginePcm(path, pcm, &error));
        QVERIFY(!error.isEmpty());
    }
};

TONARIS_TEST_GUILESS_MAIN(TestWavReader)
#include "tst_wavreader.moc"
