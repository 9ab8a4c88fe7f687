#include "shell/TalkingCharacter.h"

#include "voices/VoiceCatalogue.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QSvgRenderer>

#include <cmath>

namespace tonaris {

namespace {
const char *const MouthFrames[] = {"idle", "mouth1", "mouth2", "mouth3"};
}

TalkingCharacter::TalkingCharacter(QWidget *parent)
    : QWidget(parent)
    , random([] { return QRandomGenerator::global()->generateDouble(); })
{
    setObjectName(QStringLiteral("PictureCharacter"));
    setFocusPolicy(Qt::NoFocus);
    setAccessibleName(QStringLiteral("Character"));
    setMinimumSize(56, 62);
}

QString TalkingCharacter::framePath(bool female, int index, const char *frame)
{
    return QStringLiteral(":/character/%1%2-%3.svg")
        .arg(female ? QStringLiteral("female") : QStringLiteral("male"))
        .arg(index)
        .arg(QLatin1String(frame));
}

void TalkingCharacter::draw(const char *frame)
{
    m_frame = framePath(m_female, face(), frame);
    update();
}

void TalkingCharacter::setPose(int pose)
{
    m_pose = pose;
    const int mouth = m_female ? pose - 2 : pose - 7; // 1..3, or below for the idle poses
    draw(MouthFrames[mouth >= 1 && mouth <= 3 ? mouth : 0]);
}

void TalkingCharacter::assignFace(VoiceRecord &voice)
{
    m_female = voice.Gender == QLatin1String("FEMALE");
    int &index = m_female ? m_femaleIndex : m_maleIndex;
    if (voice.CharacterPicture < 0) {
        index = (index + 1) % 3;
        voice.CharacterPicture = qint16(index);
    } else {
        index = voice.CharacterPicture % 3;
    }
    if (m_enabled)
        setPose(m_female ? PoseFemaleIdle : PoseMaleIdle);
}

void TalkingCharacter::AudioLevel(int level, int speechState, int currentVolume, bool quotedVoice,
                                  bool soundPlaying)
{
    if (!m_enabled || quotedVoice)
        return;
    if (soundPlaying)
        level = 0;
    if (speechState != 1)
        return;
    // The reported level follows the volume, so the steps do as well.
    const int third = int(std::lround(currentVolume / 3.0));
    int mouth = 0;
    if (level > 0)
        mouth = level < third ? 1 : level < 2 * third ? 2 : 3;
    const int pose = (m_female ? PoseFemaleIdle : PoseMaleIdle) + (mouth ? mouth + 1 : 0);
    if (pose != m_pose)
        setPose(pose);
}

void TalkingCharacter::tick(int speechState)
{
    if (!m_enabled || (speechState != 0 && speechState != 5))
        return;
    if (m_pose != PoseFemaleIdle && m_pose != PoseMaleIdle) {
        // The mouth was left open, or nothing is drawn yet.
        setPose(m_female ? PoseFemaleIdle : PoseMaleIdle);
        return;
    }
    ++m_blinkTicks;
    if (m_blinkTicks > m_nextBlinkTicks) {
        m_nextBlinkTicks = int(std::lround(random() * 36 + 5));
        m_blinkTicks = -2;
        draw("blink");
    }
    if (m_blinkTicks == -1)
        draw("idle");
}

void TalkingCharacter::setCharacterEnabled(bool on)
{
    m_enabled = on;
    if (!on) {
        m_pose = PoseNone;
        m_frame.clear();
        update();
    }
}

void TalkingCharacter::paintEvent(QPaintEvent *)
{
    if (m_frame.isEmpty())
        return;
    QSvgRenderer renderer(m_frame);
    QSizeF size = renderer.defaultSize();
    size.scale(QSizeF(this->size()), Qt::KeepAspectRatio);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    renderer.render(&p, QRectF(QPointF((width() - size.width()) / 2, 0), size));
}

} // namespace tonaris
