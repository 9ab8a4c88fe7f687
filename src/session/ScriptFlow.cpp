#include "session/ScriptFlow.h"

namespace tonaris::flow {

namespace {
constexpr QLatin1StringView Do("#DO");
constexpr QLatin1StringView Loop("#LOOP");
constexpr QLatin1StringView IfRecognized("#IF RECOGNIZED");
constexpr QLatin1StringView EndIf("#END IF");
constexpr QLatin1StringView Sub("#SUB");
constexpr QLatin1StringView EndSub("#END SUB");
constexpr QLatin1StringView Random("#RANDOM");
constexpr QLatin1StringView Case("#CASE");
constexpr QLatin1StringView EndRandom("#END RANDOM");

bool inRange(const QStringList &lines, int current)
{
    return current >= 0 && current < lines.size();
}

// Walks the lines from the current one, one step at a time: a line that opens a block deepens
// it; a closing line is the target when the depth is matchDepth, and otherwise leaves a block.
int scan(const QStringList &lines, int current, int step, QLatin1StringView opens,
         QLatin1StringView closes, int matchDepth)
{
    if (!inRange(lines, current))
        return -1;
    int depth = 0;
    for (int i = current; i >= 0 && i < lines.size(); i += step) {
        const QString l = KeywordForm(lines[i]);
        if (l.startsWith(opens)) {
            ++depth;
        } else if (l.startsWith(closes)) {
            if (depth == matchDepth)
                return i;
            --depth;
        }
    }
    return -1;
}
} // namespace

QString KeywordForm(const QString &line)
{
    return line.trimmed().toUpper();
}

bool IsKeyword(const QString &line, QLatin1StringView keyword)
{
    return KeywordForm(line).startsWith(keyword);
}

int LoopTarget(const QStringList &lines, int current)
{
    return scan(lines, current, -1, Loop, Do, 1);
}

int ExitDoTarget(const QStringList &lines, int current)
{
    return scan(lines, current, 1, Do, Loop, 0);
}

int SkipIfRecognized(const QStringList &lines, int current)
{
    return scan(lines, current, 1, IfRecognized, EndIf, 1);
}

int SkipIfTimeout(const QStringList &lines, int current)
{
    // Only #IF RECOGNIZED lines nest; a timeout block stands beside them, never inside.
    return scan(lines, current, 1, IfRecognized, EndIf, 0);
}

int SkipSubBody(const QStringList &lines, int current)
{
    for (int i = std::max(current, 0); i < lines.size(); ++i) {
        if (IsKeyword(lines[i], EndSub))
            return i;
    }
    return -1;
}

int FindSub(const QStringList &lines, int current, const QString &name)
{
    for (int i = std::max(current, 0); i < lines.size(); ++i) {
        const QString l = KeywordForm(lines[i]);
        if (l.startsWith(Sub) && l.mid(Sub.size()).trimmed() == name)
            return i;
    }
    return -1;
}

int CaseEnd(const QStringList &lines, int current)
{
    return scan(lines, current, 1, Random, EndRandom, 0);
}

int RandomTarget(const QStringList &lines, int current, const std::function<int(int)> &draw)
{
    if (!inRange(lines, current))
        return -1;
    // Both passes walk the block the same way; cases of nested blocks do not count.
    auto walk = [&](auto &&atCase, auto &&atEnd) {
        int depth = 0;
        for (int i = current; i < lines.size(); ++i) {
            const QString l = KeywordForm(lines[i]);
            if (l.startsWith(Random)) {
                ++depth;
            } else if (l.startsWith(EndRandom)) {
                if (depth == 1)
                    return atEnd(i);
                --depth;
            } else if (l.startsWith(Case) && depth == 1) {
                const int hit = atCase(i);
                if (hit >= 0)
                    return hit;
            }
        }
        return -2; // no end of the block
    };
    int count = 0;
    const int ended = walk(
        [&](int) {
            ++count;
            return -1;
        },
        [](int) { return 0; });
    if (ended == -2)
        return -1; // nothing drawn: every case runs in turn
    const int chosen = count > 0 ? draw(count) : 0;
    int seen = 0;
    return walk([&](int i) { return ++seen == chosen ? i : -1; }, [](int i) { return i; });
}

} // namespace tonaris::flow
