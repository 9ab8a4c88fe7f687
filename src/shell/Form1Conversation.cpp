// The main window's conversation: the personality menu and its reply on Enter, the recogniser
// behind the script keywords, dictation into the editor with "Start ASR", and the recognition
// options window.
#include "shell/Form1.h"

#include "audio/AudioOutput.h"
#include "config/AppPaths.h"
#include "config/Dialogs.h"
#include "config/KelIni.h"
#include "config/MultiLang.h"
#include "conversation/Prattle.h"
#include "conversation/SpeechRecognizer.h"
#include "shell/FormASROptions.h"
#include "textprep/Text.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QFileInfo>
#include <QMenu>

namespace tonaris {

using MultiLang::Translate;

namespace {
const QString Section = QStringLiteral("Settings");

// "oliver english" -> "Oliver English".
QString properCase(const QString &name)
{
    QStringList words = name.toLower().split(QLatin1Char(' '));
    for (QString &w : words)
        if (!w.isEmpty())
            w[0] = w[0].toUpper();
    return words.join(QLatin1Char(' '));
}
} // namespace

void Form1::buildConversation()
{
    auto tell = [this](const QString &message) {
        Dialogs::instance()->message(this, message, Dialogs::Exclamation, QString());
    };
    Prattle1 = new Prattle(this);
    Prattle1->setObjectName(QStringLiteral("Prattle1"));
    connect(Prattle1, &Prattle::problem, this, tell);

    menuSelectAI = menuOptions->addMenu(QStringLiteral("Select &AI personality"));
    menuSelectAI->setObjectName(QStringLiteral("menuSelectAI"));
    auto *group = new QActionGroup(menuSelectAI);
    for (const QString &file : ListSideFiles(QStringLiteral("*.ia"))) {
        const QFileInfo info(file);
        QAction *item = menuSelectAI->addAction(properCase(info.completeBaseName()));
        item->setObjectName(QStringLiteral("menuAIItem"));
        item->setData(info.fileName());
        item->setCheckable(true);
        group->addAction(item);
        const int index = int(menuAIItem.size());
        connect(item, &QAction::triggered, this, [this, index] { menuAIItem_Click(index); });
        menuAIItem.append(item);
    }
    menuSelectAI->setEnabled(!menuAIItem.isEmpty());

    // Reading the line aloud on Enter and replying to it exclude each other.
    connect(CheckIA, &QCheckBox::toggled, this, [this](bool on) {
        if (on)
            CheckSpeechLineOnPressEnter->setChecked(false);
    });
    connect(CheckSpeechLineOnPressEnter, &QCheckBox::toggled, this, [this](bool on) {
        if (on)
            CheckIA->setChecked(false);
    });
    // A personality replies only through a voice of its gender and language.
    ReplyFitsVoice = [this](const VoiceRecord &voice) {
        return Prattle1->IsReady() && voice.Gender.toUpper() == Prattle1->Gender() &&
               Prattle1->LinguaCode().contains(voice.Language);
    };

    ASR = new SpeechRecognizer(this);
    ASR->setObjectName(QStringLiteral("ASR"));
    if (AudioOutput::devicesWanted()) // a render to files listens to no microphone
        ASR->EnumerateRecognizers();
    connect(ASR, &SpeechRecognizer::problem, this, tell);
    connect(ASR, &SpeechRecognizer::ASR_Recognition, this, &Form1::ASR_Recognition);
    connect(ASR, &SpeechRecognizer::ASR_FalseRecognition, this, &Form1::ASR_FalseRecognition);
    connect(ASR, &SpeechRecognizer::sessionFailed, this, [this] { CheckASR->setChecked(false); });
    menuASROptions = menuOptions->addAction(QStringLiteral("Se&t ASR options..."));
    menuASROptions->setObjectName(QStringLiteral("menuASROptions"));
    connect(menuASROptions, &QAction::triggered, this, &Form1::menuASROptions_Click);
    connect(CheckASR, &QCheckBox::toggled, this, &Form1::CheckASR_Click);
    menuASROptions->setEnabled(ASR->RecognizerAvailable);
    CheckASR->setEnabled(ASR->RecognizerAvailable);

    m_session.StartRecognition = [this](const QStringList &words) {
        return ASR->StartRecognition(words);
    };
    m_session.PauseRecognitionHook = [this] { ASR->PauseRecognition(); };
    m_session.DictationTick = [this](bool quiet) { dictationTick(quiet); };
}

void Form1::menuAIItem_Click(int Index)
{
    QAction *item = menuAIItem.value(Index);
    if (!item)
        return;
    if (!CurrentAIPersonality.isEmpty() && CurrentAIPersonality == item->text()) {
        item->setChecked(true);
        return; // already the one in use
    }
    for (QAction *a : std::as_const(menuAIItem))
        a->setChecked(a == item);
    CurrentAIPersonality = item->text();
    Prattle1->LoadIAFile(FindSideFile(item->data().toString()));
    applyAIVoiceRule();
}

// After a new personality, the voice bound now decides as after a new voice.
void Form1::applyAIVoiceRule()
{
    CheckIA->setEnabled(BoundVoice >= 0 && BoundVoice < VoiceCount() &&
                        ReplyFitsVoice(Voices.at(BoundVoice)));
}

bool Form1::AIReplyOn() const
{
    return CheckIA->isChecked() && CheckIA->isEnabled();
}

void Form1::CheckASR_Click()
{
    if (!CheckASR->isChecked()) {
        ASR->StopRecognition();
        return;
    }
    if (ASR->RecognizerAvailable)
        ASR->StartDictation();
    if (ASR->RecognizerState == 0)
        CheckASR->setChecked(false);
}

void Form1::menuASROptions_Click()
{
    ASR->StopRecognition();
    CheckASR->setChecked(false);
    auto *form = new FormASROptions(ASR, this);
    form->setAttribute(Qt::WA_DeleteOnClose);
    if (form->loaded())
        form->open(); // modal for the user, without blocking whoever triggered the item
}

void Form1::ASR_Recognition(const QString &text)
{
    if (ASR->RecognizerActive == 0) {
        m_session.RecognizedText = text.toUpper(); // the waiting script sees it on its tick
        return;
    }
    // Dictation: behind the last line, on a new line when a reply follows.
    const QString old = Text1->text();
    QString lineSeparator, wordSeparator;
    if (Text1->GetLineLength(Text1->LineCount() - 1) >= 1) {
        lineSeparator = QStringLiteral("\r\n");
        if (!old.endsWith(QLatin1Char(' ')))
            wordSeparator = QStringLiteral(" ");
    }
    if (AIReplyOn()) {
        Text1->setText(old + lineSeparator + text);
        if (m_session.SpeechState == SpeechSession::StateSpeaking) {
            m_session.SpeechRequest = SpeechSession::RequestStop;
            m_session.TimerSpeech_Timer();
        }
        if (m_session.SpeechState == SpeechSession::StateIdle) {
            // The reply is spoken, never written into the editor.
            QString said = text;
            m_session.SpeechText = Prattle1->Rispondi(said);
            m_session.SpeechStopLine = -1;
            m_session.SpeechTrackWords = false;
            m_session.SpeechRestoreCaret = false;
            m_session.SpeechRequest = SpeechSession::RequestStart;
            m_session.SetTimerFast();
        }
    } else {
        Text1->setText(old + wordSeparator + text);
    }
    Text1->SetSelStart(Text1->Length());
}

void Form1::ASR_FalseRecognition()
{
    if (ASR->RecognizerOtherWords == 1)
        m_session.RecognizedText = QStringLiteral("OTHER_WORDS");
}

// Dictation pauses while the program speaks, so that it never hears itself.
void Form1::dictationTick(bool quiet)
{
    if (ASR->RecognizerActive != 1)
        return;
    if (quiet && ASR->RecognizerState == 2)
        ASR->ResumeDictation();
    else if (!quiet && ASR->RecognizerState == 1)
        ASR->PauseRecognition();
}

void Form1::loadConversationSettings(const IniFile &ini)
{
    auto read = [&](const char *key, const char *fallback) {
        return ini.read(Section, QLatin1String(key), QLatin1String(fallback));
    };
    ASR->SetASROptions(IniVal(read("ASREngine", "0")), IniVal(read("ASRAudioInput", "0")));
    const QString tag = read("FileAIPersonality", "");
    for (int i = 0; i < menuAIItem.size(); ++i)
        if (!tag.isEmpty() && menuAIItem.at(i)->data().toString() == tag)
            menuAIItem_Click(i);
    if (CurrentAIPersonality.isEmpty())
        menuAIItem_Click(0);
}

void Form1::saveConversationSettings(IniFile &ini)
{
    for (const QAction *item : std::as_const(menuAIItem))
        if (item->isChecked()) {
            ini.write(Section, QStringLiteral("FileAIPersonality"), item->data().toString());
            break;
        }
    ini.write(Section, QStringLiteral("ASREngine"), QString::number(ASR->ASREngineIndex));
    ini.write(Section, QStringLiteral("ASRAudioInput"), QString::number(ASR->ASRAudioInputIndex));
}

} // namespace tonaris
