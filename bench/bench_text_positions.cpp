// Cost of the editor's position arithmetic on a whole book: the speech loop converts a position
// or a line number on every word event, so these calls must not grow with the text.
#include "textprep/Text.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int calls = 100000;

template <typename Work> void report(const char *what, Work work)
{
    QElapsedTimer timer;
    timer.start();
    long long sink = 0;
    for (int i = 0; i < calls; ++i) {
        sink += work(i);
    }
    const double ns = double(timer.nsecsElapsed());
    std::printf("%-44s %8.1f ms  %7.0f ns/call  (checksum %lld)\n", what, ns / 1e6, ns / calls,
                sink);
}

// One call timed on its own: the first calls after a new text may pay for work put off until then.
template <typename Work> void once(const char *what, Work work)
{
    QElapsedTimer timer;
    timer.start();
    const long long value = work();
    std::printf("%-44s %8.3f ms  (%lld)\n", what, double(timer.nsecsElapsed()) / 1e6, value);
}

// Word starts and lengths of a CR LF text, as the engine reports them while speaking.
QList<QPair<int, int>> wordsOf(const QString &text)
{
    QList<QPair<int, int>> words;
    for (int i = 0; i < text.size();) {
        while (i < text.size() && text.at(i).isSpace()) {
            ++i;
        }
        const int start = i;
        while (i < text.size() && !text.at(i).isSpace()) {
            ++i;
        }
        if (i > start) {
            words.append({start, i - start});
        }
    }
    return words;
}

// A 5 MB book in a shown editor: loading it, the first line questions after it, a key typed in
// its middle, and the selection walking word by word as speech highlights it.
void largeText(const QString &book)
{
    QString big;
    while (big.size() < 5 * 1024 * 1024) {
        big += book;
    }
    tonaris::Text text;
    text.resize(800, 600);
    text.show();
    QCoreApplication::processEvents();

    QElapsedTimer timer;
    timer.start();
    text.setText(big);
    std::printf("\n5 MB text: setText %lld ms (goal < 500); %d characters, %d lines\n",
                timer.elapsed(), text.Length(), text.LineCount());
    once("LineCount after setText", [&] { return text.LineCount(); });
    once("GetPosStartFromLineIndex(last) after it",
         [&] { return text.GetPosStartFromLineIndex(text.LineCount() - 1); });
    once("GetCurrentLineIndex after it", [&] { return text.GetCurrentLineIndex(); });
    timer.restart();
    QCoreApplication::processEvents();
    std::printf("%-44s %8lld ms\n", "first paint after setText", timer.elapsed());

    text.SetSelStart(text.Length() / 2);
    QCoreApplication::processEvents();
    const int before = text.Length();
    double slowest = 0, total = 0;
    constexpr int keys = 50;
    for (int i = 0; i < keys; ++i) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
        timer.restart();
        QApplication::sendEvent(text.editor(), &press);
        QApplication::sendEvent(text.editor(), &release);
        QCoreApplication::processEvents(); // the repaint belongs to the key
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        slowest = std::max(slowest, ms);
        total += ms;
    }
    std::printf("key typed in the middle, with repaint: %.3f ms mean, %.3f ms slowest of %d, "
                "%d characters added (goal < 16)\n",
                total / keys, slowest, keys, text.Length() - before);

    // The book's own words, as the engine reports them on its first copy in the big text.
    const QList<QPair<int, int>> words = wordsOf(book);
    timer.restart();
    for (const auto &[start, length] : words) {
        text.SetSelStart(start);
        text.SetSelLength(length);
    }
    double seconds = double(timer.nsecsElapsed()) / 1e9;
    std::printf("word walk, SetSelStart + SetSelLength: %lld words, %.0f ms, %.0f words/s "
                "(speech needs about 3)\n",
                qint64(words.size()), seconds * 1e3, double(words.size()) / seconds);
    // Highlighting also scrolls and repaints; a sample of words with both.
    const qsizetype sample = std::min<qsizetype>(words.size(), 2000);
    timer.restart();
    for (qsizetype i = 0; i < sample; ++i) {
        const qsizetype w = i * words.size() / sample;
        text.SetSelStart(words[w].first);
        text.SetSelLength(words[w].second);
        text.ScrollToActualPos();
        QCoreApplication::processEvents();
    }
    seconds = double(timer.nsecsElapsed()) / 1e9;
    std::printf("word walk with scroll and repaint: %lld words, %.0f words/s\n", qint64(sample),
                double(sample) / seconds);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    const QString path = QStringLiteral(TONARIS_SHARED_DIR "/corpus/news-from-nowhere.txt");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return 1;
    }
    const QString book = QString::fromUtf8(file.readAll());

    tonaris::Text text;
    text.resize(800, 600);
    QElapsedTimer timer;
    timer.start();
    text.setText(book);
    std::printf("setText: %lld ms; %d characters, %d lines\n", timer.elapsed(), text.Length(),
                text.LineCount());

    const int length = text.Length();
    const int lines = text.LineCount();
    QRandomGenerator random(42);
    QList<int> positions(calls), lineNumbers(calls);
    for (int i = 0; i < calls; ++i) {
        positions[i] = int(random.bounded(length + 1));
        lineNumbers[i] = int(random.bounded(lines));
    }

    report("GetLineIndexFromPos, random positions",
           [&](int i) { return text.GetLineIndexFromPos(positions[i]); });
    report("GetLineIndexFromPos, sequential positions",
           [&](int i) { return text.GetLineIndexFromPos(int(qint64(i) * length / calls)); });
    report("GetPosStartFromLineIndex, random lines",
           [&](int i) { return text.GetPosStartFromLineIndex(lineNumbers[i]); });
    report("SetSelStart + SelStart, random positions", [&](int i) {
        text.SetSelStart(positions[i]);
        return text.SelStart();
    });
    largeText(book);
    return 0;
}
