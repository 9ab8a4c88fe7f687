#include "documents/DocumentReaders.h"

#include "config/MultiLang.h"
#include "config/TextCodec.h"
#include "documents/Converters.h"
#include "documents/DocumentWriters.h"
#include "documents/KelRTF.h"
#include "documents/PackagedDocuments.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStringDecoder>
#include <QTemporaryDir>

namespace tonaris {

Q_LOGGING_CATEGORY(lcDocuments, "tonaris.documents", QtWarningMsg)

using MultiLang::Translate;

namespace {

QString cannotRead(const QString &path, const QString &reason)
{
    return Translate(QStringLiteral("Can't read the file:")) + QLatin1Char(' ') +
           QDir::toNativeSeparators(path) + QLatin1String("\r\n") + reason;
}

// The line of a helper's complaint worth showing: its first error, else its first line (a
// warning that the file may not be what it says comes before the error that stopped it).
QString firstLine(const QByteArray &bytes)
{
    const QStringList lines = QString::fromLocal8Bit(bytes).trimmed().split(QLatin1Char('\n'));
    for (const QString &line : lines)
        if (line.contains(QLatin1String("Error"), Qt::CaseInsensitive))
            return line.trimmed();
    return lines.first().trimmed();
}

bool isOleFile(const QByteArray &head)
{
    return head.startsWith("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
}

bool isRtf(const QByteArray &head)
{
    return head.startsWith("{\\rtf") || head.startsWith("\xEF\xBB\xBF{\\rtf");
}

QByteArray fileHead(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(16) : QByteArray();
}

bool readRaw(const QString &path, QString &text, QString &error, const ReadOptions &)
{
    return ReadRawFile(path, text, error);
}

bool readHtml(const QString &path, QString &text, QString &error, const ReadOptions &)
{
    if (!ReadRawFile(path, text, error))
        return false;
    text = HtmlToText(text);
    return true;
}

bool readRtf(const QString &path, QString &text, QString &error, const ReadOptions &)
{
    QByteArray bytes;
    if (!ReadRawBytes(path, bytes, error))
        return false;
    text = RichTextToPlain(bytes);
    return true;
}

bool readDoc(const QString &path, QString &text, QString &error, const ReadOptions &)
{
    return ReadWordDocument(path, text, error);
}

bool readPdf(const QString &path, QString &text, QString &error, const ReadOptions &options)
{
    return ReadPdfFile(path, text, error, options.idle);
}

template <bool (*reader)(const QString &, QString &, QString &)>
bool readPackaged(const QString &path, QString &text, QString &error, const ReadOptions &)
{
    return reader(path, text, error);
}

} // namespace

QString DecodeRawText(const QByteArray &bytes)
{
    QString text;
    const bool le = bytes.size() >= 2 && uchar(bytes[0]) == 0xFF && uchar(bytes[1]) == 0xFE;
    const bool be = bytes.size() >= 2 && uchar(bytes[0]) == 0xFE && uchar(bytes[1]) == 0xFF;
    if (bytes.size() <= 2 && (le || be)) {
        text = DecodeWindows1252(bytes); // too short to be a mark and text
    } else if (le || be) {
        QStringDecoder utf16(le ? QStringDecoder::Utf16LE : QStringDecoder::Utf16BE);
        text = utf16.decode(bytes.mid(2));
        if (bytes.size() % 2)
            text += QChar(QChar::ReplacementCharacter); // the odd byte at the end, half a character
    } else {
        text = DecodeText(bytes);
    }
    text.remove(QChar(0));
    return text;
}

bool ReadRawBytes(const QString &path, QByteArray &bytes, QString &error)
{
    QFile file(path);
    if (QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly)) {
        error = cannotRead(path, file.errorString());
        return false;
    }
    if (file.size() > MaxDocumentBytes) {
        error = cannotRead(path, Translate(QStringLiteral("The file is too large.")));
        return false;
    }
    bytes = file.readAll();
    return true;
}

bool ReadRawFile(const QString &path, QString &text, QString &error)
{
    QByteArray bytes;
    if (!ReadRawBytes(path, bytes, error))
        return false;
    text = DecodeRawText(bytes);
    return true;
}

QString CleanWordText(const QString &text)
{
    QString out;
    out.reserve(text.size() + text.size() / 16);
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        switch (c.unicode()) {
        case '\r':
            out += QLatin1String("\r\n");
            if (i + 1 < n && text.at(i + 1) == QLatin1Char('\n'))
                ++i;
            break;
        case '\n':
        case '\v':
            out += QLatin1String("\r\n");
            break;
        case '\f':
        case 0:
            break;
        case 0x201C:
        case 0x201D:
            out += QLatin1Char('"');
            break;
        default:
            out += c;
        }
    }
    return out;
}

