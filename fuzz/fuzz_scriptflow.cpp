// Keyword lines and the jumps between them (#DO/#LOOP, #SUB/#CALL, #CASE, #RANDOM, #IF ...),
// walked line by line as the speech loop does, with a budget of steps so a script that loops on
// purpose ends the run.
#include "FuzzSupport.h"
#include "session/ScriptFlow.h"

#include <QStringList>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    namespace flow = tonaris::flow;
    const QStringList lines =
        QString::fromUtf8(tonaris::fuzz::bytes(data, size)).split(QLatin1Char('\n'));
    unsigned seed = 1;
    const auto draw = [&seed](int count) {
        seed = seed * 1103515245u + 12345u;
        return count > 0 ? 1 + static_cast<int>((seed >> 16) % static_cast<unsigned>(count)) : 1;
    };
    int line = 0;
    for (int step = 0; step < 2000 && line >= 0 && line < lines.size(); ++step) {
        const QString &text = lines.at(line);
        const QString form = flow::KeywordForm(text);
        int target = -1;
        if (flow::IsKeyword(text, QLatin1StringView("#LOOP")))
            target = flow::LoopTarget(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#EXIT DO")))
            target = flow::ExitDoTarget(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#IF RECOGNIZED")))
            target = flow::SkipIfRecognized(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#IF TIMEOUT")))
            target = flow::SkipIfTimeout(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#SUB")))
            target = flow::SkipSubBody(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#CALL")))
            target = flow::FindSub(lines, line, form.section(QLatin1Char(' '), 1));
        else if (flow::IsKeyword(text, QLatin1StringView("#CASE")))
            target = flow::CaseEnd(lines, line);
        else if (flow::IsKeyword(text, QLatin1StringView("#RANDOM")))
            target = flow::RandomTarget(lines, line, draw);
        line = target < 0 ? line + 1 : target + 1;
    }
    return 0;
}
