#pragma once

#include <QString>

namespace tonaris {

// Joins lines that were broken only by a page's layout (a PDF, a wrapped mail), so that the
// reading does not pause at every printed line. A break stays when it ends a sentence (the line
// ends with ? . ! " or a closing parenthesis), when the next line is indented, empty or a
// keyword line, when the current line is a keyword line or empty, and near the very ends of the
// text. A joined break becomes one blank. The hard variant first removes every blank line, so
// that a sentence broken across one is joined as well. Blanks at both ends of the result go.
// Line breaks are CR LF; linear in the size of the text. Pure and reentrant.
void RemoveReturnCarriages(QString &In_Out_Text, bool hard);

// The text without the blanks at its ends; tabs and other white space stay.
QString TrimBlanks(const QString &text);

} // namespace tonaris
