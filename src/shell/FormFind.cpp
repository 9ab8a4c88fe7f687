#include "shell/FormFind.h"

#include "audio/Beep.h"
#include "config/MultiLang.h"
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

FormFind::FormFind(Text *editor, QWidget *parent)
    : QDialog(parent)
    , m_editor(editor)
{
    setObjectName(QStringLiteral("FormFind"));
    setModal(false);

    m_labelFind = new QLabel(this);
    m_labelFind->setObjectName(QStringLiteral("LabelFind"));
    TextFind = new QLineEdit(this);
    TextFind->setObjectName(QStringLiteral("TextFind"));
    m_labelFind->setBuddy(TextFind); // a screen reader names the field by its label
    CheckMatchCase = new QCheckBox(this);
    CheckMatchCase->setObjectName(QStringLiteral("CheckMatchCase"));
    CommandFind = new QPushButton(this);
    CommandFind->setObjectName(QStringLiteral("CommandFind"));
    CommandFind->setDefault(true);
    CommandCancel = new QPushButton(this);
    CommandCancel->setObjectName(QStringLiteral("CommandCancel"));

    auto *grid = new QGridLayout(this);
    grid->addWidget(m_labelFind, 0, 0);
    grid->addWidget(TextFind, 0, 1);
    grid->addWidget(CheckMatchCase, 1, 0, 1, 2);
    auto *buttons = new QVBoxLayout;
    buttons->addWidget(CommandFind);
    buttons->addWidget(CommandCancel);
    buttons->addStretch(1);
    grid->addLayout(buttons, 0, 2, 3, 1);
    grid->setColumnMinimumWidth(1, 220);
    grid->setRowStretch(2, 1);

    connect(TextFind, &QLineEdit::textChanged, this, &FormFind::TextFind_Change);
    connect(CommandFind, &QPushButton::clicked, this, &FormFind::CommandFind_Click);
    connect(CommandCancel, &QPushButton::clicked, this, &FormFind::CommandCancel_Click);

    translateCaptions();
    TextFind_Change();
}

void FormFind::translateCaptions()
{
    setWindowTitle(Translate(QStringLiteral("Find")));
    m_labelFind->setText(Translate(QStringLiteral("Fi&nd what:")));
    CheckMatchCase->setText(Translate(QStringLiteral("Match &case")));
    CommandFind->setText(Translate(QStringLiteral("&Find Next")));
    CommandCancel->setText(Translate(QStringLiteral("Cancel")));
}

bool FormFind::findNext(Text *editor, const QString &what, bool matchCase)
{
    if (!editor || what.isEmpty())
        return false;
    // The editor's positions count a line break as CR LF, as its text() does, so positions in
    // this string are editor positions.
    const QString text = editor->text();
    const Qt::CaseSensitivity cs = matchCase ? Qt::CaseSensitive : Qt::CaseInsensitive;
    const qsizetype from = qsizetype(editor->SelStart()) + editor->SelLength();
    qsizetype found = from < text.size() ? text.indexOf(what, from, cs) : -1;
    if (found < 0)
        found = text.indexOf(what, 0, cs);
    if (found < 0) {
        editor->SetSelLength(0);
        return false;
    }
    editor->SetSelStart(int(found));
    editor->SetSelLength(int(what.size()));
    editor->ScrollToActualPos();
    return true;
}

void FormFind::CommandFind_Click()
{
    const QString what = TextFind->text();
    if (what.isEmpty())
        return;
    if (!findNext(m_editor, what, CheckMatchCase->isChecked()))
        Beep(200, 30);
}

void FormFind::CommandCancel_Click()
{
    hide();
    if (!m_editor)
        return;
    m_editor->window()->activateWindow();
    m_editor->editor()->setFocus(Qt::OtherFocusReason);
}

void FormFind::reject()
{
    CommandCancel_Click();
}

void FormFind::TextFind_Change()
{
    CommandFind->setEnabled(!TextFind->text().isEmpty());
}

void FormFind::showAndFocus()
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
