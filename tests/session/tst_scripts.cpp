// Texts run as scripts on the scripted engine: which lines are spoken, in which order, for
// given answers of the recogniser.
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "config/ProgramConsent.h"
#include "session/SpeechSession.h"
#include "textprep/Text.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;
using tonaris::test::ScriptedEngine;

class TestScripts : public QObject
{
    Q_OBJECT

private:
    SpeechSession *s = nullptr;
    Text *editor = nullptr;
    ScriptedEngine *voice = nullptr;
    ScriptedEngine *over = nullptr;
    QStringList answers; // what the recogniser hears at each wait; "" lets it time out

    // Runs the text to its end and gives the spoken lines, trimmed, joined by "|".
    QString run(const QString &text)
    {
        editor->setText(text);
        s->CommandSpeech_Click();
        for (int i = 0; i < 2000; ++i) {
            QCoreApplication::processEvents();
            s->TimerSpeech_Timer();
            if (voice->speaking)
                voice->finish();
            if (s->SpeechState == 0 && s->SpeechRequest == 0 &&
                s->StatusDisplay == SpeechSession::DisplayReady)
                break;
        }
        QStringList spoken;
        for (const QString &line : voice->spoken())
            spoken.append(line.trimmed());
        return spoken.join(QLatin1Char('|'));
    }

private slots:
    void initTestCase() { test::isolateEnvironment(); }
    void init()
    {
        s = new SpeechSession;
        s->TimerSpeech.stop();
        editor = new Text;
        voice = new ScriptedEngine;
        over = new ScriptedEngine;
        s->setEditor(editor);
        s->setVoices(voice, over);
        answers.clear();
        s->StartRecognition = [this](const QStringList &) {
            const QString heard = answers.isEmpty() ? QString() : answers.takeFirst();
            // The recogniser's event arrives between ticks.
            QMetaObject::invokeMethod(
                s, [this, heard] { s->RecognizedText = heard; }, Qt::QueuedConnection);
            return 1;
        };
    }
    void cleanup()
    {
        delete s;
        delete editor;
        delete voice;
        delete over;
    }

    void scripts_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("heard");
        QTest::addColumn<QString>("spoken");

