#pragma once

#include <QObject>
#include <QString>

namespace tonaris::test {

// Call first in every test program: private settings and home, quiet audio logging.
void isolateEnvironment();

// A file of the shared corpus of books, or an empty string when the corpus is not there.
QString corpusFile(const QString &name);

// Writes a file (its folder must exist) and returns its path; a failure ends the test program.
QString writeFile(const QString &path, const QByteArray &bytes);

// A WAV file of a tone: integer PCM of 8 to 32 bits, or 32-bit floats.
QByteArray toneWav(int rate, int channels, int bits, int ms, double hz = 440, bool isFloat = false);

// The descendant of that name; a missing one ends the test program, naming it.
template <typename T> T *child(const QObject *parent, const char *name)
{
    T *found = parent->findChild<T *>(QLatin1String(name));
    if (!found)
        qFatal("no child %s", name);
    return found;
}

// Says a short text (espeak-ng, American English) into the test sound server's virtual
// microphone, as a person in a quiet room would: a second of faint noise first, from which a
// recogniser learns the level of the room. Returns once it has been played; false when a tool
// failed.
bool SayIntoMicrophone(const QString &text);

// Ends the test program with its status the way the program itself ends (see
// ExitWithoutAudioTeardown), after removing the private home.
[[noreturn]] void leaveProcess(int status);

} // namespace tonaris::test

// QTEST_MAIN and QTEST_GUILESS_MAIN, ending through leaveProcess.
#define TONARIS_TEST_MAIN_WITH(TestObject, Application)                                            \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        QTest::Internal::callInitMain<TestObject>();                                               \
        int status = 0;                                                                            \
        {                                                                                          \
            Application app(argc, argv);                                                           \
            Application::setAttribute(Qt::AA_Use96Dpi, true);                                      \
            TestObject tc;                                                                         \
            QTEST_SET_MAIN_SOURCE_PATH                                                             \
            status = QTest::qExec(&tc, argc, argv);                                                \
        }                                                                                          \
        tonaris::test::leaveProcess(status);                                                       \
    }
#if defined(QT_WIDGETS_LIB)
#define TONARIS_TEST_MAIN(TestObject) TONARIS_TEST_MAIN_WITH(TestObject, QApplication)
#else
#define TONARIS_TEST_MAIN(TestObject) TONARIS_TEST_MAIN_WITH(TestObject, QGuiApplication)
#endif
#define TONARIS_TEST_GUILESS_MAIN(TestObject) TONARIS_TEST_MAIN_WITH(TestObject, QCoreApplication)
