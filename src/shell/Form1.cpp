#include "shell/Form1.h"

#include "audio/AudioOutput.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "shell/TranslateForm.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

namespace {

const char *const WindowCaption = "Tonaris (By Orvane)";

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

QPushButton *makeButton(QWidget *parent, const char *name)
{
    auto *button = new QPushButton(parent);
    button->setObjectName(QLatin1String(name));
    return button;
}

} // namespace

Form1::Form1(SpeechEngine *voice, SpeechEngine *voiceOver, QWidget *parent)
    : QMainWindow(parent)
    , Voice(voice)
    , VoiceOver(voiceOver)
{
    setObjectName(QStringLiteral("Form1"));
    setWindowTitle(QLatin1String(WindowCaption));
    if (!Voice)
        Voice = new EspeakEngine(this);
    if (!VoiceOver)
        VoiceOver = new EspeakEngine(this);

    buildWindow();
    resize(960, 640);
    buildContextMenu();
    buildEditMenu();
    buildKeywordMenu();
    buildLanguageMenus();
    buildOptionsMenu();
    buildTextPrepMenus();
    buildDocumentControls();
    buildSaveMenus();
    setCaptions();
    setEditMenuCaptions();
    setKeywordMenuCaptions();
    loadLanguage();

    m_session.setEditor(Text1);
    m_session.setVoices(Voice, VoiceOver);
    connect(&m_session, &SpeechSession::displayChanged, this, &Form1::onDisplayChanged);
    connect(&m_session, &SpeechSession::unloadRequested, this, &QWidget::close);
    onDisplayChanged(SpeechSession::DisplayReady);
    if (!engineStarted())
        return;

    startVoices();
    LoadSettings();
    TranslateForm(this);
    setLevelCaptions();

    // Without a voice start-up has ended with its message. A run that only renders to files
    // looks for no output device and does not miss one.
    if (VoiceCount() > 0 && !Voice->HasAudioOutput()) {
        m_canSpeak = false;
        for (QPushButton *w : {CommandSpeech, CommandPauseResume, CommandSpeakFromThisLine,
                               CommandSpeakNextLine, CommandSpeakPrevLine, CommandSpeakCurrentLine})
            w->setEnabled(false);
        if (AudioOutput::devicesWanted())
            Dialogs::instance()->message(this,
                                         Translate(QStringLiteral("No audio devices available")),
                                         Dialogs::Exclamation, QString());
    }
    Text1->setFocus();
    startUpDocuments();
}

Form1::~Form1()
{
    // The session's timer must not tick into engines being torn down.
    m_session.TimerSpeech.stop();
}

