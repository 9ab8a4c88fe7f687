// The built program run from a terminal: saves that end by themselves with status 0, hidden runs
// without a display, and failures told in one line on standard error with a status other than 0.
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

namespace {
bool writeFile(const QString &path, const QByteArray &content)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
}
} // namespace

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
        m_book = m_dir.filePath(QStringLiteral("my $(touch x) book.txt"));
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
            << QStringList{"/mp3", "BOOK"} << "my $(touch x) book.mp3" << QStringList{};
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
        // A hidden save looks for no sound device and says nothing when it succeeds, also with
        // Qt's logging on and no sound server to be found.
        const bool hidden = args.contains(QStringLiteral("/hidden"), Qt::CaseInsensitive);
        if (hidden)
            unset << QStringLiteral("QT_LOGGING_RULES");
        const Result r = run(
            args, unset, hidden ? QStringList{"PULSE_SERVER=unix:/nonexistent"} : QStringList{});
        QVERIFY(!r.crashed);
        QCOMPARE(r.status, 0);
        QVERIFY2(QFileInfo(target).size() > 1000, qPrintable(r.errors));
        if (hidden)
            QVERIFY2(r.errors.isEmpty(), qPrintable(r.errors));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("x"))));
        QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral("tonaris_*")}), QStringList());
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("told");
        QTest::addColumn<QStringList>("env");
        QTest::newRow("hidden alone") << QStringList{"/hidden"} << "Nothing to do" << QStringList{};
        QTest::newRow("play with two files, hidden")
            << QStringList{"/hidden", "/play", "BOOK", "BOOK"} << "Nothing to do" << QStringList{};
        QTest::newRow("missing input")
            << QStringList{"/hidden", "/wav", "no such.txt"} << "no such.txt" << QStringList{};
        QTest::newRow("no lame") << QStringList{"/hidden", "/mp3", "BOOK", "nolame"} << "lame"
                                 << QStringList{"PATH=/nonexistent"};
        QTest::newRow("no pdftotext") << QStringList{"/hidden", "/wav", "PDF"} << "poppler-utils"
                                      << QStringList{"PATH=/nonexistent"};
        QTest::newRow("no catdoc, antiword or office")
            << QStringList{"/hidden", "/wav", "DOC"} << "catdoc"
            << QStringList{"PATH=/nonexistent"};
        QTest::newRow("a window without a display")
            << QStringList{"BOOK"} << "no display"
            << QStringList{"QT_QPA_PLATFORM=", "DISPLAY=", "WAYLAND_DISPLAY="};
    }

    void failures()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, told);
        QFETCH(QStringList, env);
        args.replaceInStrings(QStringLiteral("BOOK"), m_book);
        // What the document programs would read, if they were there.
        const QString pdf = m_dir.filePath(QStringLiteral("-a $(touch x).pdf"));
        const QString doc = m_dir.filePath(QStringLiteral("-a; `touch x`.doc"));
        QVERIFY(writeFile(pdf, "%PDF-1.4\n1 0 obj\n<<>>\nendobj\n"));
        QVERIFY(writeFile(doc, QByteArray("\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1", 8) + "word"));
        args.replaceInStrings(QStringLiteral("PDF"), pdf);
        args.replaceInStrings(QStringLiteral("DOC"), doc);
        const Result r = run(args, {QStringLiteral("QT_LOGGING_RULES")}, env);
        QVERIFY(!r.crashed);
        QCOMPARE(r.status, 1);
        QVERIFY2(r.errors.contains(told), qPrintable(r.errors));
        QVERIFY2(!r.errors.trimmed().contains(u'\n'), qPrintable(r.errors)); // one line, no more
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("nolame.mp3"))));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("x")))); // no name ran as a command
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
            QCOMPARE(saving.exitCode(), 1);
            // The reason is the last line; the sound library's own complaint about the limit may
            // come before it (its client still starts in a render to a file).
            const QString errors = QString::fromLocal8Bit(saving.readAllStandardError()).trimmed();
            QVERIFY2(errors.section(u'\n', -1).contains(QLatin1String("disk full")),
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

    void help()
    {
        const Result r = run({QStringLiteral("--help")});
        QCOMPARE(r.status, 0);
        QVERIFY(r.output.contains(QLatin1String("/hidden")));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestCommandRun)
#include "tst_commandrun.moc"
