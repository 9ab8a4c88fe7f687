#pragma once

#include <QByteArray>
#include <QString>

namespace tonaris {

// Our own reader of rich text: the plain text of an RTF document. Paragraphs, line breaks,
// sections, pages and table rows end as CR LF; cells are separated by tabs. \uN escapes and
// \'hh bytes come out in the document's code page (\ansicpg, or the font's \fcharset or \cpg).
// The font, colour and style tables, the document information, pictures, headers, footers and
// every destination marked \* are skipped. A source that does not begin with "{\rtf" is plain
// text and is given back decoded as such. Truncated sources give the text up to the cut;
// nesting of any depth is handled without recursion and in time linear in the input.
QString RichTextToPlain(const QByteArray &rtf);

// Text in a Windows code page number (1252, 1251, 932, 65001, ...); unknown pages read as 1252.
QString DecodeCodePage(const QByteArray &bytes, int codePage);

} // namespace tonaris
