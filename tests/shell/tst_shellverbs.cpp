// The file managers' verbs: the dialog writes and removes every entry, and each command, run
// the way a file manager runs it, hands Tonaris exactly the one file, whatever its name.
#include "TestSupport.h"
#include "config/KelShellExtensions.h"
#include "shell/FormShellExtensions.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace tonaris;

namespace {
const char *const Boxes[] = {"CheckOpen", "CheckSpeak", "CheckWav", "CheckMp3"};

int countFiles(const QString &folder)
{
    return int(QDir(folder).entryList(QDir::Files).size());
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString readAll(const QString &path)
{
    return QString::fromUtf8(readBytes(path));
}

bool writeFile(const QString &path, const char *text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) >= 0;
}
} // namespace

class TestShellVerbs : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_data;

    void confirm(const QList<bool> &checks)
    {
        FormShellExtensions form(nullptr, QStringLiteral("/opt/tonaris/bin/tonaris"));
        for (int i = 0; i < 4; ++i)
            form.findChild<QCheckBox *>(QLatin1String(Boxes[i]))->setChecked(checks[i]);
        form.findChild<QPushButton *>(QStringLiteral("CommandOK"))->click();
    }
    QList<bool> shown()
    {
        FormShellExtensions form(nullptr);
        QList<bool> checks;
        for (const char *box : Boxes)
            checks.append(form.findChild<QCheckBox *>(QLatin1String(box))->isChecked());
        return checks;
    }

private slots:
    void initTestCase()
    {
        // The user's data folder as the file managers read it, not the test mode's stand-in.
        QVERIFY(m_dir.isValid());
        qputenv("HOME", QFile::encodeName(m_dir.path()));
        m_data = m_dir.filePath(QStringLiteral("data"));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data));
        QCOMPARE(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation), m_data);
    }

    void dialogWritesAndRemovesEveryEntry()
    {
        const QString menus = m_data + QStringLiteral("/kio/servicemenus");
        const QString apps = m_data + QStringLiteral("/applications");
        const QString scripts = m_data + QStringLiteral("/nautilus/scripts");

        // Only "txt" set up: the boxes follow it, whatever the other kinds are.
        KelShellExtensions shell;
        QVERIFY(shell.AddExplorerContextualExtension(
            QStringLiteral(".txt"), QStringLiteral("Tonaris Wav"),
            QStringLiteral("Tonaris Convert To Wav"), {QStringLiteral("tonaris"), "/Wav"}));
        QVERIFY(shell.AddExplorerContextualExtension(
            QStringLiteral("pdf"), QStringLiteral("Tonaris Open"), QStringLiteral("Tonaris Open"),
            {QStringLiteral("tonaris")}));
        QCOMPARE(shown(), (QList<bool>{false, false, true, false}));

        confirm({true, true, true, true});
        QCOMPARE(countFiles(menus), 24);
        QCOMPARE(countFiles(apps), 4);
        QCOMPARE(countFiles(scripts), 4);
        QCOMPARE(shown(), (QList<bool>{true, true, true, true}));
        const QString speak = readAll(apps + QStringLiteral("/tonaris-speak.desktop"));
        QVERIFY(speak.contains(QLatin1String("Name=Tonaris Speak Aloud\n")));
        QVERIFY(speak.contains(QLatin1String("Exec=\"/opt/tonaris/bin/tonaris\" \"/Play\" %f\n")));
        QVERIFY(speak.contains(QLatin1String("MimeType=text/plain;application/msword;text/html;"
                                             "application/rtf;text/rtf;application/pdf;\n")));

        // One kind removed by hand: the verb's "Open With" entry no longer offers it.
        QVERIFY(shell.RemoveExplorerContextualExtension(QStringLiteral("doc"),
                                                        QStringLiteral("Tonaris Speak")));
        QVERIFY(!readAll(apps + QStringLiteral("/tonaris-speak.desktop"))
                     .contains(QLatin1String("msword")));

        confirm({false, true, false, false});
        QCOMPARE(countFiles(menus), 6);
        QCOMPARE(countFiles(apps), 1);
        QCOMPARE(countFiles(scripts), 1);
        confirm({false, false, false, false});
        QCOMPARE(countFiles(menus), 0);
        QCOMPARE(countFiles(apps), 0);
        QCOMPARE(countFiles(scripts), 0);
    }

    // Each verb as GLib's launcher and Nautilus start it, on hostile names for both the
    // program's folder and the file: the program sees its switch and the one file, and no
    // part of either name runs.
    void commandsPassTheFileAsOneArgument_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QStringList>("switches");
        QTest::newRow("open") << "CheckOpen" << QStringList();
        QTest::newRow("speak") << "CheckSpeak" << QStringList{"/Play"};
        QTest::newRow("wav") << "CheckWav" << QStringList{"/Wav"};
        QTest::newRow("mp3") << "CheckMp3" << QStringList{"/Mp3"};
    }
    void commandsPassTheFileAsOneArgument()
    {
        QFETCH(QString, box);
        QFETCH(QStringList, switches);
        const QString gio = QStandardPaths::findExecutable(QStringLiteral("gio"));
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("it's $(touch ran1) `x`;"));
        QVERIFY(QDir().mkpath(folder));
        // The stand-in for Tonaris writes its arguments, one per line, NUL-separated.
        const QString program = folder + QStringLiteral("/to\\na \"ris\"");
        QVERIFY(writeFile(program, "#!/bin/sh\nfor a; do printf '%s\\0' \"$a\"; done "
                                   ">\"$VERB_LOG\"\n"));
        QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeOwner);
        const QString file =
            dir.filePath(QStringLiteral("-a b 'c' \"d\" $(touch ran2) `touch ran3`; e\nf.txt"));
        QVERIFY(writeFile(file, "text"));

        FormShellExtensions form(nullptr, program);
        form.findChild<QCheckBox *>(box)->setChecked(true);
        form.findChild<QPushButton *>(QStringLiteral("CommandOK"))->click();
        const QString slug = box.mid(5).toLower();
        const QString app =
            m_data + QStringLiteral("/applications/tonaris-") + slug + QStringLiteral(".desktop");
        const QStringList scripts =
            QDir(m_data + QStringLiteral("/nautilus/scripts")).entryList(QDir::Files);
        QCOMPARE(scripts.size(), 1);

        const QStringList expected = switches + QStringList{file};
        QList<QStringList> runs;
        runs.append({m_data + QStringLiteral("/nautilus/scripts/") + scripts.first(), file});
        if (!gio.isEmpty())
            runs.append({gio, QStringLiteral("launch"), app, file});
        for (const QStringList &run : std::as_const(runs)) {
            const QString log = dir.filePath(QStringLiteral("log"));
            QFile::remove(log);
            QProcess p;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert(QStringLiteral("VERB_LOG"), log);
            p.setProcessEnvironment(env);
            p.setWorkingDirectory(dir.path());
            p.start(run.first(), run.mid(1));
            QVERIFY(p.waitForFinished(10000));
            QTRY_VERIFY(QFileInfo(log).size() > 0); // gio launch returns before its child ends
            QStringList seen = QString::fromUtf8(readBytes(log)).split(QChar(0));
            seen.removeLast();
            QCOMPARE(seen, expected);
        }
        for (const char *canary : {"ran1", "ran2", "ran3"})
            QVERIFY(!QFileInfo::exists(dir.filePath(QLatin1String(canary))));
        confirm({false, false, false, false});
    }
};

TONARIS_TEST_MAIN(TestShellVerbs)
#include "tst_shellverbs.moc"
