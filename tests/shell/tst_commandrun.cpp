// The built program run from a terminal: saves that end by themselves with status 0, hidden runs
// without a display, and failures told in one line on standard error with a status other than 0.
#include "AudioCapture.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>
#include <list>
#include <memory>
#include <sys/resource.h>

namespace {
bool writeFile(const QString &path, const QByteArray &content)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
}
} // namespace

// The speaker's pitch in Hz: the median over loud 40 ms frames of the autocorrelation's peak
// between 70 and 400 Hz (zero crossings would count the formants too).
static double voicePitch(const QList<qint16> &samples, int rate)
{
    const int frame = rate / 25;
    QList<double> pitches;
    for (qsizetype start = 0; start + frame <= samples.size(); start += frame) {
        const qint16 *x = samples.constData() + start;
        double energy = 0;
        for (int i = 0; i < frame; ++i)
            energy += double(x[i]) * x[i];
        if (energy / frame < 1e6)
            continue;
        double best = 0;
        int bestLag = 0;
        for (int lag = rate / 400; lag < rate / 70; ++lag) {
            double c = 0;
            for (int i = 0; i + lag < frame; ++i)
                c += double(x[i]) * x[i + lag];
            if (c > best) {
                best = c;
                bestLag = lag;
            }
        }
        if (bestLag > 0)
            pitches.append(double(rate) / bestLag);
    }
    if (pitches.isEmpty())
        return -1;
    std::sort(pitches.begin(), pitches.end());
    return pitches.at(pitches.size() / 2);
}

class TestCommandRun : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_program;
    QString m_book; // a name a shell would misread

    struct Result
    {
        int status = -1;
        bool crashed = true;
        QString errors;
        QString output;
    };

    void prepare(QProcess &p, const QStringList &unset = {}, const QStringList &extra = {})
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_dir.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        for (const QString &name : unset)
            env.remove(name);
        for (const QString &pair : extra)
            env.insert(pair.section(u'=', 0, 0), pair.section(u'=', 1));
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(m_dir.path());
    }

    Result run(const QStringList &args, const QStringList &unset = {},
               const QStringList &extra = {})
    {
        QProcess p;
        prepare(p, unset, extra);
        p.start(m_program, args);
        Result r;
        if (!p.waitForFinished(60000)) {
            p.kill();
            p.waitForFinished();
            return r;
        }
        r.crashed = p.exitStatus() != QProcess::NormalExit;
        r.status = p.exitCode();
        r.errors = QString::fromLocal8Bit(p.readAllStandardError());
        r.output = QString::fromLocal8Bit(p.readAllStandardOutput());
        return r;
    }

