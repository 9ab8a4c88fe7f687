#include "shell/FormShellExtensions.h"

#include "config/KelShellExtensions.h"
#include "config/MultiLang.h"
#include "shell/TranslateForm.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace tonaris {

namespace {
struct Verb
{
    const char *box;
    const char *keyName;
    const char *menuText;
    const char *switchText; // empty: open the file in the window
};
const Verb Verbs[] = {
    {"CheckOpen", "Tonaris Open", "Tonaris Open", ""},
    {"CheckSpeak", "Tonaris Speak", "Tonaris Speak Aloud", "/Play"},
    {"CheckWav", "Tonaris Wav", "Tonaris Convert To Wav", "/Wav"},
    {"CheckMp3", "Tonaris Mp3", "Tonaris Convert To Mp3", "/Mp3"},
};
} // namespace

FormShellExtensions::FormShellExtensions(QWidget *parent, const QString &program)
    : QDialog(parent)
    , m_program(program.isEmpty() ? QCoreApplication::applicationFilePath() : program)
{
    setObjectName(QStringLiteral("FormShellExtensions"));
    setWindowTitle(QStringLiteral("Explorer Integration"));
    setModal(true);
    auto *layout = new QVBoxLayout(this);
    QCheckBox **boxes[] = {&CheckOpen, &CheckSpeak, &CheckWav, &CheckMp3};
    for (int i = 0; i < 4; ++i) {
        *boxes[i] = new QCheckBox(QLatin1String(Verbs[i].menuText), this);
        (*boxes[i])->setObjectName(QLatin1String(Verbs[i].box));
        layout->addWidget(*boxes[i]);
    }
    CommandOK = new QPushButton(QStringLiteral("OK"), this);
    CommandOK->setObjectName(QStringLiteral("CommandOK"));
    CommandOK->setDefault(true);
    CommandCancel = new QPushButton(QStringLiteral("Cancel"), this);
    CommandCancel->setObjectName(QStringLiteral("CommandCancel"));
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(CommandOK);
    buttons->addWidget(CommandCancel);
    layout->addLayout(buttons);
    connect(CommandOK, &QPushButton::clicked, this, &FormShellExtensions::CommandOK_Click);
    connect(CommandCancel, &QPushButton::clicked, this, &FormShellExtensions::CommandCancel_Click);
    Form_Load();
}

void FormShellExtensions::Form_Load()
{
    TranslateForm(this);
    const KelShellExtensions shell;
    QCheckBox *const boxes[] = {CheckOpen, CheckSpeak, CheckWav, CheckMp3};
    for (int i = 0; i < 4; ++i)
        boxes[i]->setChecked(shell.ExistExplorerContextualExtension(
            QStringLiteral("txt"), QLatin1String(Verbs[i].keyName)));
}

void FormShellExtensions::CommandOK_Click()
{
    KelShellExtensions shell;
    const QCheckBox *const boxes[] = {CheckOpen, CheckSpeak, CheckWav, CheckMp3};
    for (int i = 0; i < 4; ++i) {
        const QString key = QLatin1String(Verbs[i].keyName);
        QStringList command{m_program};
        if (*Verbs[i].switchText)
            command.append(QLatin1String(Verbs[i].switchText));
        // A verb the user cannot write is not worth a message: the menu simply lacks it.
        for (const QString &extension : KelShellExtensions::DocumentExtensions) {
            if (boxes[i]->isChecked())
                shell.AddExplorerContextualExtension(
                    extension, key, MultiLang::Translate(QLatin1String(Verbs[i].menuText)),
                    command);
            else
                shell.RemoveExplorerContextualExtension(extension, key);
        }
    }
    close();
}

void FormShellExtensions::CommandCancel_Click()
{
    close();
}

} // namespace tonaris
