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
        // What BuildPathAndArguments writes reads back the same.
        KelPathManager::GetPathAndArguments(KelPathManager::BuildPathAndArguments(path, rest),
                                            gotPath, gotRest);
        QCOMPARE(gotPath, path);
        QCOMPARE(gotRest, rest);
    }

    void decompose_data()
    {
        // Columns: extension, GetPath, GetUpperPath, PathSplit as "root|middle|last",
        // AddBackSlash, RemoveBackSlash.
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *path, const QStringList &results) {
            QTest::newRow(path) << (QStringList{path} + results);
        };
        row("/a.b/c.tar.gz", {".gz", "/a.b/", "/a.b", "/|a.b/|c.tar.gz", "/a.b/c.tar.gz/", "="});
        row("/a.b/c", {"", "/a.b/", "/a.b", "/|a.b/|c", "/a.b/c/", "="});
        row("/h/u/.hidden", {"", "/h/u/", "/h/u", "/|h/u/|.hidden", "/h/u/.hidden/", "="});
        row("/a", {"", "/", "/", "/||a", "/a/", "="});
        row("/a/b//", {"", "/a/b//", "/a/b/", "/|a/b//|", "=", "/a/b"});
        row("/", {"", "/", "/", "/||", "=", "="});
        row("x y.MP3", {".MP3", "", "", "||x y.MP3", "x y.MP3/", "="});
        row("", {"", "", "", "||", "=", "="});
    }
    void decompose()
    {
        QFETCH(QStringList, expected);
        const QString path = expected.takeFirst();
        const auto same = [&](const QString &result) { return result == u"=" ? path : result; };
        QCOMPARE(KelPathManager::GetExtension(path), expected[0]);
        QCOMPARE(KelPathManager::RemoveExtension(path) + expected[0], path);
        QCOMPARE(KelPathManager::GetPath(path), expected[1]);
        QCOMPARE(KelPathManager::GetUpperPath(path), expected[2]);
        QString root, middle, last;
        KelPathManager::PathSplit(path, root, middle, last);
        QCOMPARE(QStringList({root, middle, last}).join(u'|'), expected[3]);
        QCOMPARE(KelPathManager::GetFileName(path), last);
        QCOMPARE(KelPathManager::GetRoot(path), root);
        QString slashed = path, unslashed = path;
        KelPathManager::AddBackSlash(slashed);
        KelPathManager::RemoveBackSlash(unslashed);
        QCOMPARE(slashed, same(expected[4]));
        QCOMPARE(unslashed, same(expected[5]));
    }

    void masksAndEnvironment()
    {
        QVERIFY(KelPathManager::ValidatePathMask("/a/B.TXT", "*.txt")); // case ignored
        QVERIFY(KelPathManager::ValidatePathMask("/a/b.wav", "*.txt; *.wav"));
        QVERIFY(KelPathManager::ValidatePathMask("noext", "*.*"));
        QVERIFY(KelPathManager::ValidatePathMask("a.b.c", "*.c")); // the star backtracks
        QVERIFY(!KelPathManager::ValidatePathMask("ab.txt", "?.txt"));
        QVERIFY(!KelPathManager::ValidatePathMask("b.txt", ""));
        qputenv("TONARIS_TST", "/x");
        QCOMPARE(KelPathManager::GetPathFromPathWithEnvironment(
                     "%TONARIS_TST%/a ${TONARIS_TST}$TONARIS_TST $NOT_SET_Q %NOT_SET_Q% 100%"),
                 "/x/a /x/x $NOT_SET_Q %NOT_SET_Q% 100%");
    }

    void existenceAndKill()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath("f.txt");
        QVERIFY(QFile(file).open(QIODevice::WriteOnly));
        QVERIFY(KelPathManager::ExistFile(file) && !KelPathManager::ExistDirectory(file));
        QVERIFY(KelPathManager::ExistDirectory(dir.path()) &&
                !KelPathManager::ExistFile(dir.path()));
        QVERIFY(!KelPathManager::KillFile(dir.path()) && KelPathManager::ExistPath(dir.path()));
        QVERIFY(KelPathManager::KillFile(file) && !KelPathManager::ExistPath(file));
        QVERIFY(!KelPathManager::KillFile(file) && !KelPathManager::ExistPath(QString()));
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
