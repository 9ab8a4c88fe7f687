// The speech loop and the scripts it runs, driven tick by tick on scripted engines and the real
// editor control.
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "config/ProgramConsent.h"
#include "session/SpeechSession.h"
#include "textprep/Text.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;
using tonaris::test::ScriptedEngine;

class TestSpeechSession : public QObject
{
    Q_OBJECT

private:
    SpeechSession *s = nullptr;
    Text *editor = nullptr;
    ScriptedEngine *voice = nullptr;
    ScriptedEngine *over = nullptr;

    QStringList answers; // what the recogniser of a script hears at each wait; "" times out

    void tick() { s->TimerSpeech_Timer(); }
    // Ticks, finishing each line as it sounds, until the session rests.
    void runToEnd()
    {
        for (int i = 0; i < 2000 && (s->SpeechState || s->SpeechRequest ||
                                     s->StatusDisplay != SpeechSession::DisplayReady);
             ++i) {
            QCoreApplication::processEvents(); // the recogniser's answers arrive between ticks
            tick();
            if (voice->speaking)
                voice->finish();
        }
    }
    // Runs a script to its end: the spoken lines, trimmed, joined by "|".
    QString run(const QString &text)
    {
        s->StartRecognition = [this](const QStringList &) {
            const QString heard = answers.isEmpty() ? QString() : answers.takeFirst();
            QMetaObject::invokeMethod(
                s, [this, heard] { s->RecognizedText = heard; }, Qt::QueuedConnection);
            return 1;
        };
        editor->setText(text);
        s->CommandSpeech_Click();
        runToEnd();
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
        s->TimerSpeech.stop(); // the test is the clock
        editor = new Text;
        voice = new ScriptedEngine;
        over = new ScriptedEngine;
        s->setEditor(editor);
        s->setVoices(voice, over);
        answers.clear();
    }
    void cleanup()
    {
        delete s;
        delete editor;
        delete voice;
        delete over;
    }

    void requestInEveryState_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("request");
        QTest::addColumn<int>("expectedState");
        QTest::addColumn<int>("expectedDisplay");

        // Rows: from state, request -> state and display after one tick. The session holds
        // two lines and the engine is sounding the first in states 1 and 2.
        const int R = SpeechSession::DisplayReady, P = SpeechSession::DisplayPaused,
                  S = SpeechSession::DisplayReproducing, G = SpeechSession::DisplayRecognizing,
                  F = SpeechSession::DisplaySaving;
        const int table[6][10] = {
            // display  r1  r2  r3  r4  r5  r6  r7  r8  r9
            {R, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {S, 1, 1, 0, 2, 1, 1, 1, 1, 1},
            {P, 2, 2, 0, 2, 1, 2, 2, 2, 2}, {P, 3, 3, 0, 3, 5, 3, 3, 3, 3},
            {F, 4, 4, 0, 4, 4, 4, 4, 4, 4}, {G, 5, 5, 0, 3, 5, 5, 5, 5, 5},
        };
        const int displayOf[6] = {R, S, P, P, F, G};
        for (int state = 0; state < 6; ++state)
            for (int request = 1; request <= 9; ++request) {
                const int next = table[state][request];
                // A bare step request shows nothing new: the start of a run does that.
                const int display = state == 0 && request == 2 ? R : displayOf[next];
                QTest::addRow("state %d, request %d", state, request)
                    << state << request << next << display;
            }
    }
    void requestInEveryState()
    {
        QFETCH(int, state);
        QFETCH(int, request);
        QFETCH(int, expectedState);
        QFETCH(int, expectedDisplay);

        s->SplitSpeechLines(QStringLiteral("one\r\ntwo"));
        s->SpeechLineIndex = 1;
        s->SpeechState = state;
        s->StatusDisplay = QList<int>{0, 3, 2, 2, 1, 4}[state];
        voice->speaking = state == 1 || state == 2;
        voice->paused = state == 2;
        s->SpeechText = QStringLiteral("fresh\r\ntext");
        s->RecognitionTicks = -1; // listening without a time-out
        QSignalSpy unload(s, &SpeechSession::unloadRequested);

        s->SpeechRequest = request;
        tick();

        QCOMPARE(s->SpeechState, expectedState);
        QCOMPARE(s->StatusDisplay, expectedDisplay);
        // Every request is consumed, but for the abort of a save, which the save step takes.
        if (!(state == 4 && request == 9))
            QVERIFY(s->SpeechRequest == 0 || s->SpeechRequest == 2);
        QCOMPARE(unload.count(), request == 8 ? 1 : 0);
        if (request == 3 && (state == 1 || state == 2)) {
            QVERIFY2(!voice->speaking, "a stop purges what sounds");
            QVERIFY2(!voice->paused, "a paused engine is resumed before the purge");
        }
        if (request == 3)
            QCOMPARE(s->SpeechLineCount, 0);
        QCOMPARE(voice->paused, expectedState == 2);
    }

