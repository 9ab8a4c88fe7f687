// Conversion between the engine's format and the formats a save or a sound device asks for:
// sample values, channel mapping and the length after resampling.
#include "TestSupport.h"
#include "audio/PcmConverter.h"

#include <QTest>

#include <cmath>

using namespace tonaris;

namespace {

QByteArray pcm16(std::initializer_list<qint16> samples)
{
    return QByteArray(reinterpret_cast<const char *>(std::data(samples)),
                      qsizetype(samples.size() * 2));
}

QByteArray pcm8(std::initializer_list<int> samples)
{
    QByteArray out;
    for (int s : samples)
        out.append(char(uchar(s)));
    return out;
}

} // namespace

class TestPcmConverter : public QObject
{
    Q_OBJECT

private slots:
    void samples_data()
    {
        QTest::addColumn<int>("fromBits");
        QTest::addColumn<int>("fromChannels");
        QTest::addColumn<int>("toBits");
        QTest::addColumn<int>("toChannels");
        QTest::addColumn<QByteArray>("in");
        QTest::addColumn<QByteArray>("expected");
        // 8-bit PCM is unsigned with silence at 128.
        QTest::newRow("16 to 8 bit")
            << 16 << 1 << 8 << 1 << pcm16({0, 32767, -32768, 16384}) << pcm8({128, 255, 1, 192});
        QTest::newRow("8 to 16 bit")
            << 8 << 1 << 16 << 1 << pcm8({128, 255, 0, 192}) << pcm16({0, 32511, -32767, 16384});
        QTest::newRow("mono to stereo")
            << 16 << 1 << 16 << 2 << pcm16({100, -200}) << pcm16({100, 100, -200, -200});
        QTest::newRow("stereo to mono, mixed")
            << 16 << 2 << 16 << 1 << pcm16({1000, 3000, -400, 0}) << pcm16({2000, -200});
        QTest::newRow("partial frame dropped")
            << 16 << 2 << 8 << 2 << pcm16({0, 0, 5}) << pcm8({128, 128});
    }

    void samples()
    {
        QFETCH(int, fromBits);
        QFETCH(int, fromChannels);
        QFETCH(int, toBits);
        QFETCH(int, toChannels);
        QFETCH(QByteArray, in);
        QFETCH(QByteArray, expected);
        PcmConverter c({22050, fromChannels, fromBits}, {22050, toChannels, toBits});
        QVERIFY(c.isValid());
        QByteArray out;
        c.convert(in.constData(), in.size(), out);
        QCOMPARE(out.toHex(' '), expected.toHex(' '));
    }

    // A tone keeps its length and its pitch through the resampler.
    void resampling_data()
    {
        QTest::addColumn<int>("toRate");
        QTest::newRow("down to 8 kHz") << 8000;
        QTest::newRow("up to 44.1 kHz") << 44100;
    }

    void resampling()
    {
        QFETCH(int, toRate);
        const int frames = 22050;
        QList<qint16> tone(frames);
        for (int i = 0; i < frames; ++i)
            tone[i] = qint16(10000 * std::sin(2 * M_PI * 440 * i / 22050.0));
        PcmConverter c({22050, 1, 16}, {toRate, 1, 16});
        QVERIFY(c.isValid());
        QByteArray out;
        // In pieces, as the engine delivers it.
        for (int at = 0; at < frames; at += 1000) {
            const int n = std::min(1000, frames - at);
            c.convert(reinterpret_cast<const char *>(tone.constData() + at), n * 2, out);
        }
        c.flush(out);
        const auto *s = reinterpret_cast<const qint16 *>(out.constData());
        const qsizetype got = out.size() / 2;
        QVERIFY2(std::abs(got - toRate) <= toRate / 100, qPrintable(QString::number(got)));
        int crossings = 0;
        for (qsizetype i = 1; i < got; ++i)
            crossings += (s[i - 1] < 0) != (s[i] < 0);
        QVERIFY2(std::abs(crossings - 880) <= 10, qPrintable(QString::number(crossings)));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestPcmConverter)
#include "tst_pcmconverter.moc"
