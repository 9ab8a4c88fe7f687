#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tonaris {

class Text;

// The modeless Replace window over the editor. Hidden, never destroyed, between showings.
class FormReplace : public QDialog
{
    Q_OBJECT
public:
    FormReplace(Text *editor, QWidget *parent);

    // Find next as in FormFind (with a shorter beep when nothing is found); true when found.
    bool Find();
    void CommandFind_Click();
    // Finds the next occurrence behind the selection (so a selected one is passed over) and
    // replaces it, undoably; the replacement stays selected.
    void CommandReplace_Click();
    // Replaces every occurrence in one undoable step and puts the caret at the start; a beep
    // when there is none.
    void CommandReplaceAll_Click();
    // Hides the window and gives the editor the focus (also Escape and the close button).
    void CommandCancel_Click();
    // Enables the find button only while there is something to find.
    void TextFind_Change();
    // Translates the captions, shows and activates the window with TextFind's text selected.
    void showAndFocus();

    void reject() override;

private:
    void translateCaptions();

    Text *m_editor;
    QLabel *m_labelFind = nullptr;
    QLabel *m_labelReplace = nullptr;
    QLineEdit *TextFind = nullptr;
    QLineEdit *TextReplace = nullptr;
    QCheckBox *CheckMatchCase = nullptr;
    QPushButton *CommandFind = nullptr;
    QPushButton *CommandReplace = nullptr;
    QPushButton *CommandReplaceAll = nullptr;
    QPushButton *CommandCancel = nullptr;
};

} // namespace tonaris