private slots:
    void initTestCase()
    {
        m_program = QCoreApplication::applicationDirPath() + QStringLiteral("/../tonaris");
        if (!QFileInfo(m_program).isExecutable())
            QSKIP("the program is not built");
        m_book =
            m_dir.filePath(QStringLiteral("-my \"d\" 'q' $(touch x) `touch x`; e\nf book.txt"));
        QFile f(m_book);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("Hello from the command line.\nA second line.\n");
    }

    void saves_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QStringList>("unset");
        QTest::newRow("/WAV to out")
            << QStringList{"/WAV", "BOOK", "out file"} << "out file.wav" << QStringList{};
        QTest::newRow("/mp3 beside")
            << QStringList{"/mp3", "BOOK"} << "-my \"d\" 'q' $(touch x) `touch x`; e\nf book.mp3"
            << QStringList{};
        QTest::newRow("hidden, no display")
            << QStringList{"/mp3", "BOOK", "hidden", "/HIDDEN"} << "hidden.mp3"
            << QStringList{"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"};
        QTest::newRow("Qt's own options first")
            << QStringList{"-platform", "offscreen", "/hidden", "/wav", "BOOK", "qt options"}
            << "qt options.wav" << QStringList{};
    }

    void saves()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, written);
        QFETCH(QStringList, unset);
        args.replaceInStrings(QStringLiteral("BOOK"), m_book);
        // A window without a sound server opens with a message box that waits for a user.
        if (!args.contains(QStringLiteral("/HIDDEN")) &&
            qEnvironmentVariableIsEmpty("PULSE_SERVER"))
            QSKIP("a run with a window needs the test's sound server");
        const QString target = m_dir.filePath(written);
        QFile::remove(target);
        // A hidden save says nothing when it succeeds, also with Qt's logging on, and never
        // connects to the sound server (a socket that only listens stands in for one).
        const bool hidden = args.contains(QStringLiteral("/hidden"), Qt::CaseInsensitive);
        QLocalServer server;
        if (hidden) {
            unset << QStringLiteral("QT_LOGGING_RULES");
            QVERIFY(server.listen(m_dir.filePath(QStringLiteral("sound-server"))));
        }
        const Result r = run(args, unset,
                             hidden ? QStringList{"PULSE_SERVER=unix:" + server.fullServerName()}
                                    : QStringList{});
        if (hidden)
            QVERIFY(!server.waitForNewConnection(0));
        QVERIFY(!r.crashed);
        QCOMPARE(r.status, 0);
        QVERIFY2(QFileInfo(target).size() > 1000, qPrintable(r.errors));
        if (hidden)
            QVERIFY2(r.errors.isEmpty(), qPrintable(r.errors));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("x"))));
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral("tonaris_*")}), QStringList());
    }

    // Each failure: its exit status and one line on standard error naming the cause.
    void failures_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("told");
        QTest::addColumn<QStringList>("env");
        QTest::addColumn<int>("status");
        const QStringList none;
        QTest::newRow("hidden alone") << QStringList{"/hidden"} << "Nothing to do" << none << 2;
        QTest::newRow("play with two files, hidden")
            << QStringList{"/hidden", "/play", "BOOK", "BOOK"} << "Nothing to do" << none << 2;
        QTest::newRow("unknown option")
            << QStringList{"--speed", "3", "/hidden", "/wav", "BOOK"} << "speed" << none << 2;
        QTest::newRow("rate out of range")
            << QStringList{"--rate", "11", "/hidden", "/wav", "BOOK"} << "-10 to 10" << none << 2;
        QTest::newRow("voice not installed")
            << QStringList{"--voice", "Nobody", "/hidden", "/wav", "BOOK"} << "Nobody" << none << 2;
        QTest::newRow("format not offered")
            << QStringList{"--format", "12 kHz", "/hidden", "/wav", "BOOK"} << "12 kHz" << none
            << 2;
        QTest::newRow("missing input")
            << QStringList{"/hidden", "/wav", "no such.txt"} << "no such.txt" << none << 3;
        QTest::newRow("several inputs, one missing")
            << QStringList{"/hidden", "/wav", "BOOK", "no such.txt", "BOOK"} << "no such.txt"
            << none << 3;
        QTest::newRow("target folder missing")
            << QStringList{"/hidden", "/wav", "BOOK", "no folder/out"} << "no folder" << none << 4;
        QTest::newRow("no lame") << QStringList{"/hidden", "/mp3", "BOOK", "nolame"} << "lame"
                                 << QStringList{"PATH=/nonexistent"} << 4;
        QTest::newRow("no pdftotext") << QStringList{"/hidden", "/wav", "PDF"} << "poppler-utils"
                                      << QStringList{"PATH=/nonexistent"} << 3;
        QTest::newRow("no catdoc, antiword or office")
            << QStringList{"/hidden", "/wav", "DOC"} << "catdoc" << QStringList{"PATH=/nonexistent"}
            << 3;
        // The settings folder lies under a file, as if it were read-only (root writes anywhere).
        QTest::newRow("settings that cannot be saved")
            << QStringList{"/hidden", "/wav", "BOOK", "kept"} << "kept until Tonaris is closed"
            << QStringList{"XDG_CONFIG_HOME=BOOK/config"} << 0;
        QTest::newRow("a window without a display")
            << QStringList{"BOOK"} << "no display"
            << QStringList{"QT_QPA_PLATFORM=", "DISPLAY=", "WAYLAND_DISPLAY="} << 1;
    }

    void failures()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, told);
        QFETCH(QStringList, env);
        QFETCH(int, status);
        args.replaceInStrings(QStringLiteral("BOOK"), m_book);
        // What the document programs would read, if they were there.
        const QString pdf = m_dir.filePath(QStringLiteral("-a $(touch x).pdf"));
        const QString doc = m_dir.filePath(QStringLiteral("-a; `touch x`.doc"));
        QVERIFY(writeFile(pdf, "%PDF-1.4\n1 0 obj\n<<>>\nendobj\n"));
        QVERIFY(writeFile(doc, QByteArray("\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1", 8) + "word"));
        env.replaceInStrings(QStringLiteral("BOOK"), m_book);
        args.replaceInStrings(QStringLiteral("PDF"), pdf);
        args.replaceInStrings(QStringLiteral("DOC"), doc);
        const Result r = run(args, {QStringLiteral("QT_LOGGING_RULES")}, env);
        QVERIFY(!r.crashed);
        QCOMPARE(r.status, status);
        QVERIFY2(r.errors.contains(told), qPrintable(r.errors));
        QVERIFY2(!r.errors.trimmed().contains(u'\n'), qPrintable(r.errors)); // one line, no more
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("nolame.mp3"))));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("x")))); // no name ran as a command
    }

    void listsVoicesAndVersion()
    {
        const Result voices = run({QStringLiteral("--list-voices")}, {QStringLiteral("DISPLAY")});
        QCOMPARE(voices.status, 0);
        const QStringList lines = voices.output.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 10);
        QVERIFY(lines.contains(QStringLiteral("English (Great Britain), female\ten-gb\tfemale\t"
                                              "built-in")));
        for (const QString &line : lines)
            QCOMPARE(line.count(u'\t'), 3);
        QVERIFY(run({QStringLiteral("--version")}).output.startsWith(QLatin1String("Tonaris ")));
    }

    // The text comes in on standard input and the WAV goes out on standard output; the voice
    // chosen for the run is heard (a female voice speaks higher than a male one).
    void standardStreamsAndVoiceOverride()
    {
        auto render = [this](const char *voice) {
            QProcess p;
            prepare(p);
            p.start(m_program,
                    {QStringLiteral("--voice"), QLatin1String(voice), QStringLiteral("/hidden"),
                     QStringLiteral("/wav"), QStringLiteral("-"), QStringLiteral("-")});
            p.write("Standard streams, spoken with a voice of the command line.\n");
            p.closeWriteChannel();
            if (!p.waitForFinished(60000) || p.exitCode() != 0)
                return -1.0;
            const QByteArray wav = p.readAllStandardOutput();
            const QString path = m_dir.filePath(QStringLiteral("streamed.wav"));
            QFile f(path);
            if (!wav.startsWith("RIFF") || !f.open(QIODevice::WriteOnly) || f.write(wav) < 0)
                return -1.0;
            f.close();
            tonaris::test::AudioCapture audio;
            if (!audio.load(path))
                return -1.0;
            return voicePitch(audio.samples(), tonaris::test::AudioCapture::SampleRate);
        };
        auto settings = [this] {
            QFile f(m_dir.filePath(QStringLiteral("config/tonaris/tonaris.ini")));
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        const QByteArray before = settings();
        const double female = render("English (Great Britain), female");
        const double male = render("english (great britain), male");
        QVERIFY2(female > 0 && male > 0, "a render through the standard streams failed");
        QVERIFY2(female > male * 1.5,
                 qPrintable(QStringLiteral("%1 Hz against %2 Hz").arg(female).arg(male)));
        // The choice held for that run only.
        QCOMPARE(settings(), before);
    }

    // Four runs at once into one folder, as GNU parallel starts them, each with its own
    // settings file: all succeed, and each wrote only its own settings.
    void parallelRunsWithTheirOwnSettings()
    {
        const QString parallel = QStandardPaths::findExecutable(QStringLiteral("parallel"));
        if (parallel.isEmpty())
            QSKIP("GNU parallel is not installed");
        const QDir folder(m_dir.filePath(QStringLiteral("parallel")));
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        QProcess p;
        prepare(p);
        p.setWorkingDirectory(folder.path());
        QFile::copy(m_book, folder.filePath(QStringLiteral("book.txt")));
        p.start(parallel, {QStringLiteral("-j4"), m_program, QStringLiteral("--config"),
                           QStringLiteral("settings{}.ini"), QStringLiteral("/hidden"),
                           QStringLiteral("/wav"), QStringLiteral("book.txt"),
                           QStringLiteral("out{}"), QStringLiteral(":::"), QStringLiteral("1"),
                           QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")});
        QVERIFY(p.waitForFinished(120000));
        QCOMPARE(p.exitCode(), 0);
        for (int n = 1; n <= 4; ++n) {
            QVERIFY(QFileInfo(folder.filePath(QStringLiteral("out%1.wav").arg(n))).size() > 1000);
            QVERIFY(QFileInfo(folder.filePath(QStringLiteral("settings%1.ini").arg(n))).size() >
                    100);
        }
        QCOMPARE(folder.entryList({QStringLiteral("tonaris_*")}), QStringList());
    }

    void hiddenPlayEndsByItself()
    {
        if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
            QSKIP("reading aloud needs the test's sound server");
        const Result r = run({QStringLiteral("/play"), m_book, QStringLiteral("/hidden")});
        QVERIFY(!r.crashed);
        QCOMPARE(r.status, 0);
    }

    // Temporary files of a save cut short by a crash go at the next start; those of a save still
    // running in another Tonaris stay, that save ends well, and a second save into its folder
    // succeeds beside it under temporary names of its own.
    void temporaryFilesAtTheNextStart_data()
    {
        QTest::addColumn<bool>("crash");
        QTest::newRow("after a crash") << true;
        QTest::newRow("while another saves") << false;
    }

    void temporaryFilesAtTheNextStart()
    {
        QFETCH(bool, crash);
        const QString corpus = tonaris::test::corpusFile(QStringLiteral("news-from-nowhere.txt"));
        if (corpus.isEmpty())
            QSKIP("the corpus is not there");
        QDir folder(m_dir.filePath(QStringLiteral("long book")));
        folder.removeRecursively();
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        QFile source(corpus);
        QVERIFY(source.open(QIODevice::ReadOnly));
        QFile book(folder.filePath(QStringLiteral("book.txt")));
        QVERIFY(book.open(QIODevice::WriteOnly));
        book.write(source.read(20000)); // about twenty minutes of speech: lame takes seconds
        book.close();

        QProcess saving;
        prepare(saving);
        saving.start(m_program,
                     {QStringLiteral("/hidden"), QStringLiteral("/mp3"), book.fileName()});
        QTRY_VERIFY_WITH_TIMEOUT(saving.processId() > 0, 10000);
        const QString temp =
            folder.filePath(QStringLiteral("tonaris_temp-%1.wav").arg(saving.processId()));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(temp) || saving.state() == QProcess::NotRunning,
                                 30000);
        QVERIFY2(saving.state() == QProcess::Running, "the save ended before it could be seen");
        if (crash) {
            saving.kill();
            QVERIFY(saving.waitForFinished());
            QVERIFY(QFile::exists(temp));
        }

        // A short save into the same folder, by a second Tonaris.
        const Result next = run({QStringLiteral("/hidden"), QStringLiteral("/wav"), m_book,
                                 folder.filePath(QStringLiteral("short"))});
        QVERIFY(!next.crashed);
        if (crash) {
            QCOMPARE(next.status, 0);
            QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden),
                     (QStringList{"book.txt", "short.wav"}));
            return;
        }
        // Both succeed: each run's temporary names are its own.
        QCOMPARE(next.status, 0);
        QVERIFY(QFileInfo(folder.filePath(QStringLiteral("short.wav"))).size() > 1000);
        const QString target = folder.filePath(QStringLiteral("book.mp3"));
        // The target is renamed into place before the temporary WAV goes: one of them is there.
        QVERIFY2(QFile::exists(temp) || QFile::exists(target), "a running save lost its audio");
        QVERIFY(saving.waitForFinished(120000));
        QCOMPARE(saving.exitCode(), 0);
        QVERIFY(QFileInfo(target).size() > 100000);
        QVERIFY(!QFile::exists(temp));
    }

    // A save cut short keeps the file it was to replace: killed while rendering or while encoding,
    // or stopped by a full disk (a file-size limit on the process), the old target is untouched,
    // no half-written one appears, and the next start clears what the dead run left.
    void faultsKeepTheOldTarget_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>(
            "killWhen"); // a file name part that shows the phase; "" for the limit
        QTest::newRow("wav killed while rendering") << "wav"
                                                    << "tonaris_temp";
        QTest::newRow("mp3 killed while rendering") << "mp3"
                                                    << "tonaris_temp";
        QTest::newRow("mp3 killed while encoding") << "mp3"
                                                   << ".part";
        QTest::newRow("wav on a full disk") << "wav"
                                            << "";
        QTest::newRow("mp3 on a full disk") << "mp3"
                                            << "";
    }

    void faultsKeepTheOldTarget()
    {
        QFETCH(QString, format);
        QFETCH(QString, killWhen);
        const QString corpus = tonaris::test::corpusFile(QStringLiteral("news-from-nowhere.txt"));
        if (corpus.isEmpty())
            QSKIP("the corpus is not there");
        QDir folder(m_dir.filePath(QStringLiteral("faults")));
        folder.removeRecursively();
        QVERIFY(folder.mkpath(QStringLiteral(".")));
        QFile source(corpus);
        QVERIFY(source.open(QIODevice::ReadOnly));
        QFile book(folder.filePath(QStringLiteral("book.txt")));
        QVERIFY(book.open(QIODevice::WriteOnly));
        book.write(source.read(20000));
        book.close();
        const QString target = folder.filePath(QStringLiteral("book.") + format);
        QFile old(target);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("the previous save");
        old.close();

        QProcess saving;
        prepare(saving, {QStringLiteral("QT_LOGGING_RULES")});
        if (killWhen.isEmpty()) {
            saving.setChildProcessModifier([] {
                ::signal(SIGXFSZ, SIG_IGN); // a write past the limit fails instead of killing
                const rlimit limit{300000, 300000};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            });
        }
        saving.start(m_program,
                     {QStringLiteral("/hidden"), QStringLiteral("/") + format, book.fileName()});
        if (killWhen.isEmpty()) {
            QVERIFY(saving.waitForFinished(120000));
            QCOMPARE(saving.exitStatus(), QProcess::NormalExit);
            QCOMPARE(saving.exitCode(), 4); // the target could not be written
            // One line, with the system's reason.
            const QString errors = QString::fromLocal8Bit(saving.readAllStandardError()).trimmed();
            QVERIFY2(!errors.contains(u'\n') && errors.contains(QLatin1String("disk full")) &&
                         errors.endsWith(QString::fromLocal8Bit(std::strerror(EFBIG))),
                     qPrintable(errors));
        } else {
            const auto phaseSeen = [&] {
                for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden))
                    if (name.contains(killWhen))
                        return true;
                return false;
            };
            QTRY_VERIFY_WITH_TIMEOUT(phaseSeen() || saving.state() == QProcess::NotRunning, 60000);
            QVERIFY2(saving.state() == QProcess::Running, "the save ended before it could be seen");
            saving.kill();
            QVERIFY(saving.waitForFinished());
        }
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(old.readAll(), QByteArray("the previous save"));
        old.close();

        // The next start, saving elsewhere in that folder, leaves only what belongs there.
        const Result next = run({QStringLiteral("/hidden"), QStringLiteral("/wav"), m_book,
                                 folder.filePath(QStringLiteral("short"))});
        QCOMPARE(next.status, 0);
        QStringList left = folder.entryList(QDir::Files | QDir::Hidden);
        left.sort();
        QStringList expected{QStringLiteral("book.") + format, "book.txt", "short.wav"};
        expected.sort();
        QCOMPARE(left, expected);
    }

    // Files that are not what they say, broken or hostile (tests/data/malformed, and a few too
    // big to keep there), each saved hidden to WAV, several runs at once: a documented fallback
    // saves with status 0 and says nothing (or its one notice), a refusal is status 3 with one
    // line. Never a crash, a hang, or a program run by a script line.
    void malformedInputs()
    {
        struct Outcome
        {
            int status;
            const char *told;
        };
        // The refusals and the notices; every other file is saved in silence.
        const QHash<QString, Outcome> expected = {
            {"empty.txt", {3, "holds no text"}},
            {"zero-bytes.txt", {3, "holds no text"}},
            {"only-blank-lines.txt", {3, "holds no text"}},
            {"utf8-mark-only.txt", {3, "holds no text"}},
            {"html-script-only.html", {3, "holds no text"}},
            {"html-zero-bytes.html", {3, "holds no text"}},
            {"rtf-skipped-groups.rtf", {3, "holds no text"}},
            {"rtf-zero-bytes.rtf", {3, "holds no text"}},
            {"doc-empty.doc", {3, "holds no text"}},
            {"doc-ole-truncated.doc", {3, "Can't read"}},
            {"doc-that-is-zip.doc", {3, "Can't read"}},
            {"pdf-empty.pdf", {3, "Document stream is empty"}},
            {"pdf-header-only.pdf", {3, "Error"}},
            {"pdf-not-one.pdf", {3, "Error"}},
            {"pdf-truncated.pdf", {3, "Error"}},
            {"wait-huge.txt", {0, "too long"}},
        };
        const QDir source(QStringLiteral(TONARIS_TEST_DATA "/malformed"));
        QDir folder(m_dir.filePath(QStringLiteral("malformed")));
        folder.removeRecursively();
        QVERIFY(folder.mkpath(QStringLiteral("saved")));
        for (const QString &name : source.entryList(QDir::Files))
            QVERIFY(QFile::copy(source.filePath(name), folder.filePath(name)));
        QVERIFY(writeFile(folder.filePath(QStringLiteral("huge-blank-line.txt")),
                          QByteArray(1 << 20, ' ') + "word\r\n"));
        QVERIFY(writeFile(folder.filePath(QStringLiteral("long-word.txt")),
                          QByteArray(8192, 'x') + "\r\n"));
        QVERIFY(writeFile(folder.filePath(QStringLiteral("rtf-nested-deep.rtf")),
                          "{\\rtf1 " + QByteArray(100000, '{') + "deep" + QByteArray(100000, '}') +
                              '}'));
        QVERIFY(writeFile(folder.filePath(QStringLiteral("html-nested-deep.html")),
                          QByteArray("<div>").repeated(100000) + "deep"));
        QStringList inputs = folder.entryList(QDir::Files);
        inputs.removeIf([](const QString &name) {
            return name.endsWith(QLatin1String(".wav")) || name.endsWith(QLatin1String(".mp3"));
        });
        QVERIFY(inputs.size() >= 50);

        struct Run
        {
            QString name;
            std::unique_ptr<QProcess> process;
            QElapsedTimer clock;
        };
        std::list<Run> running;
        QStringList problems;
        const auto settle = [&](Run &run) {
            QProcess &p = *run.process;
            const Outcome want = expected.value(run.name, {0, ""});
            const QString errors = QString::fromLocal8Bit(p.readAllStandardError()).trimmed();
            const QString target = folder.filePath(QStringLiteral("saved/") + run.name + ".wav");
            QFile wav(target);
            const bool saved = wav.open(QIODevice::ReadOnly) && wav.read(4) == "RIFF";
            const bool told =
                QString(want.told).isEmpty()
                    ? errors.isEmpty()
                    : errors.contains(QLatin1String(want.told)) && !errors.contains(u'\n');
            if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != want.status ||
                saved != (want.status == 0) || !told)
                problems << QStringLiteral("%1: status %2%3, %4: %5")
                                .arg(run.name)
                                .arg(p.exitCode())
                                .arg(p.exitStatus() == QProcess::NormalExit ? "" : " (crashed)")
                                .arg(saved ? "saved" : "not saved", errors);
        };
        for (qsizetype next = 0; next < inputs.size() || !running.empty();) {
            while (running.size() < 4 && next < inputs.size()) {
                Run &run = running.emplace_back();
                run.name = inputs.at(next++);
                run.process = std::make_unique<QProcess>();
                prepare(*run.process, {QStringLiteral("QT_LOGGING_RULES")});
                run.process->setWorkingDirectory(folder.path());
                run.process->start(m_program, {QStringLiteral("/hidden"), QStringLiteral("/wav"),
                                               run.name, QStringLiteral("saved/") + run.name});
                run.clock.start();
            }
            for (auto it = running.begin(); it != running.end();) {
                if (it->process->waitForFinished(10)) {
                    settle(*it);
                } else if (it->clock.elapsed() > 60000) {
                    problems << it->name + QStringLiteral(": no end after a minute");
                    it->process->kill();
                    it->process->waitForFinished();
                } else {
                    ++it;
                    continue;
                }
                it = running.erase(it);
            }
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
        QVERIFY(!QFile::exists(folder.filePath(QStringLiteral("canary"))));
    }

    void help()
    {
        const Result r = run({QStringLiteral("--help")});
        QCOMPARE(r.status, 0);
        QVERIFY(r.output.contains(QLatin1String("/hidden")));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestCommandRun)
#include "tst_commandrun.moc"
