// The main window's controls and where they stand: the frames are made here, placed once by a
// layout at their design size, and from then on scaled with the window by the resizer.
#include "shell/Form1.h"

#include "shell/ClipboardWatch.h"
#include "shell/FrameRecord.h"
#include "shell/LevelSlider.h"
#include "shell/MediaControls.h"
#include "shell/Resizer.h"
#include "shell/TalkingCharacter.h"
#include "shell/TranslateForm.h"
#include "textprep/Text.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QVBoxLayout>

namespace tonaris {

namespace {

// The size of the area under the menu bar that the window is designed for: with the menu bar,
// the status bar and a title bar it fits a 1024x768 screen that has a desktop panel.
constexpr QSize DesignArea(1000, 620);

QPixmap lightPixmap(const QColor &color)
{
    QPixmap pm(14, 14);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::darkGray, 1));
    p.setBrush(color);
    p.drawEllipse(QRectF(1.5, 1.5, 11, 11));
    return pm;
}

QLabel *makeLight(QWidget *parent, const char *name, const QColor &color, const QString &spoken)
{
    auto *light = new QLabel(parent);
    light->setObjectName(QLatin1String(name));
    light->setPixmap(lightPixmap(color));
    light->setAccessibleName(spoken);
    return light;
}

template <typename W> W *make(QWidget *parent, const char *name)
{
    auto *w = new W(parent);
    w->setObjectName(QLatin1String(name));
    return w;
}

QGroupBox *makeFrame(QWidget *parent, const char *name)
{
    return make<QGroupBox>(parent, name);
}

// The walk of the Tab key, in this order; controls not named here follow in the order they
// were made.
const char *const TabOrder[] = {
    "Text1",
    "ComboVoci",
    "CommandSpeech",
    "CommandPauseResume",
    "CommandSpeakFromThisLine",
    "CommandSpeakNextLine",
    "CommandSpeakPrevLine",
    "CommandSpeakCurrentLine",
    "CheckSpeechLineOnPressEnter",
    "CheckTracking",
    "CheckIA",
    "CheckGetClipboard",
    "CheckASR",
    "ComboAudioOutput",
    "ComboAudioFormat",
    "ComboFonts",
    "ComboFontSize",
    "CommandRec",
    "CommandPlayRec",
    "CommandInsertRec",
    "PictureVolumeButton",
    "PictureSpeedButton",
    "PicturePitchButton",
    "CheckShowCharacter",
};

// Two columns of frames beside the editor; a row of frames where a name lists several.
const char *const LeftColumn[] = {"FrameVoice", "FrameSpeech", "FrameCommandEx",
                                  "FrameGeneralOptions", "FrameClipBoard"};
const char *const RightColumn[] = {"FrameAudioOutput", "FrameAudioFormats", "FrameFontSelect",
                                   "FrameRecord"};

} // namespace

