#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>

namespace tonaris {

// The reply engine: one personality loaded from a ".ia" file, answering one sentence at a time.
// A personality is a list of phrase triples (a key line starting with a blank, a question, a
// statement), evasive replies, dirty-word patterns and replies to them. Keywords are scored
// with the Italian habit of taking word endings in A, E, I and O as one, and a fixed list of
// Italian function words tells a sentence (answered with the statement) from bare keywords
// (answered once with the question). The only memory is an open yes/no question and rings of
// the last eleven lines said. User-interface thread only.
class Prattle : public QObject
{
    Q_OBJECT
public:
    explicit Prattle(QObject *parent = nullptr);

    // Loads a personality; the outcome is told only by IsReady(). An open question survives
    // the load and is answered from the new file's slot of the same number.
    void LoadIAFile(const QString &In_IAFileName);
    // The reply to a sentence, "" when no personality is ready or the sentence is empty. The
    // argument becomes the trimmed, upper-cased sentence (left alone when not ready).
    QString Rispondi(QString &In_Out_Frase);

    bool IsReady() const { return m_ready; }
    QString Gender() const { return m_genderText; }
    QString LinguaCode() const { return m_linguaText; }
    QString IAFileName() const { return m_iaFileName; }

    // The separators of sentences and key lines; an exposed helper for the tests and the
    // benchmark. Words are upper-cased by the caller.
    static QStringList SplitWords(const QString &text);
    // The score of input words against the keywords of one key line.
    static int ScoreKeywords(const QStringList &words, QStringList keywords);
    static bool IsStopWord(const QString &word);

signals:
    // A personality that cannot work as written (a section too short to draw from, a file
    // cut short behind its last marker, a key line with no replies behind it). Each cause is
    // told once per load.
    void problem(const QString &message);

private:
    // The last eleven slots used, oldest first; -1 is an empty place.
    class Ring
    {
    public:
        void clear() { m_slots.fill(-1); }
        bool contains(int slot) const;
        void push(int slot);

    private:
        std::array<int, 11> m_slots{};
    };

    bool readSections(const QString &text);
    QString phraseReply(int slot, QChar ending);
    QString drawReply(const QStringList &lines, const Ring &recent, const QString &section);
    bool isDirty(const QStringList &words) const;
    void reportOnce(const QString &message);

    QStringList Phrases;
    QStringList EvasiveReplies;
    QStringList DirtyWords;
    QStringList DirtyReplies;
    bool m_ready = false;
    Ring RecentPhrases;
    Ring RecentDirtyReplies;
    Ring RecentEvasive;
    QString m_genderText;
    QString m_linguaText;
    QString m_iaFileName;
    QStringList YesWords;
    QStringList NoWords;
    int PendingLine = -1;
    QStringList m_reported;
};

} // namespace tonaris
