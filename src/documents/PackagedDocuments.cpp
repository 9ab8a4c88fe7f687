#include "documents/PackagedDocuments.h"

#include "config/MultiLang.h"
#include "documents/DocumentReaders.h"
#include "documents/ZipArchive.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QUrl>
#include <QXmlStreamReader>

namespace tonaris {

Q_LOGGING_CATEGORY(lcPackaged, "tonaris.documents.packaged", QtWarningMsg)

using MultiLang::Translate;

namespace {

const QLatin1String Crlf("\r\n");
constexpr qsizetype MaxTitleLength = 200;

QString cannotRead(const QString &path, const QString &reason)
{
    return Translate(QStringLiteral("Can't read the file:")) + QLatin1Char(' ') +
           QDir::toNativeSeparators(path) + Crlf + reason;
}

QString xmlProblem(const QXmlStreamReader &r)
{
    if (!r.hasError() || r.error() == QXmlStreamReader::PrematureEndOfDocumentError)
        return r.hasError() ? Translate(QStringLiteral("The document breaks off.")) : QString();
    return Translate(QStringLiteral("The document is damaged at line %1: %2"))
        .arg(r.lineNumber())
        .arg(r.errorString());
}

// The text as lines: one paragraph a line, chapters opened by their #BREAK line.
class Lines
{
public:
    // Text whose blanks count, as a word processor stores it.
    void add(QStringView text) { m_line += text; }
    // Text of an XML layout: every run of blanks and breaks is one blank.
    void addCollapsed(QStringView text)
    {
        for (const QChar c : text) {
            if (c.isSpace()) {
                if (!m_line.isEmpty() && !m_line.endsWith(QLatin1Char(' ')))
                    m_line += QLatin1Char(' ');
            } else {
                m_line += c;
            }
        }
    }
    void endLine()
    {
        while (m_line.endsWith(QLatin1Char(' ')))
            m_line.chop(1);
        m_out += m_line + Crlf;
        m_line.clear();
    }
    void endLineIfAny()
    {
        if (!m_line.isEmpty())
            endLine();
    }
    QString currentLine() const { return m_line; }
    void dropLine() { m_line.clear(); }
    // The first chapter gets a #BREAK only when titled, so that no volume is left empty.
    void chapter(const QString &title)
    {
        endLineIfAny();
        QString clean = title.simplified();
        clean.replace(QLatin1Char('<'), QLatin1Char(' '))
            .replace(QLatin1Char('>'), QLatin1Char(' '));
        clean = clean.simplified().left(MaxTitleLength);
        if (clean.isEmpty() && m_chapters == 0) {
            ++m_chapters;
            return;
        }
        m_out += QLatin1String("#BREAK");
        if (!clean.isEmpty())
            m_out += QLatin1Char(' ') + clean;
        m_out += Crlf;
        ++m_chapters;
    }
    void addBlock(const QString &block)
    {
        endLineIfAny();
        m_out += block;
        if (!block.endsWith(Crlf))
            m_out += Crlf;
    }
    QString text()
    {
        endLineIfAny();
        return m_out;
    }

private:
    QString m_out;
    QString m_line;
    int m_chapters = 0;
};

bool hasText(const QString &text)
{
    for (const QString &line : text.split(Crlf))
        if (!line.trimmed().isEmpty() && !line.startsWith(QLatin1String("#BREAK")))
            return true;
    return false;
}

// Reads one XML part of a zipped document into text by `convert`.
bool readZippedXml(const QString &path, const QString &part,
                   QString (*convert)(const QByteArray &, QString &), QString &text, QString &error)
{
    text.clear();
    ZipArchive zip;
    QString reason;
    QByteArray xml;
    if (!zip.open(path, reason) || !zip.read(part, xml, reason)) {
        error = cannotRead(path, reason);
        return false;
    }
    text = convert(xml, reason);
    if (!reason.isEmpty())
        qCWarning(lcPackaged) << path << reason;
    if (!hasText(text) && !reason.isEmpty()) {
        error = cannotRead(path, reason);
        text.clear();
        return false;
    }
    return true;
}

bool isWordNamespace(QStringView uri)
{
    return uri.endsWith(QLatin1String("wordprocessingml/2006/main")) ||
           uri.endsWith(QLatin1String("wordprocessingml/main"));
}

// An EPUB member's path from an href relative to the folder of the package file.
QString memberPath(const QString &folder, const QString &href)
{
    QString relative = QUrl::fromPercentEncoding(href.section(QLatin1Char('#'), 0, 0).toUtf8());
    const QString joined = folder.isEmpty() ? relative : folder + QLatin1Char('/') + relative;
    QString clean = QDir::cleanPath(joined);
    while (clean.startsWith(QLatin1Char('/')))
        clean.remove(0, 1);
    return clean;
}

QString epubPackagePath(const ZipArchive &zip)
{
    QByteArray container;
    QString ignored;
    if (zip.read(QStringLiteral("META-INF/container.xml"), container, ignored)) {
        QXmlStreamReader r(container);
        while (!r.atEnd()) {
            if (r.readNext() == QXmlStreamReader::StartElement &&
                r.name() == QLatin1String("rootfile")) {
                const QString path = r.attributes().value(QLatin1String("full-path")).toString();
                if (zip.contains(path))
                    return path;
            }
        }
    }
    // Without a usable container: the first package file there is.
    for (const QString &name : zip.names())
        if (name.endsWith(QLatin1String(".opf"), Qt::CaseInsensitive))
            return name;
    return {};
}

// The pages of the book in reading order, as paths inside the zip.
QStringList epubReadingOrder(const QByteArray &opf, const QString &folder)
{
    QHash<QString, QString> pages; // id -> path, pages only
    QStringList manifestOrder;
    QStringList spine;
    QXmlStreamReader r(opf);
    while (!r.atEnd()) {
        if (r.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes a = r.attributes();
        if (r.name() == QLatin1String("item")) {
            const QString type = a.value(QLatin1String("media-type")).toString();
            if (!type.contains(QLatin1String("html")))
                continue;
            const QString path = memberPath(folder, a.value(QLatin1String("href")).toString());
            pages.insert(a.value(QLatin1String("id")).toString(), path);
            manifestOrder << path;
        } else if (r.name() == QLatin1String("itemref")) {
            if (a.value(QLatin1String("linear")) != QLatin1String("no"))
                spine << a.value(QLatin1String("idref")).toString();
        }
    }
    QStringList order;
    for (const QString &id : spine)
        if (pages.contains(id) && !order.contains(pages.value(id)))
            order << pages.value(id);
    // A package without a usable spine: its pages as the manifest lists them.
    return order.isEmpty() ? manifestOrder : order;
}

QString pageTitle(const QString &html)
{
    static const QRegularExpression heading(QStringLiteral("<h([1-6])\\b[^>]*>(.*?)</h\\1\\s*>"),
                                            QRegularExpression::CaseInsensitiveOption |
                                                QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression title(QStringLiteral("<title\\b[^>]*>(.*?)</title\\s*>"),
                                          QRegularExpression::CaseInsensitiveOption |
                                              QRegularExpression::DotMatchesEverythingOption);
    for (const auto *pattern : {&heading, &title}) {
        const auto match = pattern->match(html);
        if (match.hasMatch()) {
            const QString text = HtmlToText(match.captured(match.lastCapturedIndex())).simplified();
            if (!text.isEmpty())
                return text;
        }
    }
    return {};
}

} // namespace

bool ReadEpubFile(const QString &path, QString &text, QString &error)
{
    text.clear();
    ZipArchive zip;
    QString reason;
    if (!zip.open(path, reason)) {
        error = cannotRead(path, reason);
        return false;
    }
    const QString package = epubPackagePath(zip);
    QByteArray opf;
    if (package.isEmpty() || !zip.read(package, opf, reason)) {
        error = cannotRead(path, Translate(QStringLiteral(
                                     "It is not an EPUB book: its package file is missing.")));
        return false;
    }
    const QString folder =
        QFileInfo(package).path() == QLatin1String(".") ? QString() : QFileInfo(package).path();
    Lines out;
    QStringList problems;
    for (const QString &page : epubReadingOrder(opf, folder)) {
        QByteArray bytes;
        if (!zip.read(page, bytes, reason)) {
            problems << reason; // a damaged chapter is left out, the others are read
            continue;
        }
        const QString html = DecodeRawText(bytes);
        const QString body = HtmlToText(html).trimmed();
        if (body.isEmpty())
            continue; // covers and other pictures
        out.chapter(pageTitle(html));
        out.addBlock(body);
    }
    for (const QString &problem : problems)
        qCWarning(lcPackaged) << path << problem;
    text = out.text();
    if (!hasText(text)) {
        text.clear();
        error = cannotRead(path, problems.isEmpty()
                                     ? Translate(QStringLiteral("The book holds no text."))
                                     : problems.first());
        return false;
    }
    return true;
}

QString DocxXmlToText(const QByteArray &xml, QString &problem)
{
    QXmlStreamReader r(xml);
    Lines out;
    int skip = 0; // depth inside a part that is not read
    bool inText = false;
    while (!r.atEnd()) {
        const auto token = r.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (skip) {
                ++skip;
                continue;
            }
            const QStringView name = r.name();
            if (r.namespaceUri().endsWith(QLatin1String("markup-compatibility/2006")) &&
                name == QLatin1String("Fallback")) {
                skip = 1; // the same text box again, for older programs
                continue;
            }
            if (!isWordNamespace(r.namespaceUri()))
                continue;
            // Properties hold tab stops and the like, not text.
            if (name == QLatin1String("pPr") || name == QLatin1String("rPr") ||
                name == QLatin1String("sectPr") || name == QLatin1String("delText") ||
                name == QLatin1String("instrText"))
                skip = 1;
            else if (name == QLatin1String("t"))
                inText = true;
            else if (name == QLatin1String("tab"))
                out.add(u"\t");
            else if (name == QLatin1String("br") || name == QLatin1String("cr"))
                out.endLine();
            else if (name == QLatin1String("noBreakHyphen"))
                out.add(u"-");
            else if (name == QLatin1String("p"))
                out.endLineIfAny(); // a paragraph inside another (a text box) on its own line
        } else if (token == QXmlStreamReader::EndElement) {
            if (skip) {
                --skip;
                continue;
            }
            if (!isWordNamespace(r.namespaceUri()))
                continue;
            if (r.name() == QLatin1String("t"))
                inText = false;
            else if (r.name() == QLatin1String("p"))
                out.endLine();
        } else if (token == QXmlStreamReader::Characters && inText && !skip) {
            out.add(r.text());
        }
    }
    problem = xmlProblem(r);
    return out.text();
}

QString OdtXmlToText(const QByteArray &xml, QString &problem)
{
    static const QLatin1String textNs("urn:oasis:names:tc:opendocument:xmlns:text:1.0");
    static const QLatin1String officeNs("urn:oasis:names:tc:opendocument:xmlns:office:1.0");
    QXmlStreamReader r(xml);
    Lines out;
    int skip = 0;
    int paragraphs = 0; // depth of text:p and text:h
    while (!r.atEnd()) {
        const auto token = r.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (skip) {
                ++skip;
                continue;
            }
            const QStringView name = r.name();
            const QStringView ns = r.namespaceUri();
            if ((ns == textNs &&
                 (name == QLatin1String("note") || name == QLatin1String("tracked-changes"))) ||
                (ns == officeNs && name == QLatin1String("annotation"))) {
                skip = 1; // notes, comments and deleted text are not part of the reading
            } else if (ns == textNs && (name == QLatin1String("p") || name == QLatin1String("h"))) {
                if (paragraphs)
                    out.endLineIfAny();
                ++paragraphs;
            } else if (ns == textNs && paragraphs && name == QLatin1String("s")) {
                const int count = r.attributes().value(textNs, QLatin1String("c")).toInt();
                out.add(QString(qBound(1, count, 1000), QLatin1Char(' ')));
            } else if (ns == textNs && paragraphs && name == QLatin1String("tab")) {
                out.add(u"\t");
            } else if (ns == textNs && paragraphs && name == QLatin1String("line-break")) {
                out.endLine();
            }
        } else if (token == QXmlStreamReader::EndElement) {
            if (skip) {
                --skip;
                continue;
            }
            if (r.namespaceUri() == textNs &&
                (r.name() == QLatin1String("p") || r.name() == QLatin1String("h")) && paragraphs) {
                --paragraphs;
                out.endLine();
            }
        } else if (token == QXmlStreamReader::Characters && paragraphs && !skip) {
            out.addCollapsed(r.text());
        }
    }
    problem = xmlProblem(r);
    return out.text();
}

QString Fb2XmlToText(const QByteArray &xml, QString &problem)
{
    QXmlStreamReader r(xml);
    Lines out;
    int skip = 0;
    int sections = 0;
    bool chapterPending = false; // a top section has begun and has had no title yet
    int chapterTitle = 0;        // depth inside the title of a top section
    QStringList titleLines;
    bool inLine = false;
    const auto lineElement = [](QStringView name) {
        return name == QLatin1String("p") || name == QLatin1String("v") ||
               name == QLatin1String("subtitle") || name == QLatin1String("text-author");
    };
    while (!r.atEnd()) {
        const auto token = r.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (skip) {
                ++skip;
                continue;
            }
            const QStringView name = r.name();
            const QStringView bodyName = r.attributes().value(QLatin1String("name"));
            if (name == QLatin1String("binary") || name == QLatin1String("description") ||
                (name == QLatin1String("body") &&
                 (bodyName == QLatin1String("notes") || bodyName == QLatin1String("comments")))) {
                skip = 1;
            } else if (name == QLatin1String("section")) {
                out.endLineIfAny();
                if (++sections == 1)
                    chapterPending = true;
            } else if (name == QLatin1String("title") && sections == 1 && chapterPending) {
                chapterTitle = 1;
                titleLines.clear();
            } else if (chapterTitle) {
                ++chapterTitle;
                if (lineElement(name))
                    inLine = true;
            } else if (lineElement(name)) {
                if (chapterPending) {
                    out.chapter(QString()); // a chapter without a title
                    chapterPending = false;
                }
                out.endLineIfAny();
                inLine = true;
            } else if (name == QLatin1String("empty-line")) {
                out.endLineIfAny();
                out.endLine();
            }
        } else if (token == QXmlStreamReader::EndElement) {
            if (skip) {
                --skip;
                continue;
            }
            const QStringView name = r.name();
            if (chapterTitle) {
                if (lineElement(name) && inLine) {
                    inLine = false;
                    titleLines << out.currentLine().trimmed();
                    out.dropLine();
                }
                if (--chapterTitle == 0) {
                    titleLines.removeAll(QString());
                    out.chapter(titleLines.join(QLatin1Char(' ')));
                    for (const QString &line : titleLines)
                        out.addBlock(line);
                    chapterPending = false;
                }
            } else if (name == QLatin1String("section")) {
                --sections;
            } else if (lineElement(name) && inLine) {
                inLine = false;
                out.endLine();
            }
        } else if (token == QXmlStreamReader::Characters && inLine && !skip) {
            out.addCollapsed(r.text());
        }
    }
    problem = xmlProblem(r);
    return out.text();
}

bool ReadDocxFile(const QString &path, QString &text, QString &error)
{
    return readZippedXml(path, QStringLiteral("word/document.xml"), DocxXmlToText, text, error);
}

bool ReadOdtFile(const QString &path, QString &text, QString &error)
{
    return readZippedXml(path, QStringLiteral("content.xml"), OdtXmlToText, text, error);
}

bool ReadFb2File(const QString &path, QString &text, QString &error)
{
    text.clear();
    QByteArray xml;
    if (!ReadRawBytes(path, xml, error))
        return false;
    QString problem;
    text = Fb2XmlToText(xml, problem);
    if (!problem.isEmpty())
        qCWarning(lcPackaged) << path << problem;
    if (!hasText(text)) {
        text.clear();
        error = cannotRead(path, problem.isEmpty()
                                     ? Translate(QStringLiteral("The book holds no text."))
                                     : problem);
        return false;
    }
    return true;
}

} // namespace tonaris
