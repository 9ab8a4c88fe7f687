#pragma once

#include <QList>
#include <QString>

namespace tonaris {

// What inline tags have set at a point of a text. Rate and pitch are on the -10..10 scale of the
// tags and add to the engine's own rate; volume is a percentage of the engine's volume.
struct TagState
{
    int volume = 100;       // 0..100
    int rate = 0;           // -10..10, added to the engine's Rate
    int pitch = 0;          // -10..10, 0 is the voice's middle
    QString voiceRequired;  // attributes of <VOICE REQUIRED=...>, e.g. "Name=English (America)"
    QString voiceOptional;  // attributes of <VOICE OPTIONAL=...>
    bool spell = false;     // inside <SPELL>
    int emphasis = 0;       // nesting depth of <EMPH>

    bool operator==(const TagState &) const = default;
};

// A piece of a text to render with one state.
struct SpeechSegment
{
    enum Kind { Text, Silence, Bookmark };

    Kind kind = Text;
    QString text;            // Text: what to synthesise, markup removed and entities decoded
    QList<int> sourcePos;    // Text: for each character of text, its 0-based position in the input
    int silenceMs = 0;       // Silence
    QString bookmark;        // Bookmark: the mark's name
    int sourceStart = 0;     // 0-based position in the input where the segment starts
    TagState state;

    bool operator==(const SpeechSegment &) const = default;
};

// Interprets the markup that the speaking functions send: the empty and paired forms of VOLUME,
// RATE, PITCH, SILENCE, VOICE, SPELL, EMPH and BOOKMARK, tag names and attribute names in any
// case. Unknown tags are dropped, text that is not well-formed markup is kept as text, and no
// input makes it fail.
//
// start is the state the text begins with. The result's final state is what empty-form tags at
// the top level have set; paired tags end with their closing tag or with the text.
struct TagParseResult
{
    QList<SpeechSegment> segments;
    TagState finalState;
};

TagParseResult InterpretTags(const QString &input, const TagState &start);

// The same input taken as plain text: one Text segment, no tag recognised.
TagParseResult PlainTextSegments(const QString &input, const TagState &start);

} // namespace tonaris
