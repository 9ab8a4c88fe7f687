#include "shell/FormQuotedTextOptions.h"

#include "config/MultiLang.h"
#include "shell/Form1.h"
#include "shell/LevelSlider.h"
#include "shell/TranslateForm.h"
#include "textprep/InlineTags.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

namespace {
QGroupBox *makeFrame(QWidget *parent, const char *name, const char *caption)
{
    auto *frame = new QGroupBox(QLatin1String(caption), parent);
    frame->setObjectName(QLatin1String(name));
    return frame;
}

LevelSlider *makeLevel(QGroupBox *frame, LevelSlider::Kind kind, const char *caption)
{
    auto *layout = new QVBoxLayout(frame);
    auto *slider = new LevelSlider(kind, frame);
    slider->setRestCaption(QLatin1String(caption));
    slider->setFrame(frame);
    layout->addWidget(slider, 0, Qt::AlignHCenter);
    return slider;
}
} // namespace

FormQuotedTextOptions::FormQuotedTextOptions(Form1 *owner)
    : QDialog(owner)
    , m_owner(owner)
{
    setObjectName(QStringLiteral("FormQuotedTextOptions"));
    setWindowTitle(QStringLiteral("Voice in quoted texts"));
    setModal(true);

    CheckEnableVoiceForQuotedText = new QCheckBox(this);
    CheckEnableVoiceForQuotedText->setObjectName(QStringLiteral("CheckEnableVoiceForQuotedText"));
    CheckEnableVoiceForQuotedText->setText(QStringLiteral("Use different voice for Quoted Text"));

    FrameVoiceSelect = makeFrame(this, "FrameVoiceSelect", "Voice Select");
    FrameSubVoiceSelect = makeFrame(FrameVoiceSelect, "FrameSubVoiceSelect", "Voice");
    auto *label = new QLabel(QStringLiteral("&Name"), FrameSubVoiceSelect);
    label->setObjectName(QStringLiteral("LabelVoice"));
    ComboVoci = new QComboBox(FrameSubVoiceSelect);
    ComboVoci->setObjectName(QStringLiteral("ComboVoci"));
    ComboVoci->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    ComboVoci->setMinimumContentsLength(24); // room for "English (America), female"
    label->setBuddy(ComboVoci);              // a screen reader names the list by its label
    auto *subLayout = new QVBoxLayout(FrameSubVoiceSelect);
    subLayout->addWidget(label);
    subLayout->addWidget(ComboVoci);

    FrameSpeed = makeFrame(FrameVoiceSelect, "FrameSpeed", "Speed");
    PictureSpeedButton = makeLevel(FrameSpeed, LevelSlider::Kind::Speed, "Speed");
    FramePitch = makeFrame(FrameVoiceSelect, "FramePitch", "Pitch");
    PicturePitchButton = makeLevel(FramePitch, LevelSlider::Kind::Pitch, "Pitch");

    auto *voiceLayout = new QHBoxLayout(FrameVoiceSelect);
    voiceLayout->addWidget(FrameSubVoiceSelect, 1, Qt::AlignTop);
    voiceLayout->addWidget(FrameSpeed);
    voiceLayout->addWidget(FramePitch);

    CommandOK = new QPushButton(QStringLiteral("OK"), this);
    CommandOK->setObjectName(QStringLiteral("CommandOK"));
    CommandOK->setDefault(true);
    CommandCancel = new QPushButton(QStringLiteral("Cancel"), this);
    CommandCancel->setObjectName(QStringLiteral("CommandCancel"));
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(CommandOK);
    buttons->addWidget(CommandCancel);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(CheckEnableVoiceForQuotedText);
    layout->addWidget(FrameVoiceSelect, 1);
    layout->addLayout(buttons);

    connect(CheckEnableVoiceForQuotedText, &QCheckBox::clicked, this,
            &FormQuotedTextOptions::CheckEnableVoiceForQuotedText_Click);
    connect(ComboVoci, &QComboBox::currentIndexChanged, this,
            &FormQuotedTextOptions::ComboVoci_Click);
    connect(CommandOK, &QPushButton::clicked, this, &FormQuotedTextOptions::CommandOK_Click);
    connect(CommandCancel, &QPushButton::clicked, this,
            &FormQuotedTextOptions::CommandCancel_Click);
    for (LevelSlider *slider : {PictureSpeedButton, PicturePitchButton})
        connect(slider, &LevelSlider::speakValueRequested, this, [this](const QString &number) {
            if (m_owner->VerboseMode())
                speakSample(number);
        });

    Form_Load();
}

void FormQuotedTextOptions::Form_Load()
{
    TranslateForm(this);
    PictureSpeedButton->setRestCaption(Translate(QStringLiteral("Speed")));
    PicturePitchButton->setRestCaption(Translate(QStringLiteral("Pitch")));
    const int count = m_owner->GetVoicesCount();
    if (count == 0)
        return; // nothing to choose: the controls stay as they are built
    CheckEnableVoiceForQuotedText->setChecked(m_owner->IsVoiceDifferentForQuotedTextEnabled() == 1);
    CheckEnableVoiceForQuotedText_Click();
    ++Updating; // the first item added becomes current, which is no user's choice
    for (int i = 0; i < count; ++i)
        ComboVoci->addItem(m_owner->GetVoiceName(i));
    --Updating;
    int index = m_owner->GetVoiceSelectedForQuoted();
    if (index < 0 || index >= ComboVoci->count())
        index = 0; // the main window keeps its value until OK
    PictureSpeedButton->setValue(m_owner->GetSpeedForQuoted());
    PicturePitchButton->setValue(m_owner->GetPitchForQuoted());
    ++Updating;
    ComboVoci->setCurrentIndex(index);
    --Updating;
}

void FormQuotedTextOptions::CheckEnableVoiceForQuotedText_Click()
{
    const bool on = CheckEnableVoiceForQuotedText->isChecked();
    for (QWidget *w : std::initializer_list<QWidget *>{FrameVoiceSelect, FrameSubVoiceSelect,
                                                       ComboVoci, FrameSpeed, FramePitch,
                                                       PictureSpeedButton, PicturePitchButton})
        w->setEnabled(on);
}

void FormQuotedTextOptions::ComboVoci_Click()
{
    if (Updating > 0 || ComboVoci->currentIndex() < 0)
        return;
    speakSample(ComboVoci->currentText());
}

// The sample sounds as quoted text will: in the chosen voice, speed and pitch. Its first
// attribute quote stands beyond column 14, so the quoted-text wrapping leaves it alone.
void FormQuotedTextOptions::speakSample(const QString &text)
{
    if (ComboVoci->currentIndex() < 0)
        return;
    const QChar q(QuoteCharacter);
    const QString head =
        TagSpeedHead + q + QString::number(PictureSpeedButton->value()) + q + TagEmptyTail +
        TagPitchHead + q + QString::number(PicturePitchButton->value()) + q + TagEmptyTail +
        TagVoiceHead + q + QStringLiteral("Name=") + ComboVoci->currentText() + q + TagEmptyTail;
    m_owner->SpeakSample(head + text);
}

void FormQuotedTextOptions::CommandOK_Click()
{
    m_owner->SetVoiceParametersForQuotedText(CheckEnableVoiceForQuotedText->isChecked() ? 1 : 0,
                                             ComboVoci->currentIndex(), PictureSpeedButton->value(),
                                             PicturePitchButton->value());
    accept();
}

void FormQuotedTextOptions::CommandCancel_Click()
{
    reject();
}

} // namespace tonaris
