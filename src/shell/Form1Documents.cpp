// The main window's documents: the File menu with new, open, append and the two text saves, files
// dropped on the editor, and the caption that names the open file.
#include "shell/Form1.h"

#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "documents/DocumentReaders.h"
#include "documents/DocumentWriters.h"
#include "session/SaveToAudio.h"
#include "textprep/Text.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>

namespace tonaris {

using MultiLang::Translate;

namespace {

const QString WindowCaption = QStringLiteral("Tonaris (By Orvane)");
const QString BreakLines = QStringLiteral("\r\n\r\n#BREAK\r\n\r\n");

QString lowerExtension(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot).toLower();
}

QString openFilter()
{
    // The description as the user reads it, then the patterns the dialog filters by.
    return Translate(QStringLiteral("All supported formats (*.txt *.doc *.rtf *.html *.pdf)")) +
           QStringLiteral(" (") + OpenFilterPatterns() + QLatin1Char(')');
}

} // namespace

void Form1::buildDocumentControls()
{
    menuFile = new QMenu(QStringLiteral("&File"), this);
    menuFile->setObjectName(QStringLiteral("menuFile"));
    menuBar()->insertMenu(menuBar()->actions().value(0), menuFile);
    auto item = [this](const char *name, const char *caption, void (Form1::*handler)()) {
        QAction *a = menuFile->addAction(QLatin1String(caption));
        a->setObjectName(QLatin1String(name));
        connect(a, &QAction::triggered, this, handler);
        return a;
    };
    // The shortcut stands in the caption; the keys themselves are the window's.
    item("menuNew", "Ne&w\tCtrl+W", &Form1::menuNew_Click);
    item("menuOpen", "&Open...\tCtrl+O", &Form1::menuOpen_Click);
    item("menuAppend", "A&ppend...", &Form1::menuAppend_Click);
    menuSaveTextFile = item("menuSaveTextFile", "S&ave text file", &Form1::menuSaveTextFile_Click);
    menuSaveTextFile->setEnabled(false);
    item("menuSaveTextFileAs", "Sa&ve text file as...\tCtrl+S", &Form1::menuSaveTextFileAs_Click);
    menuFile->addSeparator();
    QAction *exit = menuFile->addAction(QStringLiteral("E&xit"));
    exit->setObjectName(QStringLiteral("menuExit"));
    connect(exit, &QAction::triggered, this, &QWidget::close);
    connect(menuFile, &QMenu::aboutToShow, this, &Form1::menuFile_Click);

    // First in the Options menu, with a separator behind it.
    menuAutoLoad = new QAction(QStringLiteral("&Load last opened file at startup"), menuOptions);
    menuAutoLoad->setObjectName(QStringLiteral("menuAutoLoad"));
    menuAutoLoad->setCheckable(true);
    QAction *first = menuOptions->actions().value(0);
    menuOptions->insertAction(first, menuAutoLoad);
    menuOptions->insertSeparator(first);

    buildFontFrame();
    connect(Text1, &Text::DropFile, this, &Form1::Text1_DropFile);
}

void Form1::setDocumentCaption()
{
    // The audio save proposes its name and folder from the same document.
    m_session.saver().CurrentFilePath = CurrentFilePath;
    // The program's name first: a screen reader says the start of a caption first.
    setWindowTitle(CurrentFilePath.isEmpty() ? WindowCaption
                                             : WindowCaption + QStringLiteral(" - ") +
                                                   QDir::toNativeSeparators(CurrentFilePath));
}

QString Form1::ReadDocumentText(const QString &path, QString *error)
{
    ReadOptions options;
    if (const auto *idle = findChild<QAction *>(QStringLiteral("menuRunWithIdlePriority")))
        options.idle = idle->isChecked();
    QString text, reason;
    if (!ReadDocument(path, text, reason, options)) {
        if (error)
            *error = reason;
        return QString();
    }
    if (text.isNull())
        text = QLatin1String(""); // read, and empty: not a failure
    return text;
}

void Form1::showReadError(const QString &error)
{
    if (!error.isEmpty())
        Dialogs::instance()->message(this, error, Dialogs::Exclamation, QString());
}

void Form1::replaceText(const QString &text)
{
    Text1->setText(QString());
    Text1->SetBufferSize(int(qMin<qsizetype>(text.size() + 32000, INT_MAX)));
    Text1->setText(text);
}

void Form1::OpenDocument(const QString &path)
{
    if (path.isEmpty() || !QFileInfo(path).isFile())
        return;
    QString error;
    const QString text = ReadDocumentText(path, &error);
    if (text.isNull()) {
        showReadError(error);
        return;
    }
    replaceText(text);
    if (!text.isEmpty()) {
        CurrentFilePath = path;
        setDocumentCaption();
        menuSaveTextFile->setEnabled(true);
    }
}

void Form1::menuNew_Click()
{
    CurrentFilePath.clear();
    setDocumentCaption();
    menuSaveTextFile->setEnabled(false);
    Text1->setText(QString());
    Text1->setFocus();
}

void Form1::menuOpen_Click()
{
    // Cleared before the dialog, so that cancelling forgets the file but keeps the text.
    CurrentFilePath.clear();
    setDocumentCaption();
    const QStringList paths = Dialogs::instance()->openFileNames(
        this, Translate(QStringLiteral("Open File...")), openFilter());
    if (paths.isEmpty()) {
        Text1->setFocus();
        return;
    }
    // The texts are gathered first: the editor changes only when something was read.
    QString joined;
    int read = 0;
    bool lastRead = false;
    for (int i = 0; i < paths.size(); ++i) {
        if (!QFileInfo::exists(paths.at(i)))
            break; // the whole operation ends; what was read stays
        QString error;
        const QString text = ReadDocumentText(paths.at(i), &error);
        lastRead = !text.isNull();
        if (!lastRead) {
            showReadError(error);
            continue;
        }
        ++read;
        joined += text;
        if (i + 1 < paths.size())
            joined += BreakLines; // each document a volume of its own when saved to audio
    }
    if (read > 0) {
        replaceText(joined);
        if (paths.size() == 1 && lastRead) {
            CurrentFilePath = paths.first();
            setDocumentCaption();
        }
    }
    Text1->setFocus();
}

