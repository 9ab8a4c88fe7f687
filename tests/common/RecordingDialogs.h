#pragma once

#include "config/Dialogs.h"

#include <QStringList>

namespace tonaris::test {

// Answers the program's questions as the test says and records what it was told.
struct RecordingDialogs : Dialogs
{
    QStringList messages;
    QStringList questions;
    int answer = -1;   // index of the button chosen
    QStringList files; // files "picked" in open dialogs, first first

    void message(QWidget *, const QString &text, Icon, const QString &) override
    {
        messages.append(text);
    }
    int choose(QWidget *, const QString &text, const QStringList &, const QString &) override
    {
        questions.append(text);
        return answer;
    }
    QString openFileName(QWidget *, const QString &, const QString &) override
    {
        return files.isEmpty() ? QString() : files.takeFirst();
    }
};

} // namespace tonaris::test
