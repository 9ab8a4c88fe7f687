#pragma once

#include <QByteArray>
#include <QString>

// E-books and office documents into plain text, in reading order, one paragraph or heading a
// line, line breaks as CR LF. A book's chapters are marked by keyword lines "#BREAK <title>",
// so that a save split by #BREAK makes a volume of each chapter, titled by it (on reading aloud
// and on other saves they are no more than the #BREAK of several opened files). A damaged
// document gives what can be read of it; false with the reason only when nothing can be read.
namespace tonaris {

// EPUB 2 and 3: the chapters in the order of the package's spine; a chapter's title is its first
// heading, else the title of its page.
bool ReadEpubFile(const QString &path, QString &text, QString &error);
// Word 2007 and later (.docx): the paragraphs of the main document.
bool ReadDocxFile(const QString &path, QString &text, QString &error);
// OpenDocument text (.odt): paragraphs and headings of the body; notes and comments left out.
bool ReadOdtFile(const QString &path, QString &text, QString &error);
// FictionBook 2 (.fb2): every body but notes and comments; each top section is a chapter.
bool ReadFb2File(const QString &path, QString &text, QString &error);

// The XML parts themselves, for the readers above and for tests. `problem` gets the XML error
// where the part breaks off (the text before it is kept), empty when it is whole.
QString DocxXmlToText(const QByteArray &xml, QString &problem);
QString OdtXmlToText(const QByteArray &xml, QString &problem);
QString Fb2XmlToText(const QByteArray &xml, QString &problem);

} // namespace tonaris
