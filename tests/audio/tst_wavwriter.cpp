// The streaming WAV writer: a finished file reads back as written, an unfinished one is
// readable too, and a disk that refuses data is reported.
#include "TestSupport.h"
#include "audio/WavReader.h"
#include "audio/WavWriter.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <cstring>
#include <sys/resource.h>

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

    // A write refused at once (/dev/full) or cut short part way (a file-size limit: the first
    // bytes go, the rest does not) fails, and the reason is the system's, not "Unknown error".
    void fullDisk_data()
    {
        QTest::addColumn<bool>("limit");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no space") << false << QString::fromLocal8Bit(std::strerror(ENOSPC));
        QTest::newRow("file-size limit") << true << QString::fromLocal8Bit(std::strerror(EFBIG));
    }

    void fullDisk()
    {
        QFETCH(bool, limit);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        const QString path =
            limit ? dir.filePath(QStringLiteral("limited.wav")) : QStringLiteral("/dev/full");
        if (!limit && !QFile::exists(path))
            QSKIP("no /dev/full");
        rlimit before{};
        QVERIFY(::getrlimit(RLIMIT_FSIZE, &before) == 0);
        const auto oldHandler = ::signal(SIGXFSZ, SIG_IGN);
        if (limit) {
            const rlimit small{100000, before.rlim_max};
            QVERIFY(::setrlimit(RLIMIT_FSIZE, &small) == 0);
        }
        WavWriter w;
        const bool opened = w.open(path, EnginePcmFormat);
        const QByteArray block(30000, '\1');
        bool wrote = opened;
        for (int i = 0; i < 8 && wrote; ++i)
            wrote = w.write(block.constData(), block.size()) && w.flush();
        const bool closed = w.close();
        ::setrlimit(RLIMIT_FSIZE, &before);
        ::signal(SIGXFSZ, oldHandler);
        QVERIFY(!wrote);
        QVERIFY(!closed);
        QVERIFY2(w.errorString().contains(path) && w.errorString().endsWith(reason),
                 qPrintable(w.errorString()));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestWavWriter)
#include "tst_wavwriter.moc"
