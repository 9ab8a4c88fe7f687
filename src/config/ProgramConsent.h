#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>

namespace tonaris {

// Decides whether a text may start a program. A document can name any file, so the person is
// asked once per run for each program, may allow one for good, and text from the clipboard never
// runs anything. Programs are compared by canonical absolute path, so a symbolic link or a
// roundabout path does not pass for a different program. Use from the UI thread.
class ProgramConsent
{
public:
    enum class Answer { Run, AlwaysAllow, DontRun };
    // Asked with the canonical path; the window shows "Run", "Always allow for this program"
    // and "Don't run". Without a question every program not allowed is refused.
    using Question = std::function<Answer(const QString &program)>;

    // Programs allowed for good, as canonical paths; the settings persist this list.
    QStringList allowedList() const { return m_allowed; }
    void setAllowedList(const QStringList &programs);

    void setQuestion(Question question) { m_question = std::move(question); }

    // Without a user to ask, only allowed programs run.
    bool hiddenMode() const { return m_hiddenMode; }
    void setHiddenMode(bool hidden) { m_hiddenMode = hidden; }

    // A new run of a text: forgets the answers given for the last one.
    void startRun() { m_answers.clear(); }

    // `program` is a path as it would be started; a name without "/" is looked up on PATH.
    // False for a program that does not exist.
    bool mayRun(const QString &program, bool fromClipboard);

    // The path by which programs are compared; "" when it does not exist.
    static QString canonicalProgram(const QString &program);

private:
    QStringList m_allowed;
    QHash<QString, bool> m_answers;
    Question m_question;
    bool m_hiddenMode = false;
};

} // namespace tonaris
