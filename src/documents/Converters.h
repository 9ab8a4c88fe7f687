#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The external programs that turn documents into text and back: pdftotext, catdoc, antiword and
// LibreOffice. Internal to the documents folder. Use from the UI thread.
namespace tonaris::Converters {

// The program beside ours first, then on PATH; "" when there is none.
QString FindProgram(const QString &name);

struct Result
{
    bool started = false;  // false: the program could not be run at all
    bool finished = false; // false: it crashed or ran past the time limit and was killed
    int exitCode = -1;
    QByteArray output; // its standard output
    QByteArray errors; // its standard error
    bool ok() const { return started && finished && exitCode == 0; }
};

// Runs the program from an argument list (never a shell) and waits for it, serving the event
// loop without user input so that the window repaints. idle runs it at the lowest priority.
Result Run(const QString &program, const QStringList &arguments, int timeoutMs, bool idle = false);

// The office suite's command, "" when not installed.
QString OfficeProgram();

// Converts `input` with the office suite in headless mode and a private profile, so that an
// office window the user has open never takes the job. `filter` as "--convert-to" takes it
// ("doc", "txt:Text (encoded):UTF8"). Gives the converted file's bytes; false with a reason.
bool OfficeConvert(const QString &input, const QString &filter, const QString &extension,
                   QByteArray &out, QString &error);

} // namespace tonaris::Converters
