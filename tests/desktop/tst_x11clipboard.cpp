// "Get Clipboard" on a real X server (Xvfb): texts copied by another program (xclip) are
// spoken by the real voice into the test sound server's null sink.
#include "AudioCapture.h"
#include "TestSupport.h"
#include "session/SpeechSession.h"
#include "shell/Form1.h"

#include <QApplication>
#include <QCheckBox>
#include <QImage>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;
using tonaris::test::AudioCapture;

class TestX11Clipboard : public QObject
{
    Q_OBJECT

    Form1 *w = nullptr;
    QTemporaryDir m_dir;

    // Copies as another program does: xclip keeps serving the selection in the background.
    bool copy(const QString &text, const char *type = "text/plain")
    {
        QProcess xclip;
        if (qstrcmp(type, "text/plain") == 0) {
            xclip.start(QStringLiteral("xclip"),
                        {QStringLiteral("-selection"), QStringLiteral("clipboard")});
            xclip.waitForStarted();
            xclip.write(text.toUtf8());
        } else {
            xclip.start(QStringLiteral("xclip"),
                        {QStringLiteral("-selection"), QStringLiteral("clipboard"),
                         QStringLiteral("-t"), QLatin1String(type), text});
            xclip.waitForStarted();
        }
        xclip.closeWriteChannel();
        return xclip.waitForFinished(10000) && xclip.exitCode() == 0;
    }
    // Two looks at the clipboard (one a second, on the speech timer's ticks).
    void waitTwoLooks()
    {
        QSignalSpy ticks(&w->session(), &SpeechSession::ticked);
        QTRY_VERIFY_WITH_TIMEOUT(ticks.size() >= 21, 10000);
    }
    int state() const { return w->session().SpeechState; }

private slots:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs an X server (run under xvfb-run)");
        if (!AudioCapture::serverReachable())
            QSKIP("needs the test sound server");
        test::isolateEnvironment();
        w = new Form1;
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
        QVERIFY(copy(QStringLiteral("there before")));
        w->findChild<QCheckBox *>(QStringLiteral("CheckGetClipboard"))->setChecked(true);
        QTRY_COMPARE_WITH_TIMEOUT(w->LastClipboardText, QStringLiteral("there before"), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateIdle), 20000);
    }
    void cleanupTestCase() { delete w; }

    void copiedTextIsHeardOnce()
    {
        AudioCapture capture;
        QString error;
        QVERIFY2(capture.start(&error), qPrintable(error));
        QVERIFY(copy(QStringLiteral("Copied in another program.")));
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateSpeaking), 5000);
        QVERIFY(w->session().SpeechFromClipboard);
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateIdle), 20000);
        QVERIFY(capture.stop());
        const auto spans = capture.soundSpans();
        QVERIFY(!spans.isEmpty());
        qint64 heard = 0;
        for (const auto &span : spans)
            heard += span.length();
        QVERIFY2(AudioCapture::msFromFrames(heard) > 700, "too little speech was heard");

        // The same text copied again is not spoken again.
        QVERIFY(copy(QStringLiteral("Copied in another program.")));
        waitTwoLooks();
        QCOMPARE(state(), int(SpeechSession::StateIdle));
    }

    // A picture clears the last text, so the old text copied after it speaks again; nothing is
    // taken while a save runs.
    void pictureThenOldTextAndSaving()
    {
        const QString png = m_dir.filePath(QStringLiteral("picture.png"));
        QImage(8, 8, QImage::Format_RGB32).save(png);
        QVERIFY(copy(png, "image/png"));
        QTRY_COMPARE_WITH_TIMEOUT(w->LastClipboardText, QString(), 5000);
        QVERIFY(copy(QStringLiteral("Copied in another program.")));
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateSpeaking), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateIdle), 20000);

        w->session().SpeechState = SpeechSession::StateSaving;
        QVERIFY(copy(QStringLiteral("Copied while saving.")));
        waitTwoLooks();
        QCOMPARE(w->LastClipboardText, QStringLiteral("Copied in another program."));
        w->session().SpeechState = SpeechSession::StateIdle;
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateSpeaking), 5000);
        QCOMPARE(w->LastClipboardText, QStringLiteral("Copied while saving."));
        QTRY_COMPARE_WITH_TIMEOUT(state(), int(SpeechSession::StateIdle), 20000);
    }
};

TONARIS_TEST_MAIN_WITH(TestX11Clipboard, QApplication)
#include "tst_x11clipboard.moc"
