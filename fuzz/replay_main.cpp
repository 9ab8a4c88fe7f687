// Replays corpus files through a harness without libFuzzer: every file of each folder or file
// named on the command line is fed once to LLVMFuzzerTestOneInput. A crash fails the test.
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        QStringList files;
        const QString arg = QFile::decodeName(argv[i]);
        if (QFileInfo(arg).isDir()) {
            QDirIterator it(arg, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        } else {
            files << arg;
        }
        files.sort();
        for (const QString &path : files) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray content = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(content.constData()),
                                   static_cast<size_t>(content.size()));
            ++count;
        }
    }
    if (count == 0) {
        std::fprintf(stderr, "no corpus files\n");
        return 1;
    }
    std::printf("%d inputs replayed\n", count);
    return 0;
}
