// Cost of the editor's position arithmetic on a whole book: the speech loop converts a position
// or a line number on every word event, so these calls must not grow with the text.
#include "textprep/Text.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>

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
    return 0;
}
