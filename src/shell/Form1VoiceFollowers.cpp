// What follows the voice each time one is bound: whether replies may be spoken (CheckIA), and
// the face of the talking character.
#include "shell/Form1.h"

#include <QCheckBox>

namespace tonaris {

void Form1::followBoundVoice(int voiceIndex)
{
    if (voiceIndex < 0 || voiceIndex >= VoiceCount())
        return;
    VoiceRecord &voice = Voices[voiceIndex];
    CheckIA->setEnabled(ReplyFitsVoice && ReplyFitsVoice(voice));
    if (!CheckShowCharacter->isChecked())
        return;
    // Three faces a gender, given out in turn; the fourth voice shares the first one's.
    const bool female = voice.Gender == QLatin1String("FEMALE");
    if (voice.CharacterPicture < 0) {
        int &last = m_lastCharacter[female ? 1 : 0];
        last = (last + 1) % 3;
        voice.CharacterPicture = qint16(last);
    }
    if (DrawCharacterIdle)
        DrawCharacterIdle(female, voice.CharacterPicture);
}

} // namespace tonaris
