// Start-up without a working speech engine: one message names espeak-ng and the window goes.
// A program of its own, since the engine starts once per process.
#include "RecordingDialogs.h"
#include "TestSupport.h"
#include "config/CommandLine.h"
#include "config/Dialogs.h"
#include "shell/Form1.h"
#include "textprep/Text.h"

#include <QAction>
#include <QTemporaryDir>
#include <QTest>

using namespace tonaris;

class TestStartupFailure : public QObject
{
    Q_OBJECT

    test::RecordingDialogs dialogs;
    QTemporaryDir noData;

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        Dialogs::install(&dialogs);
        qputenv("ESPEAK_DATA_PATH", noData.path().toLocal8Bit()); // no voice data there
    }

    void missingEngineStopsStartUp()
    {
        Form1 w;
        w.show();
        QVERIFY(!dialogs.messages.isEmpty());
        QVERIFY(dialogs.messages.first().startsWith(QStringLiteral("Tonaris can't start.\r\n")));
        QVERIFY(dialogs.messages.first().contains(QStringLiteral("espeak-ng")));
        QVERIFY(!w.Text1->isEnabled());
        QTRY_VERIFY(!w.isVisible());          // unloaded as soon as the event loop runs
        QCOMPARE(dialogs.messages.size(), 1); // neither "no voices" nor "no devices" follows
        // A command line is not acted on, and a hidden run ends with status 1.
        QVERIFY(!w.RunCommandLine(CommandLine::parse(
            {QStringLiteral("/hidden"), QStringLiteral("/wav"), QStringLiteral("a.txt")})));
        QCOMPARE(w.ExitStatus(), 1);
    }
};

TONARIS_TEST_MAIN(TestStartupFailure)
#include "tst_startupfailure.moc"
