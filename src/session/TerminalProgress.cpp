#include "session/TerminalProgress.h"

#include "config/Dialogs.h"

#include <QByteArray>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace tonaris {

namespace {
constexpr qint64 PrintEveryMs = 500;

QByteArray clock(qint64 seconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return QByteArray(text);
}
} // namespace

TerminalProgress::TerminalProgress(std::FILE *out)
    : m_chosen(out)
{}

void TerminalProgress::start()
{
    m_out = m_chosen ? m_chosen : ConsoleDialogs::stream();
    m_enabled = m_out && isatty(fileno(m_out)) == 1;
    m_printed = false;
    m_started.start();
    m_lastPrint.invalidate();
}

QByteArray TerminalProgress::line(int percent, double audioSeconds, qint64 elapsedMs)
{
    percent = std::clamp(percent, 0, 100);
    QByteArray text = QByteArray::number(percent).rightJustified(3, ' ');
    text.append("%  ").append(clock(qint64(std::max(0.0, audioSeconds)))).append(" of audio");
    // An estimate from the first percent on; before it the rate says nothing yet.
    if (percent > 0 && percent < 100)
        text.append("  ")
            .append(clock(elapsedMs * (100 - percent) / percent / 1000))
            .append(" left");
    return text;
}

void TerminalProgress::update(int percent, double audioSeconds)
{
    if (!m_enabled)
        return;
    if (m_lastPrint.isValid() && m_lastPrint.elapsed() < PrintEveryMs && percent < 100)
        return;
    m_lastPrint.start();
    // Trailing blanks wipe what a longer line before left.
    std::fprintf(m_out, "\r%s   ", line(percent, audioSeconds, m_started.elapsed()).constData());
    std::fflush(m_out);
    m_printed = true;
}

void TerminalProgress::finish()
{
    if (m_enabled && m_printed) {
        std::fputc('\n', m_out);
        std::fflush(m_out);
    }
    m_printed = false;
    m_enabled = false;
}

} // namespace tonaris
