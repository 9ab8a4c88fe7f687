#include "conversation/Prattle.h"

#include "config/MultiLang.h"
#include "config/ProgramRandom.h"
#include "config/TextCodec.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace tonaris {

using MultiLang::Translate;

namespace {

const QString Head = QStringLiteral("//HEAD");
const QString PhrasesMarker = QStringLiteral("//PHRASES");
const QString EvasiveMarker = QStringLiteral("//EVASIVE");
const QString DirtyMarker = QStringLiteral("//DIRTY WORDS");
const QString DirtyRepliesMarker = QStringLiteral("//REPLY TO DIRTY WORDS");
constexpr int FirstPhraseSlot = 11;

// Reads a text line by line the way personality files have always been read: the end is
// reached when the read position, counted from 1, reaches the length, so a last line of a
// single character with no break behind it stays unread. CR LF, CR and LF each end a line.
class LineReader
{
public:
    explicit LineReader(const QString &text)
        : m_text(text)
    {}
    bool atEnd() const { return m_pos + 1 >= m_text.size(); }
    bool pastEnd() const { return m_pos >= m_text.size(); }
    QString readLine()
    {
        qsizetype end = m_pos;
        while (end < m_text.size() && m_text.at(end) != u'\r' && m_text.at(end) != u'\n')
            ++end;
        const QString line = m_text.mid(m_pos, end - m_pos);
        m_pos = end;
        if (m_pos < m_text.size() && m_text.at(m_pos) == u'\r')
            ++m_pos;
        if (m_pos < m_text.size() && m_text.at(m_pos) == u'\n' &&
            (m_pos == end || m_text.at(m_pos - 1) == u'\r'))
            ++m_pos;
        return line;
    }

private:
    const QString &m_text;
    qsizetype m_pos = 0;
};

void storeAt(QStringList &list, int slot, const QString &value)
{
    if (list.size() <= slot)
        list.resize(slot + 1);
    list[slot] = value;
}

bool holds(const QString &line, QLatin1StringView word)
{
    return line.contains(word, Qt::CaseInsensitive);
}

// The text behind the first "=", trimmed; a null string when the line has none.
QString valueOf(const QString &line)
{
    const qsizetype eq = line.indexOf(u'=');
    return eq < 0 ? QString() : line.mid(eq + 1).trimmed();
}

bool isSeparator(QChar c)
{
    static const QString separators = QStringLiteral(" ,.:;'?!></\\*\"\t");
    return separators.contains(c);
}

bool interchangeableEnding(QChar a, QChar b)
{
    static const QString vowels = QStringLiteral("AEIO");
    return a == b || (vowels.contains(a) && vowels.contains(b));
}

QString withEnding(const QString &line, QChar ending)
{
    QString reply = line.trimmed();
    if (reply.isEmpty() || !QStringLiteral("!.?").contains(reply.back()))
        reply += ending;
    return reply;
}

} // namespace

bool Prattle::Ring::contains(int slot) const
{
    return std::find(m_slots.begin(), m_slots.end(), slot) != m_slots.end();
}

void Prattle::Ring::push(int slot)
{
    std::move(m_slots.begin() + 1, m_slots.end(), m_slots.begin());
    m_slots.back() = slot;
}

Prattle::Prattle(QObject *parent)
    : QObject(parent)
{
    RecentPhrases.clear();
    RecentDirtyReplies.clear();
    RecentEvasive.clear();
}

void Prattle::LoadIAFile(const QString &In_IAFileName)
{
    m_iaFileName = In_IAFileName;
    Phrases.clear();
    EvasiveReplies.clear();
    DirtyWords.clear();
    DirtyReplies.clear();
    m_ready = false;
    RecentPhrases.clear();
    RecentDirtyReplies.clear();
    RecentEvasive.clear();
    m_genderText = QStringLiteral("Female");
    m_linguaText = QStringLiteral("410,1040");
    YesWords = {QStringLiteral("SI")};
    NoWords = {QStringLiteral("NO")};
    m_reported.clear();

    const QFileInfo info(In_IAFileName);
    if (!info.isFile() || info.size() < 1)
        return;
    QFile file(In_IAFileName);
    if (!file.open(QIODevice::ReadOnly))
        return;
    m_ready = readSections(DecodeText(file.readAll()));
}

