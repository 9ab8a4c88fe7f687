// Text preparation on golden folders: quoted-text wrapping, return carriage removal,
// conversions tables and custom tag files, each case a folder of input, options and expected.
#include "TestSupport.h"
#include "textprep/ConversionsTable.h"
#include "textprep/CustomTags.h"
#include "textprep/InlineTags.h"
#include "textprep/ReturnCarriages.h"

#include <QDir>
#include <QFile>
#include <QHash>
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

QHash<QString, QString> readOptions(const QString &folder)
{
    QHash<QString, QString> options;
    const QString text = readUtf8(folder + QStringLiteral("/options"));
    for (const QString &line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        options.insert(line.left(eq), line.mid(eq + 1));
    }
    return options;
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

    void wrapQuotedText_data() { addFolderRows(QStringLiteral("wrapquoted")); }
    void wrapQuotedText()
    {
        QFETCH(QString, folder);
        const auto options = readOptions(folder);
        const QuotedVoice voice{options.value(QStringLiteral("voice")),
                                options.value(QStringLiteral("speed")).toInt(),
                                options.value(QStringLiteral("pitch")).toInt()};
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        const bool wrapped = WrapQuotedText(text, voice);
        QCOMPARE(text, readUtf8(folder + QStringLiteral("/expected.txt")));
        QCOMPARE(wrapped, options.value(QStringLiteral("wrapped")) == QLatin1String("true"));
    }

    void removeReturnCarriages_data() { addFolderRows(QStringLiteral("returncarriages")); }
    void removeReturnCarriages()
    {
        QFETCH(QString, folder);
        const bool hard =
            readOptions(folder).value(QStringLiteral("hard")) == QLatin1String("true");
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        RemoveReturnCarriages(text, hard);
        QCOMPARE(text, readUtf8(folder + QStringLiteral("/expected.txt")));
    }

    // Whole books: every paragraph of ordinary prose ends as one line, the verse and the
    // headings keep their lines.
    void wholeBookParagraphsBecomeLines()
    {
        const QString book = test::corpusFile(QStringLiteral("devils-dictionary.txt"));
        if (book.isEmpty())
            QSKIP("the corpus is not beside the checkout");
        QFile f(book);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QString text = QString::fromLatin1(f.readAll());
        const qsizetype verse = text.count(QStringLiteral("\r\n  "));
        RemoveReturnCarriages(text, false);
        QVERIFY(text.contains(QStringLiteral(
            "ABATIS, n.  Rubbish in front of a fort, to prevent the rubbish outside from "
            "molesting the rubbish inside.\r\n\r\n")));
        QCOMPARE(text.count(QStringLiteral("\r\n  ")), verse);
        QVERIFY(text.contains(QStringLiteral("\r\nABRACADABRA.\r\n\r\n  By _Abracadabra_")));
    }

    void conversionsTable_data() { addFolderRows(QStringLiteral("conversions")); }
    void conversionsTable()
    {
        QFETCH(QString, folder);
        QString text = readUtf8(folder + QStringLiteral("/input.txt"));
        ApplyConversionsTable(text, folder + QStringLiteral("/table.tab"));
        QCOMPARE(text, readUtf8(folder + QStringLiteral("/expected.txt")));
    }

    void missingTableLeavesTheText()
    {
        QString text = QStringLiteral("Dr. Who");
        ApplyConversionsTable(text, DataRoot + QStringLiteral("no-such.tab"));
        QCOMPARE(text, QStringLiteral("Dr. Who"));
    }

    void tablesAreListedFromTheSideFolders()
    {
        QTemporaryDir program;
        for (const char *name : {"english US.tab", "Zeta.TAB", "notes.txt"}) {
            QFile f(program.filePath(QLatin1String(name)));
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
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
    }

    void missingCustomTagFileHidesTheMenu()
    {
        QVERIFY(!LoadCustomTags(DataRoot + QStringLiteral("none.txt")).menuVisible());
    }

    void stringInsertAt_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("result");
        QTest::newRow("start") << 0 << "XYabc";
        QTest::newRow("middle") << 2 << "abXYc";
        QTest::newRow("end") << 3 << "abcXY";
        QTest::newRow("negative") << -1 << "";
        QTest::newRow("beyond the end") << 4 << "";
    }
    void stringInsertAt()
    {
        QFETCH(int, position);
        QTEST(StringInsertAt(position, QStringLiteral("abc"), QStringLiteral("XY")), "result");
    }
};

TONARIS_TEST_MAIN(TestTextPrep)
#include "tst_textprep.moc"
