// Batch conversion of documents of mixed formats with the real espeak-ng and lame: files written,
// the count, the tones, an abort, a missing file, a closing window and a machine without lame.
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "audio/Beep.h"
#include "session/BatchConversion.h"
#include "session/SaveToAudio.h"
#include "session/SpeechSession.h"
#include "voices/EspeakEngine.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

namespace {

using test::writeFile;

} // namespace

class TestBatchConversion : public QObject
{
    Q_OBJECT
    test::RecordingDialogs dialogs;
    QList<int> beeps;
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const QString &name) const { return m_dir->filePath(name); }

    // Plain text, a damaged PDF, HTML (a dot in its name), RTF, UTF-16 text and an empty text.
    void writeDocuments()
    {
        writeFile(path(QStringLiteral("one.txt")), "The first document.\r\nIt has two lines.");
        writeFile(path(QStringLiteral("two.pdf")), "%PDF-1.4 this is no PDF at all");
        writeFile(path(QStringLiteral("three.x.html")),
                  "<html><body><p>The third one.</p></body></html>");
        writeFile(path(QStringLiteral("four.rtf")), "{\\rtf1\\ansi The fourth document.\\par}");
        const QString five = QStringLiteral("The fifth document, in sixteen bits.");
        writeFile(path(QStringLiteral("five.txt")),
                  QByteArray("\xff\xfe", 2) +
                      QByteArray(reinterpret_cast<const char *>(five.utf16()), five.size() * 2));
        writeFile(path(QStringLiteral("empty.txt")), "\r\n  \r\n");
    }

    QStringList audioFiles() const
    {
        return QDir(m_dir->path())
            .entryList({QStringLiteral("*.mp3"), QStringLiteral("*.wav")}, QDir::Files, QDir::Name);
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        if (QStandardPaths::findExecutable(QStringLiteral("lame")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("pdftotext")).isEmpty())
            QSKIP("lame and pdftotext are needed");
        Dialogs::install(&dialogs);
        setBeepHook([this](int hz, int) { beeps.append(hz); });
    }

    void cleanupTestCase() { setBeepHook({}); }

    void batch_data()
    {
        QTest::addColumn<QStringList>("names"); // of the documents, in the dialog's order
        QTest::addColumn<QString>("interrupt"); // "abort" or "close", then a document's name
        QTest::addColumn<bool>("lame");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<QStringList>("written");
        const QStringList five{"one.txt", "two.pdf", "three.x.html", "four.rtf", "five.txt"};
        QTest::newRow("all") << five << QString() << true << 4 << int(BatchConversion::Finished)
                             << QStringList{"five.mp3", "four.mp3", "one.mp3", "three.x.mp3"};
        // An abort keeps what the aborted save rendered, as a WAV; the rest is left.
        QTest::newRow("abort on the fourth")
            << five << "abort four" << true << 2 << int(BatchConversion::Aborted)
            << QStringList{"four.wav", "one.mp3", "three.x.mp3"};
        QTest::newRow("without lame")
            << five << QString() << false << 4 << int(BatchConversion::Finished)
            << QStringList{"five.wav", "four.wav", "one.wav", "three.x.wav"};
        QTest::newRow("missing file ends it")
            << QStringList{"one.txt", "two.pdf", "gone.txt", "three.x.html"} << QString() << true << 1
            << int(BatchConversion::MissingFile) << QStringList{"one.mp3"};
        QTest::newRow("window closes") << five << "close three.x" << true << 1
                                       << int(BatchConversion::Closed) << QStringList{"one.mp3"};
        QTest::newRow("nothing readable")
            << QStringList{"two.pdf", "empty.txt"} << QString() << true << 0
            << int(BatchConversion::Finished) << QStringList();
    }

    void batch()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, interrupt);
        QFETCH(bool, lame);
        QFETCH(int, count);
        QFETCH(int, outcome);
        QFETCH(QStringList, written);

        m_dir = std::make_unique<QTemporaryDir>();
        writeDocuments();
        SpeechSession session;
        EspeakEngine engine;
        session.setVoices(&engine, nullptr);
        session.AppFolder = m_dir->path(); // no lame beside the program
        BatchConversion batch(session);
        // The progress window's hook serves to interrupt the save of one document.
        session.saver().AggiornaFormWaitToSaving = [&](const QString &, const QString &, bool,
                                                       int) {
            const QString name = QFileInfo(session.saver().AudioFilePath).completeBaseName();
            if (interrupt == QStringLiteral("close ") + name)
                batch.Closing = true;
            else if (interrupt == QStringLiteral("abort ") + name)
                session.AbortSaveToFile();
        };
        QStringList files;
        for (const QString &name : std::as_const(names))
            files.append(path(name));
        dialogs.clear();
        beeps.clear();

        const QByteArray pathVariable = qgetenv("PATH");
        if (!lame)
            qputenv("PATH", "/nonexistent");
        QCOMPARE(batch.Run(files), count);
        qputenv("PATH", pathVariable);
        QCOMPARE(int(batch.outcome()), outcome);
        // A save cut short by a closing window is aborted and ends on the tick.
        QTRY_COMPARE(session.SpeechState, int(SpeechSession::StateIdle));
        QCOMPARE(session.saver().BatchMode, 0);
        if (outcome == BatchConversion::Closed)
            QVERIFY(audioFiles().contains(QStringLiteral("one.mp3")));
        else
            QCOMPARE(audioFiles(), written);
        for (const QString &name : written) // an aborted save's WAV may hold nothing
            QVERIFY(name.endsWith(QLatin1String(".wav")) || QFileInfo(path(name)).size() > 100);
        const bool closingTones = outcome <= BatchConversion::Aborted;
        QCOMPARE(dialogs.messages,
                 closingTones && count > 0
                     ? QStringList{QStringLiteral("%1 Batch conversions accomplished.").arg(count)}
                     : QStringList());
        if (closingTones)
            QTRY_COMPARE(beeps, (QList<int>{4000, 3000, 3000}));
        else
            QCOMPARE(beeps, QList<int>{4000});
    }
};

TONARIS_TEST_GUILESS_MAIN(TestBatchConversion)
#include "tst_batchconversion.moc"
