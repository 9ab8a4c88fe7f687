// The window's side of batch conversion (File > Batch Conversion...) and of the microphone
// recorder's frame: the menu item, the file dialog, and what the frame needs of the window.
#include "shell/Form1.h"

#include "config/Dialogs.h"
#include "config/MultiLang.h"
#include "documents/DocumentReaders.h"
#include "session/SaveToAudio.h"
#include "shell/FrameRecord.h"
#include "textprep/Text.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>

namespace tonaris {

using MultiLang::Translate;

namespace {
// Tells the batch that the window is closing, before the window's own handling of the close.
class ClosingWatch : public QObject
{
public:
    ClosingWatch(QObject *window, BatchConversion &batch)
        : QObject(window)
        , m_batch(batch)
    {}
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Close && m_batch.isRunning())
            m_batch.Closing = true;
        return false;
    }

private:
    BatchConversion &m_batch;
};
} // namespace

void Form1::buildBatchAndRecorder()
{
    menuBatchConversion = new QAction(QStringLiteral("&Batch Conversion..."), menuFile);
    menuBatchConversion->setObjectName(QStringLiteral("menuBatchConversion"));
    menuFile->addAction(menuBatchConversion); // the File menu's order places it
    // Queued: the batch waits for its saves inside the handler, and whoever activated the item
    // (a screen reader, a test) must not wait for the whole batch.
    connect(menuBatchConversion, &QAction::triggered, this, &Form1::menuBatchConversion_Click,
            Qt::QueuedConnection);
    installEventFilter(new ClosingWatch(this, m_batch));

    FrameRecord::Host host;
    host.formatCaption = [this] { return ComboAudioFormat->currentText(); };
    host.audioFolder = [this] {
        const QString last = m_session.saver().AudioFilePath;
        if (!last.isEmpty() && QFileInfo(QFileInfo(last).absolutePath()).isDir())
            return QFileInfo(last).absolutePath();
        const QFileInfo program(m_session.AppFolder);
        return program.isDir() && program.isWritable() ? program.absoluteFilePath()
                                                       : QDir::homePath();
    };
    host.insertText = [this](const QString &text) {
        Text1->Insert(text);
        Text1->setFocus();
    };
    host.showStatus = [this](const QString &text) { StatusBar->setText(text); };
    FrameRecord1->setHost(std::move(host));
}

void Form1::menuBatchConversion_Click()
{
    if (m_batch.isRunning() || m_session.SpeechState != SpeechSession::StateIdle)
        return;
    const QStringList files = Dialogs::instance()->openFileNames(
        this, Translate(QStringLiteral("Open File...")),
        Translate(QStringLiteral("All supported formats (*.txt *.doc *.rtf *.html *.pdf)")) +
            QStringLiteral(" (") + OpenFilterPatterns() + QLatin1Char(')'));
    if (!files.isEmpty())
        m_batch.Run(files);
    Text1->setFocus();
}

} // namespace tonaris
