// What follows the voice each time one is bound: whether replies may be spoken (CheckIA), and
// the face of the talking character.
#include "shell/Form1.h"

#include "shell/TalkingCharacter.h"

#include <QCheckBox>

namespace tonaris {

void Form1::followBoundVoice(int voiceIndex)
{
    if (voiceIndex < 0 || voiceIndex >= VoiceCount())
        return;
    VoiceRecord &voice = Voices[voiceIndex];
    CheckIA->setEnabled(ReplyFitsVoice && ReplyFitsVoice(voice));
    PictureCharacter->assignFace(voice);
}

} // namespace tonaris
