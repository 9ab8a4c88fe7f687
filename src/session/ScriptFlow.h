#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace tonaris::flow {

// The keyword scans of a script. There is no parsed form: each flow keyword, when reached,
// searches the lines from the current one for its partner with a depth counter. Every function
// gives the line to jump to (the tick then runs the line after it), or -1 for no jump.
// Lines are compared upper-cased and trimmed, keywords by prefix.

// Normal form of a line for matching: upper-cased and trimmed.
QString KeywordForm(const QString &line);
bool IsKeyword(const QString &line, QLatin1StringView keyword);

int LoopTarget(const QStringList &lines, int current);       // #LOOP: back to its #DO
int ExitDoTarget(const QStringList &lines, int current);     // #EXIT DO: on to the #LOOP
int SkipIfRecognized(const QStringList &lines, int current); // a failed #IF RECOGNIZED
int SkipIfTimeout(const QStringList &lines, int current);    // a failed #IF TIMEOUT
int SkipSubBody(const QStringList &lines, int current);      // #SUB met in the normal course
int FindSub(const QStringList &lines, int current, const QString &name); // #CALL
int CaseEnd(const QStringList &lines, int current); // #CASE met in the normal course
// #RANDOM: draw(count) gives a number from 1 to count.
int RandomTarget(const QStringList &lines, int current, const std::function<int(int)> &draw);

} // namespace tonaris::flow
