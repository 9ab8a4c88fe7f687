#pragma once

#include "voices/SpeechEngine.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace tonaris {

// A voice of a program that renders one text into a WAV file.
//
// In `info`, `language` holds the decimal language code ("1033" for US English, "2057" for
// British English), which is what the catalogue of this family compares.
struct ExternalVoice
{
    VoiceInfo info;
    QString program;       // a name looked up on PATH, or a path taken as it stands
    QStringList arguments; // already split; placeholders are filled per text (see below)
    QString voice;         // what {voice} stands for
    int speedMin = 100, speedDefault = 100, speedMax = 100; // the program's own units
    int pitchMin = 100, pitchDefault = 100, pitchMax = 100;
    // Audio format code of the WAV the program writes, when known; 10 (11 kHz 16 Bit Mono)
    // otherwise. A voice selected with the automatic format choice plays in this format.
    int formatCode = 10;

    // The text goes to standard input unless an argument names the {text} file.
    bool textOnStandardInput() const;
};

// Values a text is rendered with, in the program's units.
struct ExternalRenderValues
{
    QString textFile;
    QString outputFile;
    int speed = 100;
    int pitch = 100;
};

// Finding the voice programs of the machine. Everything here runs on the calling thread;
// discover() waits for `flite -lv` (a few milliseconds), so it belongs to start-up.
//
// The engines file (INI-like; `engines.ini` beside the settings) describes further voices, one
// section each; the section name is the voice's name. Lines starting with "#" or ";" are
// comments; a value is the rest of its line, trimmed, with no escapes:
//
//   [Lisa]
//   # a name without "/" is looked up on PATH
//   program=/usr/bin/espeak-ng
//   arguments=-v {voice} -s {speed} -p {pitch} -w {output} -f {text}
//   voice=en-us+f3
//   # a tag, or a decimal code such as 1033
//   language=en-us
//   # male (the default) or female
//   gender=female
//   vendor=eSpeak NG
//   age=30
//   description=eSpeak NG, US English, female
//   # minimum, default and maximum in the program's units
//   speed=80 175 450
//   pitch=0 50 99
//
// `arguments` is split at blanks outside double quotes before any placeholder is filled, so
// whatever a placeholder becomes stays one argument, blanks, quotes and "$(...)" included.
// Placeholders: {text} the UTF-8 text file (without it the text goes to standard input),
// {output} the WAV file to write, {voice}, {speed}, {pitch}; {speed/100} is the speed divided
// by 100 and {100/speed} 100 divided by it, as decimals (any number, also for pitch), for
// programs that take factors. Speed and pitch are 100 100 100 unless given. A section whose
// program is missing gives no voice.
namespace ExternalVoices {

// $XDG_CONFIG_HOME/tonaris/engines.ini; a portable installation passes its own.
QString defaultEnginesFile();
// $XDG_DATA_HOME/tonaris/piper, where `*.onnx` voices lie with their `.onnx.json`.
QString defaultPiperFolder();

// flite's voices, then piper's, then those of the engines file; names made unique.
QList<ExternalVoice> discover(const QString &enginesFile = defaultEnginesFile());

// The voices `program -lv` lists; none when the program is missing or fails.
QList<ExternalVoice> fliteVoices(const QString &program = QStringLiteral("flite"));
// The models of `folder` that have their `.onnx.json`; none when `program` is missing.
QList<ExternalVoice> piperVoices(const QString &folder = defaultPiperFolder(),
                                 const QString &program = QStringLiteral("piper"));
// Voices of an engines file; a missing file gives none. Lines that make no sense are skipped
// with a note in `warnings`.
QList<ExternalVoice> readEnginesFile(const QString &path, QStringList *warnings = nullptr);

// "1033" for "en-us" or "en_US", "1040" for "it"; a language alone gives its main country.
// Decimal text passes through; anything unknown gives "".
QString decimalLanguageCode(const QString &tagOrCode);

// The text as these programs should hear it: the plain text the tag interpreter leaves, so
// the tags it knows (and other well-formed markup) go, while text such as "x < 5", arrows or
// "<someone@example.com>" stays.
QString stripInlineTags(const QString &text);

// The voice's arguments with the placeholders filled.
QStringList fillArguments(const ExternalVoice &voice, const ExternalRenderValues &values);

} // namespace ExternalVoices

} // namespace tonaris
