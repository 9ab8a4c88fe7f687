#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Documents into plain text for the editor. Every reader gives the text or false with a message
// the caller may show (already translated); none shows anything itself. Line breaks come out as
// CR LF from the converters and the HTML and RTF readers; raw files keep their own. Use from the
// UI thread: the converters serve the event loop (without user input) while they run.
namespace tonaris {

// Files larger than this are refused rather than read into memory.
constexpr qint64 MaxDocumentBytes = 256 * 1024 * 1024;

// The bytes of a text file as text: UTF-16 with its mark (little- or big-endian), UTF-8 with or
// without a mark, anything else as Windows-1252. A file of two bytes or less is never taken as
// UTF-16, so the two bytes FF FE stay the two characters they are. NUL characters, which the
// editor cannot hold, are dropped.
QString DecodeRawText(const QByteArray &bytes);

// The whole file, decoded as DecodeRawText says; false when it cannot be opened or is too large.
bool ReadRawBytes(const QString &path, QByteArray &bytes, QString &error);
bool ReadRawFile(const QString &path, QString &text, QString &error);

// What a browser gives as the text of a page: blocks and <br> as line breaks, paragraphs set off
// by an empty line, table cells by tabs; runs of blanks collapsed outside <pre>; scripts, styles
// and the head dropped; entities and character references decoded. Linear in the input.
QString HtmlToText(const QString &html);

// Post-processing of a word processor's text: LF and CR each become CR LF (a CR LF pair stays
// one break), vertical tabs become CR LF, form feeds go, curved double quotes become straight.
QString CleanWordText(const QString &text);

// .doc through catdoc, then antiword, then LibreOffice; a file that none of them accepts but is
// readable text is read as text. A message names the package to install when none is there.
bool ReadWordDocument(const QString &path, QString &text, QString &error);

// .pdf through pdftotext, form feeds removed; idle runs it at the lowest priority.
bool ReadPdfFile(const QString &path, QString &text, QString &error, bool idle = false);

struct ReadOptions
{
    bool idle = false;        // converters at the lowest priority
    bool unknownAsRaw = true; // an unknown extension is read as raw text (Open) or refused (drop)
};

// One reader and one writer per extension; the extension in lower case with its dot.
struct DocumentFormat
{
    const char *extension;
    bool (*read)(const QString &path, QString &text, QString &error, const ReadOptions &options);
    bool (*write)(const QString &path, const QString &text, QString &error); // null: no writer
};

const QList<DocumentFormat> &DocumentFormats();
// The format of this file name by its extension; null when none is registered.
const DocumentFormat *FindDocumentFormat(const QString &path);

// The patterns of every readable extension, blank-separated, for a file dialog's filter.
QString OpenFilterPatterns();

// Reads any document by its extension as the table says. An unknown extension is raw text, or,
// without unknownAsRaw, false with an empty message (nothing to say: the file is ignored).
bool ReadDocument(const QString &path, QString &text, QString &error,
                  const ReadOptions &options = {});

} // namespace tonaris
