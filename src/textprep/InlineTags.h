#pragma once

#include <QString>

namespace tonaris {

// The inline tags the program writes itself, and the one rewrite it makes of a spoken line:
// quoted passages wrapped in the tags of a second voice. The markup is the engine's; nothing
// here checks a value. All functions are pure and reentrant.

// Heads and tails of the tags, spelled exactly; the value always stands in double quotes.
inline constexpr char16_t QuoteCharacter = u'"';
inline const QString TagVolumeHead = QStringLiteral("<VOLUME LEVEL=");
inline const QString TagSpeedHead = QStringLiteral("<RATE ABSSPEED=");
inline const QString TagPitchHead = QStringLiteral("<PITCH ABSMIDDLE=");
inline const QString TagSilenceHead = QStringLiteral("'<SILENCE MSEC=");
inline const QString TagVoiceHead = QStringLiteral("<VOICE REQUIRED=");
inline const QString TagEmptyTail = QStringLiteral("/>");
inline const QString TagSilenceTail = QStringLiteral("/>'");

// `'<SILENCE MSEC="n"/>'`, the form of every silence the program writes.
QString SilenceTag(int milliseconds);

// What a run starts with, so that tag state persisted by the last run is gone: pitch back to the
// slider's value, full volume, normal rate.
QString ResetTagsText(int pitch);

// The left `position` characters of `text`, then `insertion`, then the rest; "" for a position
// below 0 or beyond the text.
QString StringInsertAt(int position, const QString &text, const QString &insertion);

// The second voice of quoted passages.
struct QuotedVoice
{
    QString name; // the voice's name as the engine lists it
    int speed = 0;
    int pitch = 0;
};

// The paired tags around a quoted passage.
QString QuotedOpening(const QuotedVoice &voice);
QString QuotedClosing();

// Wraps each passage between two double quotes, and each between « and », in the tags of the
// second voice; the quote characters stay inside the tags. A double quote that follows one of
// the program's own attribute heads (volume, silence, rate, pitch) at column 15 or later stops
// the wrapping of double quotes for the rest of the line: a line that begins with such a tag
// keeps its markup, and its quoted passages are read by the main voice. Angle quotes are always
// wrapped. Returns true when anything was wrapped; the caller then speaks the line without
// persisting its tags.
bool WrapQuotedText(QString &In_Out_Text, const QuotedVoice &voice);

// The six tags of the editor's "Insert special TAG" menu.
enum class SpecialTag { Silence, Volume, Speed, Pitch, Spell, Emphasize };

// A tag written at the caret of the editor: its text, and afterwards the selection that covers
// its value so that typing replaces it. selStart counts from the caret; selLength -1 leaves the
// selection's length as the editor has it.
struct TagWrite
{
    QString text;
    int selStart = 0;
    int selLength = -1;
};
TagWrite SpecialTagWrite(SpecialTag tag);

} // namespace tonaris
