// The settings file and the language files, golden text in and out.
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace tonaris;

namespace {
const QByteArray Missing; // a null array stands for "no file"

using test::writeFile;
QByteArray get(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}
} // namespace

class TestSettings : public QObject
{
    Q_OBJECT
    QTemporaryDir dir;
    int files = 0;
    QString file(const QByteArray &bytes) // each row its own file, so no cache is shared
    {
        const QString path = dir.filePath(QStringLiteral("s%1.ini").arg(++files));
        if (!bytes.isNull())
            writeFile(path, bytes);
        return path;
    }

private slots:
    void initTestCase() { test::isolateEnvironment(); }

    void write_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after"); // after Volume=50 is written to [Settings]
        const auto row = [](const char *name, const QByteArray &before, const QByteArray &after) {
            QTest::newRow(name) << before << after;
        };
        row("missing file", Missing, "[Settings]\nVolume=50\n");
        row("empty file", "", "[Settings]\nVolume=50\n");
        row("windows file keeps CR LF, text becomes UTF-8",
            "[Settings]\r\nFontName=Caf\xe9\r\nVolume=10\r\nSpeed=0\r\n",
            "[Settings]\r\nFontName=Caf\xc3\xa9\r\nVolume=50\r\nSpeed=0\r\n");
        row("other sections and remarks survive, key ends its section",
            "; mine\n[Other]\nVolume=1\n\n[settings]\nSpeed=3\n; end\n\n[X]\nx=y\n",
            "; mine\n[Other]\nVolume=1\n\n[settings]\nSpeed=3\n; end\nVolume=50\n\n[X]\nx=y\n");
        row("first key of any case updated where it stands", "[Settings]\n volume = 1\nVolume=2\n",
            "[Settings]\nvolume=50\nVolume=2\n");
        row("missing section appended after a blank line", "[Other]\na=b",
            "[Other]\na=b\n\n[Settings]\nVolume=50\n");
    }
    void write()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        const QString path = file(before);
        // Fills the cache, which the write must not leave stale.
        QVERIFY(IniRead(path, QStringLiteral("Settings"), QStringLiteral("Volume"), {}).size() < 3);
        QVERIFY(IniWrite(path, QStringLiteral("Settings"), QStringLiteral("Volume"),
                         QStringLiteral("50")));
        QCOMPARE(get(path), after);
        QCOMPARE(IniRead(path, QStringLiteral("SETTINGS"), QStringLiteral("volume"), {}),
                 QStringLiteral("50"));
    }

    void read_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("value"); // of LastSavedFilename, default "none"
        const auto row = [](const char *name, const QByteArray &contents, const QString &value) {
            QTest::newRow(name) << contents << value;
        };
        const QByteArray long254(254, 'a'), long300(300, 'b');
        row("missing file", Missing, "none");
        row("empty file", "", "none");
        row("windows 1252, CR LF", "[Settings]\r\nLastSavedFilename=/d/Citt\xe0.txt\r\n",
            "/d/Città.txt");
        row("254 characters", "[Settings]\nLastSavedFilename=" + long254,
            QString::fromLatin1(long254));
        row("300 cut to 254", "[Settings]\nLastSavedFilename=" + long300 + "\n",
            QString(254, QLatin1Char('b')));
        row("blanks and quotes around", "[Settings]\nLastSavedFilename =  \"/a b\"  \n", "/a b");
        row("key of another section", "[Other]\nLastSavedFilename=x\n[Settings]\n", "none");
        row("empty value is no default", "[Settings]\nLastSavedFilename=\n", "");
        const QString wide = QStringLiteral("[Settings]\r\nLastSavedFilename=/d/Città.txt\r\n");
        row("utf-16 with mark",
            QByteArray("\xFF\xFE", 2) +
                QByteArray(reinterpret_cast<const char *>(wide.utf16()), wide.size() * 2),
            "/d/Città.txt");
    }
    void read()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, value);
        IniFile ini(file(contents));
        QCOMPARE(ini.existed(), !contents.isNull());
        QCOMPARE(ini.read(QStringLiteral("Settings"), QStringLiteral("LastSavedFilename"),
                          QStringLiteral("none")),
                 value);
        QCOMPARE(IniRead(ini.path(), QStringLiteral("Settings"),
                         QStringLiteral("LastSavedFilename"), QStringLiteral("none")),
                 value);
    }

    void readSeesAChangedFile()
    {
        const QString path = file("[Settings]\nVolume=1\n");
        QCOMPARE(IniRead(path, QStringLiteral("Settings"), QStringLiteral("Volume"), {}), "1");
        writeFile(path, "[Settings]\nVolume=200\n");
        QCOMPARE(IniRead(path, QStringLiteral("Settings"), QStringLiteral("Volume"), {}), "200");
    }

    void values_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("boolean");
        QTest::addColumn<int>("val");
        QTest::addColumn<int>("strict"); // -999: no number
        const auto row = [](const char *name, const char *text, bool boolean, int val, int strict) {
            QTest::newRow(name) << QString::fromUtf8(text) << boolean << val << strict;
        };
        row("True", "True", true, 0, -999);
        row("true in lower case", "true", false, 0, -999);
        row("empty", "", false, 0, -999);
        row("number and text", "12abc", false, 12, -999);
        row("blanks inside", " - 1 2 ", false, -12, -999);
        row("blanks around", "  -3 ", false, -3, -3);
        row("half to even", "2.5", false, 2, 2);
        row("exponent", "1e2", false, 100, 100);
        row("hexadecimal", "&H1F", false, 31, 31);
        row("too big", "99999999999", false, INT_MAX, -999);
    }
    void values()
    {
        QFETCH(QString, text);
        QFETCH(bool, boolean);
        QFETCH(int, val);
        QFETCH(int, strict);
        QCOMPARE(IniBool(text), boolean);
        QCOMPARE(IniVal(text), val);
        QCOMPARE(IniStrict(text).value_or(-999), strict);
    }

    void badStrictNumberIsReportedOnce()
    {
        test::RecordingDialogs dialogs;
        Dialogs *old = Dialogs::install(&dialogs);
        ResetSettingReports();
        QCOMPARE(IniStrictOrDefault(QStringLiteral("Volume"), QStringLiteral("300"), 50, 0, 255),
                 50);
        QCOMPARE(IniStrictOrDefault(QStringLiteral("Volume"), QStringLiteral("x"), 50, 0, 255), 50);
        QCOMPARE(IniStrictOrDefault(QStringLiteral("Pitch"), QStringLiteral("-4"), 0), -4);
        QCOMPARE(dialogs.messages.size(), 1);
        QVERIFY(dialogs.messages[0].contains(QLatin1String("Volume")));
        Dialogs::install(old);
    }

    void whereFilesLive()
    {
        QTemporaryDir program, share;
        const QString beside = program.filePath(QStringLiteral("tonaris.ini"));
        QVERIFY(SettingsFilePath(program.path()).endsWith(QLatin1String("/tonaris/tonaris.ini")));
        writeFile(beside, "");
        QCOMPARE(SettingsFilePath(program.path()), beside); // a portable copy
        // The program's folder first, then the user's data folder.
        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                             QStringLiteral("/tonaris");
        QVERIFY(QDir().mkpath(data));
        writeFile(program.filePath(QStringLiteral("Italiano.lng")), "");
        writeFile(data + QStringLiteral("/ITALIANO.LNG"), "");
        writeFile(data + QStringLiteral("/Deutsch.lng"), "");
        writeFile(data + QStringLiteral("/notes.txt"), "");
        QCOMPARE(ListSideFiles(QStringLiteral("*.lng"), program.path()),
                 QStringList({data + QStringLiteral("/Deutsch.lng"),
                              program.filePath(QStringLiteral("Italiano.lng"))}));
    }

    void languageFiles_data()
    {
        QTest::addColumn<QByteArray>("lng");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("translated");
        QTest::addColumn<int>("count");
        const auto row = [](const char *name, const char *lng, const char *text,
                            const char *translated, int count) {
            QTest::newRow(name) << QByteArray(lng) << QString::fromUtf8(text)
                                << QString::fromUtf8(translated) << count;
        };
        row("access keys in different places", "1&File\n2&Archivio\n", "F&ile", "&Archivio", 1);
        row("double blanks match one", "1Speak  Next Line\n2Parla\n", " speak next   line", "Parla",
            1);
        row("multi-line message, CR LF joined",
            "1First line\r\n  second  LINE\r\n2Prima\r\n  seconda \r\n",
            "First line\r\nSecond line", "Prima\r\nseconda", 1);
        row("a 1 line without a 2 line", "1Speak\n1Stop\n2Ferma\n", "Speak", "", 2);
        row("remarks at the head", "By Ada\n2024\n1Speak\n2Parla\n", "Speak", "Parla", 1);
        row("only remarks", "By Ada\n", "Speak", "Speak", 0);
        row("a 2 line continues a value", "1A\n2B\n2C\n", "a", "B\r\n2C", 1);
        row("first of equal keys", "1A\n2B\n1&a\n2C\n", "A", "B", 2);
        row("last line of one character unread", "1A\r\n2B\r\n1C\r\nD", "C", "", 2);
        row("tab before the shortcut text is a blank", "1&Find CTRL+F\n2T&rova\tCTRL+F\n",
            "&Find\tCTRL+F", "T&rova\tCTRL+F", 1);
        row("windows 1252", "1Speak\r\n2Parl\xe0\r\n", "Speak", "Parlà", 1);
    }
    void languageFiles()
    {
        QFETCH(QByteArray, lng);
        QFETCH(QString, text);
        QFETCH(QString, translated);
        QFETCH(int, count);
        const QString path = dir.filePath(QStringLiteral("t.lng"));
        writeFile(path, lng);
        QVERIFY(MultiLang::LoadLanguageFile(path));
        QCOMPARE(MultiLang::LanguageEntryCount(), count);
        QCOMPARE(MultiLang::Translate(text), translated);
        QCOMPARE(MultiLang::Translate(QStringLiteral("Not  there")), QStringLiteral("Not  there"));
        QCOMPARE(MultiLang::UntranslatedKeys(),
                 count ? QStringList{QStringLiteral("NOT THERE")} : QStringList());
        QVERIFY(!MultiLang::LoadLanguageFile(dir.filePath(QStringLiteral("none.lng"))));
        QCOMPARE(MultiLang::Translate(text), text);
    }
};

TONARIS_TEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