bool ReadWordDocument(const QString &path, QString &text, QString &error)
{
    text.clear();
    const QFileInfo info(path);
    if (!info.isFile()) {
        error = cannotRead(path, Translate(QStringLiteral("The file does not exist.")));
        return false;
    }
    const QString file = info.absoluteFilePath(); // never taken for an option
    const QByteArray head = fileHead(file);
    // Files named .doc that are rich text or plain text (both are common) are read as such.
    if (isRtf(head)) {
        QByteArray bytes;
        if (!ReadRawBytes(file, bytes, error))
            return false;
        text = RichTextToPlain(bytes);
        return true;
    }
    // A ZIP archive is a newer office document under the old name: LibreOffice alone reads it.
    const bool archive = head.startsWith("PK\x03\x04");
    if (!archive && !isOleFile(head)) {
        if (!ReadRawFile(file, text, error))
            return false;
        return true;
    }

    const QString catdoc = archive ? QString() : Converters::FindProgram(QStringLiteral("catdoc"));
    const QString antiword =
        archive ? QString() : Converters::FindProgram(QStringLiteral("antiword"));
    const QString office = Converters::OfficeProgram();
    if (catdoc.isEmpty() && antiword.isEmpty() && office.isEmpty()) {
        error = Translate(QStringLiteral(
            "If you want to open DOC files you must first install the ''catdoc'' package"));
        return false;
    }
    QString reason;
    if (!catdoc.isEmpty()) {
        const auto run = Converters::Run(
            catdoc, {QStringLiteral("-w"), QStringLiteral("-d"), QStringLiteral("utf-8"), file},
            60000);
        if (run.ok() && !run.output.trimmed().isEmpty()) {
            text = CleanWordText(QString::fromUtf8(run.output));
            return true;
        }
        reason = firstLine(run.errors);
        qCDebug(lcDocuments) << "catdoc failed:" << reason;
    }
    if (!antiword.isEmpty()) {
        const auto run = Converters::Run(antiword,
                                         {QStringLiteral("-w"), QStringLiteral("0"),
                                          QStringLiteral("-m"), QStringLiteral("UTF-8.txt"), file},
                                         60000);
        if (run.ok() && !run.output.trimmed().isEmpty()) {
            text = CleanWordText(QString::fromUtf8(run.output));
            return true;
        }
        reason = firstLine(run.errors);
        qCDebug(lcDocuments) << "antiword failed:" << reason;
    }
    if (!office.isEmpty()) {
        QByteArray out;
        if (Converters::OfficeConvert(file, QStringLiteral("txt:Text (encoded):UTF8"),
                                      QStringLiteral(".txt"), out, reason)) {
            if (out.startsWith("\xEF\xBB\xBF"))
                out.remove(0, 3);
            text = CleanWordText(QString::fromUtf8(out));
            return true;
        }
    }
    error = cannotRead(path, reason.isEmpty()
                                 ? Translate(QStringLiteral("It is not a readable Word document."))
                                 : reason);
    return false;
}

bool ReadPdfFile(const QString &path, QString &text, QString &error, bool idle)
{
    text.clear();
    const QString pdftotext = Converters::FindProgram(QStringLiteral("pdftotext"));
    if (pdftotext.isEmpty()) {
        error = Translate(QStringLiteral(
            "If you want to open PDF files you need to install the ''poppler-utils'' package."));
        return false;
    }
    const QFileInfo info(path);
    if (!info.isFile()) {
        error = cannotRead(path, Translate(QStringLiteral("The file does not exist.")));
        return false;
    }
    const auto run = Converters::Run(pdftotext,
                                     {QStringLiteral("-enc"), QStringLiteral("UTF-8"),
                                      info.absoluteFilePath(), QStringLiteral("-")},
                                     120000, idle);
    if (!run.ok()) {
        const QString reason = firstLine(run.errors);
        error = cannotRead(path, reason.isEmpty()
                                     ? Translate(QStringLiteral("It is not a readable PDF file."))
                                     : reason);
        return false;
    }
    QString out = QString::fromUtf8(run.output);
    out.remove(QLatin1Char('\f'));
    out.remove(QChar(0));
    out.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    out.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    text = out;
    return true;
}

const QList<DocumentFormat> &DocumentFormats()
{
    static const QList<DocumentFormat> formats = {
        {".txt", readRaw, WriteTextFile},
        {".htm", readHtml, WriteHtmlFile},
        {".html", readHtml, WriteHtmlFile},
        {".rtf", readRtf, WriteTextFile},
        {".doc", readDoc, WriteWordDocument},
        {".pdf", readPdf, nullptr},
        {".epub", readPackaged<ReadEpubFile>, nullptr},
        {".docx", readPackaged<ReadDocxFile>, nullptr},
        {".odt", readPackaged<ReadOdtFile>, nullptr},
        {".fb2", readPackaged<ReadFb2File>, nullptr},
    };
    return formats;
}

const DocumentFormat *FindDocumentFormat(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return nullptr;
    const QString extension = name.mid(dot).toLower();
    for (const DocumentFormat &format : DocumentFormats())
        if (extension == QLatin1String(format.extension))
            return &format;
    return nullptr;
}

QString OpenFilterPatterns()
{
    QStringList patterns;
    for (const DocumentFormat &format : DocumentFormats())
        patterns << QLatin1Char('*') + QLatin1String(format.extension);
    return patterns.join(QLatin1Char(' '));
}

bool ReadDocument(const QString &path, QString &text, QString &error, const ReadOptions &options)
{
    text.clear();
    error.clear();
    if (const DocumentFormat *format = FindDocumentFormat(path))
        return format->read(path, text, error, options);
    if (!options.unknownAsRaw)
        return false;
    return ReadRawFile(path, text, error);
}

} // namespace tonaris