void Form1::menuAppend_Click()
{
    CurrentFilePath.clear();
    setDocumentCaption();
    const QString path = Dialogs::instance()->openFileName(
        this, Translate(QStringLiteral("Open File...")), openFilter());
    if (path.isEmpty() || !QFileInfo::exists(path)) {
        Text1->setFocus();
        return;
    }
    QString error;
    const QString text = ReadDocumentText(path, &error);
    if (text.isNull()) {
        showReadError(error); // the editor keeps its text
    } else {
        const QString present = Text1->text();
        const QString all = present.isEmpty() ? text : present + BreakLines + text;
        const int caret = Text1->SelStart();
        Text1->SetBufferSize(int(qMin<qsizetype>(all.size() + 32000, INT_MAX)));
        Text1->setText(all);
        Text1->SetSelStart(caret);
    }
    Text1->setFocus();
}

void Form1::Text1_DropFile(QString &path)
{
    const int state = m_session.SpeechState;
    if (state == SpeechSession::StateSpeaking || state == SpeechSession::StatePaused ||
        state == SpeechSession::StatePausedRecognizing ||
        state == SpeechSession::StateRecognizing) {
        m_session.SpeechRequest = SpeechSession::RequestStop;
        m_session.SetTimerFast();
        m_session.TimerSpeech_Timer();
    }
    if (m_session.SpeechState != SpeechSession::StateIdle || path.isEmpty() ||
        QFileInfo(path).isDir())
        return;
    const QString extension = lowerExtension(path);
    if (extension == QLatin1String(".wav") || extension == QLatin1String(".mp3")) {
        InsertKeywordText(QStringLiteral("#PLAY \"") + path + QStringLiteral("\"\r\n"));
        return;
    }
    if (!FindDocumentFormat(path) || !QFileInfo::exists(path))
        return; // other kinds are ignored, without a word
    QString error;
    const QString text = ReadDocumentText(path, &error);
    if (text.isNull()) {
        showReadError(error);
        return;
    }
    replaceText(text); // a dropped document replaces the text
    CurrentFilePath = path;
    setDocumentCaption();
}

void Form1::menuFile_Click()
{
    const bool busy = m_session.SpeechState != SpeechSession::StateIdle;
    // The audio items live in the same menu; they follow the same rule.
    for (const char *name : {"menuNew", "menuOpen", "menuBatchConversion", "menuAppend",
                             "menuSaveTextFile", "menuSaveTextFileAs", "menuSaveAudioFileAs"}) {
        if (QAction *a = menuFile->findChild<QAction *>(QLatin1String(name)))
            a->setEnabled(!busy);
        else if (QAction *b = findChild<QAction *>(QLatin1String(name)))
            b->setEnabled(!busy);
    }
    if (busy)
        return;
    if (QAction *append = findChild<QAction *>(QStringLiteral("menuAppend")))
        append->setEnabled(Text1->Length() > 0);
    menuSaveTextFile->setEnabled(!CurrentFilePath.isEmpty());
}

void Form1::menuSaveTextFile_Click()
{
    if (CurrentFilePath.isEmpty())
        return;
    // Written whole to a new file that then takes the old one's place: a save that cannot be
    // done leaves the old file as it was.
    QString error;
    if (!FindDocumentFormat(CurrentFilePath) || !FindDocumentFormat(CurrentFilePath)->write) {
        Dialogs::instance()->message(
            this,
            Translate(QStringLiteral("It's impossible to save this file to its original format.")),
            Dialogs::Exclamation, Translate(QStringLiteral("Save Text File")));
    } else if (!WriteDocument(CurrentFilePath, Text1->text(), error)) {
        Dialogs::instance()->message(this, error, Dialogs::Exclamation, QString());
    }
    Text1->setFocus();
}

void Form1::menuSaveTextFileAs_Click()
{
    const QString initial = CurrentFilePath.isEmpty()
                                ? QStringLiteral("Tonaris")
                                : QFileInfo(CurrentFilePath).completeBaseName();
    QString path =
        Dialogs::instance()->saveFileName(this, Translate(QStringLiteral("Save Text File as...")),
                                          Translate(QStringLiteral("Txt File (*.txt)")), initial);
    if (path.isEmpty()) {
        Text1->setFocus();
        return;
    }
    if (lowerExtension(path) != QLatin1String(".txt"))
        path += QStringLiteral(".txt");
    if (QFileInfo::exists(path)) {
        const int answer = Dialogs::instance()->choose(
            this,
            QDir::toNativeSeparators(path) + QLatin1Char(' ') +
                Translate(QStringLiteral("already exists.")) + QStringLiteral("\r\n") +
                Translate(QStringLiteral("Do you want to replace it?")),
            {Translate(QStringLiteral("&Yes")), Translate(QStringLiteral("&No"))},
            Translate(QStringLiteral("Save Text File as")));
        if (answer != 0)
            return;
    }
    QString error;
    if (!WriteTextFile(path, Text1->text(), error)) {
        Dialogs::instance()->message(this, error, Dialogs::Exclamation, QString());
        return;
    }
    CurrentFilePath = path;
    setDocumentCaption();
    Text1->setFocus();
}

} // namespace tonaris
