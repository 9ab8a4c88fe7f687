#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>

class QWidget;

namespace tonaris {

// Every message box of the program goes through this one door, so that a run without a user
// (hidden mode, tests) can answer it: hidden runs print to standard error, tests record.
class Dialogs
{
public:
    enum Icon { Information, Exclamation, Stop, Question };

    virtual ~Dialogs() = default;
    virtual void message(QWidget *parent, const QString &text, Icon icon, const QString &title) = 0;
    // One of several answers, by index; -1 when the question was closed unanswered.
    virtual int choose(QWidget *parent, const QString &text, const QStringList &buttons,
                       const QString &title) = 0;
    // A file to open; "" when cancelled. filter as "Sound Files (*.wav *.mp3)".
    virtual QString openFileName(QWidget *parent, const QString &title, const QString &filter) = 0;
    // Several files to open, in the order picked; empty when cancelled. By default one file.
    virtual QStringList openFileNames(QWidget *parent, const QString &title, const QString &filter);
    // A file to save to, offered as initialName; "" when cancelled. The caller asks about a file
    // that exists. By default nobody answers: "".
    virtual QString saveFileName(QWidget *parent, const QString &title, const QString &filter,
                                 const QString &initialName);

    // The instance in force; never null once the program has set one up.
    static Dialogs *instance();
    // Installs a new instance (not owned) and returns the previous one.
    static Dialogs *install(Dialogs *dialogs);
};

// Writes each message as one line to standard error; the fallback without a window.
class ConsoleDialogs : public Dialogs
{
public:
    void message(QWidget *parent, const QString &text, Icon icon, const QString &title) override;
    // Nobody to ask: no answer, no file.
    int choose(QWidget *, const QString &, const QStringList &, const QString &) override
    {
        return -1;
    }
    QString openFileName(QWidget *, const QString &, const QString &) override { return {}; }

    // Where the run's own lines go: standard error, unless a hidden run sent what libraries
    // print there to its log and kept the terminal for itself.
    static std::FILE *stream();
    static void setStream(std::FILE *out);
};

} // namespace tonaris
