// The order of the main window's menus, the items of features still to come, and the Help menu.
// Each part of the window makes its own items; this pass puts every menu into its one order,
// with its separators, so that a user (and a screen reader) always finds an item in its place.
#include "shell/Form1.h"

#include "config/Dialogs.h"
#include "config/MultiLang.h"

#include <QAction>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

#ifndef TONARIS_DONATION_URL
#define TONARIS_DONATION_URL ""
#endif
#ifndef TONARIS_VERSION
#define TONARIS_VERSION ""
#endif

namespace tonaris {

using MultiLang::Translate;

namespace {

// An item of a menu: its object name and the caption a placeholder gets when the item is not
// built yet; "-" is a separator.
struct Entry
{
    const char *name;
    const char *caption = nullptr;
};
const Entry Separator{"-"};

const Entry FileMenu[] = {
    {"menuNew"},
    {"menuOpen"},
    {"menuAppend"},
    {"menuBatchConversion", "&Batch Conversion..."},
    {"menuSaveTextFile"},
    {"menuSaveTextFileAs"},
    {"menuSaveAudioFileAs"},
    {"menuExit"},
};

const Entry EditMenu[] = {
    {"menuSelectAll2"},    {"menuCut2"},
    {"menuCopy2"},         {"menuPaste2"},
    {"menuDelete2"},       {"menuFind"},
    {"menuReplace"},       {"menuApplyConversionsTable"},
    {"menuRemoveNewLine"}, {"menuRemoveNewLineHard"},
    {"menuWordWrap"},
};

const Entry OptionsMenu[] = {
    {"menuRunWithIdlePriority"},
    {"menuAutoLoad"},
    Separator,
    {"menuConfigureVoicesIndependently"},
    {"menuCustomizeVoiceInQuotedText"},
    {"menuTAGValidityOnlyForCurrentLine"},
    {"menuAlwaysSaveAudioWithMaxVolume"},
    Separator,
    {"menuASROptions", "Se&t ASR options..."},
    Separator,
    {"menuSAPI4"},
    {"menuSAPI5"},
    Separator,
    {"menuAudioBookOptions"},
    {"menuAccessibilityOptions"},
    Separator,
    {"menuSelectConversionsTable"},
    {"menuSelectAI", "Select &AI personality"},
    {"menuLanguageSelection"},
    Separator,
    {"menuMp3Format"},
    Separator,
    {"menuAutoSelectAudioFormat"},
    Separator,
    {"menuSaveSettings"},
};

const Entry AudioBookMenu[] = {
    {"menuSplitWavOrMp3"},
    {"menuAddInitialAndFinalSilence"},
    {"menuWriteSubtitles"},
    Separator,
    {"menuSpeakVolumeTitleAndVolumeNumber"},
    {"menuSpeakVolumeNumberAndVolumeTitle"},
    Separator,
    {"menuAutoApplyConversionsTable"},
    {"menuAutoFormat"},
    {"menuAutoFormatHard"},
};

const Entry AccessibilityMenu[] = {
    {"menuVerbose"},
    {"menuExplorerIntegration", "&Explorer Integration..."},
    {"menuKeyboardEditMode"},
    {"menuOnVoiceSelectSpeakCountryToo"},
};

const Entry HelpMenu[] = {
    {"menuShortcutKeys"},
    {"menuDonations"},
    {"menuAboutTonaris"},
};

const char *const ShortcutList = "F1 = Go to edit box.\r\n"
                                 "F4 = Pause-Resume.\r\n"
                                 "F5 = Speak-Stop.\r\n"
                                 "F6 or ALT+UP = Speak Previous Line.\r\n"
                                 "F7 or ALT+LEFT = Speak Current Line.\r\n"
                                 "F8 or ALT+DOWN = Speak Next Line.\r\n"
                                 "F9 or ALT+RIGHT = Speak From Cursor.\r\n"
                                 "F11 = Switch to previous voice.\r\n"
                                 "F12 = Switch to next voice.\r\n"
                                 "F11+SHIFT = Switch to first voice.\r\n"
                                 "F12+SHIFT = Switch to last voice.\r\n"
                                 "ESC = Stop.\r\n"
                                 "ALT+1 = Decrease volume.\r\n"
                                 "ALT+2 = Increase volume.\r\n"
                                 "ALT+3 = Decrease speed.\r\n"
                                 "ALT+4 = Increase speed.\r\n"
                                 "ALT+5 = Decrease pitch.\r\n"
                                 "ALT+6 = Increase pitch.";

} // namespace

// Puts the menu's items into the order of the table. Items the table does not know (lists
// filled at start-up) keep their order after it; missing items are made, disabled.
template <std::size_t N>
static void arrangeMenu(Form1 *form, QMenu *menu, const Entry (&entries)[N])
{
    QList<QAction *> before;
    for (QAction *a : menu->actions()) {
        menu->removeAction(a);
        if (!a->isSeparator())
            before.append(a);
        else if (a->parent() == menu)
            delete a;
    }
    QList<QAction *> placed;
    for (const Entry &e : entries) {
        if (qstrcmp(e.name, "-") == 0) {
            menu->addSeparator();
            continue;
        }
        const QString name = QLatin1String(e.name);
        QAction *a = nullptr;
        if (auto *sub = form->findChild<QMenu *>(name))
            a = sub->menuAction();
        else if (auto *item = form->findChild<QAction *>(name))
            a = item;
        if (!a) {
            a = new QAction(QLatin1String(e.caption ? e.caption : e.name), menu);
            a->setObjectName(name);
            a->setEnabled(false); // its feature is not in this build yet
        }
        menu->addAction(a);
        placed.append(a);
    }
    for (QAction *a : std::as_const(before))
        if (!placed.contains(a))
            menu->addAction(a);
}

void Form1::arrangeMenus()
{
    menuHelp = menuBar()->addMenu(QStringLiteral("&Help"));
    menuHelp->setObjectName(QStringLiteral("menuAbout"));
    auto help = [this](const char *name, const char *caption, void (Form1::*handler)()) {
        QAction *a = menuHelp->addAction(QLatin1String(caption));
        a->setObjectName(QLatin1String(name));
        connect(a, &QAction::triggered, this, handler);
    };
    help("menuShortcutKeys", "Shortcut &List", &Form1::menuShortcutKeys_Click);
    help("menuDonations", "Support With &Donation...", &Form1::menuDonations_Click);
    help("menuAboutTonaris", "A&bout Tonaris", &Form1::menuAboutTonaris_Click);

    // The tray's menu, for a tray icon the program does not put up.
    auto *tray = new QMenu(this);
    tray->setObjectName(QStringLiteral("TrayBarMenu"));
    QAction *closeProgram = tray->addAction(QStringLiteral("Close"));
    closeProgram->setObjectName(QStringLiteral("menuCloseProgram"));
    connect(closeProgram, &QAction::triggered, this, &QWidget::close);

    // The bar: File, Edit, Options, Help.
    QMenuBar *bar = menuBar();
    for (const char *name : {"menuFile", "menuEdit", "menuOptions", "menuAbout"}) {
        QAction *a = findChild<QMenu *>(QLatin1String(name))->menuAction();
        bar->removeAction(a);
        bar->addAction(a);
    }
    arrangeMenu(this, menuFile, FileMenu);
    arrangeMenu(this, menuEdit, EditMenu);
    arrangeMenu(this, menuOptions, OptionsMenu);
    arrangeMenu(this, menuAudioBookOptions, AudioBookMenu);
    arrangeMenu(this, menuAccessibilityOptions, AccessibilityMenu);
    arrangeMenu(this, menuHelp, HelpMenu);
}

void Form1::menuShortcutKeys_Click()
{
    Dialogs::instance()->message(this, Translate(QLatin1String(ShortcutList)), Dialogs::Information,
                                 Translate(QStringLiteral("Shortcut List")));
}

// A small window that tells how to support the project. The address comes from the build
// (TONARIS_DONATION_URL); a build without one says so rather than showing an invented one.
void Form1::menuDonations_Click()
{
    auto *dialog = new QDialog(this);
    dialog->setObjectName(QStringLiteral("FormDonations"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(Translate(QStringLiteral("Support With Donation")));
    auto *layout = new QVBoxLayout(dialog);
    const QString url = QStringLiteral(TONARIS_DONATION_URL);
    auto *text = new QLabel(dialog);
    text->setObjectName(QStringLiteral("LabelDonations"));
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setText(Translate(QStringLiteral(
                      "Tonaris is free software, made in spare time. If it is useful to you, "
                      "a donation helps to keep it going.")) +
                  QStringLiteral("\n\n") +
                  (url.isEmpty()
                       ? Translate(QStringLiteral("This copy was built without a donation page."))
                       : url));
    layout->addWidget(text);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    if (!url.isEmpty()) {
        QPushButton *open = buttons->addButton(Translate(QStringLiteral("&Open donation page")),
                                               QDialogButtonBox::ActionRole);
        open->setObjectName(QStringLiteral("CommandOpenDonations"));
        connect(open, &QPushButton::clicked, dialog,
                [url] { QDesktopServices::openUrl(QUrl(url)); });
    }
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    layout->addWidget(buttons);
    dialog->open(); // modal for the user, but the menu's caller is not held up
}

void Form1::menuAboutTonaris_Click()
{
    QString text = QStringLiteral("Tonaris");
    if (qstrlen(TONARIS_VERSION) > 0)
        text += QStringLiteral(" ") + QStringLiteral(TONARIS_VERSION);
    text += QStringLiteral("\r\n") +
            Translate(QStringLiteral("A text-to-speech workbench for the Linux desktop."));
    Dialogs::instance()->message(this, text, Dialogs::Information,
                                 Translate(QStringLiteral("About Tonaris")));
}

} // namespace tonaris
