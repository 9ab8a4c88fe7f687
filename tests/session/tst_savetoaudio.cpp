// Saving to WAV and MP3 with the real espeak-ng and lame, measured with sox.
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "audio/Beep.h"
#include "audio/Mp3Encoder.h"
#include "audio/SoundFileEncoder.h"
#include "session/SaveToAudio.h"
#include "session/SpeechSession.h"
#include "voices/EspeakEngine.h"
#include "voices/ExternalVoiceEngine.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sndfile.h>

#include <cmath>
#include <vector>

using namespace tonaris;

namespace {

QString run(const QString &program, const QStringList &args, bool errors = false)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(60000))
        return QString();
    return QString::fromUtf8(errors ? p.readAllStandardError() : p.readAllStandardOutput())
        .trimmed();
}

double duration(const QString &path)
{
    return run(QStringLiteral("soxi"), {QStringLiteral("-D"), path}).toDouble();
}

// The loudest sample of a stretch, 0..1, by sox.
double peak(const QString &path, double from, double length)
{
    const QString stat =
        run(QStringLiteral("sox"),
            {path, QStringLiteral("-n"), QStringLiteral("trim"), QString::number(from),
             QString::number(length), QStringLiteral("stat")},
            true);
    const QRegularExpression re(QStringLiteral("Maximum amplitude:\\s+([-0-9.e]+)"));
    const auto m = re.match(stat);
    return m.hasMatch() ? m.captured(1).toDouble() : -1;
}

QString decoded(const QString &mp3)
{
    const QString wav = mp3 + QStringLiteral(".decoded.wav");
    run(QStringLiteral("lame"), {QStringLiteral("--silent"), QStringLiteral("--decode"), mp3, wav});
    return wav;
}

// The text frames of an ID3v2.3 tag by frame id; of a comment only its text.
QMap<QString, QString> id3Frames(const QByteArray &file)
{
    QMap<QString, QString> frames;
    const auto number = [&](int at, int bits) { // four bytes of 7 (syncsafe) or 8 bits
        int n = 0;
        for (int i = 0; i < 4; ++i)
            n = n << bits | (quint8(file[at + i]) & ((1 << bits) - 1));
        return n;
    };
    if (!file.startsWith("ID3"))
        return frames;
    for (int at = 10, end = 10 + number(6, 7); at + 10 <= end && file[at] != 0;
         at += 10 + number(at + 4, 8)) {
        const QString id = QString::fromLatin1(file.mid(at, 4));
        QByteArray body = file.mid(at + 11, number(at + 4, 8) - 1);
        if (id == u"COMM")
            body.remove(0, 3); // the language
        QString text =
            file[at + 10] == 1
                ? QString::fromUtf16(reinterpret_cast<const char16_t *>(body.constData()),
                                     body.size() / 2)
                : QString::fromLatin1(body);
        const QStringList parts = text.remove(QChar(0xFEFF)).split(QChar(0), Qt::SkipEmptyParts);
        frames[id] = parts.value(parts.size() - 1);
    }
    return frames;
}

} // namespace

