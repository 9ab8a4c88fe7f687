#include "conversation/PocketDecoder.h"

#include <QRegularExpression>

#include <algorithm>

#include <pocketsphinx.h>

namespace tonaris {

namespace {

// Short syllables and common little words that soak up speech that is not on the list. Listed
// words are taken out of it, so a listed "the" is still heard as itself.
const char *const GarbageWords[] = {
    "ah", "uh", "ba", "da", "ga",  "ka",  "ma",  "na",  "pa",  "ta",  "la", "sa",
    "fa", "va", "ra", "wa", "bee", "nee", "dee", "tee", "the", "and", "it", "is",
};

bool inDictionary(ps_decoder_t *ps, const QByteArray &word)
{
    char *phones = ps_lookup_word(ps, word.constData());
    ckd_free(phones);
    return phones != nullptr;
}

QByteArray jsgfFor(ps_decoder_t *ps, const QStringList &phrases)
{
    QStringList garbage;
    for (const char *word : GarbageWords) {
        const QString w = QString::fromLatin1(word);
        if (!phrases.contains(w) && inDictionary(ps, word))
            garbage.append(w);
    }
    QString alternatives = phrases.join(QStringLiteral(" | "));
    if (!alternatives.isEmpty())
        alternatives += QStringLiteral(" | ");
    alternatives += QStringLiteral("<garbage>+");
    return (QStringLiteral("#JSGF V1.0;\ngrammar tonaris;\npublic <phrase> = ") + alternatives +
            QStringLiteral(";\n<garbage> = ") + garbage.join(QStringLiteral(" | ")) +
            QStringLiteral(";\n"))
        .toUtf8();
}

// Words that can stand in a grammar as they are: letters, digits, apostrophes and hyphens.
bool isPlainWord(const QString &word)
{
    static const QRegularExpression plain(QStringLiteral("^[\\w'-]+$"),
                                          QRegularExpression::UseUnicodePropertiesOption);
    return plain.match(word).hasMatch();
}

} // namespace

QString PocketDecoder::listedPhrase(const QString &hypothesis, const QStringList &phrases)
{
    QStringList words = hypothesis.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    auto isGarbage = [&phrases](const QString &word) {
        return !phrases.contains(word) &&
               std::any_of(std::begin(GarbageWords), std::end(GarbageWords),
                           [&word](const char *g) { return word == QLatin1String(g); });
    };
    if (words.size() > 1 && isGarbage(words.first()))
        words.removeFirst(); // one sound in front: a breath or a click, not a sentence

    const QString phrase = words.join(QLatin1Char(' '));
    return phrases.contains(phrase) ? phrase : QString();
}

PocketDecoder::~PocketDecoder()
{
    if (m_ps)
        ps_free(m_ps);
    if (m_config)
        cmd_ln_free_r(m_config);
}

bool PocketDecoder::open(const AsrModel &model)
{
    if (m_ps) {
        ps_free(m_ps);
        m_ps = nullptr;
    }
    if (m_config) {
        cmd_ln_free_r(m_config);
        m_config = nullptr;
    }
    m_model = model;
    m_search.clear();
    m_inUtterance = false;
    const QByteArray hmm = model.acousticModel.toLocal8Bit();
    const QByteArray dict = model.dictionary.toLocal8Bit();
    m_config =
        cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-dict", dict.constData(),
                    "-dither", "yes", "-silprob", "0.5", "-logfn", "/dev/null", nullptr);
    if (m_config)
        m_ps = ps_init(m_config);
    if (!m_ps) {
        m_error = QStringLiteral("The recognition model %1 cannot be loaded.").arg(model.name);
        return false;
    }
    return true;
}

QString PocketDecoder::normalizePhrase(const QString &phrase)
{
    return phrase.simplified().toLower();
}

bool PocketDecoder::setWords(const QStringList &phrases, bool acceptGarbageOnly,
                             QStringList *unknown)
{
    if (!m_ps)
        return false;
    QStringList known;
    for (const QString &phrase : phrases) {
        const QString p = normalizePhrase(phrase);
        bool ok = !p.isEmpty();
        for (const QString &word : p.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            char *phones =
                isPlainWord(word) ? ps_lookup_word(m_ps, word.toUtf8().constData()) : nullptr;
            ok = ok && phones;
            ckd_free(phones);
        }
        if (ok && !known.contains(p))
            known.append(p);
        else if (!ok && unknown && !p.isEmpty())
            unknown->append(p);
    }
    if (known.isEmpty() && !acceptGarbageOnly)
        return false;
    // A fresh name each time: the old grammar is dropped only once the new one is active.
    const QByteArray name = "words" + QByteArray::number(++m_grammars);
    if (ps_set_jsgf_string(m_ps, name.constData(), jsgfFor(m_ps, known).constData()) < 0) {
        m_error = QStringLiteral("The word list cannot be turned into a grammar.");
        return false;
    }
    const QByteArray old = m_search;
    if (!switchSearch(name))
        return false;
    if (old.startsWith("words"))
        ps_unset_search(m_ps, old.constData());
    return true;
}

bool PocketDecoder::setDictation()
{
    if (!m_ps)
        return false;
    if (!ps_get_lm(m_ps, "dictation")) {
        if (m_model.languageModel.isEmpty() ||
            ps_set_lm_file(m_ps, "dictation", m_model.languageModel.toLocal8Bit().constData()) <
                0) {
            m_error =
                QStringLiteral("The recognition model %1 cannot take dictation.").arg(m_model.name);
            return false;
        }
    }
    return switchSearch("dictation");
}

bool PocketDecoder::switchSearch(const QByteArray &name)
{
    if (m_inUtterance) {
        ps_end_utt(m_ps);
        m_inUtterance = false;
    }
    if (ps_set_search(m_ps, name.constData()) < 0) {
        m_error = QStringLiteral("The recogniser cannot switch to %1.").arg(QLatin1String(name));
        return false;
    }
    m_search = name;
    return true;
}

void PocketDecoder::restart()
{
    if (m_inUtterance) {
        ps_end_utt(m_ps);
        m_inUtterance = false;
    }
}

QStringList PocketDecoder::feed(const std::int16_t *samples, std::size_t count)
{
    QStringList results;
    if (!m_ps || m_search.isEmpty() || count == 0)
        return results;
    if (!m_inUtterance) {
        ps_start_utt(m_ps);
        m_inUtterance = true;
        m_heardSpeech = false;
    }
    ps_process_raw(m_ps, samples, count, FALSE, FALSE);
    const bool speech = ps_get_in_speech(m_ps) != 0;
    if (speech) {
        m_heardSpeech = true;
    } else if (m_heardSpeech) {
        // A noise that gave no word (a click, a breath, the room coming in) does not end the
        // utterance: ending it there would cut the start off speech that follows at once.
        const char *partial = ps_get_hyp(m_ps, nullptr);
        if (partial && *partial)
            endUtterance(&results);
        else
            m_heardSpeech = false;
    }
    return results;
}

void PocketDecoder::endUtterance(QStringList *results)
{
    ps_end_utt(m_ps);
    m_inUtterance = false;
    const char *hyp = ps_get_hyp(m_ps, nullptr);
    results->append(normalizePhrase(QString::fromUtf8(hyp ? hyp : "")));
}

} // namespace tonaris
