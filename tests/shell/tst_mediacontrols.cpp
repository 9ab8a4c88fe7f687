// The desktop's media controls drive the reader over a private session bus, as a desktop's
// sound menu does with dbus-send's calls, and see the line being read as the title.
#include "ScriptedWindow.h"
#include "TestSupport.h"
#include "session/SpeechSession.h"
#include "shell/MediaControls.h"
#include "textprep/Text.h"

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace tonaris;

class TestMediaControls : public QObject, tonaris::test::ScriptedWindow
{
    Q_OBJECT

    QProcess m_bus;

    // dbus-send to our name, waited for while the window serves the call; its output.
    QString send(const QStringList &arguments)
    {
        QProcess p;
        p.start(
            QStringLiteral("dbus-send"),
            QStringList{QStringLiteral("--session"), QStringLiteral("--print-reply"),
                        QStringLiteral("--dest=") + w->findChild<MediaControls *>()->serviceName(),
                        QStringLiteral("/org/mpris/MediaPlayer2")} +
                arguments);
        if (!QTest::qWaitFor([&] { return p.state() == QProcess::NotRunning; }, 10000))
            return QStringLiteral("no reply");
        return QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError());
    }
    QString player(const char *method)
    {
        return send({QStringLiteral("org.mpris.MediaPlayer2.Player.") + QLatin1String(method)});
    }
    QString property(const char *name)
    {
        return send({QStringLiteral("org.freedesktop.DBus.Properties.Get"),
                     QStringLiteral("string:org.mpris.MediaPlayer2.Player"),
                     QStringLiteral("string:") + QLatin1String(name)});
    }
    int state() const { return w->session().SpeechState; }
    QString lastSpoken() const
    {
        return voice->calls.isEmpty() ? QString() : voice->calls.last().text;
    }

private slots:
    void initTestCase()
    {
        test::isolateEnvironment();
        // A bus of our own, so that the test never meets a desktop's player.
        m_bus.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--session"), QStringLiteral("--nofork"),
                     QStringLiteral("--print-address")});
        QVERIFY2(m_bus.waitForReadyRead(10000), "dbus-daemon did not start");
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    }
    void cleanupTestCase()
    {
        closeWindow();
        m_bus.kill();
        m_bus.waitForFinished();
    }

    void mediaKeysDriveTheReading()
    {
        QVERIFY(openWindow());
        const auto *media = w->findChild<MediaControls *>();
        QVERIFY(media);
        QCOMPARE(media->serviceName(), QStringLiteral("org.mpris.MediaPlayer2.tonaris"));
        Text *editor = w->Text1;
        editor->setText(QStringLiteral("First line.\r\nSecond line.\r\nThird line."));
        editor->SetSelStart(0);
        QVERIFY(property("PlaybackStatus").contains(QLatin1String("\"Stopped\"")));

        player("PlayPause");
        QTRY_COMPARE(state(), int(SpeechSession::StateSpeaking));
        QTRY_VERIFY(lastSpoken().contains(QLatin1String("First line.")));
        QVERIFY(property("PlaybackStatus").contains(QLatin1String("\"Playing\"")));
        QVERIFY(property("Metadata").contains(QLatin1String("First line.")));

        player("Pause");
        QTRY_COMPARE(state(), int(SpeechSession::StatePaused));
        QVERIFY(property("PlaybackStatus").contains(QLatin1String("\"Paused\"")));
        player("Play");
        QTRY_COMPARE(state(), int(SpeechSession::StateSpeaking));

        player("Stop");
        QTRY_COMPARE(state(), int(SpeechSession::StateIdle));
        QVERIFY(property("PlaybackStatus").contains(QLatin1String("\"Stopped\"")));

        // Next and previous read one line each, as F8 and F6 do.
        editor->SetSelStart(0);
        player("Next");
        QTRY_VERIFY(lastSpoken().contains(QLatin1String("Second line.")));
        voice->speaking = false;
        QTRY_COMPARE(state(), int(SpeechSession::StateIdle));
        player("Previous");
        QTRY_VERIFY(lastSpoken().contains(QLatin1String("First line.")));
    }
};

TONARIS_TEST_MAIN(TestMediaControls)
#include "tst_mediacontrols.moc"
