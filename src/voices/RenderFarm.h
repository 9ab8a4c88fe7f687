#pragma once

#include "voices/ThreadedEngine.h"

#include <QList>
#include <QString>

#include <deque>
#include <functional>
#include <memory>
#include <utility>

namespace tonaris {

// Renders the pieces of text of a save in helper processes, so that a save uses every
// processor. The engine library keeps its state in globals, one process renders one piece at a
// time, and what it renders depends on everything it rendered before (its pitch flutter runs
// on from piece to piece). So the pieces of a file are cut into runs of about RunChars
// characters, and each run is rendered by a process that starts afresh: the samples are then
// the same however many helpers run at once, one or eight, and the same from one save of a text
// to the next.
//
// A helper is this program started again with RenderWorkerArgument. It starts the engine, then
// forks a child for each run, which begins from that untouched state: the child takes the
// pieces with their resolved parameters on standard input, writes their samples into the run's
// file and tells their count on standard output. A run's file has no name (it is opened with
// O_TMPFILE beside the target), so nothing stays on disk whatever happens to the processes.
//
// The engine's rendering thread owns the farm: it hands over the pieces waiting in its queue and
// takes their samples back in the same order. Tags, voices and keyword lines are all resolved
// before a piece gets here.
class RenderFarm
{
public:
    static constexpr const char *RenderWorkerArgument = "--render-worker";
    static constexpr int RunChars = 3000;

    // The program the helpers run; empty (the default) keeps all rendering in this process.
    static void setWorkerProgram(const QString &program);
    // Helpers rendering at once for a save: TONARIS_RENDER_JOBS when set (0: none, rendering
    // stays in this process), otherwise one a processor; 0 without a worker program.
    static int workersWanted();
    // The helper's main loop, until its standard input ends. Returns the exit status.
    static int runWorker();

    // `folder` is where the nameless audio files go (the target's); the temporary folder when
    // that one cannot have them.
    RenderFarm(int workers, const QString &folder);
    ~RenderFarm(); // the helpers are killed at once

    // Pieces are named by the stream of their job and their place in it.
    using Key = std::pair<int, int>;
    bool isPending(const Key &key) const
    {
        return !m_pending.empty() && m_pending.front().key == key;
    }
    bool isAfterLastSubmitted(const Key &key) const { return key > m_last; }
    // About how much more text the helpers can be handed now.
    qint64 roomInChars() const;
    enum Submitted { Taken, Later, Failed };
    // Later when as many runs as helpers are still to be taken.
    Submitted submit(const Key &key, const QString &text,
                     const ThreadedEngine::RenderParams &params);
    // The samples of the oldest piece handed over; waits for them, checking `cancelled` every
    // few milliseconds. False when cancelled or when a helper failed.
    bool take(QList<qint16> &samples, const std::function<bool()> &cancelled);
    bool broken() const { return m_broken; }

private:
    struct Helper;
    struct Run;
    struct Pending
    {
        Key key;
        Run *run = nullptr;
    };
    Run *startRun();
    bool send(Helper &helper, const QByteArray &bytes);

    int m_workers = 1;
    QString m_folder;
    std::vector<std::unique_ptr<Helper>> m_helpers;
    std::deque<std::unique_ptr<Run>> m_runs; // those still to be taken, in order
    std::deque<Pending> m_pending;
    Key m_last{-1, -1};
    bool m_broken = false;
};

} // namespace tonaris
