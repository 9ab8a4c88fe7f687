#pragma once

#include <QElapsedTimer>

#include <cstdio>

namespace tonaris {

// One line on stderr, rewritten in place, telling how far a save without window has come: the
// share done, the length of the audio rendered and an estimate of the time left. Silent unless
// stderr is a terminal, so that logs and pipes get no carriage returns.
class TerminalProgress
{
public:
    // Without out, the console's stream (ConsoleDialogs::stream()) at start().
    explicit TerminalProgress(std::FILE *out = nullptr);

    void start();
    // percent of the whole work; audioSeconds of speech rendered so far.
    void update(int percent, double audioSeconds);
    // Ends the line, if one was printed.
    void finish();

    static QByteArray line(int percent, double audioSeconds, qint64 elapsedMs);

private:
    std::FILE *m_chosen;
    std::FILE *m_out = nullptr;
    bool m_enabled = false;
    bool m_printed = false;
    QElapsedTimer m_started;
    QElapsedTimer m_lastPrint;
};

} // namespace tonaris
