#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tonaris {

// One installed recognition model: an acoustic model folder, its pronouncing dictionary and,
// for dictation, a language model ("" when the model has none).
struct AsrModel
{
    QString name;
    QString acousticModel;
    QString dictionary;
    QString languageModel;
};

// The folders searched for models, in order: the system's PocketSphinx models, then the user's
// data folder "tonaris/asr".
QStringList AsrModelRoots();

// Every model found one level below the roots: a folder that holds an acoustic model (a folder
// with a "mdef" file: itself or one of its sub-folders) and a ".dict" file. Sorted by name
// within a root; a name met twice is kept once, the first root winning.
QList<AsrModel> FindAsrModels(const QStringList &roots = AsrModelRoots());

} // namespace tonaris
