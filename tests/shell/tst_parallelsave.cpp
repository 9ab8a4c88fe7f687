// A save rendered by several helper processes at once writes the same samples as one helper
// rendering everything in turn: voices, persistent tags, waits, sounds played into the file and
// volumes included.
#include "TestSupport.h"
#include "audio/PcmFormat.h"
#include "audio/WavWriter.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace {

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
}

} // namespace

class TestParallelSave : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_program;
    QString m_text;

    // The files a hidden save of the text writes into a folder of its own, name and checksum.
    QMap<QString, QByteArray> save(const QString &settings, int helpers)
    {
        const QString out = m_dir.filePath(QStringLiteral("out %1 %2").arg(settings).arg(helpers));
        QDir().mkpath(out);
        // Each run starts from the same settings: a run writes back what it read.
        const QString ini = out + QStringLiteral(".ini");
        QFile::copy(m_dir.filePath(settings), ini);
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_dir.path());
        env.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
        env.insert(QStringLiteral("TONARIS_RENDER_JOBS"), QString::number(helpers));
        p.setProcessEnvironment(env);
        p.start(m_program, {QStringLiteral("--config"), ini, QStringLiteral("/hidden"),
                            QStringLiteral("/wav"), m_text, out + QStringLiteral("/book")});
        if (!p.waitForFinished(120000) || p.exitStatus() != QProcess::NormalExit ||
            p.exitCode() != 0) {
            p.kill();
            qWarning() << p.readAllStandardError();
            return {};
        }
        QMap<QString, QByteArray> files;
        for (QDirIterator it(out, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
             it.hasNext();) {
            QFile f(it.next());
            if (f.open(QIODevice::ReadOnly))
                files.insert(QDir(out).relativeFilePath(it.filePath()),
                             QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha1));
        }
        return files;
    }

private slots:
    void initTestCase()
    {
        m_program = QCoreApplication::applicationDirPath() + QStringLiteral("/../tonaris");
        if (!QFileInfo(m_program).isExecutable())
            QSKIP("the program is not built");
        // A short tone played into the file.
        tonaris::WavWriter tone;
        QVERIFY(tone.open(m_dir.filePath(QStringLiteral("tone $1.wav")), tonaris::EnginePcmFormat));
        QList<qint16> samples(4410);
        for (qsizetype i = 0; i < samples.size(); ++i)
            samples[i] = qint16(8000 * std::sin(double(i) * 0.12));
        tone.write(reinterpret_cast<const char *>(samples.constData()), samples.size() * 2);
        QVERIFY(tone.close());
        // Some 12000 characters of a book, enough for several runs of each helper, with the
        // lines that change how the following ones sound.
        QFile book(tonaris::test::corpusFile(QStringLiteral("devils-dictionary.txt")));
        QVERIFY(book.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = book.readAll().mid(20000, 12000).split('\n');
        QByteArray text;
        for (qsizetype i = 0; i < lines.size(); ++i) {
            switch (i % 40) {
            case 5:
                text += "#VOICE English (America), male\r\n";
                break;
            case 10:
                text += "<pitch absmiddle=\"6\"/><rate speed=\"3\"/>Persistent tags begin.\r\n";
                break;
            case 15:
                text += "#WAIT 1\r\n";
                break;
            case 20:
                text += "#PLAY " + m_dir.filePath(QStringLiteral("tone $1.wav")).toUtf8() + "\r\n";
                break;
            case 25:
                text += "#VOICE English (Great Britain), female\r\n<volume level=\"60\"/>\r\n";
                break;
            case 30:
                text += "<spell>ABC</spell> and <emph>this</emph>.\r\n";
                break;
            case 35:
                text += "#BREAK\r\n";
                break;
            }
            text += lines.at(i) + '\n';
        }
        m_text = m_dir.filePath(QStringLiteral("book.txt"));
        QVERIFY(writeFile(m_text, text));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("whole.ini")),
                          "[Settings]\r\nTAGValidityOnlyForCurrentLine=False\r\n"
                          "AddInitialAndFinalSilence=True\r\nSplitMp3Size=0\r\n"));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("volumes.ini")),
                          "[Settings]\r\nTAGValidityOnlyForCurrentLine=False\r\n"
                          "SpeakVolumeTitleAndVolumeNumber=True\r\nSplitMp3Size=1\r\n"));
    }

    void sameSamples_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<int>("files");
        QTest::newRow("one file") << "whole.ini" << 1;
        QTest::newRow("volumes of 5000 characters, and #BREAK") << "volumes.ini" << 4;
    }

    void sameSamples()
    {
        QFETCH(QString, settings);
        QFETCH(int, files);
        const QMap<QString, QByteArray> alone = save(settings, 1);
        QVERIFY(alone.size() >= files);
        for (const QString &name : alone.keys())
            QVERIFY2(name.endsWith(QLatin1String(".wav")) && !name.startsWith(u'.'),
                     qPrintable(name));
        QCOMPARE(save(settings, 2), alone);
    }
};

QTEST_GUILESS_MAIN(TestParallelSave)
#include "tst_parallelsave.moc"
