// The microphone recorder on the test sound server, whose microphone hears the null sink: a tone
// played there is what it records. The service saves it in the formats of the list; in the window
// the frame records, plays it back on the null sink and inserts a #PLAY line that speaking plays
// among the spoken lines.
#include "AudioCapture.h"
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "audio/AudioRecorder.h"
#include "audio/Beep.h"
#include "audio/WavWriter.h"
#include "shell/Form1.h"
#include "shell/FrameRecord.h"
#include "textprep/Text.h"

#include <QTest>
#include <QtWidgets>

using namespace tonaris;

Q_DECLARE_METATYPE(tonaris::PcmFormat)

namespace {

struct Tone
{
    double seconds = 0;
    double hz = 0;
};

// The longest stretch of sound a capture holds, and its frequency.
Tone longestTone(const test::AudioCapture &capture)
{
    Tone best;
    for (const auto &span : capture.soundSpans())
        if (test::AudioCapture::msFromFrames(span.length()) / 1000 > best.seconds)
            best = {test::AudioCapture::msFromFrames(span.length()) / 1000,
                    capture.frequency(span.start, span.length())};
    return best;
}

// Waits until the microphone delivers (the test server's may take a while), then records while
// a tone of that length sounds.
bool recordTone(AudioRecorder &rec, int toneMs)
{
    if (!QTest::qWaitFor([&] { return rec.lengthMs() > 300; }, 5000))
        return false;
    const int before = rec.lengthMs();
    Beep(440, toneMs);
    return QTest::qWaitFor([&] { return rec.lengthMs() > before + toneMs + 800; }, 10000);
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace

class TestRecorder : public QObject
{
    Q_OBJECT
    test::RecordingDialogs dialogs;
    QTemporaryDir m_dir;
    Form1 *w = nullptr;

    template <typename T> T *child(const char *name) const { return test::child<T>(w, name); }
    QString status() const { return child<QLabel>("StatusBar")->text(); }
    QString caption() const { return child<QGroupBox>("FrameCommandsRec")->title(); }
    QString path(const char *name) const { return m_dir.filePath(QLatin1String(name)); }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        if (!test::AudioCapture::serverReachable() || !AudioRecorder::anyInputDevice())
            QSKIP("needs the test sound server with its microphone (see test.sh)");
    }

    void init()
    {
        dialogs.clear();
        w = new Form1;
        w->show();
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
    }

    void cleanup() { delete w; }

    void recordsTheMicrophone_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<PcmFormat>("format");
        QTest::addColumn<qint64>("memoryLimit");
        const qint64 mb = 1 << 20;
        QTest::newRow("44 is 44100") << "44 kHz 16 Bit Stereo" << PcmFormat{44100, 2, 16} << mb;
        QTest::newRow("11 is 11025") << "11 kHz 8 Bit Mono" << PcmFormat{11025, 1, 8} << mb;
        QTest::newRow("long: kept in a file")
            << "48 kHz 16 Bit mono" << PcmFormat{48000, 1, 16} << qint64(64 << 10);
        QTest::newRow("four words: no format") << "ALaw 8 kHz Mono" << PcmFormat{0, 0, 0} << mb;
        QTest::newRow("no number: no format") << "GSM kHz 16 Bit Mono" << PcmFormat{0, 0, 0} << mb;
    }

