#pragma once

#include <QList>
#include <QString>

class QObject;
class QWidget;

namespace tonaris {

// One text of a window that a language file may translate.
struct FormText
{
    enum Kind { Caption, ToolTip };
    QObject *object = nullptr; // the window, a control, a menu or a menu's action
    Kind kind = Caption;
    QString text;
};

// Rewrites the captions of a window and its controls in the loaded language; nothing when no
// language is loaded. The window's title, then every control by its type: labels, frames
// (group boxes), buttons, check boxes and radio buttons offer caption and tool tip; text boxes and
// combo boxes their tool tip; menus their title and the texts of their actions (shortcut text
// after a tab included). A control gets either its caption or its tool tip translated, never
// both: of the two, the one whose entry comes first in the file wins, the caption on a tie.
// Run it right after a window is built; captions set later go through MultiLang::Translate.
void TranslateForm(QWidget *form);

// A control with this property set to true keeps its words in every language.
inline constexpr char UntranslatedProperty[] = "untranslated";

// A caption with several mnemonics keeps only its last one ("&&", an ampersand, stays): a
// screen reader hears a caption without its one "&", never a second "&". TranslateForm puts
// every translated caption through it.
QString OneMnemonic(const QString &caption);

// The texts TranslateForm looks at, in the order it looks; empty ones left out. Qt's own
// helper widgets ("qt_" names) are not the program's and are skipped, and so are controls
// marked with UntranslatedProperty.
QList<FormText> FormTexts(QWidget *form);

// The texts of FormTexts that have no entry in the loaded language, without repeats.
QStringList UntranslatedTexts(QWidget *form);

} // namespace tonaris
