// The main window's side of script keywords: the "Insert KEYWORD" menu, the voice a #VOICE line
// names, the consent before a text starts a program, and the problems a script runs into.
#include "shell/Form1.h"

#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "config/ProgramConsent.h"
#include "textprep/Text.h"

#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QMenu>

namespace tonaris {

using MultiLang::Translate;

namespace {

QString lines(std::initializer_list<const char *> list)
{
    QString out;
    for (const char *line : list)
        out += QLatin1String(line) + QStringLiteral("\r\n");
    return out;
}

// The language's reference examples.
QString recognitionSample()
{
    return lines({"#DO", "    #RECOGNIZE Yes, No, OTHER_WORDS", "    #IF RECOGNIZED Yes",
                  "        You have said Yes", "        #EXIT DO", "    #END IF",
                  "    #IF RECOGNIZED No", "        You have said No", "        #EXIT DO",
                  "    #END IF", "    #IF RECOGNIZED OTHER_WORDS", "        Repeat Please",
                  "    #END IF", "#LOOP"});
}
QString callRoutineSample()
{
    return lines({"#RECOGNIZE Yes, No", "", "#IF RECOGNIZED Yes", "    #CALL YES", "#END IF", "",
                  "#IF RECOGNIZED No", "    You have said No", "#END IF", "", "#SUB YES",
                  "    You have said Yes", "#END SUB"});
}
QString randomSample()
{
    return lines({"#RANDOM", "#CASE", "    Random sentence 1", "#CASE", "    Random sentence 2",
                  "#CASE", "    Random sentence 3", "#END RANDOM"});
}
QString timeoutSample()
{
    return lines({"#RECOGNIZE_WITH_TIMEOUT 5,yes, no", "#IF RECOGNIZED Yes",
                  "    You have said Yes", "#END IF", "#IF RECOGNIZED No", "    You have said No",
                  "#END IF", "#IF TIMEOUT", "    Timeout, sorry!", "#End If"});
}

QString quoted(const QString &path)
{
    return QLatin1Char('"') + path + QLatin1Char('"');
}

} // namespace

void Form1::buildKeywordMenu()
{
    m_consent = std::make_unique<ProgramConsent>();
    m_consent->setQuestion([this](const QString &program) {
        const int answer = Dialogs::instance()->choose(
            this,
            Translate(QStringLiteral("The text asks to run this program:")) +
                QStringLiteral("\r\n") + program,
            {Translate(QStringLiteral("Run")),
             Translate(QStringLiteral("Always allow for this program")),
             Translate(QStringLiteral("Don't run"))},
            QString());
        return answer == 0   ? ProgramConsent::Answer::Run
               : answer == 1 ? ProgramConsent::Answer::AlwaysAllow
                             : ProgramConsent::Answer::DontRun;
    });
    m_session.Consent = m_consent.get();
    m_session.AppFolder = QCoreApplication::applicationDirPath();
    connect(&m_session, &SpeechSession::voiceRequested, this, &Form1::selectVoiceByName);
    connect(&m_session, &SpeechSession::problem, this, [this](const QString &message) {
        Dialogs::instance()->message(this, message, Dialogs::Exclamation, QString());
    });

    menuInsertKeyWord = new QMenu(MenuQuickVoiceSelect);
    menuInsertKeyWord->setObjectName(QStringLiteral("menuInsertKeyWord"));
    MenuQuickVoiceSelect->insertMenu(MenuQuickVoiceSelect->actions().value(0), menuInsertKeyWord);
    MenuQuickVoiceSelect->insertSeparator(MenuQuickVoiceSelect->actions().value(1));

    auto item = [this](const char *name, auto handler) {
        QAction *a = menuInsertKeyWord->addAction(QString());
        a->setObjectName(QLatin1String(name));
        connect(a, &QAction::triggered, this, handler);
    };
    auto fileItem = [&](const char *name, const char *keyword, const char *title,
                        const char *filter) {
        item(name, [this, keyword, title, filter] {
            const QString file = Dialogs::instance()->openFileName(
                this, Translate(QLatin1String(title)),
                filter ? Translate(QLatin1String(filter)) : QString());
            if (file.isEmpty())
                return;
            if (QLatin1String(keyword) == QLatin1String("#PLAY ") &&
                !file.endsWith(QLatin1String(".wav"), Qt::CaseInsensitive) &&
                !file.endsWith(QLatin1String(".mp3"), Qt::CaseInsensitive))
                return;
            InsertKeywordText(QLatin1String(keyword) + quoted(file) + QStringLiteral("\r\n"));
        });
    };
    auto textItem = [&](const char *name, QString text) {
        item(name, [this, text] { InsertKeywordText(text); });
    };
    fileItem("menuOpenSelectedFile", "#EXECUTE ", "Open File...", nullptr);
    fileItem("menuSpeechSelectedFile", "#OPEN ", "Open File...", "Txt File (*.txt)");
    fileItem("menuPlaySoundFile", "#PLAY ", "Open Sound File...", "Sound Files (*.wav *.mp3)");
    textItem("menuSTOPSpeak", QStringLiteral("#STOP\r\n"));
    textItem("menuWait", QStringLiteral("#WAIT 3\r\n"));
    textItem("menuCloseTonaris", QStringLiteral("#CLOSE\r\n"));
    menuInsertKeyWord->addSeparator();
    textItem("menuBreakFile", QStringLiteral("#BREAK\r\n"));
    menuInsertKeyWord->addSeparator();
    textItem("menuRecognitionSample", recognitionSample());
    textItem("menuCallRoutineSample", callRoutineSample());
    textItem("menuRandomSentenciesSample", randomSample());
    textItem("menuRecognitionWithTimeoutSample", timeoutSample());
}

void Form1::setKeywordMenuCaptions()
{
    static const struct
    {
        const char *name;
        const char *caption;
    } captions[] = {
        {"menuOpenSelectedFile", "Run file..."},
        {"menuSpeechSelectedFile", "Speak txt file..."},
        {"menuPlaySoundFile", "Play wav or mp3 file..."},
        {"menuSTOPSpeak", "Stop speak"},
        {"menuWait", "Wait (1 to 10)"},
        {"menuCloseTonaris", "Close Tonaris"},
        {"menuBreakFile", "Break (Split output file here)"},
        {"menuRecognitionSample", "Recognition sample"},
        {"menuCallRoutineSample", "Call routine sample"},
        {"menuRandomSentenciesSample", "Random sentencies sample"},
        {"menuRecognitionWithTimeoutSample", "Recognition with timeout sample"},
    };
    menuInsertKeyWord->setTitle(QStringLiteral("Insert KEYWORD"));
    for (const auto &c : captions) {
        if (auto *a = menuInsertKeyWord->findChild<QAction *>(QLatin1String(c.name)))
            a->setText(QLatin1String(c.caption));
    }
}

void Form1::InsertKeywordText(const QString &In_Text)
{
    // Whole, at the start of the caret's line; the caret ends on its last line.
    const int start = Text1->GetPosStartFromLineIndex(Text1->GetCurrentLineIndex());
    Text1->SetSelStart(start);
    Text1->Insert(In_Text);
    Text1->SetSelStart(start + int(In_Text.size()) - 2);
    Text1->ScrollToActualPos();
    Text1->setFocus();
}

// #VOICE: the whole name, upper-cased, against each voice's name. The voice stays selected
// after the run, and the list shows it.
void Form1::selectVoiceByName(const QString &upperName)
{
    for (int i = 0; i < VoiceCount(); ++i) {
        if (Voices.at(i).Name.toUpper() == upperName) {
            ++EventsSuppressed;
            ComboVoci->setCurrentIndex(i);
            --EventsSuppressed;
            SelectedVoice = i;
            ImpostaVoce(SelectedVoice);
            return;
        }
    }
}

} // namespace tonaris
