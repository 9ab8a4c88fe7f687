#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace tonaris {

// The exit statuses of a run, as --help and the manual list them.
enum ExitCode {
    ExitSuccess = 0,
    ExitFailure = 1,         // anything else: no display, a run cut short, ...
    ExitBadArguments = 2,    // an unknown option, a value out of range, a voice not installed
    ExitUnreadableInput = 3, // an input missing, unreadable or without text
    ExitCannotWrite = 4,     // the target could not be written (or its encoder is missing)
    ExitNoVoice = 5,         // no voice is installed at all
};

// The GNU-style options that scripts use, beside the slash switches of CommandLine:
//   --list-voices, --voice NAME, --rate N, --pitch N, --volume N, --format TEXT,
//   --config FILE, --inputs, --help, --version.
// They override the saved settings for one run and are never written back. "--" ends the
// options; "-" stays an argument (standard input or output). Everything that is not one of
// these options is left, in order, in `rest` for CommandLine::parse.
struct RunOptions
{
    bool help = false;
    bool version = false;
    bool listVoices = false;
    bool inputsOnly = false; // every name after /wav or /mp3 is an input
    QString voice;
    QString format;
    QString config;
    std::optional<int> rate, pitch, volume;
    QStringList rest;
    QString error; // not empty: the arguments are wrong, and this says why

    static RunOptions parse(const QStringList &arguments);
    // Whether the run changes what the settings say (then they are not written back).
    bool overridesSettings() const;
    // The overrides and --config as options again, for the runs a multi-file call starts.
    QStringList toArguments() const;
    static QString usage();
};

} // namespace tonaris