    void wholeTextRun()
    {
        editor->setText(QStringLiteral("first line\r\n\r\n\tsecond line"));
        QSignalSpy display(s, &SpeechSession::displayChanged);
        s->CommandSpeech_Click();
        QCOMPARE(s->TimerSpeech.interval(), 1);
        tick();
        QCOMPARE(s->SpeechState, 1);
        QCOMPARE(voice->spoken(), QStringList{QStringLiteral("first line")});
        QVERIFY2(editor->Locked(), "the editor is locked while words are tracked");
        tick(); // still sounding: nothing moves
        QCOMPARE(voice->spoken().size(), 1);
        runToEnd();
        QCOMPARE(voice->spoken(),
                 (QStringList{QStringLiteral("first line"), QStringLiteral(" second line")}));
        QCOMPARE(s->StatusDisplay, int(SpeechSession::DisplayReady));
        QVERIFY(!editor->Locked());
        QCOMPARE(display.count(), 2); // Reproducing, then Ready: nothing in between
        // Behind the last line spoken the caret rests at the end of the text.
        QCOMPARE(editor->SelStart(), editor->Length());
        // Every line went with the persist flag, as tags hold for the run by default.
        QCOMPARE(voice->calls.last().flags, SVSFlagsAsync | SVSFIsXML | SVSFPersistXML);
    }

    void lineCommands_data()
    {
        QTest::addColumn<int>("command"); // of the list in lineCommands()
        QTest::addColumn<int>("caret");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("lineAfter"); // -1: not checked
        QTest::newRow("next line") << 0 << 0 << QStringList{"beta"} << 1;
        QTest::newRow("next on the last line repeats it") << 0 << 13 << QStringList{"gamma"} << 2;
        QTest::newRow("previous line") << 1 << 13 << QStringList{"beta"} << 1;
        QTest::newRow("previous on line 0 speaks line 0") << 1 << 0 << QStringList{"alpha"} << 0;
        QTest::newRow("current line") << 2 << 7 << QStringList{"beta"} << 1;
        QTest::newRow("from the cursor to the end") << 3 << 7 << QStringList{"beta", "gamma"} << 2;
        QTest::newRow("from here, mid-line") << 4 << 9 << QStringList{"ta", "gamma"} << -1;
    }
    void lineCommands()
    {
        QFETCH(int, command);
        QFETCH(int, caret);
        QFETCH(int, lineAfter);
        editor->setText(QStringLiteral("alpha\r\nbeta\r\ngamma"));
        editor->SetSelStart(caret);
        switch (command) {
        case 0:
            s->CommandSpeakNextLine_Click();
            break;
        case 1:
            s->CommandSpeakPrevLine_Click();
            break;
        case 2:
            s->CommandSpeakCurrentLine_Click();
            break;
        case 3:
            s->CommandSpeakFromThisLine_Click();
            break;
        default:
            s->menuSpeakFromHere_Click();
            break;
        }
        runToEnd();
        QTEST(voice->spoken(), "expected");
        if (lineAfter >= 0)
            QCOMPARE(editor->GetCurrentLineIndex(), lineAfter);
    }