bool Prattle::readSections(const QString &text)
{
    LineReader in(text);
    // Anything before the header is a remark.
    for (;;) {
        if (in.atEnd())
            return false;
        if (in.readLine() == Head)
            break;
    }
    for (;;) {
        if (in.atEnd())
            return false;
        const QString line = in.readLine();
        if (holds(line, QLatin1StringView("GENDER"))) {
            m_genderText = holds(line, QLatin1StringView("FEMALE")) ? QStringLiteral("FEMALE")
                                                                    : QStringLiteral("MALE");
        } else if (holds(line, QLatin1StringView("LinguaCode"))) {
            if (line.contains(u'='))
                m_linguaText = valueOf(line);
        } else if (holds(line, QLatin1StringView("YES"))) {
            if (line.contains(u'='))
                YesWords = valueOf(line).toUpper().split(u',');
        } else if (holds(line, QLatin1StringView("NO"))) {
            // Any line holding "NO" with an "=", a remark too.
            if (line.contains(u'='))
                NoWords = valueOf(line).toUpper().split(u',');
        } else if (line == PhrasesMarker) {
            break;
        }
    }
    for (int slot = FirstPhraseSlot;; ++slot) {
        if (in.atEnd())
            return false;
        const QString line = in.readLine();
        if (line == EvasiveMarker)
            break;
        if (!line.isEmpty())
            storeAt(Phrases, slot, line.startsWith(u' ') ? line.toUpper() : line);
    }
    // Empty lines store nothing but take their slot.
    auto readList = [&in](QStringList &list, const QString &endMarker, bool upper) {
        for (int slot = 0;; ++slot) {
            if (in.atEnd())
                return false;
            const QString line = in.readLine();
            if (line == endMarker)
                return true;
            if (!line.isEmpty())
                storeAt(list, slot, upper ? line.toUpper() : line);
        }
    };
    if (!readList(EvasiveReplies, DirtyMarker, false) ||
        !readList(DirtyWords, DirtyRepliesMarker, true))
        return false;
    // The last section runs to the end of the file and needs at least one line.
    if (in.pastEnd()) {
        reportOnce(Translate(QStringLiteral("The personality %1 ends right after its %2 line: "
                                            "it cannot reply."))
                       .arg(QFileInfo(m_iaFileName).fileName(), DirtyRepliesMarker));
        return false;
    }
    for (int slot = 0;; ++slot) {
        const QString line = in.readLine();
        if (!line.isEmpty())
            storeAt(DirtyReplies, slot, line);
        if (in.atEnd())
            return true;
    }
}

QStringList Prattle::SplitWords(const QString &text)
{
    QStringList words;
    qsizetype start = -1;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        const bool separator = i == text.size() || isSeparator(text.at(i));
        if (separator && start >= 0) {
            words.append(text.mid(start, i - start));
            start = -1;
        } else if (!separator && start < 0) {
            start = i;
        }
    }
    return words;
}

int Prattle::ScoreKeywords(const QStringList &words, QStringList keywords)
{
    int score = 0;
    for (const QString &word : words) {
        if (word.isEmpty())
            continue;
        const qsizetype w = word.size();
        for (QString &keyword : keywords) {
            qsizetype n = keyword.size();
            int weight = 1;
            int bonus = 0;
            QStringView key = keyword;
            if (w == n - 1 && keyword.endsWith(u'+')) {
                key = key.chopped(1);
                --n;
                weight = 2;
                bonus = 1;
            }
            if (w != n)
                continue;
            const bool match = n < 2 ? word == key
                                     : QStringView(word).first(n - 1) == key.first(n - 1) &&
                                           interchangeableEnding(word.back(), key.back());
            if (match) {
                keyword.clear(); // a keyword matches once a line
                score += weight * int(w) + bonus;
            }
        }
    }
    return score;
}

