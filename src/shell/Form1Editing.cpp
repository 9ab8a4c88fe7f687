// The main window's side of the editor: the Edit menu, the editor's popup, its keys and the
// reading of a line on Enter.
#include "shell/Form1.h"

#include "config/MultiLang.h"
#include "conversation/Prattle.h"
#include "shell/FormFind.h"
#include "shell/FormReplace.h"
#include "textprep/Text.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QMenu>
#include <QMenuBar>

namespace tonaris {

using MultiLang::Translate;

namespace {
// The modifier sum of the key events: 1 Shift, 2 Control, 4 Alt.
constexpr int CtrlMask = 2, AltMask = 4;

QAction *addItem(QMenu *menu, const char *name)
{
    QAction *a = menu->addAction(QString());
    a->setObjectName(QLatin1String(name));
    return a;
}
} // namespace

void Form1::buildEditMenu()
{
    menuEdit = menuBar()->addMenu(QString());
    menuEdit->setObjectName(QStringLiteral("menuEdit"));
    connect(addItem(menuEdit, "menuSelectAll2"), &QAction::triggered, this,
            &Form1::menuSelectAll_Click);
    connect(addItem(menuEdit, "menuCut2"), &QAction::triggered, this, &Form1::menuCut_Click);
    connect(addItem(menuEdit, "menuCopy2"), &QAction::triggered, this, &Form1::menuCopy_Click);
    connect(addItem(menuEdit, "menuPaste2"), &QAction::triggered, this, &Form1::menuPaste_Click);
    connect(addItem(menuEdit, "menuDelete2"), &QAction::triggered, this, &Form1::menuDelete_Click);
    menuEdit->addSeparator();
    connect(addItem(menuEdit, "menuFind"), &QAction::triggered, this, &Form1::menuFind_Click);
    connect(addItem(menuEdit, "menuReplace"), &QAction::triggered, this, &Form1::menuReplace_Click);
    menuEdit->addSeparator();
    QAction *wrap = addItem(menuEdit, "menuWordWrap");
    wrap->setCheckable(true);
    connect(wrap, &QAction::triggered, this, &Form1::menuWordWrap_Click);

    MenuQuickVoiceSelect->addSeparator();
    connect(addItem(MenuQuickVoiceSelect, "menuCut"), &QAction::triggered, this,
            &Form1::menuCut_Click);
    connect(addItem(MenuQuickVoiceSelect, "menuCopy"), &QAction::triggered, this,
            &Form1::menuCopy_Click);
    connect(addItem(MenuQuickVoiceSelect, "menuPaste"), &QAction::triggered, this,
            &Form1::menuPaste_Click);
    connect(addItem(MenuQuickVoiceSelect, "menuDelete"), &QAction::triggered, this,
            &Form1::menuDelete_Click);
    MenuQuickVoiceSelect->addSeparator();
    connect(addItem(MenuQuickVoiceSelect, "menuSelectAll"), &QAction::triggered, this,
            &Form1::menuSelectAll_Click);

    connect(Text1, &Text::KeyDown, this, &Form1::Text1_KeyDown);
    connect(Text1, &Text::KeyPress, this, &Form1::Text1_KeyPress);
}

void Form1::setEditMenuCaptions()
{
    // The shortcut text stands in the caption; the keys themselves are the editor's.
    static const struct
    {
        const char *name;
        const char *caption;
    } captions[] = {
        {"menuSelectAll2", "&Select All\tCTRL+A"},
        {"menuCut2", "&Cut\tCTRL+X"},
        {"menuCopy2", "C&opy\tCTRL+C"},
        {"menuPaste2", "&Paste\tCTRL+V"},
        {"menuDelete2", "&Delete\tCANC"},
        {"menuFind", "&Find\tCTRL+F"},
        {"menuReplace", "&Replace\tCTRL+R"},
        {"menuWordWrap", "&Word Wrap"},
        {"menuCut", "Cut"},
        {"menuCopy", "Copy"},
        {"menuPaste", "Paste"},
        {"menuDelete", "Delete"},
        {"menuSelectAll", "Select all"},
    };
    menuEdit->setTitle(QStringLiteral("&Edit"));
    for (const auto &c : captions) {
        if (auto *a = findChild<QAction *>(QLatin1String(c.name)))
            a->setText(QLatin1String(c.caption));
    }
}

void Form1::menuSelectAll_Click()
{
    Text1->SetSelStart(0);
    Text1->SetSelLength(Text1->Length());
    Text1->ScrollToActualPos();
}

void Form1::menuCopy_Click()
{
    if (Text1->SelLength() <= 0)
        return;
    QGuiApplication::clipboard()->setText(Text1->text().mid(Text1->SelStart(), Text1->SelLength()));
    Text1->ScrollToActualPos();
}

void Form1::menuCut_Click()
{
    if (Text1->Locked())
        return; // the words are being tracked; the text must stay as it is
    menuCopy_Click();
    menuDelete_Click();
}

void Form1::menuDelete_Click()
{
    if (Text1->Locked() || Text1->SelLength() <= 0)
        return;
    const int start = Text1->SelStart();
    Text1->Insert(QString()); // an undoable edit, at any caret position
    Text1->SetSelStart(start);
    Text1->ScrollToActualPos();
}

void Form1::menuPaste_Click()
{
    if (Text1->Locked())
        return;
    const QString text = QGuiApplication::clipboard()->text();
    if (text.isEmpty())
        return;
    Text1->Insert(text);
    Text1->ScrollToActualPos();
}

void Form1::menuWordWrap_Click()
{
    auto *wrap = findChild<QAction *>(QStringLiteral("menuWordWrap"));
    Text1->SetWordWrap(wrap->isChecked());
}

FormFind *Form1::formFind()
{
    if (!m_formFind)
        m_formFind = new FormFind(Text1, this);
    return m_formFind;
}

void Form1::menuFind_Click()
{
    formFind()->showAndFocus();
}

void Form1::menuReplace_Click()
{
    if (!m_formReplace)
        m_formReplace = new FormReplace(Text1, this);
    m_formReplace->showAndFocus();
}

void Form1::Text1_KeyDown(int &keyCode, int shift)
{
    const bool alt = shift == AltMask;
    const bool ctrl = shift == CtrlMask;
    if (alt && keyCode == Qt::Key_Left)
        m_session.CommandSpeakCurrentLine_Click();
    else if (alt && keyCode == Qt::Key_Right)
        m_session.CommandSpeakFromThisLine_Click();
    else if (alt && keyCode == Qt::Key_Up)
        m_session.CommandSpeakPrevLine_Click();
    else if (alt && keyCode == Qt::Key_Down)
        m_session.CommandSpeakNextLine_Click();
    else if (ctrl && keyCode == Qt::Key_A)
        menuSelectAll_Click();
    else if (ctrl && keyCode == Qt::Key_F)
        menuFind_Click();
    else if (ctrl && keyCode == Qt::Key_R)
        menuReplace_Click();
    else if (shift == 0 && keyCode == Qt::Key_F3)
        formFind()->CommandFind_Click();
    else
        return;
    keyCode = 0;
    SuppressKeyPress = true;
}

void Form1::Text1_KeyPress(int &keyAscii)
{
    if (keyAscii != 13 || !(CheckSpeechLineOnPressEnter->isChecked() || AIReplyOn()))
        return;
    if (m_session.SpeechState == SpeechSession::StateSpeaking) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.TimerSpeech_Timer();
    }
    if (m_session.SpeechState != SpeechSession::StateIdle)
        return;
    // The line the Enter closes; at the very start of a line there is nothing to read.
    const int line = Text1->GetCurrentLineIndex();
    const int start = Text1->GetPosStartFromLineIndex(line);
    if (Text1->SelStart() == start)
        return;
    QString text = Text1->text().mid(start, Text1->GetLineLength(line));
    text = text.replace(QLatin1Char('\t'), QLatin1Char(' ')).trimmed();
    if (AIReplyOn())
        text = Prattle1->Rispondi(text);
    if (text.startsWith(QLatin1Char('#')) && !text.startsWith(QLatin1String("#VOICE")))
        return;
    m_session.SpeakLooseText(text);
}

} // namespace tonaris
