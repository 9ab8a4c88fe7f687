// The speech loop driven tick by tick on a scripted engine and the real editor control.
#include "ScriptedEngine.h"
#include "TestSupport.h"
#include "session/SpeechSession.h"
#include "textprep/Text.h"

#include <QApplication>
#include <QSignalSpy>
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

    void tick() { s->TimerSpeech_Timer(); }
    // Ticks until the engine is asked for nothing more and the session rests.
    void runToEnd()
    {
        for (int i = 0; i < 100 && (s->SpeechState != 0 || s->SpeechRequest != 0); ++i) {
            tick();
            if (voice->speaking)
                voice->finish();
        }
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
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("caretLine");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("caretAfter");

        QTest::newRow("next line") << "next" << 0 << QStringList{"beta"} << 1;
        QTest::newRow("next on the last line repeats it")
            << "next" << 2 << QStringList{"gamma"} << 2;
        QTest::newRow("previous line") << "prev" << 2 << QStringList{"beta"} << 1;
        QTest::newRow("previous on line 0 speaks line 0")
            << "prev" << 0 << QStringList{"alpha"} << 0;
        QTest::newRow("current line") << "current" << 1 << QStringList{"beta"} << 1;
        QTest::newRow("from the cursor to the end")
            << "fromcursor" << 1 << QStringList{"beta", "gamma"} << 3;
        QTest::newRow("from here, mid-line") << "fromhere" << 1 << QStringList{"ta", "gamma"} << -1;
    }
    void lineCommands()
    {
        QFETCH(QString, command);
        QFETCH(int, caretLine);
        QFETCH(QStringList, expected);
        QFETCH(int, caretAfter);

        editor->setText(QStringLiteral("alpha\r\nbeta\r\ngamma"));
        editor->SetSelStart(editor->GetPosStartFromLineIndex(caretLine) +
                            (command == "fromhere" ? 2 : 0));
        if (command == "next")
            s->CommandSpeakNextLine_Click();
        else if (command == "prev")
            s->CommandSpeakPrevLine_Click();
        else if (command == "current")
            s->CommandSpeakCurrentLine_Click();
        else if (command == "fromcursor")
            s->CommandSpeakFromThisLine_Click();
        else
            s->menuSpeakFromHere_Click();
        runToEnd();
        QCOMPARE(voice->spoken(), expected);
        if (caretAfter >= 0)
            QCOMPARE(editor->GetCurrentLineIndex(), std::min(caretAfter, editor->LineCount() - 1));
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

    void endStreamShortensTheWait()
    {
        s->TimerSpeech.start();
        voice->finish();
        QCOMPARE(s->TimerSpeech.interval(), 1);
        tick();
        QCOMPARE(s->TimerSpeech.interval(), 100);
        s->TimerSpeech.stop();
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
};

TONARIS_TEST_MAIN(TestSpeechSession)
#include "tst_speechsession.moc"
