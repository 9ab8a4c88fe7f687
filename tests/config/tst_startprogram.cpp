#include "TestSupport.h"
#include "config/KelStartProgram.h"
#include "config/ProgramConsent.h"

#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace run = tonaris::KelStartProgram;
using Answer = tonaris::ProgramConsent::Answer;

// What a descriptor link says, pipes included (QFile::symLinkTarget would make a path of it).
static QString linkTarget(const QString &link)
{
    char buffer[512];
    const ssize_t size = readlink(QFile::encodeName(link).constData(), buffer, sizeof buffer);
    return size > 0 ? QString::fromUtf8(buffer, size) : QString();
}

class TestStartProgram : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // An executable script that writes its arguments, each followed by "|", beside itself.
    QString writeScript(const QString &folder)
    {
        QDir().mkpath(m_dir.filePath(folder));
        QFile script(m_dir.filePath(folder) + "/run me; $(touch pwned)");
        if (!script.open(QIODevice::WriteOnly))
            return QString();
        script.write("#!/bin/sh\nfor a in \"$@\"; do printf '%s|' \"$a\"; done > \"$0.out\"\n");
        script.setPermissions(script.permissions() | QFile::ExeOwner);
        return script.fileName();
    }

    // Calls `check` with the waited-for child's pid from inside the wait, then kills the child.
    template <typename Check> qint64 waitAndKill(bool show, run::Priority priority, Check check)
    {
        QTimer::singleShot(0, [&] {
            check(run::RunningChild());
            run::KillProgram();
        });
        return run::StartProgram("/bin/sleep", {"30"}, true, show, priority);
    }

