#pragma once

#include <QString>
#include <QStringList>

// Runs one child program at a time for the encoder, the PDF reader and the restart, and opens
// documents with the desktop's handler. Programs are always started from an argument list,
// never through a shell, so a file name cannot smuggle in a command. Use from the UI thread.
namespace tonaris::KelStartProgram {

enum class Priority { Normal, Idle };

// Starts `program` with `arguments`. A name without "/" is looked up on PATH; anything else is
// that very file, whatever characters it holds. Hidden (`show` false) gives the child /dev/null
// for its standard streams; otherwise it shares ours. Idle gives the child nice 19 and the idle
// scheduling class: before exec when waited for, a moment after exec otherwise.
// With `wait`, returns only when the child has ended, serving the event loop meanwhile so that
// an abort button can call KillProgram. Without it the child is left to run on its own, also
// past our exit. Gives the child's process id, or 0 when it did not start, the program is not an
// executable file, or a waited-for child is still running (one at a time).
qint64 StartProgram(const QString &program, const QStringList &arguments, bool wait, bool show,
                    Priority priority = Priority::Normal);

// The same from a command line: if it neither starts nor ends with a double quote, the whole
// text is the program (so an unquoted path with blanks still works); otherwise it is split by
// KelPathManager::SplitPathArguments into program and arguments.
qint64 StartProgram(const QString &commandLine, bool wait, bool show,
                    Priority priority = Priority::Normal);

// Ends the child being waited for, if any; StartProgram then returns.
void KillProgram();

// The process id of the child being waited for, 0 when there is none.
qint64 RunningChild();

// Exit code of the last child waited for; -1 when it was killed, crashed or did not start.
int LastExitCode();

// Opens a file or folder with the desktop's handler (xdg-open, else gio open). False when it does
// not exist or no handler could be started; a handler that later fails is not noticed.
bool OpenDocument(const QString &path);

// What a text's request to "open" something does: an executable file is started on its own with
// `arguments`, anything else goes to OpenDocument. False when nothing could be started.
bool ExecuteOrOpen(const QString &path, const QStringList &arguments = {});

} // namespace tonaris::KelStartProgram