    void lineCommandStopsAndGoesOnInOnePress()
    {
        editor->setText(QStringLiteral("alpha\r\nbeta\r\ngamma"));
        s->CommandSpeech_Click();
        tick();
        QCOMPARE(s->SpeechState, 1);
        editor->SetSelStart(editor->GetPosStartFromLineIndex(1));
        s->CommandSpeakCurrentLine_Click();
        QCOMPARE(s->SpeechRequest, 1);
        tick();
        QCOMPARE(voice->spoken().last(), QStringLiteral("beta"));
        // The speak-from-cursor button only stops; a second press starts.
        s->CommandSpeakFromThisLine_Click();
        tick();
        QCOMPARE(s->SpeechState, 0);
        s->CommandSpeakFromThisLine_Click();
        tick();
        QCOMPARE(s->SpeechState, 1);
    }

    void speakSelected()
    {
        editor->setText(QStringLiteral("alpha\r\nbeta gamma"));
        editor->SetSelStart(5); // across the break
        editor->SetSelLength(6);
        s->menuSpeakSelected_Click();
        runToEnd();
        QCOMPARE(voice->spoken(), QStringList{QStringLiteral("beta")});
        // An empty selection never starts a run.
        voice->calls.clear();
        editor->SetSelLength(0);
        s->SpeechStartLine = 0;
        s->menuSpeakSelected_Click();
        tick();
        QCOMPARE(s->SpeechState, 0);
        QVERIFY(voice->calls.isEmpty());
    }

    void pauseResumeAndStopFromPause()
    {
        editor->setText(QStringLiteral("one\r\ntwo"));
        s->CommandSpeech_Click();
        tick();
        s->CommandPauseResume_Click();
        tick();
        QCOMPARE(s->SpeechState, 2);
        QVERIFY(voice->paused && over->paused);
        s->CommandPauseResume_Click();
        tick();
        QCOMPARE(s->SpeechState, 1);
        QVERIFY(!voice->paused);
        s->CommandPauseResume_Click();
        tick();
        // Speak during a pause stops; the caret goes to the line being spoken.
        s->CommandSpeech_Click();
        tick();
        QCOMPARE(s->SpeechState, 0);
        QCOMPARE(s->StatusDisplay, int(SpeechSession::DisplayReady));
        QVERIFY(!voice->paused && !voice->speaking);
        QCOMPARE(editor->GetCurrentLineIndex(), 0);
    }

    void splitSpeechLines_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("lengths");
        QTest::addColumn<QList<int>>("offsets");

