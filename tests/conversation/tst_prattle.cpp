// The reply engine on personalities written for the tests: keyword scores, whole conversations
// as golden rows, and personality files that are cut short, mis-written or from Windows.
#include "TestSupport.h"
#include "config/ProgramRandom.h"
#include "conversation/Prattle.h"

#include <QSignalSpy>
#include <QTest>

using namespace tonaris;

namespace {
const QString Data = QStringLiteral(TONARIS_TEST_DATA "/conversation/");
// In an expected reply: any evasive line but the first of its section.
const QString Evasive = QStringLiteral("<evasive>");
} // namespace

class TestPrattle : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { test::isolateEnvironment(); }
    void init() { SeedProgramRandom(17); }

    void scoreKeywords_data();
    void scoreKeywords();
    void conversation_data();
    void conversation();
    void inputIsTrimmedAndUpperCased();
    void evasiveDrawSkipsFirstLine();
    void openQuestionCarriesOverLoad();
    void loadFiles_data();
    void loadFiles();
};

void TestPrattle::scoreKeywords_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("keyLine");
    QTest::addColumn<int>("score");
    const auto row = [](const char *name, const char *input, const char *keys, int score) {
        QTest::newRow(name) << QString::fromUtf8(input) << QString::fromUtf8(keys) << score;
    };
    row("strong keyword by the vowel rule, plus a plain one", "GATTI CASA", " GATTO+ CASA", 15);
    row("A, E, I, O endings are one", "GATTI", " GATTO", 5);
    row("U is no vowel of the set", "GATTU", " GATTO", 0);
    row("consonant ending must be equal", "GATTS", " GATTO", 0);
    row("accented ending is outside the set", "PERCHÈ", " PERCHE", 0);
    row("strong keyword against a full-length word", "GATTO+", " GATTO+", 6);
    row("one-letter keywords compare exactly", "A E", " A I", 1);
    row("a word matches every keyword spelled alike", "CASA", " CASA CASE", 8);
    row("a keyword matches once a line", "CASA CASE", " CASA", 4);
    row("lengths must agree", "GATTONE", " GATTO", 0);
}

void TestPrattle::scoreKeywords()
{
    QFETCH(QString, input);
    QFETCH(QString, keyLine);
    QFETCH(int, score);
    QCOMPARE(Prattle::ScoreKeywords(Prattle::SplitWords(input), Prattle::SplitWords(keyLine)),
             score);
}

void TestPrattle::conversation_data()
{
    QTest::addColumn<QStringList>("inputs");
    QTest::addColumn<QStringList>("replies");
    QStringList ringInputs, ring;
    for (int i = 1; i <= 10; ++i) {
        ringInputs << QStringLiteral("il n%1").arg(i);
        ring << QStringLiteral("s%1.").arg(i);
    }

    QTest::newRow("bare keywords get the question with its mark")
        << QStringList{"gatti casa"} << QStringList{"Hai un gatto in casa?"};
    QTest::newRow("a reply that ends in a mark keeps it")
        << QStringList{"cane"} << QStringList{"Ti piace il cane!"};
    QTest::newRow("the question is asked once")
        << QStringList{"cane", "cane"} << QStringList{"Ti piace il cane!", "Il cane è fedele."};
    QTest::newRow("yes after the question gives the statement")
        << QStringList{"gatto", "si"}
        << QStringList{"Hai un gatto in casa?", "I gatti amano la casa."};
    QTest::newRow("a yes of two words is new input and drops the question")
        << QStringList{"gatto", "si certo", "si"}
        << QStringList{"Hai un gatto in casa?", Evasive, Evasive};
    QTest::newRow("a yes word with a blank before it never matches")
        << QStringList{"gatto", "esatto"} << QStringList{"Hai un gatto in casa?", Evasive};
    QTest::newRow("a stop word that is no keyword makes a sentence")
        << QStringList{"il gatto"} << QStringList{"I gatti amano la casa."};
    QTest::newRow("accented stop word after upper-casing")
        << QStringList{"è un topo"} << QStringList{"Il topo scappa."};
    QTest::newRow("a tie goes to the earlier line, repeats score once")
        << QStringList{"topo topo"} << QStringList{"Un topo?"};
    QTest::newRow("the higher score wins over the earlier line")
        << QStringList{"topo e formaggio"} << QStringList{"Il topo mangia il formaggio."};
    QTest::newRow("a stated line waits for eleven other lines")
        << (QStringList{"il gatto"} + ringInputs + QStringList{"il gatto", "il n11", "il gatto"})
        << (QStringList{"I gatti amano la casa."} + ring +
            QStringList{Evasive, "s11.", "I gatti amano la casa."});
    QTest::newRow("a star pattern matches inside a word")
        << QStringList{"sei inscemito"} << QStringList{"<dirty>"};
    QTest::newRow("a question-mark pattern stays inert")
        << QStringList{"stupid", "stupido"} << QStringList{Evasive, Evasive};
    QTest::newRow("a plain pattern matches the whole word only")
        << QStringList{"cretino", "cretina"} << QStringList{"<dirty>", Evasive};
    QTest::newRow("a dirty word wins over keywords")
        << QStringList{"gatto cretino"} << QStringList{"<dirty>"};
    QTest::newRow("separators only") << QStringList{"?!.,;:'\"<>/\\*"} << QStringList{Evasive};
    QTest::newRow("blanks only") << QStringList{"   "} << QStringList{""};
}

