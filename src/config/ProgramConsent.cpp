#include "config/ProgramConsent.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace tonaris {

QString ProgramConsent::canonicalProgram(const QString &program)
{
    if (program.isEmpty())
        return QString();
    const QString path = program.contains(u'/') ? program : QStandardPaths::findExecutable(program);
    return path.isEmpty() ? QString() : QFileInfo(path).canonicalFilePath();
}

void ProgramConsent::setAllowedList(const QStringList &programs)
{
    // A program that has gone keeps its entry, so that reinstalling it needs no new consent.
    m_allowed.clear();
    for (const QString &program : programs) {
        const QString canonical = canonicalProgram(program);
        const QString entry = canonical.isEmpty() ? program : canonical;
        if (!entry.isEmpty() && !m_allowed.contains(entry))
            m_allowed.append(entry);
    }
}

bool ProgramConsent::mayRun(const QString &program, bool fromClipboard)
{
    if (fromClipboard)
        return false;
    const QString canonical = canonicalProgram(program);
    if (canonical.isEmpty())
        return false;
    if (m_allowed.contains(canonical))
        return true;
    if (m_hiddenMode || !m_question)
        return false;
    const auto known = m_answers.constFind(canonical);
    if (known != m_answers.cend())
        return *known;

    const Answer answer = m_question(canonical);
    if (answer == Answer::AlwaysAllow)
        m_allowed.append(canonical);
    const bool run = answer != Answer::DontRun;
    m_answers.insert(canonical, run);
    return run;
}

} // namespace tonaris
