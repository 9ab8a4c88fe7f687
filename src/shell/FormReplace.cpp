#include "shell/FormReplace.h"

#include "audio/Beep.h"
#include "config/MultiLang.h"
#include "shell/FormFind.h"
#include "textprep/Text.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace tonaris {

using MultiLang::Translate;

namespace {

QPushButton *makeButton(QWidget *parent, const char *name)
{
    auto *button = new QPushButton(parent);
    button->setObjectName(QLatin1String(name));
    return button;
}

} // namespace

FormReplace::FormReplace(Text *editor, QWidget *parent)
    : QDialog(parent)
    , m_editor(editor)
{
    setObjectName(QStringLiteral("FormReplace"));
    setModal(false);

    m_labelFind = new QLabel(this);
    m_labelFind->setObjectName(QStringLiteral("LabelFind"));
    TextFind = new QLineEdit(this);
    TextFind->setObjectName(QStringLiteral("TextFind"));
    m_labelFind->setBuddy(TextFind); // a screen reader names the field by its label
    m_labelReplace = new QLabel(this);
    m_labelReplace->setObjectName(QStringLiteral("LabelReplace"));
    TextReplace = new QLineEdit(this);
    TextReplace->setObjectName(QStringLiteral("TextReplace"));
    m_labelReplace->setBuddy(TextReplace);
    CheckMatchCase = new QCheckBox(this);
    CheckMatchCase->setObjectName(QStringLiteral("CheckMatchCase"));
    CommandFind = makeButton(this, "CommandFind");
    CommandFind->setDefault(true);
    CommandReplace = makeButton(this, "CommandReplace");
    CommandReplaceAll = makeButton(this, "CommandReplaceAll");
    CommandCancel = makeButton(this, "CommandCancel");

    auto *grid = new QGridLayout(this);
    grid->addWidget(m_labelFind, 0, 0);
    grid->addWidget(TextFind, 0, 1);
    grid->addWidget(m_labelReplace, 1, 0);
    grid->addWidget(TextReplace, 1, 1);
    grid->addWidget(CheckMatchCase, 2, 0, 1, 2);
    auto *buttons = new QVBoxLayout;
    for (QWidget *w : {CommandFind, CommandReplace, CommandReplaceAll, CommandCancel})
        buttons->addWidget(w);
    buttons->addStretch(1);
    grid->addLayout(buttons, 0, 2, 4, 1);
    grid->setColumnMinimumWidth(1, 220);
    grid->setRowStretch(3, 1);

    connect(TextFind, &QLineEdit::textChanged, this, &FormReplace::TextFind_Change);
    connect(CommandFind, &QPushButton::clicked, this, &FormReplace::CommandFind_Click);
    connect(CommandReplace, &QPushButton::clicked, this, &FormReplace::CommandReplace_Click);
    connect(CommandReplaceAll, &QPushButton::clicked, this, &FormReplace::CommandReplaceAll_Click);
    connect(CommandCancel, &QPushButton::clicked, this, &FormReplace::CommandCancel_Click);

    translateCaptions();
    TextFind_Change();
}

void FormReplace::translateCaptions()
{
    setWindowTitle(Translate(QStringLiteral("Replace")));
    m_labelFind->setText(Translate(QStringLiteral("Fi&nd what:")));
    m_labelReplace->setText(Translate(QStringLiteral("Re&place with:")));
    CheckMatchCase->setText(Translate(QStringLiteral("Match &case")));
    CommandFind->setText(Translate(QStringLiteral("&Find Next")));
    CommandReplace->setText(Translate(QStringLiteral("&Replace")));
    CommandReplaceAll->setText(Translate(QStringLiteral("Replace &All")));
    CommandCancel->setText(Translate(QStringLiteral("Cancel")));
}

bool FormReplace::Find()
{
    const QString what = TextFind->text();
    if (what.isEmpty())
        return false;
    if (FormFind::findNext(m_editor, what, CheckMatchCase->isChecked()))
        return true;
    Beep(200, 20);
    return false;
}

void FormReplace::CommandFind_Click()
{
    Find();
}

void FormReplace::CommandReplace_Click()
{
    // While words are tracked the text must stay as it is, or the highlight would drift.
    if (m_editor && m_editor->Locked())
        return;
    if (!Find())
        return;
    const int start = m_editor->SelStart();
    const QString replacement = TextReplace->text();
    m_editor->Insert(replacement); // over the found selection, undoable
    m_editor->SetSelStart(start);
    m_editor->SetSelLength(int(replacement.size()));
}

void FormReplace::CommandReplaceAll_Click()
{
    const QString what = TextFind->text();
    if (what.isEmpty() || !m_editor || m_editor->Locked())
        return;
    const Qt::CaseSensitivity cs =
        CheckMatchCase->isChecked() ? Qt::CaseSensitive : Qt::CaseInsensitive;
    QString text = m_editor->text();
    if (!text.contains(what, cs)) {
        Beep(200, 20);
        return;
    }
    text.replace(what, TextReplace->text(), cs);
    // Written over a selection of everything rather than set, so that one undo restores it.
    m_editor->SetSelStart(0);
    m_editor->SetSelLength(m_editor->Length());
    m_editor->Insert(text);
    m_editor->SetSelStart(0);
    m_editor->ScrollToActualPos();
}

void FormReplace::CommandCancel_Click()
{
    hide();
    if (!m_editor)
        return;
    m_editor->window()->activateWindow();
    m_editor->editor()->setFocus(Qt::OtherFocusReason);
}

void FormReplace::reject()
{
    CommandCancel_Click();
}

void FormReplace::TextFind_Change()
{
    CommandFind->setEnabled(!TextFind->text().isEmpty());
}

void FormReplace::showAndFocus()
{
    translateCaptions();
    TextFind_Change();
    show();
    raise();
    activateWindow();
    TextFind->setFocus(Qt::OtherFocusReason);
    TextFind->selectAll();
}

} // namespace tonaris
