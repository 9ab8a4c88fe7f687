#pragma once

#include <QWidget>

#include <functional>

namespace tonaris {

struct VoiceRecord;

// The small face beside the editor: three male and three female characters whose mouth opens in
// three steps with the level of the sound heard, and who blink at random moments at rest. Each
// voice keeps the face it got when it was first selected. Decorative for a screen reader: named,
// never focused. UI thread only.
class TalkingCharacter : public QWidget
{
    Q_OBJECT
public:
    // Pose numbers: 0 nothing drawn, 1 female idle, 3..5 female mouth 1..3, 6 male idle,
    // 8..10 male mouth 1..3.
    enum Pose { PoseNone = 0, PoseFemaleIdle = 1, PoseMaleIdle = 6 };

    explicit TalkingCharacter(QWidget *parent = nullptr);

    // Gives the voice its face on its first selection (the next in the cycle of its gender) and
    // shows that face at rest.
    void assignFace(VoiceRecord &voice);
    // The level of the sound heard, 0..100. Moves the mouth only while speaking (state 1),
    // with the character on, no quoted-text voice in use and no sound file playing.
    void AudioLevel(int level, int speechState, int currentVolume, bool quotedVoice,
                    bool soundPlaying);
    // Every tick of the speech timer: back to rest after speech, and the blinking.
    void tick(int speechState);
    // CheckShowCharacter: off wipes the picture; on shows the face from the next tick.
    void setCharacterEnabled(bool on);

    bool characterEnabled() const { return m_enabled; }
    int pose() const { return m_pose; }
    bool female() const { return m_female; }
    int face() const { return m_female ? m_femaleIndex : m_maleIndex; }
    bool blinking() const { return m_blinkTicks == -2; }
    // The resource path of a frame: "idle", "mouth1".."mouth3" or "blink".
    static QString framePath(bool female, int index, const char *frame);

    // The source of chance for the blinks, 0 up to 1; tests set their own.
    std::function<double()> random;

    QSize sizeHint() const override { return {80, 88}; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void draw(const char *frame);
    void setPose(int pose);

    bool m_enabled = true;
    bool m_female = false;
    int m_pose = PoseNone;
    int m_femaleIndex = 2; // the first voice of a gender gets face 0
    int m_maleIndex = 2;
    int m_blinkTicks = 0;
    int m_nextBlinkTicks = 0;
    QString m_frame; // resource drawn now; empty: nothing
};

} // namespace tonaris