    void recordsTheMicrophone()
    {
        QFETCH(QString, caption);
        QFETCH(PcmFormat, format);
        QFETCH(qint64, memoryLimit);
        QVERIFY(AudioRecorder::FormatFromCaption(caption) == format);
        if (format.sampleRate == 0)
            return;
        AudioRecorder::MemoryLimit = memoryLimit;
        AudioRecorder rec;
        QVERIFY(rec.OpenRecorder());
        QVERIFY(rec.SetAudioFormat(format.bitsPerSample, format.sampleRate, format.channels));
        QVERIFY(rec.StartRecord());
        QVERIFY(recordTone(rec, 2000));
        QVERIFY(rec.StopRecord());

        QString error; // a save that fails keeps the recording for another try
        QVERIFY(!rec.SaveRecordedAs(path("missing/x.wav"), &error) && !error.isEmpty());
        const QString saved = m_dir.filePath(QTest::currentDataTag() + QStringLiteral(".wav"));
        QVERIFY(rec.SaveRecordedAs(saved, &error));
        QFile file(saved);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.read(44), WavWriter::header(format, quint32(rec.recordedBytes())));
        QCOMPARE(file.size() - 44, rec.recordedBytes());
        test::AudioCapture wav;
        QVERIFY(wav.load(saved));
        const Tone tone = longestTone(wav);
        QVERIFY2(tone.seconds > 1.8 && tone.seconds < 2.3,
                 qPrintable(QString::number(tone.seconds)));
        QVERIFY2(std::abs(tone.hz - 440) < 15, qPrintable(QString::number(tone.hz)));
        QVERIFY(rec.CloseRecorder() && rec.GetStatus() == AudioRecorder::NotReady);
    }

    void recordPlayAndInsert()
    {
        auto *formats = child<QComboBox>("ComboAudioFormat");
        formats->setCurrentIndex(formats->findText(QStringLiteral("22 kHz 16 Bit Mono")));
        auto *rec = child<QPushButton>("CommandRec");
        auto *play = child<QPushButton>("CommandPlayRec");
        auto *insert = child<QPushButton>("CommandInsertRec");
        QVERIFY(!play->isEnabled() && !insert->isEnabled());
        rec->setFocus(); // recording: the seconds count up and the button blinks
        rec->click();
        QCOMPARE(caption(), QStringLiteral("Stop Recording")); // the focused button's action
        QTRY_COMPARE(status(), QStringLiteral("Recording 1 sec."));
        const qint64 phase = rec->icon().cacheKey();
        QTRY_COMPARE(status(), QStringLiteral("Recording 2 sec."));
        QVERIFY(rec->icon().cacheKey() != phase);
        AudioRecorder *recorder = w->FrameRecord1->recorder();
        QVERIFY(recordTone(*recorder, 1000));
        const int seconds = w->FrameRecord1->RecorderSeconds;
        rec->click();
        QCOMPARE(status(), QStringLiteral("Recorded %1 sec.").arg(seconds));
        QVERIFY(play->isEnabled() && insert->isEnabled());

        // A playback that ends by itself gives the button back, and the tone was heard whole;
        // the null sink is recorded from here to the end.
        test::AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        play->setFocus();
        QElapsedTimer playing;
        playing.start();
        play->click();
        QCOMPARE(caption(), QStringLiteral("Stop Play"));
        QTRY_COMPARE_WITH_TIMEOUT(play->accessibleName(), QStringLiteral("Play Recorded"), 10000);
        QCOMPARE(caption(), QStringLiteral("Play Recorded"));
        QVERIFY(playing.elapsed() >= recorder->lengthMs() - 15); // its end was not cut

        // Saving over a file that exists, answered no: nothing happens, the recording stays.
        w->Text1->setText(QStringLiteral("Before the note.\r\nAfter the note."));
        w->Text1->SetSelStart(18);
        QVERIFY(write(path("taken.wav"), "old"));
        dialogs.saveFiles = QStringList{path("taken.wav")};
        dialogs.answer = 1;
        insert->click();
        QVERIFY(dialogs.questions.size() == 1 && QFileInfo(path("taken.wav")).size() == 3);
        QCOMPARE(w->Text1->text(), QStringLiteral("Before the note.\r\nAfter the note."));
        QVERIFY(insert->isEnabled());

        // Under another name the line goes in at the caret.
        dialogs.saveFiles = QStringList{path("note")};
        insert->click();
        const QString note = path("note.wav");
        QVERIFY(QFileInfo(note).size() > 22050 * 2 * 2);
        QCOMPARE(w->Text1->text(),
                 QStringLiteral("Before the note.\r\n#PLAY \"%1\"\r\nAfter the note.").arg(note));
        QVERIFY(!play->isEnabled() && !insert->isEnabled());
        QVERIFY(dialogs.titles.first().endsWith(QLatin1String("/Recorded]")));

        // Speaking the text plays the note between the spoken lines.
        w->session().CommandSpeech_Click();
        QTRY_COMPARE(w->session().StatusDisplay, int(SpeechSession::DisplayReproducing));
        QTRY_COMPARE_WITH_TIMEOUT(w->session().StatusDisplay, int(SpeechSession::DisplayReady),
                                  30000);
        QVERIFY(capture.stop());
        // The two tones: the frame's playback first, then the note among the speech.
        const auto spans = capture.soundSpans();
        QList<qsizetype> tones;
        for (qsizetype i = 0; i < spans.size(); ++i)
            if (std::abs(capture.frequency(spans[i].start, spans[i].length()) - 440) < 15 &&
                std::abs(test::AudioCapture::msFromFrames(spans[i].length()) - 1000) < 150)
                tones.append(i);
        QCOMPARE(tones.size(), 2);
        QVERIFY(tones[0] == 0 && tones[1] > 1 && tones[1] < spans.size() - 1);
    }
};

TONARIS_TEST_MAIN(TestRecorder)
#include "tst_recorder.moc"
