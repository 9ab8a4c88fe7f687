// The recorder's frame and the batch item in the real window, on the test sound server whose
// microphone hears the null sink: record a tone, play it back, insert it as a #PLAY line and
// hear it spoken among the lines; convert documents from the File menu.
#include "AudioCapture.h"
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "audio/AudioRecorder.h"
#include "audio/Beep.h"
#include "session/BatchConversion.h"
#include "shell/Form1.h"
#include "shell/FrameRecord.h"
#include "textprep/Text.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tonaris;

class TestRecorderWindow : public QObject
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

    void recordPlayAndInsert()
    {
        auto *formats = child<QComboBox>("ComboAudioFormat");
        formats->setCurrentIndex(formats->findText(QStringLiteral("22 kHz 16 Bit Mono")));
        auto *rec = child<QPushButton>("CommandRec");
        auto *play = child<QPushButton>("CommandPlayRec");
        auto *insert = child<QPushButton>("CommandInsertRec");
        QVERIFY(rec->isEnabled() && !play->isEnabled() && !insert->isEnabled());
        rec->setFocus();
        QCOMPARE(caption(), QStringLiteral("Start Recording"));

        // Recording: the seconds count up and the button blinks.
        rec->click();
        QCOMPARE(caption(), QStringLiteral("Stop Recording"));
        QCOMPARE(rec->accessibleName(), QStringLiteral("Stop Recording"));
        QTRY_COMPARE(status(), QStringLiteral("Recording 1 sec."));
        const qint64 phase = rec->icon().cacheKey();
        QTRY_COMPARE(status(), QStringLiteral("Recording 2 sec."));
        QVERIFY(rec->icon().cacheKey() != phase);
        // The test server's microphone may take a while to deliver: the tone waits for it.
        AudioRecorder *recorder = w->FrameRecord1->recorder();
        QTRY_VERIFY_WITH_TIMEOUT(recorder->lengthMs() > 300, 5000);
        const int before = recorder->lengthMs();
        Beep(440, 1000);
        QTRY_VERIFY_WITH_TIMEOUT(recorder->lengthMs() > before + 1800, 10000);
        const int seconds = w->FrameRecord1->RecorderSeconds;
        rec->click();
        QCOMPARE(status(), QStringLiteral("Recorded %1 sec.").arg(seconds));
        QCOMPARE(rec->icon().cacheKey(), FrameRecord::ImageSymbol(2).cacheKey());
        QVERIFY(play->isEnabled() && insert->isEnabled());

        // A playback that ends by itself gives the button back.
        play->setFocus();
        QCOMPARE(caption(), QStringLiteral("Play Recorded"));
        play->click();
        QCOMPARE(caption(), QStringLiteral("Stop Play"));
        QCOMPARE(play->icon().cacheKey(), FrameRecord::ImageSymbol(4).cacheKey());
        QTRY_COMPARE_WITH_TIMEOUT(play->accessibleName(), QStringLiteral("Play Recorded"), 10000);
        QCOMPARE(caption(), QStringLiteral("Play Recorded"));
        QCOMPARE(play->icon().cacheKey(), FrameRecord::ImageSymbol(3).cacheKey());

        // Saving over a file that exists, answered no: nothing happens, the recording stays.
        w->Text1->setText(QStringLiteral("Before the note.\r\nAfter the note."));
        w->Text1->SetSelStart(18);
        QFile taken(path("taken.wav"));
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.write("old");
        taken.close();
        dialogs.saveFiles = QStringList{taken.fileName()};
        dialogs.answer = 1;
        insert->click();
        QCOMPARE(dialogs.questions.size(), 1);
        QCOMPARE(QFileInfo(taken.fileName()).size(), 3);
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
        QVERIFY(dialogs.titles.first().startsWith(QLatin1String("Save Recorded Wav as... [")));
        QVERIFY(dialogs.titles.first().endsWith(QLatin1String("/Recorded]")));

        // Speaking the text plays the note between the spoken lines.
        test::AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        w->session().CommandSpeech_Click();
        QTRY_COMPARE(w->session().StatusDisplay, int(SpeechSession::DisplayReproducing));
        QTRY_COMPARE_WITH_TIMEOUT(w->session().StatusDisplay, int(SpeechSession::DisplayReady),
                                  30000);
        QVERIFY(capture.stop());
        const auto spans = capture.soundSpans(1000, 60);
        QVERIFY(spans.size() >= 3);
        int tones = 0;
        for (qsizetype i = 0; i < spans.size(); ++i) {
            const auto &s = spans.at(i);
            const double hz = capture.frequency(s.start, s.length());
            if (std::abs(hz - 440) < 15 &&
                std::abs(test::AudioCapture::msFromFrames(s.length()) - 1000) < 150) {
                ++tones;
                QVERIFY(i > 0 && i < spans.size() - 1); // speech before and after it
            }
        }
        QCOMPARE(tones, 1);
    }

    void batchFromTheMenu()
    {
        QList<int> beeps;
        setBeepHook([&beeps](int hz, int) { beeps.append(hz); });
        for (const char *name : {"a.txt", "b.html"}) {
            QFile f(path(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("<p>A short document.</p>");
        }
        w->Text1->setText(QStringLiteral("Kept as it is."));
        dialogs.multipleFiles = QStringList{path("a.txt"), path("b.html")};
        child<QAction>("menuBatchConversion")->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(dialogs.messages,
                                  QStringList{QStringLiteral("2 Batch conversions accomplished.")},
                                  60000);
        QVERIFY(QFileInfo(path("a.mp3")).size() > 1000 && QFileInfo(path("b.mp3")).size() > 1000);
        QCOMPARE(w->Text1->text(), QStringLiteral("Kept as it is."));
        QCOMPARE(dialogs.titles, QStringList{QStringLiteral("Open File...")});
        QVERIFY(w->isVisible());
        QTRY_COMPARE(beeps, (QList<int>{4000, 3000, 3000}));

        // Closing the window during a batch ends it without tones or summary.
        dialogs.clear();
        beeps.clear();
        QFile book(path("book.txt"));
        QVERIFY(book.open(QIODevice::WriteOnly));
        book.write(QByteArray("A line of a longer book, read for a while.\r\n").repeated(200));
        book.close();
        dialogs.multipleFiles = QStringList{book.fileName(), path("a.txt")};
        child<QAction>("menuBatchConversion")->trigger();
        // The batch runs inside the handler: the window is closed from within its wait.
        QTimer closer;
        connect(&closer, &QTimer::timeout, w, [this] {
            if (w->session().SpeechState == SpeechSession::StateSaving)
                w->close();
        });
        closer.start(5);
        QTRY_VERIFY(!w->isVisible() && !w->batch().isRunning());
        closer.stop();
        QTRY_VERIFY(!w->batch().isRunning());
        QCOMPARE(w->batch().outcome(), BatchConversion::Closed);
        QTRY_COMPARE_WITH_TIMEOUT(w->session().SpeechState, int(SpeechSession::StateIdle), 30000);
        QCOMPARE(dialogs.messages, QStringList());
        QCOMPARE(beeps, QList<int>{4000});
        setBeepHook({});
    }
};

TONARIS_TEST_MAIN(TestRecorderWindow)
#include "tst_recorderwindow.moc"
