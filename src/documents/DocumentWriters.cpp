#include "documents/DocumentWriters.h"

#include "config/MultiLang.h"
#include "documents/Converters.h"
#include "documents/DocumentReaders.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryDir>

namespace tonaris {

using MultiLang::Translate;

namespace {

QString withCrLf(const QString &text)
{
    QString out = text;
    out.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    out.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    out.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    if (!out.endsWith(QLatin1String("\r\n")))
        out += QLatin1String("\r\n");
    return out;
}

bool writeBytes(const QString &path, const QByteArray &bytes, QString &error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        error = Translate(QStringLiteral("Can't write the file:")) + QLatin1Char(' ') +
                QDir::toNativeSeparators(path) + QLatin1String("\r\n") + file.errorString();
        return false;
    }
    return true;
}

} // namespace

bool WriteTextFile(const QString &path, const QString &text, QString &error)
{
    return writeBytes(path, withCrLf(text).toUtf8(), error);
}

QString TextToHtmlPage(const QString &text)
{
    QString body = text;
    body.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    body.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    body.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    // The line break after <pre> belongs to the markup; the text's own first break survives.
    return QLatin1String("<html>\r\n<head><meta charset=\"utf-8\"></head>\r\n<body>\r\n<pre>\r\n") +
           body + QLatin1String("</pre>\r\n</body>\r\n</html>");
}

bool WriteHtmlFile(const QString &path, const QString &text, QString &error)
{
    return writeBytes(path, withCrLf(TextToHtmlPage(text)).toUtf8(), error);
}

bool WriteWordDocument(const QString &path, const QString &text, QString &error)
{
    if (Converters::OfficeProgram().isEmpty()) {
        error = Translate(QStringLiteral("If you want to save DOC files you must first install the "
                                         "''libreoffice-writer-nogui'' package"));
        return false;
    }
    QTemporaryDir work;
    if (!work.isValid()) {
        error = work.errorString();
        return false;
    }
    const QString source = work.filePath(QStringLiteral("text.txt"));
    QByteArray doc;
    QString reason;
    if (!WriteTextFile(source, text, error))
        return false;
    if (!Converters::OfficeConvert(source, QStringLiteral("doc"), QStringLiteral(".doc"), doc,
                                   reason)) {
        error = Translate(QStringLiteral("Can't write the file:")) + QLatin1Char(' ') +
                QDir::toNativeSeparators(path) + QLatin1String("\r\n") + reason;
        return false;
    }
    return writeBytes(path, doc, error);
}

bool WriteDocument(const QString &path, const QString &text, QString &error)
{
    const DocumentFormat *format = FindDocumentFormat(path);
    if (!format || !format->write) {
        error =
            Translate(QStringLiteral("It's impossible to save this file to its original format."));
        return false;
    }
    return format->write(path, text, error);
}

} // namespace tonaris
