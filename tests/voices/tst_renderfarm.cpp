// The render helpers of a save into a file, seen from the engine: a purge (an abort) ends every
// helper and leaves no file of theirs, and helpers that die leave the rest of the file to this
// process, with nothing lost.
#include "TestSupport.h"
#include "audio/AudioOutput.h"
#include "voices/EspeakEngine.h"
#include "voices/RenderFarm.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace tonaris;

namespace {

// The render helpers of this process and their children, by process number.
QList<qint64> helpers()
{
    QMap<qint64, qint64> parents; // of every render helper on the machine
    for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        if (!cmdline.open(QIODevice::ReadOnly) || !status.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> args = cmdline.readAll().split('\0');
        if (args.size() < 2 || args.at(1) != "--render-worker")
            continue;
        const QByteArray all = status.readAll();
        const qsizetype at = all.indexOf("PPid:") + 5;
        parents.insert(pid.toLongLong(),
                       all.mid(at, all.indexOf('\n', at) - at).trimmed().toLongLong());
    }
    QList<qint64> found;
    for (auto it = parents.begin(); it != parents.end(); ++it) {
        const qint64 parent = it.value();
        if (parent == QCoreApplication::applicationPid() ||
            parents.value(parent, 0) == QCoreApplication::applicationPid())
            found.append(it.key());
    }
    return found;
}

qint64 dataBytes(const QString &wav)
{
    return QFileInfo(wav).size() - 44;
}

} // namespace

class TestRenderFarm : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_text;

private slots:
    void initTestCase()
    {
        const QString program =
            QCoreApplication::applicationDirPath() + QStringLiteral("/../tonaris");
        if (!QFileInfo(program).isExecutable())
            QSKIP("the program is not built");
        AudioOutput::setDevicesWanted(false);
        RenderFarm::setWorkerProgram(program);
        qputenv("TONARIS_RENDER_JOBS", "2");
        QFile book(test::corpusFile(QStringLiteral("news-from-nowhere.txt")));
        QVERIFY(book.open(QIODevice::ReadOnly));
        m_text = QString::fromUtf8(book.readAll().mid(30000, 20000));
    }

    void endOfHelpers_data()
    {
        QTest::addColumn<bool>("abort");
        QTest::newRow("abort") << true;
        QTest::newRow("helpers killed") << false;
    }

    void endOfHelpers()
    {
        QFETCH(bool, abort);
        const QString folder = m_dir.filePath(QString::number(abort));
        QVERIFY(QDir().mkpath(folder));
        const QString wav = folder + QStringLiteral("/out.wav");
        EspeakEngine engine;
        QVERIFY(engine.OpenOutputFile(wav));
        const QStringList lines = m_text.split(QLatin1Char('\n'));
        for (const QString &line : lines)
            engine.Speak(line, SVSFlagsAsync | SVSFIsXML);
        QTRY_VERIFY_WITH_TIMEOUT(helpers().size() >= 2, 20000);
        if (abort) {
            engine.Speak(QStringLiteral(" "), SVSFPurgeBeforeSpeak);
        } else {
            for (const qint64 pid : helpers())
                ::kill(pid_t(pid), SIGKILL);
        }
        QTRY_VERIFY_WITH_TIMEOUT(helpers().isEmpty(), 5000);
        QVERIFY(engine.WaitUntilDone(120000));
        const qint64 written = dataBytes(wav);
        QVERIFY(engine.CloseOutputFile());
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{"out.wav"});
        if (abort)
            return;
        // Every line is in the file: about as long as the same lines rendered here alone.
        qputenv("TONARIS_RENDER_JOBS", "0");
        const QString alone = folder + QStringLiteral("/alone.wav");
        QVERIFY(engine.OpenOutputFile(alone));
        for (const QString &line : lines)
            engine.Speak(line, SVSFlagsAsync | SVSFIsXML);
        QVERIFY(engine.CloseOutputFile());
        qputenv("TONARIS_RENDER_JOBS", "2");
        QVERIFY2(std::abs(written - dataBytes(alone)) < dataBytes(alone) / 50,
                 qPrintable(QStringLiteral("%1 against %2").arg(written).arg(dataBytes(alone))));
    }
};

QTEST_GUILESS_MAIN(TestRenderFarm)
#include "tst_renderfarm.moc"