void Form1::buildWindow()
{
    auto *central = new QWidget(this);
    central->setObjectName(QStringLiteral("FormArea"));

    Text1 = new Text(central);
    Text1->setObjectName(QStringLiteral("Text1"));

    QGroupBox *frameVoice = makeFrame(central, "FrameVoice");
    auto *voiceLayout = new QVBoxLayout(frameVoice);
    auto *voiceRow = new QHBoxLayout;
    auto *voiceLabel = make<QLabel>(frameVoice, "LabelVoice");
    ComboVoci = make<QComboBox>(frameVoice, "ComboVoci");
    ComboVoci->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    ComboVoci->setMinimumContentsLength(14);
    voiceLabel->setBuddy(ComboVoci); // a screen reader names the list by its label
    voiceRow->addWidget(voiceLabel);
    voiceRow->addWidget(ComboVoci, 1);
    voiceLayout->addLayout(voiceRow);
    buildVoiceControls(frameVoice, voiceRow);

    QGroupBox *frameSpeech = makeFrame(central, "FrameSpeech");
    auto *speechLayout = new QVBoxLayout(frameSpeech);
    CommandSpeech = make<QPushButton>(frameSpeech, "CommandSpeech");
    CommandPauseResume = make<QPushButton>(frameSpeech, "CommandPauseResume");
    CommandSpeakFromThisLine = make<QPushButton>(frameSpeech, "CommandSpeakFromThisLine");
    for (QWidget *w : {CommandSpeech, CommandPauseResume, CommandSpeakFromThisLine})
        speechLayout->addWidget(w);

    QGroupBox *frameEx = makeFrame(central, "FrameCommandEx");
    auto *exLayout = new QVBoxLayout(frameEx);
    CommandSpeakNextLine = make<QPushButton>(frameEx, "CommandSpeakNextLine");
    CommandSpeakPrevLine = make<QPushButton>(frameEx, "CommandSpeakPrevLine");
    CommandSpeakCurrentLine = make<QPushButton>(frameEx, "CommandSpeakCurrentLine");
    for (QWidget *w : {CommandSpeakNextLine, CommandSpeakPrevLine, CommandSpeakCurrentLine})
        exLayout->addWidget(w);

    QGroupBox *frameOptions = makeFrame(central, "FrameGeneralOptions");
    auto *optionsLayout = new QVBoxLayout(frameOptions);
    CheckSpeechLineOnPressEnter = make<QCheckBox>(frameOptions, "CheckSpeechLineOnPressEnter");
    CheckTracking = make<QCheckBox>(frameOptions, "CheckTracking");
    CheckTracking->setChecked(true);
    CheckIA = make<QCheckBox>(frameOptions, "CheckIA");
    CheckIA->setEnabled(false); // until a personality answers in the voice's language
    for (QWidget *w : {CheckSpeechLineOnPressEnter, CheckTracking, CheckIA})
        optionsLayout->addWidget(w);

    QGroupBox *frameClip = makeFrame(central, "FrameClipBoard");
    auto *clipLayout = new QVBoxLayout(frameClip);
    CheckGetClipboard = make<QCheckBox>(frameClip, "CheckGetClipboard");
    CheckASR = make<QCheckBox>(frameClip, "CheckASR");
    CheckASR->setEnabled(false); // until recognition is there
    for (QCheckBox *w : {CheckGetClipboard, CheckASR})
        clipLayout->addWidget(w);

    // The recorder's frame; Form1Batch.cpp connects it to the window.
    FrameRecord1 = new FrameRecord(central);

    PictureCharacter = new TalkingCharacter(central);
    CheckShowCharacter = make<QCheckBox>(central, "CheckShowCharacter");
    CheckShowCharacter->setChecked(true);
    connect(CheckShowCharacter, &QCheckBox::toggled, PictureCharacter,
            &TalkingCharacter::setCharacterEnabled);
    connect(&m_session, &SpeechSession::audioLevel, PictureCharacter, [this](int level) {
        PictureCharacter->AudioLevel(level, m_session.SpeechState, CurrentVolume(),
                                     m_session.CustomizeVoiceInQuotedText,
                                     m_session.PlayActive == 1);
    });
    connect(&m_session, &SpeechSession::ticked, this, [this] {
        PictureCharacter->tick(m_session.SpeechState);
        clipboardLook();
        if (Media)
            Media->refresh();
    });

    // The clipboard is looked at once a second.
    Clipboard = new ClipboardWatch(this);
    CheckGetClipboard->setEnabled(ClipboardWatch::available());
    CheckGetClipboard->setToolTip(ClipboardWatch::unavailableReason());
    connect(CheckGetClipboard, &QCheckBox::toggled, this, [this](bool on) {
        Clipboard->setActive(on);
        if (!on)
            LastClipboardText.clear();
    });

    buildAudioControls(central);
    setCentralWidget(central);

    StatusBar = new QLabel(this);
    StatusBar->setObjectName(QStringLiteral("StatusBar"));
    StatusBar->setProperty(UntranslatedProperty, true); // the status words stay as they are
    StatusBarVoice = new QLabel(this);
    StatusBarVoice->setObjectName(QStringLiteral("StatusBarVoice"));
    ImagePuntoSpento =
        makeLight(this, "ImagePuntoSpento", QColor(0x60, 0x60, 0x60), QStringLiteral("Idle light"));
    ImagePuntoVerde =
        makeLight(this, "ImagePuntoVerde", QColor(0x20, 0xc0, 0x20), QStringLiteral("Green light"));
    ImagePuntoRosso =
        makeLight(this, "ImagePuntoRosso", QColor(0xd0, 0x20, 0x20), QStringLiteral("Red light"));
    statusBar()->addWidget(ImagePuntoSpento);
    statusBar()->addWidget(ImagePuntoVerde);
    statusBar()->addWidget(ImagePuntoRosso);
    statusBar()->addWidget(StatusBar, 1);
    statusBar()->addPermanentWidget(StatusBarVoice);

    connect(CommandSpeech, &QPushButton::clicked, &m_session, &SpeechSession::CommandSpeech_Click);
    connect(CommandPauseResume, &QPushButton::clicked, &m_session,
            &SpeechSession::CommandPauseResume_Click);
    connect(CommandSpeakFromThisLine, &QPushButton::clicked, &m_session,
            &SpeechSession::CommandSpeakFromThisLine_Click);
    connect(CommandSpeakNextLine, &QPushButton::clicked, &m_session,
            &SpeechSession::CommandSpeakNextLine_Click);
    connect(CommandSpeakPrevLine, &QPushButton::clicked, &m_session,
            &SpeechSession::CommandSpeakPrevLine_Click);
    connect(CommandSpeakCurrentLine, &QPushButton::clicked, &m_session,
            &SpeechSession::CommandSpeakCurrentLine_Click);
    connect(CheckTracking, &QCheckBox::toggled, this,
            [this](bool on) { m_session.CheckTracking = on ? 1 : 0; });
    connect(Text1, &Text::ContextMenu, this, &Form1::Text1_ContextMenu);
    connect(ComboVoci, &QComboBox::currentIndexChanged, this, &Form1::ComboVoci_Click);
}

