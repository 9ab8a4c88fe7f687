// Text preparation on golden folders (input, expected and what else a case needs).
#include "TestSupport.h"
#include "textprep/ConversionsTable.h"
#include "textprep/CustomTags.h"
#include "textprep/InlineTags.h"
#include "textprep/ReturnCarriages.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

namespace {

const QString DataRoot = QStringLiteral(TONARIS_TEST_DATA "/textprep/");

QString readUtf8(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return QString::fromUtf8(f.readAll());
}

// One row per case folder, named by the folder.
void addFolderRows(const QString &area)
{
    QTest::addColumn<QString>("folder");
    const QDir dir(DataRoot + area);
    const QStringList cases = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    if (cases.isEmpty())
        qFatal("no cases in %s", qPrintable(dir.path()));
    for (const QString &c : cases)
        QTest::newRow(qPrintable(c)) << dir.filePath(c);
}

// The menu as the golden files spell it.
QString describe(const CustomTags &tags)
{
    const QString crlf = QStringLiteral("\r\n");
    auto entry = [&](const CustomTagEntry &e, const QString &indent) -> QString {
        return indent + e.caption + QLatin1Char('|') + e.text + QLatin1Char('|') + crlf;
    };
    QString out;
    if (!tags.menuVisible())
        out = QStringLiteral("hidden") + crlf;
    for (const CustomTagEntry &e : tags.ungrouped)
        out += entry(e, QString());
    for (const CustomTagGroup &g : tags.groups) {
        out += QLatin1Char('[') + g.caption + QLatin1Char(']') + crlf;
        for (const CustomTagEntry &e : g.entries)
            out += entry(e, QStringLiteral("  "));
    }
    return out;
}

} // namespace

class TestTextPrep : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { test::isolateEnvironment(); }

    // Each case in the voice the options window offers as its sample; a case whose expected
    // text equals its input must report that nothing was wrapped.
    void wrapQuotedText_data() { addFolderRows(QStringLiteral("wrapquoted")); }
    void wrapQuotedText()
    {
        QFETCH(QString, folder);
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        const QString expected = readUtf8(folder + QStringLiteral("/expected.txt"));
        const bool differs = text != expected;
        QCOMPARE(WrapQuotedText(text, QuotedVoice{QStringLiteral("Anna"), 3, -2}), differs);
        QCOMPARE(text, expected);
    }

    // expected.txt after the normal removal, expected-hard.txt after the hard one.
    void removeReturnCarriages_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("hard");
        const QDir dir(DataRoot + QStringLiteral("returncarriages"));
        for (const QString &c : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
            for (const bool hard : {false, true})
                if (QFile::exists(dir.filePath(c) +
                                  (hard ? "/expected-hard.txt" : "/expected.txt")))
                    QTest::addRow("%s%s", qPrintable(c), hard ? " (hard)" : "")
                        << dir.filePath(c) << hard;
    }
    void removeReturnCarriages()
    {
        QFETCH(QString, folder);
        QFETCH(bool, hard);
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        RemoveReturnCarriages(text, hard);
        QCOMPARE(text, readUtf8(folder + (hard ? "/expected-hard.txt" : "/expected.txt")));
    }

    void conversionsTable_data() { addFolderRows(QStringLiteral("conversions")); }
    void conversionsTable()
    {
        QFETCH(QString, folder);
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        ApplyConversionsTable(text, folder + QStringLiteral("/table.tab"));
        QCOMPARE(text, readUtf8(folder + QStringLiteral("/expected.txt")));
    }

    void tablesAreListedFromTheSideFolders()
    {
        QTemporaryDir program;
        for (const char *name : {"english US.tab", "Zeta.TAB", "notes.txt"})
            test::writeFile(program.filePath(QLatin1String(name)), {});
        const QList<ConversionsTableFile> tables = ListConversionsTables(program.path());
        QCOMPARE(tables.size(), 2);
        QCOMPARE(tables.at(0).caption, QStringLiteral("English Us"));
        QCOMPARE(tables.at(0).tag, QStringLiteral("english US.tab"));
        QCOMPARE(tables.at(1).caption, QStringLiteral("Zeta"));
        QCOMPARE(tables.at(1).path, program.filePath(QStringLiteral("Zeta.TAB")));
    }

    // The table the program ships parses whole, and expands what it promises.
    void shippedEnglishTable()
    {
        const QString path = QStringLiteral(TONARIS_SOURCE_DIR "/data/English.tab");
        const QList<ConversionRule> rules = LoadConversionRules(path);
        QVERIFY(rules.size() >= 30);
        QString text = QStringLiteral("Dr. Smith met Mr. Jones on Baker St. at 5 p.m.");
        ApplyConversionsTable(text, path);
        QCOMPARE(text, QStringLiteral("Doctor Smith met Mister Jones on Baker Street at 5 P M"));
        ApplyConversionsTable(text, DataRoot + QStringLiteral("no-such.tab")); // left alone
        QCOMPARE(text, QStringLiteral("Doctor Smith met Mister Jones on Baker Street at 5 P M"));
    }

    void customTags_data() { addFolderRows(QStringLiteral("customtags")); }
    void customTags()
    {
        QFETCH(QString, folder);
        const CustomTags tags = LoadCustomTags(folder + QStringLiteral("/CustomTAG.TXT"));
        QCOMPARE(describe(tags), readUtf8(folder + QStringLiteral("/expected.txt")));
    }

    void shippedCustomTags()
    {
        const CustomTags tags =
            LoadCustomTags(QStringLiteral(TONARIS_SOURCE_DIR "/data/CustomTAG.TXT"));
        QVERIFY(tags.menuVisible());
        QVERIFY(tags.groups.size() >= 3);
        for (const CustomTagGroup &g : tags.groups)
            QVERIFY2(!g.entries.isEmpty(), qPrintable(g.caption));
        QVERIFY(!LoadCustomTags(DataRoot + QStringLiteral("none.txt")).menuVisible());
    }
};

TONARIS_TEST_MAIN(TestTextPrep)
#include "tst_textprep.moc"
