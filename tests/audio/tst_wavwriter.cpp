// The streaming WAV writer: a finished file reads back as written, an unfinished one is
// readable too, and a disk that refuses data is reported.
#include "TestSupport.h"
#include "audio/WavReader.h"
#include "audio/WavWriter.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace tonaris;

class TestWavWriter : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void roundTrip_data()
    {
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("bits");
        QTest::newRow("22 kHz mono 16") << 22050 << 1 << 16;
        QTest::newRow("44 kHz stereo 16") << 44100 << 2 << 16;
        QTest::newRow("8 kHz mono 8, odd length") << 8000 << 1 << 8;
    }
    void roundTrip()
    {
        QFETCH(int, rate);
        QFETCH(int, channels);
        QFETCH(int, bits);
        const PcmFormat format{rate, channels, bits};
        const QString path = m_dir.filePath(QStringLiteral("%1.wav").arg(QTest::currentDataTag()));
        WavWriter w;
        QVERIFY(w.open(path, format));
        QByteArray data;
        for (int i = 0; i < 1001 * format.bytesPerFrame(); ++i)
            data.append(char(i * 7));
        const int half = int(data.size() / 2);
        QVERIFY(w.write(data.constData(), half) && w.flush());
        { // a reader of the unfinished file sees what is flushed so far
            WavReader r;
            QVERIFY(r.open(path));
            QList<qint16> samples;
            qsizetype frames = 0, got = 0;
            while ((got = r.read(samples, 4096)) > 0)
                frames += got;
            QCOMPARE(frames, qsizetype(half / format.bytesPerFrame()));
        }
        QVERIFY(w.write(data.constData() + half, data.size() - half));
        QVERIFY(w.close());
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray file = f.readAll();
        const auto u32 = [&](int at) { return int(qFromLittleEndian<quint32>(file.data() + at)); };
        const auto u16 = [&](int at) { return int(qFromLittleEndian<quint16>(file.data() + at)); };
        QCOMPARE(file.size(), 44 + data.size() + data.size() % 2); // odd data gets a pad byte
        QCOMPARE(file.left(4) + file.mid(8, 8) + file.mid(36, 4), QByteArray("RIFFWAVEfmt data"));
        QCOMPARE(u32(4), 36 + int(data.size())); // the RIFF size
        QCOMPARE(QList<int>({u32(16), u16(20), u16(22), u32(24), u32(28), u16(32), u16(34)}),
                 QList<int>({16, 1, channels, rate, rate * channels * bits / 8, channels * bits / 8,
                             bits}));
        QCOMPARE(u32(40), int(data.size()));
        QCOMPARE(file.mid(44, data.size()), data);
    }

    void fullDisk()
    {
        if (!QFile::exists(QStringLiteral("/dev/full")))
            QSKIP("no /dev/full");
        WavWriter w;
        // The header may sit in the buffer; the refusal shows at the latest when it is written.
        const bool opened = w.open(QStringLiteral("/dev/full"), EnginePcmFormat);
        QByteArray second(64 * 1024, '\1');
        QVERIFY(!(opened && w.write(second.constData(), second.size()) && w.flush()));
        QVERIFY(!w.close());
        QVERIFY(w.errorString().contains(QLatin1String("/dev/full")));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestWavWriter)
#include "tst_wavwriter.moc"
