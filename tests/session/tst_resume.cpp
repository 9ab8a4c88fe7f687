// A save of volumes killed after its first volume, run again: it goes on from the second and
// ends with the volumes an uninterrupted run makes. Runs the program itself, so that the kill is
// a real one.
#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <signal.h>

class TestResume : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_program;

    QStringList arguments(const QString &target) const
    {
        return {QStringLiteral("/hidden"),
                QStringLiteral("--config"),
                m_dir.filePath(QStringLiteral("tonaris.ini")),
                QStringLiteral("--format"),
                QStringLiteral("8 kHz 8 Bit Mono"),
                QStringLiteral("/wav"),
                m_dir.filePath(QStringLiteral("book.txt")),
                target};
    }

    void prepare(QProcess &p) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_dir.path());
        env.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        p.setProcessEnvironment(env);
    }

    bool runToEnd(const QString &target) const
    {
        QProcess p;
        prepare(p);
        p.start(m_program, arguments(target));
        return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit &&
               p.exitCode() == 0;
    }

    QList<std::pair<QString, qint64>> volumes(const QString &folder) const
    {
        QList<std::pair<QString, qint64>> list;
        for (const QFileInfo &f :
             QDir(folder).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name))
            list.append({f.fileName(), f.size()});
        return list;
    }

private slots:
    void initTestCase()
    {
        m_program = QCoreApplication::applicationDirPath() + QStringLiteral("/../tonaris");
        if (!QFileInfo(m_program).isExecutable())
            QSKIP("the program is not built");
        QFile ini(m_dir.filePath(QStringLiteral("tonaris.ini")));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write("[Settings]\r\nSplitMp3Size=5\r\nSpeakVolumeTitleAndVolumeNumber=False\r\n");
        ini.close();
        // A short first volume, then two long ones: the kill falls inside the second.
        const QByteArray sentence = "The quick brown fox jumps over the lazy dog again. ";
        QByteArray text = "A short first volume.\r\n#BREAK Two\r\n";
        for (int volume = 0; volume < 2; ++volume) {
            for (int i = 0; i < 300; ++i)
                text += sentence + (i % 4 == 3 ? "\r\n" : "");
            if (volume == 0)
                text += "\r\n#BREAK\r\n";
        }
        QFile book(m_dir.filePath(QStringLiteral("book.txt")));
        QVERIFY(book.open(QIODevice::WriteOnly));
        book.write(text);
    }

    void killedAfterTheFirstVolume()
    {
        QVERIFY(runToEnd(m_dir.filePath(QStringLiteral("whole"))));
        const auto whole = volumes(m_dir.filePath(QStringLiteral("whole")));
        QCOMPARE(whole.size(), 3);

        const QString folder = m_dir.filePath(QStringLiteral("cut"));
        QProcess p;
        prepare(p);
        p.start(m_program, arguments(folder));
        QVERIFY(p.waitForStarted());
        QVERIFY(QTest::qWaitFor(
            [&] { return QFileInfo::exists(folder + QStringLiteral("/001_cut.wav")); }, 60000));
        ::kill(pid_t(p.processId()), SIGKILL);
        QVERIFY(p.waitForFinished());
        QVERIFY2(!QFileInfo::exists(folder + QStringLiteral("/002_cut.wav")),
                 "the second volume was done before the kill");

        QVERIFY(runToEnd(folder));
        const auto resumed = volumes(folder);
        QCOMPARE(resumed.size(), whole.size()); // no journal and no temporary file left
        for (int i = 0; i < whole.size(); ++i) {
            QCOMPARE(
                resumed.at(i).first.mid(4),
                whole.at(i).first.mid(4).replace(QStringLiteral("whole"), QStringLiteral("cut")));
            const double ratio = double(resumed.at(i).second) / whole.at(i).second;
            QVERIFY2(ratio > 0.97 && ratio < 1.03, qPrintable(QString::number(ratio)));
        }
    }
};

TONARIS_TEST_GUILESS_MAIN(TestResume)
#include "tst_resume.moc"
