#pragma once

#include <QString>
#include <QStringList>

namespace tonaris {

// What the program was asked to do on its command line:
//   tonaris [/hidden] FILE                 open FILE in the editor
//   tonaris [/hidden] /play FILE           open FILE and read it aloud, minimised
//   tonaris [/hidden] /wav|/mp3 FILE [OUT] render FILE to OUT (default FILE without extension)
//   tonaris [/hidden] /wav|/mp3 FILE FILE FILE... render each FILE beside itself (also with two
//                                          files when inputsOnly)
// "/hidden" may stand anywhere, in any case, and hides the window; switches compare without
// regard to case. A line that fits no row is ignored: the program starts as without one.
struct CommandLine
{
    enum Action { None, Open, Play, Save };

    Action action = None;
    bool hidden = false;
    bool help = false;    // "--help", "-h" or "/?": print usage() and end
    bool ignored = false; // there were arguments, but they fit no row
    QString file;         // the input
    QStringList files;    // the inputs of a save of several, each beside itself; else empty
    QString output;       // the target of a save, without the extension the save appends
    int outputFormat = 0; // 0 MP3, 1 WAV

    // Arguments as the program received them, without the program's own name.
    static CommandLine parse(const QStringList &arguments, bool inputsOnly = false);
    static QString usage();
};

} // namespace tonaris
