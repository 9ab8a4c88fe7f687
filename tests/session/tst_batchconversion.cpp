// Batch conversion of documents of mixed formats, on a scripted engine that renders at once and
// on the real espeak-ng engine with the real lame: files written, the count, the tones asked
// for, an abort, a missing file, a closing window and a machine without lame.
#include "RecordingDialogs.h"
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "audio/Beep.h"
#include "audio/WavWriter.h"
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

// The scripted engine with a file output: each text spoken into the file is 0.1 s of sound,
// written and finished at once.
class FileEngine : public test::ScriptedEngine
{
public:
    WavWriter file;
    int Speak(const QString &text, int flags) override
    {
        const int stream = ScriptedEngine::Speak(text, flags);
        if (file.isOpen() && !text.trimmed().isEmpty()) {
            const QByteArray samples(file.format().bytesPerFrame() * 2205, '\x10');
            file.write(samples.constData(), samples.size());
            file.flush();
            speaking = false;
        }
        return stream;
    }
    bool OpenOutputFile(const QString &path, QString *error) override
    {
        PcmFormat format;
        PcmFormatFromCode(AudioFormatType(), format);
        const bool ok = file.open(path, format);
        if (!ok && error)
            *error = file.errorString();
        return ok;
    }
    bool CloseOutputFile(QString *) override { return !file.isOpen() || file.close(); }
    bool HasOutputFile() const override { return file.isOpen(); }
    qint64 OutputFileBytes() const override { return file.dataBytes(); }
};

void write(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

} // namespace

class TestBatchConversion : public QObject
{
    Q_OBJECT
    test::RecordingDialogs dialogs;
    QList<int> beeps;
    std::unique_ptr<QTemporaryDir> m_dir;

    QString path(const QString &name) const { return m_dir->filePath(name); }

    // Five documents: plain text, a damaged PDF, HTML, RTF and UTF-16 text.
    QStringList documents()
    {
        write(path(QStringLiteral("one.txt")), "The first document.\r\nIt has two lines.");
        write(path(QStringLiteral("two.pdf")), "%PDF-1.4 this is no PDF at all");
        write(path(QStringLiteral("three.html")),
              "<html><head><title>T</title></head><body><p>The third document.</p></body></html>");
        write(path(QStringLiteral("four.rtf")), "{\\rtf1\\ansi The fourth document.\\par}");
        const QString five = QStringLiteral("The fifth document, in sixteen bits.");
        write(path(QStringLiteral("five.txt")),
              QByteArray("\xff\xfe", 2) +
                  QByteArray(reinterpret_cast<const char *>(five.utf16()), five.size() * 2));
        QStringList all;
        for (const char *name : {"one.txt", "two.pdf", "three.html", "four.rtf", "five.txt"})
            all.append(path(QLatin1String(name)));
        return all;
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
        QTest::addColumn<bool>("real");
        QTest::addColumn<QString>("stopAt");
        QTest::addColumn<bool>("closeInstead");
        QTest::addColumn<bool>("lame");
        QTest::addColumn<QString>("missing"); // listed third, and not there
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("written");
        QTest::addColumn<bool>("closingTones");
        const QStringList mp3s{"five.mp3", "four.mp3", "one.mp3", "three.mp3"};
        const QStringList wavs{"five.wav", "four.wav", "one.wav", "three.wav"};
        const QStringList aborted{"four.wav", "one.mp3", "three.mp3"};
        for (bool real : {false, true}) {
            const QByteArray engine = real ? "espeak: " : "scripted: ";
            auto row = [&](const char *name) {
                return &QTest::newRow(QByteArray(engine + name).constData());
            };
            *row("all") << real << QString() << false << true << QString() << 4 << mp3s << true;
            // An abort keeps what the aborted save rendered, as a WAV; the rest is left.
            *row("abort on the fourth")
                << real << "four" << false << true << QString() << 2 << aborted << true;
            *row("without lame") << real << QString() << false << false << QString() << 4 << wavs
                                 << true;
            *row("missing file ends it") << real << QString() << false << true << "gone.txt" << 1
                                         << QStringList{"one.mp3"} << false;
            *row("window closes") << real << "three" << true << true << QString() << 1
                                  << QStringList{"one.mp3"} << false;
        }
    }

