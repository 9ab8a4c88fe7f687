#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <cstddef>
#include <cstdint>

#include <unistd.h>

// Helpers shared by the harnesses: each harness defines LLVMFuzzerTestOneInput, built either with
// libFuzzer or with replay_main.cpp, which feeds it every file of a corpus folder.
namespace tonaris::fuzz {

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}

// The parsers that read files get the input through one scratch file per process.
inline QString scratchFile(const QByteArray &content, const QString &suffix)
{
    const QString path =
        QDir::tempPath() + QStringLiteral("/tonaris-fuzz-") + QString::number(getpid()) + suffix;
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
    return path;
}

} // namespace tonaris::fuzz
