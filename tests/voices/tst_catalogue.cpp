// Voice catalogue, language menu, greetings and format names: pure tables, no engine.
#include "TestSupport.h"
#include "audio/PcmFormat.h"
#include "voices/AudioFormats.h"
#include "voices/VoiceCatalogue.h"
#include "voices/VoiceGreeting.h"

#include <QTest>

using namespace tonaris;

Q_DECLARE_METATYPE(tonaris::VoiceInfo)

namespace {

VoiceInfo info(const QString &name, const QString &vendor, const QString &language,
               const QString &description = QString())
{
    VoiceInfo v;
    v.id = name;
    v.name = name;
    v.vendor = vendor;
    v.language = language;
    v.description = description;
    return v;
}

// "Group: caption/tag, caption/tag | Group: ..." for the visible groups, in menu order.
QString menuText(const QList<VoiceMenuGroup> &groups)
{
    QStringList out;
    for (const VoiceMenuGroup &g : groups) {
        if (!g.visible)
            continue;
        QStringList items;
        for (const VoiceMenuItem &i : g.items)
            items.append(i.caption + QLatin1Char('/') + QString::number(i.voiceIndex));
        out.append(LanguageGroupCaption(g.group) + QLatin1String(": ") + items.join(u", "));
    }
    return out.join(u" | ");
}

} // namespace

class TestCatalogue : public QObject
{
    Q_OBJECT

private slots:
    void languageCodeFromTag_data()
    {
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("code");
        // tag=code; "fr-ca" and "en-gb-x-rp" fall back along their subtags, "eo" has no code.
        const QString rows = QStringLiteral(
            "en-us=409 en-gb=809 it=410 ru=419 de=407 fr=40c el=408 es=40a es-419=80a es-mx=80a "
            "pt=816 pt-br=416 ca=403 nl=413 sv=41d ja=411 cmn=804 zh=804 PT-BR=416 fr-fr=40c "
            "fr-ca=40c fr-be=80c en-029=2409 cmn-latn-pinyin=804 en-gb-x-rp=809 "
            "chr-US-Qaaa-x-west=45c yue=c04 eo=1000 =1000 -=1000");
        for (const QString &row : rows.split(QLatin1Char(' '))) {
            const QString tag = row.section(QLatin1Char('='), 0, 0);
            QTest::newRow(qPrintable(tag.isEmpty() ? QStringLiteral("empty") : tag))
                << tag << row.section(QLatin1Char('='), 1);
        }
    }
    void languageCodeFromTag()
    {
        QFETCH(QString, tag);
        QFETCH(QString, code);
        QCOMPARE(LanguageCodeFromTag(tag), code);
    }

    void recordsAndMenus_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QList<VoiceInfo>>("voices");
        QTest::addColumn<QString>("menus");
        QTest::addColumn<QStringList>("combo");

