#include "TestSupport.h"
#include "config/KelPathManager.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using tonaris::KelPathManager;

class TestPaths : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { tonaris::test::isolateEnvironment(); }

    void commandLines_data()
    {
        // The arguments SplitPathArguments finds, and the path and rest GetPathAndArguments gives.
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("rest");
        const auto row = [](const char *name, const char *text, const QStringList &arguments,
                            const char *path, const char *rest) {
            QTest::newRow(name) << text << arguments << path << rest;
        };
        row("empty", "", {}, "", "");
        row("blanks only", "  \t ", {}, "", "");
        row("runs of blanks give no empty argument", "  /play    b.txt ", {"/play", "b.txt"},
            "/play", "b.txt");
        row("quotes hold blanks and are dropped", "\"/my dir/lame\" --decode  \"x y.mp3\"",
            {"/my dir/lame", "--decode", "x y.mp3"}, "/my dir/lame", "--decode  \"x y.mp3\"");
        row("quote toggles inside an argument", "a\"b c\"d e", {"ab cd", "e"}, "ab cd", "e");
        row("quoted nothing is an empty argument", "a \"\" b", {"a", "", "b"}, "a", "\"\" b");
        row("unclosed quote runs to the end", "\"/a b  c", {"/a b  c"}, "/a b  c", "");
        row("unquoted path ends at a blank", "/MY SONG.WAV", {"/MY", "SONG.WAV"}, "/MY",
            "SONG.WAV");
    }
    void commandLines()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, arguments);
        QFETCH(QString, path);
        QFETCH(QString, rest);
        QCOMPARE(KelPathManager::SplitPathArguments(text), arguments);
        QString gotPath, gotRest;
        KelPathManager::GetPathAndArguments(text, gotPath, gotRest);
        QCOMPARE(gotPath, path);
        QCOMPARE(gotRest, rest);
    }

    void extension()
    {
        // path=extension: only the last dot of the file name counts, a leading one does not.
        for (const QString &row :
             QStringLiteral("/a.b/c.tar.gz=.gz|/a.b/c=|/h/u/.hidden=|x y.MP3=.MP3|=").split(u'|'))
            QCOMPARE(KelPathManager::GetExtension(row.section(u'=', 0, 0)), row.section(u'=', 1));
    }

    void findFileCaseInsensitive_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("expected"); // relative to the tree, "" for nothing
        const auto row = [](const char *name, const char *query, const char *expected) {
            QTest::newRow(name) << query << expected;
        };
        row("exact", "Sounds/ding.wav", "Sounds/ding.wav");
        row("upper-cased", "SOUNDS/DING.WAV", "Sounds/ding.wav");
        row("absolute, upper-cased", "ABS:SOUNDS/DING.WAV", "Sounds/ding.wav");
        row("ambiguous pair: code-point order", "MUSIC/SONG.WAV", "Music/Song.WAV");
        row("exact beats the ambiguity", "Music/song.wav", "Music/song.wav");
        row("folder leading nowhere is passed over", "DATA/X.TXT", "Data/x.txt");
        row("dot dot", "SOUNDS/../MUSIC/SONG.WAV", "Music/Song.WAV");
        row("folder itself", "SOUNDS/", "Sounds");
        row("missing", "SOUNDS/NONE.WAV", "");
        row("empty", "", "");
    }
    void findFileCaseInsensitive()
    {
        QFETCH(QString, query);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const char *name : {"Sounds/ding.wav", "Music/Song.WAV", "Music/song.wav",
                                 "Data/x.txt", "DATA/other.txt"}) {
            QVERIFY(QDir(dir.path()).mkpath(QFileInfo(dir.filePath(name)).path()));
            tonaris::test::writeFile(dir.filePath(name), {});
        }
        if (query.startsWith("ABS:"))
            query = dir.path().toUpper() + u'/' + query.mid(4);
        const QString found = KelPathManager::FindFileCaseInsensitive(query, dir.path());
        QCOMPARE(found, expected.isEmpty() ? QString() : dir.filePath(expected));
    }
};

TONARIS_TEST_GUILESS_MAIN(TestPaths)
#include "tst_paths.moc"
