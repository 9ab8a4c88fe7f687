#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tonaris {

class Text;

// The modeless Find window over the editor. Hidden, never destroyed, between showings, so that
// the searched text stays; F3 may search with it before it has ever been shown.
class FormFind : public QDialog
{
    Q_OBJECT
public:
    FormFind(Text *editor, QWidget *parent);

    // Finds the next occurrence behind the selection, wrapping round silently, and selects it;
    // when there is none the selection collapses and a beep sounds. Empty TextFind: nothing.
    void CommandFind_Click();
    // Hides the window and gives the editor the focus (also Escape and the close button).
    void CommandCancel_Click();
    // Enables the find button only while there is something to find.
    void TextFind_Change();
    // Translates the captions, shows and activates the window with TextFind's text selected.
    void showAndFocus();

    // The search shared with FormReplace: the next occurrence of what, searched from right
    // behind the editor's selection and wrapping round to the start, becomes the selection and
    // is scrolled into view. False when there is none anywhere: the selection then collapses
    // to its start. An empty what is never found.
    static bool findNext(Text *editor, const QString &what, bool matchCase);

    void reject() override;

private:
    void translateCaptions();

    Text *m_editor;
    QLabel *m_labelFind = nullptr;
    QLineEdit *TextFind = nullptr;
    QCheckBox *CheckMatchCase = nullptr;
    QPushButton *CommandFind = nullptr;
    QPushButton *CommandCancel = nullptr;
};

} // namespace tonaris