        QTest::newRow("built-in: code lists, case, underscores, vendor comma, unknown")
            << int(EngineKindBuiltIn)
            << QList<VoiceInfo>{info("Anna_One", "Acme, Inc.", "409;809"),
                                info("Sven", "Nord", "41D"),
                                info("Acme Bob", "acme", "409"),
                                info("Wang", "", "404"),
                                info("Zed", "Y", "1000"),
                                info("Broken", "", "")}
            << "English (USA): Anna One/0, Acme Bob/2 | Swedish: Sven/1 | Chinese: Wang/3 | "
               "Other Countries: Zed (1000)/4, Broken ()/5"
            << QStringList{"Acme Anna One", "Nord Sven", "Acme Bob", " Wang", "Y Zed", " Broken"};
        // Greek's decimal code is tested for French first, so Greek is never reached, and a
        // true French voice goes to Other Countries.
        QTest::newRow("external: the French row tests Greek's code")
            << int(EngineKindExternal)
            << QList<VoiceInfo>{info("Eleni speaker", "Hellas", "1032", "Eleni"),
                                info("Marie", "Paris", "1036", "Marie voice"),
                                info("Mary", "Acme", "1033", "Mary"),
                                info("Mia", "M", "2070", "Mia long description"),
                                info("Juan", "E", "2058", "Juan")}
            << "French: Eleni/0 | English (USA): Mary/2 | Portuguese (Portugal): Mia/3 | "
               "Other Countries: Marie (1036)/1, Juan (2058)/4"
            << QStringList{"Eleni Hellas", "Marie Paris", "Mary Acme", "Mia M", "Juan E"};
    }
    void recordsAndMenus()
    {
        QFETCH(int, kind);
        QFETCH(QList<VoiceInfo>, voices);
        QFETCH(QString, menus);
        QFETCH(QStringList, combo);
        const QList<VoiceRecord> records = BuildVoiceRecords(voices, kind);
        QCOMPARE(records.size(), voices.size());
        const QList<VoiceMenuGroup> groups = BuildVoiceMenus(records, kind);
        QCOMPARE(groups.size(), int(LanguageGroupCount));
        QCOMPARE(menuText(groups), menus);
        QStringList texts;
        for (const VoiceRecord &r : records)
            texts.append(VoiceComboText(r, kind));
        QCOMPARE(texts, combo);
    }

    // The language code picks the country, the flag and the greeting's language; the greeting
    // names the voice. British English shares the American text.
    void greeting_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("country");
        QTest::addColumn<QString>("opening");
        QTest::addColumn<int>("flag");
        const auto row = [](const char *name, const char *language, const char *country,
                            const char *opening, int flag) {
            QTest::newRow(name) << language << QString::fromUtf8(country)
                                << QString::fromUtf8(opening) << flag;
        };
        row("Italian", "410", "Italiano", "Salve a tutti, sono Ada.", 10);
        row("French, external code", "1036", "Français",
            "Bonjour tout le monde! Me voilà! Je m'appelle Ada", 6);
        row("Greek, external code", "1032", "Ellhnika", "Kalhmera, egw eimai Ada", 8);
        row("Chinese, Taiwan code", "404", "Chinese", "Ada. Chi.", 4);
        row("Chile, no space", "340A;409", "Español Chileno", "Buenos días a todos!!Me llamo Ada.",
            3);
        row("Japanese, no name", "411", "Japanese", "Sayonara.", 18);
        row("US English", "409", "English USA", "Hello, my name is Ada. My voice is generated", 15);
        row("British English", "2057", "English Great Britain",
            "Hello, my name is Ada. My voice is generated", 9);
        row("unknown", "1000", "1000", " ", 17);
        row("empty", "", "", " ", 17);
    }
    void greeting()
    {
        QFETCH(QString, language);
        QFETCH(QString, country);
        QFETCH(QString, opening);
        QFETCH(int, flag);
        const VoiceGreetingInfo g = PrepareVoiceGreeting(QStringLiteral("Ada"), language);
        QCOMPARE(g.VoiceCountryName, country);
        QVERIFY2(g.VoiceGreeting.startsWith(opening), qPrintable(g.VoiceGreeting));
        QCOMPARE(g.flag, flag);
        if (language == u"2057")
            QCOMPARE(g.VoiceGreeting,
                     PrepareVoiceGreeting(QStringLiteral("Ada"), "409").VoiceGreeting);
        QCOMPARE(VoiceAnnouncement(QStringLiteral("Ada"), g.VoiceCountryName, true),
                 QString(QStringLiteral("Ada; ") + country + QLatin1Char('.')));
        QCOMPARE(VoiceAnnouncement(QStringLiteral("Ada"), g.VoiceCountryName, false),
                 QStringLiteral("Ada."));
    }

    void formatNames_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("offered");
        // code=name; codes 4..39 are offered (their names are checked against the PCM below).
        const QString rows = QStringLiteral(
            "-1=Default|0=No Format Assigned|3=Extended Audio Format|40=8 kHz 1 Bit Mono|"
            "41=ALaw 8 kHz Mono|48=ALaw 44 kHz Stereo|56=uLaw 44 kHz Stereo|"
            "64=ADPCM 44 kHz Stereo|68=GSM610 44 kHz Mono|69=SAFT NUM FORMATS");
        for (const QString &row : rows.split(QLatin1Char('|'))) {
            const int code = row.section(QLatin1Char('='), 0, 0).toInt();
            QTest::newRow(qPrintable(row))
                << code << row.section(QLatin1Char('='), 1) << (code >= 4 && code <= 39);
        }
        QTest::newRow("unknown keeps the name") << 500 << "unchanged" << false;
        QTest::newRow("negative keeps the name") << -7 << "unchanged" << false;
    }
    void formatNames()
    {
        QFETCH(int, code);
        QFETCH(QString, name);
        QFETCH(bool, offered);
        QString got = QStringLiteral("unchanged");
        bool isOffered = !offered;
        GetAudioFormatName(code, got, isOffered);
        QCOMPARE(got, name);
        QCOMPARE(isOffered, offered);
    }

    // The offered list is what the format box shows; its names must say what the PCM is.
    void offeredFormatsMatchPcm()
    {
        const QList<int> codes = OfferedAudioFormatCodes();
        QCOMPARE(codes.size(), 36);
        QCOMPARE(CodeFromPcmFormat(EnginePcmFormat), AudioFormatEngineNative);
        for (int i = 0; i < codes.size(); ++i) {
            QCOMPARE(codes[i], i + 4);
            PcmFormat f;
            QVERIFY(PcmFormatFromCode(codes[i], f));
            QString name;
            bool offered = false;
            GetAudioFormatName(codes[i], name, offered);
            const QString expected = QString::number(f.sampleRate / 1000) + QLatin1String(" kHz ") +
                                     QString::number(f.bitsPerSample) + QLatin1String(" Bit ") +
                                     QLatin1String(f.channels == 1 ? "Mono" : "Stereo");
            QVERIFY(offered);
            QCOMPARE(name, expected);
        }
    }
};

TONARIS_TEST_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