class TestSaveToAudio : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    SpeechSession *s = nullptr;
    EspeakEngine *voice = nullptr;
    test::RecordingDialogs dialogs;
    Dialogs *previousDialogs = nullptr;
    QList<int> beeps;
    double m_untitled = 0;

    SaveToAudio &save() { return s->saver(); }

    // Saves text the way the command line does, and waits for the end.
    bool saveText(const QString &text, const QString &target, int format)
    {
        save().BatchMode = 1;
        save().BatchOutputFile = target;
        save().BatchOutputFormat = format;
        s->SpeechText = text;
        s->SpeechRequest = SpeechSession::RequestSave;
        s->SetTimerFast();
        return QTest::qWaitFor(
            [&] {
                return s->SpeechState == SpeechSession::StateIdle &&
                       s->SpeechRequest == SpeechSession::RequestNone;
            },
            120000);
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QStringList leftovers(const QString &folder) const
    {
        return QDir(folder).entryList({QStringLiteral("tonaris_*"), QStringLiteral(".*.part")},
                                      QDir::Files | QDir::Hidden);
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        QVERIFY(m_dir.isValid());
        if (QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("lame")).isEmpty())
            QSKIP("sox and lame are needed");
        previousDialogs = Dialogs::install(&dialogs);
        setBeepHook([this](int hz, int) { beeps.append(hz); });
        s = new SpeechSession(this);
        voice = new EspeakEngine(this);
        s->setVoices(voice, nullptr);
    }

    void cleanupTestCase()
    {
        delete s;
        setBeepHook({});
        Dialogs::install(previousDialogs);
    }

    void init()
    {
        dialogs.messages.clear();
        beeps.clear();
        save().menuSplitSize_Click(0);
        save().AddInitialAndFinalSilence = false;
        save().SpeakVolumeTitleAndVolumeNumber = false;
        save().SpeakVolumeNumberAndVolumeTitle = false;
        voice->SetAudioFormatType(22);
    }

    void oneLine_data()
    {
        QTest::addColumn<int>("format"); // 1 WAV, 0 MP3
        QTest::addColumn<bool>("silences");
        QTest::addColumn<int>("formatCode");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("wav") << 1 << false << 22 << 22050 << 1;
        QTest::newRow("wav with silences") << 1 << true << 22 << 22050 << 1;
        QTest::newRow("wav 44 kHz stereo") << 1 << false << 39 - 4 << 44100 << 2;
        QTest::newRow("mp3") << 0 << false << 22 << 22050 << 1;
        QTest::newRow("mp3 with silences") << 0 << true << 22 << 22050 << 1;
    }

    void oneLine()
    {
        QFETCH(int, format);
        QFETCH(bool, silences);
        QFETCH(int, formatCode);
        QFETCH(int, rate);
        QFETCH(int, channels);
        voice->SetAudioFormatType(formatCode);
        save().AddInitialAndFinalSilence = silences;
        const QString target = path(QStringLiteral("one line %1").arg(QTest::currentDataTag()));
        QVERIFY(saveText(QStringLiteral("Hello world, this is one line."), target, format));
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        QCOMPARE(save().ExitStatus, 0);
        const QString file =
            target + (format == 1 ? QStringLiteral(".wav") : QStringLiteral(".mp3"));
        QVERIFY(QFile::exists(file));
        QCOMPARE(leftovers(m_dir.path()), QStringList());
        const QString wav = format == 1 ? file : decoded(file);
        if (format == 1) {
            QCOMPARE(run(QStringLiteral("soxi"), {QStringLiteral("-r"), wav}).toInt(), rate);
            QCOMPARE(run(QStringLiteral("soxi"), {QStringLiteral("-c"), wav}).toInt(), channels);
        }
        const double seconds = duration(wav);
        if (!silences) {
            QVERIFY2(seconds > 1.0 && seconds < 4.0, qPrintable(QString::number(seconds)));
        } else {
            QVERIFY2(seconds > 3.3 && seconds < 6.5, qPrintable(QString::number(seconds)));
            QVERIFY(peak(wav, 0, 0.25) < 0.02);            // 300 ms at the start
            QVERIFY(peak(wav, seconds - 1.8, 1.8) < 0.02); // 2000 ms at the end
            QVERIFY(peak(wav, 0.3, seconds - 2.3) > 0.1);  // speech between them
        }
        QTRY_COMPARE(beeps, (QList<int>{4000, 3000, 3000})); // the end sounds twice
    }

    void id3Tags()
    {
        const QString target = path(QStringLiteral("Caffè e libri"));
        QVERIFY(saveText(QStringLiteral("A tagged line."), target, 0));
        QFile f(target + QStringLiteral(".mp3"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        const auto frames = id3Frames(bytes);
        QCOMPARE(frames.value(QStringLiteral("TIT2")), QStringLiteral("Caffè e libri"));
        QCOMPARE(frames.value(QStringLiteral("TPE1")), QStringLiteral("Tonaris-TTS"));
        QCOMPARE(frames.value(QStringLiteral("COMM")),
                 QStringLiteral("Produced with Tonaris-TTS By Arlen Vostrik (Orvane)"));
        QVERIFY(!bytes.right(128).startsWith("TAG")); // no ID3v1
    }

    void volumes_data()
    {
        QTest::addColumn<int>("split");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("count");
        // 30 lines of 400 characters: a volume ends behind the line that passes the limit.
        const QString line = QString(QStringLiteral("Word and word again. ")).repeated(19) +
                             QStringLiteral("The end.");
        QStringList thirty;
        for (int i = 0; i < 30; ++i)
            thirty.append(line);
        const QString long30 = thirty.join(QStringLiteral("\r\n"));
        QTest::newRow("5 min mp3") << 1 << long30 << 0 << 3;
        QTest::newRow("10 min") << 2 << long30 << 0 << 2;
        QTest::newRow("20 min") << 3 << long30 << 0 << 1;
        QTest::newRow("only breaks")
            << 5 << QStringLiteral("One.\r\n#BREAK\r\nTwo.\r\n#break\r\nThree.") << 0 << 3;
        QTest::newRow("break on the last line")
            << 5 << QStringLiteral("One.\r\nTwo.\r\n#BREAK") << 0 << 1;
        QTest::newRow("custom without breaks") << 5 << long30 << 1 << 1;
        QTest::newRow("titled breaks, first one names volume 1")
            << 5 << QStringLiteral("\r\n#BREAK Chapter 1\r\nOne.\r\n#BREAK Chapter 2\r\nTwo.") << 1
            << 2;
    }

    void volumes()
    {
        QFETCH(int, split);
        QFETCH(QString, text);
        QFETCH(int, format);
        QFETCH(int, count);
        save().menuSplitSize_Click(split);
        const QString name = QStringLiteral("book %1").arg(QTest::currentDataTag());
        QVERIFY(saveText(text, path(name), format));
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        const QString ext = format == 1 ? QStringLiteral(".wav") : QStringLiteral(".mp3");
        QStringList expected;
        for (int i = 1; i <= count; ++i)
            expected.append(
                QStringLiteral("%1_%2%3").arg(i, 3, 10, QLatin1Char('0')).arg(name, ext));
        QCOMPARE(QDir(path(name)).entryList(QDir::Files | QDir::Hidden, QDir::Name), expected);
        QVERIFY(!QFile::exists(path(name) + ext));
    }

    void spokenTitles_data()
    {
        QTest::addColumn<bool>("titleFirst");
        QTest::addColumn<bool>("numberFirst");
        QTest::newRow("no titles") << false << false;
        QTest::newRow("title, number") << true << false;
        QTest::newRow("number, title") << false << true;
    }

    void spokenTitles()
    {
        QFETCH(bool, titleFirst);
        QFETCH(bool, numberFirst);
        save().menuSplitSize_Click(5);
        save().SpeakVolumeTitleAndVolumeNumber = titleFirst;
        save().SpeakVolumeNumberAndVolumeTitle = numberFirst;
        const QString name = QStringLiteral("titled %1").arg(QTest::currentDataTag());
        QVERIFY(saveText(QStringLiteral("Same words.\r\n#BREAK\r\nSame words."), path(name), 1));
        const double first = duration(path(name) + QStringLiteral("/001_") + name + ".wav");
        const double second = duration(path(name) + QStringLiteral("/002_") + name + ".wav");
        QVERIFY(first > 0.3 && second > 0.3);
        if (!titleFirst && !numberFirst) {
            m_untitled = first;
            QVERIFY(std::abs(first - second) < 0.05);
        } else {
            // Each volume opens with its title ("titled ..., 1."), which takes a good second.
            QVERIFY(m_untitled > 0);
            QVERIFY2(first > m_untitled + 0.7,
                     qPrintable(QStringLiteral("%1 %2").arg(first).arg(m_untitled)));
        }
    }

    // Ogg Vorbis, Opus and FLAC: a save by the target's extension, and the encoder decoded back
    // against the very WAV it was given (the engine's timing varies a little between saves).
    void compressedFormats_data()
    {
        QTest::addColumn<QString>("extension");
        QTest::newRow("ogg") << QStringLiteral("ogg");
        QTest::newRow("opus") << QStringLiteral("opus");
        QTest::newRow("flac") << QStringLiteral("flac");
    }

    void compressedFormats()
    {
        QFETCH(QString, extension);
        const QString text = QStringLiteral("Hello world, this is one line.\r\nAnd a second.");
        const QString wav = path(QStringLiteral("reference.wav"));
        if (!QFile::exists(wav))
            QVERIFY(saveText(text, wav, 1));
        const QString target = path(QStringLiteral("Caffè.") + extension);
        QVERIFY(saveText(text, target, 1));
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        QCOMPARE(save().ExitStatus, 0);
        QCOMPARE(leftovers(m_dir.path()), QStringList());
        const QString direct = path(QStringLiteral("direct.") + extension);
        QString error;
        QVERIFY2(SoundFileEncoder::EncodeWav(wav, direct, QStringLiteral("Direct"), &error),
                 qPrintable(error));
        const auto decode = [](const QString &file, double &seconds, double &rms, QString &title) {
            SF_INFO info{};
            SNDFILE *f = sf_open(QFile::encodeName(file).constData(), SFM_READ, &info);
            if (!f)
                return false;
            std::vector<float> samples(size_t(info.frames * info.channels));
            const sf_count_t got = sf_readf_float(f, samples.data(), info.frames);
            double sum = 0;
            for (float v : samples)
                sum += double(v) * v;
            seconds = double(got) / info.samplerate;
            rms = std::sqrt(sum / std::max<size_t>(1, samples.size()));
            title = QString::fromUtf8(sf_get_string(f, SF_STR_TITLE));
            sf_close(f);
            return got == info.frames;
        };
        double wavSeconds = 0, seconds = 0, wavRms = 0, rms = 0, savedSeconds = 0, savedRms = 0;
        QString title, savedTitle;
        QVERIFY(decode(wav, wavSeconds, wavRms, title));
        QVERIFY(decode(direct, seconds, rms, title));
        QVERIFY(decode(target, savedSeconds, savedRms, savedTitle));
        QVERIFY2(std::abs(seconds - wavSeconds) < wavSeconds * 0.01,
                 qPrintable(QStringLiteral("%1 %2").arg(seconds).arg(wavSeconds)));
        QVERIFY2(rms > wavRms * 0.7 && rms < wavRms * 1.3,
                 qPrintable(QStringLiteral("%1 %2").arg(rms).arg(wavRms)));
        QVERIFY2(std::abs(savedSeconds - wavSeconds) < wavSeconds * 0.1 && savedRms > wavRms * 0.7,
                 qPrintable(QStringLiteral("%1 %2").arg(savedSeconds).arg(savedRms)));
        if (extension != QLatin1String("opus")) // libsndfile does not read Opus tags back
            QCOMPARE(savedTitle, QStringLiteral("Caffè"));
    }

    // One cue a spoken line, in order, inside its file's audio, for single files and volumes.
    void subtitles_data()
    {
        QTest::addColumn<int>("split");
        QTest::addColumn<int>("format");
        QTest::addColumn<QStringList>("files"); // each file's cue texts joined by "|"
        QTest::newRow("one wav") << 0 << 1
                                 << QStringList{QStringLiteral("First line.|Second, "
                                                               "emphasised.|Third.")};
        QTest::newRow("mp3 volumes")
            << 5 << 0
            << QStringList{QStringLiteral("First line.|Second, emphasised."),
                           QStringLiteral("Third.")};
    }

    void subtitles()
    {
        QFETCH(int, split);
        QFETCH(int, format);
        QFETCH(QStringList, files);
        save().menuSplitSize_Click(split);
        save().WriteSubtitles = true;
        const QString name = QStringLiteral("sub %1").arg(QTest::currentDataTag());
        const QString ext = format == 1 ? QStringLiteral(".wav") : QStringLiteral(".mp3");
        const bool ok = saveText(QStringLiteral("First line.\r\n\r\nSecond, <emph>emphasised"
                                                "</emph>.\r\n#BREAK\r\nThird."),
                                 path(name), format);
        save().WriteSubtitles = false;
        QVERIFY(ok);
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        for (int i = 0; i < files.size(); ++i) {
            const QString base =
                split
                    ? path(name) + QStringLiteral("/%1_").arg(i + 1, 3, 10, QLatin1Char('0')) + name
                    : path(name);
            const double seconds = duration(format == 1 ? base + ext : decoded(base + ext));
            QFile srt(base + QStringLiteral(".srt"));
            QVERIFY2(srt.open(QIODevice::ReadOnly), qPrintable(srt.fileName()));
            QVERIFY(QFile::exists(base + QStringLiteral(".lrc")));
            static const QRegularExpression cue(
                QStringLiteral("(\\d+)\r\n(\\d\\d):(\\d\\d):(\\d\\d),(\\d{3}) --> "
                               "(\\d\\d):(\\d\\d):(\\d\\d),(\\d{3})\r\n([^\r\n]*)\r\n"));
            QStringList texts;
            double previousEnd = 0;
            auto it = cue.globalMatch(QString::fromUtf8(srt.readAll()));
            while (it.hasNext()) {
                const auto m = it.next();
                const auto at = [&](int first) {
                    return m.captured(first).toInt() * 3600 + m.captured(first + 1).toInt() * 60 +
                           m.captured(first + 2).toInt() + m.captured(first + 3).toInt() / 1000.0;
                };
                const double start = at(2), end = at(6);
                QCOMPARE(m.captured(1).toInt(), texts.size() + 1);
                QVERIFY2(start >= previousEnd - 0.001 && end > start + 0.3 && end <= seconds + 0.05,
                         qPrintable(QStringLiteral("%1 %2 %3").arg(start).arg(end).arg(seconds)));
                previousEnd = end;
                texts << m.captured(10);
            }
            QCOMPARE(texts.join(QLatin1Char('|')), files.at(i));
        }
    }

    // An audiobook: one chapter a volume, titled as the volumes are, in one .m4b file.
    void audiobook_data()
    {
        QTest::addColumn<int>("split");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("chapters");
        QTest::newRow("titled breaks")
            << 5 << QStringLiteral("#BREAK Chapter one\r\nFirst.\r\n#BREAK Chapter two\r\nSecond.")
            << QStringList{QStringLiteral("Chapter one"), QStringLiteral("Chapter two")};
        QTest::newRow("one file") << 0 << QStringLiteral("Only one part.")
                                  << QStringList{QStringLiteral("My \"book\"; = #1")};
    }

    void audiobook()
    {
        QFETCH(int, split);
        QFETCH(QString, text);
        QFETCH(QStringList, chapters);
        if (QStandardPaths::findExecutable(QStringLiteral("ffprobe")).isEmpty())
            QSKIP("ffmpeg is needed");
        save().menuSplitSize_Click(split);
        const QString name = QStringLiteral("My \"book\"; = #1");
        QDir(m_dir.path()).mkdir(QStringLiteral("m4b"));
        const QString target = path(QStringLiteral("m4b/") + name + QStringLiteral(".m4b"));
        QVERIFY(saveText(text, target, 0));
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        QCOMPARE(QDir(path(QStringLiteral("m4b")))
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{QFileInfo(target).fileName()});
        const QJsonObject probe =
            QJsonDocument::fromJson(
                run(QStringLiteral("ffprobe"),
                    {QStringLiteral("-v"), QStringLiteral("error"),
                     QStringLiteral("-show_chapters"), QStringLiteral("-show_format"),
                     QStringLiteral("-of"), QStringLiteral("json"), target})
                    .toUtf8())
                .object();
        QStringList titles;
        double previousEnd = 0;
        for (const QJsonValue &chapter : probe.value(QStringLiteral("chapters")).toArray()) {
            const QJsonObject c = chapter.toObject();
            titles << c.value(QStringLiteral("tags"))
                          .toObject()
                          .value(QStringLiteral("title"))
                          .toString();
            const double start = c.value(QStringLiteral("start_time")).toString().toDouble();
            const double end = c.value(QStringLiteral("end_time")).toString().toDouble();
            QVERIFY(std::abs(start - previousEnd) < 0.01 && end > start + 0.3);
            previousEnd = end;
        }
        QCOMPARE(titles, chapters);
        const QJsonObject format = probe.value(QStringLiteral("format")).toObject();
        QCOMPARE(format.value(QStringLiteral("tags"))
                     .toObject()
                     .value(QStringLiteral("title"))
                     .toString(),
                 name);
        const double seconds = format.value(QStringLiteral("duration")).toString().toDouble();
        QVERIFY2(std::abs(seconds - previousEnd) < 0.1, qPrintable(QString::number(seconds)));
    }

    // A titled #BREAK (a book's chapter) speaks its title instead of the target's name.
    void chapterTitles()
    {
        save().menuSplitSize_Click(5);
        save().SpeakVolumeTitleAndVolumeNumber = true;
        const QString name = QStringLiteral("c");
        QVERIFY(saveText(QStringLiteral("#BREAK A\r\nSame words.\r\n#BREAK A much longer title "
                                        "for the second chapter of the book\r\nSame words."),
                         path(name), 1));
        const double first = duration(path(name) + QStringLiteral("/001_c.wav"));
        const double second = duration(path(name) + QStringLiteral("/002_c.wav"));
        QVERIFY2(second > first + 1.5, qPrintable(QStringLiteral("%1 %2").arg(first).arg(second)));
    }

    // The percentage only grows; an MP3 save shows how much audio the encoder has had, which
    // runs far behind the engine, so its encoding step starts well below 100%.
    void progressFollowsTheSlowerPart_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("split");
        QTest::newRow("wav") << 1 << 0;
        QTest::newRow("mp3") << 0 << 0;
        QTest::newRow("mp3 volumes") << 0 << 1;
    }

    void progressFollowsTheSlowerPart()
    {
        QFETCH(int, format);
        QFETCH(int, split);
        save().menuSplitSize_Click(split);
        QList<QPair<QString, int>> reports;
        save().AggiornaFormWaitToSaving = [&](const QString &what, const QString &, bool,
                                              int percent) {
            reports.append({what, percent});
        };
        // Forty lines, about three minutes of speech: lame needs a few seconds for it.
        const QString line = QString(QStringLiteral("Word and word again. ")).repeated(10);
        const QString text = QString(line + QStringLiteral("\r\n")).repeated(40);
        const QString name = QStringLiteral("progress %1").arg(QTest::currentDataTag());
        const bool done = saveText(text, path(name), format);
        save().AggiornaFormWaitToSaving = nullptr;
        QVERIFY(done);
        QVERIFY(!reports.isEmpty());
        int last = 0;
        int lowestWhileEncoding = 101;
        for (const auto &[what, percent] : std::as_const(reports)) {
            QVERIFY2(percent >= last && percent <= 100,
                     qPrintable(QStringLiteral("%1 after %2").arg(percent).arg(last)));
            last = percent;
            if (what == QLatin1String("Encoding To Mp3..."))
                lowestWhileEncoding = std::min(lowestWhileEncoding, percent);
        }
        if (format == 1)
            QCOMPARE(lowestWhileEncoding, 101); // never said for a WAV
        else
            QVERIFY2(lowestWhileEncoding < 90, qPrintable(QString::number(lowestWhileEncoding)));
    }

    // A #WAIT becomes that much silence in the file.
    void waitBecomesSilence()
    {
        const QString wav = path(QStringLiteral("waited"));
        QVERIFY(saveText(QStringLiteral("One.\r\n#WAIT 3\r\nTwo."), wav, 1));
        const double seconds = duration(wav + QStringLiteral(".wav"));
        QVERIFY2(seconds > 3.4 && seconds < 6, qPrintable(QString::number(seconds)));
        QVERIFY(peak(wav + QStringLiteral(".wav"), 1.2, 1.6) < 0.02);
    }

    void announcementAndPresets()
    {
        QCOMPARE(SaveToAudio::Announcement(1, QStringLiteral("book"), false),
                 QStringLiteral("book, 1."));
        QCOMPARE(SaveToAudio::Announcement(12, QStringLiteral("book"), true),
                 QStringLiteral("12, book."));
        QCOMPARE(SaveToAudio::VolumePath(QStringLiteral("/b"), 1000, QStringLiteral("x.mp3")),
                 QStringLiteral("/b/1000_x.mp3"));
        QStringList rates; // average bit rates by quality, for the built-in and program voices
        for (int q = -1; q <= 3; ++q)
            rates << SaveToAudio::QualityArguments(false, q).last() +
                         SaveToAudio::QualityArguments(true, q).last();
        QCOMPARE(rates.join(u' '), QStringLiteral("2411 2411 4022 6444 6444"));
        QCOMPARE(SaveToAudio::QualityArguments(true, 0).mid(0, 2),
                 (QStringList{QStringLiteral("-q0"), QStringLiteral("--abr")}));
    }

    // An abort in the third of four volumes: the complete ones are still encoded to the end, the
    // spoken part of the third stays a WAV, no fourth is begun and nothing temporary is left.
    // (The abort of a single save is the batch conversion test's.)
    void abortInTheThirdOfFourVolumes()
    {
        save().menuSplitSize_Click(5);
        const QString line = QString(QStringLiteral("Word and word again. ")).repeated(10);
        const QString volume = QString(line + QStringLiteral("\r\n")).repeated(20);
        const QString text = QStringList(4, volume).join(QStringLiteral("#BREAK\r\n"));
        bool aborted = false;
        save().AggiornaFormWaitToSaving = [&](const QString &, const QString &, bool, int) {
            if (!aborted && save().AudioVolumeNumber == 3) {
                aborted = true;
                s->AbortSaveToFile();
            }
        };
        const QString name = QStringLiteral("stopped");
        const bool done = saveText(text, path(name), 0);
        save().AggiornaFormWaitToSaving = nullptr;
        QVERIFY(done);
        const QDir folder(path(name));
        QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"001_stopped.mp3", "002_stopped.mp3", "003_stopped.wav"}));
        for (const char *mp3 : {"001_stopped.mp3", "002_stopped.mp3"})
            QVERIFY(duration(decoded(folder.filePath(QLatin1String(mp3)))) > 60);
        QCOMPARE(leftovers(m_dir.path()), QStringList());
        QCOMPARE(save().ExitStatus, 1);
    }

    // A target that cannot be replaced (here a folder of that name) is reported, and the audio
    // stays under its temporary name.
    void failedMoveKeepsTheAudio()
    {
        const QString folder = path(QStringLiteral("unmovable"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/book.wav")));
        QVERIFY(
            saveText(QStringLiteral("Kept all the same."), folder + QStringLiteral("/book"), 1));
        QCOMPARE(dialogs.messages.size(), 1);
        QVERIFY2(dialogs.messages.first().contains(QLatin1String("Cannot move")),
                 qPrintable(dialogs.messages.first()));
        const QStringList kept = QDir(folder).entryList({QStringLiteral("tonaris_temp*.wav")});
        QCOMPARE(kept.size(), 1);
        QVERIFY(duration(folder + QLatin1Char('/') + kept.first()) > 0.5);
        QCOMPARE(save().ExitStatus, 1);
    }

    void missingLame()
    {
        // A program folder without lame and a PATH without it.
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", "/nonexistent");
        s->AppFolder = m_dir.path();
        QVERIFY(saveText(QStringLiteral("Nothing."), this->path(QStringLiteral("nolame")), 0));
        qputenv("PATH", path);
        s->AppFolder.clear();
        QCOMPARE(dialogs.messages.size(), 1);
        QVERIFY(dialogs.messages.first().contains(QLatin1String("lame")));
        QVERIFY(!QFile::exists(this->path(QStringLiteral("nolame.mp3"))));
        QCOMPARE(save().ExitStatus, 1);
    }

    // Journals of temporary files: a gone process's are cleaned up at the next start, only names
    // of our own making; those of other machines and garbled names are left alone.
    void temporaryFileJournals_data()
    {
        QTest::addColumn<QString>("owner");
        QTest::addColumn<bool>("cleaned");
        QTest::newRow("process gone") << QStringLiteral("gone") << true;
        QTest::newRow("other machine") << QStringLiteral("elsewhere") << false;
        QTest::newRow("garbage name") << QStringLiteral("garbage") << false;
    }

    void temporaryFileJournals()
    {
        QFETCH(QString, owner);
        QFETCH(bool, cleaned);
        QProcess gone; // its number belongs to no running process of this machine
        gone.start(QStringLiteral("true"), {});
        QVERIFY(gone.waitForStarted());
        const qint64 pid = gone.processId();
        QVERIFY(gone.waitForFinished());
        const QString host = owner == QLatin1String("elsewhere") ? QStringLiteral("other-host")
                                                                 : QSysInfo::machineHostName();
        const QString id =
            owner == QLatin1String("garbage") ? QStringLiteral("x1") : QString::number(pid);

        const QString folder = path(QStringLiteral("journal %1").arg(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(folder));
        const QStringList temporary{folder + QStringLiteral("/tonaris_temp.wav"),
                                    folder + QStringLiteral("/tonaris_temp_002.wav"),
                                    folder + QStringLiteral("/tonaris_SAPI4_temp.wav"),
                                    folder + QStringLiteral("/.001_book.mp3.part")};
        const QString finished = folder + QStringLiteral("/001_book.mp3");
        for (const QString &f : temporary + QStringList{finished})
            test::writeFile(f, {});
        QVERIFY(QDir().mkpath(SaveToAudio::JournalFolder()));
        // A finished target noted by mistake is never deleted.
        const QString journal =
            test::writeFile(SaveToAudio::JournalFolder() +
                                QStringLiteral("/unfinished-audio-%1-%2.txt").arg(host, id),
                            (temporary + QStringList{finished}).join(u'\n').toUtf8() + '\n');

        QCOMPARE(SaveToAudio::FolderInUseByAnotherSave(folder), !cleaned);
        SaveToAudio::CleanUpTemporaryFiles();
        for (const QString &f : temporary)
            QCOMPARE(QFile::exists(f), !cleaned);
        QVERIFY(QFile::exists(finished));
        QCOMPARE(QFile::exists(journal), !cleaned);
        QFile::remove(journal);
    }

    void externalVoiceJoinsLines()
    {
        const QList<ExternalVoice> voices = ExternalVoices::fliteVoices();
        if (voices.isEmpty())
            QSKIP("flite is not installed");
        ExternalVoiceEngine dss(voices);
        s->setExternalVoice(&dss);
        s->EngineKind = 1;
        const QString target = path(QStringLiteral("flite"));
        const bool done =
            saveText(QStringLiteral("First line.\r\n\r\nSecond line here."), target, 1);
        s->EngineKind = 0;
        s->setExternalVoice(nullptr);
        QVERIFY(done);
        QVERIFY2(dialogs.messages.isEmpty(), qPrintable(dialogs.messages.join(u'\n')));
        const QString wav = target + QStringLiteral(".wav");
        const double seconds = duration(wav);
        QVERIFY2(seconds > 1.2 && seconds < 6, qPrintable(QString::number(seconds)));
        QVERIFY(peak(wav, 0, seconds) > 0.05);
        QCOMPARE(leftovers(m_dir.path()), QStringList());
    }
};

TONARIS_TEST_MAIN(TestSaveToAudio)
#include "tst_savetoaudio.moc"