void Form1::buildWindow()
{
    auto *central = new QWidget(this);
    auto *main = new QHBoxLayout(central);

    Text1 = new Text(central);
    Text1->setObjectName(QStringLiteral("Text1"));
    main->addWidget(Text1, 1);

    auto *side = new QVBoxLayout;
    main->addLayout(side);

    auto *frameVoice = new QGroupBox(central);
    frameVoice->setObjectName(QStringLiteral("FrameVoice"));
    auto *voiceLayout = new QVBoxLayout(frameVoice);
    auto *voiceLabel = new QLabel(frameVoice);
    voiceLabel->setObjectName(QStringLiteral("LabelVoice"));
    ComboVoci = new QComboBox(frameVoice);
    ComboVoci->setObjectName(QStringLiteral("ComboVoci"));
    voiceLabel->setBuddy(ComboVoci); // a screen reader names the list by its label
    voiceLayout->addWidget(voiceLabel);
    voiceLayout->addWidget(ComboVoci);
    buildVoiceControls(frameVoice, voiceLayout);
    side->addWidget(frameVoice);

    auto *frameSpeech = new QGroupBox(central);
    frameSpeech->setObjectName(QStringLiteral("FrameSpeech"));
    auto *speechLayout = new QVBoxLayout(frameSpeech);
    CommandSpeech = makeButton(frameSpeech, "CommandSpeech");
    CommandPauseResume = makeButton(frameSpeech, "CommandPauseResume");
    CommandSpeakFromThisLine = makeButton(frameSpeech, "CommandSpeakFromThisLine");
    for (QWidget *w : {CommandSpeech, CommandPauseResume, CommandSpeakFromThisLine})
        speechLayout->addWidget(w);
    side->addWidget(frameSpeech);

    auto *frameEx = new QGroupBox(central);
    frameEx->setObjectName(QStringLiteral("FrameCommandEx"));
    auto *exLayout = new QVBoxLayout(frameEx);
    CommandSpeakNextLine = makeButton(frameEx, "CommandSpeakNextLine");
    CommandSpeakPrevLine = makeButton(frameEx, "CommandSpeakPrevLine");
    CommandSpeakCurrentLine = makeButton(frameEx, "CommandSpeakCurrentLine");
    for (QWidget *w : {CommandSpeakNextLine, CommandSpeakPrevLine, CommandSpeakCurrentLine})
        exLayout->addWidget(w);
    side->addWidget(frameEx);

    auto *frameOptions = new QGroupBox(central);
    frameOptions->setObjectName(QStringLiteral("FrameGeneralOptions"));
    auto *optionsLayout = new QVBoxLayout(frameOptions);
    CheckTracking = new QCheckBox(frameOptions);
    CheckTracking->setObjectName(QStringLiteral("CheckTracking"));
    CheckTracking->setChecked(true);
    CheckSpeechLineOnPressEnter = new QCheckBox(frameOptions);
    CheckSpeechLineOnPressEnter->setObjectName(QStringLiteral("CheckSpeechLineOnPressEnter"));
    optionsLayout->addWidget(CheckSpeechLineOnPressEnter);
    optionsLayout->addWidget(CheckTracking);
    side->addWidget(frameOptions);
    buildAudioControls(central, side);
    side->addStretch(1);

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

void Form1::buildContextMenu()
{
    MenuQuickVoiceSelect = new QMenu(this);
    MenuQuickVoiceSelect->setObjectName(QStringLiteral("MenuQuickVoiceSelect"));
    auto *speakSelected = MenuQuickVoiceSelect->addAction(QString());
    speakSelected->setObjectName(QStringLiteral("menuSpeakSelected"));
    connect(speakSelected, &QAction::triggered, &m_session,
            &SpeechSession::menuSpeakSelected_Click);
    auto *speakFromHere = MenuQuickVoiceSelect->addAction(QString());
    speakFromHere->setObjectName(QStringLiteral("menuSpeakFromHere"));
    connect(speakFromHere, &QAction::triggered, &m_session,
            &SpeechSession::menuSpeakFromHere_Click);
}

void Form1::setCaptions()
{
    // English here; TranslateForm puts the window into the chosen language afterwards.
    const struct
    {
        const char *name;
        const char *caption;
    } frames[] = {{"FrameVoice", "Voice Select"},
                  {"FrameSpeech", "Commands"},
                  {"FrameCommandEx", "Extended Commands"},
                  {"FrameGeneralOptions", "Options"}};
    for (const auto &f : frames)
        findChild<QGroupBox *>(QLatin1String(f.name))->setTitle(QLatin1String(f.caption));
    findChild<QLabel *>(QStringLiteral("LabelVoice"))->setText(QStringLiteral("&Voice"));
    CommandSpeakFromThisLine->setText(QStringLiteral("Speak Fro&m Cursor"));
    CommandSpeakNextLine->setText(QStringLiteral("Speak &Next Line"));
    CommandSpeakPrevLine->setText(QStringLiteral("Speak &Previous Line"));
    CommandSpeakCurrentLine->setText(QStringLiteral("Speak &Current Line"));
    CheckTracking->setText(QStringLiteral("Show Trac&king"));
    CheckTracking->setToolTip(QStringLiteral("Select the actually speaking word"));
    CheckSpeechLineOnPressEnter->setText(QStringLiteral("When press Enter, rea&d the line"));
    findChild<QAction *>(QStringLiteral("menuSpeakSelected"))
        ->setText(QStringLiteral("Speak selected"));
    findChild<QAction *>(QStringLiteral("menuSpeakFromHere"))
        ->setText(QStringLiteral("Speak from here"));
}

void Form1::onDisplayChanged(int display)
{
    struct Look
    {
        const char *status;
        QLabel *light;
        const char *pauseCaption;
        const char *speechCaption;
    };
    Look look{"Ready", ImagePuntoSpento, "Pa&use", "&Speak"};
    switch (display) {
    case SpeechSession::DisplaySaving:
        look = {"Saving To File", ImagePuntoVerde, "Pa&use", "&Stop"};
        break;
    case SpeechSession::DisplayPaused:
        look = {"Paused", ImagePuntoSpento, "Res&ume", "&Stop"};
        break;
    case SpeechSession::DisplayReproducing:
        look = {"Reproducing", ImagePuntoVerde, "Pa&use", "&Stop"};
        break;
    case SpeechSession::DisplayRecognizing:
        look = {"Recognizing", ImagePuntoRosso, "Pa&use", "&Stop"};
        break;
    default:
        break;
    }
    // While saving the progress window stands in for the main window. Every other state shows
    // it, also after "/hidden" when there is a screen to show it on.
    const bool shown =
        m_session.HiddenMode ? HasDisplay() : testAttribute(Qt::WA_WState_ExplicitShowHide);
    if (display == SpeechSession::DisplaySaving)
        hide();
    else if (isHidden() && shown)
        show();
    StatusBar->setText(QLatin1String(look.status));
    for (QLabel *light : {ImagePuntoSpento, ImagePuntoVerde, ImagePuntoRosso})
        light->setVisible(light == look.light);
    // Quoted-text voices and external voices move the words, so no tracking with them.
    CheckTracking->setEnabled(m_session.EngineKind != 1 && !m_session.CustomizeVoiceInQuotedText);
    CommandPauseResume->setText(Translate(QLatin1String(look.pauseCaption)));
    CommandSpeech->setText(Translate(QLatin1String(look.speechCaption)));
}

void Form1::Text1_ContextMenu(bool &handled, const QPoint &globalPos)
{
    MenuQuickVoiceSelect->popup(globalPos);
    handled = true;
}

void Form1::closeEvent(QCloseEvent *event)
{
    const int state = m_session.SpeechState;
    if (state == SpeechSession::StateSpeaking || state == SpeechSession::StatePaused ||
        state == SpeechSession::StatePausedRecognizing ||
        state == SpeechSession::StateRecognizing) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
    if (!m_settingsSaved) {
        m_settingsSaved = true;
        SaveSettings();
    }
    unloadOtherWindows();
    QMainWindow::closeEvent(event);
}

} // namespace tonaris
