#pragma once

#include <QString>

// The editor's text into files. Every write is atomic: the target is replaced only by a complete
// file, and a failed write leaves the old one as it was. Each gives false with a message the
// caller may show (already translated). Text is written as UTF-8 without a mark, line breaks as
// CR LF, and ends with a line break.
namespace tonaris {

bool WriteTextFile(const QString &path, const QString &text, QString &error);

// A minimal page around the text. The text is escaped and kept in a <pre> block, so that reading
// the page back gives the very same text: saving and reopening never makes it grow or lose its
// line breaks and blanks.
QString TextToHtmlPage(const QString &text);
bool WriteHtmlFile(const QString &path, const QString &text, QString &error);

// A Word document through LibreOffice in headless mode with a private profile.
bool WriteWordDocument(const QString &path, const QString &text, QString &error);

// By the extension, as the table of DocumentReaders.h says: .txt, .htm, .html, .doc, and .rtf as
// plain text. Any other extension writes nothing and gives "It's impossible to save this file to
// its original format."
bool WriteDocument(const QString &path, const QString &text, QString &error);

} // namespace tonaris