private slots:
    void initTestCase()
    {
        tonaris::test::isolateEnvironment();
        QVERIFY(QDir::setCurrent(m_dir.path())); // where an injected "touch pwned" would land
    }

    void runsExactlyThatFile_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("commandLine"); // %1 is the script; "" uses an argument list
        QTest::addColumn<QString>("recorded");
        const auto row = [](const char *name, const char *folder, const char *line,
                            const char *recorded) {
            QTest::newRow(name) << folder << line << recorded;
        };
        row("argument list, quotes and newline in the path", "q \"b\" $(touch pwned); c\nd", "",
            "x y|$(touch pwned)|");
        row("quoted command line", "a b", "\"%1\" \"x y\" z;ls", "x y|z;ls|");
        row("unquoted command line is one path", "c d", "%1", "");
    }
    void runsExactlyThatFile()
    {
        QFETCH(QString, folder);
        QFETCH(QString, commandLine);
        QFETCH(QString, recorded);
        const QString script = writeScript(folder);
        const qint64 pid = commandLine.isEmpty()
                               ? run::StartProgram(script, {"x y", "$(touch pwned)"}, true, false)
                               : run::StartProgram(commandLine.arg(script), true, false);
        QVERIFY(pid > 0);
        QCOMPARE(run::LastExitCode(), 0);
        QFile out(script + ".out");
        QVERIFY(out.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(out.readAll()), recorded);
        QDirIterator it(m_dir.path(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            QVERIFY2(it.next().section('/', -1) != "pwned", "a shell ran");
    }

    void refusesWhatIsNotAProgram()
    {
        const QString text = tonaris::test::writeFile(m_dir.filePath("notes.txt"), "words");
        for (const QString &program : {text, m_dir.filePath("missing"), QString()})
            QCOMPARE(run::StartProgram(program, {}, true, false), 0);
        QCOMPARE(run::StartProgram(QString("\"\""), true, false), 0);
        QVERIFY(!run::OpenDocument(m_dir.filePath("missing.pdf")));
    }

    void killWhileWaitingAndOneChildAtATime()
    {
        qint64 second = -1, seen = 0;
        const qint64 pid = waitAndKill(false, run::Priority::Normal, [&](qint64 child) {
            seen = child;
            second = run::StartProgram("/bin/sleep", {"0"}, true, false);
        });
        QVERIFY(pid > 0);
        QCOMPARE(seen, pid); // the event loop ran during the wait
        QCOMPARE(second, 0);
        QCOMPARE(run::LastExitCode(), -1);
        QCOMPARE(run::RunningChild(), 0);
        QCOMPARE(::kill(pid_t(pid), 0), -1); // gone and reaped
    }

    void priorityAndStreams_data()
    {
        QTest::addColumn<bool>("wait");
        QTest::addColumn<bool>("show");
        QTest::addColumn<bool>("idle");
        QTest::newRow("idle, hidden, waited") << true << false << true;
        QTest::newRow("normal, shown, waited") << true << true << false;
        QTest::newRow("idle, hidden, on its own") << false << false << true;
        QTest::newRow("normal, shown, on its own") << false << true << false;
    }
    void priorityAndStreams()
    {
        QFETCH(bool, wait);
        QFETCH(bool, show);
        QFETCH(bool, idle);
        const auto priority = idle ? run::Priority::Idle : run::Priority::Normal;
        int nice = -100, policy = -1;
        QString output;
        const auto check = [&](qint64 pid) {
            nice = getpriority(PRIO_PROCESS, id_t(pid));
            policy = sched_getscheduler(pid_t(pid));
            output = linkTarget(QString("/proc/%1/fd/1").arg(pid));
        };
        if (wait) {
            QVERIFY(waitAndKill(show, priority, check) > 0);
        } else {
            const qint64 pid = run::StartProgram("/bin/sleep", {"30"}, false, show, priority);
            QVERIFY(pid > 0);
            check(pid);
            ::kill(pid_t(pid), SIGKILL);
        }
        QCOMPARE(nice, idle ? 19 : getpriority(PRIO_PROCESS, 0));
        QCOMPARE(policy, idle ? SCHED_IDLE : sched_getscheduler(0));
        QCOMPARE(output, show ? linkTarget("/proc/self/fd/1") : "/dev/null");
    }

    void consent_data()
    {
        QTest::addColumn<QList<bool>>("flags"); // allowed, hidden, from clipboard, runs
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<int>("questions");
        const auto row = [](const char *name, QList<bool> flags, Answer answer, int questions) {
            QTest::newRow(name) << flags << answer << questions;
        };
        row("clipboard never runs, even allowed", {true, false, true, false}, Answer::Run, 0);
        row("allowed runs unasked", {true, false, false, true}, Answer::DontRun, 0);
        row("hidden runs allowed", {true, true, false, true}, Answer::DontRun, 0);
        row("hidden refuses the rest unasked", {false, true, false, false}, Answer::Run, 0);
        row("asked once: run", {false, false, false, true}, Answer::Run, 1);
        row("asked once: don't run", {false, false, false, false}, Answer::DontRun, 1);
        row("always allow", {false, false, false, true}, Answer::AlwaysAllow, 1);
    }
    void consent()
    {
        QFETCH(QList<bool>, flags);
        QFETCH(Answer, answer);
        QFETCH(int, questions);
        const bool allowed = flags[0], clipboard = flags[2], runs = flags[3];
        const QString program = writeScript("consent"), viaLink = m_dir.filePath("link");
        QFile::remove(viaLink);
        QVERIFY(QFile::link(program, viaLink));
        tonaris::ProgramConsent consent;
        int asked = 0;
        consent.setQuestion([&](const QString &) { return ++asked, answer; });
        consent.setHiddenMode(flags[1]);
        if (allowed) // a roundabout spelling of the same file
            consent.setAllowedList({m_dir.filePath("consent/../consent/run me; $(touch pwned)")});
        consent.startRun();
        QCOMPARE(consent.mayRun(program, clipboard), runs);
        QCOMPARE(consent.mayRun(viaLink, clipboard), runs); // the same program: not asked again
        QCOMPARE(asked, questions);
        consent.startRun();
        consent.mayRun(program, clipboard);
        const bool forGood = allowed || answer == Answer::AlwaysAllow;
        QCOMPARE(asked, forGood ? questions : 2 * questions);
        QCOMPARE(consent.allowedList().contains(QFileInfo(program).canonicalFilePath()), forGood);
        QVERIFY(!consent.mayRun(m_dir.filePath("missing"), false));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestStartProgram)
#include "tst_startprogram.moc"
