// Voices of external programs: a fake one that logs its arguments and copies a known WAV, and
// flite heard on the null sink.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "audio/WavReader.h"
#include "voices/ExternalVoiceEngine.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

using test::writeFile;

class TestExternalVoices : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_odd, m_log; // m_odd: a folder whose name a shell would misread
    QList<ExternalVoice> m_voices;

    QStringList logLines() const
    {
        QFile f(m_log);
        return f.open(QIODevice::ReadOnly)
                   ? QString::fromUtf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts)
                   : QStringList();
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        // A name a shell would misread in every way an engines file can hold.
        m_odd = m_dir.filePath(QStringLiteral("-a b 'q' `touch pwned`; $(touch pwned)"));
        QVERIFY(QDir().mkpath(m_odd));
        qputenv("TMPDIR", m_odd.toUtf8()); // the engine's private folder lies in it as well
        m_log = m_odd + QStringLiteral("/log.txt");
        // A quarter second of 440 Hz at 16 kHz: the fake voice's every utterance.
        writeFile(m_odd + QStringLiteral("/known.wav"), test::toneWav(16000, 1, 16, 250));
        const QString script = m_odd + QStringLiteral("/fake voice.sh");
        writeFile(script, "#!/bin/sh\no=$1; t=$2; log=$3; wav=$4; shift 4\n"
                          "if [ \"$t\" = - ]; then text=$(cat); else text=$(cat \"$t\"); fi\n"
                          "printf '%s|' \"$@\" \"$text\" >> \"$log\"; echo >> \"$log\"\n"
                          "cp \"$wav\" \"$o\"\n");
        QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QString common = QStringLiteral("\"%1\" \"%2/known.wav\"").arg(m_log, m_odd);
        writeFile(
            m_dir.filePath(QStringLiteral("engines.ini")),
            QStringLiteral("# test voices\n[Fake One]\nprogram=%1\n"
                           "arguments={output} {text} %2 {voice} {speed} {100/speed} {pitch}\n"
                           "voice=v1 $(touch pwned)\nlanguage=it\ngender=Female\n"
                           "speed=50 100 200\npitch=10 20 40\n\n"
                           "[Fake Stdin]\nprogram=%1\narguments={output} - %2 {voice}\n"
                           "language=1049\n[Missing]\nprogram=/no/such/program\n"
                           "[Default Out Of Range]\nprogram=%1\nspeed=50 300 200\n")
                .arg(script, common)
                .toUtf8());
        QStringList warnings;
        m_voices = ExternalVoices::readEnginesFile(m_dir.filePath(QStringLiteral("engines.ini")),
                                                   &warnings);
        QCOMPARE(warnings.size(), 2); // the missing program, the default beyond the maximum
        QCOMPARE(m_voices.size(), 2);
    }

    void discoveryFromEnginesFile()
    {
        const ExternalVoice &one = m_voices[0];
        QCOMPARE(one.info.gender, QStringLiteral("FEMALE"));
        QCOMPARE(one.info.language + m_voices[1].info.language, QStringLiteral("10401049"));
        QVERIFY(!one.textOnStandardInput() && m_voices[1].textOnStandardInput());
        ExternalVoiceEngine engine(m_voices);
        QCOMPARE(engine.CountEngines(), 2);
        QCOMPARE(engine.Speed(), 100);
        QCOMPARE(engine.MaxPitch(), 40);
        QVERIFY(engine.Select(2) && !engine.Select(3));
        QCOMPARE(engine.SelectedIndex(), 2);
        QCOMPARE(ExternalVoiceEngine({}).CountEngines(), 0);
    }

    void textReachesTheProgram_data()
    {
        QTest::addColumn<int>("voice");
        QTest::addColumn<int>("speed");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("logged");
        QTest::newRow("tags stripped, placeholders filled")
            << 1 << 150 << R"(Hello <VOLUME LEVEL="50"/>world <b>now</b>)"
            << "v1 $(touch pwned)|150|0.6667|20|Hello world now|";
        QTest::newRow("speed clamped to the range") << 1 << 999 << "a < b; `ls`"
                                                    << "v1 $(touch pwned)|200|0.5|20|a < b; `ls`|";
        QTest::newRow("text on standard input") << 2 << 100 << "Ciao <x>mondo"
                                                << "|Ciao mondo|";
        // Only markup goes: comparisons, arrows and addresses in angle brackets are words.
        QTest::newRow("angle brackets of ordinary text")
            << 2 << 100 << "if x < 5 and y > 3 then stop <- a -> <ann@example.com> <SPELL>b</SPELL>"
            << "|if x < 5 and y > 3 then stop <- a -> <ann@example.com> b|";
    }
    void textReachesTheProgram()
    {
        QFETCH(int, voice);
        QFETCH(int, speed);
        QFETCH(QString, text);
        QFETCH(QString, logged);
        ExternalVoiceEngine engine(m_voices);
        QVERIFY(engine.Select(voice));
        engine.SetSpeed(speed);
        engine.SpeakText(text);
        QTRY_VERIFY_WITH_TIMEOUT(!engine.Speaking(), 20000);
        QCOMPARE(logLines().value(logLines().size() - 1), logged);
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("pwned"))));
        QVERIFY(!QFile::exists(QStringLiteral("pwned")));
    }

    void speakingFlagAndReset()
    {
        ExternalVoiceEngine engine(m_voices);
        QSignalSpy stops(&engine, &ExternalVoiceEngine::AudioStop);
        engine.SpeakText(QStringLiteral("one"));
        QVERIFY(engine.Speaking());
        QTRY_COMPARE_WITH_TIMEOUT(stops.count(), 1, 20000);
        QVERIFY(!engine.Speaking());
        QFile::remove(m_log);
        for (const char *t : {"first", "second", "third"})
            engine.SpeakText(QString::fromLatin1(t));
        engine.AudioReset();
        QVERIFY(!engine.Speaking());
        engine.SpeakText(QStringLiteral("last"));
        QTRY_COMPARE_WITH_TIMEOUT(stops.count(), 2, 20000);
        QTRY_VERIFY(!engine.Speaking());
        const QStringList lines = logLines(); // the first may have started before the reset
        QVERIFY2(lines.last().endsWith(QLatin1String("|last|")) &&
                     !lines.join(u' ').contains(QLatin1String("second")),
                 qPrintable(lines.join(u' ')));
        QCOMPARE(stops.count(), 2);
    }

    void fileNameCollectsTheSound()
    {
        ExternalVoiceEngine engine(m_voices);
        QVERIFY(!engine.SetFileName(QStringLiteral("/no/such/folder/x.wav")));
        const QString out = m_odd + QStringLiteral("/-out \"d\" $(touch pwned)\nx.wav");
        QVERIFY(engine.SetFileName(out));
        engine.SpeakText(QStringLiteral("one"));
        engine.SpeakText(QStringLiteral("two"));
        QTRY_VERIFY_WITH_TIMEOUT(!engine.Speaking(), 20000);
        QVERIFY(engine.SetFileName(QString()));
        QList<qint16> pcm;
        QVERIFY(ReadWavAsEnginePcm(out, pcm));
        QVERIFY2(qAbs(pcm.size() - 11025) < 300, qPrintable(QString::number(pcm.size())));
    }

    void fliteSpeaksOnTheNullSink()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("flite")).isEmpty())
            QSKIP("flite is not installed");
        const QList<ExternalVoice> voices = ExternalVoices::fliteVoices();
        const auto slt = std::find_if(voices.begin(), voices.end(),
                                      [](const ExternalVoice &v) { return v.voice == u"slt"; });
        QVERIFY(slt != voices.end());
        QCOMPARE(slt->info.language, QStringLiteral("1033"));
        QCOMPARE(slt->info.gender, QStringLiteral("FEMALE"));
        if (!test::AudioCapture::serverReachable() || !AudioOutput::anyOutputDevice())
            QSKIP("no sound server; ./test.sh starts one");
        test::AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        ExternalVoiceEngine engine(voices);
        QVERIFY(engine.Select(int(slt - voices.begin()) + 1));
        QSignalSpy mouth(&engine, &ExternalVoiceEngine::MouthLevel);
        engine.SpeakText(QStringLiteral("Hello from <b>an external</b> voice program."));
        QTRY_VERIFY_WITH_TIMEOUT(!engine.Speaking(), 30000);
        QVERIFY(capture.stop());
        qint64 heard = 0;
        for (const auto &span : capture.soundSpans())
            heard += span.length();
        qInfo() << "heard" << test::AudioCapture::msFromFrames(heard) << "ms";
        QVERIFY(test::AudioCapture::msFromFrames(heard) > 800);
        QVERIFY(std::any_of(mouth.begin(), mouth.end(),
                            [](const QList<QVariant> &a) { return a.value(0).toInt() > 20; }));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestExternalVoices)
#include "tst_externalvoices.moc"
