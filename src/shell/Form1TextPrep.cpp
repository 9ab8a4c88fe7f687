// The main window's side of text preparation: the popup's tag menus (special and custom tags),
// the second voice of quoted passages with its options window, the conversions tables, the
// removal of inappropriate return carriages, their automatic variants for audio books, and what
// a save to audio does to its text first.
#include "shell/Form1.h"

#include "config/AppPaths.h"
#include "config/KelIni.h"
#include "shell/FormQuotedTextOptions.h"
#include "textprep/ConversionsTable.h"
#include "textprep/CustomTags.h"
#include "textprep/InlineTags.h"
#include "textprep/ReturnCarriages.h"
#include "textprep/Text.h"

#include <QAction>
#include <QActionGroup>
#include <QCheckBox>
#include <QMenu>

namespace tonaris {

namespace {

const QString Section = QStringLiteral("Settings");

QString yesNo(bool on)
{
    return on ? QStringLiteral("True") : QStringLiteral("False");
}

// Menu captions show "&" only when doubled.
QString menuCaption(QString caption)
{
    return caption.replace(QLatin1Char('&'), QLatin1String("&&"));
}

QAction *makeItem(QObject *parent, const char *name, const char *caption, bool checkable = false)
{
    auto *a = new QAction(QLatin1String(caption), parent);
    a->setObjectName(QLatin1String(name));
    a->setCheckable(checkable);
    return a;
}

const struct
{
    const char *name;
    const char *caption;
    SpecialTag tag;
} SpecialTagItems[] = {
    {"menuSilenceTAG", "Silence", SpecialTag::Silence},
    {"menuVolumeTAG", "Volume (0 to 100)", SpecialTag::Volume},
    {"menuSpeedTAG", "Speed (-10 to 10)", SpecialTag::Speed},
    {"menuPitchTAG", "Pitch (-10 to 10)", SpecialTag::Pitch},
    {"menuSpellTAG", "Spell", SpecialTag::Spell},
    {"menuEmphasizeTAG", "Emphasize", SpecialTag::Emphasize},
};

} // namespace

void Form1::buildTextPrepMenus()
{
    // The popup: special and custom tags stand in front of the keywords.
    QAction *keywords = menuInsertKeyWord->menuAction();
    menuInsertSpecialTAG = new QMenu(QStringLiteral("Insert special TAG"), MenuQuickVoiceSelect);
    menuInsertSpecialTAG->setObjectName(QStringLiteral("menuInsertSpecialTAG"));
    menuInsertSpecialTAG->menuAction()->setObjectName(QStringLiteral("menuInsertSpecialTAG"));
    MenuQuickVoiceSelect->insertMenu(keywords, menuInsertSpecialTAG);
    for (const auto &item : SpecialTagItems) {
        QAction *a = makeItem(menuInsertSpecialTAG, item.name, item.caption);
        menuInsertSpecialTAG->addAction(a);
        const int tag = int(item.tag);
        connect(a, &QAction::triggered, this, [this, tag] { menuSpecialTAG_Click(tag); });
    }
    menuInsertCustomTAG = new QMenu(QStringLiteral("Insert custom TAG"), MenuQuickVoiceSelect);
    menuInsertCustomTAG->setObjectName(QStringLiteral("menuInsertCustomTAG"));
    menuInsertCustomTAG->menuAction()->setObjectName(QStringLiteral("menuInsertCustomTAG"));
    MenuQuickVoiceSelect->insertMenu(keywords, menuInsertCustomTAG);
    LoadCustomTags();

    // Options: the quoted voice between the voices' own values and the tags' validity.
    menuCustomizeVoiceInQuotedText = makeItem(menuOptions, "menuCustomizeVoiceInQuotedText",
                                              "&Customize voice in quoted texts...", true);
    menuOptions->insertAction(menuTAGValidityOnlyForCurrentLine, menuCustomizeVoiceInQuotedText);
    connect(menuCustomizeVoiceInQuotedText, &QAction::triggered, this,
            &Form1::menuCustomizeVoiceInQuotedText_Click);
    m_session.VoiceNameAt = [this](int index) {
        return index >= 0 && index < VoiceCount() ? Voices.at(index).Name : QString();
    };

    // The automatic preparations belong to audio-book making; the submenu is shared with the
    // save options, whichever part of the window builds it first.
    menuAudioBookOptions = findChild<QMenu *>(QStringLiteral("menuAudioBookOptions"));
    if (!menuAudioBookOptions) {
        menuAudioBookOptions = new QMenu(QStringLiteral("Audio &Book creation"), menuOptions);
        menuAudioBookOptions->setObjectName(QStringLiteral("menuAudioBookOptions"));
        menuAudioBookOptions->menuAction()->setObjectName(QStringLiteral("menuAudioBookOptions"));
        menuOptions->insertMenu(menuAccessibilityOptions->menuAction(), menuAudioBookOptions);
    }
    menuAutoApplyConversionsTable = makeItem(menuAudioBookOptions, "menuAutoApplyConversionsTable",
                                             "Auto-Apply &Conversions Table", true);
    menuAutoFormat = makeItem(menuAudioBookOptions, "menuAutoFormat",
                              "&Auto-remove inappropriate return carriages", true);
    menuAutoFormatHard = makeItem(menuAudioBookOptions, "menuAutoFormatHard",
                                  "Auto-remove inappropriate return carriages (&hard)", true);
    menuAudioBookOptions->addActions(
        {menuAutoApplyConversionsTable, menuAutoFormat, menuAutoFormatHard});
    // At most one of the two removals is on.
    connect(menuAutoFormat, &QAction::triggered, this, [this] {
        if (menuAutoFormat->isChecked())
            menuAutoFormatHard->setChecked(false);
    });
    connect(menuAutoFormatHard, &QAction::triggered, this, [this] {
        if (menuAutoFormatHard->isChecked())
            menuAutoFormat->setChecked(false);
    });

    // The tables, in front of the language menu.
    menuSelectConversionsTable =
        new QMenu(QStringLiteral("Select conve&rsions table"), menuOptions);
    menuSelectConversionsTable->setObjectName(QStringLiteral("menuSelectConversionsTable"));
    menuSelectConversionsTable->menuAction()->setObjectName(
        QStringLiteral("menuSelectConversionsTable"));
    menuOptions->insertMenu(menuLanguageSelection->menuAction(), menuSelectConversionsTable);
    auto *tables = new QActionGroup(menuSelectConversionsTable);
    for (const ConversionsTableFile &table : ListConversionsTables()) {
        QAction *a = menuSelectConversionsTable->addAction(menuCaption(table.caption));
        a->setObjectName(QStringLiteral("menuConversionsTableItem"));
        a->setCheckable(true);
        a->setData(table.tag);
        a->setProperty("caption", table.caption);
        a->setProperty("path", table.path);
        tables->addAction(a);
        const int index = int(menuConversionsTableItem.size());
        connect(a, &QAction::triggered, this,
                [this, index] { menuConversionsTableItem_Click(index); });
        menuConversionsTableItem.append(a);
    }

    // The Edit menu: the whole-text preparations between Replace and Word Wrap.
    QAction *wrap = findChild<QAction *>(QStringLiteral("menuWordWrap"));
    const QList<QAction *> editItems = menuEdit->actions();
    const qsizetype wrapAt = editItems.indexOf(wrap);
    QAction *before =
        wrapAt > 0 && editItems.at(wrapAt - 1)->isSeparator() ? editItems.at(wrapAt - 1) : wrap;
    menuApplyConversionsTable =
        makeItem(menuEdit, "menuApplyConversionsTable", "Apply Conversions &Table");
    menuRemoveNewLine =
        makeItem(menuEdit, "menuRemoveNewLine", "Remove &Inappropriate Return Carriages");
    menuRemoveNewLineHard = makeItem(menuEdit, "menuRemoveNewLineHard",
                                     "Remove Inappropriate Return Carriages (&Hard)");
    menuEdit->insertActions(before,
                            {menuApplyConversionsTable, menuRemoveNewLine, menuRemoveNewLineHard});
    connect(menuApplyConversionsTable, &QAction::triggered, this,
            &Form1::menuApplyConversionsTable_Click);
    connect(menuRemoveNewLine, &QAction::triggered, this, &Form1::menuRemoveNewLine_Click);
    connect(menuRemoveNewLineHard, &QAction::triggered, this, &Form1::menuRemoveNewLineHard_Click);

    if (menuConversionsTableItem.isEmpty()) {
        for (QAction *a : {menuSelectConversionsTable->menuAction(), menuApplyConversionsTable,
                           menuAutoApplyConversionsTable})
            a->setEnabled(false);
    }
}

// ---------------------------------------------------------------------------------------------
// Settings

void Form1::loadTextPrepSettings(const IniFile &ini)
{
    auto read = [&](const char *key, const char *fallback) {
        return ini.read(Section, QLatin1String(key), QLatin1String(fallback));
    };
    // A first run has no file, and then none of these is on.
    if (ini.existed()) {
        // The three values are taken also while the feature is off: all four keys are written
        // at exit, and an unused voice keeps its values that way.
        SetVoiceParametersForQuotedText(IniBool(read("VoiceForQuoted", "True")) ? 1 : 0,
                                        IniVal(read("VoiceForQuotedIndex", "0")),
                                        IniVal(read("VoiceForQuotedSpeed", "0")),
                                        IniVal(read("VoiceForQuotedPitch", "0")));
        const bool hard = IniBool(read("AutoFormatHard", "False"));
        menuAutoFormatHard->setChecked(hard);
        menuAutoFormat->setChecked(!hard && IniBool(read("AutoFormat", "False")));
        menuAutoApplyConversionsTable->setChecked(
            IniBool(read("AutoApplyConversionsTable", "False")));
    }
    // The stored table by its exact file name; else the first one listed.
    const QString stored = read("FileCorrectionTable", "");
    if (!stored.isEmpty()) {
        for (int i = 0; i < menuConversionsTableItem.size(); ++i) {
            if (menuConversionsTableItem.at(i)->data().toString() == stored) {
                menuConversionsTableItem_Click(i);
                break;
            }
        }
    }
    if (SelectedConversionsTable.isEmpty() && !menuConversionsTableItem.isEmpty())
        menuConversionsTableItem_Click(0);
}

void Form1::saveTextPrepSettings(IniFile &ini)
{
    auto write = [&](const char *key, const QString &value) {
        ini.write(Section, QLatin1String(key), value);
    };
    write("VoiceForQuoted", yesNo(menuCustomizeVoiceInQuotedText->isChecked()));
    write("VoiceForQuotedIndex", QString::number(m_session.VoiceForQuotedIndex));
    write("VoiceForQuotedSpeed", QString::number(m_session.VoiceForQuotedSpeed));
    write("VoiceForQuotedPitch", QString::number(m_session.VoiceForQuotedPitch));
    for (QAction *a : std::as_const(menuConversionsTableItem)) {
        if (a->isChecked()) {
            write("FileCorrectionTable", a->data().toString());
            break;
        }
    }
    write("AutoFormatHard", yesNo(menuAutoFormatHard->isChecked()));
    write("AutoFormat", yesNo(menuAutoFormat->isChecked() && !menuAutoFormatHard->isChecked()));
    write("AutoApplyConversionsTable", yesNo(menuAutoApplyConversionsTable->isChecked()));
}

// ---------------------------------------------------------------------------------------------
// Inline tags

void Form1::menuSpecialTAG_Click(int tag)
{
    const TagWrite w = SpecialTagWrite(SpecialTag(tag));
    const int caret = Text1->SelStart();
    Text1->SetSelStart(caret); // written at the caret; a selection stays in the text
    Text1->Insert(w.text);
    Text1->SetSelStart(caret + w.selStart);
    if (w.selLength >= 0)
        Text1->SetSelLength(w.selLength);
    Text1->ScrollToActualPos();
}

// ---------------------------------------------------------------------------------------------
// The quoted-text voice

void Form1::menuCustomizeVoiceInQuotedText_Click()
{
    // The check mark tells whether the voice is in use, which only the window's OK changes.
    menuCustomizeVoiceInQuotedText->setChecked(m_session.CustomizeVoiceInQuotedText);
    auto *form = new FormQuotedTextOptions(this);
    form->setAttribute(Qt::WA_DeleteOnClose);
    form->open(); // modal for the user, without blocking whoever triggered the item
}

int Form1::IsVoiceDifferentForQuotedTextEnabled() const
{
    return menuCustomizeVoiceInQuotedText->isChecked() ? 1 : 0;
}

int Form1::GetVoicesCount() const
{
    return VoiceCount();
}

QString Form1::GetVoiceName(int In_VoiceIndex) const
{
    return In_VoiceIndex >= 0 && In_VoiceIndex < VoiceCount() ? Voices.at(In_VoiceIndex).Name
                                                              : QString();
}

int Form1::GetVoiceSelectedForQuoted() const
{
    return m_session.VoiceForQuotedIndex;
}

int Form1::GetSpeedForQuoted() const
{
    return m_session.VoiceForQuotedSpeed;
}

int Form1::GetPitchForQuoted() const
{
    return m_session.VoiceForQuotedPitch;
}

void Form1::SetVoiceParametersForQuotedText(int FlagEnable, int Index, int Speed, int Pitch)
{
    m_session.VoiceForQuotedIndex = Index;
    m_session.VoiceForQuotedSpeed = Speed;
    m_session.VoiceForQuotedPitch = Pitch;
    const bool on = FlagEnable == 1;
    m_session.CustomizeVoiceInQuotedText = on;
    menuCustomizeVoiceInQuotedText->setChecked(on);
    // Tags put into the spoken line move its words away from the editor's: no tracking.
    if (on)
        CheckTracking->setChecked(false);
    CheckTracking->setEnabled(!on && m_session.EngineKind != EngineKindExternal);
}

bool Form1::VerboseMode() const
{
    return menuVerbose->isChecked();
}

void Form1::SpeakSample(const QString &text)
{
    if (!m_canSpeak || m_session.SpeechState != SpeechSession::StateIdle)
        return;
    m_session.PersistTags = 0;
    m_session.PlayTTS(text);
}

// ---------------------------------------------------------------------------------------------
// Whole-text preparations

void Form1::replaceEditorText(const QString &text)
{
    if (text == Text1->text())
        return;
    const int caret = Text1->SelStart();
    Text1->SetSelStart(0);
    Text1->SetSelLength(Text1->Length());
    Text1->Insert(text); // one undoable edit
    Text1->SetSelStart(qMin(caret, Text1->Length()));
    Text1->ScrollToActualPos();
}

// One table is checked at a time; choosing the checked one again changes nothing.
void Form1::menuConversionsTableItem_Click(int index)
{
    if (index < 0 || index >= menuConversionsTableItem.size())
        return;
    QAction *item = menuConversionsTableItem.at(index);
    item->setChecked(true); // the group unchecks the others
    SelectedConversionsTable = item->property("caption").toString();
}

void Form1::ApplySelectedConversionsTable(QString &text)
{
    if (menuConversionsTableItem.isEmpty())
        return;
    QAction *table = menuConversionsTableItem.first();
    for (QAction *a : std::as_const(menuConversionsTableItem)) {
        if (a->isChecked()) {
            table = a;
            break;
        }
    }
    ApplyConversionsTable(text, table->property("path").toString());
}

void Form1::menuApplyConversionsTable_Click()
{
    if (Text1->Length() == 0 || Text1->Locked())
        return;
    QString text = Text1->text();
    ApplySelectedConversionsTable(text);
    replaceEditorText(text);
}

void Form1::menuRemoveNewLine_Click()
{
    if (Text1->Length() == 0 || Text1->Locked())
        return;
    QString text = Text1->text();
    RemoveReturnCarriages(text, false);
    replaceEditorText(text);
}

void Form1::menuRemoveNewLineHard_Click()
{
    if (Text1->Length() == 0 || Text1->Locked())
        return;
    QString text = Text1->text();
    RemoveReturnCarriages(text, true);
    replaceEditorText(text);
}

// Each step runs to its end without serving events, so the window needs no disabling meanwhile.
void Form1::PrepareTextForSaving(QString &text)
{
    if (menuAutoFormat->isChecked())
        RemoveReturnCarriages(text, false);
    if (menuAutoFormatHard->isChecked())
        RemoveReturnCarriages(text, true);
    if (menuAutoApplyConversionsTable->isChecked())
        ApplySelectedConversionsTable(text);
}

// ---------------------------------------------------------------------------------------------
// Custom tags

void Form1::LoadCustomTags()
{
    const CustomTags tags = tonaris::LoadCustomTags(FindSideFile(QStringLiteral("CustomTAG.TXT")));
    auto addEntry = [this](QMenu *menu, const CustomTagEntry &entry, const QString &name) {
        QAction *a = menu->addAction(menuCaption(entry.caption));
        a->setObjectName(name);
        a->setData(entry.text); // what the item inserts
        const QString text = entry.text;
        connect(a, &QAction::triggered, this, [this, text] { Text1->Insert(text); });
    };
    for (int g = 0; g < tags.groups.size(); ++g) {
        const CustomTagGroup &group = tags.groups.at(g);
        auto *menu = new QMenu(menuCaption(group.caption), menuInsertCustomTAG);
        menu->setObjectName(QStringLiteral("SubMenuInsertCustomTAG"));
        menu->menuAction()->setObjectName(QStringLiteral("SubMenuInsertCustomTAG"));
        menuInsertCustomTAG->addMenu(menu);
        const QString itemName = QStringLiteral("SubMenuInsertCustomTAG%1Item").arg(g);
        for (const CustomTagEntry &entry : group.entries)
            addEntry(menu, entry, itemName);
        if (group.entries.isEmpty()) // a header alone keeps its one empty item
            menu->addAction(QString())->setEnabled(false);
    }
    for (const CustomTagEntry &entry : tags.ungrouped)
        addEntry(menuInsertCustomTAG, entry, QStringLiteral("SubMenuInsertCustomTAGItem"));
    menuInsertCustomTAG->menuAction()->setVisible(tags.menuVisible());
}

} // namespace tonaris
