#pragma once

#include <QMetaType>
#include <QString>

namespace tonaris {

// A point in a stream of engine PCM at which an event is due. The output raises it when the
// device has played up to that sample, so that highlighting follows the sound, not the synthesis.
struct AudioMarker
{
    enum Kind { StartStream, Word, Bookmark, EndStream };

    Kind kind = Word;
    qint64 sample = 0;     // engine-rate sample index; see AudioOutput::write for its origin
    int streamNumber = 0;  // the Speak call the marker belongs to
    int charPosition = 0;  // Word: 0-based position in the text as the caller gave it
    int length = 0;        // Word: characters of the word in that text
    QString bookmark;      // Bookmark: its name
};

} // namespace tonaris

Q_DECLARE_METATYPE(tonaris::AudioMarker)
