#pragma once

#include "config/Dialogs.h"

#include <QStringList>

#include <utility>

namespace tonaris::test {

// Answers the program's questions as the test says and records what it was told.
struct RecordingDialogs : Dialogs
{
    QStringList messages;
    QStringList questions;
    int answer = -1;           // index of the button chosen
    QStringList files;         // files "picked" in open dialogs, first first
    QStringList multipleFiles; // all picked at once in a dialog of several files
    QStringList saveFiles;     // files "picked" in save dialogs, first first
    QStringList titles;        // titles of the file dialogs shown

    void clear() { *this = RecordingDialogs(); }

    void message(QWidget *, const QString &text, Icon, const QString &) override
    {
        messages.append(text);
    }
    int choose(QWidget *, const QString &text, const QStringList &, const QString &) override
    {
        questions.append(text);
        return answer;
    }
    QString openFileName(QWidget *, const QString &title, const QString &) override
    {
        titles.append(title);
        return files.isEmpty() ? QString() : files.takeFirst();
    }
    QStringList openFileNames(QWidget *, const QString &title, const QString &) override
    {
        titles.append(title);
        return std::exchange(multipleFiles, {});
    }
    QString saveFileName(QWidget *, const QString &title, const QString &,
                         const QString &initialName) override
    {
        titles.append(title + QStringLiteral(" [") + initialName + QStringLiteral("]"));
        return saveFiles.isEmpty() ? QString() : saveFiles.takeFirst();
    }
};

} // namespace tonaris::test