    void batch()
    {
        QFETCH(bool, real);
        QFETCH(QString, stopAt);
        QFETCH(bool, closeInstead);
        QFETCH(bool, lame);
        QFETCH(QString, missing);
        QFETCH(int, count);
        QFETCH(QStringList, written);
        QFETCH(bool, closingTones);

        m_dir = std::make_unique<QTemporaryDir>();
        SpeechSession session;
        std::unique_ptr<SpeechEngine> engine;
        if (real)
            engine = std::make_unique<EspeakEngine>();
        else
            engine = std::make_unique<FileEngine>();
        session.setVoices(engine.get(), nullptr);
        session.AppFolder = m_dir->path(); // no lame beside the program
        BatchConversion batch(session);
        // The progress window's hook serves to interrupt the save of one document.
        session.saver().AggiornaFormWaitToSaving = [&](const QString &, const QString &, bool,
                                                       int) {
            if (stopAt.isEmpty() ||
                !QFileInfo(session.saver().AudioFilePath).fileName().startsWith(stopAt))
                return;
            if (closeInstead)
                batch.Closing = true;
            else
                session.AbortSaveToFile();
        };
        QStringList files = documents();
        if (!missing.isEmpty())
            files.insert(2, path(missing));
        dialogs.clear();
        beeps.clear();

        const QByteArray pathVariable = qgetenv("PATH");
        if (!lame)
            qputenv("PATH", "/nonexistent");
        const int converted = batch.Run(files);
        qputenv("PATH", pathVariable);

        QCOMPARE(converted, count);
        if (closeInstead) // the save under way is aborted and ends on the tick
            QTRY_COMPARE(session.SpeechState, int(SpeechSession::StateIdle));
        QCOMPARE(session.saver().BatchMode, 0);
        QCOMPARE(session.SpeechState, int(SpeechSession::StateIdle));
        if (!closeInstead)
            QCOMPARE(audioFiles(), written);
        else
            QVERIFY(audioFiles().contains(QStringLiteral("one.mp3")));
        for (const QString &name : written) // an aborted save's WAV may hold nothing
            QVERIFY2(name.endsWith(QLatin1String(".wav")) || QFileInfo(path(name)).size() > 100,
                     qPrintable(name));
        if (closingTones) {
            QCOMPARE(dialogs.messages,
                     QStringList{QStringLiteral("%1 Batch conversions accomplished.").arg(count)});
            QTRY_COMPARE(beeps, (QList<int>{4000, 3000, 3000}));
        } else {
            QCOMPARE(dialogs.messages, QStringList());
            QCOMPARE(beeps, QList<int>{4000});
        }
        QVERIFY(!QFileInfo::exists(path(QStringLiteral("two.mp3"))));
    }

    void unreadableOnly()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        SpeechSession session;
        FileEngine engine;
        session.setVoices(&engine, nullptr);
        BatchConversion batch(session);
        write(path(QStringLiteral("broken.pdf")), "not a pdf");
        write(path(QStringLiteral("empty.txt")), "\r\n  \r\n");
        dialogs.clear();
        beeps.clear();
        QCOMPARE(batch.Run({path(QStringLiteral("broken.pdf")), path(QStringLiteral("empty.txt"))}),
                 0);
        QCOMPARE(batch.outcome(), BatchConversion::Finished);
        QTRY_COMPARE(beeps, (QList<int>{4000, 3000, 3000}));
        QCOMPARE(dialogs.messages, QStringList());
        QCOMPARE(audioFiles(), QStringList());
    }
};

TONARIS_TEST_GUILESS_MAIN(TestBatchConversion)
#include "tst_batchconversion.moc"
