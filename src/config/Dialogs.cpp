#include "config/Dialogs.h"

#include <QTextStream>

namespace tonaris {

namespace {
ConsoleDialogs &console()
{
    static ConsoleDialogs fallback;
    return fallback;
}
Dialogs *current = nullptr;
std::FILE *consoleStream = nullptr;
} // namespace

std::FILE *ConsoleDialogs::stream()
{
    return consoleStream ? consoleStream : stderr;
}

void ConsoleDialogs::setStream(std::FILE *out)
{
    consoleStream = out;
}

Dialogs *Dialogs::instance()
{
    return current ? current : &console();
}

Dialogs *Dialogs::install(Dialogs *dialogs)
{
    Dialogs *previous = current;
    current = dialogs;
    return previous;
}

QStringList Dialogs::openFileNames(QWidget *parent, const QString &title, const QString &filter)
{
    const QString file = openFileName(parent, title, filter);
    return file.isEmpty() ? QStringList() : QStringList{file};
}

QString Dialogs::saveFileName(QWidget *, const QString &, const QString &, const QString &)
{
    return {};
}

void ConsoleDialogs::message(QWidget *, const QString &text, Icon, const QString &title)
{
    QTextStream err(stream());
    QString line = text;
    line.replace(QLatin1String("\r\n"), QLatin1String(" "));
    // One line, whatever it quotes: a file name may hold a line break too.
    line.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    err << (title.isEmpty() ? QStringLiteral("Tonaris") : title) << ": " << line << Qt::endl;
}

} // namespace tonaris