        const QString sample1 =
            "#DO\r\n    #RECOGNIZE Yes, No, OTHER_WORDS\r\n    #IF RECOGNIZED "
            "Yes\r\n        You have said Yes\r\n        #EXIT DO\r\n    #END "
            "IF\r\n    #IF RECOGNIZED No\r\n        You have said No\r\n        "
            "#EXIT DO\r\n    #END IF\r\n    #IF RECOGNIZED OTHER_WORDS\r\n     "
            "   Repeat Please\r\n    #END IF\r\n#LOOP\r\n";
        const QString sample2 = "#RECOGNIZE Yes, No\r\n\r\n#IF RECOGNIZED Yes\r\n    #CALL "
                                "YES\r\n#END IF\r\n\r\n#IF RECOGNIZED No\r\n    You have said "
                                "No\r\n#END IF\r\n\r\n#SUB YES\r\n    You have said Yes\r\n#END "
                                "SUB\r\n";
        const QString sample4 = "#RECOGNIZE_WITH_TIMEOUT 1,yes, no\r\n#IF RECOGNIZED Yes\r\n    "
                                "You have said Yes\r\n#END IF\r\n#IF RECOGNIZED No\r\n    You "
                                "have said No\r\n#END IF\r\n#IF TIMEOUT\r\n    Timeout, "
                                "sorry!\r\n#End If\r\n";
        QTest::newRow("recognition sample loops until understood")
            << sample1 << QStringList{"OTHER_WORDS", "NO"} << "Repeat Please|You have said No";
        QTest::newRow("call routine sample, yes")
            << sample2 << QStringList{"YES"} << "You have said Yes";
        QTest::newRow("call routine sample, no")
            << sample2 << QStringList{"NO"} << "You have said No";
        QTest::newRow("timeout sample, answered")
            << sample4 << QStringList{"YES"} << "You have said Yes";
        QTest::newRow("timeout sample, silence") << sample4 << QStringList{""} << "Timeout, sorry!";
        QTest::newRow("loop without do goes on") << "a\r\n#LOOP\r\nb" << QStringList{} << "a|b";
        QTest::newRow("exit do across nesting")
            << "#DO\r\n#DO\r\ninner\r\n#EXIT DO\r\n#LOOP\r\nouter\r\n#EXIT DO\r\n#LOOP\r\nend"
            << QStringList{} << "inner|outer|end";
        QTest::newRow("call inside a routine")
            << "#CALL A\r\nend\r\n#STOP\r\n#SUB A\r\nin a\r\n#CALL B\r\nback in a\r\n#END "
               "SUB\r\n#SUB B\r\nin b\r\n#END SUB"
            << QStringList{} << "in a|in b|back in a|end";
        QTest::newRow("call to a routine above does nothing")
            << "#SUB A\r\nin a\r\n#END SUB\r\n#CALL A\r\nend" << QStringList{} << "end";
        QTest::newRow("timeout block inside a skipped block ends it")
            << "#IF RECOGNIZED X\r\n#IF TIMEOUT\r\nt\r\n#END IF\r\nafter\r\n#END IF\r\nlast"
            << QStringList{} << "after|last";
        QTest::newRow("empty list skips the block")
            << "#IF RECOGNIZED\r\nnever\r\n#END IF\r\nend" << QStringList{} << "end";
        QTest::newRow("random with one case takes it")
            << "#RANDOM\r\n#CASE\r\nonly\r\n#END RANDOM\r\nend" << QStringList{} << "only|end";
        QTest::newRow("random without case jumps to its end")
            << "#RANDOM\r\nnever\r\n#END RANDOM\r\nend" << QStringList{} << "end";
        QTest::newRow("keywords by prefix, comments silent")
            << "# a note\r\n#WAIT0\r\n#PLAYER\r\n#END RANDOM\r\nspoken" << QStringList{}
            << "spoken";
        QTest::newRow("stop ends the run") << "one\r\n#STOP\r\ntwo" << QStringList{} << "one";
    }
    void scripts()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, heard);
        QFETCH(QString, spoken);
        answers = heard;
        QCOMPARE(run(script), spoken);
    }

    void nestedRandomRunsOneInnerCase()
    {
        QSet<QString> seen;
        for (int i = 0; i < 40; ++i) {
            voice->calls.clear();
            const QString out = run("#RANDOM\r\n#CASE\r\n#RANDOM\r\n#CASE\r\ninner1\r\n#CASE\r\n"
                                    "inner2\r\n#END RANDOM\r\n#END RANDOM\r\nend");
            QVERIFY2(out == "inner1|end" || out == "inner2|end", qPrintable(out));
            seen.insert(out);
        }
        QCOMPARE(seen.size(), 2);
    }

    void waitValues_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("seconds"); // 0: no wait
        QTest::newRow("zero") << "#WAIT 0" << 0;
        QTest::newRow("not a number") << "#WAIT X" << 0;
        QTest::newRow("negative") << "#WAIT -5" << 0;
        QTest::newRow("no blank") << "#WAIT5" << 5;
        QTest::newRow("2.5 rounds to even") << "#WAIT 2.5" << 2;
        QTest::newRow("3.5 rounds to even") << "#WAIT 3.5" << 4;
        QTest::newRow("above 30 is a minute") << "#WAIT 31" << 60;
        QTest::newRow("beyond 16 bits passes") << "#WAIT 99999" << 0;
    }
    void waitValues()
    {
        QFETCH(QString, line);
        QFETCH(int, seconds);
        QSignalSpy problems(s, &SpeechSession::problem);
        s->SplitSpeechLines(line);
        s->SpeechLineIndex = 0;
        s->SpeechRequest = SpeechSession::RequestStep;
        const QDateTime before = QDateTime::currentDateTime();
        s->TimerSpeech_Timer();
        QCOMPARE(s->WaitActive, seconds ? 1 : 0);
        if (seconds)
            QVERIFY(qAbs(before.secsTo(s->WaitUntil) - seconds) <= 1);
        QCOMPARE(problems.count(), line.contains("99999") ? 1 : 0);
    }

    void voiceAndOpenHandOver()
    {
        QTemporaryDir dir;
        QFile other(dir.filePath("Other Script.txt"));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("second\r\n#VOICE English (America)\r\nthird");
        other.close();
        s->TextFolder = dir.path();
        QSignalSpy voices(s, &SpeechSession::voiceRequested);
        QCOMPARE(run("first\r\n#OPEN \"other script.txt\"\r\nnever"), "first|second|third");
        QCOMPARE(voices.count(), 1);
        QCOMPARE(voices[0][0].toString(), QStringLiteral("ENGLISH (AMERICA)"));
        QCOMPARE(editor->text(), QStringLiteral("second\r\n#VOICE English (America)\r\nthird"));
    }

    void executeNeedsConsentAndNeverUsesAShell()
    {
        QTemporaryDir dir;
        const QString tool = dir.filePath("-tool 'q' `touch PWNED` $(touch PWNED); x.sh");
        QFile f(tool);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("#!/bin/sh\nprintf '%s|' \"$@\" >> \"$(dirname \"$0\")/ran.txt\"\n");
        f.close();
        f.setPermissions(f.permissions() | QFile::ExeOwner);
        const QString line = "#EXECUTE \"" + tool + "\" \"a; $(touch PWNED)\" `touch PWNED`";
        const QString ran = dir.filePath("ran.txt");

        ProgramConsent consent;
        int asked = 0;
        ProgramConsent::Answer answer = ProgramConsent::Answer::DontRun;
        consent.setQuestion([&](const QString &) {
            ++asked;
            return answer;
        });
        s->Consent = &consent;

        run(line);
        QCOMPARE(asked, 1);
        QTest::qWait(300);
        QVERIFY(!QFile::exists(ran));

        answer = ProgramConsent::Answer::Run;
        run(line + "\r\n" + line); // asked once for the run, started twice
        QCOMPARE(asked, 2);
        QTRY_VERIFY(QFile::exists(ran));
        const auto arguments = [&ran] { // each word as written, upper-cased as keyword lines are
            QFile written(ran);
            return written.open(QIODevice::ReadOnly) ? written.readAll() : QByteArray();
        };
        QTRY_COMPARE(arguments().left(32), QByteArray("A; $(TOUCH PWNED)|`TOUCH|PWNED`|"));

        consent.setHiddenMode(true); // nobody to ask: only allowed programs
        run(line);
        QCOMPARE(asked, 2);
        s->SpeechFromClipboard = true;
        consent.setHiddenMode(false);
        run(line);
        QCOMPARE(asked, 2);
        QTest::qWait(300);
        QVERIFY(!QFile::exists(dir.filePath("PWNED")) && !QFile::exists("PWNED"));
    }

    void stopEndsPlayOverAndPlay()
    {
        QTemporaryDir dir;
        QFile wav(dir.filePath("Ding.wav"));
        QVERIFY(wav.open(QIODevice::WriteOnly));
        wav.write("RIFF");
        wav.close();
        s->TextFolder = dir.path();
        QCOMPARE(run("#PLAYOVER ding.wav\r\n#STOP\r\nnever"), QString());
        QCOMPARE(over->streams.size(), 1);
        QCOMPARE(s->PlayOverActive, 0);
        QVERIFY(!over->speaking); // the sound was purged with the stop
        // A #PLAY holds the next line until the sound has ended.
        editor->setText("#PLAY DING.WAV\r\nafter");
        s->CommandSpeech_Click();
        s->TimerSpeech_Timer();
        QCOMPARE(s->PlayActive, 1);
        s->TimerSpeech_Timer();
        QVERIFY(voice->spoken().isEmpty());
        voice->finish();
        s->TimerSpeech_Timer();
        s->TimerSpeech_Timer();
        QCOMPARE(s->PlayActive, 0);
        QCOMPARE(voice->spoken(), QStringList{"after"});
    }
};

TONARIS_TEST_MAIN(TestScripts)
#include "tst_scripts.moc"