void TestPrattle::conversation()
{
    QFETCH(QStringList, inputs);
    QFETCH(QStringList, replies);
    Prattle prattle;
    prattle.LoadIAFile(Data + QStringLiteral("gatti.ia"));
    QVERIFY(prattle.IsReady());
    for (qsizetype i = 0; i < inputs.size(); ++i) {
        QString input = inputs.at(i);
        const QString reply = prattle.Rispondi(input);
        const QString expected = replies.at(i);
        if (expected == Evasive)
            QVERIFY2(reply == "Evasive one." || reply == "Evasive two.", qPrintable(reply));
        else if (expected == "<dirty>")
            QVERIFY2(reply == "Be polite." || reply == "Please be polite.", qPrintable(reply));
        else
            QCOMPARE(reply, expected);
    }
}

void TestPrattle::inputIsTrimmedAndUpperCased()
{
    Prattle prattle;
    QString input = QStringLiteral("  ciao è ");
    QCOMPARE(prattle.Rispondi(input), QString());
    QCOMPARE(input, QStringLiteral("  ciao è ")); // not ready: left alone
    prattle.LoadIAFile(Data + QStringLiteral("gatti.ia"));
    prattle.Rispondi(input);
    QCOMPARE(input, QStringLiteral("CIAO È"));
}

void TestPrattle::evasiveDrawSkipsFirstLine()
{
    Prattle prattle;
    prattle.LoadIAFile(Data + QStringLiteral("gatti.ia"));
    QSet<QString> seen;
    for (int i = 0; i < 300; ++i) {
        QString input = QStringLiteral("nothing");
        seen.insert(prattle.Rispondi(input));
    }
    QCOMPARE(seen, (QSet<QString>{"Evasive one.", "Evasive two."}));
}

void TestPrattle::openQuestionCarriesOverLoad()
{
    Prattle prattle;
    prattle.LoadIAFile(Data + QStringLiteral("gatti.ia"));
    QString input = QStringLiteral("gatto");
    QCOMPARE(prattle.Rispondi(input), QStringLiteral("Hai un gatto in casa?"));
    // The new file's slot 13 holds its statement of the first triple.
    prattle.LoadIAFile(Data + QStringLiteral("windows-1252.ia"));
    input = QStringLiteral("si");
    QCOMPARE(prattle.Rispondi(input), QStringLiteral("La città è bella."));
}

void TestPrattle::loadFiles_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("ready");
    QTest::addColumn<QString>("gender");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("reply"); // <a|b>: one of them
    QTest::addColumn<int>("problems");
    const auto row = [](const char *name, const QString &file, bool ready, const char *gender,
                        const char *input, const char *reply, int problems) {
        QTest::newRow(name) << file << ready << gender << QString::fromUtf8(input)
                            << QString::fromUtf8(reply) << problems;
    };
    row("header parsed", "gatti.ia", true, "MALE", "", "", 0);
    row("missing file", "absent.ia", false, "Female", "gatto", "", 0);
    row("empty file", "empty.ia", false, "Female", "gatto", "", 0);
    row("no header marker", "no-head.ia", false, "Female", "gatto", "", 0);
    row("ends inside a section", "truncated.ia", false, "MALE", "", "", 0);
    row("ends right after the last marker", "dirty-marker-last.ia", false, "MALE", "gatto", "", 1);
    row("evasive section of one line", "short-sections.ia", true, "MALE", "nothing known", "", 1);
    row("key line with nothing behind it", "short-sections.ia", true, "MALE", "cane", "", 1);
    row("a last line of one character stays unread", "one-byte-last-line.ia", true, "Female",
        "brutto", "", 1);
    row("Windows-1252 text and accented capitals", "windows-1252.ia", true, "FEMALE", "è la città",
        "La città è bella.", 0);
    row("Windows-1252 evasive reply", "windows-1252.ia", true, "FEMALE", "niente",
        "<Così così.|Boh.>", 0);
    const QString shipped = QStringLiteral(TONARIS_SOURCE_DIR "/data/");
    row("shipped Italian personality", shipped + "Giulia Italiano.ia", true, "FEMALE",
        "mi piace la pizza", "La pizza margherita è un classico che non delude mai.", 0);
    row("shipped English personality", shipped + "Oliver English.ia", true, "MALE",
        "what about pizza", "Do you like pizza?", 0);
}

void TestPrattle::loadFiles()
{
    QFETCH(QString, file);
    QFETCH(bool, ready);
    QFETCH(QString, gender);
    QFETCH(QString, input);
    QFETCH(QString, reply);
    QFETCH(int, problems);
    Prattle prattle;
    QSignalSpy told(&prattle, &Prattle::problem);
    prattle.LoadIAFile(file.startsWith(u'/') ? file : Data + file);
    QCOMPARE(prattle.IsReady(), ready);
    QCOMPARE(prattle.Gender(), gender);
    if (file == "gatti.ia")
        QCOMPARE(prattle.LinguaCode(), QStringLiteral("410,1040"));
    if (!input.isEmpty()) {
        QString sentence = input;
        const QString answer = prattle.Rispondi(sentence);
        if (reply.startsWith(u'<'))
            QVERIFY2(reply.mid(1).chopped(1).split(u'|').contains(answer), qPrintable(answer));
        else
            QCOMPARE(answer, reply);
        sentence = input;
        prattle.Rispondi(sentence);
    }
    QCOMPARE(told.count(), problems); // each cause once
}

TONARIS_TEST_GUILESS_MAIN(TestPrattle)
#include "tst_prattle.moc"