bool Prattle::IsStopWord(const QString &word)
{
    // Italian function words; the entries with an apostrophe never meet a split word, as the
    // apostrophe separates words.
    static const QStringList stopWords = {
        QStringLiteral("ESATTO"), QStringLiteral("SICURO"), QStringLiteral("SI"),
        QStringLiteral("SÌ"),     QStringLiteral("NO"),     QStringLiteral("NE"),
        QStringLiteral("NE'"),    QStringLiteral("NÈ"),     QStringLiteral("MA"),
        QStringLiteral("SE"),     QStringLiteral("CIOE'"),  QStringLiteral("CIOÈ"),
        QStringLiteral("MI"),     QStringLiteral("TI"),     QStringLiteral("SI"),
        QStringLiteral("SE"),     QStringLiteral("ESSO"),   QStringLiteral("ESSI"),
        QStringLiteral("ESSE"),   QStringLiteral("O"),      QStringLiteral("OD"),
        QStringLiteral("QUEL"),   QStringLiteral("QUELL'"), QStringLiteral("QUELLO"),
        QStringLiteral("QUELLA"), QStringLiteral("QUELLE"), QStringLiteral("QUELLI"),
        QStringLiteral("QUEGLI"), QStringLiteral("E"),      QStringLiteral("ED"),
        QStringLiteral("COSA"),   QStringLiteral("COME"),   QStringLiteral("QUALE"),
        QStringLiteral("QUALI"),  QStringLiteral("QUANTO"), QStringLiteral("QUANT'"),
        QStringLiteral("QUANTA"), QStringLiteral("QUANTE"), QStringLiteral("QUANTI"),
        QStringLiteral("QUANDO"), QStringLiteral("DOVE"),   QStringLiteral("PERCHE'"),
        QStringLiteral("PERCHÈ"), QStringLiteral("CHI"),    QStringLiteral("CHE"),
        QStringLiteral("QUALE"),  QStringLiteral("QUALI"),  QStringLiteral("È"),
        QStringLiteral("E'"),     QStringLiteral("IL"),     QStringLiteral("LA"),
        QStringLiteral("L'"),     QStringLiteral("LO"),     QStringLiteral("LI"),
        QStringLiteral("LE"),     QStringLiteral("GLI"),    QStringLiteral("UN"),
        QStringLiteral("UN'"),    QStringLiteral("UNA"),    QStringLiteral("DEI"),
        QStringLiteral("DI"),     QStringLiteral("DEL"),    QStringLiteral("DELL'"),
        QStringLiteral("DELLA"),  QStringLiteral("DELLO"),  QStringLiteral("DEGLI"),
        QStringLiteral("DELLE"),  QStringLiteral("A"),      QStringLiteral("AD"),
        QStringLiteral("AL"),     QStringLiteral("ALL'"),   QStringLiteral("ALLO"),
        QStringLiteral("ALLA"),   QStringLiteral("ALLE"),   QStringLiteral("AGLI"),
        QStringLiteral("DA"),     QStringLiteral("DAL"),    QStringLiteral("DALL'"),
        QStringLiteral("DALLO"),  QStringLiteral("DALLA"),  QStringLiteral("DALLE"),
        QStringLiteral("DAGLI"),  QStringLiteral("IN"),     QStringLiteral("NEL"),
        QStringLiteral("NELL'"),  QStringLiteral("NELLO"),  QStringLiteral("NELLA"),
        QStringLiteral("NEGLI"),  QStringLiteral("NELLE"),  QStringLiteral("CON"),
        QStringLiteral("SU"),     QStringLiteral("SUL"),    QStringLiteral("SULL'"),
        QStringLiteral("SULLO"),  QStringLiteral("SULLA"),  QStringLiteral("SUGLI"),
        QStringLiteral("SULLE"),  QStringLiteral("PER"),    QStringLiteral("TRA"),
        QStringLiteral("FRA"),    QStringLiteral("IO"),     QStringLiteral("TU"),
        QStringLiteral("LUI"),    QStringLiteral("LEI"),    QStringLiteral("NOI"),
        QStringLiteral("VOI"),    QStringLiteral("LORO"),
    };
    return stopWords.contains(word);
}

