#include "shell/Form1.h"

#include "audio/AudioOutput.h"
#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "session/SaveToAudio.h"
#include "shell/TranslateForm.h"
#include "textprep/Text.h"
#include "voices/EspeakEngine.h"

#include <QAction>
#include <QApplication>
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
    buildContextMenu();
    buildEditMenu();
    buildKeywordMenu();
    buildLanguageMenus();
    buildOptionsMenu();
    buildTextPrepMenus();
    buildDocumentControls();
    buildSaveMenus();
    buildBatchAndRecorder();
    buildConversation();
    arrangeMenus();
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
    arrangeWindow();
    qApp->installEventFilter(this);
    setupMediaControls();

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
                  {"FrameGeneralOptions", "Options"},
                  {"FrameRecord", "Record from Microphone"},
                  {"FrameCommandsRec", "Start Record"}};
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
    CheckIA->setText(QStringLiteral("Enable &AI reply when press Enter"));
    CheckGetClipboard->setText(QStringLiteral("Get Clip&board"));
    CheckGetClipboard->setToolTip(
        QStringLiteral("Get and speak the text that you copy on the Clipboard"));
    CheckASR->setText(QStringLiteral("Start AS&R"));
    CheckASR->setToolTip(QStringLiteral("Start Automatic Speech Recognition"));
    CheckShowCharacter->setText(QStringLiteral("S&how Character"));
    const struct
    {
        const char *name;
        const char *caption;
    } recorder[] = {
        {"CommandRec", "Record"}, {"CommandPlayRec", "Pla&y"}, {"CommandInsertRec", "Insert"}};
    for (const auto &b : recorder)
        if (auto *button = findChild<QPushButton *>(QLatin1String(b.name)))
            button->setText(QLatin1String(b.caption));
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
    // (A command-line save ends the program as it ends: no window for that moment.)
    const bool shown = m_session.HiddenMode ? HasDisplay() && m_session.saver().BatchMode != 1
                                            : testAttribute(Qt::WA_WState_ExplicitShowHide);
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