// Places every frame once with a layout at the design size (or larger, when the desktop's
// fonts need more room), then hands the frames to the resizer, which scales them from there.
void Form1::arrangeWindow()
{
    QWidget *area = centralWidget();
    auto *grid = new QHBoxLayout(area);
    grid->setContentsMargins(6, 6, 6, 6);
    grid->addWidget(Text1, 1);

    auto addColumn = [&](const auto &names) {
        auto *column = new QVBoxLayout;
        for (const char *name : names)
            if (auto *w = area->findChild<QWidget *>(QLatin1String(name)))
                column->addWidget(w);
        grid->addLayout(column);
        return column;
    };
    addColumn(LeftColumn)->addStretch(1);
    QVBoxLayout *right = addColumn(RightColumn);
    auto *levels = new QHBoxLayout;
    for (const char *name : {"FrameVolume", "FrameSpeed", "FramePitch"})
        levels->addWidget(area->findChild<QWidget *>(QLatin1String(name)));
    right->addLayout(levels, 1);
    auto *character = new QHBoxLayout;
    character->addWidget(PictureCharacter);
    character->addWidget(CheckShowCharacter, 1);
    right->addLayout(character);

    // Captions and fonts are final by now, so the minimum is what they really need.
    const QSize design = DesignArea.expandedTo(grid->minimumSize());
    grid->setGeometry(QRect(QPoint(0, 0), design));
    area->resize(design);
    delete grid; // the frames keep their places; from here on the resizer moves them

    int index = 0;
    for (const char *name : TabOrder)
        if (auto *w = findChild<QWidget *>(QLatin1String(name)))
            w->setProperty("TabIndex", index++);
    // A control inside another (the editor's own edit box) is part of that control.
    auto insideControl = [this](const QWidget *w) {
        for (w = w->parentWidget(); w && w != this; w = w->parentWidget())
            if (w->property("TabIndex").isValid())
                return true;
        return false;
    };
    for (QWidget *w : findChildren<QWidget *>())
        if (w->window() == this && !w->property("TabIndex").isValid() &&
            (w->focusPolicy() & Qt::TabFocus) && !insideControl(w))
            w->setProperty("TabIndex", index++);

    Resizer1 = new Resizer(this);
    Resizer1->setObjectName(QStringLiteral("Resizer1"));
    Resizer1->setSourceForm(area);
    Resizer1->ResizeControls(); // the first pass measures the design
    Text1->setProperty("Tag", QStringLiteral("@L,T,W,H"));

    const int bars = menuBar()->sizeHint().height() + statusBar()->sizeHint().height();
    resize(design.width(), design.height() + bars);
    Resizer1->setMinSizeLimit(true);
    // Where the screen can hold it, the window manager keeps the window from getting smaller.
    // (The offscreen platform of hidden runs has no window manager to tell.)
    const QSize screen = this->screen() ? this->screen()->availableGeometry().size() : QSize();
    if (screen.width() >= width() && screen.height() >= height() &&
        QGuiApplication::platformName() != QLatin1String("offscreen"))
        setMinimumSize(size());
    area->installEventFilter(this);
    ResizeAllowed = true;
}

} // namespace tonaris