bool Prattle::isDirty(const QStringList &words) const
{
    for (const QString &word : words) {
        if (word.isEmpty())
            continue;
        for (const QString &pattern : DirtyWords) {
            if (pattern.isEmpty())
                continue; // a slot left by an empty line
            bool hit;
            if (pattern.endsWith(u'*')) {
                hit = word.contains(QStringView(pattern).chopped(1));
            } else if (pattern.endsWith(u'?')) {
                // Meant as a one-letter wildcard, it compares strings of different lengths and
                // so never matches; such patterns are kept, inert, as files already use them.
                hit = word.size() == pattern.size() - 1 &&
                      QStringView(word).chopped(1) == QStringView(pattern).chopped(1);
            } else {
                hit = word == pattern;
            }
            if (hit)
                return true;
        }
    }
    return false;
}

QString Prattle::Rispondi(QString &In_Out_Frase)
{
    if (!m_ready)
        return QString();
    In_Out_Frase = In_Out_Frase.trimmed().toUpper();
    if (In_Out_Frase.isEmpty())
        return QString();

    if (PendingLine != -1) {
        const int asked = PendingLine;
        PendingLine = -1;
        if (YesWords.contains(In_Out_Frase)) {
            const QString reply = phraseReply(asked + 2, u'.');
            // A fixed value below every phrase slot: the statement after a yes is never
            // counted as said.
            RecentPhrases.push(2);
            return reply;
        }
    }

    QStringList words = SplitWords(In_Out_Frase);
    for (qsizetype i = 0; i < words.size(); ++i) {
        if (words.at(i).isEmpty())
            continue;
        for (qsizetype j = i + 1; j < words.size(); ++j)
            if (words.at(j) == words.at(i))
                words[j].clear();
    }

    if (isDirty(words))
        return drawReply(DirtyReplies, RecentDirtyReplies, DirtyRepliesMarker);

    int bestScore = 0;
    int bestSlot = 0;
    for (int s = 0; s < Phrases.size(); ++s) {
        const QString &line = Phrases.at(s);
        if (!line.startsWith(u' '))
            continue;
        const int score = ScoreKeywords(words, SplitWords(line));
        if (score > bestScore && !RecentPhrases.contains(s + 2)) {
            bestScore = score;
            bestSlot = s;
        }
    }
    if (bestSlot == 0 || bestScore < 1)
        return drawReply(EvasiveReplies, RecentEvasive, EvasiveMarker);

    const bool sentence = std::any_of(words.cbegin(), words.cend(), [](const QString &w) {
        return !w.isEmpty() && IsStopWord(w);
    });
    const int k = bestSlot;
    if (RecentPhrases.contains(k + 1) || sentence) {
        const QString reply = phraseReply(k + 2, u'.');
        if (!reply.isEmpty())
            RecentPhrases.push(k + 2);
        return reply;
    }
    const QString reply = phraseReply(k + 1, u'?');
    if (!reply.isEmpty()) {
        RecentPhrases.push(k + 1);
        PendingLine = k;
    }
    return reply;
}

QString Prattle::phraseReply(int slot, QChar ending)
{
    if (slot < 0 || slot >= Phrases.size()) {
        reportOnce(Translate(QStringLiteral("The personality %1 has a key line without a "
                                            "question and a reply behind it."))
                       .arg(QFileInfo(m_iaFileName).fileName()));
        return QString();
    }
    return withEnding(Phrases.at(slot), ending);
}

QString Prattle::drawReply(const QStringList &lines, const Ring &recent, const QString &section)
{
    // The first line of a section is never drawn, so two lines are the least that works.
    const qsizetype u = lines.size() - 1;
    if (u < 1) {
        reportOnce(Translate(QStringLiteral("The personality %1 needs at least two lines in its "
                                            "%2 section."))
                       .arg(QFileInfo(m_iaFileName).fileName(), section));
        return QString();
    }
    qsizetype index;
    do {
        index = std::min(qsizetype(ProgramRandom() * double(u) + 1.0), u);
    } while (recent.contains(int(index)));
    return lines.at(index);
}

void Prattle::reportOnce(const QString &message)
{
    if (m_reported.contains(message))
        return;
    m_reported.append(message);
    emit problem(message);
}

} // namespace tonaris
