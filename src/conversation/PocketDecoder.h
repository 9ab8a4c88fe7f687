#pragma once

#include "conversation/AsrModels.h"

#include <QString>
#include <QStringList>

#include <cstdint>

struct ps_decoder_s;
struct cmd_ln_s;

namespace tonaris {

// PocketSphinx on a stream of 16 kHz mono 16-bit samples: either a word list (the listed words
// and phrases against a garbage alternative, so that other speech is not forced onto a listed
// word) or free dictation with the model's language model. The stream is cut into utterances
// by the decoder's own voice activity detection; each finished utterance gives one hypothesis,
// lower-case words separated by single blanks, "" when nothing was made out. Not thread-safe:
// one thread owns an object.
class PocketDecoder
{
public:
    PocketDecoder() = default;
    ~PocketDecoder();
    PocketDecoder(const PocketDecoder &) = delete;
    PocketDecoder &operator=(const PocketDecoder &) = delete;

    // Loads the acoustic model and the dictionary (about a quarter of a second). False, with
    // errorString(), when the model cannot be loaded.
    bool open(const AsrModel &model);
    bool isOpen() const { return m_ps != nullptr; }
    const AsrModel &model() const { return m_model; }

    // Listens for these phrases (already lower-cased and trimmed, none empty). Phrases with a
    // word the dictionary lacks are left out and listed in unknown. False when no phrase is
    // left and garbage alone is not wanted (acceptGarbageOnly false).
    bool setWords(const QStringList &phrases, bool acceptGarbageOnly, QStringList *unknown);
    // Free dictation; false when the model has no language model or it does not load.
    bool setDictation();

    // Feeds samples; returns the hypotheses of the utterances that ended inside them.
    QStringList feed(const std::int16_t *samples, std::size_t count);
    // Drops what was heard so far and starts a fresh utterance (after a pause).
    void restart();

    QString errorString() const { return m_error; }

    // The listed phrase a word-list hypothesis stands for, "" when it is none. One garbage
    // word in front of it (a breath, a click) is passed over; more, or anything behind it, is
    // not, so neither "yes please" nor "what a lovely day" is "yes".
    static QString listedPhrase(const QString &hypothesis, const QStringList &phrases);
    // The phrase as the decoder reports it: lower case, one blank between words.
    static QString normalizePhrase(const QString &phrase);

private:
    void endUtterance(QStringList *results);
    bool switchSearch(const QByteArray &name);

    ps_decoder_s *m_ps = nullptr;
    cmd_ln_s *m_config = nullptr;
    AsrModel m_model;
    QString m_error;
    QByteArray m_search;
    int m_grammars = 0;
    bool m_inUtterance = false;
    bool m_heardSpeech = false;
};

} // namespace tonaris