        QTest::newRow("empty") << QString() << QList<int>{} << QList<int>{};
        QTest::newRow("one line") << "abc" << QList<int>{3} << QList<int>{1};
        QTest::newRow("trailing break") << "ab\r\n" << QList<int>{2, 0} << QList<int>{1, 5};
        QTest::newRow("lone LF is no break") << "a\nb\r\nc" << QList<int>{3, 1} << QList<int>{1, 6};
        QTest::newRow("2500 characters")
            << QString(2500, 'x') + "\r\nend" << QList<int>{1024, 1024, 452, 3}
            << QList<int>{1, 1025, 2049, 2503};
        QTest::newRow("exactly 1024") << QString(1024, 'x') << QList<int>{1024} << QList<int>{1};
        QTest::newRow("1025") << QString(1025, 'x') << QList<int>{1024, 1} << QList<int>{1, 1025};
    }
    void splitSpeechLines()
    {
        QFETCH(QString, text);
        QFETCH(QList<int>, lengths);
        QFETCH(QList<int>, offsets);
        s->SplitSpeechLines(text);
        QCOMPARE(s->SpeechLineCount, lengths.size());
        QList<int> got;
        for (const QString &line : s->SpeechLines)
            got.append(int(line.size()));
        QCOMPARE(got, lengths);
        QCOMPARE(s->SpeechLineOffsets, offsets);
        s->SplitSpeechLines(QStringLiteral("a\tb"));
        QCOMPARE(s->SpeechLines.first(), QStringLiteral("a b"));
    }

    void wordTrackingFindsWordsAfterALongLine()
    {
        const QString longLine = QString(1100, 'y');
        editor->setText(QStringLiteral("first words\r\n") + longLine +
                        QStringLiteral("\r\nlast words"));
        s->CommandSpeech_Click();
        tick();
        voice->word(6, 5); // "words" of line 0
        QCOMPARE(editor->SelStart(), 6);
        QCOMPARE(editor->SelLength(), 5);
        for (int i = 0; i < 3; ++i) { // the long line is two entries
            voice->finish();
            tick();
            tick();
        }
        QCOMPARE(voice->spoken().last(), QStringLiteral("last words"));
        voice->word(5, 5);
        const int lastLineStart = editor->GetPosStartFromLineIndex(2);
        QCOMPARE(editor->SelStart(), lastLineStart + 5);
        QCOMPARE(editor->SelLength(), 5);

        // No tracking when the box is unchecked, nor after the run.
        s->CheckTracking = 0;
        editor->SetSelStart(0);
        voice->word(0, 4);
        QCOMPARE(editor->SelStart(), 0);
        s->CheckTracking = 1;
        runToEnd();
        voice->word(0, 4);
        QCOMPARE(editor->SelLength(), 0);
    }

    void stopReenteredFromInsideAStep()
    {
        editor->setText(QStringLiteral("one\r\ntwo\r\nthree"));
        voice->onSpeak = [this](const QString &text) {
            if (text == QLatin1String("two")) {
                s->SpeechRequest = SpeechSession::RequestStop;
                s->TimerSpeech_Timer();
            }
        };
        s->CommandSpeech_Click();
        runToEnd();
        QCOMPARE(s->SpeechState, 0);
        QCOMPARE(s->SpeechLineCount, 0);
        QVERIFY(!voice->spoken().contains(QStringLiteral("three")));
    }

    void waitHoldsSteppingButNotStop()
    {
        editor->setText(QStringLiteral("one\r\ntwo"));
        s->CommandSpeech_Click();
        tick();
        voice->finish();
        s->WaitActive = 1;
        s->WaitUntil = QDateTime::currentDateTime().addSecs(60);
        for (int i = 0; i < 5; ++i)
            tick();
        QCOMPARE(voice->spoken().size(), 1);
        s->CommandSpeech_Click();
        tick();
        QCOMPARE(s->WaitActive, 0);
        QCOMPARE(s->SpeechState, 0);
    }

    void hiddenRunEndsTheProgram()
    {
        s->HiddenMode = true;
        QSignalSpy unload(s, &SpeechSession::unloadRequested);
        editor->setText(QStringLiteral("one"));
        s->CommandSpeech_Click();
        runToEnd();
        QCOMPARE(unload.count(), 1);
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

    // The cases of a nested block are not the outer block's: the outer one has two.
    void nestedRandomRunsOneCase()
    {
        QSet<QString> seen;
        for (int i = 0; i < 60; ++i) {
            voice->calls.clear();
            seen.insert(run("#RANDOM\r\n#CASE\r\n#RANDOM\r\n#CASE\r\ninner1\r\n#CASE\r\ninner2\r\n"
                            "#END RANDOM\r\n#CASE\r\nouter\r\n#END RANDOM\r\nend"));
        }
        QCOMPARE(seen, (QSet<QString>{"inner1|end", "inner2|end", "outer|end"}));
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
        test::writeFile(dir.filePath("Other Script.txt"),
                        "second\r\n#VOICE English (America)\r\nthird");
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
        test::writeFile(tool, "#!/bin/sh\nprintf '%s|' \"$@\" >> \"$(dirname \"$0\")/ran.txt\"\n");
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
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
        test::writeFile(dir.filePath("Ding.wav"), "RIFF");
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

TONARIS_TEST_MAIN(TestSpeechSession)
#include "tst_speechsession.moc"
